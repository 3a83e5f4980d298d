// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Axes/AxisScan.h"
#include "FilterOrientations/AngleMaps.h"
#include "Utils/TaskRunner.h"

#include <functional>
#include <memory>

namespace TEVRA::Impl {

/// What rows of maps are found from, besides their matrices. Pixels lie x fastest, without padding.
struct SMapScan {
    const CAngleMapRows& maps;
    const unsigned char* mask =
        nullptr;                     ///< one byte per pixel; null: foreground is what exceeds the threshold
    const float* smoothed = nullptr; ///< needed without a mask only
    double threshold = 0.0;
    EEigenvalue which = EEigenvalue::smallest; ///< whose vectors the axes are
};

/// Rows of an image, counted slice after slice: y + z * height.
struct SRowRange {
    long long first = 0;
    long long end = 0;
};

/// As many rows as a task of `FindAxesOfRows` has.
inline constexpr long long ROWS_PER_TASK = 64;

/// Finds the axes of rows, and their confidence if the maps have one, in tasks of a runner.
/// @param newRows makes the matrices' rows for one task.
template <std::size_t Dim>
void FindAxesOfRows(const SMapScan& scan, const SRowRange& rows, ITaskRunner& runner,
                    const std::function<std::unique_ptr<IMatrixRows<Dim>>()>& newRows);

extern template void FindAxesOfRows<2>(const SMapScan&, const SRowRange&, ITaskRunner&,
                                       const std::function<std::unique_ptr<IMatrixRows<2>>()>&);
extern template void FindAxesOfRows<3>(const SMapScan&, const SRowRange&, ITaskRunner&,
                                       const std::function<std::unique_ptr<IMatrixRows<3>>()>&);

} // namespace TEVRA::Impl
