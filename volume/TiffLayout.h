// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "volume/SliceFile.h"

#include <string>

namespace TEVRA::volume {

/// All of an uncompressed TIFF file before its pixels, which follow slice by slice: file header and one page header
/// per slice, of vectors per component. libtiff writes page headers behind the pixels of each page, so that no
/// other process could know where its slices go.
///
/// BigTIFF where the file takes 4 GB or more.
std::string TiffHead(const SSliceFileInfo& info);

} // namespace TEVRA::volume
