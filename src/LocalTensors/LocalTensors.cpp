// SPDX-License-Identifier: BSD-3-Clause
#include "LocalTensors/LocalTensors.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <span>
#include <type_traits>
#include <utility>

namespace TEVRA::Impl {
namespace {

/// Slices that are made at a time.
constexpr long long BATCH = static_cast<long long>(MOST_SMOOTHED_ROWS);
/// Rows of a slice that are filtered across rows at a time.
constexpr long long ROW_BATCH = static_cast<long long>(MOST_SMOOTHED_ROWS);
/// Rows that a task works on at least ...
constexpr std::size_t LEAST_BAND_ROWS = 16;
/// ... where it repeats the work on as many as the filters reach beyond them.
constexpr std::size_t LEAST_FILTERED_ROWS = 64;
/// Tasks for each thread, so that none waits long for the others.
constexpr int TASKS_PER_THREAD = 4;

/// What votes and products, plain numbers below 1 of an image that spans 1, are multiplied by: the largest stay
/// within the range of half-precision numbers, and the weakest votes are not lost. A power of 2 changes no digit.
constexpr double HALF_SCALE = 0x1p16;
static_assert(HALF_SCALE * 0.99 < LARGEST_HALF);

enum EOrder : std::size_t { smoothed = 0, first = 1, second = 2 };

/// A row filtered along z and x.
struct SField {
    std::size_t orderX, orderZ;
};
/// A derivative: a field filtered along y.
struct SDerivative {
    std::size_t field, orderY;
};

/// The derivatives of one kind: Hessians (xx, xy[, xz], yy[, yz, zz]) or gradients (x, y[, z]).
struct SDerivatives {
    std::vector<SField> fields;
    std::vector<SDerivative> derivatives;
};

template <std::size_t Dim>
SDerivatives derivatives_of(ELocalTensor kind) {
    if (kind == ELocalTensor::lineVotes) {
        if constexpr (Dim == 3) {
            return {{{smoothed, smoothed},
                     {first, smoothed},
                     {second, smoothed},
                     {smoothed, first},
                     {first, first},
                     {smoothed, second}},
                    {{2, smoothed}, {1, first}, {4, smoothed}, {0, second}, {3, first}, {5, smoothed}}};
        }
        return {{{smoothed, smoothed}, {first, smoothed}, {second, smoothed}},
                {{2, smoothed}, {1, first}, {0, second}}};
    }
    if constexpr (Dim == 3) {
        return {{{smoothed, smoothed}, {first, smoothed}, {smoothed, first}},
                {{1, smoothed}, {0, first}, {2, smoothed}}};
    }
    return {{{smoothed, smoothed}, {first, smoothed}}, {{1, smoothed}, {0, first}}};
}

std::vector<float> as_floats(const std::vector<double>& numbers) {
    std::vector<float> floats(numbers.size());
    std::transform(numbers.begin(), numbers.end(), floats.begin(),
                   [](double number) { return static_cast<float>(number); });
    return floats;
}

/// From weights at distance 0 to radius; those of the first derivative are odd.
std::vector<float> both_sides(const std::vector<float>& weights, std::size_t order) {
    std::vector<float> result(weights.rbegin(), weights.rend());
    if (order == first) {
        std::transform(result.begin(), result.end(), result.begin(), std::negate<>());
    }
    result.pop_back();
    result.insert(result.end(), weights.begin(), weights.end());
    return result;
}

/// Rows of numbers one behind the other; 0 to begin with.
class CRows {
  public:
    CRows(std::size_t rows, std::size_t count)
        : m_stride(RowStride<float>(count)), m_numbers(NewRowMemory(rows * m_stride * sizeof(float))) {
        std::fill_n(Row(0), rows * m_stride, 0.0F);
    }
    float* Row(std::size_t row) { return static_cast<float*>(m_numbers.get()) + row * m_stride; }
    static std::size_t Floats(std::size_t rows, std::size_t count) { return rows * RowStride<float>(count); }

