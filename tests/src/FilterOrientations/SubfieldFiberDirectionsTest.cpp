// SPDX-License-Identifier: BSD-3-Clause
// The analysis as a whole: the document against sums formed pixel by pixel from the maps of the same run.
#include "FilterOrientations/SubfieldFiberDirections.h"

#include "src/Naive.h"
#include "src/TestAccess.h"
#include "support/MakeImage.h"
#include "support/MemoryLimit.h"
#include "support/RecordingMonitor.h"
#include "support/ThrownException.h"
#include "zeklib2core/Exception.h"
#include "zeklib2core/ValueMap.h"
#include "zeklib2image/HeaderTools.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

namespace TEVRA {
namespace {

using test::SAngles;
using test::SNaiveCut;
using test::SNaiveSums;
using testing::ElementsAre;
using Sizes = std::array<long long, 3>;
using MaskFunction = std::function<int(long long, long long, long long)>;

constexpr const char* IMAGE_TOO_SMALL =
    "Fiber diameter must not exceed image size (please check for correct units).";
constexpr const char* SUBFIELD_TOO_SMALL =
    "Fiber diameter must not exceed subfield size (please check for correct units).";
constexpr const char* NO_FOREGROUND = "No foreground pixels in this subfield.";
constexpr const char* LOW_FRACTION = "Low fiber volume fraction, results may be inaccurate.";

/// What one analysis is given.
struct SSetup {
    CSize size;
    double fiberRadius = 1.0; ///< in the unit of the spacing
    Sizes subfieldSize{-1, -1, -1};
    MaskFunction mask{}; ///< none: the automatic threshold
    bool fourthOrder = false;
    double spacing = 1.0;
    double otsuFactor = 1.25;
};

/// What came out of it.
struct SResult {
    std::unique_ptr<CValueMap> document;
    std::string parameters;
    SAngles angles;
    Sizes fittedSize{};
};

/// Dark ground with bright stripes in several directions.
std::unique_ptr<CImage> stripes(const CSize& size) {
    return test::MakeImage<unsigned char>(IMAGE_GREY_8, size, [](long long x, long long y, long long z) {
        const bool isFiber = (x + z) % 7 < 2 || (2 * y + x) % 13 < 3 || (y + 3 * z) % 17 < 2;
        return (isFiber ? 190 : 30) + (x * 5 + y * 3 + z * 11) % 20;
    });
}

SResult analyse(const SSetup& setup) {
    SResult result;
    const auto image = stripes(setup.size);
    CVexoHeaderTools::SetSpacing(*image, setup.spacing, setup.spacing, setup.spacing);
    std::unique_ptr<CImage> mask;
    if (setup.mask) {
        mask = test::MakeImage<unsigned char>(IMAGE_BINARY_FG, setup.size, setup.mask);
    }
    CSubfieldFiberDirections analysis(setup.fiberRadius, setup.otsuFactor, setup.subfieldSize[0],
                                      setup.subfieldSize[1], setup.subfieldSize[2]);
    result.document.reset(analysis.Compute(*image, result.parameters, mask.get(), setup.fourthOrder));
    const std::vector<CImage*> images = CTestAccess::Images(CTestAccess::EstimatorOf(analysis));
    result.angles = {setup.size, test::PixelsOf<float>(*images[8]), {}};
    if (images[7] != nullptr) {
        result.angles.phi = test::PixelsOf<float>(*images[7]);
    }
    result.fittedSize = CTestAccess::SubfieldSize(analysis);
    return result;
}

std::string message_of(const SSetup& setup) {
    return test::MessageOf([&] { analyse(setup); });
}

const CValueMap& map_at(const CValueMap& map, const char* path) {
    return map.Entry(path)->Map();
}

double number(const CValueMap& map, const std::string& path) {
    const CValue* value = map.Entry(path.c_str());
    EXPECT_NE(value, nullptr) << path;
    return value == nullptr ? std::nan("") : value->Double();
}

std::string status(const CValueMap& field) {
    return field.Entry("Status")->String().Text();
}

void expect_tensors(const CValueMap& field, const SNaiveSums& sums, int dim, bool fourthOrder) {
    const std::string axes = "xyz";
    const auto n = static_cast<std::size_t>(dim);
    const double divisor = sums.count > 0 ? static_cast<double>(sums.count) : 1.0;
    const CValueMap& tensor = map_at(field, "Orientation tensor");
    EXPECT_EQ(tensor.Size(), n * n);
    for (std::size_t at = 0; at < n * n; ++at) {
        const std::string key = {axes[at / n], axes[at % n]};
        EXPECT_NEAR(number(tensor, key), sums.second[at] / divisor, 1e-12) << key;
    }
    EXPECT_EQ(field.HasEntry("Fourth order Orientation tensor"), fourthOrder);
    if (fourthOrder) {
        const CValueMap& tensor4 = map_at(field, "Fourth order Orientation tensor");
        EXPECT_EQ(tensor4.Size(), n * n * n * n);
        for (std::size_t at = 0; at < n * n * n * n; ++at) {
            const std::string key = {axes[at / (n * n * n)], axes[at / (n * n) % n], axes[at / n % n],
                                     axes[at % n]};
            EXPECT_NEAR(number(tensor4, key), sums.fourth[at] / divisor, 1e-12) << key;
        }
    }
}

/// Mean direction, eigenvalues and anisotropy must fit the tensor of the same field.
void expect_evaluation(const CValueMap& field, int dim) {
    const std::string axes = "xyz";
    const auto n = static_cast<std::size_t>(dim);
    const CValueMap& eigenvalues = map_at(field, "Eigenvalues of the orientation tensor");
    ASSERT_EQ(eigenvalues.Size(), n);
    double trace = 0.0;
    double sum = 0.0;
    for (std::size_t i = 0; i < n; ++i) {
        trace += number(field, std::string("Orientation tensor/") + axes[i] + axes[i]);
        sum += eigenvalues.Entry(static_cast<int>(i))->Double();
        double product = 0.0;
        for (std::size_t j = 0; j < n; ++j) {
            product += number(field, std::string("Orientation tensor/") + axes[i] + axes[j]) *
                       number(field, std::string("Mean fiber direction/") + axes[j]);
        }
        EXPECT_NEAR(product,
                    eigenvalues.Entry(0)->Double() *
                        number(field, std::string("Mean fiber direction/") + axes[i]),
                    1e-12);
    }
    EXPECT_NEAR(sum, trace, 1e-12);
    const double largest = eigenvalues.Entry(0)->Double();
    const double smallest = eigenvalues.Entry(dim - 1)->Double();
    EXPECT_GE(largest, smallest);
    EXPECT_EQ(number(field, "Anisotropy value"), largest > 0.0 ? 1.0 - smallest / largest : 0.0);
}

void expect_area(const CValueMap& field, const CBox& box, int dim) {
    const CValueMap& area = map_at(field, "Evaluated area");
    EXPECT_EQ(area.Size(), static_cast<std::size_t>(2 * dim));
    const std::string axes = "xyz";
    for (int axis = 0; axis < dim; ++axis) {
        const char letter = axes[static_cast<std::size_t>(axis)];
        EXPECT_EQ(area.Entry((letter + std::string("0")).c_str())->Long(), box.Point0()[axis]);
        EXPECT_EQ(area.Entry((letter + std::string("1")).c_str())->Long(), box.Point1()[axis]);
    }
}

std::string identifier(const CBox& tile, int dim, int width) {
    std::string text;
    for (int axis = 0; axis < dim; ++axis) {
        std::string digits = std::to_string(tile.Point0()[axis]);
        digits.insert(0, static_cast<std::size_t>(std::max(0, width - static_cast<int>(digits.size()))), '0');
        text += (axis == 0 ? "(" : ",") + digits;
    }
    return text + ")";
}

int naive_width(const SNaiveCut& cut) {
    long long largest = 0;
    for (const CBox& tile : cut.Tiles()) {
        if (cut.IsFull(tile)) {
            for (int axis = 0; axis < cut.dim; ++axis) {
                largest = std::max(largest, tile.Point0()[axis]);
            }
        }
    }
    return static_cast<int>(std::to_string(largest).size());
}

/// The direction difference to the whole field, from the mean directions that the document holds.
double naive_difference(const CValueMap& field, const CValueMap& subfield, int dim) {
    double cosine = 0.0;
    for (const std::string& axis :
         dim == 3 ? std::vector<std::string>{"x", "y", "z"} : std::vector<std::string>{"x", "y"}) {
        cosine +=
            number(field, "Mean fiber direction/" + axis) * number(subfield, "Mean fiber direction/" + axis);
    }
    return std::acos(std::min(1.0, std::abs(cosine)));
}

/// Compares every field of a document with sums formed from the maps of the run.
void expect_document(const SSetup& setup, const SResult& result) {
    const SNaiveCut cut({setup.size, setup.fiberRadius / setup.spacing, setup.subfieldSize});
    const CValueMap& root = *result.document;
    EXPECT_EQ(root.Entry("Border")->Long(), cut.b);
    EXPECT_EQ(root.HasEntry("Subfields"), cut.lists);
    EXPECT_EQ(root.HasEntry("Averaged Profile"), cut.lists);
    EXPECT_EQ(result.fittedSize, cut.sf);
    SNaiveSums total(static_cast<std::size_t>(cut.dim));
    std::vector<std::string> identifiers;
    for (const CBox& tile : cut.Tiles()) {
        const SNaiveSums sums = test::NaiveSums(result.angles, tile);
        total.Add(sums);
        if (!cut.IsFull(tile)) {
            continue;
        }
        identifiers.push_back(identifier(tile, cut.dim, naive_width(cut)));
        SCOPED_TRACE("subfield " + identifiers.back());
        const CValue* entry = map_at(root, "Subfields").Entry(identifiers.back().c_str());
        ASSERT_NE(entry, nullptr);
        expect_tensors(entry->Map(), sums, cut.dim, setup.fourthOrder);
        expect_evaluation(entry->Map(), cut.dim);
        expect_area(entry->Map(), tile, cut.dim);
        const double fraction = static_cast<double>(sums.count) / static_cast<double>(tile.Size().Elements());
        EXPECT_EQ(status(entry->Map()), sums.count < 1    ? NO_FOREGROUND
                                        : fraction < 0.01 ? LOW_FRACTION
                                                          : "ok");
        EXPECT_NEAR(number(entry->Map(), "Difference to global direction"),
                    naive_difference(map_at(root, "Field"), entry->Map(), cut.dim), 1e-7);
    }
    if (cut.lists) {
        std::vector<std::string> keys = identifiers;
        keys.emplace_back("Subfield size");
        EXPECT_EQ(test::KeysOf(map_at(root, "Subfields")), keys);
        EXPECT_EQ(number(root, "Subfields/Subfield size"), static_cast<double>(cut.sf[0]) * setup.spacing);
    }
    const CValueMap& field = map_at(root, "Field");
    expect_tensors(field, total, cut.dim, setup.fourthOrder);
    expect_evaluation(field, cut.dim);
    const double fraction = static_cast<double>(total.count) / static_cast<double>(cut.EvaluatedPixels());
    EXPECT_EQ(status(field), fraction < 0.01 ? LOW_FRACTION : "ok");
    EXPECT_FALSE(field.HasEntry("Difference to global direction"));
    const CBox area = cut.dim == 2
                          ? CBox(CPos(cut.b, cut.b), CPos(cut.end[0], cut.end[1]))
                          : CBox(CPos(cut.b, cut.b, cut.b), CPos(cut.end[0], cut.end[1], cut.end[2]));
    expect_area(field, area, cut.dim);
}

void expect_document(const SSetup& setup) {
    expect_document(setup, analyse(setup));
}

/// Foreground in one corner of the image only.
int corner_mask(long long x, long long y, long long z) {
    return x + y + z < 14 ? 1 : 0;
}

int everywhere(long long /*x*/, long long /*y*/, long long /*z*/) {
    return 1;
}

} // namespace

TEST(SubfieldAnalysis, OfAPlaneAgreesWithNaiveSums) {
    expect_document({CSize(47, 39), 1.4, {9, 7, 0}, nullptr, true});
    expect_document({CSize(47, 39), 1.4, {9, 7, -1}});
}

TEST(SubfieldAnalysis, OfAVolumeAgreesWithNaiveSums) {
    expect_document({CSize(23, 21, 19), 1.4, {6, 5, 7}, nullptr, true});
    expect_document({CSize(23, 21, 19), 1.0, {21, 4, 4}});
}

TEST(SubfieldAnalysis, WithAMaskAgreesWithNaiveSums) {
    expect_document({CSize(47, 39), 1.4, {9, 7, 0}, corner_mask});
    expect_document({CSize(23, 21, 19), 1.4, {6, 5, 7}, corner_mask, true});
}

TEST(SubfieldAnalysis, WithoutSubfieldsAgreesWithNaiveSums) {
    expect_document({CSize(47, 39), 1.4, {-1, -1, -1}, nullptr, true});
    expect_document({CSize(23, 21, 19), 1.4, {-1, -1, -1}});
    expect_document({CSize(23, 21, 19), 1.4, {6, 5, 100}});
}

TEST(SubfieldAnalysis, OfAnExactMultipleAgreesWithNaiveSums) {
    expect_document({CSize(44, 36), 1.6, {10, 8, 0}, nullptr, true});
    expect_document({CSize(24, 20, 16), 1.6, {10, 8, 4}});
}

TEST(SubfieldAnalysis, WithoutABorderLeavesOutTheImagesLastPixels) {
    expect_document({CSize(20, 18, 16), 0.4, {10, 6, 8}, everywhere});
    expect_document({CSize(20, 18, 16), 0.4, {20, 18, 16}});
}

TEST(SubfieldAnalysis, OfAnAreaTurnedInsideOutByTheBorderAgreesWithNaiveSums) {
    // A radius of half the extent rounds to a border beyond the middle; the box's corners then change places.
    const SSetup setup{CSize(5, 5), 2.5, {-1, -1, -1}, everywhere};
    const SResult result = analyse(setup);
    EXPECT_EQ(result.fittedSize, (Sizes{-1, -1, -1}));
    expect_document(setup, result);
}

TEST(SubfieldAnalysis, InPhysicalUnitsScalesRadiusAndSubfieldSize) {
    SSetup setup{CSize(60, 50), 3.0, {20, 15, 0}};
    setup.spacing = 0.5;
    const SResult result = analyse(setup);
    expect_document(setup, result);
    EXPECT_EQ(result.document->Entry("Border")->Long(), 6) << "6 pixels";
    EXPECT_EQ(number(*result.document, "Subfields/Subfield size"), 10.0);
    EXPECT_EQ(number(*result.document, "Fiber radius"), 3.0) << "as given";
    EXPECT_EQ(number(*result.document, "Averaged Profile/x-Direction/slice 26/slice position"), 13.0);
}

TEST(SubfieldAnalysis, IsUnchangedWhenSpacingAndRadiusDouble) {
    SSetup setup{CSize(47, 39), 1.5, {9, 7, 0}};
    const SResult once = analyse(setup);
    setup.spacing = 2.0;
    setup.fiberRadius = 3.0;
    const SResult twice = analyse(setup);
    EXPECT_EQ(once.angles.theta, twice.angles.theta);
    EXPECT_TRUE(once.document->Entry("Field")->EqualData(*twice.document->Entry("Field")));
    EXPECT_EQ(2.0 * number(*once.document, "Subfields/Subfield size"),
              number(*twice.document, "Subfields/Subfield size"));
}

TEST(SubfieldAnalysis, OfAPlaneOf512ListsIdentifiersUpTo405) {
    const SResult result = analyse({CSize(512, 512), 5.0, {100, 100, 0}});
    std::vector<std::string> keys = test::KeysOf(map_at(*result.document, "Subfields"));
    ASSERT_EQ(keys.size(), 26U);
    EXPECT_EQ(keys.front(), "(005,005)");
    EXPECT_EQ(keys[1], "(105,005)") << "x is innermost";
    EXPECT_EQ(keys[24], "(405,405)");
    EXPECT_EQ(keys[25], "Subfield size");
    EXPECT_EQ(map_at(*result.document, "Subfields/(405,405)/Evaluated area").Entry("x1")->Long(), 505);
    const std::vector<std::string> slices =
        test::KeysOf(map_at(*result.document, "Averaged Profile/x-Direction"));
    EXPECT_THAT(slices, ElementsAre("slice 005", "slice 105", "slice 205", "slice 305", "slice 405"));
}

TEST(SubfieldAnalysis, NamesASingleSubfieldAtTheOriginWithOneDigit) {
    const SResult result = analyse({CSize(12, 10, 8), 0.4, {12, 10, 8}, everywhere});
    EXPECT_THAT(test::KeysOf(map_at(*result.document, "Subfields")), ElementsAre("(0,0,0)", "Subfield size"));
    EXPECT_THAT(test::KeysOf(map_at(*result.document, "Averaged Profile/z-Direction")),
                ElementsAre("slice 0"));
}

TEST(ResultDocument, OfAVolumeHoldsItsKeysInOrder) {
    const SResult result = analyse({CSize(23, 21, 19), 1.4, {6, 5, 7}, nullptr, true});
    const CValueMap& root = *result.document;
    EXPECT_THAT(test::KeysOf(root), ElementsAre("Border", "Subfields", "Field", "Otsu factor", "Fiber radius",
                                                "Averaged Profile"));
    EXPECT_THAT(test::KeysOf(map_at(root, "Field")),
                ElementsAre("Orientation tensor", "Fourth order Orientation tensor",
                            "Eigenvalues of the orientation tensor", "Mean fiber direction",
                            "Anisotropy value", "Status", "Evaluated area"));
    EXPECT_THAT(test::KeysOf(map_at(root, "Subfields/(01,01,01)")),
                ElementsAre("Orientation tensor", "Fourth order Orientation tensor",
                            "Eigenvalues of the orientation tensor", "Mean fiber direction",
                            "Anisotropy value", "Status", "Evaluated area",
                            "Difference to global direction"));
    EXPECT_THAT(test::KeysOf(map_at(root, "Subfields/(01,01,01)/Evaluated area")),
                ElementsAre("x0", "x1", "y0", "y1", "z0", "z1"));
    EXPECT_THAT(test::KeysOf(map_at(root, "Averaged Profile")),
                ElementsAre("x-Direction", "y-Direction", "z-Direction", "parameters"));
    EXPECT_THAT(test::KeysOf(map_at(root, "Averaged Profile/parameters")),
                ElementsAre("Otsu factor", "Fiber radius", "Border", "Subfield size"));
    EXPECT_THAT(test::KeysOf(map_at(root, "Averaged Profile/x-Direction/slice 01")),
                ElementsAre("Orientation tensor", "Fourth order Orientation tensor", "Number of subfields",
                            "Eigenvalues of the orientation tensor", "Mean fiber direction",
                            "Anisotropy value", "Status", "Difference to global direction",
                            "slice position"));
}

TEST(ResultDocument, OfAPlaneWithoutSubfieldsHoldsItsKeysInOrder) {
    const SResult result = analyse({CSize(47, 39), 1.4});
    const CValueMap& root = *result.document;
    EXPECT_THAT(test::KeysOf(root), ElementsAre("Border", "Field", "Otsu factor", "Fiber radius"));
    EXPECT_THAT(test::KeysOf(map_at(root, "Field")),
                ElementsAre("Orientation tensor", "Eigenvalues of the orientation tensor",
                            "Mean fiber direction", "Anisotropy value", "Status", "Evaluated area"));
    EXPECT_THAT(test::KeysOf(map_at(root, "Field/Evaluated area")), ElementsAre("x0", "x1", "y0", "y1"));
}

TEST(ResultDocument, OfAPlaneHasTwoProfiles) {
    const SResult result = analyse({CSize(47, 39), 1.4, {9, 7, 0}});
    EXPECT_THAT(test::KeysOf(map_at(*result.document, "Averaged Profile")),
                ElementsAre("x-Direction", "y-Direction", "parameters"));
}

TEST(ResultDocument, HoldsValuesOfTheRightKinds) {
    const SResult result = analyse({CSize(47, 39), 1.4, {9, 7, 0}});
    const CValueMap& root = *result.document;
    EXPECT_EQ(root.Entry("Border")->GenericType(), CValue::eLong);
    EXPECT_EQ(root.Entry("Otsu factor")->GenericType(), CValue::eDouble);
    EXPECT_EQ(root.Entry("Fiber radius")->GenericType(), CValue::eDouble);
    EXPECT_EQ(root.Entry("Subfields/Subfield size")->GenericType(), CValue::eDouble);
    EXPECT_EQ(root.Entry("Field/Evaluated area/x0")->GenericType(), CValue::eLong);
    EXPECT_EQ(root.Entry("Averaged Profile/x-Direction/slice 01/Number of subfields")->GenericType(),
              CValue::eLong);
    EXPECT_EQ(root.Entry("Averaged Profile/x-Direction/slice 01/slice position")->GenericType(),
              CValue::eDouble);
}

TEST(ResultDocument, RecordsTheThresholdFactor) {
    SSetup setup{CSize(47, 39), 1.4, {9, 7, 0}};
    setup.otsuFactor = 1.125;
    const SResult result = analyse(setup);
    EXPECT_EQ(number(*result.document, "Otsu factor"), 1.125);
    EXPECT_EQ(number(*result.document, "Averaged Profile/parameters/Otsu factor"), 1.125);
}

TEST(ResultDocument, RecordsAMaskInPlaceOfTheThresholdFactor) {
    const SResult result = analyse({CSize(47, 39), 1.4, {9, 7, 0}, corner_mask});
    EXPECT_EQ(result.document->Entry("Otsu factor")->String().Text(), "n/a (user-specified mask image)");
    EXPECT_EQ(result.document->Entry("Averaged Profile/parameters/Otsu factor")->String().Text(),
              "n/a (user-specified mask image)");
}

TEST(ParameterSummary, ListsFactorRadiusAndSubfieldSize) {
    EXPECT_EQ(analyse({CSize(47, 39), 1.4, {9, 7, 0}}).parameters,
              "otsufactor=1.25,fiberradius=1.4,subfieldsize=9,");
    EXPECT_EQ(analyse({CSize(47, 39), 1.4}).parameters, "otsufactor=1.25,fiberradius=1.4,");
    EXPECT_EQ(analyse({CSize(47, 39), 1.4, {9, 7, 0}, corner_mask}).parameters,
              "otsufactor=n/a,fiberradius=1.4,subfieldsize=9,");
}

TEST(ParameterSummary, HasSixSignificantDigits) {
    SSetup setup{CSize(47, 39), 1.23456789, {9, 7, 0}};
    setup.otsuFactor = 1.0 / 3.0;
    setup.spacing = 0.7654321;
    EXPECT_EQ(analyse(setup).parameters, "otsufactor=0.333333,fiberradius=1.23457,subfieldsize=6.88889,");
    setup.fiberRadius = 2e-7;
    setup.spacing = 1e-7;
    EXPECT_EQ(analyse(setup).parameters, "otsufactor=0.333333,fiberradius=2e-07,subfieldsize=9e-07,");
}

TEST(ParameterSummary, IsAppendedToWhatIsThere) {
    const auto image = stripes(CSize(30, 30));
    CSubfieldFiberDirections analysis(1.0, 1.25, 10, 10, 0);
    std::string parameters = "before;";
    const std::unique_ptr<CValueMap> first(analysis.Compute(*image, parameters, nullptr, false));
    const std::unique_ptr<CValueMap> second(analysis.Compute(*image, parameters, nullptr, false));
    EXPECT_EQ(parameters, "before;otsufactor=1.25,fiberradius=1,subfieldsize=10,"
                          "otsufactor=1.25,fiberradius=1,subfieldsize=10,");
}

TEST(ParameterSummary, IsNotTouchedByAFailedRun) {
    const auto image = stripes(CSize(30, 30));
    const CImage noForeground(IMAGE_BINARY_FG, CSize(30, 30), CSize(0, 0, 0));
    CImage mask(IMAGE_BINARY_FG, CSize(30, 30), CSize(0, 0, 0));
    CSubfieldFiberDirections analysis(1.0, 1.25, -1, -1, -1);
    std::string parameters = "before;";
    EXPECT_THROW(analysis.Compute(*image, parameters, &mask, false), CException);
    EXPECT_EQ(parameters, "before;");
}

TEST(AnalysisChecks, RefuseOtherDimensionsThanTwoAndThree) {
    CSubfieldFiberDirections analysis(1.0, 1.25, -1, -1, -1);
    std::string parameters;
    for (const CSize& size : {CSize({9}), CSize({3, 3, 3, 3})}) {
        CImage image(IMAGE_GREY_16, size, CSize(0, 0, 0)); // the type is looked at later
        EXPECT_EQ(test::MessageOf([&] { analysis.Compute(image, parameters, nullptr, false); }),
                  "Only 2d and 3d images supported.");
    }
}

TEST(AnalysisChecks, RefuseUnequalSpacing) {
    const auto message = [](const CSize& size, double x, double y, double z) {
        const auto image = stripes(size);
        CVexoHeaderTools::SetSpacing(*image, x, y, z);
        CSubfieldFiberDirections analysis(100.0, 1.25, -1, -1, -1); // the radius is looked at later
        std::string parameters;
        return test::MessageOf([&] { analysis.Compute(*image, parameters, nullptr, false); });
    };
    const std::string unequal = "Need equal pixel spacing in all axis directions.";
    const CSize plane(20, 20);
    const CSize volume(12, 12, 12);
    EXPECT_EQ(message(volume, 1, 1, 2), unequal);
    EXPECT_EQ(message(volume, 1, 2, 1), unequal);
    EXPECT_EQ(message(plane, 1, 2, 1), unequal);
    EXPECT_EQ(message(plane, std::nan(""), std::nan(""), 1), unequal);
    EXPECT_EQ(message(plane, 0, 1, 1), unequal) << "tested before 0 is replaced by 1";
    EXPECT_EQ(message(plane, 1, 1, 2), IMAGE_TOO_SMALL) << "z does not count in 2D";
    EXPECT_EQ(message(volume, 1, 1, 1), IMAGE_TOO_SMALL);
}

TEST(AnalysisChecks, TakeSpacingsOfZeroOrLessForOne) {
    for (const double spacing : {0.0, -2.0}) {
        SSetup setup{CSize(30, 30), 2.0, {-1, -1, -1}, everywhere};
        setup.spacing = spacing;
        EXPECT_EQ(analyse(setup).document->Entry("Border")->Long(), 2);
        setup.size = CSize(16, 16, 16);
        EXPECT_EQ(analyse(setup).document->Entry("Border")->Long(), 2);
    }
}

TEST(AnalysisChecks, TakeAnImageWithoutSpacingForOneOfSpacingOne) {
    const auto image = stripes(CSize(30, 30));
    CSubfieldFiberDirections analysis(2.0, 1.25, 10, 10, 0);
    std::string parameters;
    const std::unique_ptr<CValueMap> document(analysis.Compute(*image, parameters, nullptr, false));
    EXPECT_EQ(document->Entry("Border")->Long(), 2);
    EXPECT_EQ(number(*document, "Subfields/Subfield size"), 10.0);
}

TEST(AnalysisChecks, CompareTheRadiusWithHalfTheImageSize) {
    EXPECT_EQ(message_of({CSize(8, 20, 20), 4.01}), IMAGE_TOO_SMALL);
    EXPECT_EQ(message_of({CSize(20, 8, 20), 4.01}), IMAGE_TOO_SMALL);
    EXPECT_EQ(message_of({CSize(20, 20, 8), 4.01}), IMAGE_TOO_SMALL);
    EXPECT_EQ(message_of({CSize(8, 20), 4.01}), IMAGE_TOO_SMALL);
    EXPECT_EQ(message_of({CSize(20, 8), 4.01}), IMAGE_TOO_SMALL);
    EXPECT_NO_THROW(analyse({CSize(9, 20, 9), 4.4, {-1, -1, -1}, everywhere}));
}

TEST(AnalysisChecks, RefuseARadiusOfHalfAPixelOrLessInThePlane) {
    EXPECT_EQ(message_of({CSize(20, 20), 0.5}), IMAGE_TOO_SMALL);
    EXPECT_EQ(message_of({CSize(20, 20), 0.1}), IMAGE_TOO_SMALL);
    EXPECT_EQ(message_of({CSize(20, 20), 0.0}), IMAGE_TOO_SMALL);
    EXPECT_NO_THROW(analyse({CSize(20, 20), 0.51}));
    EXPECT_NO_THROW(analyse({CSize(16, 16, 16), 0.4}));
}

TEST(AnalysisChecks, CompareTheRadiusWithTheIntegerHalfOfTheSubfieldSize) {
    EXPECT_EQ(message_of({CSize(40, 40, 40), 4.5, {9, 20, 20}}), SUBFIELD_TOO_SMALL) << "9 / 2 is 4";
    EXPECT_EQ(message_of({CSize(40, 40, 40), 4.5, {20, 9, 20}}), SUBFIELD_TOO_SMALL);
    EXPECT_EQ(message_of({CSize(40, 40, 40), 4.5, {20, 20, 9}}), SUBFIELD_TOO_SMALL);
    EXPECT_NO_THROW(analyse({CSize(40, 40), 4.0, {9, 9, 0}, everywhere}));
}

TEST(AnalysisChecks, LookAtSubfieldSizesOnlyWhenSubfieldsAreListed) {
    EXPECT_NO_THROW(analyse({CSize(40, 40), 4.5, {9, -1, 0}, everywhere}));
    EXPECT_NO_THROW(analyse({CSize(40, 40), 4.5, {9, 100, 50}, everywhere}));
}

TEST(AnalysisChecks, InThePlaneNeedASubfieldDepthBelowTheFiberDiameter) {
    EXPECT_EQ(message_of({CSize(40, 40), 4.5, {12, 12, 12}}), SUBFIELD_TOO_SMALL);
    EXPECT_EQ(message_of({CSize(40, 40), 4.0, {12, 12, 8}}), SUBFIELD_TOO_SMALL);
    EXPECT_NO_THROW(analyse({CSize(40, 40), 4.5, {12, 12, 9}, everywhere})) << "9 / 2 is 4, below 4.5";
    EXPECT_NO_THROW(analyse({CSize(40, 40), 4.5, {12, 12, 0}, everywhere}));
    EXPECT_NO_THROW(analyse({CSize(40, 40), 4.5, {12, 12, -5}, everywhere}));
}

TEST(AnalysisChecks, RefuseASubfieldSizeOfZeroInsteadOfDividingByIt) {
    EXPECT_EQ(message_of({CSize(40, 40), 2.0, {0, 10, 0}}), SUBFIELD_TOO_SMALL);
    EXPECT_EQ(message_of({CSize(40, 40), 2.0, {10, 0, 0}}), SUBFIELD_TOO_SMALL);
    EXPECT_EQ(message_of({CSize(20, 20, 20), 2.0, {10, 10, 0}}), SUBFIELD_TOO_SMALL);
}

TEST(AnalysisChecks, NeverDivideByASubfieldSizeOfZeroWhateverTheRadius) {
    for (const double radius : {0.0, -0.3, -2.0}) {
        EXPECT_THROW(analyse({CSize(20, 20, 20), radius, {0, 0, 0}}), CException) << "radius " << radius;
        EXPECT_THROW(analyse({CSize(20, 20, 20), radius, {5, 5, 5}}), CException) << "radius " << radius;
    }
}

TEST(AnalysisChecks, SurviveRadiiBeyondAllMeasure) {
    constexpr double inf = std::numeric_limits<double>::infinity();
    for (const double radius : {std::nan(""), inf, -inf, 1e300, -1e300, 1e19, -1e19}) {
        for (const CSize& size : {CSize(20, 20), CSize(12, 12, 12)}) {
            for (const Sizes& subfieldSize : {Sizes{5, 5, 0}, {5, 5, 5}, {-1, -1, -1}, {0, 0, 0}}) {
                EXPECT_THROW(analyse({size, radius, subfieldSize}), CException)
                    << "radius " << radius << ", size " << size.ToString();
            }
        }
    }
    EXPECT_EQ(message_of({CSize(20, 20), inf, {5, 5, 0}}), IMAGE_TOO_SMALL);
    EXPECT_EQ(message_of({CSize(12, 12, 12), std::nan(""), {5, 5, 5}}), IMAGE_TOO_SMALL);
}

TEST(AnalysisChecks, SurviveSubfieldSizesBeyondAllMeasure) {
    constexpr long long largest = std::numeric_limits<long long>::max();
    const SSetup huge{CSize(30, 30), 2.0, {largest, largest, 0}};
    EXPECT_EQ(analyse(huge).fittedSize, (Sizes{26, 26, 0}));
    const SSetup lowest{CSize(30, 30), 2.0, {-largest - 1, -largest - 1, -largest - 1}};
    EXPECT_EQ(analyse(lowest).fittedSize, (Sizes{26, 26, -largest - 1}));
}

TEST(AnalysisChecks, LeaveImageAndMaskTypesToTheEstimator) {
    CSubfieldFiberDirections analysis(1.0, 1.25, -1, -1, -1);
    std::string parameters;
    CImage words(IMAGE_GREY_16, CSize(20, 20), CSize(0, 0, 0));
    EXPECT_EQ(test::MessageOf([&] { analysis.Compute(words, parameters, nullptr, false); }),
              "Implemented for images of type GREY_8, only.");
    const auto image = stripes(CSize(20, 20));
    EXPECT_EQ(test::MessageOf([&] { analysis.Compute(*image, parameters, &words, false); }),
              "Mask image must be of type BINARY_FG.");
}

TEST(SubfieldAnalysis, WithoutAnyForegroundFails) {
    EXPECT_EQ(message_of({CSize(40, 40), 2.0, {10, 10, 0}, [](auto...) { return 0; }}),
              "No fields available. Check size and/or Otsu settings.");
}

TEST(SubfieldAnalysis, WithForegroundOutsideTheEvaluatedAreaFails) {
    const MaskFunction border = [](long long x, long long, long long) { return x < 2 || x >= 38 ? 1 : 0; };
    EXPECT_EQ(message_of({CSize(40, 40), 2.0, {10, 10, 0}, border}),
              "No fields available. Check size and/or Otsu settings.");
}

TEST(SubfieldAnalysis, OfAConstantImageFailsWithTheRangeMessage) {
    const auto image =
        test::MakeImage<unsigned char>(IMAGE_GREY_8, CSize(40, 40), [](auto...) { return 80; });
    CSubfieldFiberDirections analysis(2.0, 1.25, 10, 10, 0);
    std::string parameters;
    EXPECT_EQ(test::MessageOf([&] { analysis.Compute(*image, parameters, nullptr, false); }).substr(0, 23),
              "Value range is invalid ");
}

TEST(SubfieldAnalysis, KeepsFittedSubfieldSizesForLaterRuns) {
    CSubfieldFiberDirections analysis(2.0, 1.25, 50, 10, 0);
    std::string parameters;
    const auto small = stripes(CSize(30, 30));
    const std::unique_ptr<CValueMap> first(analysis.Compute(*small, parameters, nullptr, false));
    EXPECT_FALSE(first->HasEntry("Subfields"));
    EXPECT_EQ(CTestAccess::SubfieldSize(analysis), (Sizes{26, 10, 0}));
    const auto large = stripes(CSize(100, 100));
    const std::unique_ptr<CValueMap> second(analysis.Compute(*large, parameters, nullptr, false));
    ASSERT_TRUE(second->HasEntry("Subfields"));
    EXPECT_EQ(number(*second, "Subfields/Subfield size"), 26.0) << "not the 50 asked for";
}

TEST(SubfieldAnalysis, ListsTheWholeFieldAsASubfieldWhenAFittedObjectRunsAgain) {
    CSubfieldFiberDirections analysis(2.0, 1.25, -1, -1, -1);
    std::string parameters;
    const auto image = stripes(CSize(30, 30));
    const std::unique_ptr<CValueMap> first(analysis.Compute(*image, parameters, nullptr, false));
    EXPECT_FALSE(first->HasEntry("Subfields"));
    const std::unique_ptr<CValueMap> second(analysis.Compute(*image, parameters, nullptr, false));
    ASSERT_TRUE(second->HasEntry("Subfields")) << "the size that the first run has set fits now";
    EXPECT_THAT(test::KeysOf(map_at(*second, "Subfields")), ElementsAre("(2,2)", "Subfield size"));
    EXPECT_TRUE(first->Entry("Field")->EqualData(*second->Entry("Field")));
}

TEST(SubfieldAnalysis, KeepsFittedSubfieldSizesWhenItFailsAfterwards) {
    CSubfieldFiberDirections analysis(20.0, 1.25, -1, 10, 0);
    std::string parameters;
    const auto image = stripes(CSize(30, 30));
    EXPECT_EQ(test::MessageOf([&] { analysis.Compute(*image, parameters, nullptr, false); }),
              IMAGE_TOO_SMALL);
    EXPECT_EQ(CTestAccess::SubfieldSize(analysis), (Sizes{-10, -10, 0}));
}

TEST(SubfieldAnalysis, GivesTheSameDocumentWhenItRunsAgain) {
    CSubfieldFiberDirections analysis(1.4, 1.25, 9, 7, 0);
    std::string parameters;
    const auto image = stripes(CSize(47, 39));
    const std::unique_ptr<CValueMap> first(analysis.Compute(*image, parameters, nullptr, true));
    const std::unique_ptr<CValueMap> second(analysis.Compute(*image, parameters, nullptr, true));
    EXPECT_TRUE(first->EqualData(*second));
}

TEST(SubfieldAnalysis, HandsOverTheDirectionsOfAPlane) {
    const test::CPixelLeakCheck leakCheck;
    CSubfieldFiberDirections analysis(1.4, 1.25, 9, 7, 0);
    std::string parameters;
    const auto image = stripes(CSize(47, 39));
    const IImage* map = nullptr;
    EXPECT_THROW(analysis.GetDirections(map), CException) << "before any run";
    const std::unique_ptr<CValueMap> document(analysis.Compute(*image, parameters, nullptr, false));
    analysis.GetDirections(map);
    const std::unique_ptr<const IImage> owned(map);
    EXPECT_TRUE(owned->Size() == CSize(47, 39));
    EXPECT_TRUE(CVexoHeaderTools::GetMetaInfo(*owned, CVexoHeaderTools::c_sMetaMinMax.c_str()) != nullptr);
    EXPECT_THROW(analysis.GetDirections(map), CException) << "they are gone";
}

TEST(SubfieldAnalysis, HandsOverTheDirectionsOfAVolume) {
    const test::CPixelLeakCheck leakCheck;
    std::unique_ptr<const IImage> theta;
    std::unique_ptr<const IImage> phi;
    {
        CSubfieldFiberDirections analysis(1.4, 1.25, -1, -1, -1);
        std::string parameters;
        const auto image = stripes(CSize(20, 18, 16));
        const std::unique_ptr<CValueMap> document(analysis.Compute(*image, parameters, nullptr, false));
        const IImage* first = nullptr;
        const IImage* second = nullptr;
        analysis.GetDirections(first, second);
        theta.reset(first);
        phi.reset(second);
    }
    EXPECT_TRUE(theta->Size() == CSize(20, 18, 16));
    EXPECT_TRUE(phi->Size() == CSize(20, 18, 16));
    EXPECT_NE(theta, phi);
}

TEST(SubfieldAnalysis, CanBeInterruptedAtEveryReportWithoutALeak) {
    const test::CPixelLeakCheck leakCheck;
    const auto image = stripes(CSize(20, 18));
    const auto run = [&](CSubfieldFiberDirections& analysis) {
        std::string parameters;
        const std::unique_ptr<CValueMap> document(analysis.Compute(*image, parameters, nullptr, true));
    };
    test::CRecordingMonitor counting;
    {
        const CProgressMonitorScope scope(counting);
        CSubfieldFiberDirections analysis(1.4, 1.25, 5, 5, 0);
        run(analysis);
    }
    ASSERT_GT(counting.Calls(), 0);
    CSubfieldFiberDirections analysis(1.4, 1.25, 5, 5, 0);
    for (int call = 1; call <= counting.Calls(); ++call) {
        test::CRecordingMonitor monitor;
        monitor.throwAtCall = call;
        const CProgressMonitorScope scope(monitor);
        EXPECT_THROW(run(analysis), test::CInterrupted) << "at call " << call;
        EXPECT_EQ(monitor.openReports, 0);
    }
    EXPECT_NO_THROW(run(analysis)) << "an interrupted analysis can run again";
}

TEST(SubfieldAnalysis, SurvivesEveryFailingAllocationOfAnImage) {
    const auto image = stripes(CSize(20, 18, 16));
    const int failures = test::CountMemoryFailures(4 * image->Size().Elements(), [&] {
        CSubfieldFiberDirections analysis(1.4, 1.25, 5, 5, 5);
        std::string parameters;
        const std::unique_ptr<CValueMap> document(analysis.Compute(*image, parameters, nullptr, true));
    });
    EXPECT_EQ(failures, 9);
}

TEST(SubfieldAnalysisCopy, SharesTheDirectionsAndSurvivesTheOriginal) {
    const test::CPixelLeakCheck leakCheck;
    auto original = std::make_unique<CSubfieldFiberDirections>(1.4, 1.125, 9, 7, 0);
    const auto image = stripes(CSize(47, 39));
    std::string parameters;
    const std::unique_ptr<CValueMap> document(original->Compute(*image, parameters, nullptr, false));
    const std::size_t inUse = CPixelMemory::BytesInUse();
    CSubfieldFiberDirections copy(*original);
    EXPECT_EQ(CPixelMemory::BytesInUse(), inUse);
    EXPECT_EQ(CTestAccess::SubfieldSize(copy), (Sizes{9, 7, 0}));
    EXPECT_EQ(copy.Threshold(), original->Threshold());
    original.reset();
    const IImage* map = nullptr;
    copy.GetDirections(map);
    const std::unique_ptr<const IImage> owned(map);
    EXPECT_TRUE(owned->Size() == CSize(47, 39));
}

TEST(SubfieldAnalysisCopy, ComputesTheSameDocument) {
    CSubfieldFiberDirections original(1.4, 1.125, 9, 7, 0);
    CSubfieldFiberDirections copy(original);
    const auto image = stripes(CSize(47, 39));
    std::string parameters;
    std::string copiedParameters;
    const std::unique_ptr<CValueMap> document(original.Compute(*image, parameters, nullptr, false));
    const std::unique_ptr<CValueMap> copied(copy.Compute(*image, copiedParameters, nullptr, false));
    EXPECT_TRUE(document->EqualData(*copied));
    EXPECT_EQ(parameters, copiedParameters);
}

TEST(SubfieldAnalysis, IsAnAlgorithmWithoutNameAndParent) {
    static_assert(std::is_base_of_v<CAlgorithm, CSubfieldFiberDirections>);
    static_assert(std::has_virtual_destructor_v<CSubfieldFiberDirections>);
    const CSubfieldFiberDirections analysis(1.0, 1.25, -1, -1, -1);
    EXPECT_EQ(analysis.Instance(), "");
    EXPECT_EQ(analysis.Parent(), nullptr);
}

} // namespace TEVRA
