// SPDX-License-Identifier: BSD-3-Clause
// A lean loop that takes one voxel at a time: Tevra's smoothing, differences where they are needed, Jacobi
// rotations and the C library's arc functions at the foreground. What walking rows with wide kernels gains
// shows beside it.
#include "Foreground.h"
#include "LocalHessian.h"
#include "TevraImage.h"
#include "VexoBase/Parallelism.h"
#include "VexoFilter/YoungVanVliet.h"
#include "VexoNumeric/SymmetricEigen.h"

#include <cmath>
#include <thread>
#include <vector>

namespace TEVRA::benchmarks {
namespace {

SAngles angles_of(const std::array<double, 6>& hessian) {
    const auto [xx, xy, xz, yy, yz, zz] = hessian;
    const SEigenSystem<double, 3> system = SymmetricEigen(SSymmetric3<double>{xx, xy, xz, yy, yz, zz});
    std::size_t smallest = 0;
    for (std::size_t k = 1; k < 3; ++k) {
        smallest = std::fabs(system.values[k]) < std::fabs(system.values[smallest]) ? k : smallest;
    }
    return AnglesOf(system.axes[smallest]);
}

class CLeanJacobi : public IPeer {
  public:
    explicit CLeanJacobi(const SPeerOptions& options) : m_options(options) {
        CParallelism::SetThreads(options.threads);
    }

    void Prepare(SVolume volume) override {
        m_image = ImageOf(volume);
        m_size = volume.size;
        m_theta.reset();
        m_phi.reset();
    }
    void Compute() override {
        CImage smoothed(IMAGE_GREY_F, m_image->Size(), CSize(0, 0, 0));
        CYoungVanVliet(m_options.sigmaPx, nullptr, nullptr).gauss(smoothed, *m_image);
        const std::span<const float> values = PixelsOf(smoothed);
        const double threshold = ThresholdOf(values, m_options.otsuFactor);
        m_theta = std::make_unique_for_overwrite<float[]>(values.size());
        m_phi = std::make_unique_for_overwrite<float[]>(values.size());
        const auto parts = static_cast<std::size_t>(m_options.threads);
        std::vector<std::jthread> threads;
        for (std::size_t part = 0; part < parts; ++part) {
            threads.emplace_back([this, values, threshold, part, parts] {
                fill_planes(values, threshold, part * m_size[2] / parts, (part + 1) * m_size[2] / parts);
            });
        }
        threads.clear();
    }
    std::span<const float> Theta() const override { return {m_theta.get(), m_image->Size().Elements()}; }
    std::span<const float> Phi() const override { return {m_phi.get(), m_image->Size().Elements()}; }

  private:
    void fill_planes(std::span<const float> values, double threshold, std::size_t first, std::size_t last) {
        CLocalHessian hessian(values.data(), m_size);
        for (std::size_t z = first; z < last; ++z) {
            for (std::size_t y = 0; y < m_size[1]; ++y) {
                hessian.GoToRow(y, z);
                const std::size_t row = (z * m_size[1] + y) * m_size[0];
                for (std::size_t x = 0; x < m_size[0]; ++x) {
                    const bool isForeground = static_cast<double>(hessian.Value(x)) > threshold;
                    const SAngles angles = isForeground ? angles_of(hessian.At(x)) : NO_AXIS;
                    m_theta[row + x] = angles.theta;
                    m_phi[row + x] = angles.phi;
                }
            }
        }
    }

    SPeerOptions m_options;
    std::unique_ptr<CImage> m_image;
    std::array<std::size_t, 3> m_size{};
    std::unique_ptr<float[]> m_theta;
    std::unique_ptr<float[]> m_phi;
};

IPeer* make(const SPeerOptions& options) {
    return new CLeanJacobi(options);
}

} // namespace
} // namespace TEVRA::benchmarks

int main(int argc, char** argv) {
    return TEVRA::benchmarks::RunPeer(argc, argv, TEVRA::benchmarks::make);
}
