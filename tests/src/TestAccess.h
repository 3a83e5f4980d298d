// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "FilterOrientations/HessianOrientations.h"
#include "FilterOrientations/SubfieldFiberDirections.h"

#include <array>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace TEVRA {

/// The private members whose edge cases tests look at; a friend of the classes they belong to.
struct CTestAccess {
    using Estimator = CHessianOrientations;
    using Analysis = CSubfieldFiberDirections;

    /// The estimator's images in the order smoothed, xx, yy, zz, xy, xz, yz, phi, theta; null where there is
    /// none.
    static std::vector<CImage*> Images(const Estimator& estimator) {
        return {estimator.m_pSmoothed.Get(), estimator.m_pDxx.Get(), estimator.m_pDyy.Get(),
                estimator.m_pDzz.Get(),      estimator.m_pDxy.Get(), estimator.m_pDxz.Get(),
                estimator.m_pDyz.Get(),      estimator.m_maps.Phi(), estimator.m_maps.Theta()};
    }
    static std::array<int, 3> Sizes(const Estimator& estimator) {
        return {estimator.m_nSizeX, estimator.m_nSizeY, estimator.m_nSizeZ};
    }

    static double OtsuFactor(const Estimator& estimator) { return estimator.m_fOtsuFactor; }

    /// Smoothed image and Hessian entries, as the first stage of a run leaves them.
    struct SHessian {
        std::unique_ptr<CImage> smoothed;
        std::unique_ptr<CImage> xx;
        std::unique_ptr<CImage> yy;
        std::unique_ptr<CImage> zz; ///< null in 2D, like xz and yz
        std::unique_ptr<CImage> xy;
        std::unique_ptr<CImage> xz;
        std::unique_ptr<CImage> yz;
    };
    static void SetHessian(Estimator& estimator, SHessian hessian) {
        const CSize& size = hessian.smoothed->Size();
        estimator.m_nSizeX = static_cast<int>(size[0]);
        estimator.m_nSizeY = static_cast<int>(size[1]);
        estimator.m_nSizeZ = static_cast<int>(size[2]);
        estimator.m_pSmoothed.Reset(hessian.smoothed.release());
        estimator.m_pDxx.Reset(hessian.xx.release());
        estimator.m_pDyy.Reset(hessian.yy.release());
        estimator.m_pDzz.Reset(hessian.zz.release());
        estimator.m_pDxy.Reset(hessian.xy.release());
        estimator.m_pDxz.Reset(hessian.xz.release());
        estimator.m_pDyz.Reset(hessian.yz.release());
    }
    /// Angle maps, as the second stage leaves them; `phi` is null in 2D.
    static void SetMaps(Estimator& estimator, std::unique_ptr<CImage> theta, std::unique_ptr<CImage> phi) {
        estimator.m_maps = Impl::CAngleMaps(std::move(theta), std::move(phi));
    }
    static void ComputeDirections(Estimator& estimator, const unsigned char* mask,
                                  Estimator::eEVSelect select) {
        estimator.compute_directions(mask, select);
    }

    static std::array<long long, 3> SubfieldSize(const Analysis& analysis) {
        return {analysis.m_nSubfieldSizeX, analysis.m_nSubfieldSizeY, analysis.m_nSubfieldSizeZ};
    }
    static bool HasFullSubfieldSize(const Analysis& analysis, const CBox& box, int dim) {
        return analysis.has_full_subfield_size(box, dim);
    }
    static std::string FieldId(Analysis& analysis, const std::array<long long, 3>& corner, long long dim,
                               int width) {
        return analysis.gen_fieldid(corner[0], corner[1], corner[2], dim, width);
    }
    static void AddSubfieldLimits(Analysis& analysis, CValueMap* map, const CBox& box, int dim) {
        analysis.add_subfield_limits(map, box, dim);
    }
    static CHessianOrientations& EstimatorOf(Analysis& analysis) { return analysis.m_estimator; }
};

} // namespace TEVRA
