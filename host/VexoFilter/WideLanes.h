// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Numeric/Registers.h"

#include <cstddef>

#if defined(__AVX2__)
#include <immintrin.h>
#endif

/// As many lanes as fit the vector registers that the including source is compiled for, and their way to and
/// from rows of any length. For sources that are compiled once per instruction set, and for nobody else:
/// everything here lives in the namespace of one instruction set.
namespace TEVRA::Impl::FilterLoops::TEVRA_WIDE {

using RawDoubles = Real::Numbers;
using RawFloats = Real::Floats; ///< as many as doubles: half a register

/// All lanes, or the first few of them where a row ends. Lanes beyond hold zeros.
struct SAllLanes {
    template <typename RawT, typename NumberT>
    [[gnu::always_inline]] static void Load(RawT& to, const NumberT* from) {
        __builtin_memcpy(&to, from, sizeof to);
    }
    template <typename RawT, typename NumberT>
    [[gnu::always_inline]] static void Store(const RawT& from, NumberT* to) {
        __builtin_memcpy(to, &from, sizeof from);
    }
};

struct SFirstLanes {
    std::size_t count;

    template <typename RawT, typename NumberT>
    [[gnu::always_inline]] void Load(RawT& to, const NumberT* from) const {
        to = RawT{};
        for (std::size_t lane = 0; lane < WIDTH; ++lane) {
            if (lane < count) {
                to[lane] = from[lane];
            }
        }
    }
    template <typename RawT, typename NumberT>
    [[gnu::always_inline]] void Store(const RawT& from, NumberT* to) const {
        for (std::size_t lane = 0; lane < WIDTH; ++lane) {
            if (lane < count) {
                to[lane] = from[lane];
            }
        }
    }
};

[[gnu::always_inline]] inline RawDoubles Widened(const RawFloats& floats) {
    // One instruction, where GCC makes four of __builtin_convertvector.
#if defined(__AVX512F__)
    return _mm512_maskz_cvtps_pd(0xFF, floats); // all lanes; GCC 12 warns of the form without a mask
#elif defined(__AVX2__)
    return _mm256_cvtps_pd(floats);
#else
    return __builtin_convertvector(floats, RawDoubles);
#endif
}

template <typename WhichT>
[[gnu::always_inline]] inline Real LoadDoubles(const WhichT& which, const double* from) {
    RawDoubles doubles;
    which.Load(doubles, from);
    return Real::Of(doubles);
}

template <typename WhichT>
[[gnu::always_inline]] inline Real LoadFloats(const WhichT& which, const float* from) {
    RawFloats floats;
    which.Load(floats, from);
    return Real::Of(Widened(floats));
}

template <typename WhichT>
[[gnu::always_inline]] inline void StoreFloats(const WhichT& which, const Real& values, float* to) {
    which.Store(__builtin_convertvector(values.v, RawFloats), to);
}

} // namespace TEVRA::Impl::FilterLoops::TEVRA_WIDE
