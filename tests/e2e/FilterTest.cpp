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
        std::vector<std::string> words = words_for(image, more);
        words.emplace_back("--quiet");
        ExpectRefusal(words, status, parts, circumstances);
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
    EXPECT_GT(tensor["a_yy"].get<double>(), 0.9);
    EXPECT_NEAR(tensor["a_xx"].get<double>() + tensor["a_yy"].get<double>() + tensor["a_zz"].get<double>(),
                1.0, 1e-5);
    EXPECT_GT(tensor["pixels"].get<long long>(), 0);

    const json histogram = parsed("histogram.json");
    ASSERT_EQ(histogram.size(), 18U);
    EXPECT_EQ(histogram["1"][1], 1.0); // the y axis
    long long counted = 0;
    for (const auto& entry : histogram) {
        ASSERT_EQ(entry.size(), 4U);
        counted += entry[3].get<long long>();
    }
    EXPECT_EQ(counted, tensor["pixels"].get<long long>());
    EXPECT_EQ(counted, parsed("run.json")["evaluated"]["pixels"].get<long long>());
    EXPECT_EQ(parsed("run.json")["foreground"]["pixels"].get<std::size_t>(), foreground);
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
    expect_done(run("image.mha", {"--mask", "mask.mha", "--rim", "0", "--box", "2,3,4,6,9,5"}));
    EXPECT_EQ(parsed("tensor.json")["pixels"], 4 * 6 * 1);
    expect_done(run("image.mha", {"--mask", "mask.mha", "--rim", "0"}));
    EXPECT_EQ(parsed("tensor.json")["pixels"], 23 * 21 * 19);
    expect_done(run("image.mha", {"--mask", "mask.mha"})); // without a rim of 8 px
    EXPECT_EQ(parsed("tensor.json")["pixels"], 8 * 6 * 4);
}

TEST_F(Filter, StatesTheBoxThatItUsed) {
    WriteMetaImage(m_folder / "image.mha", ParallelFibers({150, 40}, 0));
    expect_done(run("image.mha", {"--rim", "0", "--box", "0,0,149,39"}));
    const json expected = parsed("tensor.json");
    EXPECT_EQ(expected["upper_corner_px"], json({149, 39}));
    expect_done(run("image.mha", {"--rim", "0", "--box", "0,0,150,40"}));
    EXPECT_EQ(parsed("tensor.json"), expected); // the last column and row are never counted
    expect_done(run("image.mha", {"--rim", "0"}));
    EXPECT_EQ(parsed("tensor.json"), expected);
    EXPECT_EQ(parsed("run.json")["evaluated"]["upper_corner_px"], json({149, 39}));
    EXPECT_TRUE(parsed("run.json")["parameters"]["box"].is_null());
}

TEST_F(Filter, CountsDirectionsInTheBoxOfTheTensor) {
    WriteMetaImage(m_folder / "image.mha", ParallelFibers({40, 36}, 1));
    expect_done(run("image.mha", {"--box", "10,10,30,26"}));
    const json tensor = parsed("tensor.json");
    double xx = 0.0;
    long long counted = 0;
    for (const auto& entry : parsed("histogram.json")) {
        const long long pixels = entry[2].get<long long>();
        xx += static_cast<double>(pixels) * entry[0].get<double>() * entry[0].get<double>();
        counted += pixels;
    }
    EXPECT_EQ(counted, tensor["pixels"].get<long long>());
    EXPECT_NEAR(xx / static_cast<double>(counted), tensor["a_xx"].get<double>(), 1e-12);
}

TEST_F(Filter, WarnsWhereABoxReachesIntoTheRim) {
    WriteMetaImage(m_folder / "image.mha", ParallelFibers({40, 36}, 1));
    EXPECT_THAT(run("image.mha", {"--box", "0,0,30,26"}).err,
                HasSubstr("tevra: warning: the box reaches into the rim of 8 x 8 px"));
    EXPECT_EQ(parsed("tensor.json")["lower_corner_px"], json({8, 8}));
    EXPECT_EQ(parsed("run.json")["parameters"]["box"]["lower_corner_px"], json({0, 0}));
    EXPECT_THAT(run("image.mha", {"--box", "8,8,30,26"}).err, testing::Not(HasSubstr("warning")));
}

