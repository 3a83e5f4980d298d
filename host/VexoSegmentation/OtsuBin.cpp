// SPDX-License-Identifier: BSD-3-Clause
#include "VexoSegmentation/OtsuBin.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace TEVRA {
namespace {

__extension__ using uint128 = unsigned __int128;

/// An unsigned number of LIMBS times 64 bits, lowest limb first.
template <std::size_t LIMBS>
using Wide = std::array<std::uint64_t, LIMBS>;

Wide<2> widened(uint128 value) {
    return {static_cast<std::uint64_t>(value), static_cast<std::uint64_t>(value >> 64)};
}

template <std::size_t A, std::size_t B>
Wide<A + B> product(const Wide<A>& a, const Wide<B>& b) {
    Wide<A + B> result{};
    for (std::size_t i = 0; i < A; ++i) {
        if (a[i] == 0) { // most limbs are, unless counts are enormous
            continue;
        }
        std::uint64_t carry = 0;
        for (std::size_t j = 0; j < B; ++j) {
            const uint128 sum = static_cast<uint128>(a[i]) * b[j] + result[i + j] + carry;
            result[i + j] = static_cast<std::uint64_t>(sum);
            carry = static_cast<std::uint64_t>(sum >> 64);
        }
        result[i + B] = carry;
    }
    return result;
}

template <std::size_t LIMBS>
bool is_less(const Wide<LIMBS>& a, const Wide<LIMBS>& b) {
    return std::lexicographical_compare(a.rbegin(), a.rend(), b.rbegin(), b.rend());
}

template <std::size_t LIMBS>
Wide<LIMBS> distance(const Wide<LIMBS>& a, const Wide<LIMBS>& b) {
    const bool swapped = is_less(a, b);
    const Wide<LIMBS>& larger = swapped ? b : a;
    const Wide<LIMBS>& smaller = swapped ? a : b;
    Wide<LIMBS> result{};
    bool borrow = false;
    for (std::size_t i = 0; i < LIMBS; ++i) {
        result[i] = larger[i] - smaller[i] - (borrow ? 1 : 0);
        borrow = borrow ? larger[i] <= smaller[i] : larger[i] < smaller[i];
    }
    return result;
}

/// Zeroth and first moment of a range of bins. At most 2^32 bins of less than 2^64 counts: below 2^96 and
/// 2^127.
struct SMoments {
    uint128 count = 0;
    uint128 weighted = 0;

    void Add(std::size_t bin, std::uint64_t counts) {
        count += counts;
        weighted += static_cast<uint128>(counts) * bin;
    }
};

/// Between-class variance as a fraction, up to a factor that is the same for all thresholds:
/// with n counts and first moment s in the lower class, N and S in both,
/// (n / N) ((N - n) / N) (S/N-weighted distance of the means)^2 = (n S - N s)^2 / (n (N - n)) / N^2.
struct SVariance {
    Wide<8> numerator{}; // 0 / 1: less than that of every threshold between two classes
    Wide<4> denominator{1};
};

SVariance variance_between(const SMoments& lower, const SMoments& all) {
    const Wide<4> difference = distance(product(widened(lower.count), widened(all.weighted)),
                                        product(widened(all.count), widened(lower.weighted)));
    return {product(difference, difference), product(widened(lower.count), widened(all.count - lower.count))};
}

bool is_less(const SVariance& a, const SVariance& b) {
    return is_less(product(a.numerator, b.denominator), product(b.numerator, a.denominator));
}

} // namespace

std::size_t OtsuBin(std::span<const unsigned long long> histogram) {
    SMoments all;
    for (std::size_t bin = 0; bin < histogram.size(); ++bin) {
        all.Add(bin, histogram[bin]);
    }
    SMoments lower;
    SVariance best;
    std::size_t bestBin = 0;
    for (std::size_t bin = 0; bin < histogram.size(); ++bin) {
        if (histogram[bin] == 0) {
            continue;
        }
        lower.Add(bin, histogram[bin]);
        if (lower.count == all.count) {
            break;
        }
        const SVariance variance = variance_between(lower, all);
        if (is_less(best, variance)) {
            best = variance;
            bestBin = bin;
        }
    }
    return bestBin;
}

} // namespace TEVRA
