// SPDX-License-Identifier: BSD-3-Clause
// What the commands say of the files they read, and what they take from them.
#include "e2e/Images.h"
#include "e2e/KilledRun.h"
#include "e2e/ProgramRun.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <hdf5.h>

namespace TEVRA::test {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

using Words = std::vector<std::string>;

constexpr std::size_t MEGABYTE = std::size_t{1} << 20;

class Reading : public testing::Test {
  protected:
    SOutcome run(const Words& words) { return RunTevra(words, {.workingFolder = m_folder.Path()}); }
    std::string done(const Words& words) {
        const SOutcome outcome = run(words);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return outcome.out + outcome.err;
    }
    json info(const std::string& image) { return json::parse(run({"info", image, "--json"}).out); }

    CTemporaryFolder m_folder;
};

TEST_F(Reading, MapsOfAnImageWithoutSpacingStateNone) {
    const auto has_none = [this](const std::string& image) {
        EXPECT_THAT(ReadFile(m_folder / image), Not(HasSubstr("ElementSpacing"))) << image;
        EXPECT_TRUE(info(image)["spacing"].is_null()) << image;
    };
    WriteMetaImage(m_folder / "image.mha", ParallelFibers({24, 22, 20}, 0));
    done({"analyze", "image.mha", "--fiber-radius", "3", "--maps", "-o", "analysis"});
    done({"filter", "image.mha", "--major", "6", "--minor", "3", "--resolution", "coarse", "-o", "filter"});
    done(
        {"distance", "analysis/theta.mha", "analysis/phi.mha", "--reference", "0,0,1", "-o", "distance.mha"});
    done({"phantom", "--size", "24,22,20", "-o", "phantom.mha"});
    for (const char* const image : {"analysis/theta.mha", "analysis/phi.mha", "filter/index.mha",
                                    "filter/response.mha", "distance.mha", "phantom.mha"}) {
        has_none(image);
    }
    done({"analyze", "image.mha", "--fiber-radius", "3", "--spacing", "1", "--maps", "-o", "stated"});
    EXPECT_THAT(ReadFile(m_folder / "stated/theta.mha"), HasSubstr("ElementSpacing = 1 1 1\n"));
}

TEST_F(Reading, ASpacingThatIsNoneIsWarnedOf) {
    WriteMetaImage(m_folder / "image.mha", ParallelFibers({24, 22, 20}, 0), "0.5 0.5 0");
    const Words words = {"analyze", "image.mha", "--fiber-radius", "3", "-o", "out", "--quiet"};
    EXPECT_THAT(run(words).err, AllOf(HasSubstr("tevra: warning: the spacing that the file states is none "),
                                      HasSubstr("is no length: 0"), HasSubstr("lengths are in pixels"),
                                      HasSubstr("--spacing")));
    const auto warnings = [this] { return json::parse(ReadFile(m_folder / "out/run.json"))["warnings"]; };
    ASSERT_EQ(warnings().size(), 1U);
    EXPECT_EQ(warnings()[0]["kind"], "broken-spacing");
    EXPECT_TRUE(warnings()[0]["value"].is_null());
    EXPECT_THAT(warnings()[0]["text"].get<std::string>(),
                AllOf(HasSubstr("is no length: 0"), Not(HasSubstr("--"))));
    Words more = words;
    more.insert(more.end(), {"--spacing", "1"});
    EXPECT_EQ(run(more).err, "");
    EXPECT_EQ(warnings(), json::array());
    WriteMetaImage(m_folder / "image.mha", ParallelFibers({24, 22, 20}, 0));
    EXPECT_EQ(run(words).err, "");
}

TEST_F(Reading, ResultsDoNotLieAmongTheSlicesOfTheImage) {
    fs::create_directory(m_folder / "scan");
    const SGreyImage slice = ParallelFibers({24, 22}, 0);
    for (int number = 10; number < 30; ++number) {
        const bool hasFibers = number >= 16 && number <= 23; // above each other they are no sheets
        WriteTiff(m_folder / ("scan/s" + std::to_string(number) + ".tif"),
                  hasFibers ? slice : Constant(slice.size, 40));
    }
    fs::create_directory_symlink("scan", m_folder / "alias");
    const Words slices = CTemporaryFolder::EntriesOf(m_folder / "scan");
    for (const Words& command :
         {Words{"analyze", "--fiber-radius", "3"},
          Words{"filter", "--major", "6px", "--minor", "3px", "--resolution", "coarse"}}) {
        Words words = command;
        words.insert(words.begin() + 1, "scan/");
        words.insert(words.end(), {"-o", "alias"});
        const SOutcome outcome = run(words);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_THAT(outcome.err, HasSubstr("the results would lie among the slices of the image 'scan/'"));
        EXPECT_EQ(CTemporaryFolder::EntriesOf(m_folder / "scan"), slices);
        words.back() = "scan/results"; // folders within are left alone
        EXPECT_EQ(run(words).status, 0);
        fs::remove_all(m_folder / "scan/results");
    }
}

TEST_F(Reading, AFolderThatLacksSlicesIsWarnedOf) {
    fs::create_directory(m_folder / "scan");
    const SGreyImage slice = ParallelFibers({24, 22}, 0);
    for (const int number : {1, 2, 3, 4, 6, 7, 8, 9, 10, 14, 15, 16, 17, 18, 19, 20}) {
        const bool hasFibers = number >= 8 && number <= 15; // above each other they are no sheets
        WriteTiff(m_folder / ("scan/s" + std::to_string(number) + ".tif"),
                  hasFibers ? slice : Constant(slice.size, 40));
    }
    const Words analyze = {"analyze", "scan", "--fiber-radius", "3", "-o", "out"};
    const Words filter = {"filter", "scan",         "--major", "6",  "--minor",
                          "3",      "--resolution", "coarse",  "-o", "filtered"};
    for (Words words : {Words{"info", "scan"}, analyze, filter}) {
        EXPECT_THAT(run(words).err, AllOf(HasSubstr("tevra: warning: the folder 'scan' seems to lack slices"),
                                          HasSubstr("number 5, 11 to 13;"), HasSubstr("--allow-gaps")));
        words.emplace_back("--allow-gaps");
        EXPECT_THAT(done(words), Not(HasSubstr("warning")));
    }
    EXPECT_EQ(info("scan")["missing_slices"], "5, 11 to 13");
    EXPECT_EQ(json::parse(ReadFile(m_folder / "out/run.json"))["input"]["missing_slices"], "5, 11 to 13");
}

template <typename PixelT>
std::string bytes_of(const std::vector<PixelT>& pixels) {
    std::string bytes(pixels.size() * sizeof(PixelT), '\0');
    std::memcpy(bytes.data(), pixels.data(), bytes.size());
    return bytes;
}

TEST_F(Reading, ValuesThatLoseTheirContrastAsFloatsAreWarnedOf) {
    const SGreyImage image = ParallelFibers({24, 22, 20}, 0);
    const auto write = [&](std::uint32_t offset) {
        std::vector<std::uint32_t> pixels;
        for (const char c : image.pixels) {
            pixels.push_back(offset + static_cast<unsigned char>(c));
        }
        WriteMetaImage(m_folder / "wide.mha",
                       {.size = image.size, .elementType = "MET_UINT", .pixels = bytes_of(pixels)});
    };
    const Words analyze = {"analyze", "wide.mha", "--fiber-radius", "3", "-o", "out"};
    write(4'000'000'001U);
    for (const Words& words : {analyze, Words{"info", "wide.mha"},
                               Words{"filter", "wide.mha", "--major", "6", "--minor", "3", "--resolution",
                                     "coarse", "-o", "filtered"}}) {
        EXPECT_THAT(
            run(words).err,
            AllOf(HasSubstr("tevra: warning: values (32-bit unsigned integer) were rounded to 32-bit float"),
                  HasSubstr("subtract a constant")));
    }
    EXPECT_GT(json::parse(ReadFile(m_folder / "out/run.json"))["input"]["largest_rounding"], 10.0);
    write(0);
    EXPECT_THAT(done(analyze), AllOf(Not(HasSubstr("warning")), Not(HasSubstr("rounded"))));
    EXPECT_EQ(info("wide.mha")["largest_value"], 200.0);
}

TEST_F(Reading, AnImageIsMeasuredAlikeInEveryType) {
    const SGreyImage image = ParallelFibers({24, 22, 20}, 1);
    const Words options = {"--fiber-radius", "3", "-o", "out", "--quiet"};
    const auto result = [&](const std::string& name) {
        Words words = {"analyze", name};
        words.insert(words.end(), options.begin(), options.end());
        done(words);
        return ReadFile(m_folder / "out/result.json");
    };
    const std::vector<float> floats = [&] {
        std::vector<float> pixels;
        for (const char c : image.pixels) {
            pixels.push_back(static_cast<float>(static_cast<unsigned char>(c)));
        }
        return pixels;
    }();
    WriteMetaImage(m_folder / "float.mha",
                   {.size = image.size, .elementType = "MET_FLOAT", .pixels = bytes_of(floats)});
    const std::string expected = result("float.mha");
    WriteMetaImage(m_folder / "double.mha",
                   {.size = image.size,
                    .elementType = "MET_DOUBLE",
                    .pixels = bytes_of(std::vector<double>(floats.begin(), floats.end()))});
    EXPECT_EQ(result("double.mha"), expected);
    const std::string header = "{'descr': '<i4', 'fortran_order': False, 'shape': (20, 22, 24), }\n";
    WriteFile(m_folder / "image.npy", std::string("\x93NUMPY\1\0", 8) +
                                          bytes_of(std::vector{static_cast<std::uint16_t>(header.size())}) +
                                          header +
                                          bytes_of(std::vector<std::int32_t>(floats.begin(), floats.end())));
    EXPECT_EQ(result("image.npy"), expected);
}

TEST_F(Reading, AResumedRunNoticesNewPixelsBehindAnOldHeader) {
    constexpr int EXTENT = 150;
    SMetaImage image{.size = {EXTENT, EXTENT, EXTENT}};
    const SGreyImage fibers = ParallelFibers(image.size, 0);
    WriteMetaImage(m_folder / "image.mha", fibers);
    std::string header = ReadFile(m_folder / "image.mha");
    header.resize(header.size() - fibers.pixels.size());
    header.replace(header.rfind("LOCAL"), 5, "image.raw");
    WriteFile(m_folder / "image.mhd", header);
    WriteFile(m_folder / "image.raw", fibers.pixels);
    const Words words = {"analyze", "image.mhd", "--fiber-radius", "3", "-o", "out", "--resume", "--maps"};
    ASSERT_TRUE(RunUntilKilled({.workingFolder = m_folder.Path(), .arguments = words}).has_value());
    // As a copy that keeps times would: the size and the time of writing are those of before.
    const auto time = fs::last_write_time(m_folder / "image.raw");
    WriteFile(m_folder / "image.raw", ParallelFibers(image.size, 2).pixels);
    fs::last_write_time(m_folder / "image.raw", time);
    EXPECT_THAT(done(words), HasSubstr("starting over"));
}

TEST_F(Reading, ControlCharactersOfFilesDoNotReachTheTerminal) {
    const std::string name = "evil\x1B[2J.tif";
    WriteFile(m_folder / name, "no TIFF file");
    EXPECT_THAT(run({"info", name}).err, AllOf(HasSubstr("evil\\x1B[2J.tif"), Not(HasSubstr("\x1B"))));
    EXPECT_THAT(run({"analyze", name, "--fiber-radius", "3", "-o", "out"}).err, Not(HasSubstr("\x1B")));
    WriteFile(m_folder / "evil.nrrd",
              "NRRD0004\ntype: \x1B]0;title\a\ndimension: 2\nsizes: 1 1\nencoding: raw\n\nx");
    EXPECT_THAT(run({"info", "evil.nrrd"}).err,
                AllOf(HasSubstr("\\x1B]0;title\\x07"), Not(HasSubstr("\x1B"))));
    WriteMetaImage(m_folder / "image.mha", ParallelFibers({24, 22, 20}, 0));
    const std::string said = done({"analyze", "image.mha", "--fiber-radius", "3", "-o", "out\x1B[2J"});
    EXPECT_THAT(said, AllOf(HasSubstr("out\\x1B[2J"), Not(HasSubstr("\x1B"))));
}

TEST_F(Reading, AClaimOfAHeaderCostsNoMemory) {
    const std::string bytes = std::string("\x1F\x8B\x08\0\0\0\0\0\0\x03", 10) + std::string(100, 'x');
    WriteFile(
        m_folder / "image.nrrd",
        "NRRD0004\ntype: float\ndimension: 3\nsizes: 100000 100000 9\nencoding: gzip\nendian: little\n\n" +
            bytes);
    for (const Words& words :
         {Words{"info", "image.nrrd"}, Words{"filter", "image.nrrd", "--major", "6", "--minor", "3",
                                             "--resolution", "coarse", "-o", "out"}}) {
        const SOutcome outcome = run(words);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_THAT(outcome.err,
                    AllOf(HasSubstr("the file is truncated or its header broken"), Not(HasSubstr("memory"))));
        EXPECT_LT(outcome.peakBytes, 200 * MEGABYTE);
    }
}

/// 160 slices of 500 x 500 in chunks as deep as the image, all of which the cache wants to hold.
void write_deep_chunks(const fs::path& path) {
    constexpr std::array<hsize_t, 3> EXTENTS{160, 500, 500};
    constexpr std::array<hsize_t, 3> CHUNK{160, 50, 50};
    const hid_t file = H5Fcreate(path.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT);
    const hid_t space = H5Screate_simple(3, EXTENTS.data(), nullptr);
    const hid_t creation = H5Pcreate(H5P_DATASET_CREATE);
    H5Pset_chunk(creation, 3, CHUNK.data());
    H5Pset_deflate(creation, 1);
    const hid_t dataset = H5Dcreate2(file, "v", H5T_STD_U8LE, space, H5P_DEFAULT, creation, H5P_DEFAULT);
    std::string pixels;
    for (int z = 0; z < 160; ++z) {
        for (int y = 0; y < 500; ++y) {
            for (int x = 0; x < 500; ++x) {
                const bool isFiber = (x + z / 4) % 16 < 7 && (y + z / 7) % 15 < 7;
                pixels += static_cast<char>(isFiber ? 200 : 40 + (x * 7 + y * 5 + z * 3) % 13);
            }
        }
    }
    H5Dwrite(dataset, H5T_NATIVE_UINT8, H5S_ALL, H5S_ALL, H5P_DEFAULT, pixels.data());
    H5Dclose(dataset);
    H5Pclose(creation);
    H5Sclose(space);
    H5Fclose(file);
}

TEST_F(Reading, ChunkedHdf5StaysWithinTheMemory) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer needs memory of its own";
#endif
    write_deep_chunks(m_folder / "deep.h5");
    const auto measure = [&](const std::string& memory) {
        const SOutcome outcome = run({"analyze", "deep.h5:v", "--fiber-radius", "3", "--estimator", "hessian",
                                      "--memory", memory, "--threads", "2", "-o", "out" + memory});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        const json record = json::parse(ReadFile(m_folder / ("out" + memory + "/run.json")));
        EXPECT_LE(outcome.peakBytes, record["memory"]["expected_bytes"].get<std::size_t>()) << memory;
        EXPECT_LE(outcome.peakBytes, record["memory"]["allowed_bytes"].get<std::size_t>()) << memory;
        return ReadFile(m_folder / ("out" + memory + "/result.json"));
    };
    const std::string narrow = measure("64M");
    EXPECT_EQ(narrow, measure("1G")); // with a cache for all chunks
}

/// The library behind the reader describes every failure at length; users see one line.
TEST_F(Reading, ABrokenHdf5FileIsOneLine) {
    write_deep_chunks(m_folder / "deep.h5");
    const std::string whole = ReadFile(m_folder / "deep.h5");
    for (const double share : {0.0005, 0.3, 0.9}) {
        std::string broken = whole;
        const auto at = static_cast<std::size_t>(share * static_cast<double>(whole.size()));
        broken.replace(at, 400, std::string(400, '\x5a'));
        std::ofstream(m_folder / "broken.h5", std::ios::binary) << broken;
        const SOutcome outcome =
            run({"analyze", "broken.h5:v", "--fiber-radius", "3", "--quiet", "-o", "out"});
        EXPECT_EQ(outcome.status, 1) << share;
        EXPECT_THAT(outcome.err, testing::StartsWith("tevra: error: ")) << share;
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
    }
}

} // namespace
} // namespace TEVRA::test
