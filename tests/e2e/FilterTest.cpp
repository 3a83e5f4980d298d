// SPDX-License-Identifier: BSD-3-Clause
#include "e2e/Images.h"
#include "e2e/ProgramRun.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <limits>
#include <numbers>
#include <string>
#include <vector>

namespace TEVRA::test {
namespace {

using nlohmann::json;
using testing::HasSubstr;

constexpr double PI = std::numbers::pi;

/// True within half a radius of the centre line of a fiber of `ParallelFibers`, by the two coordinates
/// across.
bool is_near_axis(std::size_t a, std::size_t b) {
    const double fromAxisA = static_cast<double>(a % 12) - 6.0;
    const double fromAxisB = static_cast<double>(b % 12) - 6.0;
    return std::hypot(fromAxisA, fromAxisB) <= 1.5;
}

class Filter : public testing::Test {
  protected:
    SOutcome run(const std::string& image, const std::vector<std::string>& more = {}) {
        return RunTevra(words_for(image, more), {.workingFolder = m_folder.Path()});
    }
    static std::vector<std::string> words_for(const std::string& image,
                                              const std::vector<std::string>& more) {
        std::vector<std::string> words = {"filter", image,          "--major", "12", "--minor",
                                          "6",      "--resolution", "coarse",  "-o", "out"};
        words.insert(words.end(), more.begin(), more.end());
        return words;
    }
    void expect_done(const SOutcome& outcome) {
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.out, "");
    }
    /// The same words, refused.
    void expect_refused(const std::string& image, int status, const std::vector<std::string>& parts,
                        const std::vector<std::string>& more = {}, SCircumstances circumstances = {}) {
        circumstances.workingFolder = m_folder.Path();
        ExpectRefusal(words_for(image, more), status, parts, circumstances);
    }
    std::vector<float> map(const std::string& name) { return ReadFloatMetaImage(m_folder / "out" / name); }
    json parsed(const std::string& name) { return json::parse(ReadFile(m_folder / "out" / name)); }

