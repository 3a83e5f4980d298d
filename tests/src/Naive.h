// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2core/ValueMap.h"
#include "zeklib2image/Box.h"
#include "zeklib2image/Size.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

/// Plain recomputations that results are compared with: no kernels, no shortcuts.
namespace TEVRA::test {

/// Angles of all pixels in radians, x fastest; `phi` is empty in 2D.
struct SAngles {
    CSize size;
    std::vector<float> theta;
    std::vector<float> phi;
};

/// Rounds to single precision. By itself: when GCC 12 works on pairs of numbers, it takes the way through
/// single precision and back for nothing and leaves it out.
[[gnu::noinline]] inline float RoundedToFloat(double value) {
    return static_cast<float>(value);
}

/// The axis of a pixel: single-precision sines and cosines, multiplied in double precision. They are rounded
/// from double: the C library's own single-precision functions are off by a last digit here and there.
inline std::vector<double> NaiveAxis(const SAngles& angles, std::size_t i) {
    const auto rounded = [](double value) { return static_cast<double>(RoundedToFloat(value)); };
    const auto theta = static_cast<double>(angles.theta[i]);
    const double sinTheta = rounded(std::sin(theta));
    const double cosTheta = rounded(std::cos(theta));
    if (angles.phi.empty()) {
        return {cosTheta, sinTheta};
    }
    const auto phi = static_cast<double>(angles.phi[i]);
    return {sinTheta * rounded(std::cos(phi)), sinTheta * rounded(std::sin(phi)), cosTheta};
}

/// Sums of products of axis components, row by row.
struct SNaiveSums {
    long long count = 0;
    std::vector<double> second;
    std::vector<double> fourth;

    explicit SNaiveSums(std::size_t dim) : second(dim * dim, 0.0), fourth(dim * dim * dim * dim, 0.0) {}

    void AddAxis(const std::vector<double>& n) {
        const std::size_t dim = n.size();
        ++count;
        for (std::size_t at = 0; at < second.size(); ++at) {
            second[at] += n[at / dim] * n[at % dim];
        }
        for (std::size_t at = 0; at < fourth.size(); ++at) {
            fourth[at] +=
                n[at / (dim * dim * dim)] * n[at / (dim * dim) % dim] * n[at / dim % dim] * n[at % dim];
        }
    }
    void Add(const SNaiveSums& other) {
        count += other.count;
        for (std::size_t at = 0; at < second.size(); ++at) {
            second[at] += other.second[at];
        }
        for (std::size_t at = 0; at < fourth.size(); ++at) {
            fourth[at] += other.fourth[at];
        }
    }
};

/// Sums over the foreground pixels of a box, every pixel of the image looked at.
inline SNaiveSums NaiveSums(const SAngles& angles, const CBox& box) {
    const auto dim = static_cast<std::size_t>(angles.size.Dim());
    SNaiveSums sums(dim);
    const auto isInside = [&](int axis, long long p) {
        const long long a = box.Point0()[axis];
        const long long b = box.Point1()[axis];
        const long long last = angles.size[axis] - 1;
        return p >= std::max(0LL, std::min(a, b)) && p < std::min(last, std::max(a, b));
    };
    std::size_t i = 0;
    for (long long z = 0; z < angles.size[2]; ++z) {
        for (long long y = 0; y < angles.size[1]; ++y) {
            for (long long x = 0; x < angles.size[0]; ++x, ++i) {
                if (angles.theta[i] >= 0.0F && isInside(0, x) && isInside(1, y) &&
                    (dim == 2 || isInside(2, z))) {
                    sums.AddAxis(NaiveAxis(angles, i));
                }
            }
        }
    }
    return sums;
}

/// One case of a cut into subfields: image size, radius in pixels, subfield size asked for.
struct SCut {
    CSize imageSize;
    double radiusPx = 0.0;
    std::array<long long, 3> subfieldSize{};
};

/// The cut worked out step by step, as plain numbers.
struct SNaiveCut {
    int dim = 0;
    long long b = 0;
    long long bz = 0;
    std::array<long long, 3> end{}; ///< exclusive
    std::array<long long, 3> sf{};  ///< fitted subfield size
    bool lists = true;
    std::array<long long, 3> n{}; ///< whole tiles

    explicit SNaiveCut(const SCut& cut) : dim(cut.imageSize.Dim()), sf(cut.subfieldSize) {
        b = static_cast<long long>(cut.radiusPx + 0.5); // NOLINT(bugprone-incorrect-roundings): so defined
        bz = dim == 3 ? b : 0;
        for (std::size_t axis = 0; axis < static_cast<std::size_t>(dim); ++axis) {
            const long long size = cut.imageSize[static_cast<long long>(axis)];
            end[axis] = size - b;
            if (sf[axis] < 0 || size < sf[axis] + 2 * b) {
                sf[axis] = size - 2 * b;
                lists = false;
            }
        }
        for (std::size_t axis = 0; lists && axis < static_cast<std::size_t>(dim); ++axis) {
            n[axis] = (cut.imageSize[static_cast<long long>(axis)] - 2 * b) / sf[axis];
        }
    }

    CBox Tile(long long i, long long j, long long k) const {
        const std::array<long long, 3> p = {b + i * sf[0], b + j * sf[1], bz + k * sf[2]};
        const long long x1 = std::min(p[0] + sf[0], end[0]);
        const long long y1 = std::min(p[1] + sf[1], end[1]);
        if (dim == 2) {
            return {CPos(p[0], p[1]), CPos(x1, y1)};
        }
        return {CPos(p[0], p[1], p[2]), CPos(x1, y1, std::min(p[2] + sf[2], end[2]))};
    }

    /// All tiles, x innermost, those at the far edges included.
    std::vector<CBox> Tiles() const {
        std::vector<CBox> tiles;
        for (long long k = 0; k <= n[2]; ++k) {
            for (long long j = 0; j <= n[1]; ++j) {
                for (long long i = 0; i <= n[0]; ++i) {
                    tiles.push_back(Tile(i, j, k));
                }
            }
        }
        return tiles;
    }

    bool IsFull(const CBox& tile) const {
        for (int axis = 0; axis < dim; ++axis) {
            if (tile.Point1()[axis] - tile.Point0()[axis] != sf[static_cast<std::size_t>(axis)]) {
                return false;
            }
        }
        return lists;
    }

    long long EvaluatedPixels() const {
        long long pixels = 1;
        for (std::size_t axis = 0; axis < static_cast<std::size_t>(dim); ++axis) {
            pixels *= end[axis] - b;
        }
        return pixels;
    }
};

/// The keys of a map in map order.
inline std::vector<std::string> KeysOf(const CValueMap& map) {
    std::vector<std::string> keys;
    for (const CValue_Key& key : map.Keys()) {
        keys.push_back(key.ToString());
    }
    return keys;
}

} // namespace TEVRA::test
