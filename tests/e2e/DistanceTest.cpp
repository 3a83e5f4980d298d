// SPDX-License-Identifier: BSD-3-Clause
#include "e2e/Images.h"
#include "e2e/ProgramRun.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <filesystem>
#include <limits>
#include <numbers>
#include <string>
#include <utility>
#include <vector>

namespace TEVRA::test {
namespace {

using testing::ElementsAre;
using testing::FloatNear;
using testing::HasSubstr;

constexpr double PI = std::numbers::pi;

class Distance : public testing::Test {
  protected:
    /// A map of two by one by two pixels.
    void write(const std::string& name, const std::vector<float>& pixels, std::vector<int> size = {2, 1, 2}) {
        SMetaImage image{.size = std::move(size), .elementType = "MET_FLOAT", .spacing = "0.5 0.5 0.5"};
        image.pixels.resize(pixels.size() * sizeof(float));
        std::memcpy(image.pixels.data(), pixels.data(), image.pixels.size());
        if (image.size.size() == 2) {
            image.spacing = "0.5 0.5";
        }
        WriteMetaImage(m_folder / name, image);
    }
    SOutcome run(const std::string& reference, const std::string& output = "distance.mha") {
        return RunTevra({"distance", "theta.mha", "phi.mha", "--reference", reference, "-o", output},
                        {.workingFolder = m_folder.Path()});
    }
    std::vector<float> distances(const std::string& reference) {
        const SOutcome outcome = run(reference);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.out, "");
        return ReadFloatMetaImage(m_folder / "distance.mha");
    }
    void expect_refused(const std::string& reference, int status, const std::vector<std::string>& parts,
                        const std::string& output = "distance.mha") {
        ExpectRefusal({"distance", "theta.mha", "phi.mha", "--reference", reference, "-o", output}, status,
                      parts, {.workingFolder = m_folder.Path()});
    }
    /// Two maps that nothing is wrong with.
    void write_good_maps() {
        write("theta.mha", {0.3F, 0.7F, 0.9F, 1.2F});
        write("phi.mha", {1.0F, 2.0F, 3.0F, -2.0F});
    }

