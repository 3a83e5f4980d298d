// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2image/Pos.h"

#include <cstddef>
#include <initializer_list>
#include <string>

namespace TEVRA {

/// An n-dimensional size, in pixels.
class CSize {
  public:
    CSize() = default;
    CSize(long long x, long long y);
    CSize(long long x, long long y, long long z);
    /// Any number of extents. @throws CExBadParam beyond `CPos::MAX_DIM`.
    CSize(std::initializer_list<long long> extents);
    /// The coordinates of a position as extents.
    explicit CSize(const CPos& extents);

    int Dim() const noexcept { return m_extents.Dim(); }
    /// The extent along an axis; 1 beyond the size's dimensions. @throws CExBadParam for a negative axis.
    long long operator[](long long axis) const;
    /// Sets an extent. @throws CExBadParam if the axis is not one of the size's.
    void Set(long long axis, long long extent);
    /// The product of the extents; 0 if one of them is 0 or negative, or without dimensions.
    std::size_t Elements() const noexcept;
    /// As in "(512,512)".
    std::string ToString() const { return m_extents.ToString(); }

    friend bool operator==(const CSize& a, const CSize& b) noexcept { return a.m_extents == b.m_extents; }

  private:
    CPos m_extents;
};

} // namespace TEVRA
