// SPDX-License-Identifier: BSD-3-Clause
#include "e2e/Images.h"
#include "e2e/ProgramRun.h"
#include "e2e/Results.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <iomanip>
#include <numbers>
#include <ostream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace TEVRA::test {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::SizeIs;
using testing::UnorderedElementsAreArray;

using Words = std::vector<std::string>;

const std::vector<int> VOLUME = {48, 40, 36};
const std::vector<int> PLANE = {96, 84};

Words keys_of(const Json& object) {
    Words keys;
    for (const auto& entry : object.items()) {
        keys.push_back(entry.key());
    }
    return keys;
}

Json read_json(const fs::path& path) {
    return Json::parse(ReadFile(path));
}

Words lines_of(const fs::path& path) {
    Words lines;
    std::istringstream text(ReadFile(path));
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line);
    }
    return lines;
}

/// Angle between two axes, in degrees.
double axis_angle_deg(const Json& direction, const std::vector<double>& axis) {
    double dot = 0.0;
    std::size_t i = 0;
    for (const auto& component : direction) {
        dot += component.get<double>() * axis[i++];
    }
    return std::acos(std::min(1.0, std::abs(dot))) * 180.0 / std::numbers::pi;
}

std::vector<double> unit_axis(std::size_t dim, int axis) {
    std::vector<double> direction(dim, 0.0);
    direction[axis] = 1.0;
    return direction;
}

class Analyze : public testing::Test {
  protected:
    /// Runs `tevra analyze IMAGE --fiber-radius 3 -o out` with further options and expects success.
    SOutcome analyze(const std::string& image, const Words& options = {}) {
        return analyze_with_radius("3", image, options);
    }
    SOutcome analyze_with_radius(const std::string& radius, const std::string& image,
                                 const Words& options = {}) {
        Words words = {"analyze", image, "--fiber-radius", radius, "-o", "out"};
        words.insert(words.end(), options.begin(), options.end());
        SOutcome outcome = RunTevra(words, {.workingFolder = m_folder.Path()});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.out, "");
        return outcome;
    }
    Json result() const { return read_json(m_folder / "out/result.json"); }
    Json run() const { return read_json(m_folder / "out/run.json"); }
    Words outputs() const { return OutputsIn(m_folder / "out"); }
    void write(const std::string& name, const SGreyImage& image, const std::string& spacing = "") {
        WriteMetaImage(m_folder / name, image, spacing);
    }

    CTemporaryFolder m_folder;
};

TEST_F(Analyze, WritesResultAndRecordOnlyWhenNothingElseIsAskedFor) {
    write("image.mha", ParallelFibers(VOLUME, 0));
    analyze("image.mha");
    EXPECT_THAT(outputs(), ElementsAre("result.json", "run.json"));
    EXPECT_THAT(m_folder.Entries(), ElementsAre("image.mha", "out"));
}

TEST_F(Analyze, WritesTablesWithSubfieldsAndMapsWhenAskedFor) {
    write("image.mha", ParallelFibers(VOLUME, 0));
    analyze("image.mha", {"--subfield", "10", "--maps"});
    EXPECT_THAT(outputs(), ElementsAre("confidence.mha", "phi.mha", "profiles.csv", "result.json", "run.json",
                                       "subfields.csv", "theta.mha"));
    analyze("image.mha", {"--subfield", "10", "--maps", "--estimator", "hessian"});
    EXPECT_THAT(outputs(), ElementsAre("phi.mha", "profiles.csv", "result.json", "run.json", "subfields.csv",
                                       "theta.mha"));
}

TEST_F(Analyze, WritesOneMapOfAnglesOnlyIn2d) {
    write("image.mha", ParallelFibers(PLANE, 0));
    analyze("image.mha", {"--maps"});
    EXPECT_THAT(outputs(), ElementsAre("confidence.mha", "result.json", "run.json", "theta.mha"));
}

TEST_F(Analyze, MakesTheOutputFolderWithItsParents) {
    write("image.mha", ParallelFibers(PLANE, 0));
    const SOutcome outcome =
        RunTevra({"analyze", "image.mha", "--fiber-radius", "3", "--output", "a/b/c"}, {m_folder.Path()});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_TRUE(fs::exists(m_folder / "a/b/c/result.json"));
}

/// What kind of document to ask for.
struct SDocumentCase {
    int dim;
    bool subfields;
    bool fourthOrder;
    bool mask;
};

std::string name_of(const SDocumentCase& asked) {
    return std::to_string(asked.dim) + "d" + (asked.subfields ? "WithSubfields" : "") +
           (asked.fourthOrder ? "WithFourthOrder" : "") + (asked.mask ? "WithMask" : "");
}

void PrintTo(const SDocumentCase& asked, std::ostream* out) {
    *out << name_of(asked);
}

class AnalyzeDocument : public Analyze, public testing::WithParamInterface<SDocumentCase> {};

Words names(const std::string& axes, int order) {
    Words result = {""};
    for (int i = 0; i < order; ++i) {
        Words longer;
        for (const std::string& name : result) {
            for (const char axis : axes) {
                longer.push_back(name + axis);
            }
        }
        result = longer;
    }
    return result;
}

void expect_field_block(const Json& field, const SDocumentCase& asked) {
    const std::string axes = std::string("xyz").substr(0, asked.dim);
    EXPECT_THAT(keys_of(field["Orientation tensor"]), ElementsAreArray(names(axes, 2)));
    EXPECT_EQ(field.contains("Fourth order Orientation tensor"), asked.fourthOrder);
    if (asked.fourthOrder) {
        EXPECT_THAT(keys_of(field["Fourth order Orientation tensor"]), ElementsAreArray(names(axes, 4)));
    }
    const Words indices = asked.dim == 2 ? Words{"0", "1"} : Words{"0", "1", "2"};
    EXPECT_THAT(keys_of(field["Eigenvalues of the orientation tensor"]), ElementsAreArray(indices));
    EXPECT_THAT(keys_of(field["Mean fiber direction"]), ElementsAreArray(names(axes, 1)));
    EXPECT_TRUE(field["Anisotropy value"].is_number_float());
    EXPECT_TRUE(field["Status"].is_string());
}