    CTemporaryFolder m_folder;
};

TEST_F(Distance, MeasuresTheAngleToTheReference) {
    write("theta.mha", {0.3F, 0.0F, -1.0F, 1.2F});
    write("phi.mha", {1.0F, 0.0F, -4.1415925F, -2.0F});
    EXPECT_THAT(distances("0,0,1"), ElementsAre(FloatNear(0.3F, 1e-6F), 0.0F, -1.0F, FloatNear(1.2F, 1e-6F)));
    EXPECT_THAT(ReadFile(m_folder / "distance.mha").substr(0, 400),
                HasSubstr("ElementSpacing = 0.5 0.5 0.5"));
}

TEST_F(Distance, DoesNotMindTheLengthAndSignOfTheReference) {
    write("theta.mha", {0.3F, 0.7F, 0.9F, 1.2F});
    write("phi.mha", {1.0F, 2.0F, 3.0F, -2.0F});
    const std::vector<float> expected = distances("1,2,3");
    EXPECT_THAT(distances("-10,-20,-30"), testing::Pointwise(FloatNear(1e-6F), expected));
    EXPECT_THAT(distances("1e-200,2e-200,3e-200"), testing::Pointwise(FloatNear(1e-6F), expected));
}

TEST_F(Distance, WritesZeroWhereRoundingLeavesTheRangeOfTheArcCosine) {
    // Axes along the reference itself, at many places: some products come out above 1.
    std::vector<float> theta;
    std::vector<float> phi;
    for (int i = 0; i < 4; ++i) {
        theta.push_back(1.5707964F);
        phi.push_back(0.7853982F);
    }
    write("theta.mha", theta);
    write("phi.mha", phi);
    for (const float distance : distances("1,1,0")) {
        EXPECT_GE(distance, 0.0F);
        EXPECT_LT(distance, 1e-3F);
    }
}

TEST_F(Distance, MeasuresTheTruthOfParallelFibers) {
    const SOutcome made = RunTevra({"phantom", "-o", "fibers.mha", "--size", "32,28,24", "--fiber-radius",
                                    "3", "--axis", "1,0,0", "--truth", "", "--quiet"},
                                   {.workingFolder = m_folder.Path()});
    ASSERT_EQ(made.status, 0) << made.err;
    const std::vector<float> theta = ReadFloatMetaImage(m_folder / "theta.mha");
    for (const auto& [reference, expected] :
         {std::pair{"-2,0,0", 0.0}, std::pair{"1,0,-1", PI / 4}, std::pair{"0,0,1", PI / 2}}) {
        const std::vector<float> distance = distances(reference);
        ASSERT_EQ(distance.size(), theta.size());
        for (std::size_t i = 0; i < theta.size(); ++i) {
            if (theta[i] >= 0.0F) {
                // The arc cosine turns a rounding of 1e-7 near 1 into an angle of its square root.
                ASSERT_NEAR(static_cast<double>(distance[i]), expected, 1e-3);
            } else {
                ASSERT_EQ(distance[i], -1.0F);
            }
        }
    }
}

TEST_F(Distance, RefusesAReferenceWithoutADirection) {
    write_good_maps();
    for (const char* const reference : {"0,0,0", "1,2", "1,2,3,4", "x,0,1", "nan,0,1", "inf,0,1", ""}) {
        expect_refused(reference, 2, {"--reference", "'" + std::string(reference) + "'"});
    }
}

TEST_F(Distance, RefusesWordsThatAreNoneOfTheCommand) {
    const SCircumstances here{.workingFolder = m_folder.Path()};
    ExpectRefusal({"distance", "theta.mha", "phi.mha", "-o", "d.mha"}, 2, {"--reference is required"}, here);
    ExpectRefusal({"distance", "theta.mha", "phi.mha", "--reference", "0,0,1"}, 2, {"--output is required"},
                  here);
    ExpectRefusal({"distance", "theta.mha", "--reference", "0,0,1", "-o", "d.mha"}, 2, {"PHI is required"},
                  here);
    ExpectRefusal({"distance", "theta.mha", "phi.mha", "--reference", "0,0,1", "-o", "d.mha", "--nonsense"},
                  2, {"--nonsense"}, here);
}

TEST_F(Distance, RefusesMapsThatAreNotThere) {
    expect_refused("0,0,1", 1, {"theta.mha"});
    write("theta.mha", {0.3F, 0.7F, 0.9F, 1.2F});
    expect_refused("0,0,1", 1, {"phi.mha"});
    WriteFile(m_folder / "phi.mha", "this is no image");
    expect_refused("0,0,1", 1, {"phi.mha"});
}

TEST_F(Distance, RefusesAnOutputThatIsNoMetaImage) {
    write_good_maps();
    expect_refused("0,0,1", 2, {"distance.tif", ".mha"}, "distance.tif");
}

TEST_F(Distance, RefusesAnOutputThatCannotBeWritten) {
    write_good_maps();
    expect_refused("0,0,1", 1, {"/none/distance.mha"}, "/none/distance.mha");
    std::filesystem::create_directory(m_folder / "folder.mha");
    expect_refused("0,0,1", 1, {"folder.mha", "not a plain file"}, "folder.mha");
    ExpectRefusal({"distance", "theta.mha", "phi.mha", "--reference", "0,0,1", "-o", "distance.mha"}, 1,
                  {"error: distance.mha: cannot be written"},
                  {.workingFolder = m_folder.Path(), .fileSizeLimit = 10});
}

TEST_F(Distance, RefusesMapsOfDifferentSizes) {
    write("theta.mha", {0.3F, 0.7F, 0.9F, 1.2F});
    write("phi.mha", {1.0F, 2.0F, 3.0F, -2.0F, 1.0F, 1.0F}, {3, 1, 2});
    expect_refused("0,0,1", 1, {"2 x 1 x 2", "3 x 1 x 2", "two maps of one image"});
}

TEST_F(Distance, RefusesMapsInTheWrongOrder) {
    write("theta.mha", {1.0F, -2.0F, -4.1415925F, 3.0F});
    write("phi.mha", {0.3F, 0.7F, -1.0F, 1.2F});
    expect_refused("0,0,1", 1, {"'theta.mha' holds longitudes", "give the map of colatitudes first"});
}

TEST_F(Distance, RefusesMapsInThePlane) {
    write("theta.mha", {0.3F, 0.7F, 0.9F, 1.2F}, {2, 2});
    write("phi.mha", {1.0F, 2.0F, 3.0F, -2.0F}, {2, 2});
    expect_refused("0,0,1", 1, {"theta.mha", "2D"});
}

TEST_F(Distance, RefusesMapsThatHoldNoFloats) {
    write("theta.mha", {0.3F, 0.7F, 0.9F, 1.2F});
    WriteMetaImage(m_folder / "phi.mha", Constant({2, 1, 2}, 1));
    expect_refused("0,0,1", 1, {"phi.mha", "32-bit floats"});
}

TEST_F(Distance, SuspectsDegreesBeyondAFullTurn) {
    write("theta.mha", {0.3F, 45.0F, 0.9F, 1.2F});
    write("phi.mha", {1.0F, 2.0F, 3.0F, -2.0F});
    expect_refused("0,0,1", 1, {"theta.mha", "45", "pi / 180"});
    write("theta.mha", {0.3F, 0.7F, 0.9F, 1.2F});
    write("phi.mha", {1.0F, 2.0F, 130.0F, -2.0F});
    expect_refused("0,0,1", 1, {"phi.mha", "130", "pi / 180"});
}

TEST_F(Distance, RefusesAnglesThatAreNoNumbers) {
    write("theta.mha", {0.3F, 0.7F, 0.9F, 1.2F});
    write("phi.mha", {1.0F, 2.0F, std::numeric_limits<float>::quiet_NaN(), -2.0F});
    expect_refused("0,0,1", 1, {"phi.mha", "no number"});
    write("theta.mha", {0.3F, std::numeric_limits<float>::quiet_NaN(), 0.9F, 1.2F});
    write("phi.mha", {1.0F, 2.0F, 3.0F, -2.0F});
    expect_refused("0,0,1", 1, {"theta.mha", "no number"});
}

TEST_F(Distance, WarnsWhereThereIsNoAxis) {
    write("theta.mha", {-1.0F, -1.0F, -1.0F, -1.0F});
    write("phi.mha", {1.0F, 2.0F, 3.0F, -2.0F});
    const SOutcome outcome = run("0,0,1");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.err, HasSubstr("tevra: warning: "));
}

} // namespace
} // namespace TEVRA::test
