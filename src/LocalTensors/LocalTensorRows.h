// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Axes/AxisScan.h"
#include "LocalTensors/LocalTensors.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <vector>

namespace TEVRA::Impl {

/// Rows of the matrices of local tensors, for one thread.
template <std::size_t Dim>
class CLocalTensorRows : public IMatrixRows<Dim> {
  public:
    static constexpr std::size_t ENTRIES = CLocalTensors<Dim>::ENTRIES;

    /// @param tensors must outlive the object; made by the time that rows are asked for. @param width of a row.
    CLocalTensorRows(const std::unique_ptr<CLocalTensors<Dim>>& tensors, std::size_t width)
        : m_tensors(tensors), m_confidence(width) {
        for (std::size_t entry = 0; entry < ENTRIES; ++entry) {
            m_memory[entry].resize(width + PACKING_ROOM);
            m_written[entry] = m_memory[entry].data();
            m_rows[entry] = m_memory[entry].data();
        }
    }

    void GoTo(long long z) override { m_z = z; }
    const SymmetricRow<Dim>& At(long long y, const unsigned char* foreground) override {
        m_tensors->FindMatrices(m_z, static_cast<std::size_t>(y), foreground, m_written, m_confidence.data(),
                                m_workspace);
        return m_rows;
    }
    EPlaces Places() const override { return EPlaces::packed; }
    void Confidence(const unsigned char* foreground, float* confidence) override {
        // Rows without foreground are not asked for.
        std::transform(
            foreground, foreground + m_confidence.size(), m_confidence.begin(), confidence,
            [](unsigned char isForeground, float sure) { return isForeground != 0 ? sure : 0.0F; });
    }

  private:
    const std::unique_ptr<CLocalTensors<Dim>>& m_tensors;
    std::array<std::vector<float>, ENTRIES> m_memory;
    std::array<float*, ENTRIES> m_written{};
    SymmetricRow<Dim> m_rows{};
    std::vector<float> m_confidence;
    CLocalWorkspace<Dim> m_workspace;
    long long m_z = 0;
};

} // namespace TEVRA::Impl
