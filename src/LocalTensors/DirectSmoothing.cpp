// SPDX-License-Identifier: BSD-3-Clause
#include "LocalTensors/DirectSmoothing.h"

#include <algorithm>
#include <utility>

namespace TEVRA::Impl {
namespace {

/// Rows that a task smooths at least: it goes through as many as the kernel reaches beyond them, too.
constexpr long long LEAST_BAND_ROWS = 64;
/// Tasks for each thread, so that none waits long for the others.
constexpr long long TASKS_PER_THREAD = 4;

std::size_t reach_of(double sigma, double spacing) {
    return SampledSmoothing(sigma, spacing).Radius();
}

} // namespace

CDirectSmoothing::CDirectSmoothing(const CSize& size, const SPlanes& slices, double sigma,
                                   const std::array<double, 3>& spacing, FillSlice fill, EInstructionSet set)
    : m_width(static_cast<std::size_t>(size[0])), m_height(static_cast<std::size_t>(size[1])),
      m_depth(size.Dim() == 3 ? size[2] : 1), m_fill(std::move(fill)), m_kernels(PlaneKernelsOf(set)),
      m_stride(RoundedToGroup(m_width)), m_next(slices.first) {
    for (std::size_t axis = 0; axis < static_cast<std::size_t>(size.Dim()); ++axis) {
        const SSampledKernel kernel = SampledSmoothing(sigma, spacing[axis]);
        m_axes[axis].radius = kernel.Radius();
        m_axes[axis].weights.assign(kernel.weights.begin(), kernel.weights.end());
    }
    m_kept = kept_slices(size, m_axes[2].radius);
    m_grey = std::make_unique<float[]>(static_cast<std::size_t>(m_kept) * m_height * m_stride);
    const SPlanes asked = GreySlices(size, slices, sigma, spacing);
    m_greyEnd = asked.first;
    m_greyLimit = asked.end;
}

SPlanes CDirectSmoothing::GreySlices(const CSize& size, const SPlanes& slices, double sigma,
                                     const std::array<double, 3>& spacing) {
    if (size.Dim() == 2) {
        return {0, 1};
    }
    const auto reach = static_cast<long long>(reach_of(sigma, spacing[2]));
    return {std::max(slices.first - reach, 0LL), std::min(slices.end + reach, size[2])};
}

std::size_t CDirectSmoothing::Bytes(const CSize& size, double sigma, const std::array<double, 3>& spacing) {
    const long long kept = kept_slices(size, size.Dim() == 3 ? reach_of(sigma, spacing[2]) : 0);
    return static_cast<std::size_t>(kept) * static_cast<std::size_t>(size[1]) *
           RoundedToGroup(static_cast<std::size_t>(size[0])) * sizeof(float);
}

/// Those at work, their neighbours, and those that are read ahead.
long long CDirectSmoothing::kept_slices(const CSize& size, std::size_t reach) {
    return size.Dim() == 3 ? std::min(2 * static_cast<long long>(reach) + 2 * MOST_AT_ONCE, size[2]) : 1;
}

void CDirectSmoothing::fill_until(long long end) {
    for (; m_greyEnd < std::min(end, m_greyLimit); ++m_greyEnd) {
        m_fill(m_greyEnd, m_grey.get() + static_cast<std::size_t>(m_greyEnd % m_kept) * m_height * m_stride,
               m_stride);
    }
}

const float* CDirectSmoothing::grey_row(long long z, std::size_t y) const {
    const long long slice = std::clamp(z, 0LL, m_depth - 1) % m_kept;
    return m_grey.get() + (static_cast<std::size_t>(slice) * m_height + y) * m_stride;
}

void CDirectSmoothing::Next(float* out, ITaskRunner& runner, long long slices) {
    const long long first = m_next;
    m_next += slices;
    const long long needed = m_next + static_cast<long long>(m_axes[2].radius);
    fill_until(needed);
    const auto height = static_cast<long long>(m_height);
    const long long tasks = runner.AtOnce() > 1 ? TASKS_PER_THREAD * runner.AtOnce() : 1;
    const long long bands =
        std::clamp((tasks + slices - 1) / slices, 1LL, std::max(height / LEAST_BAND_ROWS, 1LL));
    runner.Run(1 + slices * bands, [&](long long task) {
        if (task == 0) {
            fill_until(needed + MOST_AT_ONCE); // the next ones, while these are smoothed
            return;
        }
        const long long slice = (task - 1) / bands;
        const long long band = (task - 1) % bands;
        smooth_rows(first + slice, static_cast<std::size_t>(height * band / bands),
                    static_cast<std::size_t>(height * (band + 1) / bands),
                    out + static_cast<std::size_t>(slice) * m_width * m_height);
    });
}

/// Across slices, along rows, across rows.
void CDirectSmoothing::smooth_rows(long long z, std::size_t begin, std::size_t end, float* out) const {
    const SAxis& alongX = m_axes[0];
    const SAxis& alongY = m_axes[1];
    const SAxis& alongZ = m_axes[2];
    const auto reachY = static_cast<long long>(alongY.radius);
    const auto reachZ = static_cast<long long>(alongZ.radius);
    const auto height = static_cast<long long>(m_height);
    const std::size_t keptRows = 2 * alongY.radius + 1;
    std::vector<float> across(RoundedToGroup(m_width + 2 * alongX.radius) + ROW_GROUP);
    std::vector<float> kept(keptRows * m_stride);
    std::vector<float> smoothed(m_stride);
    std::vector<const float*> rows;
    const auto filter = [&](const SAxis& axis, float* to) {
        m_kernels.filter({rows.data(),
                          axis.radius,
                          {axis.weights.data(), nullptr, nullptr},
                          {to, nullptr, nullptr},
                          m_width});
    };
    const auto row_of = [&](long long y) {
        return kept.data() + static_cast<std::size_t>(y) % keptRows * m_stride;
    };
    long long next = std::max(static_cast<long long>(begin) - reachY, 0LL);
    for (long long y = static_cast<long long>(begin); y < static_cast<long long>(end); ++y) {
        for (; next <= std::min(y + reachY, height - 1); ++next) {
            float* const line = across.data() + alongX.radius;
            if (reachZ > 0) {
                rows.clear();
                for (long long k = -reachZ; k <= reachZ; ++k) {
                    rows.push_back(grey_row(z + k, static_cast<std::size_t>(next)));
                }
                filter(alongZ, line);
            } else {
                std::copy_n(grey_row(z, static_cast<std::size_t>(next)), m_width, line);
            }
            std::fill_n(across.data(), alongX.radius, line[0]);
            std::fill_n(line + m_width, alongX.radius, line[m_width - 1]);
            rows.clear();
            for (std::size_t k = 0; k <= 2 * alongX.radius; ++k) {
                rows.push_back(across.data() + k);
            }
            filter(alongX, row_of(next));
        }
        rows.clear();
        for (long long k = -reachY; k <= reachY; ++k) {
            rows.push_back(row_of(std::clamp(y + k, 0LL, height - 1)));
        }
        filter(alongY, smoothed.data());
        std::copy_n(smoothed.data(), m_width, out + static_cast<std::size_t>(y) * m_width);
    }
}

} // namespace TEVRA::Impl
