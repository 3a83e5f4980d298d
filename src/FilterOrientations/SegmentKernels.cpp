// SPDX-License-Identifier: BSD-3-Clause
// Compiled once per instruction set: no inline functions of the standard library here (see
// tevra_add_wide_sources).
#include "FilterOrientations/SegmentKernels.h"

#include "FilterOrientations/AngleKernel.h"
#include "FilterOrientations/HessianKernel.h"
#include "FilterOrientations/Markers.h"
#include "FilterOrientations/SumKernel.h"
#include "Numeric/Lanes.h"

namespace TEVRA::Impl::segments::TEVRA_WIDE {
namespace {

// As many doubles as one register holds.
#if defined(__AVX512F__)
constexpr std::size_t WIDTH = 8;
#elif defined(__AVX2__)
constexpr std::size_t WIDTH = 4;
#else
constexpr std::size_t WIDTH = 2;
#endif
using Real = StLanes<WIDTH>;
using Access = StLaneAccess<Real>;

constexpr std::size_t MOST_LANES = 8;
static_assert(SEGMENT_PIXELS % MOST_LANES == 0 && SUM_STRIPES % WIDTH == 0);

/// Pixels of a segment, packed, with room to finish the last group of lanes.
struct StPacked {
    alignas(64) float values[SEGMENT_PIXELS + MOST_LANES];
};

/// Positions of the bytes that are not 0. `positions` has room for all.
std::size_t positions_of(const unsigned char* bytes, std::size_t count, unsigned short* positions) {
    std::size_t found = 0;
    std::size_t x = 0;
    for (; x + 8 <= count; x += 8) {
        unsigned long long eight = 0;
        __builtin_memcpy(&eight, bytes + x, 8);
        if (eight == 0) {
            continue; // background comes in runs
        }
        for (std::size_t i = x; i < x + 8; ++i) {
            positions[found] = static_cast<unsigned short>(i);
            found += bytes[i] != 0 ? 1 : 0;
        }
    }
    for (; x < count; ++x) {
        positions[found] = static_cast<unsigned short>(x);
        found += bytes[x] != 0 ? 1 : 0;
    }
    return found;
}

/// Picks values from a row; the last group of lanes is filled up with zeros.
void pack(const float* row, const unsigned short* positions, std::size_t count, StPacked& packed) {
    for (std::size_t i = 0; i < count; ++i) {
        packed.values[i] = row[positions[i]];
    }
    for (std::size_t i = count; i < count + MOST_LANES - 1; ++i) {
        packed.values[i] = 0.0F;
    }
}

void unpack(const StPacked& packed, const unsigned short* positions, std::size_t count, float* row) {
    for (std::size_t i = 0; i < count; ++i) {
        row[positions[i]] = packed.values[i];
    }
}

void fill(float* row, std::size_t count, float value) {
    for (std::size_t x = 0; x < count; ++x) {
        row[x] = value;
    }
}

template <bool IsSmallest>
TEVRA_LANES_INLINE Real::Mask angles_of(const StPacked (&hessian)[6], std::size_t at, StPacked& theta,
                                        StPacked& phi) {
    const auto load = [&](std::size_t entry) __attribute__((always_inline)) {
        return Access::Load(hessian[entry].values + at);
    };
    const auto [axis, isFound] =
        EigenAxis<IsSmallest>(StHessian3<Real>{load(0), load(1), load(2), load(3), load(4), load(5)});
    const StAngles<Real> angles = FoldedAngles(axis);
    Access::StoreFloats(angles.colatitude, theta.values + at);
    Access::StoreFloats(angles.longitude, phi.values + at);
    return isFound;
}

template <bool IsSmallest>
TEVRA_LANES_INLINE Real::Mask angles_of(const StPacked (&hessian)[3], std::size_t at, StPacked& theta,
                                        StPacked& /*phi*/) {
    const auto load = [&](std::size_t entry) __attribute__((always_inline)) {
        return Access::Load(hessian[entry].values + at);
    };
    const auto [axis, isFound] = EigenAxis<IsSmallest>(StHessian2<Real>{load(0), load(1), load(2)});
    Access::StoreFloats(FoldedAngle(axis), theta.values + at);
    return isFound;
}

/// Angles of packed Hessians. @return number of failed ones, whose numbers go to `failed`.
template <bool IsSmallest, std::size_t Entries>
std::size_t find_angles(const StPacked (&hessian)[Entries], std::size_t count, StPacked& theta, StPacked& phi,
                        unsigned short* failed) {
    std::size_t failures = 0;
    for (std::size_t at = 0; at < count; at += WIDTH) {
        const Real::Mask found = angles_of<IsSmallest>(hessian, at, theta, phi);
        if (__builtin_expect(Access::AllOf(found), 1)) {
            continue;
        }
        for (std::size_t lane = 0; lane < WIDTH && at + lane < count; ++lane) {
            if (!Access::IsSet(found, lane)) {
                failed[failures++] = static_cast<unsigned short>(at + lane);
            }
        }
    }
    return failures;
}

template <std::size_t Dim>
StAxesFound axes_of_segment(const StAxesOfSegment& segment) {
    constexpr std::size_t entries = Dim * (Dim + 1) / 2;
    unsigned short positions[SEGMENT_PIXELS + 1];
    StPacked hessian[entries];
    // Only what is used of the buffers is written. NOLINTBEGIN(cppcoreguidelines-pro-type-member-init)
    StPacked theta;
    StPacked phi;
    // NOLINTEND(cppcoreguidelines-pro-type-member-init)
    fill(segment.theta, segment.count, Dim == 3 ? NO_COLATITUDE : NO_ANGLE);
    if constexpr (Dim == 3) {
        fill(segment.phi, segment.count, NO_ANGLE);
    }
    const std::size_t count = positions_of(segment.foreground, segment.count, positions);
    for (std::size_t entry = 0; entry < entries; ++entry) {
        pack(segment.hessian[entry], positions, count, hessian[entry]);
    }
    const std::size_t failures = segment.isSmallest
                                     ? find_angles<true>(hessian, count, theta, phi, segment.failed)
                                     : find_angles<false>(hessian, count, theta, phi, segment.failed);
    unpack(theta, positions, count, segment.theta);
    if constexpr (Dim == 3) {
        unpack(phi, positions, count, segment.phi);
    }
    for (std::size_t i = 0; i < failures; ++i) {
        segment.failed[i] = positions[segment.failed[i]];
    }
    return {count, failures};
}

/// Packs the angles of pixels that have some. @return their number.
template <std::size_t Dim>
std::size_t pack_angles(const StSumsOfSegment& segment, StPacked& theta, StPacked& phi) {
    std::size_t count = 0;
    for (std::size_t x = 0; x < segment.count; ++x) {
        theta.values[count] = segment.theta[x];
        if constexpr (Dim == 3) {
            phi.values[count] = segment.phi[x];
        }
        count += segment.theta[x] >= 0.0F ? 1 : 0;
    }
    for (std::size_t i = count; i < count + MOST_LANES - 1; ++i) {
        theta.values[i] = 0.0F;
        phi.values[i] = 0.0F;
    }
    return count;
}

template <std::size_t Dim>
TEVRA_LANES_INLINE void load_axis(const StPacked& theta, const StPacked& phi, std::size_t at,
                                  Real (&axis)[Dim]) {
    if constexpr (Dim == 3) {
        const StVector3<Real> unit = AxisAt(Access::Load(theta.values + at), Access::Load(phi.values + at));
        axis[0] = unit.x;
        axis[1] = unit.y;
        axis[2] = unit.z;
    } else {
        const StVector2<Real> unit = AxisAt(Access::Load(theta.values + at));
        axis[0] = unit.x;
        axis[1] = unit.y;
    }
}

/// Zeros in the lanes from `count` on.
template <std::size_t Dim>
void clear_lanes(std::size_t count, Real (&axis)[Dim]) {
    for (Real& component : axis) {
        for (std::size_t lane = count; lane < WIDTH; ++lane) {
            component.v[lane] = 0.0;
        }
    }
}

/// The sum of the stripes, in an order of its own.
double sum_of(const double (&stripes)[SUM_STRIPES]) {
    return ((stripes[0] + stripes[4]) + (stripes[2] + stripes[6])) +
           ((stripes[1] + stripes[5]) + (stripes[3] + stripes[7]));
}

/// Lanes of the stripes of `Size` sums.
template <std::size_t Size>
struct StStripes {
    static constexpr std::size_t c_parts = SUM_STRIPES / WIDTH;
    Real parts[c_parts][Size];

