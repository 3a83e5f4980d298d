// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Axes/Segments.h"

#include <cstddef>

/// What the files that are compiled once per instruction set offer to RowKernels.cpp.
namespace TEVRA::Impl {

/// Axes are summed in this many partial sums, of every eighth axis each.
inline constexpr std::size_t PARTIAL_SUMS = 8;

struct SAxesOfSegment {
    const float* hessian[6]; ///< rows xx, xy[, xz], yy[, yz, zz]
    EPlaces places;          ///< of their numbers
    const unsigned char* foreground;
    std::size_t count;
    bool isSmallest; ///< which eigenvalue
    float* theta;
    float* phi;               ///< not used in 2D
    unsigned short* failed;   ///< receives positions of foreground pixels that got no axis, ...
    unsigned short* failedAt; ///< ... and where their Hessians stand in the rows
};

struct SAxesFound {
    std::size_t foreground; ///< foreground pixels of the segment
    std::size_t failed;     ///< how many of them got no axis
};

struct SSegmentKernels {
    SAxesFound (*axes[2])(const SAxesOfSegment&); ///< 2D, 3D
    /// Packs the angles of the pixels that have some. @return their number. @param phi, packedPhi not used in
    /// 2D.
    std::size_t (*pack[2])(const float* theta, const float* phi, std::size_t count, float* packedTheta,
                           float* packedPhi);
    /// Components of the unit axes of packed angles, one array each.
    void (*units[2])(const float* theta, const float* phi, std::size_t count, double* const* components);
    /// Overwrites the sums of the axes' products, one per distinct element. @param fourth may be null.
    void (*sums[2])(const double* const* components, std::size_t count, double* second, double* fourth);
    void (*markForeground)(const float* values, std::size_t count, float threshold, unsigned char* isAbove);
};

namespace segments {
namespace baseline {
extern const SSegmentKernels SEGMENT_KERNELS;
}
namespace avx2 {
extern const SSegmentKernels SEGMENT_KERNELS;
}
namespace avx512 {
extern const SSegmentKernels SEGMENT_KERNELS;
}
} // namespace segments

} // namespace TEVRA::Impl
