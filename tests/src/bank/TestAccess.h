// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "FilterOrientations/EstimationBeta.h"
#include "FilterOrientations/FilterOrientations.h"
#include "Numeric/Matrix.h"
#include "zeklib2image/Image.h"

#include <array>
#include <memory>
#include <utility>
#include <vector>

namespace TEVRA {

/// The private members of the filter bank and the beta estimate whose edge cases no public operation reaches.
struct CTestAccess {
    struct SPrincipalAxis {
        std::array<double, 3> axis;
        CEstimationBeta::EDistributionType type;
    };

    /// The axis is all 9 where it was not written.
    static SPrincipalAxis PrincipalAxis(std::vector<double> x, std::vector<double> y, std::vector<double> z,
                                        CEstimationBeta::EDistributionType type, bool typeGiven) {
        SPrincipalAxis result{{9.0, 9.0, 9.0}, type};
        CEstimationBeta(nullptr, nullptr)
            .principalAxis(x.data(), y.data(), z.data(), &result.type, result.axis.data(),
                           static_cast<int>(x.size()), typeGiven);
        return result;
    }
    static int IndexOfSmallest(double a, double b, double c) {
        return CEstimationBeta(nullptr, nullptr).indMin(a, b, c);
    }
    static int IndexOfLargest(double a, double b, double c) {
        return CEstimationBeta(nullptr, nullptr).indMax(a, b, c);
    }

    static const IMatrix<double>& Widths(CFilterOrientations& estimator, int dimension) {
        estimator.SetupDiag(dimension);
        return *estimator.m_widths;
    }
    static void FillFilterMask(CFilterOrientations& estimator, IImage& mask, const double* direction,
                               int dimension) {
        estimator.SetupDiag(dimension);
        if (dimension == 3) {
            estimator.FillFilterMask3(mask, direction);
        } else {
            estimator.FillFilterMask2(mask, direction);
        }
    }
    static std::unique_ptr<IImage> PadZeros(CFilterOrientations& estimator, const IImage& image) {
        return std::unique_ptr<IImage>(estimator.PadZeros(image));
    }
    static void AssignToMaximum(CFilterOrientations& estimator, IImage& index, IImage& best,
                                const IImage& filtered, int direction) {
        estimator.AssignToMaximum(index, best, filtered, direction);
    }
    static void MaskOut(IImage& index, const IImage& image, double threshold, unsigned char label) {
        CFilterOrientations(1.0F, 1.0F, nullptr, nullptr).MaskOutOrientations(index, image, threshold, label);
    }
    static void MaskOut(IImage& index, const IImage& mask, unsigned char label) {
        CFilterOrientations(1.0F, 1.0F, nullptr, nullptr).MaskOutOrientations(index, mask, label);
    }
    /// As if a run had left this index image and these directions.
    static void SetResult(CFilterOrientations& estimator, std::unique_ptr<IImage> index,
                          const CMatrix<double>& directions) {
        CFilterOrientations::SResult result;
        result.bestResponse = std::make_unique<CImage>(IMAGE_GREY_F, index->Size(), CSize(0, 0, 0));
        result.index = std::move(index);
        result.directions = std::make_unique<CMatrix<double>>(directions);
        estimator.m_result = std::move(result);
    }
    static const IImage& Index(const CFilterOrientations& estimator) { return *estimator.m_result.index; }
};

} // namespace TEVRA
