// SPDX-License-Identifier: BSD-3-Clause
// Compiled once per instruction set: no inline functions of the standard library here (see
// tevra_add_wide_sources).
#include "Axes/SegmentKernels.h"

#include "Axes/AngleKernel.h"
#include "Axes/HessianKernel.h"
#include "Axes/Markers.h"
#include "Axes/PackedPixels.h"
#include "Axes/SumKernel.h"
#include "Numeric/Registers.h"

#if defined(__AVX512F__)
#include <immintrin.h> // lanes picked by a mask: nothing portable comes near it
#endif

namespace TEVRA::Impl::segments::TEVRA_WIDE {
namespace {

static_assert(PARTIAL_SUMS % WIDTH == 0);

/// The pixels of a segment whose bytes are not 0.
#if defined(__AVX512F__)
class CSelection {
  public:
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): the array is written as far as it is read
    CSelection(const unsigned char* bytes, std::size_t count) : m_pixels(count) {
        for (std::size_t group = 0; group * GROUP < count; ++group) {
            const __m128i sixteen = _mm_maskz_loadu_epi8(pixels_of(group), bytes + group * GROUP);
            m_masks[group] = _mm_test_epi8_mask(sixteen, sixteen);
            m_count += count_of(m_masks[group]);
        }
    }

    std::size_t Count() const { return m_count; }
    template <std::size_t Entries>
    void Pack(const float* const* rows, SPacked (&packed)[Entries]) const {
        std::size_t at = 0;
        for (std::size_t group = 0; group * GROUP < m_pixels; ++group) {
            const __mmask16 mask = m_masks[group];
            if (mask == 0) {
                continue; // background comes in runs
            }
            for (std::size_t entry = 0; entry < Entries; ++entry) {
                const __m512 values = _mm512_maskz_loadu_ps(mask, rows[entry] + group * GROUP);
                _mm512_storeu_ps(packed[entry].values + at, _mm512_maskz_compress_ps(mask, values));
            }
            at += count_of(mask);
        }
        for (SPacked& entry : packed) {
            Pad(entry.values, m_count);
        }
    }
    /// @param row receives `rest` for all other pixels.
    void Unpack(const SPacked& packed, float rest, float* row) const {
        const __m512 rests = _mm512_set1_ps(rest);
        std::size_t at = 0;
        for (std::size_t group = 0; group * GROUP < m_pixels; ++group) {
            const __m512 values =
                _mm512_mask_expand_ps(rests, m_masks[group], _mm512_loadu_ps(packed.values + at));
            _mm512_mask_storeu_ps(row + group * GROUP, pixels_of(group), values);
            at += count_of(m_masks[group]);
        }
    }
    /// @param number of a picked pixel.
    unsigned short Position(std::size_t number) const {
        std::size_t group = 0;
        for (; number >= count_of(m_masks[group]); ++group) {
            number -= count_of(m_masks[group]);
        }
        unsigned int mask = m_masks[group];
        for (; number > 0; --number) {
            mask &= mask - 1; // without its lowest bit
        }
        return static_cast<unsigned short>(group * GROUP + static_cast<std::size_t>(__builtin_ctz(mask)));
    }

  private:
    static constexpr std::size_t GROUP = 16;
    static_assert(SEGMENT_PIXELS % GROUP == 0);

    static std::size_t count_of(__mmask16 mask) { return static_cast<std::size_t>(__builtin_popcount(mask)); }
    /// Which pixels of a group there are.
    __mmask16 pixels_of(std::size_t group) const {
        const std::size_t left = m_pixels - group * GROUP;
        return static_cast<__mmask16>(left >= GROUP ? 0xffffU : (1U << left) - 1U);
    }

    std::size_t m_pixels;
    std::size_t m_count = 0;
    __mmask16 m_masks[SEGMENT_PIXELS / GROUP];
};
#else
class CSelection {
  public:
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): the array is written as far as it is read
    CSelection(const unsigned char* bytes, std::size_t count) : m_pixels(count) {
        std::size_t x = 0;
        for (; x + 8 <= count; x += 8) {
            unsigned long long eight = 0;
            __builtin_memcpy(&eight, bytes + x, 8);
            if (eight != 0) { // background comes in runs
                pick(bytes, x, x + 8);
            }
        }
        pick(bytes, x, count);
    }