  private:
    std::size_t m_stride;
    RowMemory m_numbers;
};

/// Repeats the first and last pixel on either side of a row.
void repeat_border(float* row, std::size_t width, std::size_t margin, std::size_t entries) {
    for (std::size_t x = 0; x < margin; ++x) {
        std::copy_n(row, entries, row - entries * (x + 1));
        std::copy_n(row + entries * (width - 1), entries, row + entries * (width + x));
    }
}

void smooth(const SPlaneKernels& kernels, const SSmoothedRows<float, float>& rows) {
    kernels.smooth(rows);
}
void smooth(const SPlaneKernels& kernels, const SSmoothedRows<float, HalfBits>& rows) {
    kernels.smoothIntoHalves(rows);
}
void smooth(const SPlaneKernels& kernels, const SSmoothedRows<HalfBits, float>& rows) {
    kernels.smoothOutOfHalves(rows);
}

/// Hands a matrix that has no closed form to the decomposition.
template <std::size_t Dim, typename EntryT>
bool decompose(const EntryT& entry_of, EEigenvalue which, std::array<double, Dim>& axis) {
    CHessianAxis<Dim> kernel(which);
    std::size_t entry = 0;
    for (std::size_t i = 0; i < Dim; ++i) {
        for (std::size_t j = i; j < Dim; ++j) {
            kernel.Set(i, j, static_cast<double>(entry_of(entry++)));
        }
    }
    return kernel.Decompose(axis);
}

} // namespace

template <std::size_t Dim>
template <typename NumberT>
CLocalTensors<Dim>::CRing<NumberT>::CRing(long long slices, std::size_t rows, std::size_t rowNumbers,
                                          const NewMemory& newMemory)
    : m_slices(slices), m_stride(RowStride<NumberT>(rowNumbers)),
      m_sliceNumbers(SliceStride<NumberT>(rows * m_stride)),
      m_memory(newMemory(Bytes(slices, rows, rowNumbers))) {}

template <std::size_t Dim>
template <typename NumberT>
std::size_t CLocalTensors<Dim>::CRing<NumberT>::Bytes(long long slices, std::size_t rows,
                                                      std::size_t rowNumbers) {
    return static_cast<std::size_t>(slices) * SliceStride<NumberT>(rows * RowStride<NumberT>(rowNumbers)) *
           sizeof(NumberT);
}

/// Derivatives, votes or products, and their sums within a slice, row after row of a band.
template <std::size_t Dim>
class CLocalTensors<Dim>::CPlaneWork {
  public:
    CPlaneWork(CLocalTensors& tensors, long long z)
        : m_tensors(tensors), m_kernels(tensors.m_kernels), m_z(z),
          m_recipe(derivatives_of<Dim>(tensors.m_scales.kind)),
          m_marginX(static_cast<std::size_t>(tensors.m_reach.derivative[0])),
          m_reachY(tensors.m_reach.derivative[1]),
          m_windowX(static_cast<std::size_t>(tensors.m_reach.window[0])),
          m_windowY(tensors.m_reach.window[1]), m_across(3, tensors.m_width + 2 * margin(m_marginX)),
          m_fields(m_recipe.fields.size() * field_rows(m_reachY), tensors.m_width),
          m_derivatives(m_recipe.derivatives.size() * static_cast<std::size_t>(ROW_BATCH), tensors.m_width),
          m_votes(1, votes_floats(tensors.m_width, m_windowX)), m_sums(ROW_BATCH, BLOCK),
          m_gathered(field_rows(m_windowY), ENTRIES * tensors.m_width), m_isEmpty(field_rows(m_windowY)) {}

    static std::size_t Floats(std::size_t width, const SLocalReach& reach, const SDerivatives& recipe) {
        const std::size_t reachX = margin(static_cast<std::size_t>(reach.derivative[0]));
        return CRows::Floats(3, width + 2 * reachX) +
               CRows::Floats(recipe.fields.size() * field_rows(reach.derivative[1]), width) +
               CRows::Floats(recipe.derivatives.size() * static_cast<std::size_t>(ROW_BATCH), width) +
               CRows::Floats(1, votes_floats(width, static_cast<std::size_t>(reach.window[0]))) +
               CRows::Floats(ROW_BATCH, BLOCK) + CRows::Floats(field_rows(reach.window[1]), ENTRIES * width);
    }

    void Run(const SBand& band) {
        const auto height = static_cast<long long>(m_tensors.m_height);
        const auto begin = static_cast<long long>(band.first);
        const auto end = static_cast<long long>(band.end);
        m_nextVotes = std::max(begin - m_windowY, 0LL);
        m_nextField = std::max(m_nextVotes - m_reachY, 0LL);
        for (long long y = begin; y < end; y += ROW_BATCH) {
            const long long outputs = std::min(ROW_BATCH, end - y);
            const long long votesEnd = std::min(y + outputs + m_windowY, height);
            while (m_nextVotes < votesEnd) {
                const long long count = std::min(ROW_BATCH, votesEnd - m_nextVotes);
                make_votes(m_nextVotes, count);
                m_nextVotes += count;
            }
            gather_rows(y, outputs);
        }
    }

  private:
    /// Rows that are kept for a filter across rows.
    static std::size_t field_rows(long long reach) { return static_cast<std::size_t>(2 * reach + ROW_BATCH); }
    /// Room on either side of a row for what a filter reaches beyond it, so that the row itself begins with a
    /// cache line.
    static std::size_t margin(std::size_t reach) { return RoundedToGroup(reach); }

    /// Votes of some rows stand pixel by pixel, those of all rows together: sums along x then are sums of whole
    /// registers, as those along y and z.
    static constexpr std::size_t BLOCK = static_cast<std::size_t>(ROW_BATCH) * ENTRIES;
    static std::size_t votes_floats(std::size_t width, std::size_t reach) {
        return BLOCK * (width + 2 * reach) + ROW_GROUP;
    }

