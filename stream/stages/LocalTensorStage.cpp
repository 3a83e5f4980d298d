// SPDX-License-Identifier: BSD-3-Clause
#include "stream/HugePages.h"
#include "stream/MemoryPlan.h"
#include "stream/stages/Estimators.h"
#include "stream/stages/GreyRows.h"
#include "stream/stages/VolumeSmoothing.h"

#include "LocalTensors/DirectSmoothing.h"
#include "LocalTensors/LocalTensorRows.h"
#include "VexoBase/ProgressMonitor.h"
#include "volume/Failure.h"

#include <algorithm>
#include <array>
#include <ios>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace TEVRA::stream {
namespace {

/// Up to so many radii from the image's edges neighbours are missing.
constexpr double BORDER_RADII = 2.0;

/// Axes from what is gathered from neighbours (LocalTensors.h). The scratch store holds the image as the foreground
/// is found in it; tensors are made from the image itself, slab by slab.
class CLocalTensorStage : public IAxisStage {
  public:
    CLocalTensorStage(const SStageSetup& setup, const Impl::SLocalScales& scales)
        : m_size(setup.imageSize), m_radius(setup.fiberRadius), m_scales(scales) {}

    std::string Fingerprint() const override {
        std::ostringstream text;
        text << std::hexfloat << "smoothed directly, sigma " << foreground_sigma() << ", spacing";
        for (const double spacing : m_scales.spacing) {
            text << ' ' << spacing;
        }
        return text.str();
    }
    SStageScratch Scratch() const override { return {1, 0, 0}; }
    std::vector<SScale> Scales() const override {
        const bool votes = m_scales.kind == Impl::ELocalTensor::lineVotes;
        return {{"foreground_sigma", foreground_sigma()},
                {votes ? "sigma" : "gradient_sigma", m_scales.derivativeSigma},
                {votes ? "rho" : "window", m_scales.windowSigma},
                {"along", m_scales.along}};
    }

    std::vector<SStagePass> Passes() const override {
        return {{"foreground", [this](const SStageContext& context) { smooth_foreground(context); }}};
    }
    std::size_t PassBytes(const SStageCut& /*cut*/) const override {
        return Impl::CDirectSmoothing::Bytes(m_size, foreground_sigma(), m_scales.spacing) + slice_bytes();
    }
    Impl::EEigenvalue Eigenvalue() const override {
        return m_scales.kind == Impl::ELocalTensor::lineVotes ? Impl::EEigenvalue::largest
                                                              : Impl::EEigenvalue::smallest;
    }
    /// Of the structure tensor it is low in dense packings whose axes are right.
    Impl::EConfidence Confidence() const override {
        return m_scales.kind == Impl::ELocalTensor::lineVotes ? Impl::EConfidence::absolute
                                                              : Impl::EConfidence::relative;
    }

    /// Few: the tensors of a slab and of its neighbours shall not leave the caches before they are looked up.
    long long SlabSlices(long long slicePixels) const override {
        constexpr long long LEAST = 8;
        constexpr long long PIXELS = 1LL << 19;
        return std::max(LEAST, (PIXELS + slicePixels - 1) / slicePixels);
    }
    void Prepare(const SSliceRange& slab, const SStageContext& context) override {
        if (m_size.Dim() == 3) {
            prepare(m_volume, slab, context);
        } else {
            prepare(m_image, slab, context);
        }
    }
    std::size_t PreparedBytes(long long slabSlices, std::size_t /*slicePixels*/) const override {
        return slice_bytes() + (m_size.Dim() == 3
                                    ? Impl::CLocalTensors<3>::Bytes(m_size, slabSlices, m_scales)
                                    : Impl::CLocalTensors<2>::Bytes(m_size, slabSlices, m_scales));
    }

    std::unique_ptr<Impl::IMatrixRows<2>> NewRows2(const CScratchStore& /*store*/) const override {
        return std::make_unique<Impl::CLocalTensorRows<2>>(m_image, static_cast<std::size_t>(m_size[0]));
    }
    std::unique_ptr<Impl::IMatrixRows<3>> NewRows3(const CScratchStore& /*store*/) const override {
        return std::make_unique<Impl::CLocalTensorRows<3>>(m_volume, static_cast<std::size_t>(m_size[0]));
    }
    /// With what a thread needs to prepare slices.
    std::size_t RowBytes() const override {
        const std::size_t rows =
            (Impl::CLocalTensorRows<3>::ENTRIES + 1) * static_cast<std::size_t>(m_size[0]) * sizeof(float);
        return rows + (m_size.Dim() == 3 ? sizeof(Impl::CLocalTensorRows<3>) +
                                               Impl::CLocalTensors<3>::BytesPerTask(m_size, m_scales)
                                         : sizeof(Impl::CLocalTensorRows<2>) +
                                               Impl::CLocalTensors<2>::BytesPerTask(m_size, m_scales));
    }

