// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "report/RunRecord.h"

#include "Subfields/AnalysisResult.h"

#include <array>
#include <string>

namespace TEVRA::report {

/// A row and a column of a tensor, from 1: 1 is x, 2 is y, 3 is z.
struct SComponent {
    int row;
    int col;
};

/// An order in which programs take the components of a symmetric tensor.
struct STensorOrder {
    const char* name; ///< as in "voigt"
    std::array<SComponent, 6> components;
    const char* note; ///< one line for the head of the file; may be empty
};

inline constexpr STensorOrder PLAIN_ORDER{"plain", {{{1, 1}, {2, 2}, {3, 3}, {1, 2}, {1, 3}, {2, 3}}}, ""};
inline constexpr STensorOrder VOIGT_ORDER{"voigt", {{{1, 1}, {2, 2}, {3, 3}, {2, 3}, {1, 3}, {1, 2}}}, ""};
inline constexpr STensorOrder ABAQUS_ORDER{"abaqus", {{{1, 1}, {2, 2}, {3, 3}, {1, 2}, {1, 3}, {2, 3}}}, ""};
inline constexpr STensorOrder MOLDFLOW_ORDER{
    "moldflow",
    {{{1, 1}, {2, 2}, {3, 3}, {1, 2}, {1, 3}, {2, 3}}},
    "the order in which its programming interface takes tensors (UserPlot.AddTensorData)"};

/// Orientation tensors of the whole field, whose `id` is "field", and of the listed subfields in an order; in 2D
/// without the components of axis 3.
///
/// Lines that begin with "#" tell the order, that off-diagonal components are not doubled, units and origin of
/// the numbers; then a header line and rows as Csv.h tells. Columns: `id`; `center_x_UNIT`, ... as in
/// SubfieldsCsv; `foreground_fraction`; and the components, `a11`, `a22`, ..., empty without foreground.
std::string TensorsCsv(const Impl::SAnalysisResult& result, const SRunRecord& record,
                       const STensorOrder& order);

} // namespace TEVRA::report
