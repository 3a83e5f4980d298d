// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "LocalTensors/LocalTensors.h"
#include "Subfields/AnalysisRequest.h"
#include "stream/SliceRange.h"
#include "volume/ImageConversion.h"
#include "volume/ImageReader.h"
#include "zeklib2image/ImageInterface.h"

#include <cstddef>
#include <optional>
#include <vector>

namespace TEVRA::stream {

/// One slice as the analysis takes it.
struct SGreySlice {
    const std::byte* pixels = nullptr; ///< of the type of slices, x fastest
    volume::SValueRange range;         ///< of the file's values
};

/// The slices of a grey-value image as the analysis takes them: in the precision of the file, or brought to
/// 8 bit by a grey window; with fibers brighter than what is around them. An image of dark fibers is turned
/// over: v becomes `Turned(v)`.
class CGreySlices {
  public:
    /// @param reader must outlive the object. @throws volume::CInputError for an impossible window.
    CGreySlices(volume::IImageReader& reader, const std::optional<volume::SGreyWindow>& window,
                Impl::EFiberContrast contrast = Impl::EFiberContrast::bright);

    const CSize& Size() const { return m_reader.Info().size; }
    std::size_t RawSliceBytes() const { return m_reader.SliceBytes(); }

    /// Reads slices as the file holds them.
    void Read(const SSliceRange& slices, std::byte* raw) {
        m_reader.ReadSlices(slices.first, slices.Count(), raw);
    }
    /// GREY_8, GREY_16 or GREY_F.
    const IImage::CType& Type() const;
    /// Memory for one slice, where it cannot be taken as it was read.
    std::vector<std::byte> NewBuffer() const {
        return std::vector<std::byte>(slice_pixels() * Type().BytesPerPixel());
    }
    /// Makes of one slice as read what the analysis takes. Values that are no finite numbers become 0 in
    /// the file's precision, unless `Replace` says more.
    /// @param buffer of `NewBuffer`. @return pixels in `raw` if nothing is to be changed, else in `buffer`.
    SGreySlice Prepare(const std::byte* raw, std::vector<std::byte>& buffer) const;

    /// The value that stands for one that is not turned over, and the reverse: 255 - v in 8 bit, 65535 - v in
    /// 16 bit, else -v; v itself where fibers are bright.
    double Turned(double value) const;
    /// What a grey value of the file becomes, smoothed or not: under the window, and turned over.
    double FromFile(double value) const;

    /// Brings values as `Prepare` gives them to a span of 1. @param range of the file's values, not empty.
    Impl::SGreyScale UnitScale(const volume::SValueRange& range) const;

    /// From now on NaN becomes the smallest finite value (the darkest; the largest where fibers are dark: it is
    /// never fiber), infinite values the smallest and largest.
    void Replace(const volume::SValueRange& finite) { m_finite = finite; }
    /// Whether `Prepare` needs to know the range of finite values if some are not.
    bool NeedsRange() const { return !m_window && !m_finite; }

  private:
    std::size_t slice_pixels() const { return static_cast<std::size_t>(Size()[0] * Size()[1]); }
    template <typename PixelT>
    SGreySlice prepare(const PixelT* raw, std::byte* buffer) const;

    volume::IImageReader& m_reader;
    std::optional<volume::SGreyWindow> m_window;
    Impl::EFiberContrast m_contrast;
    std::optional<volume::SValueRange> m_finite;
};

} // namespace TEVRA::stream