  private:
    double foreground_sigma() const { return Impl::FOREGROUND_SIGMA_RADII * m_radius; }
    /// A slice as read and as the analysis takes it: at most four bytes a pixel each.
    std::size_t slice_bytes() const {
        return static_cast<std::size_t>(m_size[0] * m_size[1]) * 2 * sizeof(float);
    }

    void smooth_foreground(const SStageContext& context) const {
        context.found.range = smooth_once(context);
        if (context.found.range.nanCount + context.found.range.infiniteCount > 0 &&
            context.grey.NeedsRange()) {
            context.grey.Replace(context.found.range);
            smooth_once(context);
        }
        RequireFinite(context.found.range);
        Impl::SExtent extent;
        for (long long z = context.own.first; z < context.own.end; ++z) {
            Impl::Extend(extent, context.store.Slice(z), context.store.SlicePixels());
        }
        context.found.extent = ExtentOfAll(extent, context.ranks);
    }

    volume::SValueRange smooth_once(const SStageContext& context) const {
        CGreyRows grey(context.grey);
        volume::SValueRange range;
        const auto fill = [&](long long z, float* rows, std::size_t rowFloats) {
            const volume::SValueRange ofSlice = grey.Fill(z, rows, rowFloats);
            if (z >= context.own.first && z < context.own.end) {
                context.store.Fetch(z); // by the thread that reads, while others smooth
                range.Add(ofSlice);
                if (context.sink != nullptr) {
                    context.sink->TakeGrey({z, z + 1}, grey.Raw());
                }
            }
        };
        Impl::CDirectSmoothing smoothing(m_size, {context.own.first, context.own.end}, foreground_sigma(),
                                         m_scales.spacing, fill);
        const long long atOnce = std::min(Impl::CDirectSmoothing::MOST_AT_ONCE, context.plan.slabSlices);
        const long long steps = SlabCount(context.own, atOnce);
        CProgressReport report(CProgressMonitor::Obj(), steps, "Reading and smoothing slices...");
        for (long long step = 0; step < steps; ++step) {
            const SSliceRange slices = SlabOf(context.own, atOnce, step);
            smoothing.Next(context.store.Slice(slices.first), context.workers, slices.Count());
            if ((step + 1) % (context.plan.slabSlices / atOnce) == 0) {
                context.store.Evict();
            }
            report.Step();
        }
        context.store.Evict();
        return RangeOfAll(range, context.ranks);
    }

    template <std::size_t Dim>
    void prepare(std::unique_ptr<Impl::CLocalTensors<Dim>>& tensors, const SSliceRange& slab,
                 const SStageContext& context) {
        if (!tensors) {
            const volume::SValueRange& range = context.found.range;
            if (range.nanCount + range.infiniteCount > 0 && context.grey.NeedsRange()) {
                context.grey.Replace(range); // a run that goes on has not read the image yet
            }
            m_grey.emplace(context.grey);
            tensors = std::make_unique<Impl::CLocalTensors<Dim>>(
                m_size, Impl::SPlanes{context.own.first, context.own.end}, context.plan.slabSlices, m_scales,
                context.grey.UnitScale(range),
                [this](long long z, float* rows, std::size_t rowFloats) { m_grey->Fill(z, rows, rowFloats); },
                Impl::InstructionSetInUse(), NewHugePages);
        }
        tensors->Prepare({slab.first, slab.end}, context.workers);
    }

    CSize m_size;
    double m_radius;
    Impl::SLocalScales m_scales;
    std::optional<CGreyRows> m_grey;
    std::unique_ptr<Impl::CLocalTensors<2>> m_image;
    std::unique_ptr<Impl::CLocalTensors<3>> m_volume;
};

std::unique_ptr<IAxisStage> new_line_voting(const SStageSetup& setup) {
    return std::make_unique<CLocalTensorStage>(
        setup,
        Impl::SLocalScales::LineVoting(setup.fiberRadius, setup.spacing, setup.imageSize.Dim(), setup.along));
}

std::unique_ptr<IAxisStage> new_structure_tensor(const SStageSetup& setup) {
    return std::make_unique<CLocalTensorStage>(
        setup, Impl::SLocalScales::StructureTensor(setup.fiberRadius, setup.spacing, setup.imageSize.Dim(),
                                                   setup.gradientSigma, setup.windowSigma,
                                                   setup.along.value_or(0.0)));
}

} // namespace

const SEstimator LINE_VOTING{
    "line-voting", Impl::LOCAL_TENSOR_OTSU_FACTOR, BORDER_RADII, new_line_voting, true, true};
const SEstimator STRUCTURE_TENSOR{
    "structure-tensor", Impl::LOCAL_TENSOR_OTSU_FACTOR, BORDER_RADII, new_structure_tensor, true, true, true};

} // namespace TEVRA::stream
