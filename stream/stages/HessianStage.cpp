// SPDX-License-Identifier: BSD-3-Clause
#include "stream/MemoryPlan.h"
#include "stream/stages/ColumnSmoothing.h"
#include "stream/stages/Estimators.h"
#include "stream/stages/HessianRows.h"
#include "stream/stages/VolumeSmoothing.h"

#include "Utils/Threshold.h"
#include "VexoFilter/SmoothingPass.h"

#include <algorithm>
#include <ios>
#include <sstream>

namespace TEVRA::stream {
namespace {

class CHessianStage : public IAxisStage {
  public:
    explicit CHessianStage(const SStageSetup& setup)
        : m_size(setup.imageSize), m_sigma(setup.fiberRadius), m_sigmaPx(m_sigma / setup.spacing[0]),
          m_gaussian(Impl::GaussianFromSigma(m_sigmaPx)) {}

    std::string Fingerprint() const override {
        std::ostringstream text;
        text << std::hexfloat << "hessian, sigma " << m_sigmaPx;
        return text.str();
    }
    SStageScratch Scratch() const override {
        return {1, std::max(HaloSlices(m_gaussian), HESSIAN_REACH), HESSIAN_REACH};
    }
    std::vector<SScale> Scales() const override { return {{"sigma", m_sigma}}; }

    std::vector<SStagePass> Passes() const override {
        return {{"slices",
                 [this](const SStageContext& context) {
                     context.found.range = SmoothSlices(context, {m_gaussian, 0});
                 }},
                {"columns", [this](const SStageContext& context) {
                     context.found.extent = SmoothAcrossSlices(context, {m_gaussian, 0});
                 }}};
    }
    std::size_t PassBytes(const SStageCut& cut) const override { return ColumnBytes(m_gaussian, cut); }
    Impl::EEigenvalue Eigenvalue() const override { return Impl::EEigenvalue::smallest; }

    std::unique_ptr<Impl::IMatrixRows<2>> NewRows2(const CScratchStore& store) const override {
        return std::make_unique<CHessianRows<2>>(store, m_size);
    }
    std::unique_ptr<Impl::IMatrixRows<3>> NewRows3(const CScratchStore& store) const override {
        return std::make_unique<CHessianRows<3>>(store, m_size);
    }
    std::size_t RowBytes() const override {
        return CHessianRows<3>::ENTRIES * static_cast<std::size_t>(m_size[0]) * sizeof(float);
    }

  private:
    CSize m_size;
    double m_sigma;
    double m_sigmaPx;
    Impl::Gaussian m_gaussian;
};

std::unique_ptr<IAxisStage> new_stage(const SStageSetup& setup) {
    return std::make_unique<CHessianStage>(setup);
}

} // namespace

const SEstimator HESSIAN{"hessian", Impl::DEFAULT_OTSU_FACTOR, 1.0, new_stage};

} // namespace TEVRA::stream