    std::size_t Count() const { return m_count; }
    template <std::size_t Entries>
    void Pack(const float* const* rows, SPacked (&packed)[Entries]) const {
        for (std::size_t entry = 0; entry < Entries; ++entry) {
            PackPixels(rows[entry], m_positions, m_count, packed[entry]);
        }
    }
    /// @param row receives `rest` for all other pixels.
    void Unpack(const SPacked& packed, float rest, float* row) const {
        for (std::size_t x = 0; x < m_pixels; ++x) {
            row[x] = rest;
        }
        for (std::size_t i = 0; i < m_count; ++i) {
            row[m_positions[i]] = packed.values[i];
        }
    }
    /// @param number of a picked pixel.
    unsigned short Position(std::size_t number) const { return m_positions[number]; }

  private:
    void pick(const unsigned char* bytes, std::size_t first, std::size_t end) {
        for (std::size_t x = first; x < end; ++x) {
            m_positions[m_count] = static_cast<unsigned short>(x);
            m_count += bytes[x] != 0 ? 1 : 0;
        }
    }

    std::size_t m_pixels;
    std::size_t m_count = 0;
    unsigned short m_positions[SEGMENT_PIXELS + 1];
};
#endif

template <bool IsSmallest>
TEVRA_LANES_INLINE Real::Mask angles_of(const float* const (&hessian)[6], std::size_t at, SPacked& theta,
                                        SPacked& phi) {
    const auto load = [&](std::size_t entry) __attribute__((always_inline)) {
        return Access::Load(hessian[entry] + at);
    };
    const auto [axis, isFound] =
        EigenAxis<IsSmallest>(SHessian3<Real>{load(0), load(1), load(2), load(3), load(4), load(5)});
    const SAngles<Real> angles = FoldedAngles(axis);
    Access::StoreFloats(angles.colatitude, theta.values + at);
    Access::StoreFloats(angles.longitude, phi.values + at);
    return isFound;
}

template <bool IsSmallest>
TEVRA_LANES_INLINE Real::Mask angles_of(const float* const (&hessian)[3], std::size_t at, SPacked& theta,
                                        SPacked& /*phi*/) {
    const auto load = [&](std::size_t entry) __attribute__((always_inline)) {
        return Access::Load(hessian[entry] + at);
    };
    const auto [axis, isFound] = EigenAxis<IsSmallest>(SHessian2<Real>{load(0), load(1), load(2)});
    Access::StoreFloats(FoldedAngle(axis), theta.values + at);
    return isFound;
}

/// Angles of packed Hessians. @return number of failed ones, whose numbers go to `failed`.
template <bool IsSmallest, std::size_t Entries>
std::size_t find_angles(const float* const (&hessian)[Entries], std::size_t count, SPacked& theta,
                        SPacked& phi, unsigned short* failed) {
    std::size_t failures = 0;
    for (std::size_t at = 0; at < count; at += WIDTH) {
        const Real::Mask found = angles_of<IsSmallest>(hessian, at, theta, phi);
        failures = AppendFailed<Real>(found, at, count, failed, failures);
    }
    return failures;
}

