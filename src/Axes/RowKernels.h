// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Axes/AxisAngles.h"
#include "Axes/HessianAxis.h"
#include "Axes/OrientationSums.h"
#include "Axes/Segments.h"
#include "Numeric/InstructionSet.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

/// The per-pixel work on rows of pixels, many side by side. Whoever walks over an image calls these; results
/// are those of one pixel at a time by HessianKernel.h, HessianAxis.h, AxisAngles.h and OrientationSums.h, to the last bit and for every
/// instruction set.
namespace TEVRA::Impl {

struct SSegmentKernels;

/// One row each of the distinct entries of symmetric matrices, of Hessians for one: xx, xy[, xz], yy[, yz, zz].
template <std::size_t Dim>
using SymmetricRow = std::array<const float*, Dim*(Dim + 1) / 2>;

/// One row of the angle maps, in radians. In 2D there is one angle, and `phi` is null.
struct SAngleRow {
    float* theta;
    float* phi;
};

/// The same for reading.
struct SConstAngleRow {
    const float* theta;
    const float* phi;
};

/// Foreground of a row: 1 where the smoothed value, widened to double, is above the threshold, else 0 (as for
/// NaN).
void ForegroundOfRow(const float* smoothed, std::size_t count, double threshold, unsigned char* foreground,
                     EInstructionSet set = InstructionSetInUse());

/// Angles of the axes of a row's foreground pixels; markers elsewhere and where the decomposition failed.
/// @param foreground one byte per pixel, not 0 for foreground.
/// @param angles receives `count` angles each; may not overlap the input.
/// @param matrices readable where the foreground is; a row without foreground is MarkRow's. @param places where in
/// them the matrices stand; packed ones with PACKING_ROOM behind the last.
/// @return the number of pixels that got an axis.
template <std::size_t Dim>
std::size_t AxesOfRow(const SymmetricRow<Dim>& matrices, const unsigned char* foreground, std::size_t count,
                      EEigenvalue which, const SAngleRow& angles, EPlaces places = EPlaces::inRow,
                      EInstructionSet set = InstructionSetInUse());

/// Angles of a row without foreground: markers.
template <std::size_t Dim>
void MarkRow(std::size_t count, const SAngleRow& angles) {
    std::fill_n(angles.theta, count, Dim == 3 ? NO_COLATITUDE : NO_ANGLE);
    if constexpr (Dim == 3) {
        std::fill_n(angles.phi, count, NO_ANGLE);
    }
}

/// Adds the axes of a row to sums. A pixel counts if its first angle is at least 0.
/// @param fourth may be null.
///
/// The axes of a row are summed in a fixed number of partial sums, which are then added to `second` and
/// `fourth`: another grouping of pixels into rows rounds differently.
template <std::size_t Dim>
void AddRow(CSecondOrderSums<Dim>& second, CFourthOrderSums<Dim>* fourth, const SConstAngleRow& angles,
            std::size_t count, EInstructionSet set = InstructionSetInUse());

/// Sums over parts of a row, subfields for one. The axes of all parts are found together, many side by side;
/// each part's sums are those of AddRow, to the last bit.
///
///     CRowSums<3> row(width);
///     row.Begin();
///     for (each part) { row.AddPart(angles, count); }
///     row.FindAxes();
///     for (each part) { row.AddTo(part, second, nullptr); }
template <std::size_t Dim>
class CRowSums {
  public:
    /// @param mostPixels of all parts of a row together.
    explicit CRowSums(std::size_t mostPixels, EInstructionSet set = InstructionSetInUse());

    void Begin();
    void AddPart(const SConstAngleRow& angles, std::size_t count);
    void FindAxes();
    /// @param part its number, from 0. @param fourth may be null.
    void AddTo(std::size_t part, CSecondOrderSums<Dim>& second, CFourthOrderSums<Dim>* fourth) const;

  private:
    const SSegmentKernels* m_kernels;
    std::vector<float> m_theta; // packed, of all parts
    std::vector<float> m_phi;
    std::array<std::vector<double>, Dim> m_units;
    std::vector<std::size_t> m_segmentEnds; // by segment: number of axes up to its end
    std::vector<std::size_t> m_partEnds;    // by part: number of segments up to its end
};

extern template class CRowSums<2>;
extern template class CRowSums<3>;

extern template std::size_t AxesOfRow<2>(const SymmetricRow<2>&, const unsigned char*, std::size_t,
                                         EEigenvalue, const SAngleRow&, EPlaces, EInstructionSet);
extern template std::size_t AxesOfRow<3>(const SymmetricRow<3>&, const unsigned char*, std::size_t,
                                         EEigenvalue, const SAngleRow&, EPlaces, EInstructionSet);
extern template void AddRow<2>(CSecondOrderSums<2>&, CFourthOrderSums<2>*, const SConstAngleRow&, std::size_t,
                               EInstructionSet);
extern template void AddRow<3>(CSecondOrderSums<3>&, CFourthOrderSums<3>*, const SConstAngleRow&, std::size_t,
                               EInstructionSet);

} // namespace TEVRA::Impl
