// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>

namespace TEVRA::Impl {

/// What the confidence of an estimator's axes, in [0, 1], tells.
enum class EConfidence {
    none,     ///< the estimator has none
    relative, ///< better axes of an image from worse ones; it is low where fibers are packed, too
    absolute  ///< how far to trust an axis: one below DOUBTFUL_CONFIDENCE is doubtful
};

/// Axes of less confidence are doubtful. Calibrated for line voting: from 0.95 on the mean error is 0.6 degrees,
/// below 0.4 it is 22 degrees and more.
inline constexpr float DOUBTFUL_CONFIDENCE = 0.5F;

/// Confidence of axes, summed up in whole parts of 2^-24, what is less being cut off: the same in whatever order axes
/// are added.
struct SConfidenceSums {
    static constexpr double PARTS = 1 << 24;

    long long parts = 0;
    long long doubtful = 0; ///< axes below DOUBTFUL_CONFIDENCE

    void Add(const SConfidenceSums& other) {
        parts += other.parts;
        doubtful += other.doubtful;
    }
    /// Mean over `count` > 0 axes; at most 2^-24 too small.
    double Mean(long long count) const {
        return static_cast<double>(parts) / (PARTS * static_cast<double>(count));
    }
};

/// Adds the pixels of a row that have an axis: those whose first angle is at least 0.
/// @param firstAngle, confidence `count` numbers each; confidence in [0, 1].
void AddConfidenceOfRow(const float* firstAngle, const float* confidence, std::size_t count,
                        SConfidenceSums& sums);

} // namespace TEVRA::Impl
