// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <initializer_list>
#include <string>

namespace TEVRA {

/// An n-dimensional integer position, in pixels; n from 0 to `MAX_DIM`.
class CPos {
  public:
    static constexpr int MAX_DIM = 6;

    CPos() = default;
    CPos(long long x, long long y);
    CPos(long long x, long long y, long long z);
    /// Any number of coordinates. @throws CExBadParam beyond `MAX_DIM`.
    CPos(std::initializer_list<long long> coordinates);

    int Dim() const noexcept { return m_dim; }
    /// Sets the number of dimensions; coordinates kept are unchanged, new ones are 0.
    /// @throws CExBadParam outside 0 ... `MAX_DIM`.
    void SetDim(int dim);
    /// A coordinate. @throws CExBadParam if the axis is not one of the position's.
    long long& operator[](long long axis);
    long long operator[](long long axis) const;
    /// As in "(5,105,0)".
    std::string ToString() const;

    friend bool operator==(const CPos& a, const CPos& b) noexcept {
        return a.m_dim == b.m_dim && a.m_coordinates == b.m_coordinates;
    }

  private:
    void require_axis(long long axis) const;

    std::array<long long, MAX_DIM> m_coordinates{}; // 0 beyond m_dim
    int m_dim = 0;
};

} // namespace TEVRA
