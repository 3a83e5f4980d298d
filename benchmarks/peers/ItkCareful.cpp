// SPDX-License-Identifier: BSD-3-Clause
// What a careful user writes with ITK: one recursive smoothing, differences where they are needed, ITK's
// eigenvectors at the foreground only, no other image than the smoothed one.
#include "ItkAxis.h"
#include "ItkPeer.h"
#include "LocalHessian.h"

#include <itkMultiThreaderBase.h>

namespace TEVRA::benchmarks {
namespace {

class CItkCareful : public CItkPeer {
  public:
    using CItkPeer::CItkPeer;

    void Compute() override {
        const FloatImage::Pointer smoothed = Smoothed();
        const std::span<const float> values(smoothed->GetBufferPointer(), Volume().Voxels());
        const double threshold = ThresholdOf(values, Options().otsuFactor);
        AllocateMaps();
        const auto threader = itk::MultiThreaderBase::New();
        threader->ParallelizeArray(
            0, Volume().size[2],
            [&](itk::SizeValueType z) {
                CLocalHessian hessian(values.data(), Volume().size);
                for (std::size_t y = 0; y < Volume().size[1]; ++y) {
                    hessian.GoToRow(y, z);
                    fill_row(hessian, threshold, (z * Volume().size[1] + y) * Volume().size[0]);
                }
            },
            nullptr);
    }

  private:
    void fill_row(const CLocalHessian& hessian, double threshold, std::size_t first) const {
        CItkAxis axis;
        for (std::size_t x = 0; x < Volume().size[0]; ++x) {
            SAngles angles = NO_AXIS;
            if (static_cast<double>(hessian.Value(x)) > threshold) {
                angles = axis.AnglesOf(hessian.At(x));
            }
            ThetaData()[first + x] = angles.theta;
            PhiData()[first + x] = angles.phi;
        }
    }
};

IPeer* make(const SPeerOptions& options) {
    return new CItkCareful(options);
}

} // namespace
} // namespace TEVRA::benchmarks

int main(int argc, char** argv) {
    return TEVRA::benchmarks::RunPeer(argc, argv, TEVRA::benchmarks::make);
}
