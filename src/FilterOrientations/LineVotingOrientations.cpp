// SPDX-License-Identifier: BSD-3-Clause
#include "FilterOrientations/LineVotingOrientations.h"

namespace TEVRA {

CLineVotingOrientations::CLineVotingOrientations(double otsuFactor, const char* name, const IObject* parent)
    : CLocalTensorOrientations(otsuFactor, name, parent) {}

void CLineVotingOrientations::compute(const IImage& image, double fiberRadius, const IImage* mask,
                                      const SLineVotingOptions& options) {
    const STask task{image, mask, fiberRadius, options.contrast};
    const std::array<double, 3> spacing = checked_spacing(task, options.spacing);
    check_length("The length along the fiber", options.along, true);
    CLocalTensorOrientations::compute(
        task, Impl::SLocalScales::LineVoting(fiberRadius, spacing, image.Size().Dim(), options.along));
}

} // namespace TEVRA
