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
#include <set>
#include <sstream>
#include <string>
#include <utility>
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
    void expect_refused(const std::vector<std::string>& words, int status,
                        const std::vector<std::string>& parts) {
        std::vector<std::string> all = {"beta"};
        all.insert(all.end(), words.begin(), words.end());
        ExpectRefusal(all, status, parts, {.workingFolder = m_folder.Path()});
    }
    void expect_table_refused(const std::string& text, const std::vector<std::string>& parts) {
        WriteFile(m_folder / "angles.csv", text);
        expect_refused({"--angles", "angles.csv"}, 1, parts);
    }
    /// A warning on standard error, JSON on standard output.
    json parsed_with_warning(const std::string& text, const std::string& warning,
                             std::vector<std::string> more = {}) {
        more.emplace_back("--json");
        const SOutcome outcome = run(text, more);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_THAT(outcome.err, AllOf(MatchesRegex("tevra: warning: [^\n]+\n"), HasSubstr(warning)));
        return json::parse(outcome.out);
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
    EXPECT_EQ(parsed(table(turned(sample)), {"--axis", "x"}),
              parsed(table(turned(sample)), {"--axis", "1,0,0"}));
    EXPECT_EQ(parsed(table(sample), {"--axis", "y"}), parsed(table(sample), {"--axis", "0,1,0"}));
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

TEST_F(Beta, RefusesMapsInTheWrongOrder) {
    write_map("theta.mha", {0.3F, 0.7F, -1.0F, 1.2F});
    write_map("phi.mha", {1.0F, -2.0F, -4.1415925F, 3.0F});
    ExpectRefusal({"beta", "phi.mha", "theta.mha"}, 1,
                  {"'phi.mha' holds longitudes and 'theta.mha' colatitudes"},
                  {.workingFolder = m_folder.Path()});
}

TEST_F(Beta, PrintsATableForPeople) {
    const SOutcome outcome = run(table(family(0.3, 2000)));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("sample size"), HasSubstr("2000"), HasSubstr("cluster"),
                                   HasSubstr("eigenvalues"), HasSubstr("beta")));
}

/// The loop from the parameter over an image's true angles back to the parameter.
class BetaOfPhantom : public Beta, public testing::WithParamInterface<double> {
  protected:
    /// The estimate from thin fibers that cross a volume: angles of 0.3 million voxels.
    json estimate(double beta, const std::string& axis) {
        const SOutcome made =
            RunTevra({"phantom", "-o", "fibers.mha", "--overlap", "--size", "128,128,128", "--fiber-radius",
                      "0.5", "--volume-fraction", "0.15", "--beta", std::to_string(beta), "--symmetry-axis",
                      axis, "--truth", "", "--quiet"},
                     {.workingFolder = m_folder.Path()});
        EXPECT_EQ(made.status, 0) << made.err;
        const SOutcome outcome =
            RunTevra({"beta", "theta.mha", "phi.mha", "--json"}, {.workingFolder = m_folder.Path()});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        if (beta == 1.0) {
            EXPECT_THAT(outcome.err, HasSubstr("hardly tells its axis"));
        } else {
            EXPECT_EQ(outcome.err, "");
        }
        return json::parse(outcome.out);
    }
    /// Every fiber has angles of its own.
    std::size_t fibers() const {
        const std::vector<float> theta = ReadFloatMetaImage(m_folder / "theta.mha");
        const std::vector<float> phi = ReadFloatMetaImage(m_folder / "phi.mha");
        std::set<std::pair<float, float>> axes;
        for (std::size_t i = 0; i < theta.size(); ++i) {
            if (theta[i] >= 0.0F) {
                axes.emplace(theta[i], phi[i]);
            }
        }
        return axes.size();
    }
};

TEST_P(BetaOfPhantom, IsFoundFromItsTrueAngles) {
    const double beta = GetParam();
    const json result = estimate(beta, "0,0,1");
    EXPECT_GE(fibers(), 2000U);
    EXPECT_NEAR(result["beta"].get<double>(), beta, 0.05 * beta);
    EXPECT_EQ(result["converged"], true);
    if (beta != 1.0) {
        EXPECT_EQ(result["type"], beta < 1.0 ? "cluster" : "girdle");
        EXPECT_GT(std::abs(result["axis"][2].get<double>()), std::cos(2.0 * PI / 180.0));
    }
}
INSTANTIATE_TEST_SUITE_P(Family, BetaOfPhantom, testing::Values(0.1, 0.3, 1.0, 3.0), [](const auto& beta) {
    return "Tenths" + std::to_string(std::lround(10 * beta.param));
});

TEST_F(BetaOfPhantom, IsFoundAroundATiltedAxis) {
    const json result = estimate(0.3, "1,2,2");
    EXPECT_NEAR(result["beta"].get<double>(), 0.3, 0.015);
    const double cosine = (result["axis"][0].get<double>() + 2.0 * result["axis"][1].get<double>() +
                           2.0 * result["axis"][2].get<double>()) /
                          3.0;
    EXPECT_GT(std::abs(cosine), std::cos(2.0 * PI / 180.0));
}

