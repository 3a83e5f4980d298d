// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2core/Value.h"
#include "zeklib2image/ImageInterface.h"

#include <string>

namespace TEVRA {

/// Header metadata of images, kept among the image's attributes.
class CVexoHeaderTools {
  public:
    /// Key of an image's value range: a vector of two doubles, smallest and largest value.
    static const std::string c_sMetaMinMax;

    /// The pixel spacing in the image's physical unit; false, and nothing written, if the image carries none
    /// (no header entry of two or three numbers). A third value that the header leaves out is 1.
    static bool GetSpacing(const IImage& image, double& x, double& y, double& z);
    static void SetSpacing(IImage& image, double x, double y, double z);
    /// Stores a copy of the value under the key.
    static void SetMetaInfo(IImage& image, const char* key, const CValue& value);
    /// The value stored under the key, or null; the image keeps it.
    static const CValue* GetMetaInfo(const IImage& image, const char* key);
};

} // namespace TEVRA
