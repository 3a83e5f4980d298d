// SPDX-License-Identifier: BSD-3-Clause
#include "FilterOrientations/StructureTensorOrientations.h"

namespace TEVRA {

CStructureTensorOrientations::CStructureTensorOrientations(double otsuFactor, const char* name,
                                                           const IObject* parent)
    : CLocalTensorOrientations(otsuFactor, name, parent) {}

void CStructureTensorOrientations::compute(const IImage& image, double fiberRadius, const IImage* mask,
                                           const SStructureTensorOptions& options) {
    const STask task{image, mask, fiberRadius, options.contrast};
    const std::array<double, 3> spacing = checked_spacing(task, options.spacing);
    check_length("The gradient's standard deviation", options.gradientSigma, false);
    check_length("The window's standard deviation", options.windowSigma, false);
    check_length("The length along the fiber", options.along, true);
    CLocalTensorOrientations::compute(
        task, Impl::SLocalScales::StructureTensor(fiberRadius, spacing, image.Size().Dim(),
                                                  options.gradientSigma, options.windowSigma, options.along));
}

} // namespace TEVRA
