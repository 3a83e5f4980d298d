// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2image/Box.h"

#include <algorithm>

namespace TEVRA::Impl {

/// The pixels lo <= p < hi of an axis; none where hi equals lo.
struct SPixelRange {
    long long lo;
    long long hi;
};

/// The pixels that a box covers along an axis of `extent` pixels: from its lower corner up to its upper one,
/// exclusively, whichever corner comes first. The image's last pixel is never one of them.
inline SPixelRange CoveredPixels(const CBox& box, int axis, long long extent) {
    const long long a = box.Point0()[axis];
    const long long b = box.Point1()[axis];
    const long long lo = std::max(std::min(a, b), 0LL);
    return {lo, std::max(lo, std::min(std::max(a, b), extent - 1))};
}

} // namespace TEVRA::Impl
