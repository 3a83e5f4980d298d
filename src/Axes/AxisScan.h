// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Axes/RowKernels.h"

#include <cstddef>

namespace TEVRA::Impl {

/// Gives the symmetric matrices whose eigenvectors are axes, row by row. One object serves one thread.
template <std::size_t Dim>
class IMatrixRows {
  public:
    IMatrixRows() = default;
    IMatrixRows(const IMatrixRows&) = delete;
    IMatrixRows& operator=(const IMatrixRows&) = delete;
    virtual ~IMatrixRows() = default;

    /// The rows asked for from now on lie in slice `z`.
    virtual void GoTo(long long z) = 0;
    /// The matrices of row `y`; valid until the next call.
    /// @param foreground one byte per pixel: only where it is not 0 the matrices are needed.
    virtual const SymmetricRow<Dim>& At(long long y, const unsigned char* foreground) = 0;
    /// Where in such a row the matrices stand.
    virtual EPlaces Places() const { return EPlaces::inRow; }
    /// Fetches what the matrices of a row lie in, for stages whose matrices are stored: called while the row before is
    /// being worked on.
    virtual void Prefetch(long long /*y*/, long long /*z*/, const unsigned char* /*foreground*/) {}
    /// How sure the axes of the row that `At` gave last are, in [0, 1]; 0 where there is none. Of stages that
    /// know.
    virtual void Confidence(const unsigned char* /*foreground*/, float* /*confidence*/) {}
};

/// The axes of one row: angles at the foreground pixels, markers elsewhere. Matrices are asked for only if the
/// row has a foreground pixel.
/// @param foreground `width` bytes, not 0 for foreground. @param which eigenvalue's vectors the axes are.
/// @return the number of pixels that got an axis.
template <std::size_t Dim>
std::size_t FindAxes(IMatrixRows<Dim>& rows, long long y, const unsigned char* foreground, std::size_t width,
                     EEigenvalue which, const SAngleRow& angles);

extern template std::size_t FindAxes<2>(IMatrixRows<2>&, long long, const unsigned char*, std::size_t,
                                        EEigenvalue, const SAngleRow&);
extern template std::size_t FindAxes<3>(IMatrixRows<3>&, long long, const unsigned char*, std::size_t,
                                        EEigenvalue, const SAngleRow&);

} // namespace TEVRA::Impl
