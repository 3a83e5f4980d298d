// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>

namespace TEVRA::benchmarks {

/// Second differences of a smoothed volume at one voxel after the other, the volume continued constantly:
/// what a program does that keeps no derivative images.
class CLocalHessian {
  public:
    /// @param values x fastest; must outlive this object.
    CLocalHessian(const float* values, const std::array<std::size_t, 3>& size)
        : m_values(values), m_size(size) {}

    void GoToRow(std::size_t y, std::size_t z) {
        for (std::size_t dz = 0; dz < 3; ++dz) {
            for (std::size_t dy = 0; dy < 3; ++dy) {
                m_rows[dz][dy] =
                    m_values +
                    (neighbour(z, dz, m_size[2]) * m_size[1] + neighbour(y, dy, m_size[1])) * m_size[0];
            }
        }
    }
    float Value(std::size_t x) const { return m_rows[1][1][x]; }
    /// xx, xy, xz, yy, yz, zz.
    std::array<double, 6> At(std::size_t x) const {
        const std::size_t left = neighbour(x, 0, m_size[0]);
        const std::size_t right = neighbour(x, 2, m_size[0]);
        const auto& [below, here, above] = m_rows;
        const float twice = 2.0F * here[1][x];
        const std::array<float, 6> entries{
            here[1][left] - twice + here[1][right],
            0.25F * (here[2][right] - here[2][left] - here[0][right] + here[0][left]),
            0.25F * (above[1][right] - above[1][left] - below[1][right] + below[1][left]),
            here[0][x] - twice + here[2][x],
            0.25F * (above[2][x] - above[0][x] - below[2][x] + below[0][x]),
            below[1][x] - twice + above[1][x]};
        std::array<double, 6> wide{};
        std::copy(entries.begin(), entries.end(), wide.begin());
        return wide;
    }

  private:
    /// @param step 0 before, 1 here, 2 behind.
    static std::size_t neighbour(std::size_t at, std::size_t step, std::size_t extent) {
        return std::min(at + step > 0 ? at + step - 1 : 0, extent - 1);
    }

    const float* m_values;
    std::array<std::size_t, 3> m_size;
    std::array<std::array<const float*, 3>, 3> m_rows{};
};

} // namespace TEVRA::benchmarks