Words field_keys(const SDocumentCase& asked, const Words& more) {
    Words keys = {"Orientation tensor"};
    if (asked.fourthOrder) {
        keys.emplace_back("Fourth order Orientation tensor");
    }
    keys.insert(keys.end(), {"Eigenvalues of the orientation tensor", "Mean fiber direction",
                             "Anisotropy value", "Status"});
    keys.insert(keys.end(), more.begin(), more.end());
    return keys;
}

void expect_area(const Json& area, int dim) {
    const Words keys = dim == 2 ? Words{"x0", "x1", "y0", "y1"} : Words{"x0", "x1", "y0", "y1", "z0", "z1"};
    EXPECT_THAT(keys_of(area), ElementsAreArray(keys));
    for (const auto& corner : area) {
        EXPECT_TRUE(corner.is_number_integer());
    }
}

void expect_subfields(const Json& subfields, const SDocumentCase& asked) {
    for (const auto& [id, subfield] : subfields.items()) {
        if (id == "Subfield size") {
            EXPECT_EQ(subfield, 10.0);
            continue;
        }
        EXPECT_THAT(keys_of(subfield), ElementsAreArray(field_keys(
                                           asked, {"Evaluated area", "Difference to global direction"})));
        expect_field_block(subfield, asked);
        expect_area(subfield["Evaluated area"], asked.dim);
    }
}

void expect_profile(const Json& profile, const SDocumentCase& asked) {
    Words directions = {"x-Direction", "y-Direction"};
    if (asked.dim == 3) {
        directions.emplace_back("z-Direction");
    }
    Words keys = directions;
    keys.emplace_back("parameters");
    EXPECT_THAT(keys_of(profile), ElementsAreArray(keys));
    EXPECT_THAT(keys_of(profile["parameters"]),
                ElementsAre("Otsu factor", "Fiber radius", "Border", "Subfield size"));
    for (const std::string& direction : directions) {
        for (const auto& slice : profile[direction]) {
            EXPECT_THAT(keys_of(slice), UnorderedElementsAreArray(field_keys(
                                            asked, {"Number of subfields", "Difference to global direction",
                                                    "slice position"})));
            expect_field_block(slice, asked);
        }
    }
}

TEST_P(AnalyzeDocument, HoldsExactlyTheKeysOfItsKind) {
    const SDocumentCase asked = GetParam();
    const std::vector<int> size = asked.dim == 2 ? PLANE : VOLUME;
    write("image.mha", ParallelFibers(size, 0));
    SGreyImage mask = Constant(size, 1);
    mask.pixels.front() = '\0'; // in the border
    write("mask.mha", mask);
    Words options;
    if (asked.subfields) {
        options.insert(options.end(), {"--subfield", "10"});
    }
    if (asked.fourthOrder) {
        options.emplace_back("--fourth-order");
    }
    if (asked.mask) {
        options.insert(options.end(), {"--mask", "mask.mha"});
    }
    analyze("image.mha", options);

    const Json root = result();
    const Words keys = asked.subfields ? Words{"Border",      "Subfields",    "Field",
                                               "Otsu factor", "Fiber radius", "Averaged Profile"}
                                       : Words{"Border", "Field", "Otsu factor", "Fiber radius"};
    EXPECT_THAT(keys_of(root), ElementsAreArray(keys));
    EXPECT_EQ(root["Border"], 6);
    EXPECT_EQ(root["Fiber radius"], 3.0);
    EXPECT_EQ(root["Otsu factor"], asked.mask ? Json("n/a (user-specified mask image)") : Json(1.05));
    EXPECT_THAT(keys_of(root["Field"]), ElementsAreArray(field_keys(asked, {"Evaluated area"})));
    expect_field_block(root["Field"], asked);
    expect_area(root["Field"]["Evaluated area"], asked.dim);
    if (asked.subfields) {
        EXPECT_GT(root["Subfields"].size(), 2U);
        expect_subfields(root["Subfields"], asked);
        expect_profile(root["Averaged Profile"], asked);
    }
}

std::vector<SDocumentCase> all_document_cases() {
    std::vector<SDocumentCase> cases;
    for (const int dim : {2, 3}) {
        for (const bool subfields : {false, true}) {
            for (const bool fourthOrder : {false, true}) {
                for (const bool mask : {false, true}) {
                    cases.push_back({dim, subfields, fourthOrder, mask});
                }
            }
        }
    }
    return cases;
}

INSTANTIATE_TEST_SUITE_P(Kinds, AnalyzeDocument, testing::ValuesIn(all_document_cases()),
                         [](const auto& asked) { return name_of(asked.param); });

TEST_F(Analyze, NamesSubfieldsByTheirLowerCorners) {
    write("image.mha", ParallelFibers({512, 512}, 1));
    analyze_with_radius("2.5", "image.mha", {"--subfield", "100", "--otsu-factor", "0.5"});
    Words expected;
    for (const std::string y : {"005", "105", "205", "305", "405"}) {
        for (const std::string x : {"005", "105", "205", "305", "405"}) {
            expected.push_back("(" + x + "," + y + ")");
        }
    }
    expected.emplace_back("Subfield size");
    EXPECT_THAT(keys_of(result()["Subfields"]), ElementsAreArray(expected));
    EXPECT_THAT(keys_of(result()["Averaged Profile"]["x-Direction"]),
                ElementsAre("slice 005", "slice 105", "slice 205", "slice 305", "slice 405"));
    EXPECT_THAT(lines_of(m_folder / "out/subfields.csv"), SizeIs(26));
    EXPECT_THAT(lines_of(m_folder / "out/profiles.csv"), SizeIs(11));
}

TEST_F(Analyze, FindsTheDirectionOfParallelFibers) {
    for (const std::vector<int>& size : {VOLUME, PLANE}) {
        for (int axis = 0; axis < static_cast<int>(size.size()); ++axis) {
            write("image.mha", ParallelFibers(size, axis));
            analyze("image.mha");
            const Json field = result()["Field"];
            EXPECT_LT(axis_angle_deg(field["Mean fiber direction"], unit_axis(size.size(), axis)), 0.5)
                << size.size() << "d, axis " << axis;
            EXPECT_EQ(field["Status"], "ok");
        }
    }
}

