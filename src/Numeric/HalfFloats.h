// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Numeric/Lanes.h"

#include <cstddef>
#ifdef __F16C__
#include <immintrin.h> // the processor's own conversions
#endif

/// Numbers kept in 16 bits (IEEE 754 binary16), to halve the memory that is gone through: they have eleven
/// significant bits from 2^-14 to 65504, and below that steps of 2^-24. Arithmetic is done in single precision.
namespace TEVRA::Impl {

/// The bits of such a number.
using HalfBits = unsigned short;

/// What may be kept: larger ones have no representation, and neither has what is no number.
inline constexpr float LARGEST_HALF = 65504.0F;

inline namespace TEVRA_WIDE {

/// The bits of several of them, and of as many numbers in single precision.
template <std::size_t Count>
struct SHalfLanes {
    // An alias would lose the count. NOLINTBEGIN(modernize-use-using)
    typedef unsigned Bits __attribute__((vector_size(Count * sizeof(unsigned))));
    typedef HalfBits Halves __attribute__((vector_size(Count * sizeof(HalfBits))));
    // NOLINTEND(modernize-use-using)
};

#ifdef __AVX512F__
/// With a mask: GCC 12 takes the unused operand of the plain form for an uninitialised variable (bug 105593).
inline constexpr __mmask16 ALL_LANES = 0xFFFF;
#endif

/// `Count` of them in single precision.
template <std::size_t Count>
TEVRA_LANES_INLINE typename SLanes<Count>::Floats LoadHalves(const HalfBits* from) {
    using Floats = typename SLanes<Count>::Floats;
    using Bits = typename SHalfLanes<Count>::Bits;
#ifdef __AVX512F__
    if constexpr (Count == 16) {
        return reinterpret_cast<Floats>(
            _mm512_maskz_cvtph_ps(ALL_LANES, _mm256_loadu_si256(reinterpret_cast<const __m256i_u*>(from))));
    }
#endif
#ifdef __F16C__
    if constexpr (Count == 8) {
        return reinterpret_cast<Floats>(
            _mm256_cvtph_ps(_mm_loadu_si128(reinterpret_cast<const __m128i_u*>(from))));
    }
#endif
    typename SHalfLanes<Count>::Halves halves;
    __builtin_memcpy(&halves, from, sizeof halves);
    const Bits bits = __builtin_convertvector(halves, Bits);
    // The same digits with a smaller exponent; the product puts that right, of the smallest numbers, too.
    const Bits magnitude = (bits & 0x7FFFU) << 13U;
    const Bits scaled = reinterpret_cast<Bits>(reinterpret_cast<Floats>(magnitude) * 0x1p112F);
    return reinterpret_cast<Floats>(scaled | ((bits & 0x8000U) << 16U));
}

/// Every instruction set gives the same bits: the nearest number, of two that are as near the even one.
/// @param floats not beyond `LARGEST_HALF`.
template <std::size_t Count>
TEVRA_LANES_INLINE void StoreHalves(const typename SLanes<Count>::Floats& floats, HalfBits* to) {
    using Floats = typename SLanes<Count>::Floats;
    using Bits = typename SHalfLanes<Count>::Bits;
#ifdef __AVX512F__
    if constexpr (Count == 16) {
        _mm256_storeu_si256(reinterpret_cast<__m256i_u*>(to),
                            _mm512_maskz_cvtps_ph(ALL_LANES, reinterpret_cast<__m512>(floats),
                                                  _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC));
        return;
    }
#endif
#ifdef __F16C__
    if constexpr (Count == 8) {
        _mm_storeu_si128(
            reinterpret_cast<__m128i_u*>(to),
            _mm256_cvtps_ph(reinterpret_cast<__m256>(floats), _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC));
        return;
    }
#endif
    const Bits bits = reinterpret_cast<Bits>(floats);
    const Bits sign = bits & 0x80000000U;
    const Bits magnitude = bits ^ sign;
    // Another exponent, and the thirteen last digits rounded off.
    const Bits rounded = (magnitude - (112U << 23U) + 0xFFFU + ((magnitude >> 13U) & 1U)) >> 13U;
    // Of the smallest numbers the sum with 0.5 keeps as many digits as there are steps of 2^-24.
    const Bits small = reinterpret_cast<Bits>(reinterpret_cast<Floats>(magnitude) + 0.5F) - 0x3F000000U;
    const Bits isSmall = reinterpret_cast<Bits>(magnitude < (113U << 23U) - Bits{});
    const Bits result = (isSmall & small) | (~isSmall & rounded) | (sign >> 16U);
    const auto halves = __builtin_convertvector(result, typename SHalfLanes<Count>::Halves);
    __builtin_memcpy(to, &halves, sizeof halves);
}

} // namespace TEVRA_WIDE
} // namespace TEVRA::Impl
