// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "stream/Checkpoint.h"
#include "stream/Communicator.h"
#include "stream/GreySlices.h"
#include "stream/ScratchStore.h"
#include "stream/SliceRange.h"
#include "stream/SliceSink.h"
#include "stream/Workers.h"

#include "Axes/AxisScan.h"
#include "Axes/ConfidenceSums.h"
#include "zeklib2image/Size.h"

#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace TEVRA::stream {

struct SMemoryPlan;

/// A length that a stage works with.
struct SScale {
    const char* name; ///< as in "gradient_sigma", for records
    double length;    ///< in the unit of the spacing
};

/// What a stage is made for.
struct SStageSetup {
    CSize imageSize;
    double fiberRadius = 0.0;                     ///< in the unit of the spacing
    std::array<double, 3> spacing{1.0, 1.0, 1.0}; ///< per axis
    /// Lengths that an estimator is given in place of its own choice, in the unit of the spacing; each estimator takes
    /// those that it has.
    std::optional<double> along{}; ///< tensors are averaged along the axis with this standard deviation
    std::optional<double> gradientSigma{}; ///< of the structure tensor's gradients
    std::optional<double> windowSigma{};   ///< of the structure tensor's window
};

/// The volumes that a stage keeps in the scratch store.
struct SStageScratch {
    int volumes = 1; ///< floats per pixel of the image
    /// Slices of neighbouring processes beyond either end of the own ones that there must be room for.
    long long roomSlices = 0;
    /// Slices below and above that the matrices of a slice are made of; not more than the room.
    long long reachSlices = 0;
};

/// How the work is cut, as far as the memory of a stage's passes depends on it.
struct SStageCut {
    long long ownSlices = 1; ///< of the process with most of them
    std::size_t slicePixels = 1;
    std::size_t stripPixels = 1;
    int threads = 1;
    int processes = 1;
    SScratchPlace::EKind scratchKind = SScratchPlace::EKind::memory;
};

/// What the passes of a stage work with; lent by the analysis.
struct SStageContext {
    CGreySlices& grey;
    CScratchStore& store;
    SSliceRange own;     ///< slices of this process
    long long depth = 1; ///< slices of the image
    const SMemoryPlan& plan;
    CWorkers& workers;
    ICommunicator& ranks;
    ISliceSink* sink = nullptr; ///< for grey values; null if nobody wants them
    /// Receives the range of the file's values and the extent of the volume that the foreground is found in, of
    /// all processes.
    SSmoothed& found;
};

/// A pass of a stage over the image.
struct SStagePass {
    const char* name; ///< for progress, times and run.json
    std::function<void(const SStageContext& context)> run;
};

/// From the grey image to rows of symmetric matrices whose eigenvectors are the axes: what one estimator is to
/// an analysis slice by slice. All else (threshold, angles, sums, maps, results) is the same for all of them.
///
/// Passes fill the scratch volumes. Then, slab by slab, `Prepare` is called, and rows of matrices are asked for
/// by several threads, each with an object of its own.
class IAxisStage {
  public:
    IAxisStage() = default;
    IAxisStage(const IAxisStage&) = delete;
    IAxisStage& operator=(const IAxisStage&) = delete;
    virtual ~IAxisStage();

    /// All that the scratch volumes depend on besides the image, in one line: a later run goes on with them only
    /// if its own says the same.
    virtual std::string Fingerprint() const = 0;
    virtual SStageScratch Scratch() const = 0;
    /// For records.
    virtual std::vector<SScale> Scales() const { return {}; }

    /// In order; fill the own slices of the volumes.
    virtual std::vector<SStagePass> Passes() const = 0;
    /// Most memory of a pass besides scratch volumes and slabs of the image.
    virtual std::size_t PassBytes(const SStageCut& cut) const = 0;

    /// The volume that is held against the threshold where no mask is given.
    virtual int ForegroundVolume() const { return 0; }
    /// Which eigenvalue's vector the axis is.
    virtual Impl::EEigenvalue Eigenvalue() const = 0;
    /// What the confidence of rows tells, if they have one.
    virtual Impl::EConfidence Confidence() const { return Impl::EConfidence::none; }

    /// Slices that a slab has where memory allows: enough for threads not to wait for each other all the time.
    virtual long long SlabSlices(long long slicePixels) const {
        constexpr long long PIXELS = 1LL << 21;
        return (PIXELS + slicePixels - 1) / slicePixels;
    }
    /// Readies the slices of a slab, in ascending order, for instance a ring of slices that reaches farther than
    /// the slab. The store has the slices that other processes own, up to the reach.
    virtual void Prepare(const SSliceRange& /*slab*/, const SStageContext& /*context*/) {}
    /// Memory of what `Prepare` readies.
    virtual std::size_t PreparedBytes(long long /*slabSlices*/, std::size_t /*slicePixels*/) const {
        return 0;
    }

    /// Rows for one thread, in 2D and in 3D. @param store outlives them, as does the stage.
    virtual std::unique_ptr<Impl::IMatrixRows<2>> NewRows2(const CScratchStore& store) const = 0;
    virtual std::unique_ptr<Impl::IMatrixRows<3>> NewRows3(const CScratchStore& store) const = 0;
    /// Memory of such an object.
    virtual std::size_t RowBytes() const = 0;
};

/// Rows of one dimension.
template <std::size_t Dim>
std::unique_ptr<Impl::IMatrixRows<Dim>> NewRows(const IAxisStage& stage, const CScratchStore& store) {
    if constexpr (Dim == 3) {
        return stage.NewRows3(store);
    } else {
        return stage.NewRows2(store);
    }
}

/// An estimator, as the analysis and its front ends know it.
struct SEstimator {
    const char* name = "";   ///< as in "hessian": for records and options
    double otsuFactor = 1.0; ///< by which Otsu's threshold is multiplied unless told otherwise
    double borderRadii =
        0.0; ///< fiber radii that are left out at every edge of the image unless told otherwise
    std::unique_ptr<IAxisStage> (*newStage)(const SStageSetup& setup) = nullptr;
    bool takesUnequalSpacing = false;
    bool averagesAlong = false; ///< whether `along` is a length of it
    bool hasWindow = false;     ///< whether `gradientSigma` and `windowSigma` are
};

} // namespace TEVRA::stream
