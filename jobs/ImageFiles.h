// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "jobs/PendingFile.h"
#include "volume/ImageReader.h"

#include <string>
#include <vector>

namespace TEVRA::jobs {

/// All files that an image and its mask are read from, those behind a header included; none may be overwritten.
/// @param mask may be null.
inline CInputFiles InputFilesOf(const volume::IImageReader& image, const volume::IImageReader* mask) {
    std::vector<std::string> files = image.Files();
    if (mask != nullptr) {
        const std::vector<std::string> ofMask = mask->Files();
        files.insert(files.end(), ofMask.begin(), ofMask.end());
    }
    return CInputFiles(files);
}

} // namespace TEVRA::jobs