    TEVRA_LANES_INLINE void Clear() {
        for (auto& part : parts) {
            for (Real& sum : part) {
                sum = Real(0.0);
            }
        }
    }
    TEVRA_LANES_INLINE void StoreSums(double* sums) const {
        for (std::size_t at = 0; at < Size; ++at) {
            double stripes[SUM_STRIPES];
            for (std::size_t part = 0; part < c_parts; ++part) {
                __builtin_memcpy(stripes + part * WIDTH, &parts[part][at].v, sizeof(Real));
            }
            sums[at] = sum_of(stripes);
        }
    }
};

template <std::size_t Dim, bool WithFourth>
void add_packed(const StPacked& theta, const StPacked& phi, std::size_t count,
                const StSumsOfSegment& segment) {
    using Size = StTensorSize<Dim>;
    // Cleared below. NOLINTBEGIN(cppcoreguidelines-pro-type-member-init)
    StStripes<Size::second> second;
    StStripes<WithFourth ? Size::fourth : 1> fourth;
    // NOLINTEND(cppcoreguidelines-pro-type-member-init)
    second.Clear();
    fourth.Clear();
    for (std::size_t at = 0; at < count; at += SUM_STRIPES) {
#pragma GCC unroll 4
        for (std::size_t part = 0; part < SUM_STRIPES / WIDTH; ++part) {
            const std::size_t first = at + part * WIDTH;
            if (first >= count) {
                break;
            }
            Real axis[Dim];
            load_axis(theta, phi, first, axis);
            if (first + WIDTH > count) {
                clear_lanes(count - first, axis);
            }
            AddSecondOrder<Dim>(axis, second.parts[part]);
            if constexpr (WithFourth) {
                AddFourthOrder<Dim>(axis, fourth.parts[part]);
            }
        }
    }
    second.StoreSums(segment.second);
    if constexpr (WithFourth) {
        fourth.StoreSums(segment.fourth);
    }
}

template <std::size_t Dim>
std::size_t sums_of_segment(const StSumsOfSegment& segment) {
    // Packed up to `count`. NOLINTBEGIN(cppcoreguidelines-pro-type-member-init)
    StPacked theta;
    StPacked phi;
    // NOLINTEND(cppcoreguidelines-pro-type-member-init)
    const std::size_t count = pack_angles<Dim>(segment, theta, phi);
    if (segment.fourth != nullptr) {
        add_packed<Dim, true>(theta, phi, count, segment);
    } else {
        add_packed<Dim, false>(theta, phi, count, segment);
    }
    return count;
}

void exceeding(const float* values, std::size_t count, float threshold, unsigned char* isAbove) {
    for (std::size_t x = 0; x < count; ++x) {
        isAbove[x] = values[x] > threshold ? 1 : 0;
    }
}

} // namespace

extern const StSegmentKernels SEGMENT_KERNELS{
    {axes_of_segment<2>, axes_of_segment<3>}, {sums_of_segment<2>, sums_of_segment<3>}, exceeding};

} // namespace TEVRA::Impl::segments::TEVRA_WIDE
