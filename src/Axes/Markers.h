// SPDX-License-Identifier: BSD-3-Clause
#pragma once

namespace TEVRA::Impl {

/// Markers of angle maps for pixels without a direction.
inline constexpr float NO_COLATITUDE = -1.0F;
inline constexpr float NO_ANGLE = -4.1415925F; // -(pi + 1), of longitudes and of 2D angles
/// Of maps of confidence: nothing there is to be trusted.
inline constexpr float NO_CONFIDENCE = 0.0F;

} // namespace TEVRA::Impl
