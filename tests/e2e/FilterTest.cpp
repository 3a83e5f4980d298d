// SPDX-License-Identifier: BSD-3-Clause
#include "e2e/Images.h"
#include "e2e/ProgramRun.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

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
using testing::AllOf;
using testing::HasSubstr;
using testing::MatchesRegex;

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
        std::vector<std::string> words = {"filter", image,          "--major", "12", "--minor",
                                          "6",      "--resolution", "coarse",  "-o", "out"};
        words.insert(words.end(), more.begin(), more.end());
        return RunTevra(words, {.workingFolder = m_folder.Path()});
    }
    void expect_done(const SOutcome& outcome) {
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.out, "");
    }
    void expect_refused(const SOutcome& outcome, int status, const std::string& part) {
        EXPECT_EQ(outcome.status, status);
        EXPECT_THAT(outcome.err, AllOf(MatchesRegex("tevra: error: [^\n]+\n"), HasSubstr(part)));
        EXPECT_EQ(outcome.out, "");
        EXPECT_FALSE(std::filesystem::exists(m_folder / "out")) << "something was left half done";
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

TEST_F(Filter, RefusesWrongOptions) {
    WriteMetaImage(m_folder / "image.mha", ParallelFibers({24, 22}, 0));
    const auto with = [this](const std::string& major, const std::string& minor,
                             const std::string& resolution) {
        return RunTevra({"filter", "image.mha", "--major", major, "--minor", minor, "--resolution",
                         resolution, "-o", "out"},
                        {.workingFolder = m_folder.Path()});
    };
    expect_refused(with("0", "1", "coarse"), 2, "--major");
    expect_refused(with("2", "-1", "coarse"), 2, "--minor");
    expect_refused(with("nan", "1", "coarse"), 2, "--major");
    expect_refused(with("1e9", "1", "coarse"), 2, "at most 1000");
    expect_refused(with("2", "1", "finest"), 2, "coarse, medium or fine");
    expect_refused(run("image.mha", {"--box", "0,0,0,5,5,5"}), 2, "x0,y0,x1,y1");
    expect_refused(run("image.mha", {"--box", "0,0,25,5"}), 2, "leaves the image");
}

TEST_F(Filter, RefusesImagesItCannotWorkOn) {
    expect_refused(run("none.mha"), 1, "none.mha");
    WriteMetaImage(m_folder / "constant.mha", Constant({24, 22}, 90));
    expect_refused(run("constant.mha"), 1, "no foreground");
    WriteTiff(m_folder / "rgb.tif", ParallelFibers({24, 22}, 0), 3);
    expect_refused(run("rgb.tif"), 1, "rgb.tif");
    SMetaImage floats{.size = {2, 2}, .elementType = "MET_FLOAT"};
    for (const float pixel : {1.0F, 2.0F, std::numeric_limits<float>::quiet_NaN(), 4.0F}) {
        char bytes[sizeof pixel];
        std::memcpy(bytes, &pixel, sizeof pixel);
        floats.pixels.append(bytes, sizeof pixel);
    }
    WriteMetaImage(m_folder / "nan.mha", floats);
    expect_refused(run("nan.mha"), 1, "without a finite value");
}

TEST_F(Filter, RefusesAMaskOfAnotherSize) {
    WriteMetaImage(m_folder / "image.mha", ParallelFibers({24, 22}, 0));
    WriteMetaImage(m_folder / "mask.mha", Constant({24, 21}, 1));
    expect_refused(run("image.mha", {"--mask", "mask.mha"}), 1, "mask");
}

} // namespace
} // namespace TEVRA::test
