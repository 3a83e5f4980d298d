// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Numeric/Lanes.h"

#include <cstddef>

/// What one vector register holds of the instruction set that the including source is compiled for. For sources
/// that are compiled once per instruction set, and for nobody else.
namespace TEVRA::Impl {
inline namespace TEVRA_WIDE {

#if defined(__AVX512F__)
constexpr std::size_t REGISTER_BYTES = 64;
#elif defined(__AVX2__)
constexpr std::size_t REGISTER_BYTES = 32;
#else
constexpr std::size_t REGISTER_BYTES = 16;
#endif

/// Doubles of one register, and floats.
constexpr std::size_t WIDTH = REGISTER_BYTES / sizeof(double);
constexpr std::size_t FLOATS = REGISTER_BYTES / sizeof(float);

using Real = SLanes<WIDTH>;
using Access = SLaneAccess<Real>;
using Floats = SLanes<FLOATS>::Floats;
/// Where single precision is enough: twice as many lanes, and roots and quotients in half the time.
using Single = SLanes<FLOATS, float>;

} // namespace TEVRA_WIDE
} // namespace TEVRA::Impl
