// SPDX-License-Identifier: BSD-3-Clause
// Tevra's estimator as a user of the library calls it: `CHessianOrientations::compute`.
#include "FilterOrientations/HessianOrientations.h"
#include "TevraImage.h"
#include "VexoBase/Parallelism.h"
#include "stream/Workers.h"

namespace TEVRA::benchmarks {
namespace {

class CTevraHessian : public IPeer {
  public:
    explicit CTevraHessian(const SPeerOptions& options)
        : m_sigmaPx(options.sigmaPx), m_workers(options.threads), m_estimator(options.otsuFactor) {
        CParallelism::SetThreads(options.threads);
        m_estimator.LendThreads(&m_workers);
    }

    void Prepare(SVolume volume) override { m_image = ImageOf(volume); }
    void Compute() override {
        m_estimator.compute(*m_image, m_sigmaPx, nullptr, CHessianOrientations::eEVSmallest);
        m_estimator.get(m_theta, m_phi);
    }
    std::span<const float> Theta() const override { return PixelsOf(*m_theta); }
    std::span<const float> Phi() const override { return PixelsOf(*m_phi); }

  private:
    double m_sigmaPx;
    stream::CWorkers m_workers;
    std::unique_ptr<CImage> m_image;
    CHessianOrientations m_estimator;
    const IImage* m_theta = nullptr;
    const IImage* m_phi = nullptr;
};

IPeer* make(const SPeerOptions& options) {
    return new CTevraHessian(options);
}

} // namespace
} // namespace TEVRA::benchmarks

int main(int argc, char** argv) {
    return TEVRA::benchmarks::RunPeer(argc, argv, TEVRA::benchmarks::make);
}