template <std::size_t Dim>
SAxesFound axes_of_segment(const SAxesOfSegment& segment) {
    constexpr std::size_t ENTRIES = Dim * (Dim + 1) / 2;
    const CSelection foreground(segment.foreground, segment.count);
    // Only what is used of the buffers is written. NOLINTBEGIN(cppcoreguidelines-pro-type-member-init)
    SPacked packed[ENTRIES];
    SPacked theta;
    SPacked phi;
    // NOLINTEND(cppcoreguidelines-pro-type-member-init)
    const bool isPacked = segment.places == EPlaces::packed;
    if (!isPacked) {
        foreground.Pack(segment.hessian, packed);
    }
    const float* hessian[ENTRIES];
    for (std::size_t entry = 0; entry < ENTRIES; ++entry) {
        hessian[entry] = isPacked ? segment.hessian[entry] : packed[entry].values;
    }
    const std::size_t count = foreground.Count();
    const std::size_t failures = segment.isSmallest
                                     ? find_angles<true>(hessian, count, theta, phi, segment.failed)
                                     : find_angles<false>(hessian, count, theta, phi, segment.failed);
    foreground.Unpack(theta, Dim == 3 ? NO_COLATITUDE : NO_ANGLE, segment.theta);
    if constexpr (Dim == 3) {
        foreground.Unpack(phi, NO_ANGLE, segment.phi);
    }
    for (std::size_t i = 0; i < failures; ++i) {
        const unsigned short number = segment.failed[i];
        segment.failed[i] = foreground.Position(number);
        segment.failedAt[i] = isPacked ? number : segment.failed[i];
    }
    return {count, failures};
}

/// Packs the angles of the pixels from `first` up to `end` that have some behind those that are packed
/// already.
/// @return how many are packed then.
template <std::size_t Dim>
TEVRA_LANES_INLINE std::size_t pack_one_by_one(const float* theta, const float* phi, std::size_t first,
                                               std::size_t end, std::size_t packed, float* packedTheta,
                                               float* packedPhi) {
    for (std::size_t x = first; x < end; ++x) {
        packedTheta[packed] = theta[x];
        if constexpr (Dim == 3) {
            packedPhi[packed] = phi[x];
        }
        packed += theta[x] >= 0.0F ? 1 : 0;
    }
    return packed;
}

template <std::size_t Dim>
std::size_t pack_angles(const float* theta, const float* phi, std::size_t count, float* packedTheta,
                        float* packedPhi) {
    std::size_t packed = 0;
    std::size_t x = 0;
#if defined(__AVX512F__)
    for (; x + 16 <= count; x += 16) {
        const __m512 thetas = _mm512_loadu_ps(theta + x);
        const __mmask16 hasAngle = _mm512_cmp_ps_mask(thetas, _mm512_setzero_ps(), _CMP_GE_OQ);
        if (hasAngle == 0) {
            continue; // background comes in runs
        }
        _mm512_storeu_ps(packedTheta + packed, _mm512_maskz_compress_ps(hasAngle, thetas));
        if constexpr (Dim == 3) {
            const __m512 phis = _mm512_loadu_ps(phi + x);
            _mm512_storeu_ps(packedPhi + packed, _mm512_maskz_compress_ps(hasAngle, phis));
        }
        packed += static_cast<std::size_t>(__builtin_popcount(hasAngle));
    }
#else
    for (; x + 8 <= count; x += 8) {
        int any = 0;
        for (std::size_t i = x; i < x + 8; ++i) {
            any |= theta[i] >= 0.0F ? 1 : 0;
        }
        if (any != 0) {
            packed = pack_one_by_one<Dim>(theta, phi, x, x + 8, packed, packedTheta, packedPhi);
        }
    }
#endif
    return pack_one_by_one<Dim>(theta, phi, x, count, packed, packedTheta, packedPhi);
}

