// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Axes/HessianAxis.h"
#include "LocalTensors/KernelChoice.h"
#include "LocalTensors/RowMemory.h"
#include "LocalTensors/SampledKernels.h"
#include "LocalTensors/Scales.h"
#include "Utils/TaskRunner.h"
#include "zeklib2image/Size.h"

#include <array>
#include <cstddef>
#include <functional>
#include <vector>

namespace TEVRA::Impl {

/// Grey values as the estimate takes them: (value - offset) * factor, so that the image's values span 1. A
/// negative factor makes dark fibers bright.
struct SGreyScale {
    float offset = 0.0F;
    float factor = 1.0F;
};

/// Slices `first` to `end` - 1.
struct SPlanes {
    long long first = 0;
    long long end = 0;

    long long Count() const noexcept { return end - first; }
};

/// What the row steps need besides the planes; one per thread.
template <std::size_t Dim>
class CLocalWorkspace;

/// Axes from what is gathered at every pixel from its neighbours: line votes or gradient products (Scales.h).
///
/// Works through an image slice by slice and keeps only as many slices of each step as the next step reaches,
/// in rings. Grey values come from a function, slice by slice in ascending order, each once; it may be called by
/// any of the runner's threads.
///
///     CLocalTensors<3> tensors(size, slices, slabSlices, scales, grey, fill);
///     for (each slab) {
///         tensors.Prepare(slab, runner);
///         for (z in slab) { for (y ...) { tensors.FindMatrices(z, y, foreground, rows, workspace); } }
///     }
///
/// The axis is the matrices' eigenvector of `Eigenvalue()`.
///
/// Numbers do not depend on how tasks are run or on how the image is cut into ranges of slices.
template <std::size_t Dim>
class CLocalTensors {
  public:
    /// Writes the grey values of slice `z` into `rows`, row y at `rows + y * rowFloats`; must be finite.
    using FillSlice = std::function<void(long long z, float* rows, std::size_t rowFloats)>;
    /// Gives memory for so many numbers.
    using NewMemory = std::function<RowMemory(std::size_t floats)>;
    static constexpr std::size_t ENTRIES = Dim * (Dim + 1) / 2;

    /// @param size of the image. @param slices whose matrices are wanted. @param slabSlices at most prepared at a
    /// time. @param newMemory for the rings, whose slices are gone through in all directions: huge pages pay.
    CLocalTensors(const CSize& size, const SPlanes& slices, long long slabSlices, const SLocalScales& scales,
                  const SGreyScale& grey, FillSlice fill, EInstructionSet set = InstructionSetInUse(),
                  const NewMemory& newMemory = NewRowMemory);

    /// Slices of grey values that are asked for.
    static SPlanes GreySlices(const CSize& size, const SPlanes& slices, const SLocalScales& scales);
    /// Memory of the rings.
    static std::size_t Bytes(const CSize& size, long long slabSlices, const SLocalScales& scales);
    /// Memory of one thread's share of the work of `Prepare`.
    static std::size_t BytesPerTask(const CSize& size, const SLocalScales& scales);

    /// Makes the slices of a slab ready; slabs come in ascending order without gaps.
    void Prepare(const SPlanes& slab, ITaskRunner& runner);

    /// Which eigenvector of the matrices is the axis: that of the largest or the smallest eigenvalue, none of which is
    /// negative.
    EEigenvalue Eigenvalue() const noexcept;

    /// The matrices of the foreground pixels of a row of a prepared slice, and how sure their axes are; may be
    /// called by several threads at a time. Matrices are NaN where there is nothing to see a direction by.
    /// @param foreground one byte per pixel, not 0 for foreground. @param rows one per entry xx, xy[, xz], yy[, yz,
    /// zz]; written in the foreground only. @param confidence in [0, 1]; 0 in the background and where there is no
    /// direction.
    void FindMatrices(long long z, std::size_t y, const unsigned char* foreground,
                      const std::array<float*, ENTRIES>& rows, float* confidence,
                      CLocalWorkspace<Dim>& workspace) const;

  private:
    /// A kernel's weights in single precision.
    struct SWeights {
        std::size_t radius = 0;
        std::array<std::vector<float>, 3> of;        // smoothing, first, second derivative
        std::array<std::vector<float>, 3> bothSides; // the same from -radius to radius
    };
    struct SBand {
        std::size_t first, end;
    };

    /// Slices of some step, the last few of them.
    class CRing {
      public:
        CRing() = default;
        CRing(long long slices, std::size_t sliceFloats, const NewMemory& newMemory);
        float* At(long long z) { return m_memory.get() + slot(z); }
        const float* At(long long z) const { return m_memory.get() + slot(z); }

      private:
        std::size_t slot(long long z) const { return static_cast<std::size_t>(z % m_slices) * m_sliceFloats; }
        long long m_slices = 1;
        std::size_t m_sliceFloats = 0;
        RowMemory m_memory;
    };
    class CPlaneWork;

    std::size_t pick(const unsigned char* foreground, std::size_t begin, CLocalWorkspace<Dim>& work) const;
    void find_axes(std::size_t count, CLocalWorkspace<Dim>& work) const;
    static std::array<float*, ENTRIES> entries_of(CLocalWorkspace<Dim>& work);
    static std::array<double*, Dim> axes_of(CLocalWorkspace<Dim>& work);
    void fill_grey(long long end);
    void make_planar(long long end, ITaskRunner& runner);
    void make_tensors(long long end, ITaskRunner& runner);
    void gather_across(const SPlanes& planes, const SBand& band);
    std::vector<SBand> bands(long long planes, std::size_t leastRows, const ITaskRunner& runner) const;
    long long clamped(long long z) const;
    std::size_t empty_index(long long z, std::size_t y) const;

    std::size_t m_width;
    std::size_t m_height;
    long long m_depth;
    SLocalScales m_scales;
    SLocalReach m_reach;
    SGreyScale m_grey;
    FillSlice m_fill;
    const SPlaneKernels& m_kernels;
    std::array<SWeights, 3> m_derivative; // by axis
    std::array<SWeights, 3> m_window;
    SLookUps m_lookUps{};
    double m_squaredSigma;
    std::size_t m_greyStride;
    std::size_t m_tensorStride;
    CRing m_greyRing;
    CRing m_planarRing;                   // gathered within slices
    CRing m_tensorRing;                   // gathered across slices, too
    std::vector<unsigned char> m_isEmpty; // by slice of the planar ring and row: no votes
    RowMemory m_zeros;
    long long m_greyEnd;
    long long m_greyLimit;
    long long m_planarEnd;
    long long m_tensorEnd;
};

/// Memory for one thread that finds axes.
template <std::size_t Dim>
class CLocalWorkspace {
  public:
    static constexpr std::size_t ENTRIES = Dim * (Dim + 1) / 2;
    static constexpr std::size_t ROOM = SEGMENT_PIXELS + PACKING_ROOM;

  private:
    friend class CLocalTensors<Dim>;

    std::array<std::array<float, ROOM>, ENTRIES> m_entries{};
    std::array<std::array<double, ROOM>, Dim> m_axes{};
    std::array<float, ROOM> m_confidence{};
    std::array<unsigned short, ROOM> m_pixels{};
    std::array<unsigned short, ROOM> m_failed{};
    std::vector<const float*> m_planes;
};

extern template class CLocalTensors<2>;
extern template class CLocalTensors<3>;

} // namespace TEVRA::Impl
