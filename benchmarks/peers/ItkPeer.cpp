// SPDX-License-Identifier: BSD-3-Clause
#include "ItkPeer.h"

#include <itkMultiThreaderBase.h>
#include <itkSmoothingRecursiveGaussianImageFilter.h>

#include <utility>

namespace TEVRA::benchmarks {

CItkPeer::CItkPeer(const SPeerOptions& options) : m_options(options) {
    const auto threads = static_cast<itk::ThreadIdType>(options.threads);
    itk::MultiThreaderBase::SetGlobalMaximumNumberOfThreads(threads);
    itk::MultiThreaderBase::SetGlobalDefaultNumberOfThreads(threads);
}

void CItkPeer::Prepare(SVolume volume) {
    m_volume = std::move(volume);
    m_theta.reset();
    m_phi.reset();
    m_grey = GreyImage::New();
    m_grey->SetRegions(GreyImage::SizeType{{m_volume.size[0], m_volume.size[1], m_volume.size[2]}});
    m_grey->GetPixelContainer()->SetImportPointer(m_volume.grey.data(), m_volume.Voxels(), false);
}

CItkPeer::FloatImage::Pointer CItkPeer::Smoothed() const {
    const auto filter = itk::SmoothingRecursiveGaussianImageFilter<GreyImage, FloatImage>::New();
    filter->SetInput(m_grey);
    filter->SetSigma(m_options.sigmaPx);
    filter->Update();
    return filter->GetOutput();
}

void CItkPeer::AllocateMaps() {
    m_theta = std::make_unique_for_overwrite<float[]>(m_volume.Voxels());
    m_phi = std::make_unique_for_overwrite<float[]>(m_volume.Voxels());
}

} // namespace TEVRA::benchmarks