TEST_F(Analyze, MapsHoldAnglesOnFibersAndMarkersElsewhere3d) {
    write("image.mha", ParallelFibers(VOLUME, 2));
    analyze("image.mha", {"--maps"});
    const std::vector<float> theta = ReadFloatMetaImage(m_folder / "out/theta.mha");
    const std::vector<float> phi = ReadFloatMetaImage(m_folder / "out/phi.mha");
    ASSERT_THAT(theta, SizeIs(48 * 40 * 36));
    ASSERT_THAT(phi, SizeIs(theta.size()));
    long long foreground = 0;
    for (std::size_t i = 0; i < theta.size(); ++i) {
        if (theta[i] < 0.0F) {
            ASSERT_EQ(theta[i], -1.0F) << i;
            ASSERT_EQ(phi[i], -4.1415925F) << i;
            continue;
        }
        ++foreground;
        ASSERT_LT(theta[i], 0.02F) << i;
        ASSERT_LE(std::abs(phi[i]), std::numbers::pi_v<float>) << i;
    }
    EXPECT_EQ(run()["foreground"]["pixels"], foreground);
    EXPECT_GT(foreground, 0);
}

TEST_F(Analyze, TheMapIn2dHoldsTheAngleInThePlane) {
    write("image.mha", ParallelFibers(PLANE, 1));
    analyze("image.mha", {"--maps"});
    const std::vector<float> theta = ReadFloatMetaImage(m_folder / "out/theta.mha");
    ASSERT_THAT(theta, SizeIs(96 * 84));
    for (const float angle : theta) {
        ASSERT_TRUE(angle == -4.1415925F || std::abs(angle - std::numbers::pi_v<float> / 2) < 0.02F) << angle;
    }
    EXPECT_THAT(theta, Contains(testing::Gt(0.0F)));
}

TEST_F(Analyze, MapsCarryTheSpacing) {
    write("image.mha", ParallelFibers(VOLUME, 2));
    analyze_with_radius("1.5", "image.mha", {"--maps", "--spacing", "0.5"});
    for (const char* const map : {"out/theta.mha", "out/phi.mha"}) {
        EXPECT_THAT(ReadFile(m_folder / map), HasSubstr("ElementSpacing = 0.5 0.5 0.5\n"));
    }
}

TEST_F(Analyze, AScaledSpacingWithAScaledRadiusChangesPhysicalLengthsOnly) {
    write("image.mha", ParallelFibers(VOLUME, 1), "0.5 0.5 0.5");
    analyze_with_radius("1.5", "image.mha", {"--subfield", "10"});
    Json single = result();
    analyze_with_radius("3", "image.mha", {"--subfield", "10", "--spacing", "1"});
    const Json twofold = result();
    EXPECT_EQ(twofold["Fiber radius"], 3.0);
    EXPECT_EQ(twofold["Subfields"]["Subfield size"], 10.0);
    EXPECT_EQ(twofold["Averaged Profile"]["x-Direction"]["slice 16"]["slice position"], 16.0);

    const auto scale = [](Json& length) { length = length.get<double>() * 2.0; };
    scale(single["Fiber radius"]);
    scale(single["Subfields"]["Subfield size"]);
    Json& profile = single["Averaged Profile"];
    scale(profile["parameters"]["Fiber radius"]);
    scale(profile["parameters"]["Subfield size"]);
    for (const char* const direction : {"x-Direction", "y-Direction", "z-Direction"}) {
        for (Json& slice : profile[direction]) {
            scale(slice["slice position"]);
        }
    }
    EXPECT_EQ(single, twofold);
}

TEST_F(Analyze, LengthsMayCarryAUnit) {
    SMetaImage image{.size = VOLUME, .pixels = ParallelFibers(VOLUME, 1).pixels, .spacing = "0.5 0.5 0.5"};
    WriteMetaImage(m_folder / "image.mha", image);
    analyze_with_radius("1.5um", "image.mha", {"--spacing", "500nm"});
    EXPECT_EQ(run()["input"]["length_unit"], "um");
    EXPECT_EQ(run()["input"]["spacing"], Json({0.5, 0.5, 0.5}));
    EXPECT_EQ(run()["parameters"]["fiber_radius"], 1.5);
    const Json inMicrometres = result();
    analyze_with_radius("0.0015mm", "image.mha", {"--spacing", "0.5um,0.5um,0.0005mm"});
    EXPECT_EQ(result(), inMicrometres);
    analyze_with_radius("1.5", "image.mha");
    EXPECT_EQ(result(), inMicrometres);
    analyze_with_radius("3px", "image.mha", {"--border", "6px"});
    EXPECT_EQ(result(), inMicrometres);
}

TEST_F(Analyze, WarnsOfRadiiThatPixelsOrTimeSpeakAgainst) {
    struct SCase {
        const char* radius;
        const char* kind;
        const char* text;
    };
    write("plane.mha", ParallelFibers(PLANE, 0));
    for (const SCase& one : {SCase{"1.5", "small-radius", "the fiber radius is 1.5 px: below 2 px"},
                             SCase{"12", "large-radius", "the fiber radius is 12 px: bin the image by 3"}}) {
        const SOutcome outcome =
            analyze_with_radius(one.radius, "plane.mha", {"--quiet", "--threshold", "100"});
        EXPECT_THAT(outcome.err, HasSubstr(std::string("tevra: warning: ") + one.text));
        EXPECT_EQ(run()["warnings"][0]["kind"], one.kind);
        EXPECT_EQ(run()["warnings"][0]["value"], std::stod(one.radius));
        EXPECT_THAT(run()["warnings"][0]["text"].get<std::string>(), HasSubstr(one.text));
    }
    EXPECT_EQ(analyze("plane.mha", {"--quiet"}).err, "");
}

TEST_F(Analyze, SaysInTheEndWhatItFoundAndWhere) {
    write("volume.mha", ParallelFibers(VOLUME, 0));
    const std::string err = analyze("volume.mha").err;
    EXPECT_THAT(err, HasSubstr(" % of the image, brighter than "));
    EXPECT_THAT(
        err, HasSubstr("mean direction (1.000, 0.000, 0.000): 90.0 degrees off z, azimuth 0.0 degrees from x "
                       "towards y; anisotropy "));
    EXPECT_THAT(err, HasSubstr("tensor xx 1.000, yy 0.000, zz 0.000, xy 0.000, xz 0.000, yz 0.000\n"));
    EXPECT_THAT(err, HasSubstr("wrote into 'out': run.json result.json"));
    write("upright.mha", ParallelFibers(VOLUME, 2));
    EXPECT_THAT(analyze("upright.mha").err,
                HasSubstr("mean direction (0.000, 0.000, 1.000): 0.0 degrees off z; anisotropy "));
    write("plane.mha", ParallelFibers(PLANE, 1));
    EXPECT_THAT(analyze("plane.mha").err,
                HasSubstr("mean direction (0.000, 1.000): 90.0 degrees from x towards y; anisotropy "));
}

