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
    using NewMemory = std::function<RowMemory(std::size_t bytes)>;
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
    /// zz]; receive the foreground's, packed (EPlaces), and have PACKING_ROOM behind the row. @param confidence in
    /// [0, 1]; 0 in the background and where there is no direction.
    void FindMatrices(long long z, std::size_t y, const unsigned char* foreground,
                      const std::array<float*, ENTRIES>& rows, float* confidence,
                      CLocalWorkspace<Dim>& workspace) const;

  private:
    /// Weights of smoothing, first and second derivative in single precision.
    struct SWeights {
        std::size_t radius = 0;
        std::array<std::vector<float>, 3> of;        // at distance 0 to radius
        std::array<std::vector<float>, 3> bothSides; // the same from -radius to radius
    };
    /// Weights of a window, from -radius to radius.
    struct SWindow {
        std::size_t radius = 0;
        std::vector<float> weights;
    };
    struct SBand {
        std::size_t first, end;
    };

    /// Slices of some step, the last few of them; rows of `rowNumbers` numbers each.
    template <typename NumberT>
    class CRing {
      public:
        CRing() = default;
        CRing(long long slices, std::size_t rows, std::size_t rowNumbers, const NewMemory& newMemory);
        NumberT* At(long long z) { return numbers() + slot(z); }
        const NumberT* At(long long z) const { return numbers() + slot(z); }
        NumberT* Row(long long z, std::size_t y) { return At(z) + y * m_stride; }
        const NumberT* Row(long long z, std::size_t y) const { return At(z) + y * m_stride; }
        std::size_t Stride() const { return m_stride; }
        /// Memory of such a ring.
        static std::size_t Bytes(long long slices, std::size_t rows, std::size_t rowNumbers);

      private:
        NumberT* numbers() const { return static_cast<NumberT*>(m_memory.get()); }
        std::size_t slot(long long z) const {
            return static_cast<std::size_t>(z % m_slices) * m_sliceNumbers;
        }
        long long m_slices = 1;
        std::size_t m_stride = 0;
        std::size_t m_sliceNumbers = 0;
        RowMemory m_memory;
    };
    /// Tensors gathered within slices, to be gathered across them.
    template <typename NumberT>
    struct SPlanarRing {
        CRing<NumberT> slices;
        std::vector<NumberT> zeros; // a row of nothing
    };
    class CPlaneWork;

    /// How many slices of each step are kept.
    struct SRingSlices {
        long long grey, planar, tensors;
    };
    static SRingSlices kept_slices(const SLocalReach& reach, long long slabSlices);
    /// Calls `use` with the ring in use. Votes are kept in half the memory: their sum across slices evens out what
    /// that rounds away. The axis of products is that of their smallest eigenvalue, which the rounding of the
    /// largest would drown.
    template <typename TensorsT, typename UseT>
    static void with_planar_ring(TensorsT& tensors, const UseT& use);
    std::size_t pick(const unsigned char* foreground, std::size_t begin, CLocalWorkspace<Dim>& work) const;
    void find_axes(const std::array<float*, ENTRIES>& entries, std::size_t count,
                   CLocalWorkspace<Dim>& work) const;
    static bool has_direction(const std::array<float*, ENTRIES>& entries, std::size_t at);
    static std::array<float*, Dim> axes_of(CLocalWorkspace<Dim>& work);
    void fill_grey(long long end);
    void make_planar(long long end, ITaskRunner& runner);
    void make_tensors(long long end, ITaskRunner& runner);
    template <typename NumberT>
    void gather_across(const SPlanes& planes, const SBand& band, const SPlanarRing<NumberT>& planar);
    STensorVolume volume_around(long long z, CLocalWorkspace<Dim>& work) const;
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
    std::array<SWindow, 3> m_window;
    SLookUps m_lookUps{};
    double m_squaredSigma;
    CRing<float> m_greyRing;
    SPlanarRing<HalfBits> m_planarVotes; // gathered within slices, or ...
    SPlanarRing<float> m_planarProducts;
    CRing<float> m_tensorRing;            // gathered across slices, too
    long long m_emptySlices = 1;          // as many as the planar ring has, one in 2D
    std::vector<unsigned char> m_isEmpty; // by these slices and row: no votes
    std::vector<float> m_zeros;
    long long m_greyEnd;
    long long m_greyLimit;
    long long m_planarEnd;
    long long m_tensorEnd;
};

/// Memory for one thread that finds axes.
template <std::size_t Dim>
class CLocalWorkspace {
  public:
    static constexpr std::size_t ROOM = SEGMENT_PIXELS + PACKING_ROOM;

  private:
    friend class CLocalTensors<Dim>;

    std::array<std::array<float, ROOM>, Dim> m_axes{};
    std::array<float, ROOM> m_confidence{};
    std::array<unsigned short, ROOM> m_pixels{};
    std::array<unsigned short, ROOM> m_failed{};
    std::vector<const float*> m_planes;
};

extern template class CLocalTensors<2>;
extern template class CLocalTensors<3>;

} // namespace TEVRA::Impl
