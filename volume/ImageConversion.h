// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "volume/ImageReader.h"
#include "volume/ValueRange.h"
#include "zeklib2image/Image.h"

#include <cstdint>
#include <limits>
#include <memory>

namespace TEVRA::volume {

/// GREY_8, GREY_16 or GREY_F.
const IImage::CType& ImageTypeOf(EPixelType type) noexcept;

/// Grey values that are mapped to the ends of the 8-bit range.
struct SGreyWindow {
    double lo; ///< becomes 0, as does all below
    double hi; ///< becomes 255, as does all above
};

/// The 8-bit grey value of a value v under a window: 255 (v - lo) / (hi - lo), clamped and rounded to the
/// nearest; 0 for NaN.
std::uint8_t GreyOf(double value, const SGreyWindow& window);
/// @throws CInputError unless the window's ends are finite and lo < hi.
void CheckWindow(const SGreyWindow& window);

/// The values of a mask that were seen so far.
class CMaskValues {
  public:
    /// @param value not 0. @throws CInputError if it is one too many.
    void Add(double value);
    /// The value of the foreground; NaN if there was none yet.
    double Foreground() const noexcept { return m_foreground; }

  private:
    double m_foreground = std::numeric_limits<double>::quiet_NaN(); // none yet
};

// All of the following read the whole file and report progress, one step per slice, to the calling thread's
// monitor under the text "Reading image..."; an exception of the monitor passes through. They throw what the
// reader throws, and std::bad_alloc without enough memory. The spacing, if the file states one, is put into
// the image's header.

/// The image as it is, of the type that goes with its pixels.
std::unique_ptr<CImage> ReadImage(IImageReader& reader);

/// The extent of the image's grey values; from 0 to 0 if none is finite.
SValueRange ValueRange(IImageReader& reader);

/// A mask: BINARY_FG, 0 where the file holds 0 and 1 where it holds its other value. An image that is 0
/// everywhere is an empty mask, one with the same other value everywhere a full one.
/// @throws CInputError if there is more than one value other than 0, naming some.
std::unique_ptr<CImage> ReadMask(IImageReader& reader);

} // namespace TEVRA::volume
