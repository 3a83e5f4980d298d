// SPDX-License-Identifier: BSD-3-Clause
// Tevra's filter bank of 50 directions: `CFilterOrientations::Compute` and the angles of its result.
// With `--list-directions` it prints those directions instead, for the other filter banks.
#include "FilterOrientations/FilterOrientations.h"
#include "FilterOrientations/PointsOnSphere.h"
#include "TevraImage.h"
#include "VexoBase/Parallelism.h"

#include <cstdio>
#include <string_view>

namespace TEVRA::benchmarks {
namespace {

class CTevraBank : public IPeer {
  public:
    explicit CTevraBank(const SPeerOptions& options)
        : m_estimator(static_cast<float>(options.majorWidth), static_cast<float>(options.minorWidth), nullptr,
                      nullptr) {
        CParallelism::SetThreads(options.threads);
    }

    void Prepare(SVolume volume) override { m_image = ImageOf(volume); }
    void Compute() override {
        m_estimator.Compute(*m_image, CFilterOrientations::eMedium, nullptr);
        m_theta = std::make_unique<CImage>(IMAGE_GREY_F, m_image->Size(), CSize(0, 0, 0));
        m_phi = std::make_unique<CImage>(IMAGE_GREY_F, m_image->Size(), CSize(0, 0, 0));
        m_estimator.GetOrientations(*m_theta, *m_phi);
    }
    std::span<const float> Theta() const override { return PixelsOf(*m_theta); }
    std::span<const float> Phi() const override { return PixelsOf(*m_phi); }

  private:
    std::unique_ptr<CImage> m_image;
    CFilterOrientations m_estimator;
    std::unique_ptr<CImage> m_theta;
    std::unique_ptr<CImage> m_phi;
};

IPeer* make(const SPeerOptions& options) {
    return new CTevraBank(options);
}

void list_directions() {
    for (const Impl::SWeightedDirection& direction : Impl::StPointsOnSphere::GetTable(1)) {
        std::printf("%.6f %.6f %.6f\n", direction.x, direction.y, direction.z);
    }
}

} // namespace
} // namespace TEVRA::benchmarks

int main(int argc, char** argv) {
    if (argc == 2 && std::string_view(argv[1]) == "--list-directions") {
        TEVRA::benchmarks::list_directions();
        return 0;
    }
    return TEVRA::benchmarks::RunPeer(argc, argv, TEVRA::benchmarks::make);
}