TEST_F(Analyze, ConvertsTheRadiusToTheUnitOfTheImage) {
    ASSERT_EQ(RunTevra({"phantom", "-o", "mm.mha", "--size", "40,40,40", "--fiber-radius", "3um", "--spacing",
                        "1um", "--quiet"},
                       {.workingFolder = m_folder.Path()})
                  .status,
              0);
    EXPECT_THAT(analyze_with_radius("3um", "mm.mha").err, HasSubstr("fiber radius 0.003 mm = 3 px"));
    EXPECT_EQ(run()["parameters"]["fiber_radius"], 0.003);
}

TEST_F(Analyze, SaysHowItReadsTheRadius) {
    write("plain.mha", ParallelFibers(PLANE, 0));
    write("spaced.mha", ParallelFibers(PLANE, 0), "0.5 0.5");
    EXPECT_THAT(analyze_with_radius("3", "plain.mha").err,
                AllOf(HasSubstr("fiber radius 3 px"), HasSubstr("spacing none")));
    EXPECT_EQ(run()["input"]["spacing_origin"], "none");
    EXPECT_EQ(run()["input"]["length_unit"], "px");
    EXPECT_THAT(analyze_with_radius("1.5", "spaced.mha").err,
                AllOf(HasSubstr("fiber radius 1.5"), HasSubstr(" = 3 px"), HasSubstr("spacing 0.5")));
    EXPECT_EQ(run()["input"]["spacing_origin"], "header");
    EXPECT_EQ(run()["input"]["spacing"], Json({0.5, 0.5}));
    EXPECT_THAT(analyze_with_radius("6", "spaced.mha", {"--spacing", "2,2"}).err,
                AllOf(HasSubstr("fiber radius 6 = 3 px"), HasSubstr("from --spacing")));
    EXPECT_EQ(run()["input"]["spacing_origin"], "option");
    EXPECT_EQ(run()["parameters"]["fiber_radius"], 6.0);
    EXPECT_EQ(run()["parameters"]["fiber_radius_px"], 3.0);
}

TEST_F(Analyze, SpacingsThatDifferByRoundingCountAsEqual) {
    write("image.mha", ParallelFibers(VOLUME, 0), "0.3096 0.3096 0.30960001");
    for (const std::string estimator : {"line-voting", "hessian"}) {
        analyze_with_radius("0.9288", "image.mha", {"--estimator", estimator});
        EXPECT_EQ(result()["Border"], estimator == "hessian" ? 3 : 6);
    }
}

TEST_F(Analyze, TakesLineVotingUnlessAnotherEstimatorIsNamed) {
    ASSERT_EQ(RunTevra({"phantom", "-o", "image.mha", "--size", "56,52,48", "--fiber-radius", "3",
                        "--volume-fraction", "0.2", "--quiet"},
                       {.workingFolder = m_folder.Path()})
                  .status,
              0);
    analyze("image.mha");
    const Json unnamed = result();
    EXPECT_EQ(run()["parameters"]["estimator"], "line-voting");
    analyze("image.mha", {"--estimator", "line-voting"});
    EXPECT_EQ(result(), unnamed);
    for (const std::string estimator : {"hessian", "structure-tensor"}) {
        analyze("image.mha", {"--estimator", estimator});
        EXPECT_EQ(run()["parameters"]["estimator"], estimator);
        EXPECT_EQ(result()["Border"], estimator == "hessian" ? 3 : 6);
        EXPECT_EQ(result()["Otsu factor"], estimator == "hessian" ? 1.25 : 1.05);
        EXPECT_NE(result()["Field"]["Orientation tensor"], unnamed["Field"]["Orientation tensor"]);
    }
}

TEST_F(Analyze, RecordsTheScalesOfEveryEstimatorInTheUnitOfLengths) {
    write("image.mha", ParallelFibers(VOLUME, 0), "0.5 0.5 0.5");
    const auto scales = [&](const Words& options) {
        analyze_with_radius("1.5", "image.mha", options);
        return run()["parameters"]["scales"];
    };
    const auto is = [](const Json& length, double expected) {
        return std::abs(length.get<double>() - expected) < 1e-12;
    };
    const Json voting = scales({});
    EXPECT_THAT(keys_of(voting), ElementsAre("foreground_sigma", "sigma", "rho", "along"));
    EXPECT_TRUE(is(voting["foreground_sigma"], 0.525) && is(voting["sigma"], 0.75) &&
                is(voting["rho"], 1.05) && is(voting["along"], 1.5))
        << voting;
    EXPECT_EQ(run()["parameters"]["border_px"], Json({6, 6, 6}));
    const Json tensor = scales({"--estimator", "structure-tensor"});
    EXPECT_THAT(keys_of(tensor), ElementsAre("foreground_sigma", "gradient_sigma", "window", "along"));
    EXPECT_TRUE(is(tensor["gradient_sigma"], 0.5) && is(tensor["window"], 1.5) && is(tensor["along"], 0.0))
        << tensor;
    EXPECT_EQ(scales({"--estimator", "hessian"}), Json({{"sigma", 1.5}}));
    EXPECT_EQ(run()["parameters"]["border_px"], Json({3, 3, 3}));
}

TEST_F(Analyze, TakesOtherLengthsForTheStructureTensor) {
    ASSERT_EQ(RunTevra({"phantom", "-o", "image.mha", "--size", "56,52,48", "--fiber-radius", "3um",
                        "--spacing", "1um", "--volume-fraction", "0.2", "--quiet"},
                       {.workingFolder = m_folder.Path()})
                  .status,
              0);
    const auto found = [&](Words options) {
        options.insert(options.end(), {"--estimator", "structure-tensor"});
        analyze_with_radius("3um", "image.mha", options);
        return result();
    };
    const Json own = found({});
    EXPECT_EQ(found({"--gradient-sigma", "1um", "--window", "0.003mm", "--along", "0"}), own);
    for (const Words& options :
         {Words{"--gradient-sigma", "1.5um"}, Words{"--window", "2um"}, Words{"--along", "3um"}}) {
        EXPECT_NE(found(options)["Field"]["Orientation tensor"], own["Field"]["Orientation tensor"])
            << options[0];
    }
    found({"--window", "2um"});
    EXPECT_NEAR(run()["parameters"]["scales"]["window"].get<double>(), 0.002, 1e-15);
}

