// SPDX-License-Identifier: BSD-3-Clause
#include "python/src/ArrayImage.h"

#include "python/src/ArrayReader.h"

#include "volume/ImageConversion.h"
#include "zeklib2core/Exception.h"
#include "zeklib2image/PackedAccess.h"

#include <vector>

namespace TEVRA::python {

namespace {

constexpr const char* SOURCE = "python/src/ArrayImage";

py::array checked_array(const std::string& argument, const py::object& object) {
    if (!py::isinstance<py::array>(object)) {
        throw py::type_error(argument + ": is no NumPy array; give one, as numpy.asarray makes it");
    }
    auto array = py::reinterpret_borrow<py::array>(object);
    const int wanted = int{py::array::c_style} | int{py::detail::npy_api::NPY_ARRAY_ALIGNED_};
    if ((array.flags() & wanted) != wanted || !array.dtype().attr("isnative").cast<bool>()) {
        throw py::type_error(argument + ": is not C-contiguous in the machine's byte order; give "
                                        "numpy.ascontiguousarray(...) of it");
    }
    return array;
}

IImage::CType type_of(const std::string& argument, const py::array& array, CArrayImage::EContent content) {
    if (content == CArrayImage::EContent::mask) {
        const bool isByte =
            array.itemsize() == 1 && (array.dtype().kind() == 'b' || array.dtype().kind() == 'u');
        if (!isByte) {
            throw py::type_error(argument + ": has dtype " + py::str(array.dtype()).cast<std::string>() +
                                 ", but bool or uint8 is needed");
        }
        return IMAGE_BINARY_FG;
    }
    return volume::ImageTypeOf(PixelTypeOf(argument, array.dtype()));
}

} // namespace

CArrayImage::CArrayImage(const std::string& argument, const py::object& array, EContent content)
    : m_array(checked_array(argument, array)), m_type(type_of(argument, m_array, content)),
      m_size(ArrayInfo(argument, std::vector<long long>(m_array.shape(), m_array.shape() + m_array.ndim()),
                       volume::EPixelType::u8)
                 .size) {}

IImage::IAccess* CArrayImage::CreateAccess(bool readOnly) {
    return std::as_const(*this).CreateAccess(readOnly);
}

IImage::IAccess* CArrayImage::CreateAccess(bool readOnly) const {
    if (!readOnly) {
        throw CExBadParam(TEVRA_LOCATION(SOURCE, "CreateAccess", __LINE__),
                          "Arrays given as images are read-only.");
    }
    return new CPackedAccess(static_cast<const std::byte*>(m_array.data()), m_size, m_type.BytesPerPixel());
}

IImage& CArrayImage::Resize(const CSize& /*size*/, const CSize& /*border*/) {
    throw CException(TEVRA_LOCATION(SOURCE, "Resize", __LINE__), "An array keeps its size.");
}

} // namespace TEVRA::python