    /// A row of sums along x; beyond the image that of the nearest one or nothing. Null where there is no vote.
    const float* gathered_row(long long y) {
        const auto height = static_cast<long long>(m_tensors.m_height);
        if ((y < 0 || y >= height) && m_tensors.m_scales.kind == ELocalTensor::lineVotes) {
            return nullptr;
        }
        const auto slot = static_cast<std::size_t>(std::clamp(y, 0LL, height - 1)) % field_rows(m_windowY);
        return m_isEmpty[slot] ? nullptr : m_gathered.Row(slot);
    }

    /// Sums along y.
    void gather_rows(long long y, long long outputs) {
        const auto taps = static_cast<std::size_t>(2 * m_windowY + 1);
        m_rows.resize(taps + static_cast<std::size_t>(outputs) - 1);
        bool isEmpty = true;
        for (std::size_t i = 0; i < m_rows.size(); ++i) {
            const float* const row = gathered_row(y - m_windowY + static_cast<long long>(i));
            isEmpty = isEmpty && row == nullptr;
            m_rows[i] = row != nullptr ? row : m_tensors.m_zeros.data();
        }
        const auto sum = [&](auto& ring) { sum_rows(y, static_cast<std::size_t>(outputs), isEmpty, ring); };
        if constexpr (Dim == 3) {
            with_planar_ring(m_tensors, [&](auto& planar) { sum(planar.slices); });
        } else {
            sum(m_tensors.m_tensorRing);
        }
    }

    template <typename NumberT>
    void sum_rows(long long y, std::size_t outputs, bool isEmpty, CRing<NumberT>& ring) {
        std::array<NumberT*, static_cast<std::size_t>(ROW_BATCH)> out{};
        for (std::size_t j = 0; j < outputs; ++j) {
            const std::size_t at = static_cast<std::size_t>(y) + j;
            out[j] = ring.Row(m_z, at);
            m_tensors.m_isEmpty[m_tensors.empty_index(m_z, at)] = isEmpty ? 1 : 0;
            if (isEmpty) {
                std::fill_n(out[j], ring.Stride(), NumberT{});
            }
        }
        if (!isEmpty) {
            const SWindow& window = m_tensors.m_window[1];
            smooth(m_kernels,
                   SSmoothedRows<float, NumberT>{m_rows.data(), window.radius, window.weights.data(),
                                                 out.data(), outputs, ENTRIES * m_tensors.m_width});
        }
    }

    float* field_row(std::size_t field, long long y) {
        const std::size_t rows = field_rows(m_reachY);
        return m_fields.Row(field * rows + static_cast<std::size_t>(y) % rows);
    }
    float* derivative_row(std::size_t number, std::size_t row) {
        return m_derivatives.Row(number * static_cast<std::size_t>(ROW_BATCH) + row);
    }

    /// Filters row y of the slice along z and x.
    void make_fields(long long y) {
        std::array<float*, 3> across{};
        for (std::size_t order = 0; order < 3; ++order) {
            across[order] = m_across.Row(order) + margin(m_marginX);
        }
        filter_across(y, across);
        std::vector<const float*>& rows = m_rows;
        rows.resize(2 * m_marginX + 1);
        const SWeights& weights = m_tensors.m_derivative[0];
        for (std::size_t orderZ = 0; orderZ < 3; ++orderZ) {
            SFilteredRow job{rows.data(),
                             m_marginX,
                             {weights.of[0].data(), weights.of[1].data(), weights.of[2].data()},
                             {nullptr, nullptr, nullptr},
                             m_tensors.m_width};
            bool isWanted = false;
            for (std::size_t field = 0; field < m_recipe.fields.size(); ++field) {
                if (m_recipe.fields[field].orderZ == orderZ) {
                    job.out[m_recipe.fields[field].orderX] = field_row(field, y);
                    isWanted = true;
                }
            }
            if (!isWanted) {
                continue;
            }
            repeat_border(across[orderZ], m_tensors.m_width, m_marginX, 1);
            for (std::size_t k = 0; k < rows.size(); ++k) {
                rows[k] = across[orderZ] + k - m_marginX;
            }
            m_kernels.filter(job);
        }
    }

    void filter_across(long long y, const std::array<float*, 3>& out) {
        const auto row = static_cast<std::size_t>(y);
        if constexpr (Dim == 2) {
            std::copy_n(m_tensors.m_greyRing.Row(0, row), m_tensors.m_width, out[0]);
        } else {
            const SWeights& weights = m_tensors.m_derivative[2];
            const auto reach = static_cast<long long>(weights.radius);
            m_rows.resize(2 * weights.radius + 1);
            for (long long k = -reach; k <= reach; ++k) {
                m_rows[static_cast<std::size_t>(k + reach)] =
                    m_tensors.m_greyRing.Row(m_tensors.clamped(m_z + k), row);
            }
            SFilteredRow job{m_rows.data(),
                             weights.radius,
                             {weights.of[0].data(), weights.of[1].data(), weights.of[2].data()},
                             {nullptr, nullptr, nullptr},
                             m_tensors.m_width};
            for (const SField& field : m_recipe.fields) {
                job.out[field.orderZ] = out[field.orderZ];
            }
            m_kernels.filter(job);
        }
    }

