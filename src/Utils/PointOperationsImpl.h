// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Utils/DebugStream.h"
#include "Utils/ProgressScope.h"
#include "Utils/TypeName.h"
#include "zeklib2image/ImageInterface.h"

#include <array>
#include <complex>
#include <cstddef>
#include <memory>
#include <string>
#include <type_traits>

namespace TEVRA::Impl {

/// The host's pixel type for a C pixel type.
template <typename PixelT>
const IImage::CType& HostPixelType() {
    using Plain = std::remove_const_t<PixelT>;
    if constexpr (std::is_same_v<Plain, unsigned char>) {
        return IMAGE_GREY_8;
    } else if constexpr (std::is_same_v<Plain, unsigned short>) {
        return IMAGE_GREY_16;
    } else if constexpr (std::is_same_v<Plain, float>) {
        return IMAGE_GREY_F;
    } else {
        static_assert(std::is_same_v<Plain, std::complex<float>>, "no image holds such pixels");
        return IMAGE_COMPLEX_F;
    }
}

/// What all extractors share: the image's geometry and the checks behind the typed operations.
class CImageDataGeometry {
  public:
    /// 0 until `InitSize` has run.
    int Dim() const noexcept { return m_dim; }
    /// Extent along an axis; 1 beyond the image's dimensions.
    long long Size(int axis) const noexcept { return m_size[static_cast<std::size_t>(axis)]; }
    const std::string& DisplayName() const noexcept { return m_displayName; }

    /// Compares a pair of images. @throws CException unless both have the same dimension and size.
    static void CheckImagesAgainst(const CImageDataGeometry& first, const CImageDataGeometry& second);

  protected:
    CImageDataGeometry(const IImage& image, const char* displayName);
    void init_size(const std::string& function);
    void check_image_validity(const std::string& function) const;
    void set_pixel_type_info(const std::string& pixelTypeName, const std::string& function) const;
    void check_pixel_type(const IImage::CType& expected, const std::string& function) const;
    /// Reads the strides of an access that was just opened.
    void set_strides(const IImage::IAccess& access);

    std::array<std::ptrdiff_t, 3> m_strides{}; // in bytes

  private:
    const IImage& m_imageBase;
    std::string m_displayName;
    std::array<long long, 3> m_size{1, 1, 1};
    int m_dim = 0;
    bool m_interleaved = false;
};

/// Typed access to all pixels of an image: checks the image against the pixel type that the code expects, and
/// hands out row pointers.
///
///     CImageDataExtractor<const IImage, const float> data(image, "input image");
///     data.Check();
///     data.Open();
///     const float first = data.Row(0, 0)[0];
///
/// @tparam ImageT `IImage` for read-write, `const IImage` for read-only access.
/// @tparam PixelT C type of one pixel, const-qualified for reading only.
template <typename ImageT, typename PixelT>
class CImageDataExtractor : public CImageDataGeometry {
  public:
    static constexpr bool READ_ONLY = std::is_const_v<ImageT> || std::is_const_v<PixelT>;

    /// @param displayName name of the image in messages, as in "input image".
    CImageDataExtractor(ImageT& image, const char* displayName)
        : CImageDataGeometry(image, displayName), m_image(image) {}

    /// The four checks in their order.
    void Check() {
        InitSize();
        CheckImageValidy();
        SetPixelTypeInfo();
        CheckPixelType();
    }

    /// Reads dimension and sizes. @throws CException unless the dimension is 1, 2 or 3.
    void InitSize() { init_size(function_name("InitSize")); }
    /// @throws CException for an unsupported dimension or an interleaved image.
    void CheckImageValidy() const { check_image_validity(function_name("CheckImageValidy")); }
    /// Relates PixelT to the host's type. @throws CException if the host does not know the image's type.
    void SetPixelTypeInfo() const {
        set_pixel_type_info(TypeName<PixelT>(), function_name("SetPixelTypeInfo"));
    }
    /// @throws CException unless the image holds PixelT pixels.
    void CheckPixelType() const {
        check_pixel_type(HostPixelType<PixelT>(), function_name("CheckPixelType"));
    }

    /// Opens the access to the whole image.
    void Open() {
        m_access.reset(m_image.CreateAccess(READ_ONLY));
        set_strides(*m_access);
        if constexpr (READ_ONLY) {
            m_data = static_cast<const std::byte*>(m_access->ConstData());
        } else {
            m_data = static_cast<std::byte*>(m_access->Data());
        }
    }

    /// First pixel of a row; the others follow every `PixelStride()` bytes.
    PixelT* Row(long long y, long long z) const noexcept {
        return reinterpret_cast<PixelT*>(m_data + static_cast<std::ptrdiff_t>(y) * m_strides[1] +
                                         static_cast<std::ptrdiff_t>(z) * m_strides[2]);
    }
    std::ptrdiff_t PixelStride() const noexcept { return m_strides[0]; }
    /// True if the pixels of a row follow each other without gaps.
    bool HasContiguousRows() const noexcept {
        return m_strides[0] == static_cast<std::ptrdiff_t>(sizeof(PixelT));
    }

  private:
    static std::string function_name(const char* operation) {
        return "TEVRA::Impl::CImageDataExtractor<" + TypeName<ImageT>() + "," + TypeName<PixelT>() +
               ">::" + operation;
    }

