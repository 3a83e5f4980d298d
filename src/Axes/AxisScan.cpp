// SPDX-License-Identifier: BSD-3-Clause
#include "Axes/AxisScan.h"

#include <cstring>

namespace TEVRA::Impl {
namespace {

/// Whether any of the bytes is not 0. A mask may mark its foreground by any other number.
bool any(const unsigned char* foreground, std::size_t width) {
    return width > 0 && (foreground[0] != 0 || std::memcmp(foreground, foreground + 1, width - 1) != 0);
}

} // namespace

template <std::size_t Dim>
std::size_t FindAxes(IMatrixRows<Dim>& rows, long long y, const unsigned char* foreground, std::size_t width,
                     EEigenvalue which, const SAngleRow& angles) {
    if (!any(foreground, width)) {
        MarkRow<Dim>(width, angles);
        return 0;
    }
    return AxesOfRow<Dim>(rows.At(y, foreground), foreground, width, which, angles, rows.Places());
}

template std::size_t FindAxes<2>(IMatrixRows<2>&, long long, const unsigned char*, std::size_t, EEigenvalue,
                                 const SAngleRow&);
template std::size_t FindAxes<3>(IMatrixRows<3>&, long long, const unsigned char*, std::size_t, EEigenvalue,
                                 const SAngleRow&);

} // namespace TEVRA::Impl