TEST_F(Beta, OfANarrowClusterIsFoundWhateverTheType) {
    const json result = parsed(table(family(0.01, 1000)), {"--type", "girdle", "--axis", "z"});
    EXPECT_EQ(result["converged"], true);
    EXPECT_NEAR(result["beta"].get<double>(), 0.01, 0.001);
}

TEST_F(Beta, IsFoundWhereTheMiddleEigenvectorWasTakenForTheAxis) {
    for (const double beta : {0.8, 1.5, 2.1}) {
        const json result = parsed(table(turned(family(beta, 20000))));
        EXPECT_NEAR(result["beta"].get<double>(), beta, 0.02 * beta);
        EXPECT_GT(std::abs(result["axis"][0].get<double>()), 0.99);
        const json& choice = result["axis_choice"];
        EXPECT_EQ(choice["eigenvalue"], beta < 1.0 ? "largest" : "smallest");
        EXPECT_EQ(choice["evidence"], "clear");
        EXPECT_GT(result["log_likelihood"].get<double>(), choice["other_log_likelihood"].get<double>());
    }
}

TEST_F(Beta, SaysThatASampleWithoutPreferenceTellsNoAxis) {
    const json result = parsed_with_warning(table(family(1.0, 1000)), "does not tell an axis");
    EXPECT_EQ(result["axis_choice"]["evidence"], "none");
    EXPECT_FALSE(parsed(table(family(1.0, 1000)), {"--axis", "z"}).contains("axis_choice"));
}

TEST_F(Beta, IsNotZeroForOneDirectionAlongTheAxis) {
    for (const double single : {0.0, 1e-5}) {
        std::vector<SAngles> sample = family(0.384, 3000);
        const double without = parsed(table(sample), {"--axis", "z"})["beta"].get<double>();
        sample.push_back({single, 0.0});
        const json result = parsed(table(sample), {"--axis", "z"});
        EXPECT_EQ(result["converged"], true);
        EXPECT_NEAR(result["beta"].get<double>(), without, 0.01 * without);
    }
}

TEST_F(Beta, ExplainsTheLimitOfAThirdAlongTheAxis) {
    const json result = parsed_with_warning(table({{0.0, 0.0}, {0.0, 0.0}, {1.0, 0.3}, {0.8, 2.0}}),
                                            "50 % of the directions lie along the axis", {"--axis", "z"});
    EXPECT_EQ(result["beta"], 0.0);
    EXPECT_EQ(result["converged"], false);
}

TEST_F(Beta, ExplainsTheLimitOfIdenticalAxes) {
    const SAngles up{0.3, 0.4};
    const SAngles down{PI - 0.3, 0.4 - PI};
    for (const auto& sample : {std::vector{up}, std::vector{up, up, up}, std::vector{up, down, down}}) {
        const json result = parsed_with_warning(table(sample), "all directions lie along the axis");
        EXPECT_EQ(result["beta"], 0.0);
        EXPECT_EQ(result["converged"], false);
        EXPECT_EQ(result["type"], "cluster");
    }
    // From another axis they are a sample as any: beta = tan(angle) / sqrt(2).
    const json result = parsed(table({up, up}), {"--axis", "z"});
    EXPECT_NEAR(result["beta"].get<double>(), std::tan(0.3) / std::numbers::sqrt2, 1e-9);
}

TEST_F(Beta, ExplainsTheLimitOfAPlane) {
    std::vector<SAngles> sample;
    for (int i = 0; i < 12; ++i) {
        sample.push_back({PI / 2, PI * i / 12});
    }
    const json result = parsed_with_warning(table(sample), "all directions lie across the axis");
    EXPECT_TRUE(result["beta"].is_null()) << "infinity";
    EXPECT_EQ(result["type"], "girdle");
    EXPECT_THAT(run(table(sample)).out, HasSubstr("inf"));
}

TEST_F(Beta, RefusesOneMapInBothPlaces) {
    write_map("theta.mha", {0.3F, 0.7F, -1.0F, 1.2F});
    expect_refused({"theta.mha", "theta.mha"}, 1,
                   {"'theta.mha' and 'theta.mha' hold the same angles", "that of longitudes"});
    write_map("same.mha", {0.3F, 0.7F, -1.0F, 1.2F});
    expect_refused({"theta.mha", "same.mha"}, 1, {"hold the same angles"});
}

