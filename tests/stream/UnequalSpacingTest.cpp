// SPDX-License-Identifier: BSD-3-Clause
// Images whose pixels are no cubes: the same fibers at two samplings have the same axes and tensors.
#include "stream/RankThreads.h"
#include "stream/Streamed.h"

#include "phantom/SeparateFibers.h"
#include "volume/Failure.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <numbers>
#include <optional>
#include <string>
#include <variant>
#include <vector>

using namespace TEVRA;
using namespace TEVRA::test;
using testing::HasSubstr;

namespace {

constexpr double RADIUS = 0.15;
constexpr double SPACING = 0.05;
constexpr int BORDER_PX = 6; // two radii

phantom::SPhantom fibers(const CSize& size) {
    phantom::SSeparateOptions options;
    options.sizePx = size;
    options.fiberRadius = RADIUS;
    options.spacing = {SPACING, SPACING, SPACING};
    std::get<phantom::SScatteredFibers>(options.places).volumeFraction = 0.15;
    if (size.Dim() == 2) {
        options.directions = phantom::SPlanar{};
    }
    options.blurSigma = SPACING;
    options.noiseSd = 6.0;
    return MakeSeparatePhantom(options);
}

/// Every other pixel along an axis.
struct SSampling {
    SSampling(const CSize& full, int axis)
        : size(full.Dim() == 2 ? CSize(full[0] / (axis == 0 ? 2 : 1), full[1] / (axis == 1 ? 2 : 1))
                               : CSize(full[0] / (axis == 0 ? 2 : 1), full[1] / (axis == 1 ? 2 : 1),
                                       full[2] / (axis == 2 ? 2 : 1))),
          thick(axis) {}

    /// The pixel in the full image.
    std::size_t FullIndex(std::size_t at, const CSize& full) const {
        const auto nx = static_cast<std::size_t>(size[0]);
        const auto ny = static_cast<std::size_t>(size[1]);
        std::array<std::size_t, 3> place{at % nx, at / nx % ny, at / (nx * ny)};
        place[static_cast<std::size_t>(thick)] *= 2;
        return (place[2] * static_cast<std::size_t>(full[1]) + place[1]) * static_cast<std::size_t>(full[0]) +
               place[0];
    }
    bool IsInside(std::size_t at) const {
        const auto nx = static_cast<std::size_t>(size[0]);
        const auto ny = static_cast<std::size_t>(size[1]);
        const std::array<std::size_t, 3> place{at % nx, at / nx % ny, at / (nx * ny)};
        for (int axis = 0; axis < size.Dim(); ++axis) {
            const auto border = static_cast<std::size_t>(axis == thick ? BORDER_PX / 2 : BORDER_PX);
            const auto along = static_cast<std::size_t>(axis);
            if (place[along] < border || place[along] + border >= static_cast<std::size_t>(size[axis])) {
                return false;
            }
        }
        return true;
    }