TEST_F(Analyze, LeavesOutTheBorderThatIsAskedFor) {
    write("image.mha", ParallelFibers(VOLUME, 0), "0.5 0.5 0.5");
    for (const std::string estimator : {"line-voting", "structure-tensor", "hessian"}) {
        analyze_with_radius("1.5", "image.mha", {"--border", "2", "--estimator", estimator});
        EXPECT_EQ(result()["Border"], 4);
        EXPECT_EQ(result()["Field"]["Evaluated area"]["x1"], 44);
        EXPECT_EQ(run()["parameters"]["border_px"], Json({4, 4, 4}));
        analyze_with_radius("1.5", "image.mha", {"--border", "0", "--estimator", estimator});
        EXPECT_EQ(result()["Border"], 0);
    }
}

TEST_F(Analyze, GoesByTheSpacingOfEveryAxisFromTheFileToTheResults) {
    ASSERT_EQ(
        RunTevra({"phantom", "-o", "image.mha", "--size", "64,60,32", "--spacing", "0.05um,0.05um,0.1um",
                  "--fiber-radius", "0.15um", "--axis", "3,2,1", "--truth", "truth_", "--quiet"},
                 {.workingFolder = m_folder.Path()})
            .status,
        0);
    for (const std::string estimator : {"line-voting", "structure-tensor"}) {
        EXPECT_THAT(analyze_with_radius("0.15um", "image.mha",
                                        {"--estimator", estimator, "--maps", "--subfield", "20,20,10"})
                        .err,
                    HasSubstr("fiber radius 0.00015 mm = 3 x 3 x 1.5 px; spacing 5e-05 x 5e-05 x 0.0001 mm"));
        const Json field = result()["Field"];
        const double norm = std::sqrt(14.0); // a physical direction, not one of pixels
        EXPECT_LT(axis_angle_deg(field["Mean fiber direction"], {3 / norm, 2 / norm, 1 / norm}), 0.5);
        EXPECT_EQ(field["Evaluated area"],
                  Json({{"x0", 6}, {"x1", 58}, {"y0", 6}, {"y1", 54}, {"z0", 3}, {"z1", 29}}));
        EXPECT_EQ(run()["parameters"]["border_px"], Json({6, 6, 3}));
        EXPECT_NEAR(result()["Averaged Profile"]["z-Direction"]["slice 13"]["slice position"].get<double>(),
                    0.0013, 1e-12);
        EXPECT_NEAR(result()["Averaged Profile"]["x-Direction"]["slice 26"]["slice position"].get<double>(),
                    0.0013, 1e-12);
        EXPECT_THAT(ReadFile(m_folder / "out/theta.mha"), HasSubstr("ElementSpacing = 5e-05 5e-05 1e-04\n"));
    }
}

TEST_F(Analyze, TakesSixteenBitsAsTheyAreOrUnderAWindowAndSaysSo) {
    const SGreyImage grey = ParallelFibers(PLANE, 0);
    write("grey8.mha", grey);
    SMetaImage wide{.size = PLANE, .elementType = "MET_USHORT"};
    for (const char pixel : grey.pixels) {
        wide.pixels += '\0'; // 256 times the 8-bit value
        wide.pixels += pixel;
    }
    WriteMetaImage(m_folder / "grey16.mha", wide);

    analyze("grey8.mha");
    const Json expected = result();
    const double threshold8 = run()["foreground"]["threshold"];
    EXPECT_EQ(run()["input"]["converted_to_8_bit"], false);
    EXPECT_EQ(run()["input"]["grey_window"], nullptr);

    const SOutcome outcome = analyze("grey16.mha", {"--grey-window", "0,65280"});
    EXPECT_THAT(outcome.err, HasSubstr("0 becomes 0, 65280 becomes 255 (--grey-window)"));
    EXPECT_EQ(result(), expected);
    EXPECT_EQ(run()["input"]["converted_to_8_bit"], true);
    EXPECT_EQ(run()["input"]["grey_window"], Json({0.0, 65280.0}));
    analyze("grey16.mha", {"--window", "0,65280"}); // its former name
    EXPECT_EQ(result(), expected);
    EXPECT_EQ(run()["input"]["grey_window"], Json({0.0, 65280.0}));

    EXPECT_THAT(analyze("grey16.mha").err, HasSubstr("own precision (16-bit unsigned integer)"));
    EXPECT_EQ(run()["input"]["converted_to_8_bit"], false);
    EXPECT_EQ(run()["input"]["grey_window"], nullptr);
    // 256 times the grey values: the same fibers, but for roundings.
    EXPECT_NEAR(run()["foreground"]["threshold"].get<double>(), 256.0 * threshold8,
                1e-3 * 256.0 * threshold8);
    const Json tensor = result()["Field"]["Orientation tensor"];
    EXPECT_NEAR(tensor["xx"].get<double>(), expected["Field"]["Orientation tensor"]["xx"].get<double>(),
                1e-4);
}

TEST_F(Analyze, TakesTheForegroundFromTheMask) {
    write("image.mha", ParallelFibers(VOLUME, 0));
    SGreyImage mask = Constant(VOLUME, 0);
    const std::size_t half = mask.pixels.size() / 2;
    std::fill_n(mask.pixels.begin(), half, '\1');
    write("mask.mha", mask);
    analyze("image.mha", {"--mask", "mask.mha"});
    EXPECT_EQ(run()["foreground"]["pixels"], half);
    EXPECT_EQ(run()["foreground"]["share"], 0.5);
    EXPECT_EQ(run()["foreground"]["threshold"], nullptr);
    EXPECT_EQ(run()["parameters"]["mask"], "mask.mha");
    EXPECT_EQ(run()["parameters"]["summary"], "otsufactor=n/a,fiberradius=3,");
}

TEST_F(Analyze, ReadsHeaderlessPixels) {
    const SGreyImage grey = ParallelFibers(VOLUME, 1);
    write("image.mha", grey);
    WriteFile(m_folder / "image.raw", grey.pixels);
    analyze("image.mha");
    const Json expected = result();
    analyze("image.raw", {"--raw", "48,40,36,u8"});
    EXPECT_EQ(result(), expected);
}

