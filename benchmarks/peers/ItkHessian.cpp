// SPDX-License-Identifier: BSD-3-Clause
// ITK's filters as they come: the Hessian by recursive Gaussian derivatives, its eigenvectors at the
// foreground.
#include "ItkAxis.h"
#include "ItkPeer.h"

#include <itkHessianRecursiveGaussianImageFilter.h>
#include <itkMultiThreaderBase.h>

#include <algorithm>
#include <array>
#include <vector>

namespace TEVRA::benchmarks {
namespace {

using Tensor = itk::SymmetricSecondRankTensor<float, 3>;
using TensorImage = itk::Image<Tensor, 3>;

std::array<double, 6> entries_of(const Tensor& tensor) {
    std::array<double, 6> entries{};
    std::copy(tensor.Begin(), tensor.End(), entries.begin());
    return entries;
}

class CItkHessian : public CItkPeer {
  public:
    using CItkPeer::CItkPeer;

    void Compute() override {
        std::vector<unsigned char> isForeground = foreground();
        const auto filter = itk::HessianRecursiveGaussianImageFilter<GreyImage, TensorImage>::New();
        filter->SetInput(Grey());
        filter->SetSigma(Options().sigmaPx);
        filter->Update();
        const Tensor* const hessians = filter->GetOutput()->GetBufferPointer();
        AllocateMaps();
        const auto threader = itk::MultiThreaderBase::New();
        threader->ParallelizeArray(
            0, Volume().size[2],
            [&](itk::SizeValueType z) {
                CItkAxis axis;
                const std::size_t plane = Volume().size[0] * Volume().size[1];
                for (std::size_t at = z * plane; at < (z + 1) * plane; ++at) {
                    const SAngles angles =
                        isForeground[at] != 0 ? axis.AnglesOf(entries_of(hessians[at])) : NO_AXIS;
                    ThetaData()[at] = angles.theta;
                    PhiData()[at] = angles.phi;
                }
            },
            nullptr);
    }

  private:
    std::vector<unsigned char> foreground() const {
        const FloatImage::Pointer smoothed = Smoothed();
        const std::span<const float> values(smoothed->GetBufferPointer(), Volume().Voxels());
        const double threshold = ThresholdOf(values, Options().otsuFactor);
        std::vector<unsigned char> isForeground(values.size());
        for (std::size_t i = 0; i < values.size(); ++i) {
            isForeground[i] = static_cast<double>(values[i]) > threshold ? 1 : 0;
        }
        return isForeground;
    }
};

IPeer* make(const SPeerOptions& options) {
    return new CItkHessian(options);
}

} // namespace
} // namespace TEVRA::benchmarks

int main(int argc, char** argv) {
    return TEVRA::benchmarks::RunPeer(argc, argv, TEVRA::benchmarks::make);
}