    ImageT& m_image;
    std::unique_ptr<IImage::IAccess> m_access;
    std::conditional_t<READ_ONLY, const std::byte*, std::byte*> m_data = nullptr;
};

/// The pixel `bytes` further on.
template <typename PixelT>
PixelT* StepBytes(PixelT* pixel, std::ptrdiff_t bytes) noexcept {
    using Byte = std::conditional_t<std::is_const_v<PixelT>, const std::byte, std::byte>;
    return reinterpret_cast<PixelT*>(reinterpret_cast<Byte*>(pixel) + bytes);
}

template <int N>
struct VisitorHelper;

/// Runs a per-pixel operation over images: slices outer, rows, columns inner.
///
/// A visitor names the pixel type it works on (`PixelType`, or `FirstPixelType` and `SecondPixelType` for a
/// pair; const-qualified for reading only), starts anew with `Reset()`, and is called once per pixel. A
/// visitor may also have `VisitRow(row, count)`, that of a pair `VisitRow(first, second, count, y, z)`: it is
/// called instead, once per row, where pixels follow each other without gaps. `Finish()`, if it has one, ends
/// a visit of one image, cancelled or not.
template <>
struct VisitorHelper<0> {
    /// Visits one image. @return false if the visit was cancelled.
    /// @throws CException if the image does not suit the visitor; neither is changed then.
    template <typename ImageT, typename VisitorT>
    static bool VisitImageData(ImageT& image, VisitorT& visitor, IProgressMonitor& progress) {
        using PixelT = typename VisitorT::PixelType;
        using HandleT = std::conditional_t<std::is_const_v<PixelT>, const IImage, IImage>;
        CImageDataExtractor<HandleT, PixelT> data(image, "input image");
        data.Check();
        return VisitImageData(data, visitor, progress);
    }

    /// Visits a pair of images of the same size, the first read-write, the second read-only.
    template <typename VisitorT>
    static bool VisitImageData(IImage& first, const IImage& second, VisitorT& visitor,
                               IProgressMonitor& progress) {
        using FirstT = typename VisitorT::FirstPixelType;
        using SecondT = typename VisitorT::SecondPixelType;
        CImageDataExtractor<IImage, FirstT> target(first, "first image");
        CImageDataExtractor<const IImage, SecondT> source(second, "second image");
        target.Check();
        source.Check();
        CImageDataGeometry::CheckImagesAgainst(target, source);
        write_debug_line<VisitorT, FirstT>();
        target.Open();
        source.Open();
        visitor.Reset();
        const bool contiguous = target.HasContiguousRows() && source.HasContiguousRows();
        const long long columns = target.Size(0);
        return for_each_row(target, progress, [&](long long y, long long z) {
            FirstT* a = target.Row(y, z);
            const SecondT* b = source.Row(y, z);
            if (contiguous) {
                if constexpr (requires { visitor.VisitRow(a, b, columns, y, z); }) {
                    visitor.VisitRow(a, b, columns, y, z);
                } else {
                    for (long long x = 0; x < columns; ++x) {
                        visitor(a[x], b[x]);
                    }
                }
                return;
            }
            for (long long x = 0; x < columns; ++x) {
                visitor(*a, *b);
                a = StepBytes(a, target.PixelStride());
                b = StepBytes(b, source.PixelStride());
            }
        });
    }

    /// Visits an image whose checks have run. @throws CException if its size was never read.
    template <typename ImageT, typename PixelT, typename VisitorT>
    static bool VisitImageData(CImageDataExtractor<ImageT, PixelT>& data, VisitorT& visitor,
                               IProgressMonitor& progress) {
        write_debug_line<VisitorT, PixelT>();
        check_dimension(data);
        data.Open();
        visitor.Reset();
        const long long columns = data.Size(0);
        const bool isComplete = for_each_row(data, progress, [&](long long y, long long z) {
            PixelT* pixel = data.Row(y, z);
            if (data.HasContiguousRows()) {
                if constexpr (requires { visitor.VisitRow(pixel, columns); }) {
                    visitor.VisitRow(pixel, columns);
                } else {
                    for (long long x = 0; x < columns; ++x) {
                        visitor(pixel[x]);
                    }
                }
                return;
            }
            for (long long x = 0; x < columns; ++x) {
                visitor(*pixel);
                pixel = StepBytes(pixel, data.PixelStride());
            }
        });
        if constexpr (requires { visitor.Finish(); }) {
            visitor.Finish();
        }
        return isComplete;
    }

  private:
    static void check_dimension(const CImageDataGeometry& data);

    template <typename VisitorT, typename PixelT>
    static void write_debug_line() {
        std::ostream& stream = DebugStream();
        if (stream.rdbuf() == nullptr) {
            return;
        }
        stream << "DEBUG************* access is " << (std::is_const_v<PixelT> ? "readonly" : "readwrite")
               << " visitor=" << VisitorT::TypeName() << " image=" << TypeName<IImage>()
               << " pixeltype=" << TypeName<std::remove_const_t<PixelT>>() << '\n';
    }

    /// One step per row (2D) or slice (3D) and one at the end; the monitor is asked after each.
    template <typename RowOperation>
    static bool for_each_row(const CImageDataGeometry& data, IProgressMonitor& progress,
                             const RowOperation& row) {
        if (data.Dim() == 1) {
            row(0, 0);
            return true;
        }
        const bool isVolume = data.Dim() == 3;
        CProgressScope report(progress, data.Size(isVolume ? 2 : 1) + 1,
                              "TEVRA::Impl::VisitorHelper<0>::VisitImageData processing...");
        for (long long z = 0; z < data.Size(2); ++z) {
            for (long long y = 0; y < data.Size(1); ++y) {
                row(y, z);
                if (!isVolume && !report.StepAndGoOn()) {
                    return false;
                }
            }
            if (isVolume && !report.StepAndGoOn()) {
                return false;
            }
        }
        return report.StepAndGoOn();
    }
};

} // namespace TEVRA::Impl
