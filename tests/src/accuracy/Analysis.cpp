// SPDX-License-Identifier: BSD-3-Clause
#include "src/accuracy/Analysis.h"

#include "FilterOrientations/SubfieldFiberDirections.h"
#include "zeklib2core/Value.h"

#include <memory>
#include <string>

namespace TEVRA::test {

SAnalysis Analyse(IImage& image, const SAnalysisSettings& settings) {
    const bool flat = image.Size().Dim() == 2;
    CSubfieldFiberDirections analysis(settings.fiberRadiusPx, settings.otsuFactor, -1, -1, flat ? 0 : -1);
    std::string parameters;
    const std::unique_ptr<CValueMap> document(analysis.Compute(image, parameters, settings.mask, false));

    SAnalysis result;
    result.threshold = analysis.Threshold();
    const std::string names = "xyz";
    const std::size_t dim = flat ? 2 : 3;
    for (std::size_t row = 0; row < dim; ++row) {
        for (std::size_t col = 0; col < dim; ++col) {
            const std::string path = std::string("Field/Orientation tensor/") + names[row] + names[col];
            result.fieldTensor[row][col] = document->Entry(path.c_str())->Double();
        }
    }
    const IImage* theta = nullptr;
    const IImage* phi = nullptr;
    if (flat) {
        analysis.GetDirections(theta);
    } else {
        analysis.GetDirections(theta, phi);
    }
    const std::unique_ptr<const IImage> ownedTheta(theta);
    const std::unique_ptr<const IImage> ownedPhi(phi);
    result.axes = FieldOfMaps(*theta, phi);
    return result;
}

} // namespace TEVRA::test
