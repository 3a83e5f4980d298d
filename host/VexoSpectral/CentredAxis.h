// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>

namespace TEVRA::Impl {

/// One axis of a centred spectrum: frequency 0 lies at pixel floor(extent / 2). Frequencies are counted from
/// 0 to extent - 1, modulo the extent.
struct SCentredAxis {
    std::size_t extent;

    std::size_t Centre() const { return extent / 2; }
    std::size_t PixelOf(std::size_t frequency) const {
        const std::size_t pixel = frequency + Centre();
        return pixel < extent ? pixel : pixel - extent;
    }
    /// The frequency of opposite sign; that of 0 and of the half extent is itself.
    std::size_t Opposite(std::size_t frequency) const { return frequency == 0 ? 0 : extent - frequency; }
    bool IsEven() const { return extent % 2 == 0; }
    /// Frequencies from 0 on whose pixels lie side by side from the centre on. An even axis has one more
    /// non-negative frequency, the half extent, at pixel 0.
    std::size_t FromCentre() const { return extent - Centre(); }
};

} // namespace TEVRA::Impl