TEST_F(Analyze, ReadsMultiPageTiff) {
    write("image.mha", ParallelFibers(VOLUME, 2));
    WriteTiff(m_folder / "image.tif", ParallelFibers(VOLUME, 2));
    analyze("image.mha");
    const Json expected = result();
    analyze("image.tif");
    EXPECT_EQ(result(), expected);
}

TEST_F(Analyze, ALargerOtsuFactorLeavesLessForeground) {
    write("image.mha", ParallelFibers(VOLUME, 0));
    analyze("image.mha", {"--otsu-factor", "1"});
    const Json low = run();
    analyze("image.mha", {"--otsu-factor", "1.5"});
    const Json high = run();
    EXPECT_LT(low["foreground"]["threshold"], high["foreground"]["threshold"]);
    EXPECT_GT(low["foreground"]["share"], high["foreground"]["share"]);
    EXPECT_EQ(result()["Otsu factor"], 1.5);
}

TEST_F(Analyze, RecordsTheRun) {
    write("image.mha", ParallelFibers(VOLUME, 0));
    analyze("image.mha", {"--subfield", "10,12,14", "--fourth-order", "--maps", "--no-report"});
    const Json record = run();
    EXPECT_EQ(record["program"], "tevra");
    EXPECT_EQ(record["command"], "analyze");
    EXPECT_THAT(record["version"].get<std::string>(), testing::MatchesRegex("[0-9]+\\.[0-9]+\\.[0-9]+"));
    EXPECT_THAT(record["start_time"].get<std::string>(), testing::MatchesRegex("20[0-9-]+T[0-9:]+Z"));
    EXPECT_EQ(record["input"]["path"], "image.mha");
    EXPECT_EQ(record["input"]["format"], "MetaImage");
    EXPECT_EQ(record["input"]["size_px"], Json(VOLUME));
    EXPECT_EQ(record["parameters"]["subfield_px"], Json({10, 12, 14}));
    EXPECT_EQ(record["parameters"]["fourth_order"], true);
    EXPECT_EQ(record["parameters"]["estimator"], "line-voting");
    EXPECT_EQ(record["parameters"]["otsu_factor"], 1.05);
    EXPECT_EQ(record["parameters"]["summary"], "otsufactor=1.05,fiberradius=3,subfieldsize=10,");
    EXPECT_EQ(record["files"], Json({"result.json", "subfields.csv", "profiles.csv", "subfields_a4.csv",
                                     "theta.mha", "phi.mha", "confidence.mha"}));
    EXPECT_GE(record["seconds"]["total"], record["seconds"]["analyze"]);
}

TEST_F(Analyze, SaysNothingWhenQuiet) {
    write("image.mha", ParallelFibers(VOLUME, 0));
    EXPECT_EQ(analyze("image.mha", {"--quiet"}).err, "");
}

TEST_F(Analyze, ReplacesTheResultsOfAnEarlierRunAndLeavesOtherFilesAlone) {
    write("image.mha", ParallelFibers(VOLUME, 0));
    analyze("image.mha", {"--subfield", "10", "--maps"});
    WriteFile(m_folder / "out/notes.txt", "mine");
    analyze("image.mha", {"--otsu-factor", "1.1"});
    EXPECT_THAT(outputs(), ElementsAre("notes.txt", "result.json", "run.json"));
    EXPECT_EQ(result()["Otsu factor"], 1.1);
}

TEST_F(Analyze, LeavesFilesThatOnlyLookLikeResultsAlone) {
    write("image.mha", ParallelFibers(VOLUME, 0));
    fs::create_directory(m_folder / "out");
    WriteFile(m_folder / "out/theta.mha", "not of an earlier run, as there is no run.json");
    analyze("image.mha");
    EXPECT_THAT(outputs(), ElementsAre("result.json", "run.json", "theta.mha"));
}

/// Those with subfields and maps, but for the record with its times.
constexpr std::array OUTPUTS{"result.json", "subfields.csv", "profiles.csv",
                             "theta.mha",   "phi.mha",       "confidence.mha"};

TEST_F(Analyze, TheSameInputGivesTheSameBytes) {
    write("image.mha", ParallelFibers(VOLUME, 0));
    analyze("image.mha", {"--subfield", "10", "--maps"});
    std::vector<std::string> first;
    for (const char* const file : OUTPUTS) {
        first.push_back(ReadFile(m_folder / "out" / file));
    }
    analyze("image.mha", {"--subfield", "10", "--maps"});
    std::size_t i = 0;
    for (const char* const file : OUTPUTS) {
        EXPECT_EQ(ReadFile(m_folder / "out" / file), first[i++]) << file;
    }
}

TEST_F(Analyze, TheNumberOfThreadsChangesNothing) {
    write("image.mha", ParallelFibers(VOLUME, 0));
    std::string first;
    for (const std::string threads : {"1", "2", "7"}) {
        analyze("image.mha", {"--subfield", "10", "--maps", "--threads", threads});
        EXPECT_EQ(run()["parameters"]["threads"], std::stoi(threads));
        std::string bytes;
        for (const char* const file : OUTPUTS) {
            bytes += ReadFile(m_folder / "out" / file);
        }
        first = first.empty() ? bytes : first;
        EXPECT_EQ(bytes == first, true) << threads << " threads";
    }
}

TEST_F(Analyze, MarksSubfieldsWithoutForeground) {
    SGreyImage image = ParallelFibers(VOLUME, 2); // fibers along z, none in the lower half of x
    for (std::size_t i = 0; i < image.pixels.size(); ++i) {
        if (i % VOLUME[0] < 22) {
            image.pixels[i] = '\20';
        }
    }
    write("image.mha", image);
    analyze("image.mha", {"--subfield", "10"});
    EXPECT_EQ(result()["Subfields"]["(06,06,06)"]["Status"], "No foreground pixels in this subfield.");
    EXPECT_EQ(result()["Averaged Profile"]["x-Direction"]["slice 06"]["Status"], "no valid subfields");
    EXPECT_THAT(ReadFile(m_folder / "out/subfields.csv"),
                HasSubstr("s06_06_06,6,6,6,16,16,16,11,11,11,0,0,,,No foreground pixels in this "
                          "subfield.,,,,,,,,,,,,,,,,\n"));
    EXPECT_THAT(ReadFile(m_folder / "out/profiles.csv"),
                HasSubstr("x,6,6,0,,no valid subfields,,,,,,,,,,,,,,,,\n"));
}

