// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Peer.h"
#include "zeklib2image/Image.h"

#include <memory>

namespace TEVRA::benchmarks {

/// The volume as a GREY_8 image.
std::unique_ptr<CImage> ImageOf(const SVolume& volume);

/// The pixels of a GREY_F image of the host.
std::span<const float> PixelsOf(const IImage& image);

} // namespace TEVRA::benchmarks
