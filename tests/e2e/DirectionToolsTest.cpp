// SPDX-License-Identifier: BSD-3-Clause
// tevra filter, distance and beta on images whose directions are known.
#include "e2e/Images.h"
#include "e2e/ProgramRun.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <string>
#include <vector>

namespace TEVRA::test {
namespace {

using nlohmann::json;
using testing::HasSubstr;

class DirectionTools : public testing::Test {
  protected:
    std::string path(const std::string& name) const { return (m_folder.Path() / name).string(); }
    bool exists(const std::string& name) const { return std::filesystem::exists(m_folder.Path() / name); }

    /// Truth maps of fibers along x: truth_theta.mha and truth_phi.mha.
    void make_fibers_along_x() const {
        const SOutcome outcome =
            RunTevra({"phantom", "-o", path("fibers.mha"), "--size", "48,40,36", "--fiber-radius", "3",
                      "--axis", "1,0,0", "--truth", path("truth_"), "--quiet"});
        ASSERT_EQ(outcome.status, 0) << outcome.err;
    }

    CTemporaryFolder m_folder;
};

TEST_F(DirectionTools, FilterFindsTheDirectionInTheCoreOfAFiber) {
    const SOutcome made =
        RunTevra({"phantom", "-o", path("fiber.mha"), "--size", "40,48,36", "--fiber-radius", "3", "--layout",
                  "single", "--axis", "0,1,0", "--quiet"});
    ASSERT_EQ(made.status, 0) << made.err;
    const SOutcome outcome = RunTevra({"filter", path("fiber.mha"), "--major", "15", "--minor", "6",
                                       "--resolution", "coarse", "-o", path("out")});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const std::vector<float> colatitude = ReadFloatMetaImage(path("out/colatitude.mha"));
    const std::vector<float> longitude = ReadFloatMetaImage(path("out/longitude.mha"));
    int core = 0;
    int alongY = 0;
    for (int z = 17; z <= 18; ++z) { // the centre line is at x = 19.5, z = 17.5
        for (int y = 0; y < 48; ++y) {
            for (int x = 19; x <= 20; ++x) {
                const auto at = static_cast<std::size_t>((z * 48 + y) * 40 + x);
                ASSERT_GE(colatitude[at], 0.0F) << "the core is foreground";
                ++core;
                alongY += std::abs(std::sin(colatitude[at]) * std::sin(longitude[at])) > 0.999F ? 1 : 0;
            }
        }
    }
    EXPECT_GE(alongY, 0.9 * core);
    for (const char* name : {"out/index.mha", "out/response.mha", "out/histogram.json", "out/tensor.json"}) {
        EXPECT_TRUE(exists(name)) << name;
    }
}

TEST_F(DirectionTools, FilterRefusesAnUnknownResolutionAndWritesNothing) {
    WriteMetaImage(path("fibers.mha"), ParallelFibers({24, 24, 24}, 1));
    const SOutcome outcome = RunTevra({"filter", path("fibers.mha"), "--major", "15", "--minor", "6",
                                       "--resolution", "finest", "-o", path("out")});
    EXPECT_NE(outcome.status, 0);
    EXPECT_THAT(outcome.err, HasSubstr("tevra: error: "));
    EXPECT_FALSE(exists("out/index.mha"));
}

TEST_F(DirectionTools, DistanceIsZeroAlongTheFibersAndHalfPiAcross) {
    make_fibers_along_x();
    for (const auto& [reference, expected] :
         {std::pair{"-2,0,0", 0.0}, std::pair{"0,0,1", std::numbers::pi / 2}}) {
        const SOutcome outcome = RunTevra({"distance", path("truth_theta.mha"), path("truth_phi.mha"),
                                           std::string("--reference=") + reference, "-o", path("d.mha")});
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        const std::vector<float> theta = ReadFloatMetaImage(path("truth_theta.mha"));
        const std::vector<float> distance = ReadFloatMetaImage(path("d.mha"));
        ASSERT_EQ(distance.size(), theta.size());
        for (std::size_t i = 0; i < theta.size(); ++i) {
            if (theta[i] >= 0.0F) {
                // The arc cosine turns a rounding of 1e-7 near 1 into an angle of its square root.
                ASSERT_NEAR(distance[i], expected, 1e-3);
            } else {
                ASSERT_EQ(distance[i], -1.0F);
            }
        }
    }
}

TEST_F(DirectionTools, DistanceRefusesMapsOfDifferentSizes) {
    make_fibers_along_x();
    ASSERT_EQ(RunTevra({"phantom", "-o", path("small.mha"), "--size", "24,24,24", "--axis", "1,0,0",
                        "--truth", path("small_"), "--quiet"})
                  .status,
              0);
    const SOutcome outcome = RunTevra({"distance", path("truth_theta.mha"), path("small_phi.mha"),
                                       "--reference", "0,0,1", "-o", path("d.mha")});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("tevra: error: "));
    EXPECT_FALSE(exists("d.mha"));
}

TEST_F(DirectionTools, BetaFindsTheParameterOfASampleOfTheFamily) {
    for (const double beta : {0.3, 1.0, 3.0}) {
        // The density of c = cos t is proportional to (1 + (b^2 - 1) c^2)^(-3/2); its integral from 0 to c is
        // c / sqrt(1 + (b^2 - 1) c^2), which is u / b at the quantile u.
        std::string table = "theta_rad,phi_rad\n";
        constexpr int quantiles = 400;
        constexpr int azimuths = 8;
        for (int i = 0; i < quantiles; ++i) {
            const double share = (i + 0.5) / quantiles / beta;
            const double cosine = share / std::sqrt(1.0 - (beta * beta - 1.0) * share * share);
            for (int k = 0; k < azimuths; ++k) {
                const double phi = 2.0 * std::numbers::pi * (k + 0.5 * (i % 2)) / azimuths;
                table += std::to_string(std::acos(cosine)) + "," + std::to_string(phi) + "\n";
            }
        }
        WriteFile(path("sample.csv"), table);
        const SOutcome outcome = RunTevra({"beta", "--angles", path("sample.csv"), "--json"});
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_NEAR(json::parse(outcome.out)["beta"].get<double>(), beta, 0.05 * beta);
    }
}

TEST_F(DirectionTools, BetaRefusesAnglesInDegreesWithAHint) {
    WriteFile(path("sample.csv"), "theta_rad,phi_rad\n45,120\n30,200\n60,10\n");
    const SOutcome outcome = RunTevra({"beta", "--angles", path("sample.csv")});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("degrees"));
}

TEST_F(DirectionTools, BetaRefusesAnEmptySample) {
    WriteFile(path("sample.csv"), "theta_rad,phi_rad\n");
    const SOutcome outcome = RunTevra({"beta", "--angles", path("sample.csv")});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("tevra: error: "));
}

} // namespace
} // namespace TEVRA::test