    CTemporaryFolder m_folder;
};

TEST_F(Filter, WritesMapsHistogramAndTensorOfAVolume) {
    WriteMetaImage(m_folder / "image.mha", ParallelFibers({24, 22, 20}, 1), "0.5 0.5 0.5");
    expect_done(run("image.mha"));
    for (const char* const name : {"index.mha", "response.mha", "colatitude.mha", "longitude.mha"}) {
        EXPECT_THAT(ReadFile(m_folder / "out" / name).substr(0, 400),
                    HasSubstr("ElementSpacing = 0.5 0.5 0.5"))
            << name;
    }
    const std::vector<float> colatitude = map("colatitude.mha");
    const std::vector<float> longitude = map("longitude.mha");
    ASSERT_EQ(colatitude.size(), 24U * 22U * 20U);
    std::size_t foreground = 0;
    std::size_t inCore = 0;
    std::size_t coreAlong = 0;
    for (std::size_t i = 0; i < colatitude.size(); ++i) {
        EXPECT_EQ(colatitude[i] == -1.0F, longitude[i] == -1.0F);
        foreground += colatitude[i] >= 0.0F ? 1 : 0;
        const std::size_t y = i / 24 % 22;
        if (is_near_axis(i % 24, i / (24 * 22)) && y >= 6 && y < 16) {
            ++inCore;
            coreAlong +=
                std::abs(colatitude[i] - PI / 2) < 1e-5 && std::abs(longitude[i] - PI / 2) < 1e-5 ? 1 : 0;
        }
    }
    EXPECT_GT(inCore, 50U);
    EXPECT_GT(static_cast<double>(coreAlong), 0.9 * static_cast<double>(inCore));

    const json tensor = parsed("tensor.json");
    EXPECT_GT(tensor["a_yy"].get<double>(), 0.75);
    EXPECT_NEAR(tensor["a_xx"].get<double>() + tensor["a_yy"].get<double>() + tensor["a_zz"].get<double>(),
                1.0, 1e-5);
    EXPECT_GT(tensor["pixels"].get<long long>(), 0);

    const json histogram = parsed("histogram.json");
    ASSERT_EQ(histogram.size(), 18U);
    long long counted = 0;
    for (const auto& entry : histogram) {
        ASSERT_EQ(entry.size(), 4U);
        counted += entry[3].get<long long>();
    }
    EXPECT_EQ(counted, static_cast<long long>(foreground));
    EXPECT_EQ(histogram["1"][1], 1.0); // the y axis
    EXPECT_GE(histogram["1"][3].get<std::size_t>(), coreAlong);
}

TEST_F(Filter, MeasuresAngleFromTheXAxisInThePlane) {
    WriteMetaImage(m_folder / "image.mha", ParallelFibers({40, 36}, 1));
    expect_done(run("image.mha"));
    const std::vector<float> colatitude = map("colatitude.mha");
    for (std::size_t y = 6; y < 30; ++y) {
        for (std::size_t x = 6; x < 34; ++x) {
            if (is_near_axis(x, 6)) {
                EXPECT_NEAR(colatitude[y * 40 + x], PI / 2, 1e-5) << x << ", " << y;
            }
        }
    }
    for (const float angle : map("longitude.mha")) {
        EXPECT_EQ(angle, -1.0F);
    }
    EXPECT_FALSE(parsed("tensor.json").contains("a_zz"));
}

TEST_F(Filter, SumsOverTheBoxWithoutItsUpperCorner) {
    WriteMetaImage(m_folder / "image.mha", ParallelFibers({24, 22, 20}, 1));
    WriteMetaImage(m_folder / "mask.mha", Constant({24, 22, 20}, 1));
    expect_done(run("image.mha", {"--mask", "mask.mha", "--box", "2,3,4,6,9,5"}));
    EXPECT_EQ(parsed("tensor.json")["pixels"], 4 * 6 * 1);
    expect_done(run("image.mha", {"--mask", "mask.mha"}));
    EXPECT_EQ(parsed("tensor.json")["pixels"], 23 * 21 * 19);
}

TEST_F(Filter, TakesSixteenBitPixels) {
    const SGreyImage bytes = ParallelFibers({24, 22, 20}, 0);
    SMetaImage words{.size = bytes.size, .elementType = "MET_USHORT"};
    for (const char byte : bytes.pixels) {
        words.pixels += {byte, '\0'};
    }
    WriteMetaImage(m_folder / "bytes.mha", bytes);
    WriteMetaImage(m_folder / "words.mha", words);
    expect_done(run("bytes.mha"));
    const std::string expected = ReadFile(m_folder / "out" / "index.mha");
    expect_done(run("words.mha"));
    EXPECT_EQ(ReadFile(m_folder / "out" / "index.mha"), expected);
}

TEST_F(Filter, SaysWhenAnotherSizeWouldBeMuchFaster) {
    WriteMetaImage(m_folder / "image.mha", ParallelFibers({24, 26}, 1)); // 72, 74 with the frame
    EXPECT_THAT(run("image.mha").err,
                HasSubstr("tevra: along y, 74 = 2 x 37 pixels are transformed: 24 or 27 instead of 26"));
    EXPECT_EQ(run("image.mha", {"--quiet"}).err, "");
    WriteMetaImage(m_folder / "image.mha", ParallelFibers({24, 24}, 1));
    EXPECT_THAT(run("image.mha").err, testing::Not(HasSubstr("faster")));
}

TEST_F(Filter, GivesTheSameForEveryNumberOfThreads) {
    WriteMetaImage(m_folder / "image.mha", ParallelFibers({24, 22, 20}, 1));
    expect_done(run("image.mha", {"--threads", "1"}));
    const std::string expected = ReadFile(m_folder / "out" / "response.mha");
    expect_done(run("image.mha", {"--threads", "3"}));
    EXPECT_EQ(ReadFile(m_folder / "out" / "response.mha"), expected);
    expect_done(run("image.mha"));
    EXPECT_EQ(ReadFile(m_folder / "out" / "response.mha"), expected);
}

TEST_F(Filter, WarnsWherePixelsAreNoCubes) {
    WriteMetaImage(m_folder / "image.mha", ParallelFibers({24, 22, 20}, 1), "0.5 0.5 2");
    const SOutcome outcome = run("image.mha");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.err, HasSubstr("tevra: warning: the spacing of the pixels is not equal"));
}

TEST_F(Filter, RefusesWrongOptions) {
    WriteMetaImage(m_folder / "image.mha", ParallelFibers({24, 22}, 0));
    const auto expect_option_refused = [this](const std::string& option, const std::string& text,
                                              const std::string& part) {
        std::vector<std::string> words = words_for("image.mha", {});
        *(std::find(words.begin(), words.end(), option) + 1) = text;
        ExpectRefusal(words, 2, {option, "'" + text + "'", part}, {.workingFolder = m_folder.Path()});
    };
    for (const char* const option : {"--major", "--minor"}) {
        for (const char* const text : {"0", "-1", "nan", "inf", "x", "", "1,2"}) {
            expect_option_refused(option, text, "");
        }
        expect_option_refused(option, "1e9", "at most 1000");
    }
    for (const char* const text : {"finest", "", "3", "Fine"}) {
        expect_option_refused("--resolution", text, "coarse, medium or fine");
    }
    expect_refused("image.mha", 2, {"--box", "x0,y0,x1,y1"}, {"--box", "0,0,0,5,5,5"});
    expect_refused("image.mha", 2, {"--box", "leaves the image"}, {"--box", "0,0,25,5"});
    expect_refused("image.mha", 2, {"--box", "leaves the image"}, {"--box", "-1,0,5,5"});
    expect_refused("image.mha", 2, {"--box"}, {"--box", "0,0,x,5"});
    expect_refused("image.mha", 2, {"--threads", "at least 1"}, {"--threads", "0"});
    expect_refused("image.mha", 2, {"--nonsense"}, {"--nonsense"});
}

