// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Numeric/Matrix.h"

#include <span>

namespace TEVRA::Impl {

/// A direction of a 3D set and the solid angle, in steradians, of its share of the upper half-sphere.
struct SWeightedDirection {
    double x;
    double y;
    double z;
    double weight;
};

/// The fixed sets of directions that the filter bank tests: axes, so that only one of a direction and its
/// opposite is in a set. Resolution 0 (coarse) has 18, 1 (medium) 50 and 2 (fine) 98 directions.
struct StPointsOnSphere {
    /// The directions of a set, one per row: N x dimension, owned by the caller.
    ///
    /// In 2D, row i is the unit vector at i * 180 / N degrees from the x axis. In 3D, the rows are
    /// a near-uniform spread over the upper half-sphere, beginning with the z, y and x axes, with six
    /// significant digits (lengths differ from 1 by less than 5e-7).
    /// @param resolution 0, 1 or 2. @param dimension 2 or 3.
    /// @throws CException for another dimension, then for another resolution.
    [[nodiscard]] static CMatrix<double>* GetPoints(int resolution, int dimension);

    /// The 3D set with its weights; empty for an unknown resolution.
    static std::span<const SWeightedDirection> GetTable(int resolution) noexcept;
};

} // namespace TEVRA::Impl
