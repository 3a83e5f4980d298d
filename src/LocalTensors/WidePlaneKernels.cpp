// SPDX-License-Identifier: BSD-3-Clause
// Compiled once per instruction set: no inline functions of the standard library here (see
// tevra_add_wide_sources).
#include "LocalTensors/PlaneKernels.h"

#include "Axes/AngleKernel.h"
#include "Axes/HessianKernel.h"
#include "Axes/PackedPixels.h"
#include "Numeric/Registers.h"

namespace TEVRA::Impl::planes::TEVRA_WIDE {
namespace {

// An alias would lose the count. NOLINTBEGIN(modernize-use-using)
typedef int FloatMask __attribute__((vector_size(FLOATS * sizeof(int))));
typedef int Whole __attribute__((vector_size(WIDTH * sizeof(int))));
// NOLINTEND(modernize-use-using)
static_assert(ROW_GROUP % (2 * FLOATS) == 0);

template <std::size_t Dim>
constexpr std::size_t ENTRIES = Dim*(Dim + 1) / 2;

TEVRA_LANES_INLINE Floats load(const float* from) {
    Floats floats;
    __builtin_memcpy(&floats, from, sizeof floats);
    return floats;
}

TEVRA_LANES_INLINE void store(const Floats& floats, float* to) {
    __builtin_memcpy(to, &floats, sizeof floats);
}

TEVRA_LANES_INLINE Floats load(const HalfBits* from) {
    return LoadHalves<FLOATS>(from);
}

TEVRA_LANES_INLINE void store(const Floats& floats, HalfBits* to) {
    StoreHalves<FLOATS>(floats, to);
}

TEVRA_LANES_INLINE Floats all(float value) {
    return value - Floats{};
}

/// Two registers at a time: their sums do not wait for each other.
template <bool Smoothed, bool First, bool Second>
void filter_row(const SFilteredRow& row) {
    constexpr std::size_t STEP = 2 * FLOATS;
    const float* const* const centre = row.rows + row.radius;
    for (std::size_t x = 0; x < row.count; x += STEP) {
        Floats smoothed[2]{};
        Floats first[2]{};
        Floats second[2]{};
        for (std::size_t part = 0; part < 2; ++part) {
            const Floats at = load(centre[0] + x + part * FLOATS);
            if constexpr (Smoothed) {
                smoothed[part] = all(row.weights[0][0]) * at;
            }
            if constexpr (Second) {
                second[part] = all(row.weights[2][0]) * at;
            }
        }
        for (std::size_t k = 1; k <= row.radius; ++k) {
            const float* const after = *(centre + k) + x;
            const float* const before = *(centre - k) + x;
            for (std::size_t part = 0; part < 2; ++part) {
                const Floats high = load(after + part * FLOATS);
                const Floats low = load(before + part * FLOATS);
                const Floats sum = high + low;
                if constexpr (Smoothed) {
                    smoothed[part] += all(row.weights[0][k]) * sum;
                }
                if constexpr (First) {
                    first[part] += all(row.weights[1][k]) * (high - low);
                }
                if constexpr (Second) {
                    second[part] += all(row.weights[2][k]) * sum;
                }
            }
        }
        for (std::size_t part = 0; part < 2; ++part) {
            if constexpr (Smoothed) {
                store(smoothed[part], row.out[0] + x + part * FLOATS);
            }
            if constexpr (First) {
                store(first[part], row.out[1] + x + part * FLOATS);
            }
            if constexpr (Second) {
                store(second[part], row.out[2] + x + part * FLOATS);
            }
        }
    }
}

void filter(const SFilteredRow& row) {
    const unsigned which = (row.out[0] != nullptr ? 1U : 0U) | (row.out[1] != nullptr ? 2U : 0U) |
                           (row.out[2] != nullptr ? 4U : 0U);
    switch (which) {
    case 1:
        return filter_row<true, false, false>(row);
    case 2:
        return filter_row<false, true, false>(row);
    case 3:
        return filter_row<true, true, false>(row);
    case 4:
        return filter_row<false, false, true>(row);
    case 5:
        return filter_row<true, false, true>(row);
    case 6:
        return filter_row<false, true, true>(row);
    default:
        return filter_row<true, true, true>(row);
    }
}

// As many outputs as leave room for their sums in the registers.
#if defined(__AVX512F__)
constexpr std::size_t SMOOTHED_TOGETHER = 8;
#else
constexpr std::size_t SMOOTHED_TOGETHER = 4;
#endif
static_assert(MOST_SMOOTHED_ROWS % SMOOTHED_TOGETHER == 0);

/// How far ahead along rows memory is asked for.
constexpr std::size_t PREFETCHED = 4 * FLOATS;

/// Adds one row to the outputs from `FirstOutput` to `EndOutput` - 1. @param weights of the row for output 0.
template <std::size_t FirstOutput, std::size_t EndOutput, typename FromT, std::size_t Outputs,
          std::size_t Registers>
TEVRA_LANES_INLINE void add_row(const FromT* from, const float* weights, Floats (&sums)[Outputs][Registers]) {
    // Many rows side by side are more than the processor foresees.
    for (std::size_t line = 0; line < Registers * sizeof(FromT) / sizeof(HalfBits); line += 2) {
        __builtin_prefetch(from + PREFETCHED + line * FLOATS / 2);
    }
    Floats values[Registers];
    for (std::size_t part = 0; part < Registers; ++part) {
        values[part] = load(from + part * FLOATS);
    }
#pragma GCC unroll 8
    for (std::size_t j = FirstOutput; j < EndOutput; ++j) {
        const Floats weight = all(*(weights - j));
        for (std::size_t part = 0; part < Registers; ++part) {
            sums[j][part] += weight * values[part];
        }
    }
}

/// The first rows count for the first outputs only, ...
template <std::size_t Row, typename FromT, std::size_t Outputs, std::size_t Registers>
TEVRA_LANES_INLINE void add_first_rows(const FromT* const* rows, std::size_t x, const float* weights,
                                       Floats (&sums)[Outputs][Registers]) {
    if constexpr (Row + 1 < Outputs) {
        add_row<0, Row + 1>(rows[Row] + x, weights + Row, sums);
        add_first_rows<Row + 1>(rows, x, weights, sums);
    }
}

/// ... and the last ones for the last.
template <std::size_t Row, typename FromT, std::size_t Outputs, std::size_t Registers>
TEVRA_LANES_INLINE void add_last_rows(const FromT* const* rows, std::size_t x, const float* weights,
                                      Floats (&sums)[Outputs][Registers]) {
    if constexpr (Row < Outputs) {
        add_row<Row, Outputs>(rows[Row] + x, weights + Row, sums);
        add_last_rows<Row + 1>(rows, x, weights, sums);
    }
}

/// Each of the rows is loaded once for all outputs; the sums of each go through the rows in ascending order.
template <std::size_t Registers, std::size_t Outputs, typename FromT, typename ToT>
TEVRA_LANES_INLINE void smooth_column(const FromT* const* rows, std::size_t radius, const float* weights,
                                      ToT* const* out, std::size_t x) {
    const std::size_t taps = 2 * radius + 1; // not less than outputs
    Floats sums[Outputs][Registers]{};
    add_first_rows<0>(rows, x, weights, sums);
    for (std::size_t row = Outputs - 1; row < taps; ++row) {
        add_row<0, Outputs>(rows[row] + x, weights + row, sums);
    }
    add_last_rows<1>(rows + taps - 1, x, weights + taps - 1, sums);
#pragma GCC unroll 8
    for (std::size_t j = 0; j < Outputs; ++j) {
        for (std::size_t part = 0; part < Registers; ++part) {
            store(sums[j][part], out[j] + x + part * FLOATS);
        }
    }
}

template <std::size_t Outputs, typename FromT, typename ToT>
void smooth_rows(const FromT* const* rows, std::size_t radius, const float* weights, ToT* const* out,
                 std::size_t count) {
    std::size_t x = 0;
    for (; x + FLOATS < count; x += 2 * FLOATS) {
        smooth_column<2, Outputs>(rows, radius, weights, out, x);
    }
    if (x < count) {
        smooth_column<1, Outputs>(rows, radius, weights, out, x);
    }
}

template <std::size_t Outputs, typename FromT, typename ToT>
bool smooth_next(const SSmoothedRows<FromT, ToT>& job, std::size_t& done) {
    if (job.outputs - done < Outputs || 2 * job.radius + 1 < Outputs) {
        return false;
    }
    smooth_rows<Outputs>(job.rows + done, job.radius, job.weights, job.out + done, job.count);
    done += Outputs;
    return true;
}

template <typename FromT, typename ToT>
void smooth(const SSmoothedRows<FromT, ToT>& job) {
    std::size_t done = 0;
    while (done < job.outputs) {
        static_cast<void>(smooth_next<SMOOTHED_TOGETHER>(job, done) || smooth_next<3>(job, done) ||
                          smooth_next<1>(job, done));
    }
}

template <std::size_t Dim>
void products(const float* const* gradient, std::size_t count, float scale, std::size_t pixelFloats,
              float* out) {
    for (std::size_t x = 0; x < count; ++x) {
        float* const pixel = out + pixelFloats * x;
        std::size_t entry = 0;
        for (std::size_t i = 0; i < Dim; ++i) {
            for (std::size_t j = i; j < Dim; ++j) {
                pixel[entry++] = scale * gradient[i][x] * gradient[j][x];
            }
        }
    }
}

/// Where two eigenvalues are negative and outweigh the third: there the line strength is above 0. The
/// matrix less its trace, all of whose eigenvalues then are positive, has positive minors.
TEVRA_LANES_INLINE FloatMask is_line(const float* const (&h)[6], std::size_t x, SHessian3<float>* /*tag*/) {
    const Floats xx = load(h[0] + x);
    const Floats xy = load(h[1] + x);
    const Floats xz = load(h[2] + x);
    const Floats yy = load(h[3] + x);
    const Floats yz = load(h[4] + x);
    const Floats zz = load(h[5] + x);
    const Floats a = -(yy + zz);
    const Floats b = -(xx + zz);
    const Floats c = -(xx + yy);
    const Floats second = a * b - xy * xy;
    const Floats determinant = a * (b * c - yz * yz) - xy * (xy * c - yz * xz) + xz * (xy * yz - b * xz);
    return (a > 0.0F) & (second > 0.0F) & (determinant > 0.0F);
}

TEVRA_LANES_INLINE FloatMask is_line(const float* const (&h)[6], std::size_t x, SHessian2<float>* /*tag*/) {
    return load(h[0] + x) + load(h[2] + x) < 0.0F;
}

template <std::size_t Dim>
struct SMatrixOf;
template <>
struct SMatrixOf<2> {
    using Float = SHessian2<float>;
};
template <>
struct SMatrixOf<3> {
    using Float = SHessian3<float>;
};

/// Positions of the pixels that may vote.
template <std::size_t Dim>
std::size_t pick_lines(const float* const (&hessian)[6], std::size_t count, unsigned short* picked) {
    std::size_t found = 0;
    for (std::size_t x = 0; x < count; x += FLOATS) {
        const FloatMask mask = is_line(hessian, x, static_cast<typename SMatrixOf<Dim>::Float*>(nullptr));
        int any = 0;
        for (std::size_t lane = 0; lane < FLOATS; ++lane) {
            any |= mask[lane];
        }
        if (any == 0) {
            continue;
        }
        const std::size_t lanes = count - x < FLOATS ? count - x : FLOATS;
        for (std::size_t lane = 0; lane < lanes; ++lane) {
            picked[found] = static_cast<unsigned short>(x + lane);
            found += mask[lane] != 0 ? 1 : 0;
        }
    }
    return found;
}

template <typename SourceT>
TEVRA_LANES_INLINE SHessian3<Real> matrix3(const SourceT& entry, std::size_t at) {
    return {Access::Load(entry(0) + at), Access::Load(entry(1) + at), Access::Load(entry(2) + at),
            Access::Load(entry(3) + at), Access::Load(entry(4) + at), Access::Load(entry(5) + at)};
}

template <typename SourceT>
TEVRA_LANES_INLINE SHessian2<Real> matrix2(const SourceT& entry, std::size_t at) {
    return {Access::Load(entry(0) + at), Access::Load(entry(1) + at), Access::Load(entry(2) + at)};
}

TEVRA_LANES_INLINE Real value_along(const SHessian3<Real>& h, const SVector3<Real>& v) {
    const Real x = h.xx * v.x + h.xy * v.y + h.xz * v.z;
    const Real y = h.xy * v.x + h.yy * v.y + h.yz * v.z;
    const Real z = h.xz * v.x + h.yz * v.y + h.zz * v.z;
    return x * v.x + y * v.y + z * v.z;
}

TEVRA_LANES_INLINE Real value_along(const SHessian2<Real>& h, const SVector2<Real>& v) {
    return (h.xx * v.x + h.xy * v.y) * v.x + (h.xy * v.x + h.yy * v.y) * v.y;
}

/// Half the sum and half the difference of the two eigenvalues besides `value`.
struct SOtherTwo {
    Real mean, offset;
};

TEVRA_LANES_INLINE SOtherTwo other_two(const SHessian3<Real>& h, const Real& value) {
    const Real half(0.5);
    const Real zero(0.0);
    const Real mean = half * (h.xx + h.yy + h.zz - value);
    const Real offDiagonal = h.xy * h.xy + h.xz * h.xz + h.yz * h.yz;
    const Real squares =
        h.xx * h.xx + h.yy * h.yy + h.zz * h.zz + (offDiagonal + offDiagonal) - value * value;
    const Real square = half * squares - mean * mean;
    return {mean, SquareRoot(Select(zero < square, square, zero))};
}

/// In 2D there is one more.
TEVRA_LANES_INLINE SOtherTwo other_two(const SHessian2<Real>& h, const Real& value) {
    return {h.xx + h.yy - value, Real(0.0)};
}

TEVRA_LANES_INLINE Real trace(const SHessian3<Real>& h) {
    return h.xx + h.yy + h.zz;
}
TEVRA_LANES_INLINE Real trace(const SHessian2<Real>& h) {
    return h.xx + h.yy;
}

/// A vote's weight: the square of the line strength, in units of the range, times `scale`.
template <typename MatrixT, typename VectorT>
TEVRA_LANES_INLINE Real weight_of(const MatrixT& h, const VectorT& axis, const Real& squaredSigma,
                                  const Real& scale) {
    const Real along = value_along(h, axis);
    const SOtherTwo across = other_two(h, along);
    const Real strength = squaredSigma * (-(across.mean + across.offset) - Abs(along));
    return Select(strength < Real(LEAST_LINE_STRENGTH), Real(0.0), Real(scale * strength * strength));
}

template <std::size_t Dim>
SVotesFound votes(const SVoteSegment& segment) {
    constexpr std::size_t entries = ENTRIES<Dim>;
    // Only what is used of the buffers is written. NOLINTBEGIN(cppcoreguidelines-pro-type-member-init)
    unsigned short picked[SEGMENT_PIXELS + FLOATS];
    SPacked packed[entries];
    float products[entries][WIDTH];
    // NOLINTEND(cppcoreguidelines-pro-type-member-init)
    const std::size_t count = pick_lines<Dim>(segment.hessian, segment.count, picked);
    for (std::size_t entry = 0; entry < entries; ++entry) {
        PackPixels(segment.hessian[entry], picked, count, packed[entry]);
    }
    const auto entry_of = [&packed](std::size_t entry) __attribute__((always_inline)) {
        return static_cast<const float*>(packed[entry].values);
    };
    const Real squaredSigma(segment.squaredSigma);
    const Real scale(segment.scale);
    SVotesFound result{count, 0};
    for (std::size_t at = 0; at < count; at += WIDTH) {
        Real::Mask found{};
        if constexpr (Dim == 3) {
            const auto h = matrix3(entry_of, at);
            const auto [axis, isFound] = EigenAxis<true>(h);
            const Real weight = weight_of(h, axis, squaredSigma, scale);
            found = isFound;
            Access::StoreFloats(weight * axis.x * axis.x, products[0]);
            Access::StoreFloats(weight * axis.x * axis.y, products[1]);
            Access::StoreFloats(weight * axis.x * axis.z, products[2]);
            Access::StoreFloats(weight * axis.y * axis.y, products[3]);
            Access::StoreFloats(weight * axis.y * axis.z, products[4]);
            Access::StoreFloats(weight * axis.z * axis.z, products[5]);
        } else {
            const auto h = matrix2(entry_of, at);
            const auto [axis, isFound] = EigenAxis<true>(h);
            const Real weight = weight_of(h, axis, squaredSigma, scale);
            found = isFound;
            Access::StoreFloats(weight * axis.x * axis.x, products[0]);
            Access::StoreFloats(weight * axis.x * axis.y, products[1]);
            Access::StoreFloats(weight * axis.y * axis.y, products[2]);
        }
        const std::size_t lanes = count - at < WIDTH ? count - at : WIDTH;
        for (std::size_t lane = 0; lane < lanes; ++lane) {
            if (!Access::IsSet(found, lane)) {
                segment.failed[result.failed++] = picked[at + lane];
                continue;
            }
            float* const vote = segment.votes + segment.pixelFloats * picked[at + lane];
            for (std::size_t entry = 0; entry < entries; ++entry) {
                vote[entry] = products[entry][lane];
            }
        }
    }
    return result;
}

/// A voxel's tensor, and what stands behind it.
using Voxel = SLanes<VOXEL_LOAD>::Floats;

TEVRA_LANES_INLINE Voxel load_voxel(const float* from) {
    Voxel voxel;
    __builtin_memcpy(&voxel, from, sizeof voxel);
    return voxel;
}

template <std::size_t Dim>
void gather(const float* row, const unsigned short* pixels, std::size_t count, float* const* out) {
    constexpr std::size_t entries = ENTRIES<Dim>;
    for (std::size_t i = 0; i < count; ++i) {
        const Voxel voxel = load_voxel(row + entries * pixels[i]);
        for (std::size_t entry = 0; entry < entries; ++entry) {
            out[entry][i] = voxel[entry];
        }
    }
    for (std::size_t entry = 0; entry < entries; ++entry) {
        Pad(out[entry], count);
    }
}

template <bool IsSmallest, std::size_t Dim>
TEVRA_LANES_INLINE std::size_t find_axes(const float* const* entries, std::size_t count, double* const* axes,
                                         unsigned short* failed) {
    const auto entry_of = [entries](std::size_t entry) __attribute__((always_inline)) {
        return entries[entry];
    };
    std::size_t failures = 0;
    for (std::size_t at = 0; at < count; at += WIDTH) {
        Real::Mask found{};
        if constexpr (Dim == 3) {
            const auto [axis, isFound] = EigenAxis<IsSmallest>(matrix3(entry_of, at));
            found = isFound;
            Access::Store(axis.x, axes[0] + at);
            Access::Store(axis.y, axes[1] + at);
            Access::Store(axis.z, axes[2] + at);
        } else {
            const auto [axis, isFound] = EigenAxis<IsSmallest>(matrix2(entry_of, at));
            found = isFound;
            Access::Store(axis.x, axes[0] + at);
            Access::Store(axis.y, axes[1] + at);
        }
        failures = AppendFailed(found, at, count, failed, failures);
    }
    return failures;
}

template <std::size_t Dim>
std::size_t axes(const float* const* entries, std::size_t count, bool isSmallest, double* const* axis,
                 unsigned short* failed) {
    return isSmallest ? find_axes<true, Dim>(entries, count, axis, failed)
                      : find_axes<false, Dim>(entries, count, axis, failed);
}

/// The nearest whole numbers, halves away from zero; 0 for what is no number, as in lanes beyond the last pixel.
TEVRA_LANES_INLINE Whole nearest(const Real& values) {
    const Real half(0.5);
    const Real zero(0.0);
    const Real number = Select(Abs(values) < Real(0x1p30), values, zero);
    const Real shifted = number + Select(number < zero, Real(-half), half);
    return __builtin_convertvector(shifted.v, Whole);
}

TEVRA_LANES_INLINE long long clamped(long long value, long long extent) {
    const long long low = value < 0 ? 0 : value;
    return low < extent ? low : extent - 1;
}

constexpr std::size_t STEPS = 3;

/// Where the tensors of a group of voxels and of their neighbours along their axes stand.
struct SPlaces {
    const float* own[WIDTH];
    const float* before[STEPS][WIDTH];
    const float* after[STEPS][WIDTH];
};

/// Whether all neighbours of the row's voxels lie in the image along y and z.
template <std::size_t Dim>
bool is_row_inside(const STensorVolume& volume, const SLookUps& steps, long long y, long long z) {
    const auto isInside = [&](std::size_t axis, long long position) {
        const auto reach = static_cast<long long>(steps.offsets[STEPS - 1][axis] + 0.5);
        return position >= reach && position + reach < volume.extents[axis];
    };
    return isInside(1, y) && (Dim == 2 || isInside(2, z));
}

/// A row whose voxels look along their axes.
template <std::size_t Dim>
struct SLookUpRow {
    const STensorVolume& volume;
    const SLookUps& steps;
    const unsigned short* pixels;
    long long firstX, y, z;
    const double* const* axis;
    long long reachX;
    bool isInside; // along y and z
    const float* const* ownPlane;
    std::size_t row; // its place in the plane

