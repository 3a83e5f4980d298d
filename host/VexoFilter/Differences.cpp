// SPDX-License-Identifier: BSD-3-Clause
#include "VexoFilter/Differences.h"

#include "VexoFilter/FilterKernels.h"

namespace TEVRA::Impl {
namespace {

/// Samples of a line that have a neighbour on either side.
std::size_t inner_count(std::span<const float> line) {
    return line.size() > 2 ? line.size() - 2 : 0;
}

} // namespace

void SecondDifference(std::span<const float> left, std::span<const float> here, std::span<const float> right,
                      std::span<float> out) {
    FilterKernels().secondDifference(left.data(), here.data(), right.data(), out.data(), out.size());
}

void FirstDifference(std::span<const float> left, std::span<const float> right, std::span<float> out) {
    FilterKernels().firstDifference(left.data(), right.data(), out.data(), out.size());
}

void MixedDifference(const SCornerLines& lines, std::span<float> out) {
    FilterKernels().mixedDifference(
        {lines.lowLeft.data(), lines.lowRight.data(), lines.highLeft.data(), lines.highRight.data()},
        out.data(), out.size());
}

void SecondDifferenceAlong(std::span<const float> line, std::span<float> out) {
    const std::size_t inner = inner_count(line);
    if (inner > 0) {
        SecondDifference(line.first(inner), line.subspan(1, inner), line.last(inner), out.subspan(1, inner));
    }
    const std::size_t last = line.size() - 1;
    const std::size_t step = last > 0 ? 1 : 0;
    out[0] = SecondDifference(line[0], line[0], line[step]);
    out[last] = SecondDifference(line[last - step], line[last], line[last]);
}

void FirstDifferenceAlong(std::span<const float> line, std::span<float> out) {
    const std::size_t inner = inner_count(line);
    if (inner > 0) {
        FirstDifference(line.first(inner), line.last(inner), out.subspan(1, inner));
    }
    const std::size_t last = line.size() - 1;
    const std::size_t step = last > 0 ? 1 : 0;
    out[0] = FirstDifference(line[0], line[step]);
    out[last] = FirstDifference(line[last - step], line[last]);
}

void MixedDifferenceAlong(std::span<const float> low, std::span<const float> high, std::span<float> out) {
    const std::size_t inner = inner_count(low);
    if (inner > 0) {
        MixedDifference({low.first(inner), low.last(inner), high.first(inner), high.last(inner)},
                        out.subspan(1, inner));
    }
    const std::size_t last = low.size() - 1;
    const std::size_t step = last > 0 ? 1 : 0;
    out[0] = MixedDifference(low[0], low[step], high[0], high[step]);
    out[last] = MixedDifference(low[last - step], low[last], high[last - step], high[last]);
}

} // namespace TEVRA::Impl
