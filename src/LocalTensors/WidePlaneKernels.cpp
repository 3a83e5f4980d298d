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
typedef int Whole __attribute__((vector_size(FLOATS * sizeof(int))));
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
    case 7:
        return filter_row<true, true, true>(row);
    default:
        return; // nothing is wanted
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
    for (std::size_t number = 0; number < Registers * FLOATS; number += REGISTER_BYTES / sizeof(FromT)) {
        __builtin_prefetch(from + PREFETCHED + number);
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
    template <typename NumberT>
    using Of = SHessian2<NumberT>;
};
template <>
struct SMatrixOf<3> {
    template <typename NumberT>
    using Of = SHessian3<NumberT>;
};

/// Positions of the pixels that may vote.
template <std::size_t Dim>
std::size_t pick_lines(const float* const (&hessian)[6], std::size_t count, unsigned short* picked) {
    std::size_t found = 0;
    for (std::size_t x = 0; x < count; x += FLOATS) {
        const FloatMask mask =
            is_line(hessian, x, static_cast<typename SMatrixOf<Dim>::template Of<float>*>(nullptr));
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

template <typename LanesT>
TEVRA_LANES_INLINE SHessian3<LanesT> load_matrix(const float* const (&entry)[6], std::size_t at,
                                                 SHessian3<LanesT>* /*tag*/) {
    using Group = SLaneAccess<LanesT>;
    return {Group::Load(entry[0] + at), Group::Load(entry[1] + at), Group::Load(entry[2] + at),
            Group::Load(entry[3] + at), Group::Load(entry[4] + at), Group::Load(entry[5] + at)};
}

template <typename LanesT>
TEVRA_LANES_INLINE SHessian2<LanesT> load_matrix(const float* const (&entry)[3], std::size_t at,
                                                 SHessian2<LanesT>* /*tag*/) {
    using Group = SLaneAccess<LanesT>;
    return {Group::Load(entry[0] + at), Group::Load(entry[1] + at), Group::Load(entry[2] + at)};
}

/// Matrices of packed pixels, as many as there are lanes.
template <typename LanesT, std::size_t Dim>
struct SMatrices {
    using Matrix = typename SMatrixOf<Dim>::template Of<LanesT>;
    const float* entries[ENTRIES<Dim>] = {};

    TEVRA_LANES_INLINE explicit SMatrices(const float* const* rows) {
        for (std::size_t entry = 0; entry < ENTRIES<Dim>; ++entry) {
            entries[entry] = rows[entry];
        }
    }
    TEVRA_LANES_INLINE Matrix At(std::size_t at) const {
        return load_matrix(entries, at, static_cast<Matrix*>(nullptr));
    }
};

template <typename LanesT>
TEVRA_LANES_INLINE LanesT trace(const SHessian3<LanesT>& h) {
    return h.xx + h.yy + h.zz;
}
template <typename LanesT>
TEVRA_LANES_INLINE LanesT trace(const SHessian2<LanesT>& h) {
    return h.xx + h.yy;
}

template <typename LanesT>
TEVRA_LANES_INLINE SHessian3<LanesT> scaled(const SHessian3<LanesT>& h, const LanesT& by) {
    return {h.xx * by, h.xy * by, h.xz * by, h.yy * by, h.yz * by, h.zz * by};
}
template <typename LanesT>
TEVRA_LANES_INLINE SHessian2<LanesT> scaled(const SHessian2<LanesT>& h, const LanesT& by) {
    return {h.xx * by, h.xy * by, h.yy * by};
}

/// The matrix in units of its trace, which is as large as its eigenvalues here: powers then are in the range of
/// single precision.
template <typename MatrixT>
TEVRA_LANES_INLINE MatrixT in_units_of_trace(const MatrixT& h) {
    return scaled(h, Single(Single(1.0) / Abs(trace(h))));
}

/// The products of an axis' components.
TEVRA_LANES_INLINE SHessian3<Single> products_of(const SVector3<Single>& v) {
    return {v.x * v.x, v.x * v.y, v.x * v.z, v.y * v.y, v.y * v.z, v.z * v.z};
}
TEVRA_LANES_INLINE SHessian2<Single> products_of(const SVector2<Single>& v) {
    return {v.x * v.x, v.x * v.y, v.y * v.y};
}

/// The eigenvalue of an axis, and the largest one across it.
struct SLineValues {
    Single along, across;
};

/// @param axis the products of its components. The eigenvalues across it are those of the matrix less their
/// mean and less the axis' own part: a difference of invariants would lose half of the digits where they are
/// as large as each other, as in round fibers.
TEVRA_LANES_INLINE SLineValues line_values(const SHessian3<Single>& h, const SHessian3<Single>& axis) {
    const Single half(0.5);
    const Single offDiagonal = h.xy * axis.xy + h.xz * axis.xz + h.yz * axis.yz;
    const Single along = h.xx * axis.xx + h.yy * axis.yy + h.zz * axis.zz + (offDiagonal + offDiagonal);
    const Single mean = half * (trace(h) - along);
    const Single own = along - mean;
    const Single xx = h.xx - mean - own * axis.xx;
    const Single yy = h.yy - mean - own * axis.yy;
    const Single zz = h.zz - mean - own * axis.zz;
    const Single xy = h.xy - own * axis.xy;
    const Single xz = h.xz - own * axis.xz;
    const Single yz = h.yz - own * axis.yz;
    const Single mixed = xy * xy + xz * xz + yz * yz;
    return {along, mean + SquareRoot(Single(half * (xx * xx + yy * yy + zz * zz + (mixed + mixed))))};
}

/// In 2D there is one across it.
TEVRA_LANES_INLINE SLineValues line_values(const SHessian2<Single>& h, const SHessian2<Single>& axis) {
    const Single offDiagonal = h.xy * axis.xy;
    const Single along = h.xx * axis.xx + h.yy * axis.yy + (offDiagonal + offDiagonal);
    return {along, trace(h) - along};
}

/// A vote's weight: the square of the line strength, in units of the range, times `scale`.
template <typename MatrixT>
TEVRA_LANES_INLINE Single weight_of(const MatrixT& h, const MatrixT& axis, const Single& squaredSigma,
                                    const Single& scale) {
    const SLineValues values = line_values(h, axis);
    const Single strength = squaredSigma * (-values.across - Abs(values.along));
    return Select(strength < Single(LEAST_LINE_STRENGTH), Single(0.0), Single(scale * strength * strength));
}

TEVRA_LANES_INLINE void store(const SHessian3<Single>& m, float (&to)[6][FLOATS]) {
    using Group = SLaneAccess<Single>;
    Group::Store(m.xx, to[0]);
    Group::Store(m.xy, to[1]);
    Group::Store(m.xz, to[2]);
    Group::Store(m.yy, to[3]);
    Group::Store(m.yz, to[4]);
    Group::Store(m.zz, to[5]);
}
TEVRA_LANES_INLINE void store(const SHessian2<Single>& m, float (&to)[3][FLOATS]) {
    using Group = SLaneAccess<Single>;
    Group::Store(m.xx, to[0]);
    Group::Store(m.xy, to[1]);
    Group::Store(m.yy, to[2]);
}

/// In single precision: votes are summed over neighbours and kept in 16 bits on the way.
template <std::size_t Dim>
SVotesFound votes(const SVoteSegment& segment) {
    constexpr std::size_t entries = ENTRIES<Dim>;
    // Only what is used of the buffers is written. NOLINTBEGIN(cppcoreguidelines-pro-type-member-init)
    unsigned short picked[SEGMENT_PIXELS + FLOATS];
    SPacked packed[entries];
    float products[entries][FLOATS];
    // NOLINTEND(cppcoreguidelines-pro-type-member-init)
    const std::size_t count = pick_lines<Dim>(segment.hessian, segment.count, picked);
    const float* rows[entries];
    for (std::size_t entry = 0; entry < entries; ++entry) {
        PackPixels(segment.hessian[entry], picked, count, packed[entry]);
        rows[entry] = packed[entry].values;
    }
    const SMatrices<Single, Dim> hessians(rows);
    const Single squaredSigma(segment.squaredSigma);
    const Single scale(segment.scale);
    SVotesFound result{count, 0};
    for (std::size_t at = 0; at < count; at += FLOATS) {
        const auto h = hessians.At(at);
        const auto [axis, found] = EigenAxis<true>(in_units_of_trace(h));
        const auto square = products_of(axis);
        store(scaled(square, weight_of(h, square, squaredSigma, scale)), products);
        const std::size_t lanes = count - at < FLOATS ? count - at : FLOATS;
        for (std::size_t lane = 0; lane < lanes; ++lane) {
            if (!SLaneAccess<Single>::IsSet(found, lane)) {
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

/// As many voxels as a voxel is loaded numbers.
struct SVoxels {
    Voxel of[VOXEL_LOAD];
};

/// From numbers of each voxel to each number of all voxels. @param out one array per entry; those of the voxels
/// from `at` on are written.
template <std::size_t Dim>
TEVRA_LANES_INLINE void store_entries(const SVoxels& voxels, float* const* out, std::size_t at) {
    static_assert(VOXEL_LOAD == 8 && PACKING_ROOM >= VOXEL_LOAD);
    // Half a register of four voxels at a time, as all instruction sets shuffle well: [number][half of the voxels].
    Voxel quarters[4][2];
    for (std::size_t half = 0; half < 2; ++half) {
        const Voxel* const v = voxels.of + 4 * half;
        const Voxel low01 = __builtin_shufflevector(v[0], v[1], 0, 8, 1, 9, 4, 12, 5, 13);
        const Voxel low23 = __builtin_shufflevector(v[2], v[3], 0, 8, 1, 9, 4, 12, 5, 13);
        const Voxel high01 = __builtin_shufflevector(v[0], v[1], 2, 10, 3, 11, 6, 14, 7, 15);
        const Voxel high23 = __builtin_shufflevector(v[2], v[3], 2, 10, 3, 11, 6, 14, 7, 15);
        quarters[0][half] = __builtin_shufflevector(low01, low23, 0, 1, 8, 9, 4, 5, 12, 13);
        quarters[1][half] = __builtin_shufflevector(low01, low23, 2, 3, 10, 11, 6, 7, 14, 15);
        quarters[2][half] = __builtin_shufflevector(high01, high23, 0, 1, 8, 9, 4, 5, 12, 13);
        quarters[3][half] = __builtin_shufflevector(high01, high23, 2, 3, 10, 11, 6, 7, 14, 15);
    }
    for (std::size_t entry = 0; entry < ENTRIES<Dim>; ++entry) {
        const Voxel& first = quarters[entry % 4][0];
        const Voxel& second = quarters[entry % 4][1];
        const Voxel entries = entry < 4 ? __builtin_shufflevector(first, second, 0, 1, 2, 3, 8, 9, 10, 11)
                                        : __builtin_shufflevector(first, second, 4, 5, 6, 7, 12, 13, 14, 15);
        __builtin_memcpy(out[entry] + at, &entries, sizeof entries);
    }
}

template <std::size_t Dim>
void gather(const float* row, const unsigned short* pixels, std::size_t count, float* const* out) {
    for (std::size_t at = 0; at < count; at += VOXEL_LOAD) {
        SVoxels voxels{};
        const std::size_t lanes = count - at < VOXEL_LOAD ? count - at : VOXEL_LOAD;
        for (std::size_t lane = 0; lane < lanes; ++lane) {
            voxels.of[lane] = load_voxel(row + ENTRIES<Dim> * pixels[at + lane]);
        }
        store_entries<Dim>(voxels, out, at);
    }
    for (std::size_t entry = 0; entry < ENTRIES<Dim>; ++entry) {
        Pad(out[entry], count);
    }
}

TEVRA_LANES_INLINE void store(const SVector3<Single>& v, float* const* to, std::size_t at) {
    using Group = SLaneAccess<Single>;
    Group::Store(v.x, to[0] + at);
    Group::Store(v.y, to[1] + at);
    Group::Store(v.z, to[2] + at);
}
TEVRA_LANES_INLINE void store(const SVector2<Single>& v, float* const* to, std::size_t at) {
    using Group = SLaneAccess<Single>;
    Group::Store(v.x, to[0] + at);
    Group::Store(v.y, to[1] + at);
}

template <bool IsSmallest, std::size_t Dim>
TEVRA_LANES_INLINE std::size_t find_axes(const float* const* entries, std::size_t count, float* const* axes,
                                         unsigned short* failed) {
    const SMatrices<Single, Dim> tensors(entries);
    std::size_t failures = 0;
    for (std::size_t at = 0; at < count; at += FLOATS) {
        const auto [axis, found] = EigenAxis<IsSmallest>(in_units_of_trace(tensors.At(at)));
        store(axis, axes, at);
        failures = AppendFailed<Single>(found, at, count, failed, failures);
    }
    return failures;
}

template <std::size_t Dim>
std::size_t axes(const float* const* entries, std::size_t count, bool isSmallest, float* const* axis,
                 unsigned short* failed) {
    return isSmallest ? find_axes<true, Dim>(entries, count, axis, failed)
                      : find_axes<false, Dim>(entries, count, axis, failed);
}

/// The nearest whole numbers, halves away from zero, not beyond `most`; 0 for what is no number, as in lanes
/// beyond the last pixel.
TEVRA_LANES_INLINE Whole nearest(const Single& values, int most) {
    const Single half(0.5);
    const Single zero(0.0);
    const Single number = Select(Abs(values) < Single(0x1p22), values, zero);
    const Single shifted = number + Select(number < zero, Single(-half), half);
    const Whole whole = __builtin_convertvector(shifted.v, Whole);
    const Whole limit = most - Whole{};
    const Whole low = whole < -limit ? -limit : whole;
    return low < limit ? low : limit;
}

TEVRA_LANES_INLINE long long clamped(long long value, long long extent) {
    const long long low = value < 0 ? 0 : value;
    return low < extent ? low : extent - 1;
}

constexpr std::size_t STEPS = 3;

/// Voxels whose neighbours are looked up together.
constexpr std::size_t GROUP = FLOATS < VOXEL_LOAD ? VOXEL_LOAD : FLOATS;
static_assert(PACKING_ROOM >= GROUP);

/// Where the tensors of a group of voxels and of their neighbours along their axes stand.
struct SPlaces {
    const float* own[GROUP];
    const float* before[STEPS][GROUP];
    const float* after[STEPS][GROUP];
};

/// Whether all neighbours of the row's voxels lie in the image along y and z.
template <std::size_t Dim>
bool is_row_inside(const STensorVolume& volume, const SLookUps& steps, long long y, long long z) {
    const auto isInside = [&](std::size_t axis, long long position) {
        return position >= steps.reach[axis] && position + steps.reach[axis] < volume.extents[axis];
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
    const float* const* axis;
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
            for (std::size_t part = 0; part < lanes; part += FLOATS) {
                const std::size_t ofPart = lanes - part < FLOATS ? lanes - part : FLOATS;
                find(step, at + part, ofPart, places.before[step] + part, places.after[step] + part);
            }
        }
    }

  private:
    TEVRA_LANES_INLINE void find(std::size_t step, std::size_t at, std::size_t lanes, const float** before,
                                 const float** after) const {
        Whole offsets[Dim];
        for (std::size_t component = 0; component < Dim; ++component) {
            const Single along = SLaneAccess<Single>::Load(axis[component] + at);
            offsets[component] = nearest(Single(steps.offsets[step][component]) * along,
                                         static_cast<int>(steps.reach[component]));
        }
        const Whole floats =
            offsets[1] * static_cast<int>(volume.rowFloats) + offsets[0] * static_cast<int>(ENTRIES<Dim>);
        for (std::size_t lane = 0; lane < lanes; ++lane) {
            const long long x = firstX + pixels[at + lane];
            const long long dz = Dim == 3 ? offsets[Dim - 1][lane] : 0;
            if (__builtin_expect(isInside && x >= steps.reach[0] && x + steps.reach[0] < volume.extents[0],
                                 1)) {
                const std::size_t place = row + ENTRIES<Dim> * static_cast<std::size_t>(x);
                const long long distance = floats[lane];
                before[lane] = *(ownPlane - dz) + place - distance;
                after[lane] = *(ownPlane + dz) + place + distance;
            } else {
                const long long dx = offsets[0][lane];
                const long long dy = offsets[1][lane];
                before[lane] = clamped_place(x - dx, y - dy, z - dz);
                after[lane] = clamped_place(x + dx, y + dy, z + dz);
            }
            __builtin_prefetch(before[lane]);
            __builtin_prefetch(before[lane] + ENTRIES<Dim> - 1);
            __builtin_prefetch(after[lane]);
            __builtin_prefetch(after[lane] + ENTRIES<Dim> - 1);
        }
    }
};

template <std::size_t Dim>
void look_up(const STensorVolume& volume, const SLookUps& steps, const unsigned short* pixels,
             std::size_t count, long long firstX, long long y, long long z, const float* const* axis,
             float* const* out) {
    constexpr std::size_t AHEAD = 16 / GROUP; // groups: memory answers while that many voxels are worked on
    const SLookUpRow<Dim> row{volume,
                              steps,
                              pixels,
                              firstX,
                              y,
                              z,
                              axis,
                              is_row_inside<Dim>(volume, steps, y, z),
                              volume.planes + (z - volume.firstSlice),
                              static_cast<std::size_t>(y) * volume.rowFloats};
    SPlaces places[AHEAD + 1]; // NOLINT(cppcoreguidelines-pro-type-member-init): output
    const std::size_t groups = (count + GROUP - 1) / GROUP;
    const auto lanes_of = [count](std::size_t group) __attribute__((always_inline)) {
        return count - group * GROUP < GROUP ? count - group * GROUP : GROUP;
    };
    for (std::size_t found = 0; found < groups + AHEAD; ++found) {
        if (found < groups) {
            row.Find(found * GROUP, lanes_of(found), places[found % (AHEAD + 1)]);
        }
        if (found < AHEAD) {
            continue;
        }
        const std::size_t group = found - AHEAD;
        const SPlaces& from = places[group % (AHEAD + 1)];
        const std::size_t lanes = lanes_of(group);
        for (std::size_t part = 0; part < lanes; part += VOXEL_LOAD) {
            SVoxels means{};
            const std::size_t end = lanes - part < VOXEL_LOAD ? lanes - part : VOXEL_LOAD;
            for (std::size_t lane = 0; lane < end; ++lane) {
                Voxel& mean = means.of[lane];
                mean = (steps.weights[0] - Voxel{}) * load_voxel(from.own[part + lane]);
                for (std::size_t step = 0; step < STEPS; ++step) {
                    mean +=
                        (steps.weights[step + 1] - Voxel{}) * (load_voxel(from.before[step][part + lane]) +
                                                               load_voxel(from.after[step][part + lane]));
                }
            }
            store_entries<Dim>(means, out, group * GROUP + part);
        }
    }
    for (std::size_t entry = 0; entry < ENTRIES<Dim>; ++entry) {
        Pad(out[entry], count);
    }
}

/// Eigenvalues of a positive semi-definite tensor that tell how sure its axis is.
template <typename LanesT>
struct SOrderedValues {
    LanesT smallest, middle, largest;
};

/// By the closed form of HessianKernel.h, without vectors.
template <typename LanesT>
TEVRA_LANES_INLINE SOrderedValues<LanesT> eigenvalues(const SHessian3<LanesT>& m) {
    const LanesT zero(0.0);
    const LanesT one(1.0);
    const LanesT half(0.5);
    const LanesT mean = trace(m) * LanesT(1.0 / 3.0);
    const LanesT xx = m.xx - mean;
    const LanesT yy = m.yy - mean;
    const LanesT zz = m.zz - mean;
    const LanesT offDiagonal = m.xy * m.xy + m.xz * m.xz + m.yz * m.yz;
    const LanesT spread =
        SquareRoot((xx * xx + yy * yy + zz * zz + (offDiagonal + offDiagonal)) * LanesT(1.0 / 6.0));
    const LanesT determinant =
        xx * (yy * zz - m.yz * m.yz) - m.xy * (m.xy * zz - m.yz * m.xz) + m.xz * (m.xy * m.yz - yy * m.xz);
    const LanesT inverse = one / spread;
    const LanesT r = half * determinant * (inverse * inverse * inverse);
    const LanesT separate = SeparateRoot(LanesT(Select(r < one, Select(r < -one, LanesT(-one), r), one)));
    const LanesT size = Abs(separate);
    const LanesT two(2.0);
    const LanesT distance =
        half * SquareRoot(Larger(LanesT(LanesT(3.0) * (two - size) * (two + size)), zero));
    const LanesT centre = -half * separate;
    const auto isLargest = zero < separate;
    const auto isSpread = zero < spread;
    const auto value = [&](const LanesT& root) __attribute__((always_inline)) {
        return mean + Select(isSpread, LanesT(spread * root), zero);
    };
    return {value(Select(isLargest, LanesT(centre - distance), separate)),
            value(Select(isLargest, LanesT(centre + distance), LanesT(centre - distance))),
            value(Select(isLargest, separate, LanesT(centre + distance)))};
}

template <typename LanesT>
TEVRA_LANES_INLINE SOrderedValues<LanesT> eigenvalues(const SHessian2<LanesT>& m) {
    const LanesT half(0.5);
    const LanesT mean = half * (m.xx + m.yy);
    const LanesT difference = half * (m.xx - m.yy);
    const LanesT radius = SquareRoot(difference * difference + m.xy * m.xy);
    return {mean - radius, mean + radius, mean + radius};
}

/// What is no number fails both comparisons.
template <typename LanesT>
TEVRA_LANES_INLINE void store_share(const LanesT& share, float* to) {
    const LanesT zero(0.0);
    const LanesT one(1.0);
    SLaneAccess<LanesT>::StoreFloats(Select(zero < share, Select(share < one, share, one), zero), to);
}

/// Of the axis of the smallest eigenvalue: how much the next one is larger, as a share of both. In double
/// precision: both may be small beside the largest.
template <std::size_t Dim>
TEVRA_LANES_INLINE void sureness_of_smallest(const float* const* entries, std::size_t at, float* confidence) {
    const auto values = eigenvalues(SMatrices<Real, Dim>(entries).At(at));
    store_share(Real((values.middle - values.smallest) / (values.middle + values.smallest)), confidence + at);
}

/// Of the axis of the largest one: how much larger than the next it is, as a share of all.
template <std::size_t Dim>
TEVRA_LANES_INLINE void sureness_of_largest(const float* const* entries, std::size_t at, float* confidence) {
    const auto values = eigenvalues(in_units_of_trace(SMatrices<Single, Dim>(entries).At(at)));
    store_share(Single(values.largest - (Dim == 3 ? values.middle : values.smallest)), confidence + at);
}

template <std::size_t Dim>
void confidence(const float* const* entries, std::size_t count, bool isSmallest, float* out) {
    if (isSmallest) {
        for (std::size_t at = 0; at < count; at += WIDTH) {
            sureness_of_smallest<Dim>(entries, at, out);
        }
    } else {
        for (std::size_t at = 0; at < count; at += FLOATS) {
            sureness_of_largest<Dim>(entries, at, out);
        }
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
