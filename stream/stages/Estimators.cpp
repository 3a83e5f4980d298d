// SPDX-License-Identifier: BSD-3-Clause
#include "stream/stages/Estimators.h"

namespace TEVRA::stream {

const SEstimator* EstimatorNamed(std::string_view name) noexcept {
    for (const SEstimator* const estimator : ESTIMATORS) {
        if (name == estimator->name) {
            return estimator;
        }
    }
    return nullptr;
}

} // namespace TEVRA::stream
