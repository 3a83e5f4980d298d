// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2image/Size.h"

#include <optional>
#include <string>

namespace TEVRA::jobs {

/// True if the Fourier transform of so many pixels along an axis is fast: no prime factor above 13. For
/// larger ones the transform has no short way, and takes three times as long (17) to ten times (37 and
/// above).
bool IsFastExtent(long long extent);

/// Zeros that the filter bank puts around an image on every side, in pixels, for filters of these widths.
long long FramePx(double majorWidth, double minorWidth);

/// What to tell about an image whose extents with the frame of these filters are slow to transform: which,
/// and how many pixels instead, or which width along the direction, would be fast. None if all are fast.
std::optional<std::string> SlowTransformNote(const CSize& size, double majorWidth, double minorWidth);

} // namespace TEVRA::jobs