TEST_F(Analyze, SaysWhichPixelsLieInNoSubfield) {
    write("image.mha", ParallelFibers({48, 40, 44}, 0));
    EXPECT_THAT(
        analyze("image.mha", {"--subfield", "10"}).err,
        HasSubstr("in no subfield, only in the whole field: the last 6 px along x, 8 px along y, 2 slices "
                  "along z"));
    EXPECT_EQ(run()["parameters"]["beyond_subfields_px"], Json({6, 8, 2}));
    EXPECT_THAT(analyze("image.mha", {"--subfield", "36,28,32"}).err,
                testing::Not(HasSubstr("in no subfield")));
}

TEST_F(Analyze, DividesTheWholeEvaluatedAreaIntoANumberOfSubfields) {
    write("image.mha", ParallelFibers({48, 40, 44}, 0));
    EXPECT_THAT(analyze("image.mha", {"--subfield-count", "4,3,5"}).err,
                testing::Not(HasSubstr("in no subfield")));
    EXPECT_EQ(run()["parameters"]["subfield_count"], Json({4, 3, 5}));
    const Json subfields = result()["Subfields"];
    ASSERT_EQ(subfields.size(), 4U * 3U * 5U + 1U);
    EXPECT_EQ(subfields["Subfield size"], 36.0 / 4.0);
    long long pixels = 0;
    for (const auto& subfield : subfields) {
        if (subfield.is_object()) {
            const Json& area = subfield["Evaluated area"];
            pixels += (area["x1"].get<long long>() - area["x0"].get<long long>()) *
                      (area["y1"].get<long long>() - area["y0"].get<long long>()) *
                      (area["z1"].get<long long>() - area["z0"].get<long long>());
        }
    }
    EXPECT_EQ(pixels, 36 * 28 * 32);
    EXPECT_THAT(lines_of(m_folder / "out/subfields.csv"), SizeIs(61));
    EXPECT_THAT(outputs(), Contains("profiles.csv"));
}

TEST_F(Analyze, TheNumberOfSubfieldsLeavesTheWholeFieldAsItIs) {
    write("image.mha", ParallelFibers({47, 41, 43}, 2));
    analyze("image.mha");
    const Json expected = result()["Field"];
    analyze("image.mha", {"--subfield-count", "4,3,5"});
    const Json field = result()["Field"];
    EXPECT_EQ(field["Evaluated area"], expected["Evaluated area"]);
    EXPECT_NEAR(field["Orientation tensor"]["zz"].get<double>(),
                expected["Orientation tensor"]["zz"].get<double>(), 1e-12);
}

/// With every grey value g turned into 255 - g.
SGreyImage turned(SGreyImage image) {
    for (char& pixel : image.pixels) {
        pixel = static_cast<char>(255 - static_cast<unsigned char>(pixel));
    }
    return image;
}

TEST_F(Analyze, DarkFibersAreThoseOfTheImageTurnedOver) {
    for (const std::vector<int>& size : {VOLUME, PLANE}) {
        write("bright.mha", ParallelFibers(size, 1));
        write("dark.mha", turned(ParallelFibers(size, 1)));
        analyze("bright.mha", {"--subfield", "10", "--maps"});
        const Json expected = result();
        const Json expectedRun = run();
        const std::string theta = ReadFile(m_folder / "out/theta.mha");
        EXPECT_THAT(analyze("dark.mha", {"--subfield", "10", "--maps", "--dark-fibers"}).err,
                    HasSubstr(", darker than "));
        EXPECT_EQ(result(), expected);
        EXPECT_EQ(ReadFile(m_folder / "out/theta.mha") == theta, true);
        EXPECT_EQ(run()["foreground"]["pixels"], expectedRun["foreground"]["pixels"]);
        EXPECT_NEAR(run()["foreground"]["threshold"].get<double>(),
                    255.0 - expectedRun["foreground"]["threshold"].get<double>(), 1e-9);
        EXPECT_EQ(run()["parameters"]["dark_fibers"], true);
        EXPECT_EQ(expectedRun["parameters"]["dark_fibers"], false);
    }
}

TEST_F(Analyze, PixelsWithoutAValueAreNoDarkFibers) {
    const SGreyImage grey = turned(ParallelFibers(PLANE, 1));
    SMetaImage image{.size = PLANE, .elementType = "MET_FLOAT"};
    std::vector<float> values;
    for (const char pixel : grey.pixels) {
        values.push_back(static_cast<float>(static_cast<unsigned char>(pixel)) - 1000.0F);
    }
    for (std::size_t y = 30; y < 44; ++y) {
        std::fill_n(values.begin() + static_cast<std::ptrdiff_t>(y * 96 + 30), 14, std::nanf(""));
    }
    image.pixels.assign(reinterpret_cast<const char*>(values.data()), values.size() * sizeof(float));
    WriteMetaImage(m_folder / "image.mha", image);
    for (const Words& more : {Words{}, Words{"--grey-window", "-1000,-745"}}) {
        Words options = {"--dark-fibers", "--maps"};
        options.insert(options.end(), more.begin(), more.end());
        EXPECT_THAT(analyze("image.mha", options).err,
                    HasSubstr("196 pixels have no value (NaN) and count as brightest"));
        EXPECT_EQ(ReadFloatMetaImage(m_folder / "out/theta.mha")[37 * 96 + 37], -4.1415925F);
        EXPECT_LT(axis_angle_deg(result()["Field"]["Mean fiber direction"], unit_axis(2, 1)), 5.0);
    }
}

TEST_F(Analyze, TakesAThresholdInGreyValuesOfTheImage) {
    write("image.mha", ParallelFibers(VOLUME, 0));
    analyze("image.mha");
    const Json expected = result();
    const double automatic = run()["foreground"]["threshold"];
    std::ostringstream text;
    text << std::setprecision(17) << automatic;
    analyze("image.mha", {"--threshold", text.str()});
    EXPECT_EQ(run()["foreground"]["threshold"], automatic);
    EXPECT_EQ(run()["parameters"]["threshold"], automatic);
    EXPECT_EQ(run()["parameters"]["otsu_factor"], nullptr);
    EXPECT_EQ(result()["Otsu factor"], "n/a (user-specified threshold)");
    EXPECT_EQ(result()["Field"], expected["Field"]);
    // Under a window, too, it is a grey value of the image.
    std::ostringstream scaled;
    analyze("image.mha", {"--grey-window", "0,127.5"});
    const double underWindow = run()["foreground"]["threshold"];
    const long long pixels = run()["foreground"]["pixels"];
    scaled << std::setprecision(17) << underWindow / 2.0;
    analyze("image.mha", {"--grey-window", "0,127.5", "--threshold", scaled.str()});
    EXPECT_EQ(run()["foreground"]["pixels"], pixels);
    EXPECT_NEAR(run()["foreground"]["threshold"].get<double>(), underWindow, 1e-9);
}