    /// Votes or products of rows, and their sums along x.
    void make_votes(long long y, long long count) {
        const auto height = static_cast<long long>(m_tensors.m_height);
        for (; m_nextField < std::min(y + count + m_reachY, height); ++m_nextField) {
            make_fields(m_nextField);
        }
        make_derivatives(y, count);
        const bool isVoting = m_tensors.m_scales.kind == ELocalTensor::lineVotes;
        float* const votes = m_votes.Row(0) + BLOCK * m_windowX;
        if (isVoting) {
            std::fill_n(votes, BLOCK * m_tensors.m_width, 0.0F);
        }
        bool isEmpty = true;
        for (std::size_t row = 0; row < static_cast<std::size_t>(count); ++row) {
            std::array<const float*, 6> derivatives{};
            for (std::size_t number = 0; number < m_recipe.derivatives.size(); ++number) {
                derivatives[number] = derivative_row(number, row);
            }
            const bool isRowEmpty = isVoting ? !vote(derivatives, votes + ENTRIES * row)
                                             : !multiply(derivatives, votes + ENTRIES * row);
            m_isEmpty[gathered_slot(y, row)] = isRowEmpty;
            isEmpty = isEmpty && isRowEmpty;
        }
        if (!isVoting) {
            repeat_border(votes, m_tensors.m_width, m_windowX, BLOCK);
        }
        if (!isEmpty) {
            gather_along(y, static_cast<std::size_t>(count));
        }
    }
    std::size_t gathered_slot(long long y, std::size_t row) const {
        return (static_cast<std::size_t>(y) + row) % field_rows(m_windowY);
    }

    void make_derivatives(long long y, long long count) {
        const auto height = static_cast<long long>(m_tensors.m_height);
        const SWeights& weights = m_tensors.m_derivative[1];
        m_rows.resize(static_cast<std::size_t>(2 * m_reachY + count));
        std::array<float*, static_cast<std::size_t>(ROW_BATCH)> out{};
        for (std::size_t number = 0; number < m_recipe.derivatives.size(); ++number) {
            const SDerivative& wanted = m_recipe.derivatives[number];
            for (std::size_t i = 0; i < m_rows.size(); ++i) {
                m_rows[i] = field_row(wanted.field,
                                      std::clamp(y - m_reachY + static_cast<long long>(i), 0LL, height - 1));
            }
            for (std::size_t row = 0; row < static_cast<std::size_t>(count); ++row) {
                out[row] = derivative_row(number, row);
            }
            m_kernels.smooth({m_rows.data(), weights.radius, weights.bothSides[wanted.orderY].data(),
                              out.data(), static_cast<std::size_t>(count), m_tensors.m_width});
        }
    }

    /// Sums along x of the votes of `count` rows from y on.
    void gather_along(long long y, std::size_t count) {
        constexpr auto TOGETHER = static_cast<std::size_t>(ROW_BATCH);
        const SWindow& window = m_tensors.m_window[0];
        const std::size_t width = m_tensors.m_width;
        std::array<float*, TOGETHER> sums{};
        std::array<float*, TOGETHER> rows{};
        for (std::size_t i = 0; i < TOGETHER; ++i) {
            sums[i] = m_sums.Row(i);
            rows[i] = m_gathered.Row(gathered_slot(y, i));
        }
        m_rows.resize(TOGETHER + 2 * window.radius);
        for (std::size_t begin = 0; begin < width; begin += TOGETHER) {
            const std::size_t pixels = std::min(TOGETHER, width - begin);
            for (std::size_t i = 0; i < pixels + 2 * window.radius; ++i) {
                m_rows[i] = m_votes.Row(0) + BLOCK * (begin + i);
            }
            m_kernels.smooth(
                {m_rows.data(), window.radius, window.weights.data(), sums.data(), pixels, BLOCK});
            for (std::size_t i = 0; i < pixels; ++i) {
                for (std::size_t row = 0; row < count; ++row) {
                    std::memcpy(rows[row] + ENTRIES * (begin + i), sums[i] + ENTRIES * row,
                                ENTRIES * sizeof(float));
                }
            }
        }
    }

