// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "phantom/DirectionLaw.h"

#include "VexoBase/Cancellation.h"
#include "zeklib2image/Image.h"

#include <array>
#include <cstdint>
#include <memory>
#include <variant>
#include <vector>

namespace TEVRA::phantom {

/// Fibers at random places until they fill the wanted share of the image.
struct SRandomPlaces {
    double volumeFraction = 0.1; ///< share of fiber pixels, above 0, at most 0.9
};

/// One fiber through the centre of the image.
struct SThroughCentre {};

/// Parallel fibers on a square grid, one of them through the centre of the image (2D: equally spaced).
struct SParallelGrid {
    double distancePx = 24.0; ///< between the axes of neighbours, positive
};

using FiberPlaces = std::variant<SRandomPlaces, SThroughCentre, SParallelGrid>;

/// @throws std::invalid_argument unless the law is one for images of so many dimensions.
void CheckDirections(const DirectionLaw& directions, int dim);

/// What a phantom looks like. Lengths are in pixels.
struct SPhantomOptions {
    CSize sizePx{128, 128, 128}; ///< 2 or 3 dimensions
    double fiberRadiusPx = 4.0;  ///< 0.5 or more; the diameter must not exceed any extent
    /// Where fibers lie. Random places come with any law, the two others with one axis only.
    FiberPlaces places = SRandomPlaces{};
    /// How fibers are directed. In 2D one axis without z component, or planar around z.
    DirectionLaw directions = SBetaFamily{};
    double backgroundGrey = 50.0; ///< 0 to 255
    double fiberGrey = 200.0;     ///< 0 to 255, other than the background's
    double noiseSd = 0.0;         ///< standard deviation of Gaussian noise, in grey values
    double spacingMm = 1.0;       ///< distance of pixels, written to the headers; changes no pixel
    std::uint64_t seed = 1;
};

/// One straight fiber: an endless cylinder.
struct SPhantomFiber {
    std::array<double, 3> axis;  ///< unit vector, z >= 0
    std::array<double, 3> point; ///< any point of its centre line, in pixels; pixel centres are whole numbers
    long long pixelCount;        ///< fiber pixels that belong to it
};

/// A synthetic fiber image and its truth. Angle images have the form of the orientation estimators' maps.
struct SPhantom {
    std::unique_ptr<CImage> image; ///< GREY_8
    /// GREY_F, rad. 3D: colatitude of the fiber's axis in [0, pi/2], -1 off fibers.
    /// 2D: angle in [0, pi], -(pi + 1) off fibers.
    std::unique_ptr<CImage> theta;
    /// GREY_F, rad. 3D: longitude in (-pi, pi], -(pi + 1) off fibers. 2D: null.
    std::unique_ptr<CImage> phi;
    /// Mean of axis times axis transposed over all fiber pixels; trace 1. In 2D row and column z are 0.
    std::array<std::array<double, 3>, 3> tensor{};
    long long fiberPixelCount = 0;
    double volumeFraction = 0.0;       ///< fiber pixels per pixel, as achieved
    std::vector<SPhantomFiber> fibers; ///< those that touch the image, hidden ones included
};

/// Makes a phantom: straight cylinders with soft edges on an even background.
///
/// The same options give the same grey values on every machine, and the same angles up to the last bit of the
/// system's arc functions. Noise does not change where the fibers lie.
///
/// Random places: each fiber gets an axis from the law and passes through a uniformly random point of a disc
/// perpendicular to that axis, around the image's centre, that is wide enough to hold every line that reaches
/// the image. A fiber that misses the image is dropped with its axis. Directions with a long way through the
/// image then have fewer hits in exactly the measure in which each hit is longer, so that the expected length
/// of fiber in any part of the image follows the law; drawing only a new place after a miss, or taking places
/// inside the image, would favour directions along the image's long diagonals. Fibers are added until the
/// wanted share is reached, so it is exceeded by at most one fiber.
///
/// Fibers may cross; a pixel belongs to the fiber whose axis is nearest, which favours no direction either.
/// A pixel is fiber if its centre is no farther than the radius from an axis, and its grey value falls from
/// the fiber's to the background's within half a pixel inside and outside of the surface (partial volume).
///
/// Time is proportional to the fibers' volume. Memory: 17 bytes per pixel at most, of which 9 (2D: 5) remain.
/// Progress is reported to the calling thread's monitor.
/// @throws std::invalid_argument for options out of range. @throws std::bad_alloc without enough memory.
/// @throws CCancelled if the monitor asks to stop.
SPhantom MakePhantom(const SPhantomOptions& options);

} // namespace TEVRA::phantom
