// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <span>
#include <vector>

namespace TEVRA::benchmarks {

/// The filter bank as a plain loop around FFTW, single precision, one thread: one real-to-complex transform,
/// then per direction the half spectrum times the Gaussian, a complex-to-real transform and the maximum. The
/// yardstick for `CFilterOrientations::Compute`; it knows nothing of images, checks and progress.
/// @param image cube of `extent` pixels along each axis, x fastest. @param directions three components each.
/// @return number of the best direction per pixel.
std::vector<unsigned char> PlainFilterBank(std::span<const float> image, int extent, int pad,
                                           double majorWidth, double minorWidth,
                                           std::span<const double> directions);

} // namespace TEVRA::benchmarks
