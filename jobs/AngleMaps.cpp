// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/AngleMaps.h"

#include "jobs/Failure.h"
#include "jobs/Texts.h"

#include "Axes/Markers.h"
#include "volume/ImageConversion.h"
#include "volume/ImageReader.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <sstream>

namespace TEVRA::jobs {

namespace {

constexpr double FULL_TURN = 2.0 * std::numbers::pi;

std::unique_ptr<volume::IImageReader> open_map(const std::string& path) {
    auto reader = volume::OpenImage(path);
    const volume::SImageInfo& info = reader->Info();
    if (info.pixelType != volume::EPixelType::f32) {
        throw CWorkError("'" + path + "' holds " + info.storedType +
                         " pixels, but a map of angles holds 32-bit floats, in radians");
    }
    if (info.size.Dim() != 3) {
        throw CWorkError(
            "'" + path +
            "' is a 2D image, whose axes have one angle only; give colatitude and longitude of a "
            "3D image with more than one slice");
    }
    return reader;
}

/// The longitude counts only where there is an axis.
void require_radians(const SAngleMaps& maps, const std::string& thetaPath, const std::string& phiPath) {
    const float* theta = maps.theta->Pixels<float>();
    const float* phi = maps.phi->Pixels<float>();
    const std::size_t count = maps.theta->Size().Elements();
    for (std::size_t i = 0; i < count; ++i) {
        if (theta[i] < 0.0F) {
            continue;
        }
        RequireRadians(static_cast<double>(theta[i]), "'" + thetaPath + "'");
        RequireRadians(static_cast<double>(phi[i]), "'" + phiPath + "'");
    }
}

void require_order(const SAngleMaps& maps, const std::string& thetaPath, const std::string& phiPath) {
    const std::size_t count = maps.theta->Size().Elements();
    if (LooksSwapped({maps.theta->Pixels<float>(), count}, {maps.phi->Pixels<float>(), count})) {
        throw CWorkError(
            "'" + thetaPath + "' holds longitudes and '" + phiPath +
            "' colatitudes, as it seems; give the map of colatitudes first. If the order is right, fold "
            "colatitudes beyond pi/2: pi - theta in their place, and phi + pi");
    }
}

/// One map in both places would give an axis to every pixel all the same.
void require_two_maps(const SAngleMaps& maps, const std::string& thetaPath, const std::string& phiPath) {
    const float* theta = maps.theta->Pixels<float>();
    const std::size_t count = maps.theta->Size().Elements();
    const bool tellsSomething = std::any_of(theta, theta + count, [](float angle) { return angle > 0.0F; });
    if (tellsSomething && std::equal(theta, theta + count, maps.phi->Pixels<float>())) {
        throw CWorkError("'" + thetaPath + "' and '" + phiPath +
                         "' hold the same angles; give the map of colatitudes and that of longitudes");
    }
}

/// Angles of 0 to pi/2 in single precision.
bool is_folded_colatitude(float angle) {
    constexpr float HALF_PI = 1.570797F; // the float next to pi/2 lies above it
    return angle >= 0.0F && angle <= HALF_PI;
}

} // namespace

bool LooksSwapped(std::span<const float> theta, std::span<const float> phi) noexcept {
    constexpr float PI = 3.141593F; // the float next to pi lies above it
    bool hasLongitudes = false;
    float negative = 0.0F; // the first one that is no marker
    for (std::size_t i = 0; i < theta.size(); ++i) {
        if (!is_folded_colatitude(phi[i]) && phi[i] != Impl::NO_COLATITUDE) {
            return false;
        }
        if (theta[i] >= 0.0F) {
            hasLongitudes |= !is_folded_colatitude(theta[i]);
        } else if (theta[i] == Impl::NO_ANGLE) {
            hasLongitudes |= phi[i] == Impl::NO_COLATITUDE;
        } else if (theta[i] >= -PI && theta[i] != Impl::NO_COLATITUDE) {
            // One negative value may be a marker of somebody else's.
            hasLongitudes |= negative < 0.0F && theta[i] != negative;
            negative = theta[i];
        }
    }
    return hasLongitudes;
}

void RequireRadians(double angle, const std::string& where) {
    if (std::isfinite(angle) && std::abs(angle) <= FULL_TURN) {
        return;
    }
    std::ostringstream text;
    text << where << " holds the angle " << angle;
    text << (std::isfinite(angle)
                 ? ", beyond a full turn (6.2832): angles must be in radians; if they are in "
                   "degrees, multiply them by pi / 180"
                 : ", which is no number; mark pixels without an axis by a negative "
                   "colatitude");
    throw CWorkError(text.str());
}

SAngleMaps ReadAngleMaps(const std::string& thetaPath, const std::string& phiPath) {
    const auto thetaReader = open_map(thetaPath);
    const auto phiReader = open_map(phiPath);
    const volume::SImageInfo& info = thetaReader->Info();
    if (!(info.size == phiReader->Info().size)) {
        throw CWorkError("'" + thetaPath + "' has " + SizeText(ExtentsOf(info.size)) + " px, but '" +
                         phiPath + "' has " + SizeText(ExtentsOf(phiReader->Info().size)) +
                         " px; give two maps of one image");
    }
    SAngleMaps maps;
    maps.spacing = info.spacing;
    maps.spacingUnit = info.spacingUnit;
    maps.theta = volume::ReadImage(*thetaReader);
    maps.phi = volume::ReadImage(*phiReader);
    require_two_maps(maps, thetaPath, phiPath);
    require_radians(maps, thetaPath, phiPath);
    require_order(maps, thetaPath, phiPath);
    return maps;
}

} // namespace TEVRA::jobs
