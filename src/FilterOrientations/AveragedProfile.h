// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2core/ValueMap.h"

#include <array>
#include <memory>

namespace TEVRA::Impl {

/// Subfield results averaged slice by slice along each axis.
///
/// @param root a result document with "Subfields" and "Field".
/// @param spacing of the pixels per axis, in the image's physical unit.
/// @param dim 2 or 3.
/// @return a map per axis ("x-Direction", ...) with an entry per slice, and "parameters".
std::unique_ptr<CValueMap> AveragedProfile(const CValueMap& root, const std::array<double, 3>& spacing,
                                           int dim);

} // namespace TEVRA::Impl
