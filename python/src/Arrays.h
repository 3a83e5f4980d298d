// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "python/src/Pybind.h"
#include "zeklib2image/Image.h"

#include <memory>
#include <vector>

namespace TEVRA::python {

/// Extents of an array, slowest axis first, for an image: [y, x] or [z, y, x].
std::vector<py::ssize_t> ShapeOf(const CSize& size);

/// The pixels of a host image as an array that owns the image: nothing is copied.
/// @param image GREY_8, GREY_16, GREY_F or BINARY_FG.
py::array ArrayOf(std::unique_ptr<CImage> image);

/// A read-only array over pixels that `owner` keeps alive.
/// @param shape slowest axis first.
template <typename PixelT, typename OwnerT>
py::array ArrayOver(const std::vector<py::ssize_t>& shape, const PixelT* pixels,
                    std::shared_ptr<OwnerT> owner) {
    auto* const held = new std::shared_ptr<OwnerT>(std::move(owner));
    const py::capsule base(held,
                           [](void* pointer) { delete static_cast<std::shared_ptr<OwnerT>*>(pointer); });
    py::array_t<PixelT> array(shape, pixels, base);
    py::detail::array_proxy(array.ptr())->flags &= ~py::detail::npy_api::NPY_ARRAY_WRITEABLE_;
    return array;
}

/// A new array with these numbers.
template <typename T>
py::array_t<T> NewArray(const std::vector<py::ssize_t>& shape, const T* numbers) {
    return py::array_t<T>(shape, numbers); // without a base pybind11 copies
}

} // namespace TEVRA::python
