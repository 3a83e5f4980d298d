// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2image/Pos.h"
#include "zeklib2image/Size.h"

namespace TEVRA {

/// An axis-aligned box given by two corners, in pixels.
///
/// The six-coordinate form is three-dimensional; set both corners to two dimensions to use it in a 2D image.
class CBox {
  public:
    CBox(long x0, long y0, long z0, long x1, long y1, long z1);
    CBox(const CPos& point0, const CPos& point1);

    CPos& Point0() noexcept { return m_point0; }
    const CPos& Point0() const noexcept { return m_point0; }
    CPos& Point1() noexcept { return m_point1; }
    const CPos& Point1() const noexcept { return m_point1; }
    /// Point1 - Point0 per axis, over the dimensions that both corners have.
    CSize Size() const;

  private:
    CPos m_point0;
    CPos m_point1;
};

} // namespace TEVRA
