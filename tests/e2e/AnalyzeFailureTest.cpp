// SPDX-License-Identifier: BSD-3-Clause
#include "e2e/Images.h"
#include "e2e/ProgramRun.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <unistd.h>
#include <vector>

namespace TEVRA::test {
namespace {

namespace fs = std::filesystem;

using Words = std::vector<std::string>;

const std::vector<int> VOLUME = {40, 36, 32};
const std::vector<int> PLANE = {60, 50};
constexpr int FAILED = 1;
constexpr int WRONG_USAGE = 2;

class AnalyzeFailure : public testing::Test {
  protected:
    AnalyzeFailure() {
        write("volume.mha", ParallelFibers(VOLUME, 0));
        write("plane.mha", ParallelFibers(PLANE, 0));
    }

    void write(const std::string& name, const SGreyImage& image, const std::string& spacing = "") {
        WriteMetaImage(m_folder / name, image, spacing);
    }
    void write_meta(const std::string& name, const SMetaImage& image) {
        WriteMetaImage(m_folder / name, image);
    }

    /// Runs `tevra analyze` with these words; expects the status, one line of error that holds all parts, and
    /// nothing new in the folder.
    void expect_refusal(const Words& words, int status, const Words& parts,
                        const SCircumstances& circumstances = {}) {
        Words all = {"analyze", "--quiet"};
        all.insert(all.end(), words.begin(), words.end());
        SCircumstances inFolder = circumstances;
        inFolder.workingFolder = m_folder.Path();
        ExpectRefusal(all, status, parts, inFolder);
    }
    /// The same for an image that is refused with a good radius.
    void expect_image_refusal(const std::string& image, const Words& parts, const Words& options = {}) {
        Words words = {image, "--fiber-radius", "3", "-o", "out"};
        words.insert(words.end(), options.begin(), options.end());
        expect_refusal(words, FAILED, parts);
    }
    /// The same for the value of an option of an otherwise good command.
    void expect_option_refusal(const Words& options, const Words& parts,
                               const std::string& image = "volume.mha") {
        Words words = {image, "-o", "out"};
        if (std::find(options.begin(), options.end(), "--fiber-radius") == options.end()) {
            words.insert(words.end(), {"--fiber-radius", "3"});
        }
        words.insert(words.end(), options.begin(), options.end());
        expect_refusal(words, WRONG_USAGE, parts);
    }