TEST_F(Filter, RefusesToGuessWhatIsRequired) {
    WriteMetaImage(m_folder / "image.mha", ParallelFibers({24, 22}, 0));
    for (const char* const option : {"--major", "--minor", "--resolution", "-o"}) {
        std::vector<std::string> words = words_for("image.mha", {});
        const auto at = std::find(words.begin(), words.end(), option);
        words.erase(at, at + 2);
        ExpectRefusal(words, 2, {"is required"}, {.workingFolder = m_folder.Path()});
    }
}

TEST_F(Filter, RefusesImagesItCannotWorkOn) {
    expect_refused("none.mha", 1, {"none.mha"});
    WriteFile(m_folder / "text.tif", "this is no TIFF file");
    expect_refused("text.tif", 1, {"text.tif"});
    WriteTiff(m_folder / "rgb.tif", ParallelFibers({24, 22}, 0), 3);
    expect_refused("rgb.tif", 1, {"rgb.tif"});
    WriteMetaImage(m_folder / "line.mha", SMetaImage{.size = {64}, .pixels = std::string(64, '\1')});
    expect_refused("line.mha", 1, {"line.mha"});
    SMetaImage floats{.size = {2, 2}, .elementType = "MET_FLOAT"};
    for (const float pixel : {1.0F, 2.0F, std::numeric_limits<float>::quiet_NaN(), 4.0F}) {
        char bytes[sizeof pixel];
        std::memcpy(bytes, &pixel, sizeof pixel);
        floats.pixels.append(bytes, sizeof pixel);
    }
    WriteMetaImage(m_folder / "nan.mha", floats);
    expect_refused("nan.mha", 1, {"nan.mha", "without a finite value"});
}

TEST_F(Filter, RefusesImagesWithoutForeground) {
    WriteMetaImage(m_folder / "constant.mha", Constant({24, 22}, 90));
    expect_refused("constant.mha", 1, {"no foreground", "constant.mha", "--mask"});
    WriteMetaImage(m_folder / "zeros.mha",
                   SMetaImage{.size = {8, 8, 8},
                              .elementType = "MET_FLOAT",
                              .pixels = std::string(std::size_t{8} * 8 * 8 * 4, '\0')});
    expect_refused("zeros.mha", 1, {"no foreground", "zeros.mha"});
    WriteMetaImage(m_folder / "image.mha", ParallelFibers({24, 22}, 0));
    WriteMetaImage(m_folder / "mask.mha", Constant({24, 22}, 0));
    expect_refused("image.mha", 1, {"no foreground", "mask.mha"}, {"--mask", "mask.mha"});
}

TEST_F(Filter, RefusesMasksThatAreNone) {
    WriteMetaImage(m_folder / "image.mha", ParallelFibers({24, 22}, 0));
    WriteMetaImage(m_folder / "mask.mha", Constant({24, 21}, 1));
    expect_refused("image.mha", 1, {"mask.mha", "24 x 21", "24 x 22"}, {"--mask", "mask.mha"});
    SGreyImage grey = Constant({24, 22}, 0);
    grey.pixels[1] = '\1';
    grey.pixels[2] = '\2';
    WriteMetaImage(m_folder / "grey.mha", grey);
    expect_refused("image.mha", 1, {"grey.mha"}, {"--mask", "grey.mha"});
    expect_refused("image.mha", 1, {"none.mha"}, {"--mask", "none.mha"});
}

TEST_F(Filter, RefusesOutputsThatCannotBeWritten) {
    WriteMetaImage(m_folder / "image.mha", ParallelFibers({24, 22}, 0));
    expect_refused("image.mha", 1, {"error: out/response.mha: cannot be written"}, {},
                   {.fileSizeLimit = 500});
    WriteFile(m_folder / "out", "precious");
    expect_refused("image.mha", 1, {"'out'", "is a file"});
    EXPECT_EQ(ReadFile(m_folder / "out"), "precious");
}

TEST_F(Filter, LeavesTheResultsOfAnEarlierRunAsTheyWere) {
    WriteMetaImage(m_folder / "image.mha", ParallelFibers({24, 22}, 0));
    expect_done(run("image.mha"));
    const std::string earlier = ReadFile(m_folder / "out" / "index.mha");
    const std::vector<std::string> files = CTemporaryFolder::EntriesOf(m_folder / "out");
    WriteMetaImage(m_folder / "image.mha", ParallelFibers({24, 22}, 1));
    expect_refused("image.mha", 1, {"out/"}, {}, {.fileSizeLimit = 500});
    EXPECT_EQ(ReadFile(m_folder / "out" / "index.mha"), earlier);
    EXPECT_EQ(CTemporaryFolder::EntriesOf(m_folder / "out"), files);
}

} // namespace
} // namespace TEVRA::test
