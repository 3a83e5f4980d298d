// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2core/ValueMap.h"
#include "zeklib2image/Pos.h"
#include "zeklib2image/Size.h"

#include <cstddef>

namespace TEVRA {

/// An image: pixels of one type on a grid, with a map of attributes.
class IImage {
  public:
    /// Pixel type descriptor. Two descriptors are equal if they carry the same name.
    class CType {
      public:
        /// How the host reads a pixel's bytes.
        enum class EKind {
            unregistered, ///< of an application; the host stores such pixels but does not interpret them
            grey8,
            grey16,
            greyFloat,
            complexFloat,
            binaryForeground,
            binaryBackground,
            boolean
        };

        /// A pixel type of an application.
        /// @param name a literal. @param bytesPerPixel size of one pixel in bytes.
        /// @param interleaved several channels per pixel, one after the other.
        constexpr CType(const char* name, std::size_t bytesPerPixel, bool interleaved = false)
            : CType(name, bytesPerPixel, interleaved, EKind::unregistered) {}
        constexpr CType(const char* name, std::size_t bytesPerPixel, bool interleaved, EKind kind)
            : m_name(name), m_bytesPerPixel(bytesPerPixel), m_kind(kind), m_interleaved(interleaved) {}

        const char* ToString() const noexcept { return m_name; }
        std::size_t BytesPerPixel() const noexcept { return m_bytesPerPixel; }
        bool IsInterleaved() const noexcept { return m_interleaved; }
        EKind Kind() const noexcept { return m_kind; }

        friend bool operator==(const CType& a, const CType& b) noexcept;

      private:
        const char* m_name;
        std::size_t m_bytesPerPixel;
        EKind m_kind;
        bool m_interleaved;
    };

    /// Access to the pixels of a region. The image must outlive it and must not be resized meanwhile.
    class IAccess {
      public:
        IAccess() = default;
        IAccess(const IAccess&) = delete;
        IAccess& operator=(const IAccess&) = delete;
        virtual ~IAccess();

        /// Restricts the access to the box from `first` to `last`, both included. A new access covers the
        /// whole image. @throws CExBadParam if the region does not lie in the image.
        virtual void SetRegion(const CPos& first, const CPos& last) = 0;
        /// First pixel of the region. @throws CException on a read-only access.
        virtual void* Data() = 0;
        virtual const void* ConstData() const = 0;
        /// Distance in bytes between neighbours along an axis; 0 beyond the image's dimensions.
        virtual std::ptrdiff_t Stride(int axis) const = 0;
        virtual bool IsReadOnly() const noexcept = 0;
    };

    IImage() = default;
    IImage(const IImage&) = delete;
    IImage& operator=(const IImage&) = delete;
    virtual ~IImage();

    virtual const CSize& Size() const = 0;
    virtual const CType& Type() const = 0;
    virtual const CValueMap& Attributes() const = 0;
    virtual CValueMap& Attributes() = 0;
    /// A new access to the whole image, owned by the caller. @param readOnly no writing through it.
    virtual IAccess* CreateAccess(bool readOnly) = 0;
    /// As above; a constant image gives read-only access only (CExBadParam otherwise).
    virtual IAccess* CreateAccess(bool readOnly) const = 0;
    /// Reallocates to the new size, all pixels zero. @param border see CImage.
    virtual IImage& Resize(const CSize& size, const CSize& border) = 0;
};

inline constexpr IImage::CType IMAGE_GREY_8("GREY_8", 1, false, IImage::CType::EKind::grey8);
inline constexpr IImage::CType IMAGE_GREY_16("GREY_16", 2, false, IImage::CType::EKind::grey16);
inline constexpr IImage::CType IMAGE_GREY_F("GREY_F", 4, false, IImage::CType::EKind::greyFloat);
inline constexpr IImage::CType IMAGE_COMPLEX_F("COMPLEX_F", 8, false, IImage::CType::EKind::complexFloat);
/// One byte per pixel: 0 is background, anything else foreground.
inline constexpr IImage::CType IMAGE_BINARY_FG("BINARY_FG", 1, false, IImage::CType::EKind::binaryForeground);
/// One byte per pixel: 0 is foreground, anything else background.
inline constexpr IImage::CType IMAGE_BINARY_BG("BINARY_BG", 1, false, IImage::CType::EKind::binaryBackground);
inline constexpr IImage::CType IMAGE_BOOL("BOOL", 1, false, IImage::CType::EKind::boolean);

} // namespace TEVRA