TEST_F(Beta, TakesColumnsInDegreesAndTablesOfSpreadsheets) {
    const json radians = parsed("theta_rad,phi_rad\n0.5,0.6\n0.1,0.3\n1,1\n1.2,2\n", {"--axis", "z"});
    const json degrees =
        parsed("\xEF\xBB\xBFtheta_deg,phi_deg\r\n28.64788975654116,34.37746770784939\r\n"
               "5.729577951308232,17.188733853924695\r\n57.29577951308232,57.29577951308232\r\n"
               "68.75493541569878,114.59155902616465\r\n",
               {"--axis", "z"});
    EXPECT_EQ(degrees["sample_size"], 4);
    EXPECT_NEAR(degrees["beta"].get<double>(), radians["beta"].get<double>(), 1e-9);
    for (int i = 0; i < 3; ++i) { // the azimuths' part
        EXPECT_NEAR(degrees["eigenvalues"][i].get<double>(), radians["eigenvalues"][i].get<double>(), 1e-12);
    }
}

TEST_F(Beta, RefusesAnEmptySample) {
    expect_table_refused("", {"angles.csv", "holds no direction"});
    expect_table_refused("theta_rad,phi_rad\n", {"angles.csv", "holds no direction"});
    expect_table_refused("\n\n", {"angles.csv", "holds no direction"});
    write_map("theta.mha", {-1.0F, -1.0F, -1.0F, -1.0F});
    write_map("phi.mha", {-1.0F, -1.0F, -1.0F, -1.0F});
    expect_refused({"theta.mha", "phi.mha"}, 1, {"theta.mha", "holds no direction"});
}

TEST_F(Beta, RefusesBrokenTables) {
    expect_table_refused("0.1,0.2\n0.3\n", {"line 2", "angles.csv", "needs both"});
    expect_table_refused("theta_rad,phi_rad\n0.1,0.2\n0.3\n", {"line 3", "needs both"});
    expect_table_refused("0.1,0.2\n0.3,x\n", {"line 2", "'x'"});
    expect_table_refused("0.1,0.2\n0.3,\n", {"line 2"});
    expect_table_refused("0.1;0.2\n", {"theta_rad"});
    expect_table_refused("colatitude,longitude\n0.1,0.2\n", {"theta_rad"});
    expect_table_refused("0.1,0.2\nnan,0.2\n", {"line 2", "no number"});
    expect_table_refused("0.1,0.2\n0.3,inf\n", {"line 2", "no number"});
    expect_refused({"--angles", "none.csv"}, 1, {"none.csv"});
    expect_refused({"--angles", "."}, 1, {"cannot open '.'", "is it a file"});
    expect_refused({"--angles", "."}, 1, {"'.'"});
}

TEST_F(Beta, RefusesMapsThatDoNotBelongTogether) {
    write_map("theta.mha", {0.1F, 0.2F, 0.3F, 0.4F});
    expect_refused({"theta.mha", "phi.mha"}, 1, {"phi.mha"});
    write_map("phi.mha", {0.1F, 0.2F});
    expect_refused({"theta.mha", "phi.mha"}, 1, {"2 x 1 x 2", "1 x 1 x 2", "two maps of one image"});
    WriteMetaImage(m_folder / "phi.mha", Constant({2, 1, 2}, 1));
    expect_refused({"theta.mha", "phi.mha"}, 1, {"phi.mha", "32-bit floats"});
}

TEST_F(Beta, RefusesMapsInThePlane) {
    WriteMetaImage(m_folder / "theta.mha",
                   SMetaImage{.size = {2, 2}, .elementType = "MET_FLOAT", .pixels = std::string(16, '\0')});
    expect_refused({"theta.mha", "theta.mha"}, 1, {"theta.mha", "2D"});
}

TEST_F(Beta, SuspectsDegreesBeyondAFullTurn) {
    expect_table_refused("0.1,0.2\n45,0.2\n", {"line 2", "45", "pi / 180"});
    expect_table_refused("0.1,0.2\n0.3,-120\n", {"line 2", "-120", "pi / 180"});
    write_map("theta.mha", {0.1F, 0.2F, 30.0F, 0.4F});
    write_map("phi.mha", {0.1F, 0.2F, 0.3F, 0.4F});
    expect_refused({"theta.mha", "phi.mha"}, 1, {"theta.mha", "30", "pi / 180"});
}

TEST_F(Beta, RefusesWrongOptions) {
    WriteFile(m_folder / "angles.csv", "0.1,0.2\n");
    expect_refused({"--angles", "angles.csv", "--type", "ring"}, 2,
                   {"--type", "girdle, cluster or intermediate"});
    for (const std::string axis : {"0,0,0", "1,2", "nan,0,1", ""}) {
        expect_refused({"--angles", "angles.csv", "--axis", axis}, 2, {"--axis", "'" + axis + "'"});
    }
    expect_refused({"--angles", "angles.csv", "theta.mha", "phi.mha"}, 2, {"either"});
    expect_refused({}, 2, {"either"});
    expect_refused({"theta.mha"}, 2, {"PHI"});
    expect_refused({"--nonsense"}, 2, {"--nonsense"});
}

} // namespace
} // namespace TEVRA::test
