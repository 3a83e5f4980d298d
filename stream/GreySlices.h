// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "stream/SliceRange.h"
#include "volume/ImageConversion.h"
#include "volume/ImageReader.h"
#include "zeklib2image/Image.h"

#include <cstddef>
#include <memory>
#include <optional>

namespace TEVRA::stream {

/// The slices of a grey-value image as the analysis takes them: in the precision of the file, or brought to
/// 8 bit by a grey window.
class CGreySlices {
  public:
    /// @param reader must outlive the object. @throws volume::CInputError for an impossible window.
    CGreySlices(volume::IImageReader& reader, const std::optional<volume::SGreyWindow>& window);

    const CSize& Size() const { return m_reader.Info().size; }
    std::size_t RawSliceBytes() const { return m_reader.SliceBytes(); }

    /// Reads slices as the file holds them.
    void Read(const SSliceRange& slices, std::byte* raw) {
        m_reader.ReadSlices(slices.first, slices.Count(), raw);
    }
    /// An image for one slice.
    std::unique_ptr<CImage> NewSlice() const;
    /// Brings one slice as read into an image of `NewSlice`. Values that are no finite numbers become 0 in
    /// the file's precision, unless `Replace` says more.
    /// @return the range of the file's values in the slice.
    volume::SValueRange Prepare(const std::byte* raw, CImage& slice) const;

    /// From now on NaN becomes the smallest finite value (the darkest), infinite values the smallest and
    /// largest.
    void Replace(const volume::SValueRange& finite) { m_finite = finite; }
    /// Whether `Prepare` needs to know the range of finite values if some are not.
    bool NeedsRange() const { return !m_window && !m_finite; }

  private:
    template <typename PixelT>
    volume::SValueRange prepare(const PixelT* raw, CImage& slice) const;

    volume::IImageReader& m_reader;
    std::optional<volume::SGreyWindow> m_window;
    std::optional<volume::SValueRange> m_finite;
};

} // namespace TEVRA::stream
