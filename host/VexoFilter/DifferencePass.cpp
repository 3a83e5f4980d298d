// SPDX-License-Identifier: BSD-3-Clause
#include "VexoFilter/DifferencePass.h"

#include "VexoFilter/Differences.h"

#include <algorithm>
#include <array>
#include <span>

namespace TEVRA::Impl {
namespace {

/// Rows of a block along x.
constexpr long long MOST_ROWS = 32;
/// Lines side by side in x of a block along another axis: four rows of them stay in the first-level cache.
constexpr long long MOST_LINES = 1024;

} // namespace

CDifferencePass::CDifferencePass(CPixelGrid& image, int axis, EOrder order)
    : m_image(image), m_axis(axis), m_order(order) {
    const bool alongX = axis == 0;
    const long long side = alongX ? image.Extent(1) * image.Extent(2) : image.Extent(0);
    const long long planes = alongX ? 1 : image.Extent(axis == 1 ? 2 : 1);
    m_linesPerBlock = std::min(alongX ? MOST_ROWS : MOST_LINES, side);
    m_blocksPerPlane = (side + m_linesPerBlock - 1) / m_linesPerBlock;
    m_blockCount = m_blocksPerPlane * planes;
}

void CDifferencePass::Reserve(int workers) {
    const long long length = m_axis == 0 ? m_image.Extent(0) + 2 : m_linesPerBlock;
    m_memory.assign(static_cast<std::size_t>(workers),
                    std::vector<float>(static_cast<std::size_t>(4 * length)));
}

void CDifferencePass::Work(long long block, int worker) {
    float* const memory = m_memory[static_cast<std::size_t>(worker)].data();
    if (m_axis == 0) {
        along_x(block, memory);
    } else {
        across(block, memory);
    }
}

void CDifferencePass::difference(const float* left, const float* here, const float* right, float* out,
                                 long long count) const {
    const auto samples = static_cast<std::size_t>(count);
    if (m_order == EOrder::second) {
        SecondDifference({left, samples}, {here, samples}, {right, samples}, {out, samples});
    } else {
        FirstDifference({left, samples}, {right, samples}, {out, samples});
    }
}

void CDifferencePass::along_x(long long block, float* memory) {
    const long long length = m_image.Extent(0);
    const long long rows = m_image.Extent(1) * m_image.Extent(2);
    const long long end = std::min((block + 1) * m_linesPerBlock, rows);
    float* const padded = memory; // the row with one sample more at either end
    float* const result = padded + length + 2;
    for (long long line = block * m_linesPerBlock; line < end; ++line) {
        const CPixelGrid::SPixel pixel{.x = 0, .y = line % m_image.Extent(1), .z = line / m_image.Extent(1)};
        m_image.Read(pixel, length, padded + 1);
        padded[0] = padded[1];
        padded[length + 1] = padded[length];
        float* const row = m_image.RowToWrite(pixel, result);
        difference(padded, padded + 1, padded + 2, row, length);
        m_image.Commit(pixel, length, row);
    }
}

void CDifferencePass::across(long long block, float* memory) {
    const long long length = m_image.Extent(m_axis);
    const long long first = block % m_blocksPerPlane * m_linesPerBlock;
    const long long plane = block / m_blocksPerPlane;
    const long long lines = std::min(m_linesPerBlock, m_image.Extent(0) - first);
    const auto start_of = [&](long long position) {
        return m_axis == 1 ? CPixelGrid::SPixel{.x = first, .y = position, .z = plane}
                           : CPixelGrid::SPixel{.x = first, .y = plane, .z = position};
    };
    // Three rows as they were before the results took their place, passed on from row to row.
    std::array<float*, 3> original{};
    for (std::size_t k = 0; k < original.size(); ++k) {
        original[k] = memory + static_cast<long long>(k) * m_linesPerBlock;
    }
    float* const result = memory + 3 * m_linesPerBlock;
    m_image.Read(start_of(0), lines, original[1]);
    std::copy_n(original[1], lines, original[0]);
    for (long long position = 0; position < length; ++position) {
        m_image.Read(start_of(std::min(position + 1, length - 1)), lines, original[2]);
        const CPixelGrid::SPixel pixel = start_of(position);
        float* const row = m_image.RowToWrite(pixel, result);
        const float* const right = position + 1 < length ? original[2] : original[1];
        difference(original[0], original[1], right, row, lines);
        m_image.Commit(pixel, lines, row);
        std::rotate(original.begin(), original.begin() + 1, original.end());
    }
}

} // namespace TEVRA::Impl
