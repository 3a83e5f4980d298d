// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2image/ImageFactory.h"

#include "zeklib2core/Exception.h"
#include "zeklib2core/String.h"
#include "zeklib2image/Image.h"

#include <cstring>

namespace TEVRA {

CZekImageFactory& CZekImageFactory::Obj() {
    static CZekImageFactory factory;
    return factory;
}

IImage* CZekImageFactory::CreateImage(const IImage::CType& type, const CSize& size) const {
    return new CImage(type, size, CSize(0, 0, 0));
}

IImage* CZekImageFactory::CreateImage(const IImage::CType& type, const CSize& size,
                                      const CPixel& value) const {
    if (!(type == IMAGE_BOOL || type == IMAGE_BINARY_FG || type == IMAGE_BINARY_BG)) {
        CString message("An image of type %1 cannot be filled with a binary value.", CString::eEncodingUtf8);
        message.Arg(type.ToString());
        throw CExBadParam(TEVRA_LOCATION("host/zeklib2image/ImageFactory",
                                         "TEVRA::CZekImageFactory::CreateImage", __LINE__),
                          message.c_str());
    }
    auto image = std::make_unique<CImage>(type, size, CSize(0, 0, 0));
    if (value.Bool()) {
        std::memset(image->Pixels<unsigned char>(), 1, size.Elements());
    }
    return image.release();
}

} // namespace TEVRA
