// SPDX-License-Identifier: BSD-3-Clause
#include "e2e/Images.h"
#include "e2e/ProgramRun.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstring>
#include <limits>
#include <string>
#include <vector>

namespace TEVRA::test {
namespace {

using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::MatchesRegex;

class Info : public testing::Test {
  protected:
    std::string text(const std::string& image, const std::vector<std::string>& options = {}) {
        std::vector<std::string> words = {"info", image};
        words.insert(words.end(), options.begin(), options.end());
        const SOutcome outcome = RunTevra(words, {.workingFolder = m_folder.Path()});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.err, "");
        return outcome.out;
    }
    json parsed(const std::string& image) { return json::parse(text(image, {"--json"})); }

    CTemporaryFolder m_folder;
};

TEST_F(Info, SaysWhatAnImageHolds) {
    WriteMetaImage(m_folder / "image.mha", ParallelFibers({20, 18, 16}, 0), "0.5 0.5 2");
    EXPECT_THAT(text("image.mha"),
                AllOf(HasSubstr("format        MetaImage\n"), HasSubstr("size          20 x 18 x 16 px\n"),
                      HasSubstr("pixel type    8-bit unsigned integer\n"),
                      HasSubstr("spacing       0.5 x 0.5 x 2"), HasSubstr("values        40 to 200\n")));
    const json info = parsed("image.mha");
    EXPECT_EQ(info["format"], "MetaImage");
    EXPECT_EQ(info["size_px"], json({20, 18, 16}));
    EXPECT_EQ(info["spacing"], json({0.5, 0.5, 2.0}));
    EXPECT_EQ(info["smallest_value"], 40.0);
    EXPECT_EQ(info["largest_value"], 200.0);
}

TEST_F(Info, SaysThatThereIsNoSpacing) {
    WriteTiff(m_folder / "image.tif", ParallelFibers({20, 18}, 0));
    EXPECT_THAT(text("image.tif"), HasSubstr("spacing       none ("));
    EXPECT_TRUE(parsed("image.tif")["spacing"].is_null());
    EXPECT_EQ(parsed("image.tif")["size_px"], json({20, 18}));
}

TEST_F(Info, CountsWhatIsNoNumber) {
    SMetaImage image{.size = {4, 2}, .elementType = "MET_FLOAT"};
    for (const float pixel :
         {-1.5F, 2.0F, std::numeric_limits<float>::quiet_NaN(), 0.0F, std::numeric_limits<float>::infinity(),
          -std::numeric_limits<float>::infinity(), 1.0F, 0.5F}) {
        char bytes[sizeof pixel];
        std::memcpy(bytes, &pixel, sizeof pixel);
        image.pixels.append(bytes, sizeof pixel);
    }
    WriteMetaImage(m_folder / "image.mha", image);
    EXPECT_THAT(text("image.mha"),
                HasSubstr("values        -1.5 to 2, and 1 not a number, and 2 infinite\n"));
    EXPECT_EQ(parsed("image.mha")["nan_pixels"], 1);
    EXPECT_EQ(parsed("image.mha")["infinite_pixels"], 2);
}

TEST_F(Info, ReadsHeaderlessPixels) {
    WriteFile(m_folder / "image.raw", std::string("\1\0\2\0\3\0\4\1", 8));
    EXPECT_THAT(text("image.raw", {"--raw", "2,2,1,u16"}), HasSubstr("values        1 to 260\n"));
}

TEST_F(Info, RefusesABrokenImageInOneLine) {
    WriteTiff(m_folder / "image.tif", ParallelFibers({20, 18, 16}, 0));
    const std::string bytes = ReadFile(m_folder / "image.tif");
    WriteFile(m_folder / "cut.tif", bytes.substr(0, bytes.size() / 2));
    for (const char* const image : {"cut.tif", "none.tif"}) {
        const SOutcome outcome = RunTevra({"info", image}, {.workingFolder = m_folder.Path()});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.err, AllOf(MatchesRegex("tevra: error: [^\n]+\n"), HasSubstr(image)));
    }
}

} // namespace
} // namespace TEVRA::test