TEST_F(Filter, WarnsWhereTheImageIsAllRim) {
    WriteMetaImage(m_folder / "image.mha", ParallelFibers({40, 36, 16}, 1));
    const SOutcome outcome = run("image.mha");
    expect_done(outcome);
    EXPECT_THAT(outcome.err, HasSubstr("tevra: warning: along z the filters reach beyond the image"));
    EXPECT_EQ(parsed("run.json")["evaluated"]["rim_px"], json({8, 8, 0}));
}

/// Fibers along y on the background 0, as floats: `scale` times their grey value plus `offset`.
SMetaImage float_fibers(const std::vector<int>& size, double scale, double offset) {
    const SGreyImage bytes = ParallelFibers(size, 1);
    SMetaImage floats{.size = size, .elementType = "MET_FLOAT"};
    for (const char byte : bytes.pixels) {
        const auto pixel = static_cast<float>(scale * (static_cast<unsigned char>(byte) - 40.0) + offset);
        char text[sizeof pixel];
        std::memcpy(text, &pixel, sizeof pixel);
        floats.pixels.append(text, sizeof pixel);
    }
    return floats;
}

TEST_F(Filter, FindsTheSameOnNegativeAndBrightBackgrounds) {
    WriteMetaImage(m_folder / "dark.mha", float_fibers({40, 36, 32}, 1.0, 0.0));
    expect_done(run("dark.mha"));
    const std::string index = ReadFile(m_folder / "out" / "index.mha");
    const json tensor = parsed("tensor.json");
    const std::vector<float> response = map("response.mha");
    EXPECT_GT(tensor["a_yy"].get<double>(), 0.8);
    for (const double offset : {-1000.0, 2000.0}) {
        WriteMetaImage(m_folder / "other.mha", float_fibers({40, 36, 32}, 1.0, offset));
        expect_done(run("other.mha"));
        EXPECT_EQ(ReadFile(m_folder / "out" / "index.mha"), index) << offset;
        EXPECT_EQ(parsed("tensor.json"), tensor);
        EXPECT_EQ(parsed("run.json")["background"]["level"], offset);
        const std::vector<float> moved = map("response.mha");
        for (std::size_t i = 0; i < moved.size(); ++i) {
            ASSERT_NEAR(moved[i], response[i] + offset, 1e-3);
        }
    }
}

TEST_F(Filter, HardlyChangesItsAnswerOnABrightNoisyBackground) {
    const auto lambda_on = [this](const std::string& greys) {
        const SCircumstances here{.workingFolder = m_folder.Path()};
        expect_done(RunTevra({"phantom", "-o", "image.mha", "--size", "48,48,48", "--fiber-radius", "2",
                              "--layout", "grid", "--fiber-distance", "12", "--axis", "0.3,0.9,0.2", "--grey",
                              greys, "--noise", "5", "--quiet"},
                             here));
        expect_done(RunTevra(
            {"filter", "image.mha", "--major", "10", "--minor", "4", "--resolution", "medium", "-o", "out"},
            here));
        return parsed("tensor.json")["lambda_1"].get<double>();
    };
    const double onDark = lambda_on("20,120");
    EXPECT_GT(onDark, 0.9);
    EXPECT_NEAR(lambda_on("140,240"), onDark, 0.01);
}

TEST_F(Filter, FindsFibersThatAMaskTellsToBeDarkerThanTheirBackground) {
    // Answers far below the background are answers, too: of dark fibers the least dark direction wins,
    // across.
    WriteMetaImage(m_folder / "image.mha", float_fibers({40, 36}, -100.0, 0.0));
    WriteMetaImage(m_folder / "mask.mha", Constant({40, 36}, 1));
    expect_done(run("image.mha", {"--mask", "mask.mha"}));
    EXPECT_LT(parsed("tensor.json")["a_yy"].get<double>(), 0.5); // was 1: all had direction 0
    const json histogram = parsed("histogram.json");
    EXPECT_LT(histogram["0"][2].get<long long>(), parsed("tensor.json")["pixels"].get<long long>());
}