template <std::size_t Dim>
void unit_axes(const float* theta, const float* phi, std::size_t count, double* const* components) {
    for (std::size_t at = 0; at < count; at += WIDTH) {
        if constexpr (Dim == 3) {
            const SVector3<Real> unit = AxisAt(Access::Load(theta + at), Access::Load(phi + at));
            Access::Store(unit.x, components[0] + at);
            Access::Store(unit.y, components[1] + at);
            Access::Store(unit.z, components[2] + at);
        } else {
            const SVector2<Real> unit = AxisAt(Access::Load(theta + at));
            Access::Store(unit.x, components[0] + at);
            Access::Store(unit.y, components[1] + at);
        }
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

TEVRA_LANES_INLINE double sum_of(const SLanes<2>& lanes) {
    return lanes.v[0] + lanes.v[1];
}

/// The sum of lanes: the upper half is added to the lower one until one is left.
TEVRA_LANES_INLINE double sum_of(const SLanes<4>& lanes) {
    using Half = SLanes<2>;
    return sum_of(Half::Of(__builtin_shufflevector(lanes.v, lanes.v, 0, 1)) +
                  Half::Of(__builtin_shufflevector(lanes.v, lanes.v, 2, 3)));
}

TEVRA_LANES_INLINE double sum_of(const SLanes<8>& lanes) {
    using Half = SLanes<4>;
    return sum_of(Half::Of(__builtin_shufflevector(lanes.v, lanes.v, 0, 1, 2, 3)) +
                  Half::Of(__builtin_shufflevector(lanes.v, lanes.v, 4, 5, 6, 7)));
}

/// Lanes of the partial sums of `Size` sums.
template <std::size_t Size>
struct SPartialSums {
    static constexpr std::size_t PARTS = PARTIAL_SUMS / WIDTH;
    Real parts[PARTS][Size];

    TEVRA_LANES_INLINE void Clear() {
        for (auto& part : parts) {
            for (Real& sum : part) {
                sum = Real(0.0);
            }
        }
    }
    /// The order of additions is that of eight lanes, however many a register holds.
    TEVRA_LANES_INLINE void StoreSums(double* sums) const {
        for (std::size_t at = 0; at < Size; ++at) {
            if constexpr (PARTS == 1) {
                sums[at] = sum_of(parts[0][at]);
            } else if constexpr (PARTS == 2) {
                sums[at] = sum_of(parts[0][at] + parts[1][at]);
            } else {
                sums[at] = sum_of((parts[0][at] + parts[2][at]) + (parts[1][at] + parts[3][at]));
            }
        }
    }
};

template <std::size_t Dim, bool WithFourth>
void add_axes(const double* const* components, std::size_t count, double* secondSums, double* fourthSums) {
    using Size = STensorSize<Dim>;
    // Cleared below. NOLINTBEGIN(cppcoreguidelines-pro-type-member-init)
    SPartialSums<Size::SECOND> second;
    SPartialSums<WithFourth ? Size::FOURTH : 1> fourth;
    // NOLINTEND(cppcoreguidelines-pro-type-member-init)
    second.Clear();
    fourth.Clear();
    for (std::size_t at = 0; at < count; at += PARTIAL_SUMS) {
#pragma GCC unroll 4
        for (std::size_t part = 0; part < PARTIAL_SUMS / WIDTH; ++part) {
            const std::size_t first = at + part * WIDTH;
            if (first >= count) {
                break;
            }
            Real axis[Dim];
            for (std::size_t component = 0; component < Dim; ++component) {
                axis[component] = Access::Load(components[component] + first);
            }
            if (first + WIDTH > count) {
                clear_lanes(count - first, axis);
            }
            AddSecondOrder<Dim>(axis, second.parts[part]);
            if constexpr (WithFourth) {
                AddFourthOrder<Dim>(axis, fourth.parts[part]);
            }
        }
    }
    second.StoreSums(secondSums);
    if constexpr (WithFourth) {
        fourth.StoreSums(fourthSums);
    }
}

template <std::size_t Dim>
void sums_of_axes(const double* const* components, std::size_t count, double* second, double* fourth) {
    if (fourth != nullptr) {
        add_axes<Dim, true>(components, count, second, fourth);
    } else {
        add_axes<Dim, false>(components, count, second, nullptr);
    }
}

void mark_foreground(const float* values, std::size_t count, float threshold, unsigned char* isAbove) {
    for (std::size_t x = 0; x < count; ++x) {
        isAbove[x] = values[x] > threshold ? 1 : 0;
    }
}

} // namespace

extern const SSegmentKernels SEGMENT_KERNELS{{axes_of_segment<2>, axes_of_segment<3>},
                                             {pack_angles<2>, pack_angles<3>},
                                             {unit_axes<2>, unit_axes<3>},
                                             {sums_of_axes<2>, sums_of_axes<3>},
                                             mark_foreground};

} // namespace TEVRA::Impl::segments::TEVRA_WIDE
