// SPDX-License-Identifier: BSD-3-Clause
#include "e2e/Images.h"
#include "e2e/ProgramRun.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <iomanip>
#include <numbers>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace TEVRA::test {
namespace {

using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::MatchesRegex;

constexpr double PI = std::numbers::pi;

struct SAngles {
    double theta;
    double phi;
};

/// Directions of the one-parameter family with symmetry axis z, by its inverse distribution function.
std::vector<SAngles> family(double beta, int count) {
    std::mt19937_64 random(5);
    const auto uniform = [&random] { return (static_cast<double>(random() >> 11) + 0.5) * 0x1p-53; };
    std::vector<SAngles> sample;
    for (int i = 0; i < count; ++i) {
        const double q = uniform();
        const double cosine = q / std::sqrt(beta * beta - q * q * (beta * beta - 1.0));
        sample.push_back({std::acos(std::min(1.0, cosine)), PI * (2.0 * uniform() - 1.0)});
    }
    return sample;
}

/// The same directions turned so that z becomes x, y becomes z and x becomes y.
std::vector<SAngles> turned(const std::vector<SAngles>& sample) {
    std::vector<SAngles> result;
    for (const SAngles& angles : sample) {
        const double x = std::sin(angles.theta) * std::cos(angles.phi);
        const double y = std::sin(angles.theta) * std::sin(angles.phi);
        const double z = std::cos(angles.theta);
        result.push_back({std::acos(y), std::atan2(x, z)});
    }
    return result;
}

std::string table(const std::vector<SAngles>& sample, const std::string& header = "") {
    std::ostringstream text;
    text << header << std::setprecision(17);
    for (const SAngles& angles : sample) {
        text << angles.theta << ',' << angles.phi << '\n';
    }
    return text.str();
}

class Beta : public testing::Test {
  protected:
    SOutcome run(const std::string& text, std::vector<std::string> more = {}) {
        WriteFile(m_folder / "angles.csv", text);
        std::vector<std::string> words = {"beta", "--angles", "angles.csv"};
        words.insert(words.end(), more.begin(), more.end());
        return RunTevra(words, {.workingFolder = m_folder.Path()});
    }
    json parsed(const std::string& text, std::vector<std::string> more = {}) {
        more.emplace_back("--json");
        const SOutcome outcome = run(text, more);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.err, "");
        return json::parse(outcome.out);
    }
    void write_map(const std::string& name, const std::vector<float>& pixels) {
        SMetaImage image{.size = {static_cast<int>(pixels.size()) / 2, 1, 2}, .elementType = "MET_FLOAT"};
        image.pixels.resize(pixels.size() * sizeof(float));
        std::memcpy(image.pixels.data(), pixels.data(), image.pixels.size());
        WriteMetaImage(m_folder / name, image);
    }
    void expect_refused(const SOutcome& outcome, int status, const std::string& part) {
        EXPECT_EQ(outcome.status, status);
        EXPECT_THAT(outcome.err, AllOf(MatchesRegex("tevra: error: [^\n]+\n"), HasSubstr(part)));
        EXPECT_EQ(outcome.out, "");
    }

    CTemporaryFolder m_folder;
};

TEST_F(Beta, FindsTheBetaOfATableOfAngles) {
    for (const double beta : {0.1, 0.3, 3.0}) {
        const json result = parsed(table(family(beta, 20000)));
        EXPECT_NEAR(result["beta"].get<double>(), beta, 0.03 * beta);
        EXPECT_EQ(result["sample_size"], 20000);
        EXPECT_EQ(result["type"], beta < 1.0 ? "cluster" : "girdle");
        EXPECT_EQ(result["converged"], true);
        EXPECT_NEAR(std::abs(result["axis"][2].get<double>()), 1.0, 0.01);
        double trace = 0.0;
        for (const auto& eigenvalue : result["eigenvalues"]) {
            trace += eigenvalue.get<double>();
        }
        EXPECT_NEAR(trace, 1.0, 1e-9);
    }
}

TEST_F(Beta, FindsTheSymmetryAxisByItself) {
    for (const double beta : {0.2, 4.0}) {
        const std::vector<SAngles> sample = family(beta, 5000);
        const json expected = parsed(table(sample));
        const json result = parsed(table(turned(sample)));
        EXPECT_NEAR(std::abs(result["axis"][0].get<double>()), 1.0, 0.01);
        EXPECT_NEAR(result["beta"].get<double>(), expected["beta"].get<double>(), 1e-6 * beta);
    }
}

TEST_F(Beta, MeasuresFromTheAxisNamed) {
    const std::vector<SAngles> sample = family(0.2, 5000);
    const double expected = parsed(table(sample), {"--axis", "z"})["beta"].get<double>();
    EXPECT_NEAR(parsed(table(sample), {"--axis", "0,0,3"})["beta"].get<double>(), expected, 1e-9);
    EXPECT_NEAR(parsed(table(turned(sample)), {"--axis", "1,0,0"})["beta"].get<double>(), expected, 1e-9);
    // Seen from an axis across, the same directions form a girdle.
    const json across = parsed(table(sample), {"--axis", "1,0,0", "--type", "girdle"});
    EXPECT_GT(across["beta"].get<double>(), 1.0);
}