TEST_F(Analyze, WarnsOfAForegroundThatIsHardlyTheFibers) {
    write("image.mha", ParallelFibers(VOLUME, 0));
    EXPECT_THAT(analyze("image.mha").err, testing::Not(HasSubstr("warning")));
    EXPECT_EQ(run()["foreground"]["plausibility"], "plausible");
    EXPECT_THAT(analyze("image.mha", {"--threshold", "1", "--quiet"}).err,
                AllOf(HasSubstr("warning: as much as 100 % of the image counts as fiber"),
                      HasSubstr("--dark-fibers")));
    EXPECT_EQ(run()["foreground"]["plausibility"], "huge");
    SGreyImage sparse = ParallelFibers(VOLUME, 0);
    std::fill(sparse.pixels.begin() + static_cast<std::ptrdiff_t>(sparse.pixels.size() / 3),
              sparse.pixels.end(),
              '\50'); // the ground
    write("sparse.mha", sparse);
    const SOutcome tiny = analyze("sparse.mha", {"--threshold", "190"});
    EXPECT_THAT(tiny.err, AllOf(HasSubstr("warning: only "), HasSubstr("try another --threshold")));
    EXPECT_EQ(run()["foreground"]["plausibility"], "tiny");
    EXPECT_EQ(run()["warnings"][0]["kind"], "tiny-foreground");
    EXPECT_EQ(run()["warnings"][0]["value"], run()["foreground"]["share"]);
}

TEST_F(Analyze, WarnsOfPixelsTooThickForLineVoting) {
    write("fibers.mha", ParallelFibers(VOLUME, 0));
    const Words thick{"--spacing", "1,1,4", "--quiet"};
    EXPECT_THAT(analyze_with_radius("3", "fibers.mha", thick).err,
                AllOf(HasSubstr("warning: pixels are 1.33 fiber radii long along z"),
                      HasSubstr("--estimator structure-tensor")));
    EXPECT_EQ(run()["warnings"][0]["kind"], "thick-pixels");
    EXPECT_THAT(run()["warnings"][0]["text"].get<std::string>(), testing::Not(HasSubstr("--")));
    EXPECT_EQ(analyze_with_radius("3", "fibers.mha", {"--spacing", "1,1,3", "--quiet"}).err, "");
    EXPECT_EQ(analyze_with_radius("3", "fibers.mha",
                                  {"--spacing", "1,1,4", "--quiet", "--estimator", "structure-tensor"})
                  .err,
              "");
}

/// Layers of parallel fibers, by turns along x and along y.
SGreyImage crossed_layers(int layersAlongX) {
    const std::vector<int> size{48, 48, 48};
    constexpr std::size_t LAYER = std::size_t{48} * 48 * 12; // one row of fibers
    SGreyImage image = ParallelFibers(size, 1);
    const SGreyImage alongX = ParallelFibers(size, 0);
    for (int layer = 0; layer < layersAlongX; ++layer) {
        const auto first = static_cast<std::size_t>(layer) * LAYER;
        image.pixels.replace(first, LAYER, alongX.pixels, first, LAYER);
    }
    return image;
}

TEST_F(Analyze, WarnsOfAMeanDirectionThatMeansLittle) {
    write("crossed.mha", crossed_layers(2));
    const std::string said = analyze("crossed.mha", {"--quiet", "--border", "0"}).err;
    EXPECT_THAT(said, HasSubstr("warning: the mean direction means little: the two largest eigenvalues"));
    ASSERT_EQ(run()["warnings"].size(), 1U);
    EXPECT_EQ(run()["warnings"][0]["kind"], "vague-direction");
    EXPECT_LT(run()["warnings"][0]["value"], 0.05);
    write("mostly.mha", crossed_layers(3));
    EXPECT_EQ(analyze("mostly.mha", {"--quiet", "--border", "0"}).err, "");
    EXPECT_EQ(run()["warnings"], Json::array());
}

TEST_F(Analyze, WarnsOfFibersThatAreNotResolvedWhereTheEstimatorCanTell) {
    write("fibers.mha", ParallelFibers(VOLUME, 0));
    analyze("fibers.mha");
    EXPECT_EQ(run()["warnings"], Json::array());
    EXPECT_GT(run()["confidence"]["mean"], 0.9);
    SGreyImage noise = Constant(VOLUME, 0);
    std::mt19937 random(1);
    for (char& pixel : noise.pixels) {
        pixel = static_cast<char>(random() % 256U);
    }
    write("noise.mha", noise);
    EXPECT_THAT(analyze("noise.mha", {"--quiet"}).err,
                AllOf(HasSubstr("warning: the mean confidence of axes is 0."),
                      HasSubstr("--estimator structure-tensor")));
    EXPECT_EQ(run()["warnings"][0]["kind"], "unresolved-fibers");
    WriteFile(m_folder / "noise.raw", noise.pixels);
    EXPECT_THAT(analyze("noise.raw", {"--quiet", "--raw", "48,40,36,u8"}).err,
                HasSubstr("check --raw and --fiber-radius"));
    EXPECT_EQ(run()["warnings"][0]["value"], run()["confidence"]["mean"]);
    EXPECT_THAT(run()["warnings"][0]["text"].get<std::string>(), testing::Not(HasSubstr("--")));
    EXPECT_GT(run()["confidence"]["doubtful_fraction"], 0.2);
    EXPECT_THAT(analyze("noise.mha", {"--estimator", "structure-tensor", "--quiet"}).err,
                testing::Not(HasSubstr("confidence")));
    EXPECT_LT(run()["confidence"]["mean"], 0.65);
    EXPECT_TRUE(run()["confidence"]["doubtful_fraction"].is_null());
    EXPECT_THAT(analyze("noise.mha", {"--estimator", "hessian", "--quiet"}).err,
                testing::Not(HasSubstr("confidence")));
    EXPECT_TRUE(run()["confidence"].is_null());
}

} // namespace
} // namespace TEVRA::test
