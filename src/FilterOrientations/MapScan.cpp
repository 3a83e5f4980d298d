// SPDX-License-Identifier: BSD-3-Clause
#include "FilterOrientations/MapScan.h"

#include <algorithm>
#include <vector>

namespace TEVRA::Impl {
namespace {

/// Finds the axes of one row after the other, and fetches what the next one needs meanwhile.
template <std::size_t Dim>
class CRowScan {
  public:
    CRowScan(const SMapScan& scan, IMatrixRows<Dim>& matrices)
        : m_scan(scan), m_matrices(matrices), m_width(static_cast<std::size_t>(scan.maps.Width())),
          m_buffers(scan.mask == nullptr ? 2 * m_width : 0) {}

    void Run(const SRowRange& rows) {
        const unsigned char* next = foreground_of(rows.first);
        for (long long row = rows.first; row < rows.end; ++row) {
            const unsigned char* const foreground = next;
            if (row + 1 < rows.end) {
                next = foreground_of(row + 1);
                const auto [y, z] = place_of(row + 1);
                m_matrices.Prefetch(y, z, next);
            }
            find_axes(row, foreground);
        }
    }

  private:
    struct SPlace {
        long long y;
        long long z;
    };
    SPlace place_of(long long row) const { return {row % m_scan.maps.Height(), row / m_scan.maps.Height()}; }

    void find_axes(long long row, const unsigned char* foreground) {
        const auto [y, z] = place_of(row);
        m_matrices.GoTo(z);
        FindAxes<Dim>(m_matrices, y, foreground, m_width, m_scan.which, m_scan.maps.Angles(y, z));
        if (float* const confidence = m_scan.maps.Confidence(y, z)) {
            m_matrices.Confidence(foreground, confidence);
        }
    }

    /// One byte per pixel, valid until the call after the next.
    const unsigned char* foreground_of(long long row) {
        const std::size_t offset = static_cast<std::size_t>(row) * m_width;
        if (m_scan.mask != nullptr) {
            return m_scan.mask + offset;
        }
        unsigned char* const buffer = m_buffers.data() + static_cast<std::size_t>(row % 2) * m_width;
        ForegroundOfRow(m_scan.smoothed + offset, m_width, m_scan.threshold, buffer);
        return buffer;
    }

    const SMapScan& m_scan;
    IMatrixRows<Dim>& m_matrices;
    std::size_t m_width;
    std::vector<unsigned char> m_buffers;
};

} // namespace

template <std::size_t Dim>
void FindAxesOfRows(const SMapScan& scan, const SRowRange& rows, ITaskRunner& runner,
                    const std::function<std::unique_ptr<IMatrixRows<Dim>>()>& newRows) {
    runner.Run((rows.end - rows.first + ROWS_PER_TASK - 1) / ROWS_PER_TASK, [&](long long number) {
        const long long first = rows.first + number * ROWS_PER_TASK;
        const std::unique_ptr<IMatrixRows<Dim>> matrices = newRows();
        CRowScan<Dim>(scan, *matrices).Run({first, std::min(first + ROWS_PER_TASK, rows.end)});
    });
}

template void FindAxesOfRows<2>(const SMapScan&, const SRowRange&, ITaskRunner&,
                                const std::function<std::unique_ptr<IMatrixRows<2>>()>&);
template void FindAxesOfRows<3>(const SMapScan&, const SRowRange&, ITaskRunner&,
                                const std::function<std::unique_ptr<IMatrixRows<3>>()>&);

} // namespace TEVRA::Impl
