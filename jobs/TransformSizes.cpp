// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/TransformSizes.h"

#include <vector>

namespace TEVRA::jobs {

namespace {

constexpr long long LARGEST_FAST_FACTOR = 13;

std::vector<long long> prime_factors(long long number) {
    std::vector<long long> factors;
    for (long long factor = 2; factor * factor <= number; ++factor) {
        for (; number % factor == 0; number /= factor) {
            factors.push_back(factor);
        }
    }
    if (number > 1) {
        factors.push_back(number);
    }
    return factors;
}

/// "148 = 2 x 2 x 37".
std::string product_text(long long number) {
    std::string text = std::to_string(number);
    const char* separator = " = ";
    const std::vector<long long> factors = prime_factors(number);
    if (factors.size() < 2) {
        return text + ", a prime,";
    }
    for (const long long factor : factors) {
        text += separator + std::to_string(factor);
        separator = " x ";
    }
    return text;
}

/// The next fast extent from `extent` on in steps of +1 or -1; 0 if there is none above 0.
long long nearest_fast(long long extent, long long step) {
    while (extent > 0 && !IsFastExtent(extent)) {
        extent += step;
    }
    return extent;
}

} // namespace

bool IsFastExtent(long long extent) {
    return extent > 0 && (extent == 1 || prime_factors(extent).back() <= LARGEST_FAST_FACTOR);
}

std::optional<std::string> SlowTransformNote(const CSize& size, long long pad) {
    constexpr const char* AXES[] = {"x", "y", "z"};
    std::string text;
    for (int axis = 0; axis < size.Dim(); ++axis) {
        const long long padded = size[axis] + 2 * pad;
        if (IsFastExtent(padded)) {
            continue;
        }
        const long long smaller = nearest_fast(padded, -1) - 2 * pad;
        const long long larger = nearest_fast(padded, 1) - 2 * pad;
        text += (text.empty() ? "" : "; ") + std::string("along ") + AXES[axis] + ", " +
                product_text(padded) + " pixels are transformed: ";
        if (smaller > 0) {
            text += std::to_string(smaller) + " or ";
        }
        text += std::to_string(larger) + " instead of " + std::to_string(size[axis]) +
                " would be several times faster";
    }
    return text.empty() ? std::nullopt : std::optional(text);
}

} // namespace TEVRA::jobs
