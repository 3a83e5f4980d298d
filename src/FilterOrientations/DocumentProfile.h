// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2core/ValueMap.h"

#include <array>
#include <memory>
#include <vector>

namespace TEVRA::Impl {

/// Subfields of any result document averaged slice by slice along each axis, whatever numbers their entries
/// hold. Of the documents of an analysis it is what AveragedProfiles (Subfields/AnalysisResult.h) gives.
///
/// @param root a result document with "Subfields" and "Field".
/// @param spacing of the pixels per axis, in the image's physical unit.
/// @param dim 2 or 3.
/// @return a map per axis ("x-Direction", ...) with an entry per slice, and "parameters".
std::unique_ptr<CValueMap> DocumentProfile(const CValueMap& root, const std::array<double, 3>& spacing,
                                           int dim);

/// A direction map's components in the order x, y and, only where the map holds it, z.
std::vector<double> DirectionOf(const CValueMap& direction);

/// Adds to a field's block the angle in radians, in [0, pi/2], between its mean direction and another one.
void AddDifference(CValueMap& field, const std::vector<double>& direction);

} // namespace TEVRA::Impl
