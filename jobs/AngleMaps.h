// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2image/Image.h"

#include <array>
#include <memory>
#include <optional>
#include <span>
#include <string>

namespace TEVRA::jobs {

/// Colatitude and longitude of a field of axes in space, as either estimator writes them: GREY_F, of one
/// size, in radians, colatitude negative where there is no axis.
struct SAngleMaps {
    std::unique_ptr<CImage> theta;
    std::unique_ptr<CImage> phi;
    std::optional<std::array<double, 3>> spacing; ///< nothing if the maps state none
    std::string spacingUnit;                      ///< empty if there is none
};

/// Reads a pair of maps. @throws CWorkError for other pixel types, for maps in the plane or of different
/// sizes, for angles that are not numbers or lie beyond a full turn, as angles in degrees do, and for a pair
/// in the wrong order.
SAngleMaps ReadAngleMaps(const std::string& thetaPath, const std::string& phiPath);

/// True if what is given as colatitudes can only be longitudes, and the other way round, as both estimators
/// write them: the one holds angles beyond pi/2, several negative ones or the longitudes' marker, the other
/// nothing but angles of 0 to pi/2 and the colatitudes' marker. Two maps of one size, in radians. Where all
/// longitudes lie in the first quarter and no pixel is marked, the order does not show.
bool LooksSwapped(std::span<const float> theta, std::span<const float> phi) noexcept;

/// One angle of a sample. @param where names the angle in the message, as in "line 3 of 'angles.csv'".
/// @throws CWorkError if it is no number or lies beyond a full turn.
void RequireRadians(double angle, const std::string& where);

} // namespace TEVRA::jobs
