// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "volume/ImageReader.h"

#include <string>

namespace TEVRA::volume {

/// What tells the files of an image from others or from what they were, on one line: of each its full path, its
/// size in bytes, and the times when it was last written and last replaced.
std::string FileIdentity(const IImageReader& reader);

} // namespace TEVRA::volume
