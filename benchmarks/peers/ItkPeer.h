// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Peer.h"

#include <itkImage.h>

#include <memory>

namespace TEVRA::benchmarks {

/// What the peers made of ITK's filters have in common: the image, and maps allocated as part of the work.
class CItkPeer : public IPeer {
  public:
    using GreyImage = itk::Image<unsigned char, 3>;
    using FloatImage = itk::Image<float, 3>;

    explicit CItkPeer(const SPeerOptions& options);

    void Prepare(SVolume volume) override;
    std::span<const float> Theta() const override { return {m_theta.get(), m_volume.Voxels()}; }
    std::span<const float> Phi() const override { return {m_phi.get(), m_volume.Voxels()}; }

  protected:
    const SPeerOptions& Options() const { return m_options; }
    const SVolume& Volume() const { return m_volume; }
    GreyImage* Grey() const { return m_grey; }

    /// By three recursive filters of ITK.
    FloatImage::Pointer Smoothed() const;
    void AllocateMaps();
    float* ThetaData() const { return m_theta.get(); }
    float* PhiData() const { return m_phi.get(); }

  private:
    SPeerOptions m_options;
    SVolume m_volume;
    GreyImage::Pointer m_grey;
    std::unique_ptr<float[]> m_theta;
    std::unique_ptr<float[]> m_phi;
};

} // namespace TEVRA::benchmarks
