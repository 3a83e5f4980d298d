// SPDX-License-Identifier: BSD-3-Clause
#include "VexoFilter/SmoothingPass.h"

#include <algorithm>
#include <span>

namespace TEVRA::Impl {
namespace {

/// A tile's samples should stay in the second-level cache between the causal and the anticausal pass.
constexpr long long SAMPLES_PER_TILE = 65536;
/// Side by side in x: a cache line's worth of floats at least; more than 256 and the recursion's states leave
/// the first-level cache.
constexpr long long FEWEST_LINES = 16;
constexpr long long MOST_LINES = 256;
/// Along x the samples are transposed on their way in and out; more lines than that and each touches too many
/// cache lines.
constexpr long long MOST_ROWS = 32;

std::size_t count_of(long long number) {
    return static_cast<std::size_t>(number);
}

long long lines_per_tile(long long length, long long most) {
    const long long fitting = SAMPLES_PER_TILE / length / FEWEST_LINES * FEWEST_LINES;
    return std::clamp(fitting, FEWEST_LINES, most);
}

/// Both passes over samples[i * lines ...], in place.
void smooth_samples(const SRecursiveGaussian& filter, std::span<float> samples, std::span<float> last,
                    std::span<double> states) {
    const std::size_t lines = last.size();
    const std::size_t length = samples.size() / lines;
    const SRecursionPlanes planes = SRecursionPlanes::Over(states);
    std::copy_n(samples.end() - static_cast<std::ptrdiff_t>(lines), lines, last.begin());
    StartCausal(planes, samples.first(lines));
    for (std::size_t i = 0; i < length; ++i) {
        const std::span<float> row = samples.subspan(i * lines, lines);
        Step(filter, planes, row, row);
    }
    StartAnticausal(filter, planes, last);
    for (std::size_t i = length; i-- > 0;) {
        const std::span<float> row = samples.subspan(i * lines, lines);
        Step(filter, planes, row, row);
    }
}

} // namespace

Gaussian GaussianFromSigma(double sigmaPx) {
    if (sigmaPx < SRecursiveGaussian::c_smallestSigmaPx) {
        return SSampledGaussian::FromSigma(sigmaPx);
    }
    return SRecursiveGaussian::FromSigma(sigmaPx);
}

CSmoothingPass::CSmoothingPass(const Gaussian& gaussian, const CPixelGrid& source, CPixelGrid& target,
                               int axis)
    : m_gaussian(gaussian), m_source(source), m_target(target), m_axis(axis), m_length(source.Extent(axis)) {
    const bool alongX = axis == 0;
    const long long side = alongX ? source.Extent(1) * source.Extent(2) : source.Extent(0);
    const long long planes = alongX ? 1 : source.Extent(axis == 1 ? 2 : 1);
    m_linesPerTile = std::min(lines_per_tile(m_length, alongX ? MOST_ROWS : MOST_LINES), side);
    m_tilesPerPlane = (side + m_linesPerTile - 1) / m_linesPerTile;
    m_tileCount = m_tilesPerPlane * planes;
}

void CSmoothingPass::Reserve(int workers) {
    const std::size_t lines = count_of(m_linesPerTile);
    const std::size_t padding = 2 * SSampledGaussian::c_largestRadius;
    SBuffers buffers;
    buffers.samples.resize(lines * count_of(m_length) + padding);
    buffers.row.resize(std::max(lines, count_of(m_length)));
    buffers.last.resize(lines);
    buffers.states.resize(SRecursionPlanes::MemoryFor(lines));
    m_buffers.assign(count_of(workers), buffers);
}

void CSmoothingPass::Work(long long tile, int worker) {
    SBuffers& buffers = m_buffers[count_of(worker)];
    std::visit(
        [&](const auto& gaussian) {
            if (m_axis == 0) {
                along_x(gaussian, tile_at(tile), buffers);
            } else {
                across(gaussian, tile_at(tile), buffers);
            }
        },
        m_gaussian);
}

CSmoothingPass::STile CSmoothingPass::tile_at(long long tile) const {
    const long long side = m_axis == 0 ? m_source.Extent(1) * m_source.Extent(2) : m_source.Extent(0);
    STile result;
    result.first = tile % m_tilesPerPlane * m_linesPerTile;
    result.lines = std::min(m_linesPerTile, side - result.first);
    result.plane = tile / m_tilesPerPlane;
    return result;
}

CPixelGrid::SPixel CSmoothingPass::row_of(long long line) const {
    return {.x = 0, .y = line % m_source.Extent(1), .z = line / m_source.Extent(1)};
}

CPixelGrid::SPixel CSmoothingPass::start_of(const STile& tile, long long position) const {
    return m_axis == 1 ? CPixelGrid::SPixel{.x = tile.first, .y = position, .z = tile.plane}
                       : CPixelGrid::SPixel{.x = tile.first, .y = tile.plane, .z = position};
}

void CSmoothingPass::along_x(const SRecursiveGaussian& filter, const STile& tile, SBuffers& buffers) {
    const std::size_t lines = count_of(tile.lines);
    const std::size_t length = count_of(m_length);
    for (std::size_t line = 0; line < lines; ++line) {
        const float* const row =
            m_source.Row(row_of(tile.first + static_cast<long long>(line)), m_length, buffers.row.data());
        for (std::size_t i = 0; i < length; ++i) {
            buffers.samples[i * lines + line] = row[i];
        }
    }
    smooth_samples(filter, std::span(buffers.samples).first(lines * length),
                   std::span(buffers.last).first(lines),
                   std::span(buffers.states).first(SRecursionPlanes::MemoryFor(lines)));
    for (std::size_t line = 0; line < lines; ++line) {
        const CPixelGrid::SPixel pixel = row_of(tile.first + static_cast<long long>(line));
        float* const row = m_target.RowToWrite(pixel, buffers.row.data());
        for (std::size_t i = 0; i < length; ++i) {
            row[i] = buffers.samples[i * lines + line];
        }
        m_target.Commit(pixel, m_length, row);
    }
}

void CSmoothingPass::along_x(const SSampledGaussian& kernel, const STile& tile, SBuffers& buffers) {
    const auto radius = static_cast<std::ptrdiff_t>(kernel.radius);
    // The row with its ends continued; the neighbours at a distance are the same row, shifted.
    const auto first = buffers.samples.begin() + radius;
    const auto end = first + m_length;
    std::array<const float*, 2 * SSampledGaussian::c_largestRadius + 1> shifted{};
    const std::size_t neighbours = 2 * kernel.radius + 1;
    for (std::size_t k = 0; k < neighbours; ++k) {
        shifted[k] = buffers.samples.data() + k;
    }
    for (long long line = 0; line < tile.lines; ++line) {
        const CPixelGrid::SPixel pixel = row_of(tile.first + line);
        m_source.Read(pixel, m_length, buffers.samples.data() + radius);
        std::fill(buffers.samples.begin(), first, *first);
        std::fill(end, end + radius, *(end - 1));
        float* const row = m_target.RowToWrite(pixel, buffers.row.data());
        WeightedSum(kernel, std::span(shifted).first(neighbours), std::span(row, count_of(m_length)));
        m_target.Commit(pixel, m_length, row);
    }
}

void CSmoothingPass::across(const SRecursiveGaussian& filter, const STile& tile, SBuffers& buffers) {
    const std::size_t lines = count_of(tile.lines);
    const SRecursionPlanes planes =
        SRecursionPlanes::Over(std::span(buffers.states).first(SRecursionPlanes::MemoryFor(lines)));
    const auto row_at = [&](long long position) {
        return std::span(m_source.Row(start_of(tile, position), tile.lines, buffers.row.data()), lines);
    };
    const auto samples_at = [&](long long position) {
        return std::span(buffers.samples).subspan(count_of(position) * lines, lines);
    };
    StartCausal(planes, row_at(0));
    for (long long position = 0; position < m_length; ++position) {
        Step(filter, planes, row_at(position), samples_at(position));
    }
    StartAnticausal(filter, planes, row_at(m_length - 1));
    for (long long position = m_length; position-- > 0;) {
        const CPixelGrid::SPixel pixel = start_of(tile, position);
        float* const row = m_target.RowToWrite(pixel, buffers.row.data());
        Step(filter, planes, samples_at(position), std::span(row, lines));
        m_target.Commit(pixel, tile.lines, row);
    }
}

void CSmoothingPass::across(const SSampledGaussian& kernel, const STile& tile, SBuffers& buffers) {
    const auto samples_at = [&](long long position) {
        return buffers.samples.data() + std::clamp(position, 0LL, m_length - 1) * tile.lines;
    };
    for (long long position = 0; position < m_length; ++position) {
        m_source.Read(start_of(tile, position), tile.lines, samples_at(position));
    }
    const auto radius = static_cast<long long>(kernel.radius);
    std::array<const float*, 2 * SSampledGaussian::c_largestRadius + 1> rows{};
    const std::size_t neighbours = 2 * kernel.radius + 1;
    for (long long position = 0; position < m_length; ++position) {
        for (std::size_t k = 0; k < neighbours; ++k) {
            rows[k] = samples_at(position - radius + static_cast<long long>(k));
        }
        const CPixelGrid::SPixel pixel = start_of(tile, position);
        float* const row = m_target.RowToWrite(pixel, buffers.row.data());
        WeightedSum(kernel, std::span(rows).first(neighbours), std::span(row, count_of(tile.lines)));
        m_target.Commit(pixel, tile.lines, row);
    }
}

} // namespace TEVRA::Impl