    /// Beyond the image stand the border's voxels.
    TEVRA_LANES_INLINE const float* clamped_place(long long x, long long atY, long long atZ) const {
        const long long slice = Dim == 3 ? clamped(atZ, volume.extents[2]) : 0;
        return volume.planes[slice - volume.firstSlice] +
               static_cast<std::size_t>(clamped(atY, volume.extents[1])) * volume.rowFloats +
               ENTRIES<Dim> * static_cast<std::size_t>(clamped(x, volume.extents[0]));
    }

    /// Finds the places of a group's tensors and asks for their memory, which is used some groups later: it
    /// lies all about, and one after the other would be waited for.
    TEVRA_LANES_INLINE void Find(std::size_t at, std::size_t lanes, SPlaces& places) const {
        for (std::size_t lane = 0; lane < lanes; ++lane) {
            const long long x = firstX + pixels[at + lane];
            places.own[lane] = *ownPlane + row + ENTRIES<Dim> * static_cast<std::size_t>(x);
        }
        for (std::size_t step = 0; step < STEPS; ++step) {
            Whole offsets[Dim];
            for (std::size_t component = 0; component < Dim; ++component) {
                offsets[component] =
                    nearest(Real(steps.offsets[step][component]) * Access::Load(axis[component] + at));
            }
            const Whole floats =
                offsets[1] * static_cast<int>(volume.rowFloats) + offsets[0] * static_cast<int>(ENTRIES<Dim>);
            for (std::size_t lane = 0; lane < lanes; ++lane) {
                const long long x = firstX + pixels[at + lane];
                const long long dz = Dim == 3 ? offsets[Dim - 1][lane] : 0;
                if (__builtin_expect(isInside && x >= reachX && x + reachX < volume.extents[0], 1)) {
                    const std::size_t place = row + ENTRIES<Dim> * static_cast<std::size_t>(x);
                    const long long distance = floats[lane];
                    places.before[step][lane] = *(ownPlane - dz) + place - distance;
                    places.after[step][lane] = *(ownPlane + dz) + place + distance;
                } else {
                    const long long dx = offsets[0][lane];
                    const long long dy = offsets[1][lane];
                    places.before[step][lane] = clamped_place(x - dx, y - dy, z - dz);
                    places.after[step][lane] = clamped_place(x + dx, y + dy, z + dz);
                }
                __builtin_prefetch(places.before[step][lane]);
                __builtin_prefetch(places.before[step][lane] + ENTRIES<Dim> - 1);
                __builtin_prefetch(places.after[step][lane]);
                __builtin_prefetch(places.after[step][lane] + ENTRIES<Dim> - 1);
            }
        }
    }
};

template <std::size_t Dim>
void look_up(const STensorVolume& volume, const SLookUps& steps, const unsigned short* pixels,
             std::size_t count, long long firstX, long long y, long long z, const double* const* axis,
             float* const* out) {
    constexpr std::size_t AHEAD = 2; // groups
    const SLookUpRow<Dim> row{volume,
                              steps,
                              pixels,
                              firstX,
                              y,
                              z,
                              axis,
                              static_cast<long long>(steps.offsets[STEPS - 1][0] + 0.5),
                              is_row_inside<Dim>(volume, steps, y, z),
                              volume.planes + (z - volume.firstSlice),
                              static_cast<std::size_t>(y) * volume.rowFloats};
    SPlaces places[AHEAD + 1]; // NOLINT(cppcoreguidelines-pro-type-member-init): output
    const std::size_t groups = (count + WIDTH - 1) / WIDTH;
    const auto lanes_of = [count](std::size_t group) __attribute__((always_inline)) {
        return count - group * WIDTH < WIDTH ? count - group * WIDTH : WIDTH;
    };
    for (std::size_t found = 0; found < groups + AHEAD; ++found) {
        if (found < groups) {
            row.Find(found * WIDTH, lanes_of(found), places[found % (AHEAD + 1)]);
        }
        if (found < AHEAD) {
            continue;
        }
        const std::size_t group = found - AHEAD;
        const SPlaces& from = places[group % (AHEAD + 1)];
        const std::size_t lanes = lanes_of(group);
        for (std::size_t lane = 0; lane < lanes; ++lane) {
            Voxel sum = (steps.weights[0] - Voxel{}) * load_voxel(from.own[lane]);
            for (std::size_t step = 0; step < STEPS; ++step) {
                sum += (steps.weights[step + 1] - Voxel{}) *
                       (load_voxel(from.before[step][lane]) + load_voxel(from.after[step][lane]));
            }
            for (std::size_t entry = 0; entry < ENTRIES<Dim>; ++entry) {
                out[entry][group * WIDTH + lane] = sum[entry];
            }
        }
    }
    for (std::size_t entry = 0; entry < ENTRIES<Dim>; ++entry) {
        Pad(out[entry], count);
    }
}

/// Eigenvalues of a positive semi-definite tensor that tell how sure its axis is.
struct SOrderedValues {
    Real smallest, middle, largest;
};

/// By the closed form of HessianKernel.h, without vectors.
TEVRA_LANES_INLINE SOrderedValues eigenvalues(const SHessian3<Real>& m) {
    const Real zero(0.0);
    const Real one(1.0);
    const Real half(0.5);
    const Real mean = trace(m) * Real(1.0 / 3.0);
    const Real xx = m.xx - mean;
    const Real yy = m.yy - mean;
    const Real zz = m.zz - mean;
    const Real offDiagonal = m.xy * m.xy + m.xz * m.xz + m.yz * m.yz;
    const Real spread =
        SquareRoot((xx * xx + yy * yy + zz * zz + (offDiagonal + offDiagonal)) * Real(1.0 / 6.0));
    const Real determinant =
        xx * (yy * zz - m.yz * m.yz) - m.xy * (m.xy * zz - m.yz * m.xz) + m.xz * (m.xy * m.yz - yy * m.xz);
    const Real inverse = one / spread;
    const Real r = half * determinant * (inverse * inverse * inverse);
    const Real separate = SeparateRoot(Real(Select(r < one, Select(r < -one, Real(-one), r), one)));
    const Real size = Abs(separate);
    const Real two(2.0);
    const Real distance = half * SquareRoot(Larger(Real(Real(3.0) * (two - size) * (two + size)), zero));
    const Real centre = -half * separate;
    const auto isLargest = zero < separate;
    const auto isSpread = zero < spread;
    const auto value = [&](const Real& root) __attribute__((always_inline)) {
        return mean + Select(isSpread, Real(spread * root), zero);
    };
    return {value(Select(isLargest, Real(centre - distance), separate)),
            value(Select(isLargest, Real(centre + distance), Real(centre - distance))),
            value(Select(isLargest, separate, Real(centre + distance)))};
}

TEVRA_LANES_INLINE SOrderedValues eigenvalues(const SHessian2<Real>& m) {
    const Real half(0.5);
    const Real mean = half * (m.xx + m.yy);
    const Real difference = half * (m.xx - m.yy);
    const Real radius = SquareRoot(difference * difference + m.xy * m.xy);
    return {mean - radius, mean + radius, mean + radius};
}

/// Of the axis of the smallest eigenvalue: how much the next one is larger, as a share of both.
template <std::size_t Dim>
TEVRA_LANES_INLINE Real sureness_of_smallest(const SOrderedValues& values) {
    return (values.middle - values.smallest) / (values.middle + values.smallest);
}

/// Of the axis of the largest one: how much larger than the next it is, as a share of all.
template <std::size_t Dim>
TEVRA_LANES_INLINE Real sureness_of_largest(const SOrderedValues& values, const Real& whole) {
    return (values.largest - (Dim == 3 ? values.middle : values.smallest)) / whole;
}

template <bool IsSmallest, std::size_t Dim>
TEVRA_LANES_INLINE void sureness(const float* const* entries, std::size_t count, float* confidence) {
    const auto entry_of = [entries](std::size_t entry) __attribute__((always_inline)) {
        return entries[entry];
    };
    const Real zero(0.0);
    const Real one(1.0);
    for (std::size_t at = 0; at < count; at += WIDTH) {
        Real ratio(0.0);
        if constexpr (Dim == 3) {
            const auto m = matrix3(entry_of, at);
            const SOrderedValues values = eigenvalues(m);
            ratio =
                IsSmallest ? sureness_of_smallest<Dim>(values) : sureness_of_largest<Dim>(values, trace(m));
        } else {
            const auto m = matrix2(entry_of, at);
            const SOrderedValues values = eigenvalues(m);
            ratio =
                IsSmallest ? sureness_of_smallest<Dim>(values) : sureness_of_largest<Dim>(values, trace(m));
        }
        // What is no number fails both comparisons.
        Access::StoreFloats(Select(zero < ratio, Select(ratio < one, ratio, one), zero), confidence + at);
    }
}

template <std::size_t Dim>
void confidence(const float* const* entries, std::size_t count, bool isSmallest, float* out) {
    if (isSmallest) {
        sureness<true, Dim>(entries, count, out);
    } else {
        sureness<false, Dim>(entries, count, out);
    }
}

} // namespace

extern const SPlaneKernels PLANE_KERNELS{filter,
                                         smooth<float, float>,
                                         smooth<float, HalfBits>,
                                         smooth<HalfBits, float>,
                                         {products<2>, products<3>},
                                         {votes<2>, votes<3>},
                                         {gather<2>, gather<3>},
                                         {look_up<2>, look_up<3>},
                                         {axes<2>, axes<3>},
                                         {confidence<2>, confidence<3>}};

} // namespace TEVRA::Impl::planes::TEVRA_WIDE
