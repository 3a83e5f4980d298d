// SPDX-License-Identifier: BSD-3-Clause
#include "VexoFilter/SmoothingPass.h"

#include "VexoFilter/FilterKernels.h"

#include <algorithm>
#include <array>
#include <span>

namespace TEVRA::Impl {
namespace {

/// A block's samples should stay in the second-level cache on their way there and back.
constexpr long long SAMPLES_PER_BLOCK = 65536;
/// Side by side in x: a cache line's worth of floats at least; the longer the rows of a block, the fewer
/// places in memory, but more than 256 bring nothing.
constexpr long long FEWEST_LINES = 16;
constexpr long long MOST_LINES = 256;
/// Along x the samples are transposed on their way in and out.
constexpr long long MOST_ROWS = 32;
/// Rows of a block lie far apart; the memory is asked for them this early.
constexpr long long ROWS_AHEAD = 4;
/// Planes of at most so many samples stay in the cache from x to y.
constexpr long long MOST_SAMPLES_PER_PLANE = 1 << 20;
/// Fewer planes are not worth being the unit of work.
constexpr long long FEWEST_PLANES = 16;

std::size_t count_of(long long number) {
    return static_cast<std::size_t>(number);
}

long long lines_per_block(long long length, long long most) {
    const long long fitting = SAMPLES_PER_BLOCK / length / FEWEST_LINES * FEWEST_LINES;
    return std::clamp(fitting, FEWEST_LINES, most);
}

/// Both passes over samples[i * lines ...], in place.
void smooth_samples(const SRecursiveGaussian& filter, std::span<float> samples, std::span<float> last,
                    std::span<double> states) {
    const std::size_t lines = last.size();
    const std::size_t length = samples.size() / lines;
    const SRecursionPlanes planes = SRecursionPlanes::Over(states);
    const auto step = static_cast<std::ptrdiff_t>(lines);
    float* const first = samples.data();
    float* const end = first + samples.size() - lines;
    std::copy_n(end, lines, last.begin());
    StartCausal(planes, samples.first(lines));
    Walk(filter, planes, {.in = {first, step}, .out = {first, step}, .lines = lines, .rows = length});
    StartAnticausal(filter, planes, last);
    Walk(filter, planes, {.in = {end, -step}, .out = {end, -step}, .lines = lines, .rows = length});
}

} // namespace

Gaussian GaussianFromSigma(double sigmaPx) {
    if (sigmaPx < SRecursiveGaussian::SMALLEST_SIGMA_PX) {
        return SSampledGaussian::FromSigma(sigmaPx);
    }
    return SRecursiveGaussian::FromSigma(sigmaPx);
}

CSmoothingPass::CSmoothingPass(const Gaussian& gaussian, const CPixelGrid& source, CPixelGrid& target,
                               int axis)
    : m_gaussian(gaussian), m_source(source), m_target(target), m_axis(axis), m_length(source.Extent(axis)) {
    const bool rowsInY = source.Extent(1) > 1;
    long long planes = 1;
    if (axis == 0) {
        m_side = source.Extent(rowsInY ? 1 : 2);
        planes = rowsInY ? source.Extent(2) : 1;
    } else {
        m_side = source.Extent(0);
        planes = source.Extent(axis == 1 ? 2 : 1);
    }
    m_linesPerBlock = std::min(lines_per_block(m_length, axis == 0 ? MOST_ROWS : MOST_LINES), m_side);
    m_blocksPerPlane = (m_side + m_linesPerBlock - 1) / m_linesPerBlock;
    m_blockCount = m_blocksPerPlane * planes;
}

void CSmoothingPass::Reserve(int workers) {
    const std::size_t lines = count_of(m_linesPerBlock);
    const std::size_t padding = 2 * SSampledGaussian::LARGEST_RADIUS;
    SBuffers buffers;
    buffers.samples.resize(lines * count_of(m_length) + padding);
    buffers.row.resize(m_axis == 0 ? lines * count_of(m_length) : lines);
    buffers.rowsIn.resize(lines);
    buffers.rowsOut.resize(lines);
    buffers.last.resize(lines);
    buffers.states.resize(SRecursionPlanes::MemoryFor(lines));
    m_buffers.assign(count_of(workers), buffers);
}

void CSmoothingPass::Work(long long block, int worker) {
    SBuffers& buffers = m_buffers[count_of(worker)];
    std::visit(
        [&](const auto& gaussian) {
            if (m_axis == 0) {
                along_x(gaussian, block_at(block), buffers);
            } else {
                across(gaussian, block_at(block), buffers);
            }
        },
        m_gaussian);
}

CSmoothingPass::SBlock CSmoothingPass::block_at(long long block) const {
    SBlock result;
    result.first = block % m_blocksPerPlane * m_linesPerBlock;
    result.lines = std::min(m_linesPerBlock, m_side - result.first);
    result.plane = block / m_blocksPerPlane;
    return result;
}

CPixelGrid::SPixel CSmoothingPass::row_of(const SBlock& block, long long line) const {
    if (m_source.Extent(1) > 1) {
        return {.x = 0, .y = block.first + line, .z = block.plane};
    }
    return {.x = 0, .y = 0, .z = block.first + line};
}

CPixelGrid::SPixel CSmoothingPass::start_of(const SBlock& block, long long position) const {
    return m_axis == 1 ? CPixelGrid::SPixel{.x = block.first, .y = position, .z = block.plane}
                       : CPixelGrid::SPixel{.x = block.first, .y = block.plane, .z = position};
}

void CSmoothingPass::along_x(const SRecursiveGaussian& filter, const SBlock& block, SBuffers& buffers) {
    const std::size_t lines = count_of(block.lines);
    const std::size_t length = count_of(m_length);
    const auto step = static_cast<std::ptrdiff_t>(lines);
    const SFilterKernels& kernels = FilterKernels();
    const auto pixel_of = [&](std::size_t line) { return row_of(block, static_cast<long long>(line)); };
    const auto room_of = [&](std::size_t line) { return buffers.row.data() + line * length; };
    for (std::size_t line = 0; line < lines; ++line) {
        buffers.rowsIn[line] = m_source.Row(pixel_of(line), m_length, room_of(line));
    }
    kernels.toColumns(buffers.rowsIn.data(), lines, length, {buffers.samples.data(), step});
    smooth_samples(filter, std::span(buffers.samples).first(lines * length),
                   std::span(buffers.last).first(lines),
                   std::span(buffers.states).first(SRecursionPlanes::MemoryFor(lines)));
    for (std::size_t line = 0; line < lines; ++line) {
        buffers.rowsOut[line] = m_target.RowToWrite(pixel_of(line), room_of(line));
    }
    kernels.toRows({buffers.samples.data(), step}, buffers.rowsOut.data(), lines, length);
    for (std::size_t line = 0; line < lines; ++line) {
        m_target.Commit(pixel_of(line), m_length, buffers.rowsOut[line]);
    }
}

void CSmoothingPass::along_x(const SSampledGaussian& kernel, const SBlock& block, SBuffers& buffers) {
    const auto radius = static_cast<std::ptrdiff_t>(kernel.radius);
    // The row with its ends continued; the neighbours at a distance are the same row, shifted.
    const auto first = buffers.samples.begin() + radius;
    const auto end = first + m_length;
    std::array<const float*, 2 * SSampledGaussian::LARGEST_RADIUS + 1> shifted{};
    const std::size_t neighbours = 2 * kernel.radius + 1;
    for (std::size_t k = 0; k < neighbours; ++k) {
        shifted[k] = buffers.samples.data() + k;
    }
    for (long long line = 0; line < block.lines; ++line) {
        const CPixelGrid::SPixel pixel = row_of(block, line);
        m_source.Read(pixel, m_length, buffers.samples.data() + radius);
        std::fill(buffers.samples.begin(), first, *first);
        std::fill(end, end + radius, *(end - 1));
        float* const row = m_target.RowToWrite(pixel, buffers.row.data());
        WeightedSum(kernel, std::span(shifted).first(neighbours), std::span(row, count_of(m_length)));
        m_target.Commit(pixel, m_length, row);
    }
}

void CSmoothingPass::across(const SRecursiveGaussian& filter, const SBlock& block, SBuffers& buffers) {
    const std::size_t lines = count_of(block.lines);
    const auto samples_at = [&](long long position) {
        return buffers.samples.data() + count_of(position) * lines;
    };
    for (long long position = 0; position < m_length; ++position) {
        m_source.Prefetch(start_of(block, std::min(position + ROWS_AHEAD, m_length - 1)), block.lines);
        m_source.Read(start_of(block, position), block.lines, samples_at(position));
    }
    smooth_samples(filter, std::span(buffers.samples).first(lines * count_of(m_length)),
                   std::span(buffers.last).first(lines),
                   std::span(buffers.states).first(SRecursionPlanes::MemoryFor(lines)));
    for (long long position = 0; position < m_length; ++position) {
        m_target.Write(start_of(block, position), block.lines, samples_at(position));
    }
}

void CSmoothingPass::across(const SSampledGaussian& kernel, const SBlock& block, SBuffers& buffers) {
    const auto samples_at = [&](long long position) {
        return buffers.samples.data() + std::clamp(position, 0LL, m_length - 1) * block.lines;
    };
    for (long long position = 0; position < m_length; ++position) {
        m_source.Read(start_of(block, position), block.lines, samples_at(position));
    }
    const auto radius = static_cast<long long>(kernel.radius);
    std::array<const float*, 2 * SSampledGaussian::LARGEST_RADIUS + 1> rows{};
    const std::size_t neighbours = 2 * kernel.radius + 1;
    for (long long position = 0; position < m_length; ++position) {
        for (std::size_t k = 0; k < neighbours; ++k) {
            rows[k] = samples_at(position - radius + static_cast<long long>(k));
        }
        const CPixelGrid::SPixel pixel = start_of(block, position);
        float* const row = m_target.RowToWrite(pixel, buffers.row.data());
        WeightedSum(kernel, std::span(rows).first(neighbours), std::span(row, count_of(block.lines)));
        m_target.Commit(pixel, block.lines, row);
    }
}

CPlaneSmoothingPass::CPlaneSmoothingPass(const Gaussian& gaussian, const CPixelGrid& source,
                                         CPixelGrid& target)
    : m_alongX(gaussian, source, target, 0), m_alongY(gaussian, target, target, 1),
      m_planes(source.Extent(2)) {}

void CPlaneSmoothingPass::Reserve(int workers) {
    m_alongX.Reserve(workers);
    m_alongY.Reserve(workers);
}

void CPlaneSmoothingPass::Work(long long block, int worker) {
    for (CSmoothingPass* const pass : {&m_alongX, &m_alongY}) {
        const long long blocks = pass->BlockCount() / m_planes;
        for (long long part = block * blocks; part < (block + 1) * blocks; ++part) {
            pass->Work(part, worker);
        }
    }
}

BlockPasses SmoothingPasses(const Gaussian& gaussian, const CPixelGrid& source, CPixelGrid& target) {
    BlockPasses passes;
    const bool byPlanes = source.Extent(1) > 1 && source.Extent(2) >= FEWEST_PLANES &&
                          source.Extent(0) * source.Extent(1) <= MOST_SAMPLES_PER_PLANE;
    if (byPlanes) {
        passes.push_back(std::make_unique<CPlaneSmoothingPass>(gaussian, source, target));
    } else {
        // Along x always, since that brings the pixels into the output.
        passes.push_back(std::make_unique<CSmoothingPass>(gaussian, source, target, 0));
        if (source.Extent(1) > 1) {
            passes.push_back(std::make_unique<CSmoothingPass>(gaussian, target, target, 1));
        }
    }
    if (source.Extent(2) > 1) {
        passes.push_back(std::make_unique<CSmoothingPass>(gaussian, target, target, 2));
    }
    return passes;
}

} // namespace TEVRA::Impl