    /// @return whether there is any vote. Beyond the image there is none.
    bool vote(const std::array<const float*, 6>& hessian, float* votes) {
        std::size_t voting = 0;
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): an output
        std::array<unsigned short, SEGMENT_PIXELS> failed;
        for (std::size_t begin = 0; begin < m_tensors.m_width; begin += SEGMENT_PIXELS) {
            SVoteSegment segment{};
            for (std::size_t entry = 0; entry < ENTRIES; ++entry) {
                segment.hessian[entry] = hessian[entry] + begin;
            }
            segment.count = std::min(SEGMENT_PIXELS, m_tensors.m_width - begin);
            segment.squaredSigma = m_tensors.m_squaredSigma;
            segment.scale = HALF_SCALE;
            segment.votes = votes + BLOCK * begin;
            segment.pixelFloats = BLOCK;
            segment.failed = failed.data();
            const SVotesFound found = m_kernels.votes[Dim - 2](segment);
            voting += found.voting;
            for (std::size_t i = 0; i < found.failed; ++i) {
                vote_by_decomposition(segment, failed[i]);
            }
        }
        return voting > 0;
    }

    /// Where eigenvalues are close the strength hardly depends on which of their axes is taken.
    void vote_by_decomposition(const SVoteSegment& segment, std::size_t pixel) {
        std::array<double, Dim> axis{};
        const auto entry_of = [&](std::size_t entry) { return segment.hessian[entry][pixel]; };
        if (!decompose<Dim>(entry_of, EEigenvalue::smallest, axis)) {
            return;
        }
        double along = 0.0;
        double trace = 0.0;
        double squares = 0.0;
        std::size_t entry = 0;
        for (std::size_t i = 0; i < Dim; ++i) {
            for (std::size_t j = i; j < Dim; ++j) {
                const auto value = static_cast<double>(entry_of(entry++));
                const double count = i == j ? 1.0 : 2.0;
                along += count * value * axis[i] * axis[j];
                squares += count * value * value;
                trace += i == j ? value : 0.0;
            }
        }
        const double rest = trace - along;
        const double across =
            Dim == 2
                ? rest
                : 0.5 * rest + std::sqrt(std::max(0.5 * (squares - along * along) - 0.25 * rest * rest, 0.0));
        const double strength = segment.squaredSigma * (-across - std::abs(along));
        if (strength < LEAST_LINE_STRENGTH) {
            return;
        }
        entry = 0;
        for (std::size_t i = 0; i < Dim; ++i) {
            for (std::size_t j = i; j < Dim; ++j) {
                segment.votes[BLOCK * pixel + entry++] =
                    static_cast<float>(segment.scale * strength * strength * axis[i] * axis[j]);
            }
        }
    }

    bool multiply(const std::array<const float*, 6>& gradient, float* products) {
        m_kernels.products[Dim - 2](gradient.data(), m_tensors.m_width,
                                    static_cast<float>(HALF_SCALE * m_tensors.m_squaredSigma), BLOCK,
                                    products);
        return true;
    }

    CLocalTensors& m_tensors;
    const SPlaneKernels& m_kernels;
    long long m_z;
    SDerivatives m_recipe;
    std::size_t m_marginX;
    long long m_reachY;
    std::size_t m_windowX;
    long long m_windowY;
    CRows m_across;
    CRows m_fields;
    CRows m_derivatives;
    CRows m_votes;
    CRows m_sums; // of some pixels along x
    CRows m_gathered;
    std::vector<bool> m_isEmpty;
    std::vector<const float*> m_rows;
    long long m_nextVotes = 0;
    long long m_nextField = 0;
};

template <std::size_t Dim>
CLocalTensors<Dim>::CLocalTensors(const CSize& size, const SPlanes& slices, long long slabSlices,
                                  const SLocalScales& scales, const SGreyScale& grey, FillSlice fill,
                                  EInstructionSet set, const NewMemory& newMemory)
    : m_width(static_cast<std::size_t>(size[0])), m_height(static_cast<std::size_t>(size[1])),
      m_depth(Dim == 3 ? size[2] : 1), m_scales(scales), m_reach(ReachOf(scales, static_cast<int>(Dim))),
      m_grey(grey), m_fill(std::move(fill)), m_kernels(PlaneKernelsOf(set)),
      m_squaredSigma(scales.derivativeSigma * scales.derivativeSigma),
      m_zeros(RoundedToGroup(ENTRIES * m_width)) {
    for (std::size_t axis = 0; axis < Dim; ++axis) {
        const double spacing = scales.spacing[axis];
        const auto weights_of = [](const std::vector<SSampledKernel>& kernels) {
            SWeights weights;
            weights.radius = kernels.front().Radius();
            for (std::size_t order = 0; order < kernels.size(); ++order) {
                weights.of[order] = as_floats(kernels[order].weights);
                weights.bothSides[order] = both_sides(weights.of[order], order);
            }
            return weights;
        };
        m_derivative[axis] = weights_of({SampledSmoothing(scales.derivativeSigma, spacing),
                                         SampledFirstDerivative(scales.derivativeSigma, spacing),
                                         SampledSecondDerivative(scales.derivativeSigma, spacing)});
        const SSampledKernel window = SampledSmoothing(scales.windowSigma, spacing);
        m_lookUps.reach[axis] = m_reach.along[axis];
        m_window[axis] = {window.Radius(), both_sides(as_floats(window.weights), smoothed)};
    }
    double sum = 1.0;
    for (int step = 1; step <= ALONG_STEPS; ++step) {
        sum += 2.0 * std::exp(-0.5 * std::pow(step * ALONG_REACH_SIGMAS / ALONG_STEPS, 2));
    }
    m_lookUps.weights[0] = static_cast<float>(1.0 / sum);
    for (int step = 1; step <= ALONG_STEPS; ++step) {
        const double distance = step * ALONG_REACH_SIGMAS / ALONG_STEPS;
        m_lookUps.weights[step] = static_cast<float>(std::exp(-0.5 * distance * distance) / sum);
        for (std::size_t axis = 0; axis < Dim; ++axis) {
            m_lookUps.offsets[step - 1][axis] =
                static_cast<float>(distance * scales.along / scales.spacing[axis]);
        }
    }
    const SRingSlices kept = kept_slices(m_reach, slabSlices);
    m_greyRing = CRing<float>(kept.grey, m_height, m_width, newMemory);
    m_emptySlices = std::max(kept.planar, 1LL);
    m_isEmpty.resize(static_cast<std::size_t>(m_emptySlices) * m_height);
    if constexpr (Dim == 3) {
        with_planar_ring(*this, [&](auto& planar) {
            planar.slices =
                std::decay_t<decltype(planar.slices)>(kept.planar, m_height, ENTRIES * m_width, newMemory);
            planar.zeros.resize(RoundedToGroup(ENTRIES * m_width));
        });
    }
    m_tensorRing = CRing<float>(kept.tensors, m_height, ENTRIES * m_width, newMemory);
    m_tensorEnd = std::max(slices.first - m_reach.along[2], 0LL);
    m_planarEnd = std::max(m_tensorEnd - m_reach.window[2], 0LL);
    const SPlanes asked = GreySlices(size, slices, scales);
    m_greyEnd = asked.first;
    m_greyLimit = asked.end;
}