TEST_F(Filter, PartsImagesOfTwoValues) {
    SGreyImage binary = ParallelFibers({40, 36}, 1);
    long long fibers = 0;
    for (char& pixel : binary.pixels) {
        const bool isFiber = static_cast<unsigned char>(pixel) > 120;
        fibers += isFiber ? 1 : 0;
        pixel = isFiber ? '\xff' : '\0';
    }
    WriteMetaImage(m_folder / "image.mha", binary);
    expect_done(run("image.mha"));
    EXPECT_EQ(parsed("run.json")["foreground"]["pixels"].get<long long>(), fibers);
}

TEST_F(Filter, RecordsTheRun) {
    WriteMetaImage(m_folder / "image.mha", ParallelFibers({40, 36}, 1), "0.5 0.5");
    expect_done(run("image.mha", {"--threads", "2"}));
    const json record = parsed("run.json");
    EXPECT_EQ(record["program"], "tevra");
    EXPECT_EQ(record["command"], "filter");
    EXPECT_TRUE(record["version"].is_string());
    EXPECT_EQ(record["input"]["path"], "image.mha");
    EXPECT_EQ(record["input"]["size_px"], json({40, 36}));
    EXPECT_EQ(record["input"]["pixel_type"], "8-bit unsigned integer");
    EXPECT_EQ(record["input"]["spacing"], json({0.5, 0.5}));
    EXPECT_EQ(record["parameters"]["major_width_px"], 12.0);
    EXPECT_EQ(record["parameters"]["minor_width_px"], 6.0);
    EXPECT_EQ(record["parameters"]["resolution"], "coarse");
    EXPECT_EQ(record["parameters"]["threads"], 2);
    EXPECT_TRUE(record["parameters"]["mask"].is_null());
    EXPECT_EQ(record["background"]["level"], 40.0);
    EXPECT_EQ(record["background"]["source"], "threshold");
    EXPECT_GT(record["foreground"]["threshold"].get<double>(), 40.0);
    EXPECT_LT(record["foreground"]["threshold"].get<double>(), 200.0);
    EXPECT_EQ(record["transform"]["size_px"], json({88, 84}));
    EXPECT_GT(record["seconds"]["total"].get<double>(), 0.0);
    EXPECT_EQ(record["files"].size(), 6U);
    WriteMetaImage(m_folder / "mask.mha", Constant({40, 36}, 1));
    expect_done(run("image.mha", {"--mask", "mask.mha"}));
    EXPECT_EQ(parsed("run.json")["parameters"]["mask"], "mask.mha");
    EXPECT_TRUE(parsed("run.json")["foreground"]["threshold"].is_null());
}

TEST_F(Filter, PrintsTheMemoryItWouldTakeAndDoesNothing) {
    WriteMetaImage(m_folder / "image.mha", ParallelFibers({40, 36}, 1));
    const SOutcome outcome = run("image.mha", {"--dry-run", "--memory", "1G"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out,
                testing::MatchesRegex("memory: up to [0-9]+ MB of 1.0 GB allowed; 88 x 84 px are "
                                      "transformed, a frame of 24 px on every side included\n"));
    EXPECT_FALSE(std::filesystem::exists(m_folder / "out"));
}

TEST_F(Filter, RefusesToTakeMoreMemoryThanAllowed) {
    WriteMetaImage(m_folder / "image.mha", ParallelFibers({16, 16, 16}, 1));
    std::vector<std::string> words = words_for("image.mha", {"--memory", "512M"});
    *(std::find(words.begin(), words.end(), "--major") + 1) = "100";
    ExpectRefusal(words, 1, {"1.4 GB of memory", "allowed 512 MB", "416 x 416 x 416", "narrower filters"},
                  {.workingFolder = m_folder.Path()});
    expect_refused("image.mha", 2, {"--memory"}, {"--memory", "lots"});
}

TEST_F(Filter, TakesNoMoreMemoryThanItAnnounces) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer needs memory of its own";
#endif
    WriteMetaImage(m_folder / "image.mha", ParallelFibers({100, 90, 80}, 1));
    const SOutcome outcome = run("image.mha", {"--threads", "2"});
    expect_done(outcome);
    const auto announced = parsed("run.json")["memory"]["expected_bytes"].get<std::size_t>();
    EXPECT_LE(outcome.peakBytes, announced);
    EXPECT_GT(outcome.peakBytes, announced / 2);
}

