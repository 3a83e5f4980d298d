// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "python/src/Pybind.h"
#include "zeklib2image/ImageInterface.h"

namespace TEVRA::python {

/// A C-contiguous NumPy array as a host image, read-only: its pixels are those of the array, which lives as
/// long as the image.
class CArrayImage : public IImage {
  public:
    enum class EContent {
        grey, ///< uint8, uint16 or float32
        mask  ///< bool or uint8; what is not 0 is foreground
    };
    /// @param argument that the array was given as, for messages. @param array [y, x] or [z, y, x].
    /// @throws py::type_error, py::value_error for others.
    CArrayImage(const std::string& argument, const py::object& array, EContent content = EContent::grey);

    const CSize& Size() const override { return m_size; }
    const CType& Type() const override { return m_type; }
    const CValueMap& Attributes() const override { return m_attributes; }
    CValueMap& Attributes() override { return m_attributes; }
    /// @throws CException unless read-only.
    IAccess* CreateAccess(bool readOnly) override;
    IAccess* CreateAccess(bool readOnly) const override;
    /// @throws CException: an array keeps its size.
    IImage& Resize(const CSize& size, const CSize& border) override;

    const void* Pixels() const noexcept { return m_array.data(); }

  private:
    py::array m_array;
    CType m_type;
    CSize m_size;
    CValueMap m_attributes;
};

} // namespace TEVRA::python
