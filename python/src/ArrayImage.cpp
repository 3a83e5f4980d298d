// SPDX-License-Identifier: BSD-3-Clause
#include "python/src/ArrayImage.h"

#include "python/src/ArrayReader.h"

#include "zeklib2core/Exception.h"

#include <vector>

namespace TEVRA::python {

namespace {

constexpr const char* SOURCE = "python/src/ArrayImage";

class CArrayAccess : public IImage::IAccess {
  public:
    CArrayAccess(const std::byte* pixels, const CSize& size, std::size_t bytesPerPixel)
        : m_pixels(pixels), m_region(pixels), m_size(size),
          m_bytesPerPixel(static_cast<std::ptrdiff_t>(bytesPerPixel)) {}

    void SetRegion(const CPos& first, const CPos& last) override {
        const int dim = m_size.Dim();
        bool isInside = first.Dim() == dim && last.Dim() == dim;
        std::ptrdiff_t offset = 0;
        for (int axis = 0; isInside && axis < dim; ++axis) {
            isInside = first[axis] >= 0 && first[axis] <= last[axis] && last[axis] < m_size[axis];
            offset += static_cast<std::ptrdiff_t>(first[axis]) * Stride(axis);
        }
        if (!isInside) {
            throw CExBadParam(TEVRA_LOCATION(SOURCE, "SetRegion", __LINE__),
                              "The region does not lie in the array.");
        }
        m_region = m_pixels + offset;
    }
    void* Data() override {
        throw CException(TEVRA_LOCATION(SOURCE, "Data", __LINE__), "Arrays given as images are read-only.");
    }
    const void* ConstData() const override { return m_region; }
    std::ptrdiff_t Stride(int axis) const override {
        if (axis < 0 || axis >= m_size.Dim()) {
            return 0;
        }
        std::ptrdiff_t stride = m_bytesPerPixel;
        for (int lower = 0; lower < axis; ++lower) {
            stride *= static_cast<std::ptrdiff_t>(m_size[lower]);
        }
        return stride;
    }
    bool IsReadOnly() const noexcept override { return true; }

  private:
    const std::byte* m_pixels;
    const std::byte* m_region;
    CSize m_size;
    std::ptrdiff_t m_bytesPerPixel;
};

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
    switch (PixelTypeOf(argument, array.dtype())) {
    case volume::EPixelType::u8:
        return IMAGE_GREY_8;
    case volume::EPixelType::u16:
        return IMAGE_GREY_16;
    case volume::EPixelType::f32:
        break;
    }
    return IMAGE_GREY_F;
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
    return new CArrayAccess(static_cast<const std::byte*>(m_array.data()), m_size, m_type.BytesPerPixel());
}

IImage& CArrayImage::Resize(const CSize& /*size*/, const CSize& /*border*/) {
    throw CException(TEVRA_LOCATION(SOURCE, "Resize", __LINE__), "An array keeps its size.");
}

} // namespace TEVRA::python
