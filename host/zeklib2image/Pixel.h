// SPDX-License-Identifier: BSD-3-Clause
#pragma once

namespace TEVRA {

/// A pixel value holder: the value that one pixel of a binary image takes.
class CPixel {
  public:
    explicit CPixel(bool value) noexcept : m_value(value) {}
    bool Bool() const noexcept { return m_value; }

  private:
    bool m_value;
};

} // namespace TEVRA