template <std::size_t Dim>
SPlanes CLocalTensors<Dim>::GreySlices(const CSize& size, const SPlanes& slices, const SLocalScales& scales) {
    if constexpr (Dim == 2) {
        return {0, 1};
    }
    const SLocalReach reach = ReachOf(scales, static_cast<int>(Dim));
    return {std::max(slices.first - reach.Total(2), 0LL), std::min(slices.end + reach.Total(2), size[2])};
}

template <std::size_t Dim>
std::size_t CLocalTensors<Dim>::Bytes(const CSize& size, long long slabSlices, const SLocalScales& scales) {
    const SRingSlices kept = kept_slices(ReachOf(scales, static_cast<int>(Dim)), slabSlices);
    const auto width = static_cast<std::size_t>(size[0]);
    const auto height = static_cast<std::size_t>(size[1]);
    return CRing<float>::Bytes(kept.grey, height, width) +
           (scales.kind == ELocalTensor::lineVotes
                ? CRing<HalfBits>::Bytes(kept.planar, height, ENTRIES * width)
                : CRing<float>::Bytes(kept.planar, height, ENTRIES * width)) +
           CRing<float>::Bytes(kept.tensors, height, ENTRIES * width);
}

/// In 2D tensors are complete when they are gathered within the slice.
template <std::size_t Dim>
typename CLocalTensors<Dim>::SRingSlices CLocalTensors<Dim>::kept_slices(const SLocalReach& reach,
                                                                         long long slabSlices) {
    if constexpr (Dim == 2) {
        return {1, 0, 1};
    }
    return {2 * reach.derivative[2] + 2 * BATCH, 2 * reach.window[2] + BATCH,
            2 * reach.along[2] + slabSlices};
}

template <std::size_t Dim>
template <typename TensorsT, typename UseT>
void CLocalTensors<Dim>::with_planar_ring(TensorsT& tensors, const UseT& use) {
    if (tensors.m_scales.kind == ELocalTensor::lineVotes) {
        use(tensors.m_planarVotes);
    } else {
        use(tensors.m_planarProducts);
    }
}

template <std::size_t Dim>
std::size_t CLocalTensors<Dim>::BytesPerTask(const CSize& size, const SLocalScales& scales) {
    return CPlaneWork::Floats(static_cast<std::size_t>(size[0]), ReachOf(scales, static_cast<int>(Dim)),
                              derivatives_of<Dim>(scales.kind)) *
           sizeof(float);
}

template <std::size_t Dim>
long long CLocalTensors<Dim>::clamped(long long z) const {
    return std::clamp(z, 0LL, m_depth - 1);
}

template <std::size_t Dim>
void CLocalTensors<Dim>::Prepare(const SPlanes& slab, ITaskRunner& runner) {
    const long long end = std::min(slab.end + m_reach.along[2], m_depth);
    while (m_tensorEnd < end) {
        make_tensors(std::min(m_tensorEnd + BATCH, end), runner);
    }
}

