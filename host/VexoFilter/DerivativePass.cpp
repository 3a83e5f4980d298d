// SPDX-License-Identifier: BSD-3-Clause
#include "VexoFilter/DerivativePass.h"

#include "VexoFilter/Differences.h"

#include <algorithm>
#include <span>

namespace TEVRA::Impl {
namespace {

/// Of each plane that a block touches: three of the source should stay in the second-level cache until the
/// walk is past them.
constexpr long long SAMPLES_PER_PLANE_OF_BLOCK = 8192;
constexpr long long PLANES_PER_BLOCK = 32;

long long blocks_for(long long count, long long perBlock) {
    return (count + perBlock - 1) / perBlock;
}

/// The pixel next to another one along an axis, or the pixel itself at the border.
CPixelGrid::SPixel moved(CPixelGrid::SPixel pixel, int axis, long long shift, long long extent) {
    long long& coordinate = axis == 1 ? pixel.y : pixel.z;
    coordinate = std::clamp(coordinate + shift, 0LL, extent - 1);
    return pixel;
}

} // namespace

CDerivativePass::CDerivativePass(const CPixelGrid& source, CPixelGrid& target,
                                 const std::array<int, 3>& orders)
    : m_source(source), m_target(target), m_orders(orders),
      m_rowsPerBlock(std::clamp(SAMPLES_PER_PLANE_OF_BLOCK / source.Extent(0), 1LL, source.Extent(1))),
      m_blocksInY(blocks_for(source.Extent(1), m_rowsPerBlock)),
      m_blocksInZ(blocks_for(source.Extent(2), PLANES_PER_BLOCK)) {
    for (int axis = 0; axis < 3; ++axis) {
        m_lastAxis = order(axis) > 0 ? axis : m_lastAxis;
    }
}

void CDerivativePass::Reserve(int workers) {
    const auto length = static_cast<std::size_t>(m_source.Extent(0));
    SBuffers buffers;
    buffers.row.resize(length);
    for (auto& rows : buffers.neighbours) {
        for (std::vector<float>& room : rows) {
            room.resize(length);
        }
    }
    m_buffers.assign(static_cast<std::size_t>(workers), buffers);
}

void CDerivativePass::Work(long long block, int worker) {
    SBuffers& buffers = m_buffers[static_cast<std::size_t>(worker)];
    const long long length = m_source.Extent(0);
    const long long firstY = block % m_blocksInY * m_rowsPerBlock;
    const long long firstZ = block / m_blocksInY * PLANES_PER_BLOCK;
    const long long endY = std::min(firstY + m_rowsPerBlock, m_source.Extent(1));
    const long long endZ = std::min(firstZ + PLANES_PER_BLOCK, m_source.Extent(2));
    std::vector<float>& own = buffers.neighbours[0][1]; // along x there are no neighbouring rows
    for (long long z = firstZ; z < endZ; ++z) {
        for (long long y = firstY; y < endY; ++y) {
            const CPixelGrid::SPixel pixel{.x = 0, .y = y, .z = z};
            float* const target = m_target.RowToWrite(pixel, own.data());
            const float* const result = row(m_lastAxis, pixel, buffers, target);
            if (result != target) { // nothing to differentiate
                std::copy_n(result, length, target);
            }
            m_target.Commit(pixel, length, target);
        }
    }
}

/// A row of the source differentiated along axes 0 to `axis`. @return where it is: in `room`, or in the
/// source if there is nothing to do.
const float* CDerivativePass::row(int axis, const CPixelGrid::SPixel& pixel, SBuffers& buffers,
                                  float* room) const {
    const long long length = m_source.Extent(0);
    while (axis >= 0 && order(axis) == 0) {
        --axis;
    }
    if (axis < 0) {
        return m_source.Row(pixel, length, room);
    }
    const auto samples = static_cast<std::size_t>(length);
    if (axis == 0) {
        const float* const source = m_source.Row(pixel, length, room);
        difference_along_x(source, buffers, room);
        return room;
    }
    auto& rooms = buffers.neighbours[static_cast<std::size_t>(axis)];
    const auto neighbour = [&](long long shift, std::vector<float>& space) {
        return std::span(
            row(axis - 1, moved(pixel, axis, shift, m_source.Extent(axis)), buffers, space.data()), samples);
    };
    const std::span<const float> left = neighbour(-1, rooms[0]);
    const std::span<const float> right = neighbour(1, rooms[2]);
    if (order(axis) == 2) {
        SecondDifference(left, neighbour(0, rooms[1]), right, {room, samples});
    } else {
        FirstDifference(left, right, {room, samples});
    }
    return room;
}

void CDerivativePass::difference_along_x(const float* source, SBuffers& buffers, float* out) const {
    const auto length = static_cast<std::size_t>(m_source.Extent(0));
    if (source == out) { // converted pixels: a pixel's neighbours must outlive it
        std::copy_n(source, length, buffers.row.data());
        source = buffers.row.data();
    }
    if (order(0) == 2) {
        SecondDifferenceAlong({source, length}, {out, length});
    } else {
        FirstDifferenceAlong({source, length}, {out, length});
    }
}

} // namespace TEVRA::Impl
