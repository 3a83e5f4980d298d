// SPDX-License-Identifier: BSD-3-Clause
#include "FilterOrientations/SubfieldFiberDirections.h"

#include "src/Naive.h"
#include "support/MakeImage.h"
#include "zeklib2core/ValueLeaf.h"
#include "zeklib2core/ValueMap.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <numbers>
#include <string>
#include <utility>
#include <vector>

namespace TEVRA {
namespace {

using testing::ElementsAre;
using Map = std::unique_ptr<CValueMap>;

constexpr const char* NO_SUBFIELDS = "no valid subfields";
const std::vector<std::string> AXES = {"x", "y", "z"};

CValue* text(const char* value) {
    return new CValueString(value, CString::NPOS);
}

double number(const CValueMap& map, const std::string& path) {
    const CValue* value = map.Entry(path.c_str());
    EXPECT_NE(value, nullptr) << path;
    return value == nullptr ? std::nan("") : value->Double();
}

std::string status(const CValueMap& map) {
    return map.Entry("Status")->String().Text();
}

/// One subfield of a document made by hand.
struct SSubfield {
    std::array<long, 2> corner; ///< lower corner
    const char* status;         ///< null for none
    std::array<double, 2> diagonal;
    bool fourthOrder = false;
};

Map entry_of(const SSubfield& subfield) {
    auto tensor = std::make_unique<CValueMap>();
    tensor->SetEntry("xx", new CValueDouble(subfield.diagonal[0]));
    tensor->SetEntry("xy", new CValueDouble(0.0));
    tensor->SetEntry("yx", new CValueDouble(0.0));
    tensor->SetEntry("yy", new CValueDouble(subfield.diagonal[1]));
    auto mean = std::make_unique<CValueMap>();
    mean->SetEntry("x", new CValueDouble(1.0));
    mean->SetEntry("y", new CValueDouble(0.0));
    auto area = std::make_unique<CValueMap>();
    area->SetEntry("x0", new CValueLong(subfield.corner[0]));
    area->SetEntry("y0", new CValueLong(subfield.corner[1]));
    auto entry = std::make_unique<CValueMap>();
    entry->SetEntry("Orientation tensor", tensor.release());
    if (subfield.fourthOrder) {
        auto tensor4 = std::make_unique<CValueMap>();
        tensor4->SetEntry("xxxx", new CValueDouble(2.0 * subfield.diagonal[0]));
        entry->SetEntry("Fourth order Orientation tensor", tensor4.release());
    }
    entry->SetEntry("Eigenvalues of the orientation tensor", new CValueMap);
    entry->SetEntry("Mean fiber direction", mean.release());
    entry->SetEntry("Anisotropy value", new CValueDouble(0.75));
    if (subfield.status != nullptr) {
        entry->SetEntry("Status", text(subfield.status));
    }
    entry->SetEntry("Evaluated area", area.release());
    return entry;
}

/// A planar document whose global direction is the x axis.
CValueMap document_of(const std::vector<SSubfield>& subfields) {
    auto entries = std::make_unique<CValueMap>();
    int number = 0;
    for (const SSubfield& subfield : subfields) {
        entries->SetEntry(std::to_string(number++).insert(0, "#").c_str(), entry_of(subfield).release());
    }
    entries->SetEntry("Subfield size", new CValueDouble(7.5));
    auto mean = std::make_unique<CValueMap>();
    mean->SetEntry("x", new CValueDouble(1.0));
    mean->SetEntry("y", new CValueDouble(0.0));
    auto field = std::make_unique<CValueMap>();
    field->SetEntry("Mean fiber direction", mean.release());
    CValueMap root;
    root.SetEntry("Border", new CValueLong(3));
    root.SetEntry("Subfields", entries.release());
    root.SetEntry("Field", field.release());
    root.SetEntry("Otsu factor", new CValueDouble(1.25));
    root.SetEntry("Fiber radius", new CValueDouble(3.5));
    return root;
}

Map profile_of(const CValueMap& root, const std::array<double, 3>& spacing = {1.0, 1.0, 1.0}) {
    CSubfieldFiberDirections analysis(1.0, 1.25, -1, -1, -1);
    return Map(analysis.CreateAveragedProfile(root, spacing.data(), 2));
}

/// Runs an analysis with a mask.
Map analyse(const CSize& size, const std::array<long long, 3>& subfieldSize, bool fourthOrder,
            const std::function<int(long long, long long, long long)>& maskValue) {
    const auto image =
        test::MakeImage<unsigned char>(IMAGE_GREY_8, size, [](long long x, long long y, long long z) {
            return (x * x * 7 + y * 41 + z * 23 + x * y * 5) % 251;
        });
    const auto mask = test::MakeImage<unsigned char>(IMAGE_BINARY_FG, size, maskValue);
    CSubfieldFiberDirections analysis(1.4, 1.25, subfieldSize[0], subfieldSize[1], subfieldSize[2]);
    std::string parameters;
    return Map(analysis.Compute(*image, parameters, mask.get(), fourthOrder));
}

/// A slice averaged by hand: number of valid subfields and sums of the components of their tensors.
struct SNaiveSlice {
    int count = 0;
    std::map<std::string, double> sums;
};

/// The slices of an axis by coordinate, from the subfield entries of a document.
std::map<int, SNaiveSlice> naive_slices(const CValueMap& root, const std::string& axis) {
    std::map<int, SNaiveSlice> slices;
    const CValueMap& subfields = root.Entry("Subfields")->Map();
    for (auto it = subfields.begin(); !(it == subfields.end()); ++it) {
        if (it.Value()->GenericType() != CValue::eMap) {
            continue;
        }
        const CValueMap& entry = it.Value()->Map();
        SNaiveSlice& slice = slices[entry.Entry(("Evaluated area/" + axis + "0").c_str())->Long()];
        if (status(entry) != "ok") {
            continue;
        }
        ++slice.count;
        for (const std::string tensor : {"Orientation tensor", "Fourth order Orientation tensor"}) {
            if (!entry.HasEntry(tensor.c_str())) {
                continue;
            }
            const CValueMap& components = entry.Entry(tensor.c_str())->Map();
            for (auto at = components.begin(); !(at == components.end()); ++at) {
                slice.sums[tensor + "/" + at.Key().ToString()] += at.Value()->Double();
            }
        }
    }
    return slices;
}

void expect_profile(const CValueMap& root, int dim) {
    for (const std::string& axis : std::vector<std::string>(AXES.begin(), AXES.begin() + dim)) {
        SCOPED_TRACE(axis);
        const auto expected = naive_slices(root, axis);
        const CValueMap& slices = root.Entry(("Averaged Profile/" + axis + "-Direction").c_str())->Map();
        ASSERT_EQ(slices.Size(), expected.size());
        auto at = slices.begin();
        for (const auto& [coordinate, naive] : expected) {
            const CValueMap& slice = at.Value()->Map();
            EXPECT_EQ(slice.Entry("Number of subfields")->Long(), naive.count);
            EXPECT_EQ(number(slice, "slice position"), coordinate);
            EXPECT_EQ(status(slice), naive.count == 0 ? NO_SUBFIELDS : "ok");
            for (const auto& [path, sum] : naive.sums) {
                EXPECT_NEAR(number(slice, path), sum / naive.count, 1e-14) << path;
            }
            ++at;
        }
    }
}

} // namespace

TEST(AveragedProfile, AgreesWithNaiveAveragingInThePlane) {
    const Map root = analyse(CSize(47, 39), {9, 7, 0}, true,
                             [](long long x, long long y, long long) { return (x * y) % 3 == 0 ? 1 : 0; });
    expect_profile(*root, 2);
}

TEST(AveragedProfile, AgreesWithNaiveAveragingInSpaceAndAcrossEmptySubfields) {
    const Map root = analyse(CSize(23, 21, 19), {6, 5, 4}, true, [](long long x, long long y, long long z) {
        return x < 8 && z > 6 ? static_cast<int>(y % 2) : 0;
    });
    expect_profile(*root, 3);
}

TEST(AveragedProfile, LeavesOutSubfieldsOfLowFraction) {
    // A few pixels in each subfield of 400, a quarter of it in one.
    const Map root = analyse(CSize(65, 45), {20, 20, 0}, false, [](long long x, long long y, long long) {
        return (x < 11 && y < 11) || (x % 19 == 10 && y % 17 == 9) ? 1 : 0;
    });
    EXPECT_EQ(status(root->Entry("Subfields/(01,01)")->Map()), "ok");
    EXPECT_EQ(status(root->Entry("Subfields/(21,01)")->Map()),
              "Low fiber volume fraction, results may be inaccurate.");
    expect_profile(*root, 2);
    const CValueMap& slice = root->Entry("Averaged Profile/x-Direction/slice 01")->Map();
    EXPECT_EQ(slice.Entry("Number of subfields")->Long(), 1);
    EXPECT_EQ(
        root->Entry("Averaged Profile/x-Direction/slice 21")->Map().Entry("Number of subfields")->Long(), 0);
}

TEST(AveragedProfile, OfASliceIsTheMeanOfItsSubfields) {
    const CValueMap root =
        document_of({{{3, 3}, "ok", {0.9, 0.1}}, {{10, 3}, "ok", {0.2, 0.8}}, {{3, 10}, "ok", {0.5, 0.5}}});
    const Map profile = profile_of(root);
    const CValueMap& column = profile->Entry("x-Direction/slice 03")->Map();
    EXPECT_EQ(column.Entry("Number of subfields")->Long(), 2);
    EXPECT_DOUBLE_EQ(number(column, "Orientation tensor/xx"), 0.7);
    EXPECT_DOUBLE_EQ(number(column, "Orientation tensor/yy"), 0.3);
    EXPECT_DOUBLE_EQ(column.Entry("Eigenvalues of the orientation tensor")->Map().Entry(0)->Double(), 0.7);
    EXPECT_DOUBLE_EQ(number(column, "Anisotropy value"), 1.0 - 0.3 / 0.7);
    EXPECT_NEAR(std::abs(number(column, "Mean fiber direction/x")), 1.0, 1e-15);
    EXPECT_EQ(number(column, "Difference to global direction"), 0.0);
    EXPECT_EQ(status(column), "ok");
    const CValueMap& other = profile->Entry("x-Direction/slice 10")->Map();
    EXPECT_EQ(other.Entry("Number of subfields")->Long(), 1);
    EXPECT_DOUBLE_EQ(number(other, "Difference to global direction"), std::numbers::pi / 2);
    EXPECT_DOUBLE_EQ(number(profile->Entry("y-Direction/slice 03")->Map(), "Orientation tensor/xx"), 0.55);
}

TEST(AveragedProfile, CountsSubfieldsWithoutStatusTextAsValid) {
    const Map profile = profile_of(document_of({{{3, 3}, nullptr, {0.9, 0.1}}, {{3, 10}, "ok", {0.5, 0.5}}}));
    EXPECT_EQ(profile->Entry("x-Direction/slice 3/Number of subfields")->Long(), 2);
}

TEST(AveragedProfile, OfASliceWithoutValidSubfieldsIsTheZeroTemplate) {
    const Map profile =
        profile_of(document_of({{{3, 3}, "ok", {0.9, 0.1}, true},
                                {{10, 3}, "No foreground pixels in this subfield.", {5, 5}, true},
                                {{10, 10}, "whatever else", {5, 5}, true}}));
    const CValueMap& empty = profile->Entry("x-Direction/slice 10")->Map();
    EXPECT_EQ(empty.Entry("Number of subfields")->Long(), 0);
    EXPECT_EQ(status(empty), NO_SUBFIELDS);
    for (const char* component : {"xx", "xy", "yx", "yy"}) {
        EXPECT_EQ(number(empty, std::string("Orientation tensor/") + component), 0.0) << component;
    }
    EXPECT_EQ(number(empty, "Fourth order Orientation tensor/xxxx"), 0.0);
    EXPECT_EQ(number(empty, "Anisotropy value"), 0.0);
    EXPECT_EQ(number(empty, "slice position"), 10.0);
    EXPECT_THAT(test::KeysOf(empty),
                ElementsAre("Orientation tensor", "Fourth order Orientation tensor", "Anisotropy value",
                            "Number of subfields", "Eigenvalues of the orientation tensor",
                            "Mean fiber direction", "Status", "Difference to global direction",
                            "slice position"));
}

TEST(AveragedProfile, OfASliceThatIsEmptyInAnAnalysisIsTheZeroTemplate) {
    const Map root = analyse(CSize(47, 39), {9, 7, 0}, true,
                             [](long long x, long long, long long) { return x < 10 || x >= 19 ? 1 : 0; });
    const CValueMap& empty = root->Entry("Averaged Profile/x-Direction/slice 10")->Map();
    EXPECT_EQ(empty.Entry("Number of subfields")->Long(), 0);
    EXPECT_EQ(status(empty), NO_SUBFIELDS);
    EXPECT_EQ(number(empty, "Orientation tensor/xx"), 0.0);
    EXPECT_EQ(number(empty, "Fourth order Orientation tensor/xxyy"), 0.0);
    EXPECT_EQ(status(root->Entry("Averaged Profile/x-Direction/slice 01")->Map()), "ok");
}

TEST(AveragedProfile, WithoutAnyOkSubfieldHoldsCountStatusAndPositionOnly) {
    const Map profile = profile_of(document_of(
        {{{3, 3}, "No foreground pixels in this subfield.", {5, 5}}, {{10, 3}, "something else", {5, 5}}}));
    for (const char* slice : {"x-Direction/slice 03", "x-Direction/slice 10", "y-Direction/slice 3"}) {
        EXPECT_THAT(test::KeysOf(profile->Entry(slice)->Map()),
                    ElementsAre("Number of subfields", "Status", "slice position"))
            << slice;
        EXPECT_EQ(status(profile->Entry(slice)->Map()), NO_SUBFIELDS);
    }
}

TEST(AveragedProfile, CarriesNoneOfTheKeysLeftOutButTheRecomputedOnes) {
    const Map profile = profile_of(document_of({{{3, 3}, "ok", {0.9, 0.1}}}));
    const CValueMap& slice = profile->Entry("x-Direction/slice 3")->Map();
    EXPECT_FALSE(slice.HasEntry("Evaluated area"));
    EXPECT_THAT(test::KeysOf(slice), ElementsAre("Orientation tensor", "Number of subfields",
                                                 "Eigenvalues of the orientation tensor",
                                                 "Mean fiber direction", "Anisotropy value", "Status",
                                                 "Difference to global direction", "slice position"));
    EXPECT_DOUBLE_EQ(number(slice, "Anisotropy value"), 1.0 - 0.1 / 0.9) << "not the entry's own 0.75";
}

TEST(AveragedProfile, NamesSlicesWithTheDigitsOfTheLargestCoordinate) {
    const Map profile = profile_of(document_of(
        {{{5, 0}, "ok", {0.9, 0.1}}, {{105, 0}, "ok", {0.9, 0.1}}, {{405, 0}, "ok", {0.9, 0.1}}}));
    EXPECT_THAT(test::KeysOf(profile->Entry("x-Direction")->Map()),
                ElementsAre("slice 005", "slice 105", "slice 405"));
    EXPECT_THAT(test::KeysOf(profile->Entry("y-Direction")->Map()), ElementsAre("slice 0"))
        << "one digit when the largest coordinate is 0";
}

TEST(AveragedProfile, StandsInAscendingOrderWhateverTheOrderOfTheSubfields) {
    const Map profile = profile_of(document_of(
        {{{30, 8}, "ok", {0.9, 0.1}}, {{9, 100}, "ok", {0.9, 0.1}}, {{20, 8}, "ok", {0.9, 0.1}}}));
    EXPECT_THAT(test::KeysOf(profile->Entry("x-Direction")->Map()),
                ElementsAre("slice 09", "slice 20", "slice 30"));
    EXPECT_THAT(test::KeysOf(profile->Entry("y-Direction")->Map()), ElementsAre("slice 008", "slice 100"));
}

TEST(AveragedProfile, PlacesSlicesInPhysicalUnitsPerAxis) {
    const Map profile = profile_of(document_of({{{10, 20}, "ok", {0.9, 0.1}}}), {0.5, 0.25, 9.0});
    EXPECT_EQ(number(*profile, "x-Direction/slice 10/slice position"), 5.0);
    EXPECT_EQ(number(*profile, "y-Direction/slice 20/slice position"), 5.0);
}

TEST(AveragedProfile, CopiesTheParameters) {
    const CValueMap root = document_of({{{3, 3}, "ok", {0.9, 0.1}}});
    const Map profile = profile_of(root);
    const CValueMap& parameters = profile->Entry("parameters")->Map();
    EXPECT_THAT(test::KeysOf(parameters),
                ElementsAre("Otsu factor", "Fiber radius", "Border", "Subfield size"));
    EXPECT_EQ(number(parameters, "Otsu factor"), 1.25);
    EXPECT_EQ(number(parameters, "Fiber radius"), 3.5);
    EXPECT_EQ(parameters.Entry("Border")->Long(), 3);
    EXPECT_EQ(number(parameters, "Subfield size"), 7.5);
    EXPECT_EQ(root.Entry("Border")->Long(), 3) << "copied, not moved";
}

TEST(AveragedProfile, LeavesTheDocumentAlone) {
    const CValueMap root = document_of({{{3, 3}, "ok", {0.9, 0.1}}, {{3, 10}, "ok", {0.5, 0.5}}});
    const CValueMap before(root);
    profile_of(root);
    EXPECT_TRUE(root.EqualData(before));
}

} // namespace TEVRA
