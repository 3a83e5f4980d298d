// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "volume/ImageReader.h"
#include "volume/Spacing.h"
#include "volume/StoredPixels.h"

#include <memory>
#include <string>
#include <vector>

// The readers behind OpenImage: one function per family of formats. Each checks the whole header and throws
// as OpenImage does.
namespace TEVRA::volume {

std::unique_ptr<IImageReader> OpenTiff(const std::string& path);
std::unique_ptr<IImageReader> OpenPng(const std::string& path);
std::unique_ptr<IImageReader> OpenSliceFolder(const std::string& folder);
std::unique_ptr<IImageReader> OpenMetaImage(const std::string& path);
std::unique_ptr<IImageReader> OpenNrrd(const std::string& path);
std::unique_ptr<IImageReader> OpenNifti(const std::string& path);
/// NumPy's .npy.
std::unique_ptr<IImageReader> OpenNpy(const std::string& path);
/// @param dataset empty: refused with a list of the datasets.
std::unique_ptr<IImageReader> OpenHdf5(const std::string& path, const std::string& dataset);
std::unique_ptr<IImageReader> OpenRaw(const std::string& path, const SRawLayout& layout);

/// The size of an image with these extents, x first: trailing extents of 1 beyond the second are dropped.
/// @param path named in errors. @throws CInputError unless 2 or 3 extents remain, all 1 or more.
CSize ImageSize(const std::string& path, std::vector<long long> extents);

/// What follows from the type of stored pixels: type handed out, description, whether values are rounded.
void SetStoredType(SImageInfo& info, EStoredType type);
void SetSpacing(SImageInfo& info, SSpacing spacing);

} // namespace TEVRA::volume
