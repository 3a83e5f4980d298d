// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "stream/stages/AxisStage.h"

#include <array>
#include <string_view>

namespace TEVRA::stream {

/// The eigenvector of the smallest absolute eigenvalue of the Hessian of the smoothed image; sigma is the fiber
/// radius. As CHessianOrientations, to the last bit.
extern const SEstimator HESSIAN;

/// The axis that bright lines near by vote for. Holds in dense material, where the Hessian errs by ten degrees and more.
extern const SEstimator LINE_VOTING;

/// The eigenvector of the smallest eigenvalue of the structure tensor. For fibers that are not resolved: tows, fine
/// textures.
extern const SEstimator STRUCTURE_TENSOR;

/// All estimators.
inline constexpr std::array<const SEstimator*, 3> ESTIMATORS{&LINE_VOTING, &STRUCTURE_TENSOR, &HESSIAN};

/// The estimator of those who do not choose one: the one that errs least over all materials.
inline constexpr const SEstimator* DEFAULT_ESTIMATOR = &LINE_VOTING;

/// The estimator of that name; null if there is none.
const SEstimator* EstimatorNamed(std::string_view name) noexcept;

} // namespace TEVRA::stream