    CTemporaryFolder m_folder;
};

TEST_F(AnalyzeFailure, AMissingImage) {
    expect_image_refusal("none.tif", {"none.tif"});
}

TEST_F(AnalyzeFailure, AFileThatIsNoImage) {
    WriteFile(m_folder / "text.tif", "this is no TIFF file");
    expect_image_refusal("text.tif", {"text.tif"});
    WriteFile(m_folder / "empty.tif", "");
    expect_image_refusal("empty.tif", {"empty.tif"});
    WriteFile(m_folder / "image.xyz", "of no known format");
    expect_image_refusal("image.xyz", {"image.xyz"});
}

TEST_F(AnalyzeFailure, AFileThatMayNotBeRead) {
    if (geteuid() == 0) {
        GTEST_SKIP() << "root may read every file";
    }
    fs::permissions(m_folder / "volume.mha", fs::perms::none);
    expect_image_refusal("volume.mha", {"volume.mha", "Permission denied"});
}

TEST_F(AnalyzeFailure, ATruncatedTiff) {
    WriteTiff(m_folder / "whole.tif", ParallelFibers(VOLUME, 0));
    const std::string bytes = ReadFile(m_folder / "whole.tif");
    for (const double share : {0.02, 0.5, 0.999}) {
        WriteFile(m_folder / "cut.tif",
                  bytes.substr(0, static_cast<std::size_t>(share * static_cast<double>(bytes.size()))));
        expect_image_refusal("cut.tif", {"cut.tif"});
    }
}

TEST_F(AnalyzeFailure, ATruncatedMetaImage) {
    const std::string bytes = ReadFile(m_folder / "volume.mha");
    WriteFile(m_folder / "cut.mha", bytes.substr(0, bytes.size() - 1));
    expect_image_refusal("cut.mha", {"cut.mha"});
}

TEST_F(AnalyzeFailure, AHeaderlessFileOfAnotherSize) {
    WriteFile(m_folder / "image.raw", std::string(1000, '\1'));
    expect_image_refusal("image.raw", {"image.raw", "1000", "1001"}, {"--raw", "7,11,13,u8"});
    expect_image_refusal("image.raw", {"image.raw", "1000", "2000"}, {"--raw", "10,10,10,u16"});
}

TEST_F(AnalyzeFailure, PixelsThatAreNotGrey) {
    WriteTiff(m_folder / "rgb.tif", ParallelFibers(PLANE, 0), 3);
    expect_image_refusal("rgb.tif", {"rgb.tif"});
    write_meta("rgb.mha", {.size = {8, 8}, .pixels = std::string(8 * 8 * 3, '\1'), .channels = 3});
    expect_image_refusal("rgb.mha", {"rgb.mha"});
    write_meta(
        "complex.mha",
        {.size = {8, 8}, .elementType = "MET_FLOAT", .pixels = std::string(8 * 8 * 8, '\0'), .channels = 2});
    expect_image_refusal("complex.mha", {"complex.mha"});
}

TEST_F(AnalyzeFailure, PixelsBeyondTheRangeOfFloats) {
    write_meta(
        "double.mha",
        {.size = {16, 16, 16}, .elementType = "MET_DOUBLE", .pixels = std::string(16 * 16 * 16 * 8, '\x7E')});
    expect_image_refusal("double.mha", {"double.mha", "32-bit float"});
}

TEST_F(AnalyzeFailure, AnImageOfOneOrFourDimensions) {
    write_meta("line.mha", {.size = {64}, .pixels = std::string(64, '\1')});
    expect_image_refusal("line.mha", {"line.mha"});
    write_meta("series.mha", {.size = {8, 8, 8, 8}, .pixels = std::string(8 * 8 * 8 * 8, '\1')});
    expect_image_refusal("series.mha", {"series.mha"});
}

TEST_F(AnalyzeFailure, UnequalSpacingWithTheHessian) {
    const Words hessian = {"--estimator", "hessian"};
    const std::string others = "line-voting and structure-tensor do";
    write("slabs.mha", ParallelFibers(VOLUME, 0), "0.5 0.5 2");
    expect_image_refusal(
        "slabs.mha", {"Need equal pixel spacing in all axis directions", "0.5 x 0.5 x 2", others}, hessian);
    write("stretched.mha", ParallelFibers(PLANE, 0), "0.5 1");
    expect_image_refusal("stretched.mha",
                         {"Need equal pixel spacing in all axis directions", "0.5 x 1:", others}, hessian);
    expect_image_refusal("volume.mha", {"Need equal pixel spacing", "1 x 1 x 2"},
                         {"--spacing", "1,1,2", "--estimator", "hessian"});
}

TEST_F(AnalyzeFailure, ASpacingThatIsNoPositiveLength) {
    for (const std::string spacing : {"0", "-1", "nan", "inf", "1,0,1", "x", ""}) {
        expect_option_refusal({"--spacing", spacing}, {"--spacing", "'" + spacing + "'"});
    }
    expect_option_refusal({"--spacing", "1,1"}, {"--spacing", "2", "3 axes"});
    expect_option_refusal({"--spacing", "1,1,1"}, {"--spacing", "3", "2 axes"}, "plane.mha");
}

TEST_F(AnalyzeFailure, ARadiusThatIsNoPositiveLength) {
    for (const std::string radius : {"0", "-3", "nan", "inf", "-inf", "three", "", "3pix", "0px"}) {
        expect_option_refusal({"--fiber-radius", radius}, {"--fiber-radius", "'" + radius + "'"});
    }
}

TEST_F(AnalyzeFailure, ARadiusWithAUnitForAnImageWithout) {
    const std::vector<std::string> withUnit = {"volume.mha", "--fiber-radius", "3um", "-o", "out"};
    const std::string radius = "the fiber radius is given in a unit (3 um)";
    expect_refusal(withUnit, FAILED, {radius, "the image states no spacing", "in pixels, as a number alone"});
    write("spaced.mha", ParallelFibers(VOLUME, 0), "1 1 1");
    expect_refusal({"spaced.mha", "--fiber-radius", "3um", "-o", "out"}, FAILED,
                   {radius, "the image's spacing has none", "give the spacing with its unit"});
}

TEST_F(AnalyzeFailure, UnitsThatDoNotGoTogether) {
    expect_option_refusal({"--spacing", "1um"}, {"--fiber-radius: '3' has no unit", "give both a unit"});
    expect_option_refusal({"--spacing", "1um,1,1um"}, {"--spacing: '1um,1,1um'", "with a unit and without"});
    expect_option_refusal({"--spacing", "1parsec"}, {"--spacing: '1parsec'", "units: nm, um, mm, cm, m"});
}

TEST_F(AnalyzeFailure, ARadiusTooLargeForTheImage) {
    expect_refusal({"volume.mha", "--fiber-radius", "16.5", "-o", "out"}, FAILED,
                   {"Fiber diameter must not exceed image size (please check for correct units)", "16.5 px",
                    "40 x 36 x 32 px"});
    expect_refusal({"plane.mha", "--fiber-radius", "1e300", "-o", "out"}, FAILED,
                   {"Fiber diameter must not exceed image size"});
    expect_refusal({"volume.mha", "--fiber-radius", "3", "--spacing", "0.001", "-o", "out"}, FAILED,
                   {"Fiber diameter must not exceed image size", "3 = 3000 px"});
}

TEST_F(AnalyzeFailure, ARadiusThatLeavesNothingButBorder) {
    expect_refusal({"volume.mha", "--fiber-radius", "16", "-o", "out"}, FAILED,
                   {"nothing is left to analyse", "16 px"});
}

TEST_F(AnalyzeFailure, ARadiusTooSmallForAPlane) {
    for (const std::string radius : {"0.5", "0.1", "1e-300"}) {
        expect_refusal({"plane.mha", "--fiber-radius", radius, "-o", "out"}, FAILED,
                       {"fiber radius is too small", "half a pixel"});
    }
}

TEST_F(AnalyzeFailure, ARadiusTooLargeForTheSubfields) {
    for (const char* const image : {"volume.mha", "plane.mha"}) {
        expect_refusal({image, "--fiber-radius", "3", "--subfield", "5", "-o", "out"}, FAILED,
                       {"Fiber diameter must not exceed subfield size (please check for correct units)",
                        "3 px", "5 x 5"});
    }
}

TEST_F(AnalyzeFailure, SubfieldsThatDoNotFit) {
    expect_refusal({"volume.mha", "--fiber-radius", "3", "--subfield", "27", "-o", "out"}, FAILED,
                   {"27 x 27 x 27", "28 x 24 x 20", "give smaller subfields"});
}

TEST_F(AnalyzeFailure, SubfieldSizesThatAreNone) {
    for (const std::string size : {"0", "-5", "10,0,10", "1.5", "x", "", "10,10"}) {
        expect_option_refusal({"--subfield", size}, {"--subfield"});
    }
    expect_option_refusal({"--subfield", "10,10,10"}, {"--subfield", "2 axes"}, "plane.mha");
}

TEST_F(AnalyzeFailure, OtherOptionValuesThatAreNone) {
    expect_option_refusal({"--otsu-factor", "0"}, {"--otsu-factor"});
    expect_option_refusal({"--otsu-factor", "nan"}, {"--otsu-factor"});
    expect_option_refusal({"--threads", "0"}, {"--threads", "at least 1"});
    expect_option_refusal({"--threads", "two"}, {"--threads"});
    expect_option_refusal({"--grey-window", "5"}, {"--grey-window"});
    expect_option_refusal({"--window", "5,5"}, {"--grey-window"});
    expect_option_refusal({"--window", "1,5", "--grey-window", "1,5"},
                          {"--window", "--grey-window", "exclude"});
    for (const std::string length : {"0", "-1", "x", "nan"}) {
        expect_option_refusal({"--estimator", "structure-tensor", "--window", length}, {"--window"});
        expect_option_refusal({"--estimator", "structure-tensor", "--gradient-sigma", length},
                              {"--gradient-sigma"});
    }
    expect_option_refusal({"--border", "-1"}, {"--border"});
    expect_option_refusal({"--along", "-1"}, {"--along"});
    expect_option_refusal({"--grey-window", "5,5"}, {"--grey-window"});
    expect_option_refusal({"--grey-window", "9,5"}, {"--grey-window"});
    expect_option_refusal({"--grey-window", "nan,5"}, {"--grey-window"});
    expect_option_refusal({"--raw", "1,2,u7"}, {"--raw"});
    expect_option_refusal({"--raw", "0,2,2,u8"}, {"--raw"});
}

TEST_F(AnalyzeFailure, OptionsOfOtherEstimators) {
    expect_option_refusal(
        {"--along", "3", "--estimator", "hessian"},
        {"--along goes with --estimator line-voting or structure-tensor, not with hessian"});
    for (const std::string estimator : {"hessian", "line-voting"}) {
        for (const std::string option : {"--gradient-sigma", "--window"}) {
            expect_option_refusal(
                {option, "3", "--estimator", estimator},
                {option + " goes with --estimator structure-tensor, not with " + estimator});
        }
    }
    expect_option_refusal({"--window", "3"}, {"two grey values go with --grey-window"});
    expect_option_refusal({"--estimator", "hesse"},
                          {"--estimator", "line-voting, structure-tensor, hessian"});
}

TEST_F(AnalyzeFailure, ABorderThatLeavesNothing) {
    expect_refusal({"volume.mha", "--fiber-radius", "3", "--border", "16", "-o", "out"}, FAILED,
                   {"nothing is left to analyse", "16 px at every edge"});
}

TEST_F(AnalyzeFailure, WordsThatAreNoneOfTheCommand) {
    expect_option_refusal({"--nonsense"}, {"--nonsense", "tevra analyze --help"});
    expect_refusal({"volume.mha", "-o", "out"}, WRONG_USAGE, {"--fiber-radius is required"});
    expect_refusal({"volume.mha", "--fiber-radius", "3"}, WRONG_USAGE, {"--output is required"});
    expect_refusal({"--fiber-radius", "3", "-o", "out"}, WRONG_USAGE, {"IMAGE is required"});
}

TEST_F(AnalyzeFailure, AMaskOfAnotherSize) {
    write("mask.mha", Constant({40, 36, 31}, 1));
    expect_image_refusal("volume.mha", {"mask.mha", "40 x 36 x 31", "40 x 36 x 32"}, {"--mask", "mask.mha"});
    write("flat.mha", Constant({40, 36}, 1));
    expect_image_refusal("volume.mha", {"flat.mha", "40 x 36"}, {"--mask", "flat.mha"});
}

TEST_F(AnalyzeFailure, AMaskOfMoreThanTwoValues) {
    SGreyImage mask = Constant(VOLUME, 0);
    mask.pixels[1] = '\1';
    mask.pixels[2] = '\2';
    write("mask.mha", mask);
    expect_image_refusal("volume.mha", {"mask.mha"}, {"--mask", "mask.mha"});
}

TEST_F(AnalyzeFailure, AMaskWithoutBackground) {
    write("mask.mha", Constant(VOLUME, 1));
    expect_image_refusal("volume.mha", {"mask.mha", "0 nowhere", "background is 0"}, {"--mask", "mask.mha"});
}

TEST_F(AnalyzeFailure, OptionsThatExcludeEachOther) {
    write("mask.mha", Constant(VOLUME, 1));
    expect_option_refusal({"--mask", "mask.mha", "--otsu-factor", "1.25"},
                          {"--mask and --otsu-factor", "exclude"});
    expect_option_refusal({"--mask", "mask.mha", "--threshold", "90"}, {"--mask and --threshold", "exclude"});
    expect_option_refusal({"--threshold", "90", "--otsu-factor", "1"},
                          {"--threshold and --otsu-factor", "exclude"});
    expect_option_refusal({"--subfield", "10", "--subfield-count", "2"},
                          {"--subfield and --subfield-count", "exclude"});
}

TEST_F(AnalyzeFailure, NumbersOfSubfieldsThatAreNone) {
    for (const std::string count : {"0", "-2", "2,0,2", "1.5", "x", "", "2,2"}) {
        expect_option_refusal({"--subfield-count", count}, {"--subfield-count"});
    }
    expect_option_refusal({"--threshold", "nan"}, {"--threshold"});
    expect_refusal({"volume.mha", "--fiber-radius", "3", "--subfield-count", "35,1,1", "-o", "out"}, FAILED,
                   {"more subfields than pixels", "28 x 24 x 20"});
    expect_refusal({"volume.mha", "--fiber-radius", "3", "--subfield-count", "8", "-o", "out"}, FAILED,
                   {"Fiber diameter must not exceed subfield size", "3 x 3 x 2"});
}

TEST_F(AnalyzeFailure, ARadiusTooSmallForAVolume) {
    for (const std::string radius : {"0.5", "0.1"}) {
        expect_refusal({"volume.mha", "--fiber-radius", radius, "-o", "out"}, FAILED,
                       {"fiber radius is too small", radius + " px", "half a pixel"});
    }
}

TEST_F(AnalyzeFailure, AThresholdThatNothingReaches) {
    expect_image_refusal("volume.mha",
                         {"no foreground", "brighter than the threshold of 1000", "another --threshold"},
                         {"--threshold", "1000"});
    expect_image_refusal("volume.mha",
                         {"no foreground", "darker than the threshold of -1", "another --threshold"},
                         {"--threshold", "-1", "--dark-fibers"});
}

TEST_F(AnalyzeFailure, AMissingMask) {
    expect_image_refusal("volume.mha", {"none.mha"}, {"--mask", "none.mha"});
}

TEST_F(AnalyzeFailure, AnImageWithoutForeground) {
    for (const std::vector<int>& size : {VOLUME, PLANE}) {
        for (const int grey : {0, 37, 255}) {
            write("constant.mha", Constant(size, static_cast<unsigned char>(grey)));
            expect_image_refusal("constant.mha", {"no foreground"});
        }
    }
    write_meta(
        "flat16.mha",
        {.size = PLANE, .elementType = "MET_USHORT", .pixels = std::string(std::size_t{60} * 50 * 2, '\7')});
    expect_image_refusal("flat16.mha", {"no foreground"});
}

TEST_F(AnalyzeFailure, AThresholdAboveEverything) {
    expect_image_refusal("volume.mha", {"no foreground", "--otsu-factor"}, {"--otsu-factor", "50"});
}

TEST_F(AnalyzeFailure, AnEmptyMask) {
    write("mask.mha", Constant(VOLUME, 0));
    expect_image_refusal("volume.mha", {"no foreground", "mask"}, {"--mask", "mask.mha"});
}

TEST_F(AnalyzeFailure, AnOutputThatIsAFile) {
    WriteFile(m_folder / "out", "precious");
    expect_image_refusal("volume.mha", {"'out'", "is a file"});
    EXPECT_EQ(ReadFile(m_folder / "out"), "precious");
}

TEST_F(AnalyzeFailure, AnOutputFolderThatCannotBeMade) {
    expect_refusal({"volume.mha", "--fiber-radius", "3", "-o", "/proc/out"}, FAILED, {"/proc/out"});
    WriteFile(m_folder / "file", "");
    expect_refusal({"volume.mha", "--fiber-radius", "3", "-o", "file/out"}, FAILED, {"file/out"});
}

TEST_F(AnalyzeFailure, AnOutputFolderThatCannotBeWrittenTo) {
    expect_refusal({"volume.mha", "--fiber-radius", "3", "-o", "/proc"}, FAILED,
                   {"cannot write into '/proc'"});
}

TEST_F(AnalyzeFailure, AnOutputFolderWithoutPermission) {
    if (geteuid() == 0) {
        GTEST_SKIP() << "root may write everywhere";
    }
    fs::create_directory(m_folder / "out");
    fs::permissions(m_folder / "out", fs::perms::owner_read | fs::perms::owner_exec);
    expect_image_refusal("volume.mha", {"cannot write into 'out'", "Permission denied"});
}

TEST_F(AnalyzeFailure, AFolderInTheResultsPlace) {
    fs::create_directories(m_folder / "out/result.json");
    expect_image_refusal("volume.mha", {"out/result.json", "not a plain file"});
    EXPECT_THAT(CTemporaryFolder::EntriesOf(m_folder / "out"), testing::ElementsAre("result.json"));
}

TEST_F(AnalyzeFailure, AFullDisk) {
    // The result document fits into the first, not into the second; the maps into neither.
    for (const long bytes : {100'000L, 500L}) {
        expect_refusal({"volume.mha", "--fiber-radius", "3", "--maps", "-o", "out"}, FAILED,
                       {"error: out/theta.mha: cannot be written: File too large"}, {.fileSizeLimit = bytes});
    }
}

TEST_F(AnalyzeFailure, LeavesTheResultsOfAnEarlierRunAsTheyWere) {
    ASSERT_EQ(
        RunTevra({"analyze", "volume.mha", "--fiber-radius", "3", "--maps", "-o", "out"}, {m_folder.Path()})
            .status,
        0);
    const std::string earlier = ReadFile(m_folder / "out/result.json");
    const Words files = CTemporaryFolder::EntriesOf(m_folder / "out");
    expect_image_refusal("volume.mha", {"no foreground"}, {"--otsu-factor", "50"});
    expect_refusal({"volume.mha", "--fiber-radius", "3", "--maps", "-o", "out"}, FAILED, {"out/"},
                   {.fileSizeLimit = 100'000L});
    EXPECT_EQ(ReadFile(m_folder / "out/result.json"), earlier);
    EXPECT_EQ(CTemporaryFolder::EntriesOf(m_folder / "out"), files);
}

} // namespace
} // namespace TEVRA::test
