// SPDX-License-Identifier: BSD-3-Clause
#include "e2e/Images.h"
#include "e2e/ProgramRun.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <cstdlib>
#include <numbers>
#include <string>
#include <vector>

namespace TEVRA::test {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

/// Runs on real images in the folder that the environment names; see docs/command-line.md.
class RealImages : public testing::Test {
  protected:
    void SetUp() override {
        const char* const folder = std::getenv("TEVRA_TEST_DATA");
        if (folder == nullptr) {
            GTEST_SKIP() << "set TEVRA_TEST_DATA to the folder of the real test images";
        }
        m_data = folder;
    }

    /// Analyses an image and returns its result document.
    json analyze(const std::string& image, const std::string& radius,
                 const std::vector<std::string>& options = {}) {
        std::vector<std::string> words = {"analyze",  (m_data / image).string(),  "--fiber-radius", radius,
                                          "--output", (m_folder / "out").string()};
        words.insert(words.end(), options.begin(), options.end());
        const SOutcome outcome = RunTevra(words);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return json::parse(ReadFile(m_folder / "out/result.json"));
    }

    fs::path m_data;
    CTemporaryFolder m_folder;
};

double trace(const json& tensor) {
    double sum = 0.0;
    for (const char* const key : {"xx", "yy", "zz"}) {
        sum += tensor.value(key, 0.0);
    }
    return sum;
}

/// A field's tensor has trace 1 and its eigenvalues sum to 1 and lie in [0, 1].
void expect_orientation_tensor(const json& field) {
    EXPECT_NEAR(trace(field["Orientation tensor"]), 1.0, 1e-6);
    double sum = 0.0;
    for (const auto& [index, value] : field["Eigenvalues of the orientation tensor"].items()) {
        EXPECT_GE(value.get<double>(), 0.0) << index;
        EXPECT_LE(value.get<double>(), 1.0) << index;
        sum += value.get<double>();
    }
    EXPECT_NEAR(sum, 1.0, 1e-6);
}

TEST_F(RealImages, PolymerFibersLieAlongY) {
    const json field = analyze("polymer_fibers_ct.tif", "2.5")["Field"];
    expect_orientation_tensor(field);
    const double y = std::abs(field["Mean fiber direction"]["y"].get<double>());
    EXPECT_LT(std::acos(y) * 180.0 / std::numbers::pi, 10.0);
}

TEST_F(RealImages, PolymerFibersAreAnalysedFieldByField) {
    const json document =
        analyze("polymer_fibers_ct.tif", "2.5", {"--subfield", "39", "--fourth-order", "--maps"});
    EXPECT_EQ(document["Subfields"].size(), 3U * 3U * 3U + 1U); // and their size
    for (const auto& [id, subfield] : document["Subfields"].items()) {
        if (subfield.is_object()) {
            expect_orientation_tensor(subfield);
        }
    }
    EXPECT_EQ(ReadFloatMetaImage(m_folder / "out/theta.mha").size(), 128U * 128U * 128U);
}

TEST_F(RealImages, CollagenIsAnalysedWithAndWithoutSubfields) {
    expect_orientation_tensor(analyze("collagen_shg.tif", "3", {"--maps"})["Field"]);
    const json document = analyze("collagen_shg.tif", "3", {"--subfield", "100"});
    EXPECT_EQ(document["Subfields"].size(), 5U * 5U + 1U);
    expect_orientation_tensor(document["Field"]);
}

TEST_F(RealImages, GelatinFibersAreAnalysedInPixelsAndInTheirUnit) {
    const json pixels = analyze("electrospun_gelatin_sem.tif", "20", {"--spacing", "1"});
    const json lengths = analyze("electrospun_gelatin_sem.tif", "0.6192", {"--spacing", "0.03096"});
    expect_orientation_tensor(pixels["Field"]);
    EXPECT_EQ(pixels["Border"], lengths["Border"]);
    EXPECT_NEAR(pixels["Field"]["Orientation tensor"]["xx"].get<double>(),
                lengths["Field"]["Orientation tensor"]["xx"].get<double>(),
                1e-7); // radii in pixels differ by a rounding
}

} // namespace
} // namespace TEVRA::test
