// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "LocalTensors/LocalTensors.h"

#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

namespace TEVRA::Impl {

/// An image smoothed by sampled Gaussians (SampledKernels.h), slice by slice in ascending order, with the
/// border's pixels repeated. For small sigmas, which recursive filters do not reach. Keeps as many slices of
/// grey values as the kernel reaches. Results do not depend on how tasks are run or on the range of slices.
class CDirectSmoothing {
  public:
    /// Writes the grey values of slice `z` into `rows`, row y at `rows + y * rowFloats`; must be finite.
    using FillSlice = std::function<void(long long z, float* rows, std::size_t rowFloats)>;

    /// @param size of the image, 2 or 3 dimensions. @param slices that are wanted. @param sigma in the unit
    /// of `spacing`.
    CDirectSmoothing(const CSize& size, const SPlanes& slices, double sigma,
                     const std::array<double, 3>& spacing, FillSlice fill,
                     EInstructionSet set = InstructionSetInUse());

    /// Slices of grey values that are asked for.
    static SPlanes GreySlices(const CSize& size, const SPlanes& slices, double sigma,
                              const std::array<double, 3>& spacing);
    /// Memory of the grey values kept.
    static std::size_t Bytes(const CSize& size, double sigma, const std::array<double, 3>& spacing);

    /// Slices that are smoothed at a time at most: threads wait for each other less often.
    static constexpr long long MOST_AT_ONCE = 4;

    /// Smooths the next slices. @param out width times height pixels of each without gaps. @param slices 1 to
    /// MOST_AT_ONCE, none behind the last.
    void Next(float* out, ITaskRunner& runner, long long slices = 1);

  private:
    struct SAxis {
        std::size_t radius = 0;
        std::vector<float> weights;
    };

    static long long kept_slices(const CSize& size, std::size_t reach);
    void fill_until(long long end);
    void smooth_rows(long long z, std::size_t begin, std::size_t end, float* out) const;
    const float* grey_row(long long z, std::size_t y) const;

    std::size_t m_width;
    std::size_t m_height;
    long long m_depth;
    FillSlice m_fill;
    const SPlaneKernels& m_kernels;
    std::array<SAxis, 3> m_axes;
    std::size_t m_stride;
    long long m_kept; // slices
    std::unique_ptr<float[]> m_grey;
    long long m_greyEnd;
    long long m_greyLimit;
    long long m_next;
};

} // namespace TEVRA::Impl
