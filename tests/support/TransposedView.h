// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2image/ImageInterface.h"

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <utility>

namespace TEVRA::test {

/// Another view of an image: axes in opposite order, so that neighbours along x are far apart in memory.
class CTransposedView : public IImage {
  public:
    explicit CTransposedView(IImage& image) : m_image(image), m_size(transposed(image.Size())) {}

    const CSize& Size() const override { return m_size; }
    const CType& Type() const override { return m_image.Type(); }
    const CValueMap& Attributes() const override { return std::as_const(m_image).Attributes(); }
    CValueMap& Attributes() override { return m_image.Attributes(); }
    IAccess* CreateAccess(bool readOnly) override {
        return new CAccess(std::unique_ptr<IAccess>(m_image.CreateAccess(readOnly)), m_size.Dim());
    }
    IAccess* CreateAccess(bool readOnly) const override {
        return new CAccess(std::unique_ptr<IAccess>(std::as_const(m_image).CreateAccess(readOnly)),
                           m_size.Dim());
    }
    IImage& Resize(const CSize& /*size*/, const CSize& /*border*/) override {
        throw std::logic_error("a view");
    }

  private:
    class CAccess : public IAccess {
      public:
        CAccess(std::unique_ptr<IAccess> access, int dim) : m_access(std::move(access)), m_dim(dim) {}
        void SetRegion(const CPos& /*first*/, const CPos& /*last*/) override {
            throw std::logic_error("a view");
        }
        void* Data() override { return m_access->Data(); }
        const void* ConstData() const override { return m_access->ConstData(); }
        std::ptrdiff_t Stride(int axis) const override {
            return axis < m_dim ? m_access->Stride(m_dim - 1 - axis) : 0;
        }
        bool IsReadOnly() const noexcept override { return m_access->IsReadOnly(); }

      private:
        std::unique_ptr<IAccess> m_access;
        int m_dim;
    };

    static CSize transposed(const CSize& size) {
        return size.Dim() == 2 ? CSize(size[1], size[0]) : CSize(size[2], size[1], size[0]);
    }

    IImage& m_image;
    CSize m_size;
};

} // namespace TEVRA::test
