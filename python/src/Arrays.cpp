// SPDX-License-Identifier: BSD-3-Clause
#include "python/src/Arrays.h"

#include <cstdint>
#include <stdexcept>

namespace TEVRA::python {

namespace {

template <typename PixelT>
py::array array_of(std::unique_ptr<CImage> image) {
    CImage* const held = image.release();
    const py::capsule base(held, [](void* pointer) { delete static_cast<CImage*>(pointer); });
    return py::array_t<PixelT>(ShapeOf(held->Size()), held->Pixels<PixelT>(), base);
}

} // namespace

std::vector<py::ssize_t> ShapeOf(const CSize& size) {
    if (size.Dim() == 2) {
        return {size[1], size[0]};
    }
    return {size[2], size[1], size[0]};
}

py::array ArrayOf(std::unique_ptr<CImage> image) {
    const IImage::CType& type = image->Type();
    if (type == IMAGE_GREY_8 || type == IMAGE_BINARY_FG) {
        return array_of<std::uint8_t>(std::move(image));
    }
    if (type == IMAGE_GREY_16) {
        return array_of<std::uint16_t>(std::move(image));
    }
    if (type == IMAGE_GREY_F) {
        return array_of<float>(std::move(image));
    }
    throw std::logic_error(std::string("pixels of type ") + type.ToString() + " are no array");
}

} // namespace TEVRA::python