    CSize size;
    int thick;
};

/// A copy of a stack with cubes for pixels: between slices by linear interpolation, as one resamples.
std::unique_ptr<CImage> resampled(const CImage& stack) {
    const CSize& size = stack.Size();
    const auto slice = static_cast<std::size_t>(size[0] * size[1]);
    auto copy =
        std::make_unique<CImage>(IMAGE_GREY_F, CSize(size[0], size[1], 2 * size[2] - 1), CSize(0, 0, 0));
    const auto* const from = stack.Pixels<unsigned char>();
    auto* const to = copy->Pixels<float>();
    for (std::size_t at = 0; at < slice * static_cast<std::size_t>(copy->Size()[2]); ++at) {
        const std::size_t z = at / slice;
        const unsigned char* const below = from + z / 2 * slice + at % slice;
        to[at] = 0.5F * static_cast<float>(below[0] + below[z % 2 * slice]);
    }
    return copy;
}

std::unique_ptr<CImage> sampled(const CImage& image, const SSampling& sampling) {
    auto thinned = std::make_unique<CImage>(IMAGE_GREY_8, sampling.size, CSize(0, 0, 0));
    for (std::size_t at = 0; at < static_cast<std::size_t>(sampling.size.Elements()); ++at) {
        thinned->Pixels<unsigned char>()[at] =
            image.Pixels<unsigned char>()[sampling.FullIndex(at, image.Size())];
    }
    return thinned;
}

Impl::SAnalysisRequest request_of(int thickAxis = -1) {
    Impl::SAnalysisRequest request;
    request.fiberRadius = RADIUS;
    request.spacing = {SPACING, SPACING, SPACING};
    if (thickAxis >= 0) {
        request.spacing[static_cast<std::size_t>(thickAxis)] *= 2.0;
    }
    return request;
}

double angle_deg(double theta1, double phi1, double theta2, double phi2, int dim) {
    const auto axis_of = [dim](double theta, double phi) {
        return dim == 2 ? std::array{std::cos(theta), std::sin(theta), 0.0}
                        : std::array{std::sin(theta) * std::cos(phi), std::sin(theta) * std::sin(phi),
                                     std::cos(theta)};
    };
    const std::array<double, 3> a = axis_of(theta1, phi1);
    const std::array<double, 3> b = axis_of(theta2, phi2);
    return std::acos(std::min(1.0, std::abs(a[0] * b[0] + a[1] * b[1] + a[2] * b[2]))) * 180.0 /
           std::numbers::pi;
}

double phi_at(const std::vector<float>& phi, std::size_t at) {
    return phi.empty() ? 0.0 : static_cast<double>(phi[at]);
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

struct SSameness {
    double tensor;   // largest difference of a component
    double apartDeg; // of axes, median
};

void expect_same_tensors(const SAnswer& slabs, const SAnswer& cubes, int dim, double tolerance) {
    for (std::size_t i = 0; i < static_cast<std::size_t>(dim); ++i) {
        for (std::size_t j = i; j < static_cast<std::size_t>(dim); ++j) {
            EXPECT_NEAR(slabs.field.values.tensor(i, j), cubes.field.values.tensor(i, j), tolerance)
                << i << j;
        }
    }
}

class UnequalSpacing : public testing::TestWithParam<const stream::SEstimator*> {
  protected:
    /// Analyses fibers with cubes for pixels and with pixels twice as long along an axis.
    void expect_the_same(const phantom::SPhantom& phantom, int thickAxis,
                         const std::optional<double>& gradientSigma, const SSameness& tolerance) {
        SCOPED_TRACE("thick along " + std::to_string(thickAxis));
        const CSize& full = phantom.image->Size();
        const SSampling sampling(full, thickAxis);
        const auto image = sampled(*phantom.image, sampling);
        const auto request = [&](int axis) {
            Impl::SAnalysisRequest result = request_of(axis);
            result.gradientSigma = gradientSigma;
            return result;
        };
        const SAnswer cubes = Streamed({*phantom.image, nullptr, request(-1), GetParam()});
        const SAnswer slabs = Streamed({*image, nullptr, request(thickAxis), GetParam()});
        expect_same_tensors(slabs, cubes, full.Dim(), tolerance.tensor);
        const CBox& area = slabs.field.box;
        for (int axis = 0; axis < full.Dim(); ++axis) {
            EXPECT_EQ(area.Point0()[axis], axis == thickAxis ? BORDER_PX / 2 : BORDER_PX);
        }
        std::vector<double> apart;
        std::vector<double> errors;
        std::vector<double> errorsOfCubes;
        for (std::size_t at = 0; at < slabs.theta.size(); ++at) {
            const std::size_t there = sampling.FullIndex(at, full);
            const float theta = phantom.theta->Pixels<float>()[there];
            if (!sampling.IsInside(at) || slabs.theta[at] < 0.0F || cubes.theta[there] < 0.0F ||
                theta < 0.0F) {
                continue;
            }
            const double phi = full.Dim() == 3 ? phantom.phi->Pixels<float>()[there] : 0.0;
            apart.push_back(angle_deg(slabs.theta[at], phi_at(slabs.phi, at), cubes.theta[there],
                                      phi_at(cubes.phi, there), full.Dim()));
            errors.push_back(angle_deg(slabs.theta[at], phi_at(slabs.phi, at), theta, phi, full.Dim()));
            errorsOfCubes.push_back(
                angle_deg(cubes.theta[there], phi_at(cubes.phi, there), theta, phi, full.Dim()));
        }
        ASSERT_GT(apart.size(), 1000U);
        EXPECT_LT(median(apart), tolerance.apartDeg);
        EXPECT_LT(median(errors), 1.5 * median(errorsOfCubes) + 0.1);
    }

    bool is_line_voting() const { return GetParam() == &stream::LINE_VOTING; }

    /// By default the gradient's Gaussian has 0.7 of the thick slices. Its sampled derivative is weaker along them than
    /// across by so much that axes turn a little towards them; from 0.8 on it is not.
    void expect_the_same(const phantom::SPhantom& phantom, int thickAxis) {
        expect_the_same(phantom, thickAxis, std::nullopt,
                        is_line_voting() ? SSameness{0.003, 0.5} : SSameness{0.0045, 0.7});
        if (!is_line_voting()) {
            expect_the_same(phantom, thickAxis, 0.8 * 2.0 * SPACING, {0.003, 0.5});
        }
    }
};

TEST_P(UnequalSpacing, OfAVolumeChangesNeitherAxesNorTensors) {
    const phantom::SPhantom phantom = fibers(CSize(96, 96, 96));
    for (const int thickAxis : {0, 1, 2}) {
        expect_the_same(phantom, thickAxis);
    }
}

TEST_P(UnequalSpacing, OfAPlaneChangesNeitherAxesNorTensors) {
    const phantom::SPhantom phantom = fibers(CSize(300, 280));
    for (const int thickAxis : {0, 1}) {
        expect_the_same(phantom, thickAxis);
    }
}

TEST_P(UnequalSpacing, OfAStackGivesTheAxesAndTensorOfItsResampledCopy) {
    const phantom::SPhantom phantom = fibers(CSize(96, 96, 96));
    const auto stack = sampled(*phantom.image, SSampling(phantom.image->Size(), 2));
    const SAnswer slabs = Streamed({*stack, nullptr, request_of(2), GetParam()});
    const auto copy = resampled(*stack);
    const SAnswer cubes = Streamed({*copy, nullptr, request_of(), GetParam()});
    expect_same_tensors(slabs, cubes, 3, 0.003);
    std::vector<double> apart;
    const SSampling sampling(phantom.image->Size(), 2);
    for (std::size_t at = 0; at < slabs.theta.size(); ++at) {
        const std::size_t there = sampling.FullIndex(at, copy->Size());
        if (sampling.IsInside(at) && slabs.theta[at] >= 0.0F && cubes.theta[there] >= 0.0F) {
            apart.push_back(
                angle_deg(slabs.theta[at], slabs.phi[at], cubes.theta[there], cubes.phi[there], 3));
        }
    }
    ASSERT_GT(apart.size(), 10000U);
    EXPECT_LT(median(apart), 0.5);
}

TEST_P(UnequalSpacing, DependsNeitherOnThreadsNorProcesses) {
    const auto image = FiberImage(CSize(61, 52, 40));
    Impl::SAnalysisRequest request = request_of(2);
    request.subfieldPx = {15, 14, 7};
    const SCase task{*image, nullptr, request, GetParam()};
    const SAnswer one = Streamed(task);
    ExpectIdenticalAnswer(Streamed(task, {3, PLENTY, "/tmp"}), one);
    ExpectIdenticalAnswer(StreamedByRanks(task, 3), one);
}

TEST_P(UnequalSpacing, OfHeadersThatRoundCountsAsEqual) {
    const auto image = FiberImage(CSize(48, 40, 36));
    Impl::SAnalysisRequest rounded = request_of();
    rounded.spacing[2] *= 1.00005;
    ExpectIdenticalAnswer(Streamed({*image, nullptr, rounded, GetParam()}),
                          Streamed({*image, nullptr, request_of(), GetParam()}));
}

INSTANTIATE_TEST_SUITE_P(Estimators, UnequalSpacing,
                         testing::Values(&stream::LINE_VOTING, &stream::STRUCTURE_TENSOR),
                         [](const auto& one) {
                             return std::string(one.param == &stream::LINE_VOTING ? "LineVoting"
                                                                                  : "StructureTensor");
                         });

TEST(UnequalSpacingOfTheHessian, IsRefusedWithTheNamesOfThoseThatTakeIt) {
    const auto image = FiberImage(CSize(48, 40, 36));
    try {
        Streamed({*image, nullptr, request_of(2), &stream::HESSIAN});
        FAIL() << "took it";
    } catch (const volume::CInputError& error) {
        EXPECT_THAT(error.what(), HasSubstr("0.05 x 0.05 x 0.1"));
        EXPECT_THAT(error.what(), HasSubstr("line-voting and structure-tensor"));
    }
}

} // namespace
