// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "stream/stages/AxisStage.h"

#include <array>

namespace TEVRA::stream {

/// The eigenvector of the smallest absolute eigenvalue of the Hessian of the smoothed image; sigma is the fiber
/// radius. As CHessianOrientations, to the last bit.
extern const SEstimator HESSIAN;

/// All estimators.
inline constexpr std::array<const SEstimator*, 1> ESTIMATORS{&HESSIAN};

} // namespace TEVRA::stream
