// SPDX-License-Identifier: BSD-3-Clause
// The grid of pixels must not turn axes: what is left of the error when all voxels of parallel fibers are averaged is
// the grid's doing, and no larger sample removes it. Differences of neighbouring pixels in place of derivatives of
// Gaussians would turn them by 0.2 to 1.2 degrees.
#include "FilterOrientations/LineVotingOrientations.h"
#include "FilterOrientations/StructureTensorOrientations.h"
#include "phantom/Phantom.h"
#include "src/accuracy/AxisField.h"

#include <gtest/gtest.h>

namespace {

using namespace TEVRA;
using namespace TEVRA::test;

constexpr double RADIUS_PX = 3.0;
constexpr double DISTANCE_PX = 9.7;
constexpr long long BORDER_PX =
    20; // nearer the edges, neighbours beyond them are missing: another bias, of 0.03 degrees
constexpr double LARGEST_BIAS_DEG = 0.03;

class GridBias : public testing::TestWithParam<Axis> {
  protected:
    phantom::SPhantom lattice() const {
        phantom::SPhantomOptions options;
        options.sizePx = CSize(80, 80, 80);
        options.fiberRadiusPx = RADIUS_PX;
        options.places = phantom::SParallelGrid{DISTANCE_PX};
        options.directions = phantom::SOneAxis{GetParam()};
        return MakePhantom(options);
    }

    double bias_deg(const CLocalTensorOrientations& estimator) const {
        const IImage* theta = nullptr;
        const IImage* phi = nullptr;
        estimator.get(theta, phi);
        const SAxisField field = FieldOfMaps(*theta, phi);
        const SPixelBox box = WithoutBorder(field.sizePx, BORDER_PX);
        EXPECT_GT(field.Count(box), 15000U);
        return DifferenceDeg(MainAxis(MeanTensor(field, box)), GetParam());
    }
};

TEST_P(GridBias, OfLineVotingIsBelowThreeHundredthsOfADegree) {
    CLineVotingOrientations estimator;
    estimator.compute(*lattice().image, RADIUS_PX);
    EXPECT_LT(bias_deg(estimator), LARGEST_BIAS_DEG);
}

TEST_P(GridBias, OfTheStructureTensorIsBelowThreeHundredthsOfADegree) {
    CStructureTensorOrientations estimator;
    estimator.compute(*lattice().image, RADIUS_PX);
    EXPECT_LT(bias_deg(estimator), LARGEST_BIAS_DEG);
}

INSTANTIATE_TEST_SUITE_P(TiltedLattices, GridBias,
                         testing::Values(Axis{0.3, 0.2, 1.0}, Axis{0.1, 0.05, 1.0}, Axis{0.5, 0.3, 1.0},
                                         Axis{1.0, 0.4, 0.2}, Axis{0.7, 0.9, 1.0}));

} // namespace
