// SPDX-License-Identifier: BSD-3-Clause
#include "e2e/Images.h"
#include "e2e/ProgramRun.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <numbers>
#include <string>
#include <vector>

namespace TEVRA::test {
namespace {

using nlohmann::json;
using testing::HasSubstr;

class PhantomCommand : public testing::Test {
  protected:
    std::string path(const std::string& name) const { return (m_folder.Path() / name).string(); }
    bool exists(const std::string& name) const { return std::filesystem::exists(m_folder.Path() / name); }

    CTemporaryFolder m_folder;
};

TEST_F(PhantomCommand, WritesTheTruthOfFibersAlongAnAxisAsTheEstimatorWouldWriteIt) {
    const SOutcome outcome =
        RunTevra({"phantom", "-o", path("image.mha"), "--size", "40,36,32", "--fiber-radius", "3", "--axis",
                  "1,0,0", "--truth", path("truth_"), "--quiet"});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const std::vector<float> theta = ReadFloatMetaImage(path("truth_theta.mha"));
    const std::vector<float> phi = ReadFloatMetaImage(path("truth_phi.mha"));
    ASSERT_EQ(theta.size(), 40U * 36U * 32U);
    ASSERT_EQ(phi.size(), theta.size());
    std::size_t fiberVoxels = 0;
    for (std::size_t i = 0; i < theta.size(); ++i) {
        if (theta[i] >= 0.0F) {
            ++fiberVoxels;
            EXPECT_NEAR(theta[i], std::numbers::pi / 2, 1e-6);
            EXPECT_NEAR(std::sin(phi[i]), 0.0, 1e-6);
        } else {
            EXPECT_EQ(theta[i], -1.0F);
            EXPECT_EQ(phi[i], -4.1415925F);
        }
    }
    EXPECT_GE(static_cast<double>(fiberVoxels), 0.1 * static_cast<double>(theta.size()));
    const json tensor = json::parse(ReadFile(path("truth_tensor.json")));
    EXPECT_THAT(tensor.dump(), HasSubstr("xx"));
}

TEST_F(PhantomCommand, MakesTheSameImageFromTheSameSeedAndAnotherOneFromAnother) {
    for (const auto& [name, seed] :
         {std::pair{"a.mha", "5"}, std::pair{"b.mha", "5"}, std::pair{"c.mha", "6"}}) {
        const SOutcome outcome =
            RunTevra({"phantom", "-o", path(name), "--size", "24,24,24", "--fiber-radius", "2", "--beta",
                      "0.5", "--noise", "5", "--seed", seed, "--quiet"});
        ASSERT_EQ(outcome.status, 0) << outcome.err;
    }
    EXPECT_EQ(ReadFile(path("a.mha")), ReadFile(path("b.mha")));
    EXPECT_NE(ReadFile(path("a.mha")), ReadFile(path("c.mha")));
}

TEST_F(PhantomCommand, RefusesABetaInTwoDimensionsAndWritesNothing) {
    const SOutcome outcome =
        RunTevra({"phantom", "-o", path("image.tif"), "--size", "64,64", "--beta", "0.5"});
    EXPECT_NE(outcome.status, 0);
    EXPECT_THAT(outcome.err, HasSubstr("tevra: error: "));
    EXPECT_FALSE(exists("image.tif"));
}

TEST_F(PhantomCommand, RefusesNumbersOutOfRangeAndWritesNothing) {
    const std::vector<std::vector<std::string>> bad{
        {"--fiber-radius", "0"}, {"--fiber-radius", "nan"}, {"--volume-fraction", "2"}, {"--beta", "-1"},
        {"--noise", "-3"},       {"--size", "0,10,10"},     {"--grey", "100,100"},      {"--spacing", "0"}};
    for (const std::vector<std::string>& words : bad) {
        std::vector<std::string> arguments{"phantom", "-o", path("image.tif")};
        arguments.insert(arguments.end(), words.begin(), words.end());
        const SOutcome outcome = RunTevra(arguments);
        EXPECT_TRUE(outcome.status == 1 || outcome.status == 2) << words[0] << ' ' << words[1];
        EXPECT_THAT(outcome.err, HasSubstr("tevra: error: ")) << words[0] << ' ' << words[1];
        EXPECT_FALSE(exists("image.tif")) << words[0] << ' ' << words[1];
    }
}

} // namespace
} // namespace TEVRA::test