TEST_F(Filter, RefusesFiltersThatAreNotDrawnOut) {
    WriteMetaImage(m_folder / "image.mha", ParallelFibers({40, 36}, 1));
    for (const char* const minor : {"12", "12.5", "100"}) {
        std::vector<std::string> words = words_for("image.mha", {});
        *(std::find(words.begin(), words.end(), "--minor") + 1) = minor;
        ExpectRefusal(words, 2, {"--major, --minor", "must be greater than that across", minor},
                      {.workingFolder = m_folder.Path()});
    }
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
                HasSubstr("tevra: the image with its frame is slow to transform: 74 = 2 x 37 pixels along y; "
                          "several times faster: 24 or 27 pixels instead of 26, or filters 11.5 or 13.5 wide "
                          "along their direction instead of 12\n"));
    EXPECT_EQ(run("image.mha", {"--quiet", "--rim", "0"}).err, "");
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
    expect_refused("image.mha", 2, {"--box", "empty along y", "not included"}, {"--box", "0,5,9,5"});
    expect_refused("image.mha", 2, {"--rim", "no pixel is left"}, {"--rim", "12"});
    expect_refused("image.mha", 2, {"--rim"}, {"--rim", "-1"});
    expect_refused("image.mha", 2, {"--rim"}, {"--rim", "1,2,3"});
    expect_refused("image.mha", 2, {"--threads", "at least 1"}, {"--threads", "0"});
    expect_refused("image.mha", 2, {"--nonsense"}, {"--nonsense"});
}

TEST_F(Filter, TakesWidthsWithAUnit) {
    expect_done(RunTevra({"phantom", "-o", "image.mha", "--size", "24,22,20", "--fiber-radius", "1.5um",
                          "--spacing", "0.5um", "--quiet"},
                         {.workingFolder = m_folder.Path()}));
    const auto index_with = [this](const std::string& major, const std::string& minor) {
        expect_done(RunTevra({"filter", "image.mha", "--major", major, "--minor", minor, "--resolution",
                              "coarse", "-o", "out", "--quiet"},
                             {.workingFolder = m_folder.Path()}));
        return ReadFile(m_folder / "out/index.mha");
    };
    EXPECT_EQ(index_with("6um", "0.003mm"), index_with("12", "6"));
}

TEST_F(Filter, RefusesWidthsWithAUnitForImagesWithout) {
    const auto refuse = [this](const std::string& spacing, const std::string& reason) {
        WriteMetaImage(m_folder / "image.mha", ParallelFibers({24, 22}, 0), spacing);
        ExpectRefusal({"filter", "image.mha", "--major", "6um", "--minor", "6", "--resolution", "coarse",
                       "-o", "out", "--quiet"},
                      1, {"--major: '6um' has a unit", reason, "in pixels, as a number alone"},
                      {.workingFolder = m_folder.Path()});
    };
    refuse("", "states no spacing");
    refuse("0.5 0.5", "a spacing without unit");
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
    expect_refused("constant.mha", 1, {"no foreground", "constant.mha"});
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
    expect_refused("image.mha", 1, {"there is no room for 'out/index.mha' (0.", "File too large"}, {},
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
