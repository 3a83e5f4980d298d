// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/TransformSizes.h"

#include "FilterOrientations/FilterOrientations.h"
#include "jobs/Texts.h"

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
    const std::vector<long long> factors = prime_factors(number);
    if (factors.size() < 2) {
        return text + " (a prime)";
    }
    const char* separator = " = ";
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

/// The nearest frame from `framePx` on in steps of +1 or -1 with which all extents are fast; 0 if there is
/// none near by.
long long nearest_fast_frame(const CSize& size, long long framePx, long long step) {
    for (long long frame = framePx + step; frame > 0 && 2 * frame > framePx && frame < 2 * framePx + 16;
         frame += step) {
        bool isFast = true;
        for (int axis = 0; axis < size.Dim(); ++axis) {
            isFast = isFast && IsFastExtent(size[axis] + 2 * frame);
        }
        if (isFast) {
            return frame;
        }
    }
    return 0;
}

/// "4 or 6", of the numbers that are greater than `above`; empty if none is.
template <typename T>
std::string alternatives(T first, T second, T above) {
    std::string text;
    for (const T number : {first, second}) {
        if (number > above) {
            text += (text.empty() ? "" : " or ") + RoundedText(static_cast<double>(number), 12);
        }
    }
    return text;
}

/// The axes of one extent: "x and z".
std::string axes_text(const CSize& size, long long extent) {
    constexpr const char* AXES[] = {"x", "y", "z"};
    std::vector<std::string> names;
    for (int axis = 0; axis < size.Dim(); ++axis) {
        if (size[axis] == extent) {
            names.emplace_back(AXES[axis]);
        }
    }
    std::string text = names.front();
    for (std::size_t i = 1; i < names.size(); ++i) {
        text += (i + 1 == names.size() ? " and " : ", ") + names[i];
    }
    return text;
}

/// What the widths of filters frame an image with: twice the larger one.
std::string width_alternatives(const CSize& size, long long framePx, double minorWidth) {
    const auto width = [&](long long step) {
        return 0.5 * static_cast<double>(nearest_fast_frame(size, framePx, step));
    };
    return alternatives(width(-1), width(1), minorWidth);
}

} // namespace

bool IsFastExtent(long long extent) {
    return extent > 0 && (extent == 1 || prime_factors(extent).back() <= LARGEST_FAST_FACTOR);
}

long long FramePx(double majorWidth, double minorWidth) {
    return CFilterOrientations(static_cast<float>(majorWidth), static_cast<float>(minorWidth), nullptr,
                               nullptr)
        .PadWidth();
}

std::optional<std::string> SlowTransformNote(const CSize& size, double majorWidth, double minorWidth) {
    const long long frame = FramePx(majorWidth, minorWidth);
    std::string slow;
    std::string extents;
    for (int axis = 0; axis < size.Dim(); ++axis) {
        const long long padded = size[axis] + 2 * frame;
        const bool isNamed = axis > 0 && (size[axis] == size[0] || (axis > 1 && size[axis] == size[1]));
        if (IsFastExtent(padded) || isNamed) {
            continue;
        }
        slow += (slow.empty() ? "" : "; ") + product_text(padded) + " pixels along " +
                axes_text(size, size[axis]);
        extents +=
            (extents.empty() ? "" : ", ") +
            alternatives(nearest_fast(padded, -1) - 2 * frame, nearest_fast(padded, 1) - 2 * frame, 0LL) +
            " pixels instead of " + std::to_string(size[axis]);
    }
    if (slow.empty()) {
        return std::nullopt;
    }
    const std::string widths = width_alternatives(size, frame, minorWidth);
    return "the image with its frame is slow to transform: " + slow + "; several times faster: " + extents +
           (widths.empty() ? ""
                           : ", or filters " + widths + " wide along their direction instead of " +
                                 RoundedText(majorWidth));
}

} // namespace TEVRA::jobs
