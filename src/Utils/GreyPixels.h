// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2core/Exception.h"
#include "zeklib2core/String.h"
#include "zeklib2image/ImageInterface.h"

namespace TEVRA::Impl {

/// Calls `operation.operator()<PixelT>()` for the C type of a grey-value image's pixels.
/// @throws CException with the given location for images of another type.
template <typename OperationT>
auto ForGreyPixels(const IImage& image, const StExLocation& location, const OperationT& operation) {
    if (image.Type() == IMAGE_GREY_8) {
        return operation.template operator()<unsigned char>();
    }
    if (image.Type() == IMAGE_GREY_16) {
        return operation.template operator()<unsigned short>();
    }
    if (image.Type() == IMAGE_GREY_F) {
        return operation.template operator()<float>();
    }
    CString message("Not implemented for this image type '%1'.", CString::eEncodingUtf8);
    throw CException(location, message.Arg(image.Type().ToString()).c_str());
}

} // namespace TEVRA::Impl
