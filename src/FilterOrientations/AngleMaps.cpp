// SPDX-License-Identifier: BSD-3-Clause
#include "FilterOrientations/AngleMaps.h"

#include "Axes/OrientationSums.h"
#include "Utils/CoveredPixels.h"
#include "Utils/PixelRows.h"
#include "zeklib2core/ValueLeaf.h"
#include "zeklib2core/ValueVector.h"
#include "zeklib2image/HeaderTools.h"

#include <numbers>

namespace TEVRA::Impl {
namespace {

constexpr const char* NAME = "input image"; // in messages

std::unique_ptr<CImage> new_map(const CSize& size) {
    return std::make_unique<CImage>(IMAGE_GREY_F, size, CSize(0, 0, 0));
}

void set_value_range(CImage* map, double lowest, double highest) {
    if (map != nullptr) {
        CVexoHeaderTools::SetMetaInfo(*map, CVexoHeaderTools::c_sMetaMinMax.c_str(),
                                      CValueVector(new CValueDouble(lowest), new CValueDouble(highest)));
    }
}

template <std::size_t Dim>
long long sum_axes(IMatrix<double>& tensor, const CBox& box, CTensorRank4* tensor4, const CImage& theta,
                   const CImage* phi) {
    const auto thetaPixels = PixelsOf<float>(theta, NAME);
    const auto phiPixels = PixelsOf<float>(Dim == 3 ? *phi : theta, NAME);
    const SPixelRange xs = CoveredPixels(box, 0, thetaPixels.Size(0));
    const SPixelRange ys = CoveredPixels(box, 1, thetaPixels.Size(1));
    const SPixelRange zs = Dim == 3 ? CoveredPixels(box, 2, thetaPixels.Size(2)) : SPixelRange{0, 1};
    CSecondOrderSums<Dim> second;
    CFourthOrderSums<Dim> fourth;
    for (long long z = zs.lo; z < zs.hi && xs.lo < xs.hi; ++z) {
        for (long long y = ys.lo; y < ys.hi; ++y) {
            const SConstAngleRow row{thetaPixels.Row(y, z) + xs.lo,
                                     Dim == 3 ? phiPixels.Row(y, z) + xs.lo : nullptr};
            AddRow<Dim>(second, tensor4 != nullptr ? &fourth : nullptr, row,
                        static_cast<std::size_t>(xs.hi - xs.lo));
        }
    }
    if (tensor4 != nullptr) {
        fourth.AddTo(*tensor4);
    }
    second.CopyTo(tensor);
    return second.Count();
}

} // namespace

CAngleMaps::CAngleMaps(const CSize& size, EMaps maps)
    : CAngleMaps(new_map(size), size.Dim() == 3 ? new_map(size) : nullptr,
                 maps == EMaps::anglesAndConfidence ? new_map(size) : nullptr) {}

CAngleMaps::CAngleMaps(std::unique_ptr<CImage> theta, std::unique_ptr<CImage> phi,
                       std::unique_ptr<CImage> confidence) {
    m_theta.Reset(theta.release());
    m_phi.Reset(phi.release());
    m_confidence.Reset(confidence.release());
}

int CAngleMaps::Dim() const noexcept {
    const int dim = m_theta ? m_theta->Size().Dim() : 0;
    return dim == 2 || (dim == 3 && m_phi) ? dim : 0;
}

void CAngleMaps::SetValueRanges() const {
    set_value_range(Theta(), -1.0, std::numbers::pi);
    set_value_range(Phi(), -(std::numbers::pi + 1.0), std::numbers::pi);
    set_value_range(Confidence(), 0.0, 1.0);
}

void CAngleMaps::Reset() {
    m_theta.Reset();
    m_phi.Reset();
    m_confidence.Reset();
}

long long CAngleMaps::OrientationTensor(IMatrix<double>& tensor, const CBox& box, bool normalize,
                                        CTensorRank4* tensor4) const {
    const long long count = Dim() == 3 ? sum_axes<3>(tensor, box, tensor4, *Theta(), Phi())
                                       : sum_axes<2>(tensor, box, tensor4, *Theta(), nullptr);
    if (normalize && count >= 1) {
        tensor *= 1.0 / static_cast<double>(count);
        if (tensor4 != nullptr) {
            *tensor4 /= static_cast<double>(count);
        }
    }
    return count;
}

CAngleMapRows::CAngleMapRows(const CAngleMaps& maps)
    : m_maps(maps), m_theta(WritablePixelsOf<float>(*maps.Theta(), NAME)) {
    if (maps.Phi() != nullptr) {
        m_phi.emplace(WritablePixelsOf<float>(*maps.Phi(), NAME));
    }
    if (maps.Confidence() != nullptr) {
        m_confidence.emplace(WritablePixelsOf<float>(*maps.Confidence(), NAME));
    }
}

} // namespace TEVRA::Impl
