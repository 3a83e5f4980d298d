// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>

/// What per-pixel kernels ask of their arithmetic type besides + - * / and comparisons: for `double`, and for
/// several numbers of double or single precision side by side. Every lane rounds as a plain number does, so the
/// count of lanes never changes a result.
///
/// Files that are compiled once per instruction set define TEVRA_WIDE as the set's name. It is part of the
/// name of everything here, so that code for one set is never taken for that of another; nothing here may end
/// up out of line in such a file under a common name.
#ifndef TEVRA_WIDE
#define TEVRA_WIDE common
#endif
#define TEVRA_LANES_INLINE [[gnu::always_inline]] inline

namespace TEVRA::Impl {
inline namespace TEVRA_WIDE {

/// Integers of a number's size.
template <typename NumberT>
struct SBitsOf;
template <>
struct SBitsOf<double> {
    using Type = long long;
    static constexpr Type MAGNITUDE = 0x7fffffffffffffffLL;
};
template <>
struct SBitsOf<float> {
    using Type = int;
    static constexpr Type MAGNITUDE = 0x7fffffff;
};

/// `Count` numbers side by side, a power of 2.
template <std::size_t Count, typename NumberT = double>
struct SLanes {
    // An alias would lose the count, which the attribute takes from the template.
    // NOLINTBEGIN(modernize-use-using)
    typedef NumberT Numbers __attribute__((vector_size(Count * sizeof(NumberT))));
    typedef typename SBitsOf<NumberT>::Type Bits __attribute__((vector_size(Count * sizeof(NumberT))));
    typedef float Floats __attribute__((vector_size(Count * sizeof(float))));
    // NOLINTEND(modernize-use-using)
    /// One truth value per lane: all bits set, or none.
    using Mask = Bits;

    Numbers v;

    SLanes() = default;
    TEVRA_LANES_INLINE explicit SLanes(double value)
        : v(static_cast<NumberT>(value) - Numbers{}) {} // not +: keeps -0.0

    TEVRA_LANES_INLINE static SLanes Of(Numbers numbers) {
        SLanes lanes{};
        lanes.v = numbers;
        return lanes;
    }

    TEVRA_LANES_INLINE friend SLanes operator+(const SLanes& a, const SLanes& b) { return Of(a.v + b.v); }
    TEVRA_LANES_INLINE friend SLanes operator-(const SLanes& a, const SLanes& b) { return Of(a.v - b.v); }
    TEVRA_LANES_INLINE friend SLanes operator*(const SLanes& a, const SLanes& b) { return Of(a.v * b.v); }
    TEVRA_LANES_INLINE friend SLanes operator*(double a, const SLanes& b) { return SLanes(a) * b; }
    TEVRA_LANES_INLINE friend SLanes operator/(const SLanes& a, const SLanes& b) { return Of(a.v / b.v); }
    TEVRA_LANES_INLINE friend SLanes operator-(const SLanes& a) { return Of(-a.v); }
    TEVRA_LANES_INLINE friend Mask operator<(const SLanes& a, const SLanes& b) { return a.v < b.v; }
    TEVRA_LANES_INLINE friend Mask operator<=(const SLanes& a, const SLanes& b) { return a.v <= b.v; }
    TEVRA_LANES_INLINE friend Mask operator==(const SLanes& a, const SLanes& b) { return a.v == b.v; }
};

TEVRA_LANES_INLINE double Abs(double value) {
    return __builtin_fabs(value);
}

template <std::size_t Count, typename NumberT>
TEVRA_LANES_INLINE SLanes<Count, NumberT> Abs(const SLanes<Count, NumberT>& value) {
    using Lanes = SLanes<Count, NumberT>;
    const typename Lanes::Bits magnitude =
        reinterpret_cast<typename Lanes::Bits>(value.v) & SBitsOf<NumberT>::MAGNITUDE;
    return Lanes::Of(reinterpret_cast<typename Lanes::Numbers>(magnitude));
}

TEVRA_LANES_INLINE double SquareRoot(double value) {
    return __builtin_sqrt(value);
}
TEVRA_LANES_INLINE float SquareRoot(float value) {
    return __builtin_sqrtf(value);
}

template <std::size_t Count, typename NumberT>
TEVRA_LANES_INLINE SLanes<Count, NumberT> SquareRoot(const SLanes<Count, NumberT>& value) {
    NumberT numbers[Count];
    __builtin_memcpy(numbers, &value.v, sizeof numbers);
    for (std::size_t lane = 0; lane < Count; ++lane) {
        numbers[lane] = SquareRoot(numbers[lane]);
    }
    SLanes<Count, NumberT> root{};
    __builtin_memcpy(&root.v, numbers, sizeof numbers);
    return root;
}

/// `yes` where the condition holds, `no` elsewhere; both have been computed.
TEVRA_LANES_INLINE double Select(bool condition, double yes, double no) {
    return condition ? yes : no;
}

template <std::size_t Count, typename NumberT>
TEVRA_LANES_INLINE SLanes<Count, NumberT> Select(const typename SLanes<Count, NumberT>::Mask& condition,
                                                 const SLanes<Count, NumberT>& yes,
                                                 const SLanes<Count, NumberT>& no) {
    return SLanes<Count, NumberT>::Of(condition ? yes.v : no.v);
}

/// Whether the condition holds in at least one lane.
TEVRA_LANES_INLINE bool AnyOf(bool condition) {
    return condition;
}

/// Whether a bit of the number's representation is set.
TEVRA_LANES_INLINE bool HasBit(double value, long long bit) {
    return (__builtin_bit_cast(long long, value) & bit) != 0;
}

template <std::size_t Count>
TEVRA_LANES_INLINE typename SLanes<Count>::Mask HasBit(const SLanes<Count>& value, long long bit) {
    return (reinterpret_cast<typename SLanes<Count>::Bits>(value.v) & bit) != 0;
}

/// Optimisation barrier: the value itself. GCC 12 takes the way of several doubles through single precision and
/// back for nothing and leaves it out; it does not look through this.
template <typename Value>
TEVRA_LANES_INLINE Value OptimizationBarrier(const Value& value) {
#if __has_builtin(__builtin_assoc_barrier)
    return __builtin_assoc_barrier(value);
#else
    return value;
#endif
}

/// The same for a register of several numbers, which the above would take apart and put together again.
template <typename Register>
TEVRA_LANES_INLINE Register RegisterBarrier(Register value) {
#if defined(__clang__) // leaves it in
    return value;
#elif defined(__AVX512F__)
    asm("" : "+v"(value));
    return value;
#elif defined(__x86_64__)
    asm("" : "+x"(value));
    return value;
#else
    return OptimizationBarrier(value);
#endif
}

/// The nearest single-precision number, in double precision.
TEVRA_LANES_INLINE double RoundToFloat(double value) {
    return static_cast<double>(OptimizationBarrier(static_cast<float>(value)));
}

template <std::size_t Count>
TEVRA_LANES_INLINE SLanes<Count> RoundToFloat(const SLanes<Count>& value) {
    using Lanes = SLanes<Count>;
    const typename Lanes::Floats floats = __builtin_convertvector(value.v, typename Lanes::Floats);
    return Lanes::Of(__builtin_convertvector(RegisterBarrier(floats), typename Lanes::Numbers));
}

/// How an arithmetic type goes to and from memory.
template <typename Real>
struct SLaneAccess;

template <>
struct SLaneAccess<double> {
    using Number = double;
    using Mask = bool;
    static constexpr std::size_t COUNT = 1;
    TEVRA_LANES_INLINE static double Load(const float* from) { return static_cast<double>(*from); }
    TEVRA_LANES_INLINE static void StoreFloats(double value, float* to) { *to = static_cast<float>(value); }
    TEVRA_LANES_INLINE static bool AllOf(bool condition) { return condition; }
    TEVRA_LANES_INLINE static bool IsSet(bool condition, std::size_t /*lane*/) { return condition; }
};

template <std::size_t Count, typename NumberT>
struct SLaneAccess<SLanes<Count, NumberT>> {
    using Lanes = SLanes<Count, NumberT>;
    using Number = NumberT;
    using Mask = typename Lanes::Mask;
    static constexpr std::size_t COUNT = Count;

    /// `Count` floats, widened if need be.
    TEVRA_LANES_INLINE static Lanes Load(const float* from) {
        typename Lanes::Floats floats;
        __builtin_memcpy(&floats, from, sizeof floats);
        return Lanes::Of(__builtin_convertvector(floats, typename Lanes::Numbers));
    }
    TEVRA_LANES_INLINE static Lanes Load(const double* from) {
        static_assert(sizeof(NumberT) == sizeof(double), "digits would be lost");
        Lanes lanes{};
        __builtin_memcpy(&lanes.v, from, sizeof lanes.v);
        return lanes;
    }
    TEVRA_LANES_INLINE static void Store(const Lanes& value, NumberT* to) {
        __builtin_memcpy(to, &value.v, sizeof value.v);
    }
    /// Rounds to float.
    TEVRA_LANES_INLINE static void StoreFloats(const Lanes& value, float* to) {
        const typename Lanes::Floats floats = __builtin_convertvector(value.v, typename Lanes::Floats);
        __builtin_memcpy(to, &floats, sizeof floats);
    }
    TEVRA_LANES_INLINE static bool AllOf(const Mask& condition) {
        typename SBitsOf<NumberT>::Type all = -1;
        for (std::size_t lane = 0; lane < Count; ++lane) {
            all &= condition[lane];
        }
        return all != 0;
    }
    TEVRA_LANES_INLINE static bool IsSet(const Mask& condition, std::size_t lane) {
        return condition[lane] != 0;
    }
};

/// One truth value per lane.
template <typename Real>
using MaskOf = typename SLaneAccess<Real>::Mask;

/// What a lane holds.
template <typename Real>
using NumberOf = typename SLaneAccess<Real>::Number;

} // namespace TEVRA_WIDE
} // namespace TEVRA::Impl
