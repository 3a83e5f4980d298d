// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Axes/Segments.h"
#include "Numeric/HalfFloats.h"

#include <cstddef>

/// What the file that is compiled once per instruction set offers: rows of single-precision numbers filtered
/// along any axis, and the per-pixel steps of local tensors, many pixels side by side. Every instruction set
/// gives the same bits.
namespace TEVRA::Impl {

/// Rows are worked on in whole groups of so many floats: every row read or written has room for its length
/// rounded up to this. What stands beyond the length means nothing.
inline constexpr std::size_t ROW_GROUP = 32;

inline constexpr std::size_t RoundedToGroup(std::size_t count) {
    return (count + ROW_GROUP - 1) / ROW_GROUP * ROW_GROUP;
}

/// A voxel of look-ups is loaded as so many floats: arrays of tensors have room for them behind the last.
inline constexpr std::size_t VOXEL_LOAD = 8;

/// One row filtered by up to three kernels: smoothed, first and second derivative.
struct SFilteredRow {
    const float* const* rows; ///< rows[radius + k] is the neighbour at distance k along the filtered axis
    std::size_t radius;
    const float* weights[3]; ///< at distance 0 to radius; the first derivative's are odd
    float* out[3];           ///< null for those that are not wanted
    std::size_t count;
};

/// Up to eight rows that follow each other along the filtered axis, smoothed. Rows are kept in single precision or
/// in 16 bits; sums are in single precision.
template <typename FromT, typename ToT>
struct SSmoothedRows {
    const FromT* const* rows; ///< outputs + 2 radius of them; output j is centred at rows[radius + j]
    std::size_t radius;
    const float* weights; ///< from distance -radius to radius
    ToT* const* out;
    std::size_t outputs; ///< 1 to MOST_SMOOTHED_ROWS
    std::size_t count;
};
inline constexpr std::size_t MOST_SMOOTHED_ROWS = 8;

/// Line strengths below this, in units of the image's range of values, are the rounding of flat ground: they
/// do not vote.
inline constexpr double LEAST_LINE_STRENGTH = 1e-6;

struct SVoteSegment {
    const float* hessian[6]; ///< rows xx, xy[, xz], yy[, yz, zz]
    std::size_t count;       ///< at most SEGMENT_PIXELS
    double squaredSigma;     ///< makes the line strength a plain number
    double scale;            ///< that votes are multiplied by
    float* votes;            ///< entries of every pixel; receives those of pixels that vote
    std::size_t pixelFloats; ///< from one pixel's entries to the next
    unsigned short* failed;  ///< receives pixels whose axis has no closed form
};

struct SVotesFound {
    std::size_t voting; ///< pixels that were given a vote
    std::size_t failed; ///< pixels that are left to the decomposition
};

/// Where the tensors of voxels stand, for look-ups along axes.
struct STensorVolume {
    const float* const* planes; ///< by slice, from the first that may be looked up
    long long firstSlice;
    long long extents[3];
    std::size_t rowFloats; ///< from one row to the next
};

/// Steps along an axis, in pixels per unit of the axis.
struct SLookUps {
    float offsets[3][3]; ///< [step][x, y, z]
    long long reach[3];  ///< pixels that the last step goes at most along x, y, z
    float weights[4];    ///< of the pixel itself and of the steps to either side
};

struct SPlaneKernels {
    void (*filter)(const SFilteredRow&);
    void (*smooth)(const SSmoothedRows<float, float>&);
    void (*smoothIntoHalves)(const SSmoothedRows<float, HalfBits>&);
    void (*smoothOutOfHalves)(const SSmoothedRows<HalfBits, float>&);
    /// Products of gradient components times `scale`. @param gradient rows x, y[, z]. @param pixelFloats from one
    /// pixel's products to the next.
    void (*products[2])(const float* const* gradient, std::size_t count, float scale, std::size_t pixelFloats,
                        float* products);
    SVotesFound (*votes[2])(const SVoteSegment&);
    /// Tensors of picked pixels of a row, one array per entry.
    void (*gather[2])(const float* row, const unsigned short* pixels, std::size_t count,
                      float* const* entries);
    /// Weighted means of tensors along axes. @param x, count: the row's pixels; @param y, z: the row.
    void (*lookUp[2])(const STensorVolume& volume, const SLookUps& steps, const unsigned short* pixels,
                      std::size_t count, long long firstX, long long y, long long z, const float* const* axis,
                      float* const* entries);
    /// Unit eigenvectors of packed tensors, in single precision: to look along. @return number of `failed` ones.
    std::size_t (*axes[2])(const float* const* entries, std::size_t count, bool isSmallest,
                           float* const* axis, unsigned short* failed);
    /// How sure the axes of packed tensors are, in [0, 1]; 0 for those that are zero or no numbers.
    void (*confidence[2])(const float* const* entries, std::size_t count, bool isSmallest, float* confidence);
};

namespace planes {
namespace baseline {
extern const SPlaneKernels PLANE_KERNELS;
}
namespace avx2 {
extern const SPlaneKernels PLANE_KERNELS;
}
namespace avx512 {
extern const SPlaneKernels PLANE_KERNELS;
}
} // namespace planes

} // namespace TEVRA::Impl
