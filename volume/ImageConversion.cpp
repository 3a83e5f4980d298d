// SPDX-License-Identifier: BSD-3-Clause
#include "volume/ImageConversion.h"

#include "VexoBase/ProgressMonitor.h"
#include "volume/Failure.h"
#include "volume/NumberText.h"
#include "zeklib2image/HeaderTools.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace TEVRA::volume {
namespace {

constexpr const char* PROGRESS_TEXT = "Reading image...";
constexpr double LARGEST_GREY = 255.0;

std::unique_ptr<CImage> make_image(const IImage::CType& type, const SImageInfo& info) {
    auto image = std::make_unique<CImage>(type, info.size, CSize(0, 0, 0));
    if (info.spacing) {
        const std::array<double, 3>& spacing = *info.spacing;
        CVexoHeaderTools::SetSpacing(*image, spacing[0], spacing[1], spacing[2]);
    }
    return image;
}

/// One slice after the other, as pixels of the file's type.
template <typename PixelT, typename VisitorT>
void visit_slices(IImageReader& reader, VisitorT visit) {
    const std::size_t count = reader.SliceBytes() / sizeof(PixelT);
    std::vector<PixelT> slice(count);
    const long long slices = reader.SliceCount();
    CProgressReport report(CProgressMonitor::Obj(), slices, PROGRESS_TEXT);
    for (long long z = 0; z < slices; ++z) {
        reader.ReadSlices(z, 1, slice.data());
        visit(slice, static_cast<std::size_t>(z) * count);
        report.Step();
    }
}

/// Calls `work` with a value of the C type of the reader's pixels.
template <typename WorkT>
auto with_pixel_type(const IImageReader& reader, WorkT work) {
    switch (reader.Info().pixelType) {
    case EPixelType::u8:
        return work(std::uint8_t{});
    case EPixelType::u16:
        return work(std::uint16_t{});
    case EPixelType::f32:
        break;
    }
    return work(float{});
}

template <typename PixelT>
SValueRange range_of(IImageReader& reader) {
    SValueRange range;
    visit_slices<PixelT>(reader, [&range](const std::vector<PixelT>& slice, std::size_t) {
        range.Add(RangeOf(std::span(slice)));
    });
    if (!range.HasFinite()) {
        range.lo = range.hi = 0.0;
    }
    return range;
}

} // namespace

const IImage::CType& ImageTypeOf(EPixelType type) noexcept {
    switch (type) {
    case EPixelType::u8:
        return IMAGE_GREY_8;
    case EPixelType::u16:
        return IMAGE_GREY_16;
    case EPixelType::f32:
        break;
    }
    return IMAGE_GREY_F;
}

std::uint8_t GreyOf(double value, const SGreyWindow& window) {
    if (!(value > window.lo)) {
        return 0;
    }
    if (value >= window.hi) {
        return static_cast<std::uint8_t>(LARGEST_GREY);
    }
    const double grey = LARGEST_GREY * ((value - window.lo) / (window.hi - window.lo));
    return static_cast<std::uint8_t>(std::floor(grey + 0.5));
}

void CheckWindow(const SGreyWindow& window) {
    if (!std::isfinite(window.lo) || !std::isfinite(window.hi) || !(window.lo < window.hi)) {
        throw CInputError("grey window " + NumberText(window.lo) + "," + NumberText(window.hi) +
                          ": must be two finite numbers, the lower one first");
    }
}

void CMaskValues::Add(double value) {
    if (value == m_foreground) {
        return;
    }
    if (!std::isnan(m_foreground) || std::isnan(value)) {
        throw CInputError("the mask is not two-valued: besides 0 it holds " +
                          (std::isnan(m_foreground) ? "" : NumberText(m_foreground) + " and ") +
                          NumberText(value) + "; give an image of 0 and one other value");
    }
    m_foreground = value;
}

std::unique_ptr<CImage> ReadImage(IImageReader& reader) {
    std::unique_ptr<CImage> image = make_image(ImageTypeOf(reader.Info().pixelType), reader.Info());
    auto* bytes = image->Pixels<std::byte>();
    const long long slices = reader.SliceCount();
    CProgressReport report(CProgressMonitor::Obj(), slices, PROGRESS_TEXT);
    for (long long z = 0; z < slices; ++z) {
        reader.ReadSlices(z, 1, bytes + static_cast<std::size_t>(z) * reader.SliceBytes());
        report.Step();
    }
    return image;
}

SValueRange ValueRange(IImageReader& reader) {
    return with_pixel_type(reader, [&reader](auto pixel) { return range_of<decltype(pixel)>(reader); });
}

std::unique_ptr<CImage> ReadMask(IImageReader& reader) {
    std::unique_ptr<CImage> mask = make_image(IMAGE_BINARY_FG, reader.Info());
    auto* foreground = mask->Pixels<std::uint8_t>();
    with_pixel_type(reader, [&](auto pixel) {
        using Pixel = decltype(pixel);
        CMaskValues values;
        visit_slices<Pixel>(reader, [&](const std::vector<Pixel>& slice, std::size_t first) {
            for (std::size_t i = 0; i < slice.size(); ++i) {
                const bool set = slice[i] != Pixel{0};
                if (set) {
                    values.Add(static_cast<double>(slice[i]));
                }
                foreground[first + i] = set ? 1 : 0;
            }
        });
    });
    return mask;
}

} // namespace TEVRA::volume