template <std::size_t Dim>
void CLocalTensors<Dim>::fill_grey(long long end) {
    for (; m_greyEnd < std::min(end, m_greyLimit); ++m_greyEnd) {
        float* const slice = m_greyRing.At(m_greyEnd);
        m_fill(m_greyEnd, slice, m_greyRing.Stride());
        for (std::size_t y = 0; y < m_height; ++y) {
            float* const row = slice + y * m_greyRing.Stride();
            std::transform(row, row + m_width, row,
                           [this](float grey) { return (grey - m_grey.offset) * m_grey.factor; });
            std::fill(row + m_width, row + m_greyRing.Stride(), 0.0F);
        }
    }
}

template <std::size_t Dim>
std::vector<typename CLocalTensors<Dim>::SBand>
CLocalTensors<Dim>::bands(long long planes, std::size_t leastRows, const ITaskRunner& runner) const {
    const long long tasks = runner.AtOnce() > 1 ? runner.AtOnce() * TASKS_PER_THREAD : 1;
    const auto wanted = static_cast<std::size_t>((tasks + planes - 1) / planes);
    const std::size_t count = std::min(wanted, std::max<std::size_t>(m_height / leastRows, 1));
    std::vector<SBand> result;
    for (std::size_t band = 0; band < count; ++band) {
        result.push_back({m_height * band / count, m_height * (band + 1) / count});
    }
    return result;
}

/// While slices are worked on, the grey values of the next ones are read.
template <std::size_t Dim>
void CLocalTensors<Dim>::make_planar(long long end, ITaskRunner& runner) {
    while (m_planarEnd < end) {
        const SPlanes planes{m_planarEnd, std::min(m_planarEnd + BATCH, end)};
        const long long needed = planes.end + m_reach.derivative[2];
        fill_grey(needed);
        const std::vector<SBand> parts = bands(planes.Count(), LEAST_FILTERED_ROWS, runner);
        const auto bandCount = static_cast<long long>(parts.size());
        runner.Run(1 + planes.Count() * bandCount, [&](long long task) {
            if (task == 0) {
                fill_grey(needed + BATCH);
                return;
            }
            const long long part = task - 1;
            CPlaneWork(*this, planes.first + part / bandCount)
                .Run(parts[static_cast<std::size_t>(part % bandCount)]);
        });
        m_planarEnd = planes.end;
    }
}

template <std::size_t Dim>
void CLocalTensors<Dim>::make_tensors(long long end, ITaskRunner& runner) {
    const SPlanes planes{m_tensorEnd, end};
    make_planar(std::min(planes.end + m_reach.window[2], m_depth), runner);
    if constexpr (Dim == 3) {
        const std::vector<SBand> parts = bands(1, LEAST_BAND_ROWS, runner);
        with_planar_ring(*this, [&](const auto& planar) {
            runner.Run(static_cast<long long>(parts.size()), [&](long long task) {
                gather_across(planes, parts[static_cast<std::size_t>(task)], planar);
            });
        });
    }
    m_tensorEnd = planes.end;
}

template <std::size_t Dim>
std::size_t CLocalTensors<Dim>::empty_index(long long z, std::size_t y) const {
    return static_cast<std::size_t>(z % m_emptySlices) * m_height + y;
}

template <std::size_t Dim>
template <typename NumberT>
void CLocalTensors<Dim>::gather_across(const SPlanes& planes, const SBand& band,
                                       const SPlanarRing<NumberT>& planar) {
    const SWindow& window = m_window[2];
    const auto reach = static_cast<long long>(window.radius);
    const auto outputs = static_cast<std::size_t>(planes.Count());
    std::vector<const NumberT*> rows(outputs + 2 * window.radius);
    std::vector<float*> out(outputs);
    for (std::size_t y = band.first; y < band.end; ++y) {
        bool isEmpty = true;
        for (std::size_t i = 0; i < rows.size(); ++i) {
            const long long z = planes.first - reach + static_cast<long long>(i);
            const bool isOutside = z < 0 || z >= m_depth;
            const long long at = clamped(z);
            if ((isOutside && m_scales.kind == ELocalTensor::lineVotes) ||
                m_isEmpty[empty_index(at, y)] != 0) {
                rows[i] = planar.zeros.data();
            } else {
                rows[i] = planar.slices.Row(at, y);
                isEmpty = false;
            }
        }
        for (std::size_t j = 0; j < outputs; ++j) {
            out[j] = m_tensorRing.Row(planes.first + static_cast<long long>(j), y);
            if (isEmpty) {
                std::fill_n(out[j], m_tensorRing.Stride(), 0.0F);
            }
        }
        if (!isEmpty) {
            smooth(m_kernels, SSmoothedRows<NumberT, float>{rows.data(), window.radius, window.weights.data(),
                                                            out.data(), outputs, ENTRIES * m_width});
        }
    }
}

template <std::size_t Dim>
EEigenvalue CLocalTensors<Dim>::Eigenvalue() const noexcept {
    return m_scales.kind == ELocalTensor::gradientProducts ? EEigenvalue::smallest : EEigenvalue::largest;
}