TEST_F(Beta, TakesTheAnglesAsTheyAreFromTheZAxis) {
    const json result = parsed(table(family(0.3, 2000)), {"--axis", "z"});
    EXPECT_TRUE(result["axis"].is_null());
    EXPECT_NEAR(result["beta"].get<double>(), 0.3, 0.03);
}

TEST_F(Beta, FindsNamedColumnsInAnyOrder) {
    const std::vector<SAngles> sample = family(0.3, 2000);
    std::ostringstream text;
    text << "fiber,phi_rad,length_mm,theta_rad\n" << std::setprecision(17);
    for (const SAngles& angles : sample) {
        text << "f," << angles.phi << ",1.5," << angles.theta << "\r\n";
    }
    EXPECT_EQ(parsed(text.str()), parsed(table(sample)));
    EXPECT_EQ(parsed(table(sample, "theta_rad,phi_rad\n")), parsed(table(sample)));
}

TEST_F(Beta, ReadsTheMapsOfAnEstimator) {
    const std::vector<SAngles> sample = family(0.5, 3000);
    std::vector<float> theta;
    std::vector<float> phi;
    for (const SAngles& angles : sample) {
        theta.insert(theta.end(), {static_cast<float>(angles.theta), -1.0F});
        phi.insert(phi.end(), {static_cast<float>(angles.phi), -4.1415925F});
    }
    write_map("theta.mha", theta);
    write_map("phi.mha", phi);
    const SOutcome outcome =
        RunTevra({"beta", "theta.mha", "phi.mha", "--json"}, {.workingFolder = m_folder.Path()});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const json result = json::parse(outcome.out);
    EXPECT_EQ(result["sample_size"], 3000);
    EXPECT_NEAR(result["beta"].get<double>(), parsed(table(sample))["beta"].get<double>(), 1e-5);
}

TEST_F(Beta, PrintsATableForPeople) {
    const SOutcome outcome = run(table(family(0.3, 2000)));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("sample size"), HasSubstr("2000"), HasSubstr("cluster"),
                                   HasSubstr("eigenvalues"), HasSubstr("beta")));
}

TEST_F(Beta, SaysWhenTheIterationDidNotConverge) {
    // The start for a girdle is far from so narrow a cluster.
    const SOutcome outcome = run(table(family(0.01, 1000)), {"--type", "girdle", "--axis", "z", "--json"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("tevra: warning: "), HasSubstr("without converging")));
    EXPECT_EQ(json::parse(outcome.out)["converged"], false);
    EXPECT_EQ(json::parse(outcome.out)["beta"], 0.0);
}

TEST_F(Beta, RefusesAnEmptySample) {
    expect_refused(run(""), 1, "holds no direction");
    expect_refused(run("theta_rad,phi_rad\n"), 1, "holds no direction");
    write_map("theta.mha", {-1.0F, -1.0F, -1.0F, -1.0F});
    write_map("phi.mha", {-1.0F, -1.0F, -1.0F, -1.0F});
    expect_refused(RunTevra({"beta", "theta.mha", "phi.mha"}, {.workingFolder = m_folder.Path()}), 1,
                   "holds no direction");
}

TEST_F(Beta, RefusesBrokenTables) {
    expect_refused(run("0.1,0.2\n0.3\n"), 1, "line 2");
    expect_refused(run("0.1,0.2\n0.3,x\n"), 1, "line 2");
    expect_refused(run("colatitude,longitude\n0.1,0.2\n"), 1, "theta_rad");
    expect_refused(run("0.1,0.2\nnan,0.2\n"), 1, "no number");
    expect_refused(RunTevra({"beta", "--angles", "none.csv"}, {.workingFolder = m_folder.Path()}), 1,
                   "none.csv");
}

TEST_F(Beta, SuspectsDegreesBeyondAFullTurn) {
    expect_refused(run("0.1,0.2\n45,0.2\n"), 1, "pi / 180");
    expect_refused(run("0.1,0.2\n0.3,-120\n"), 1, "pi / 180");
}

TEST_F(Beta, RefusesWrongOptions) {
    expect_refused(run("0.1,0.2\n", {"--type", "ring"}), 2, "girdle, cluster or intermediate");
    expect_refused(run("0.1,0.2\n", {"--axis", "0,0,0"}), 2, "--axis");
    expect_refused(run("0.1,0.2\n", {"--axis", "y"}), 2, "--axis");
    expect_refused(run("0.1,0.2\n", {"theta.mha", "phi.mha"}), 2, "either");
    expect_refused(RunTevra({"beta"}, {.workingFolder = m_folder.Path()}), 2, "either");
    expect_refused(RunTevra({"beta", "theta.mha"}, {.workingFolder = m_folder.Path()}), 2, "PHI");
}

} // namespace
} // namespace TEVRA::test
