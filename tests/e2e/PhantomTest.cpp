// SPDX-License-Identifier: BSD-3-Clause
#include "e2e/Images.h"
#include "e2e/ProgramRun.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <numbers>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

namespace TEVRA::test {
namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

using Words = std::vector<std::string>;

class PhantomCommand : public testing::Test {
  protected:
    SOutcome phantom(Words options, SCircumstances circumstances = {}) {
        options.insert(options.begin(), "phantom");
        circumstances.workingFolder = m_folder.Path();
        return RunTevra(options, circumstances);
    }
    json read_json(const std::string& name) const { return json::parse(ReadFile(m_folder / name)); }

    CTemporaryFolder m_folder;
};

TEST_F(PhantomCommand, WritesTheTruthOfFibersAlongAnAxisAsTheEstimatorWouldWriteIt) {
    const SOutcome outcome = phantom({"-o", "fibers.mha", "--size", "40,36,32", "--fiber-radius", "3",
                                      "--axis", "1,0,0", "--truth", "truth_", "--quiet"});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const std::vector<float> theta = ReadFloatMetaImage(m_folder / "truth_theta.mha");
    const std::vector<float> phi = ReadFloatMetaImage(m_folder / "truth_phi.mha");
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
    const json tensor = read_json("truth_tensor.json")["tensor"];
    EXPECT_NEAR(tensor["xx"], 1.0, 1e-6);
    EXPECT_NEAR(tensor["zz"], 0.0, 1e-6);
}

TEST_F(PhantomCommand, ImageAndTruthOfAVolumeFitTogether) {
    const SOutcome outcome = phantom({"-o", "fibers.tif", "--size", "40,36,32", "--fiber-radius", "3",
                                      "--volume-fraction", "0.2", "--beta", "0.5", "--truth", "true-"});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(m_folder.Entries(),
                ElementsAre("fibers.tif", "true-phi.mha", "true-tensor.json", "true-theta.mha"));
    const std::vector<float> theta = ReadFloatMetaImage(m_folder / "true-theta.mha");
    const std::vector<float> phi = ReadFloatMetaImage(m_folder / "true-phi.mha");
    ASSERT_EQ(theta.size(), 40U * 36U * 32U);
    ASSERT_EQ(phi.size(), theta.size());
    double zz = 0.0;
    double xy = 0.0;
    double count = 0.0;
    for (std::size_t i = 0; i < theta.size(); ++i) {
        if (theta[i] >= 0.0F) {
            zz += std::pow(std::cos(theta[i]), 2);
            xy += std::pow(std::sin(theta[i]), 2) * std::cos(phi[i]) * std::sin(phi[i]);
            ++count;
        }
    }
    const json truth = read_json("true-tensor.json");
    EXPECT_NEAR(truth["tensor"]["zz"], zz / count, 1e-5);
    EXPECT_NEAR(truth["tensor"]["xy"], xy / count, 1e-5);
    EXPECT_EQ(truth["fiber_pixels"], count);
    EXPECT_NEAR(truth["volume_fraction"], count / static_cast<double>(theta.size()), 1e-12);
    EXPECT_GE(truth["volume_fraction"], 0.2);
}

TEST_F(PhantomCommand, AnalysisOfParallelFibersFindsTheirAxis) {
    ASSERT_EQ(phantom({"-o", "fibers.mha", "--size", "48,48,48", "--fiber-radius", "3", "--axis", "2,-1,2",
                       "--layout", "grid", "--fiber-distance", "20"})
                  .status,
              0);
    const SOutcome outcome = RunTevra({"analyze", "fibers.mha", "--fiber-radius", "3", "-o", "out"},
                                      {.workingFolder = m_folder.Path()});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const json mean = read_json("out/result.json")["Field"]["Mean fiber direction"];
    const double cosine =
        (2.0 * mean["x"].get<double>() - mean["y"].get<double>() + 2.0 * mean["z"].get<double>()) / 3.0;
    EXPECT_GT(std::abs(cosine), std::cos(0.01));
}

TEST_F(PhantomCommand, PlaneHasOneAngleMapAndPlanarDirectionsByDefault) {
    const SOutcome outcome = phantom({"-o", "plane.TIF", "--size", "90,70", "--truth", "t_"});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(m_folder.Entries(), ElementsAre("plane.TIF", "t_tensor.json", "t_theta.mha"));
    for (const float angle : ReadFloatMetaImage(m_folder / "t_theta.mha")) {
        ASSERT_TRUE(angle == -4.1415925F || (angle >= 0.0F && angle <= 3.1415928F)) << angle;
    }
    EXPECT_EQ(read_json("t_tensor.json")["tensor"].size(), 4U);
}

TEST_F(PhantomCommand, LayersOfDarkWavyFibersHaveTheirTruthAndTheirSpacing) {
    const SOutcome outcome = phantom({"-o",
                                      "layers.mha",
                                      "--size",
                                      "48,48,24",
                                      "--spacing",
                                      "0.5um,0.5um,1um",
                                      "--fiber-radius",
                                      "2um",
                                      "--layout",
                                      "layers",
                                      "--layer-angles",
                                      "0,90",
                                      "--layer-rows",
                                      "2",
                                      "--volume-fraction",
                                      "0.8",
                                      "--wave",
                                      "1um,20um",
                                      "--grey",
                                      "200,40",
                                      "--blur",
                                      "0.5um",
                                      "--truth",
                                      "t_"});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(ReadFile(m_folder / "layers.mha").substr(0, 300),
                HasSubstr("ElementSpacing = 5e-04 5e-04 0.001\n"));
    const json truth = read_json("t_tensor.json");
    EXPECT_NEAR(truth["tensor"]["zz"], 0.0, 1e-6);
    EXPECT_GT(truth["tensor"]["xx"], 0.2);
    EXPECT_GT(truth["tensor"]["yy"], 0.2);
    EXPECT_GT(truth["volume_fraction"], 0.6);
}

TEST_F(PhantomCommand, OverlappingFibersFillMoreThanSeparateOnesCan) {
    ASSERT_EQ(phantom({"-o", "a.mha", "--size", "40,40,40", "--overlap", "--volume-fraction", "0.6",
                       "--truth", "t_"})
                  .status,
              0);
    EXPECT_GE(read_json("t_tensor.json")["volume_fraction"], 0.6);
}

TEST_F(PhantomCommand, SameSeedGivesTheSameFileAndAnotherSeedAnother) {
    const Words options{"--size", "30,30,30", "--noise", "9", "-o"};
    const auto with = [&options](const std::string& name, const std::string& seed) {
        Words words = options;
        words.insert(words.end(), {name, "--seed", seed});
        return words;
    };
    ASSERT_EQ(phantom(with("a.mha", "3")).status, 0);
    ASSERT_EQ(phantom(with("b.mha", "3")).status, 0);
    ASSERT_EQ(phantom(with("c.mha", "4")).status, 0);
    EXPECT_EQ(ReadFile(m_folder / "a.mha"), ReadFile(m_folder / "b.mha"));
    EXPECT_NE(ReadFile(m_folder / "a.mha"), ReadFile(m_folder / "c.mha"));
}

TEST_F(PhantomCommand, WithASpacingLengthsAreInItsUnit) {
    ASSERT_EQ(phantom({"-o", "px.mha", "--size", "50,50,50", "--fiber-radius", "3", "--truth", "px-"}).status,
              0);
    ASSERT_EQ(phantom({"-o", "mm.mha", "--size", "50,50,50", "--fiber-radius", "1.5", "--spacing", "0.5",
                       "--truth", "mm-"})
                  .status,
              0);
    EXPECT_EQ(ReadFloatMetaImage(m_folder / "px-theta.mha"), ReadFloatMetaImage(m_folder / "mm-theta.mha"));
    for (const char* name : {"mm.mha", "mm-theta.mha", "mm-phi.mha"}) {
        EXPECT_THAT(ReadFile(m_folder / name).substr(0, 400), HasSubstr("ElementSpacing = 0.5 0.5 0.5"))
            << name;
    }
}

TEST_F(PhantomCommand, LengthsMayCarryAUnit) {
    const Words rest = {"--size", "30,30,30", "--layout", "grid", "--axis", "0,0,1"};
    const auto make = [&](const Words& lengths) {
        Words words = lengths;
        words.insert(words.end(), rest.begin(), rest.end());
        EXPECT_EQ(phantom(words).status, 0);
    };
    make({"-o", "mm.mha", "--fiber-radius", "0.0015", "--fiber-distance", "0.006", "--spacing", "0.0005"});
    make({"-o", "um.mha", "--fiber-radius", "1.5um", "--fiber-distance", "6000nm", "--spacing", "0.5um"});
    EXPECT_EQ(ReadFile(m_folder / "um.mha"), ReadFile(m_folder / "mm.mha"));
}

TEST_F(PhantomCommand, QuietSaysNothingElseASummary) {
    EXPECT_EQ(phantom({"-o", "a.tif", "--size", "20,20,20", "--quiet"}).err, "");
    EXPECT_THAT(phantom({"-o", "a.tif", "--size", "20,20,20"}).err,
                MatchesRegex("tevra: [0-9]+ fibers?, volume fraction 0\\.[0-9]+; wrote 'a\\.tif'\n"));
}

struct SWrongUsage {
    const char* name;
    Words options;
    const char* message;
};

void PrintTo(const SWrongUsage& usage, std::ostream* out) {
    *out << usage.name;
}

class PhantomWrongUsage : public PhantomCommand, public testing::WithParamInterface<SWrongUsage> {};

TEST_P(PhantomWrongUsage, IsOneLineAndWritesNothing) {
    const SOutcome outcome = phantom(GetParam().options);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("tevra: error: "));
    EXPECT_THAT(outcome.err, HasSubstr(GetParam().message));
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
    EXPECT_THAT(m_folder.Entries(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Options, PhantomWrongUsage,
    testing::Values(
        SWrongUsage{"NoOutput", {}, "--output is required"},
        SWrongUsage{"UnknownFormat", {"-o", "a.png"}, "'a.png' ends with neither .tif, .tiff nor .mha"},
        SWrongUsage{"OneExtent", {"-o", "a.tif", "--size", "64"}, "--size: '64' is not two or three extents"},
        SWrongUsage{"FractionOfAPixel", {"-o", "a.tif", "--size", "64,6.5"}, "--size: '64,6.5'"},
        SWrongUsage{"ZeroExtent", {"-o", "a.tif", "--size", "64,0"}, "an extent is 0"},
        SWrongUsage{"ZeroRadius", {"-o", "a.tif", "--fiber-radius", "0"}, "--fiber-radius: '0'"},
        SWrongUsage{"NanRadius", {"-o", "a.tif", "--fiber-radius", "nan"}, "--fiber-radius: 'nan'"},
        SWrongUsage{
            "HugeRadius", {"-o", "a.tif", "--fiber-radius", "65"}, "at most the smallest extent, 128"},
        SWrongUsage{
            "UnitWithoutSpacing", {"-o", "a.tif", "--fiber-radius", "3um"}, "the image gets no spacing"},
        SWrongUsage{"ZeroSpacing", {"-o", "a.tif", "--spacing", "0"}, "--spacing: '0'"},
        SWrongUsage{"FullVolume", {"-o", "a.tif", "--volume-fraction", "1"}, "the volume fraction is 1"},
        SWrongUsage{"ZeroBeta", {"-o", "a.tif", "--beta", "0"}, "--beta: '0'"},
        SWrongUsage{"HugeBeta", {"-o", "a.tif", "--beta", "1e300"}, "0.000001 to 1000000"},
        SWrongUsage{"BetaIn2D", {"-o", "a.tif", "--size", "64,64", "--beta", "1"}, "the image is 2D"},
        SWrongUsage{"ZeroAxis", {"-o", "a.tif", "--axis", "0,0,0"}, "the fiber axis is 0,0,0"},
        SWrongUsage{"TwoLaws", {"-o", "a.tif", "--axis", "1,0,0", "--planar"}, "excludes"},
        SWrongUsage{"AxisOfAnAxis",
                    {"-o", "a.tif", "--axis", "1,0,0", "--symmetry-axis", "1,0,0"},
                    "--symmetry-axis goes with --beta or --planar"},
        SWrongUsage{"UnknownLayout",
                    {"-o", "a.tif", "--layout", "hexagonal"},
                    "none of random, bundles, layers, single, grid"},
        SWrongUsage{"SingleWithoutAxis", {"-o", "a.tif", "--layout", "single"}, "needs one axis"},
        SWrongUsage{"GridWithoutDistance",
                    {"-o", "a.tif", "--layout", "grid", "--axis", "1,0,0"},
                    "--layout grid needs --fiber-distance"},
        SWrongUsage{"FractionOfASingleFiber",
                    {"-o", "a.tif", "--layout", "single", "--axis", "1,0,0", "--volume-fraction", "0.1"},
                    "--volume-fraction goes with --layout random, bundles and layers only"},
        SWrongUsage{
            "OverlapOfAGrid",
            {"-o", "a.tif", "--layout", "grid", "--axis", "1,0,0", "--fiber-distance", "9", "--overlap"},
            "--overlap goes with --layout random only"},
        SWrongUsage{"WaveOfOverlappingFibers",
                    {"-o", "a.tif", "--overlap", "--wave", "3,40"},
                    "--wave goes with fibers that do not overlap only"},
        SWrongUsage{"WaveWithoutALength", {"-o", "a.tif", "--wave", "3"}, "--wave: '3' is not the amplitude"},
        SWrongUsage{"AnglesWithoutLayers", {"-o", "a.tif", "--layer-angles", "0"}, "--layout layers only"},
        SWrongUsage{
            "LayersIn2D", {"-o", "a.tif", "--size", "64,64", "--layout", "layers"}, "the image is 2D"},
        SWrongUsage{"HoleAsWideAsTheFiber", {"-o", "a.tif", "--hole", "4"}, "the hole's radius is 4"},
        SWrongUsage{"TwoSpacings", {"-o", "a.tif", "--spacing", "1,2"}, "--spacing has 2 lengths"},
        SWrongUsage{"UnequalSpacingOfAGrid",
                    {"-o", "a.tif", "--layout", "grid", "--axis", "1,0,0", "--fiber-distance", "9",
                     "--spacing", "1,1,2"},
                    "come with one spacing along all axes"},
        SWrongUsage{"NoRoom",
                    {"-o", "a.tif", "--size", "32,32,32", "--volume-fraction", "0.4"},
                    "there is no room for so many fibers"},
        SWrongUsage{"OneGrey", {"-o", "a.tif", "--grey", "100"}, "--grey: '100'"},
        SWrongUsage{"GreyBeyondEightBits", {"-o", "a.tif", "--grey", "0,300"}, "a grey value is 300"},
        SWrongUsage{"NegativeNoise", {"-o", "a.tif", "--noise", "-1"}, "standard deviation is -1"},
        SWrongUsage{"NegativeSeed", {"-o", "a.tif", "--seed", "-1"}, "--seed: '-1'"},
        SWrongUsage{"SameNameTwice", {"-o", "./ttheta.mha", "--truth", "t"}, "both name"}),
    [](const auto& one) { return std::string(one.param.name); });

TEST_F(PhantomCommand, FolderThatDoesNotExistIsReportedAndNothingIsWritten) {
    for (const Words& options : {Words{"-o", "none/a.tif"}, Words{"-o", "a.tif", "--truth", "none/t"}}) {
        const SOutcome outcome = phantom(options);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_THAT(outcome.err, HasSubstr("tevra: error: cannot write 'none/"));
        EXPECT_THAT(m_folder.Entries(), IsEmpty());
    }
}

TEST_F(PhantomCommand, FullDiskLeavesNoFile) {
    for (const std::string name : {"a.tif", "a.mha"}) {
        const SOutcome outcome =
            phantom({"-o", name, "--size", "64,64,64", "--truth", "t"}, {.fileSizeLimit = 100'000L});
        EXPECT_EQ(outcome.status, 1) << outcome.err;
        EXPECT_THAT(outcome.err, HasSubstr("tevra: error: there is no room for '" + name + "' ("));
        EXPECT_THAT(m_folder.Entries(), IsEmpty());
    }
}

TEST_F(PhantomCommand, CtrlCStopsTheWorkAndLeavesNoFile) {
    // Noise over this many pixels takes its time, so that the signal meets the work.
    CProgramRun run({"phantom", "-o", "a.tif", "--size", "300,300,300", "--noise", "10"},
                    {.workingFolder = m_folder.Path()});
    while (m_folder.Entries().empty()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    run.Signal(SIGINT);
    const SOutcome outcome = run.Wait();
    EXPECT_EQ(outcome.status, 130);
    EXPECT_THAT(outcome.err, HasSubstr("tevra: error: stopped"));
    EXPECT_THAT(m_folder.Entries(), IsEmpty());
}

} // namespace
} // namespace TEVRA::test