template <std::size_t Dim>
std::array<float*, Dim> CLocalTensors<Dim>::axes_of(CLocalWorkspace<Dim>& work) {
    std::array<float*, Dim> axes{};
    for (std::size_t component = 0; component < Dim; ++component) {
        axes[component] = work.m_axes[component].data();
    }
    return axes;
}

/// Positions of the foreground pixels of a segment. @return their number.
template <std::size_t Dim>
std::size_t CLocalTensors<Dim>::pick(const unsigned char* foreground, std::size_t begin,
                                     CLocalWorkspace<Dim>& work) const {
    const std::size_t length = std::min(SEGMENT_PIXELS, m_width - begin);
    std::size_t count = 0;
    for (std::size_t x = 0; x < length; ++x) {
        work.m_pixels[count] = static_cast<unsigned short>(x);
        count += foreground[begin + x] != 0 ? 1 : 0;
    }
    return count;
}

/// Axes of the packed tensors, to look along.
template <std::size_t Dim>
void CLocalTensors<Dim>::find_axes(const std::array<float*, ENTRIES>& entries, std::size_t count,
                                   CLocalWorkspace<Dim>& work) const {
    const EEigenvalue which = Eigenvalue();
    const auto axes = axes_of(work);
    const std::size_t failed = m_kernels.axes[Dim - 2](entries.data(), count, which == EEigenvalue::smallest,
                                                       axes.data(), work.m_failed.data());
    for (std::size_t i = 0; i < failed; ++i) {
        const std::size_t at = work.m_failed[i];
        std::array<double, Dim> axis{};
        const auto entry_of = [&](std::size_t entry) { return entries[entry][at]; };
        if (!decompose<Dim>(entry_of, which, axis)) {
            axis = {};
            axis[0] = 1.0;
        }
        for (std::size_t component = 0; component < Dim; ++component) {
            axes[component][at] = static_cast<float>(axis[component]);
        }
    }
}

/// Whether a packed tensor has anything to see a direction by.
template <std::size_t Dim>
bool CLocalTensors<Dim>::has_direction(const std::array<float*, ENTRIES>& entries, std::size_t at) {
    float trace = 0.0F;
    for (std::size_t entry = 0, axis = 0; axis < Dim; entry += Dim - axis, ++axis) {
        trace += entries[entry][at];
    }
    return trace > 0.0F && std::isfinite(trace);
}

/// Where the tensors around a slice stand.
template <std::size_t Dim>
STensorVolume CLocalTensors<Dim>::volume_around(long long z, CLocalWorkspace<Dim>& work) const {
    STensorVolume volume{};
    volume.extents[0] = static_cast<long long>(m_width);
    volume.extents[1] = static_cast<long long>(m_height);
    volume.extents[2] = m_depth;
    volume.rowFloats = m_tensorRing.Stride();
    volume.firstSlice = std::max(z - m_reach.along[2], 0LL);
    work.m_planes.clear();
    for (long long at = volume.firstSlice; at <= std::min(z + m_reach.along[2], m_depth - 1); ++at) {
        work.m_planes.push_back(m_tensorRing.At(at));
    }
    volume.planes = work.m_planes.data();
    return volume;
}

template <std::size_t Dim>
void CLocalTensors<Dim>::FindMatrices(long long z, std::size_t y, const unsigned char* foreground,
                                      const std::array<float*, ENTRIES>& rows, float* confidence,
                                      CLocalWorkspace<Dim>& work) const {
    std::fill_n(confidence, m_width, 0.0F);
    const STensorVolume volume = volume_around(z, work);
    const float* const own = m_tensorRing.Row(z, y);
    for (std::size_t begin = 0; begin < m_width; begin += SEGMENT_PIXELS) {
        const std::size_t count = pick(foreground, begin, work);
        if (count == 0) {
            continue;
        }
        std::array<float*, ENTRIES> entries = rows;
        for (float*& entry : entries) {
            entry += begin;
        }
        m_kernels.gather[Dim - 2](own + ENTRIES * begin, work.m_pixels.data(), count, entries.data());
        if (m_scales.along > 0.0) {
            find_axes(entries, count, work);
            m_kernels.lookUp[Dim - 2](volume, m_lookUps, work.m_pixels.data(), count,
                                      static_cast<long long>(begin), static_cast<long long>(y), z,
                                      axes_of(work).data(), entries.data());
        }
        m_kernels.confidence[Dim - 2](entries.data(), count, Eigenvalue() == EEigenvalue::smallest,
                                      work.m_confidence.data());
        for (std::size_t i = 0; i < count; ++i) {
            confidence[begin + work.m_pixels[i]] = work.m_confidence[i];
            if (work.m_confidence[i] == 0.0F && !has_direction(entries, i)) {
                for (float* const entry : entries) {
                    entry[i] = std::numeric_limits<float>::quiet_NaN();
                }
            }
        }
    }
}

template class CLocalTensors<2>;
template class CLocalTensors<3>;

} // namespace TEVRA::Impl
