// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "phantom/DirectionLaw.h"
#include "phantom/Phantom.h"
#include "zeklib2image/Size.h"

#include <array>
#include <cstdint>
#include <variant>
#include <vector>

namespace TEVRA::phantom {

/// Fibers at random places and in random directions, one after the other wherever one finds room (random sequential
/// placing). Dense isotropic material needs shorter fibers: the length is halved whenever no room is found.
struct SScatteredFibers {
    double volumeFraction = 0.1; ///< above 0, at most 0.4; what finds no room is an error
    double length = 0.0;         ///< of a fiber; 0: through the whole image, as long as there is room
};

/// Bundles of parallel fibers, placed as scattered fibers are.
struct SFiberBundles {
    double volumeFraction = 0.3; ///< of all fibers in the image
    double bundleRadius = 0.0;   ///< at least twice the fiber radius
};

/// Touching layers of parallel fibers, one above the other along z, each with its own direction.
struct SFiberLayers {
    double volumeFraction = 0.5;        ///< within a layer; at most 0.9 (touching fibers)
    std::vector<double> anglesRad{0.0}; ///< of the layers from the x axis towards y, repeated in turn
    long long rows = 4;                 ///< of fibers, per layer
};

using SeparatePlaces = std::variant<SScatteredFibers, SFiberBundles, SFiberLayers>;

/// Fibers that do not overlap. Lengths are in the unit of the spacing.
struct SSeparateOptions {
    CSize sizePx{128, 128, 128};
    std::array<double, 3> spacing{1.0, 1.0, 1.0}; ///< along x, y, z; positive
    double fiberRadius = 4.0;
    double holeRadius = 0.0; ///< of hollow fibers: below the radius; 0 for solid ones
    SeparatePlaces places = SScatteredFibers{};
    DirectionLaw directions = SBetaFamily{}; ///< of scattered fibers and bundles
    double waveAmplitude = 0.0;              ///< fibers are sinusoids around their lines; 0 for straight ones
    double waveLength = 0.0;                 ///< of these sinusoids
    double blurSigma = 0.0;                  ///< of the imaging: standard deviation of a Gaussian
    double backgroundGrey = 50.0;            ///< 0 to 255
    double fiberGrey = 200.0;                ///< 0 to 255; below the background's for dark fibers
    double noiseSd = 0.0;
    std::uint64_t seed = 1;
};

/// Makes a phantom whose truth is not ambiguous in dense material, where fibers placed without regard to each other
/// (MakePhantom) overlap. The maps hold the direction of the centre line's nearest point, `fibers` one straight line
/// per fiber. A pixel is fiber if its centre lies within the radius of a centre line, lumen included.
///
/// Progress is reported to the calling thread's monitor.
/// @throws std::invalid_argument for options out of range, and if there is no room for so many fibers. @throws CCancelled
/// if the monitor asks to stop.
SPhantom MakeSeparatePhantom(const SSeparateOptions& options);

} // namespace TEVRA::phantom
