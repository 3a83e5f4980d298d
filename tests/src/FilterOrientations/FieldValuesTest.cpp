// SPDX-License-Identifier: BSD-3-Clause
// The block of values that the document reports for one field.
#include "FilterOrientations/SubfieldFiberDirections.h"

#include "Numeric/Matrix.h"
#include "src/Naive.h"
#include "zeklib2core/ValueLeaf.h"
#include "zeklib2core/ValuePointer.h"
#include "zeklib2core/ValueVector.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <memory>
#include <numbers>
#include <string>
#include <vector>

namespace TEVRA {
namespace {

using testing::ElementsAre;

constexpr const char* TENSOR = "Orientation tensor";
constexpr const char* TENSOR4 = "Fourth order Orientation tensor";
constexpr const char* EIGENVALUES = "Eigenvalues of the orientation tensor";
constexpr const char* MEAN = "Mean fiber direction";
constexpr const char* ANISOTROPY = "Anisotropy value";
constexpr const char* STATUS = "Status";
constexpr const char* DIFFERENCE = "Difference to global direction";

CMatrix<double> make_matrix(std::size_t size, const std::vector<double>& rowMajor) {
    CMatrix<double> matrix(size, size);
    for (std::size_t i = 0; i < rowMajor.size(); ++i) {
        matrix(i / size, i % size) = rowMajor[i];
    }
    return matrix;
}

std::unique_ptr<CValueMap> values(const CMatrix<double>& sums, long long count, double fraction,
                                  CTensorRank4* sums4 = nullptr) {
    return std::unique_ptr<CValueMap>(
        CSubfieldFiberDirections::gen_FiberDirectionsValues(sums, count, fraction, sums4));
}

double number(const CValueMap& map, const std::string& path) {
    const CValue* value = map.Entry(path.c_str());
    EXPECT_NE(value, nullptr) << path;
    return value == nullptr ? std::nan("") : value->Double();
}

std::string status(const CValueMap& map) {
    return map.Entry(STATUS)->String().Text();
}

/// A map with a mean direction, as fields have it.
std::unique_ptr<CValueMap> field_with_direction(const std::vector<double>& direction) {
    auto mean = std::make_unique<CValueMap>();
    const std::vector<const char*> axes = {"x", "y", "z"};
    for (std::size_t i = 0; i < direction.size(); ++i) {
        mean->SetEntry(axes[i], new CValueDouble(direction[i]));
    }
    auto field = std::make_unique<CValueMap>();
    field->SetEntry(MEAN, mean.release());
    return field;
}

double difference(const std::vector<double>& own, const std::vector<double>& global) {
    const auto field = field_with_direction(own);
    CSubfieldFiberDirections::AddDifferenceToMeanDirToMap(field.get(), global);
    EXPECT_EQ(field->Entry(DIFFERENCE)->GenericType(), CValue::eDouble);
    return number(*field, DIFFERENCE);
}

const CMatrix<double> SUMS_3D = make_matrix(3, {8, 1, 2, 1, 4, 0.5, 2, 0.5, 3});

} // namespace

TEST(FieldKeys, OfTheDocumentHaveTheirNames) {
    EXPECT_STREQ(CSubfieldFiberDirections::sFiberDirectionsId, "FiberDirections");
    EXPECT_STREQ(CSubfieldFiberDirections::sFieldFiberDirectionsId, "Field");
    EXPECT_STREQ(CSubfieldFiberDirections::sSubfieldFiberDirectionsId, "Subfields");
    EXPECT_STREQ(CSubfieldFiberDirections::sSubfieldProfiles, "Averaged Profile");
}

TEST(FieldValues, OfAVolumeStandInTheirOrder) {
    CTensorRank4 sums4(3, 3, 3, 3);
    EXPECT_THAT(test::KeysOf(*values(SUMS_3D, 15, 0.5, &sums4)),
                ElementsAre(TENSOR, TENSOR4, EIGENVALUES, MEAN, ANISOTROPY, STATUS));
    const auto field = values(SUMS_3D, 15, 0.5);
    EXPECT_THAT(test::KeysOf(*field), ElementsAre(TENSOR, EIGENVALUES, MEAN, ANISOTROPY, STATUS));
    EXPECT_THAT(test::KeysOf(field->Entry(TENSOR)->Map()),
                ElementsAre("xx", "xy", "xz", "yx", "yy", "yz", "zx", "zy", "zz"));
    EXPECT_THAT(test::KeysOf(field->Entry(EIGENVALUES)->Map()), ElementsAre("0", "1", "2"));
    EXPECT_THAT(test::KeysOf(field->Entry(MEAN)->Map()), ElementsAre("x", "y", "z"));
}

TEST(FieldValues, OfAPlaneHaveTwoDimensionalKeysOnly) {
    CTensorRank4 sums4(2, 2, 2, 2);
    const auto field = values(make_matrix(2, {3, 1, 1, 2}), 5, 0.5, &sums4);
    EXPECT_THAT(test::KeysOf(field->Entry(TENSOR)->Map()), ElementsAre("xx", "xy", "yx", "yy"));
    EXPECT_THAT(test::KeysOf(field->Entry(MEAN)->Map()), ElementsAre("x", "y"));
    EXPECT_THAT(test::KeysOf(field->Entry(EIGENVALUES)->Map()), ElementsAre("0", "1"));
    EXPECT_TRUE(field->Entry(EIGENVALUES)->Map().Keys()[0].IsIndex());
    EXPECT_THAT(test::KeysOf(field->Entry(TENSOR4)->Map()),
                ElementsAre("xxxx", "xxxy", "xxyx", "xxyy", "xyxx", "xyxy", "xyyx", "xyyy", "yxxx", "yxxy",
                            "yxyx", "yxyy", "yyxx", "yyxy", "yyyx", "yyyy"));
}

TEST(FieldValues, AreDoublesTextsAndMaps) {
    const auto field = values(SUMS_3D, 15, 0.5);
    EXPECT_EQ(field->Entry(ANISOTROPY)->GenericType(), CValue::eDouble);
    EXPECT_EQ(field->Entry(STATUS)->GenericType(), CValue::eString);
    for (const char* map : {TENSOR, EIGENVALUES, MEAN}) {
        const CValueMap& entries = field->Entry(map)->Map();
        for (auto it = entries.begin(); !(it == entries.end()); ++it) {
            EXPECT_EQ(it.Value()->GenericType(), CValue::eDouble);
        }
    }
}

TEST(FieldValues, HoldTheTensorDividedByTheCount) {
    const CMatrix<double> sums = make_matrix(3, {8, 1, 2, 10, 4, 0.5, 20, 30, 3}); // tells rows from columns
    const auto field = values(sums, 15, 0.5);
    const std::vector<std::string> names = {"xx", "xy", "xz", "yx", "yy", "yz", "zx", "zy", "zz"};
    for (std::size_t i = 0; i < 9; ++i) {
        EXPECT_EQ(number(*field, std::string(TENSOR) + "/" + names[i]), sums(i / 3, i % 3) / 15.0)
            << names[i];
    }
}

TEST(FieldValues, WithoutForegroundKeepTheTensorUndivided) {
    for (const long long count : {0LL, -3LL}) {
        EXPECT_EQ(number(*values(SUMS_3D, count, 0.5), "Orientation tensor/xx"), 8.0);
    }
}

TEST(FieldValues, HoldTheFourthOrderTensorDividedByTheCount) {
    CTensorRank4 sums4(3, 3, 3, 3);
    const std::string axes = "xyz";
    double next = 1.0;
    for (int at = 0; at < 81; ++at) {
        sums4(at / 27, at / 9 % 3, at / 3 % 3, at % 3) = next++;
    }
    const auto field = values(SUMS_3D, 15, 0.5, &sums4);
    const auto undivided = values(SUMS_3D, 0, 0.5, &sums4);
    EXPECT_EQ(field->Entry(TENSOR4)->Map().Size(), 81U);
    for (int at = 0; at < 81; ++at) {
        std::string key;
        for (const int index : {at / 27, at / 9 % 3, at / 3 % 3, at % 3}) {
            key += axes[static_cast<std::size_t>(index)];
        }
        EXPECT_EQ(number(*field, std::string(TENSOR4) + "/" + key), (at + 1.0) / 15.0) << key;
        EXPECT_EQ(number(*undivided, std::string(TENSOR4) + "/" + key), at + 1.0) << key;
        EXPECT_EQ(test::KeysOf(field->Entry(TENSOR4)->Map())[static_cast<std::size_t>(at)], key);
    }
}

TEST(FieldValues, AreEvaluatedFromTheDividedTensor) {
    const auto field = values(make_matrix(3, {2, 0, 0, 0, 7, 0, 0, 0, 1}), 10, 0.5);
    const CValueMap& eigenvalues = field->Entry(EIGENVALUES)->Map();
    EXPECT_DOUBLE_EQ(eigenvalues.Entry(0)->Double(), 0.7);
    EXPECT_DOUBLE_EQ(eigenvalues.Entry(1)->Double(), 0.2);
    EXPECT_DOUBLE_EQ(eigenvalues.Entry(2)->Double(), 0.1);
    EXPECT_NEAR(std::abs(number(*field, "Mean fiber direction/y")), 1.0, 1e-15);
    EXPECT_NEAR(number(*field, "Mean fiber direction/x"), 0.0, 1e-15);
    EXPECT_NEAR(number(*field, "Mean fiber direction/z"), 0.0, 1e-15);
    EXPECT_DOUBLE_EQ(number(*field, ANISOTROPY), 1.0 - 0.1 / 0.7);
}

TEST(FieldValues, InThePlaneTakeTheSecondEigenvalueForTheAnisotropy) {
    const auto field = values(make_matrix(2, {6, 0, 0, 2}), 8, 0.5);
    EXPECT_DOUBLE_EQ(number(*field, ANISOTROPY), 1.0 - 2.0 / 6.0);
}

TEST(FieldValues, OfAnIsotropicTensorHaveNoAnisotropy) {
    EXPECT_EQ(number(*values(make_matrix(3, {5, 0, 0, 0, 5, 0, 0, 0, 5}), 15, 0.5), ANISOTROPY), 0.0);
}

TEST(FieldValues, OfAZeroTensorHaveNoAnisotropyAndALowFraction) {
    const auto field = values(CMatrix<double>(3, 3), 0, 0.0);
    EXPECT_EQ(number(*field, ANISOTROPY), 0.0);
    EXPECT_EQ(status(*field), "Low fiber volume fraction, results may be inaccurate.");
    EXPECT_EQ(field->Entry(EIGENVALUES)->Map().Entry(0)->Double(), 0.0);
}

TEST(FieldValues, HaveAnAnisotropyOnlyAboveTheDoubleEpsilon) {
    const double epsilon = std::numeric_limits<double>::epsilon();
    EXPECT_EQ(number(*values(make_matrix(2, {epsilon, 0, 0, 0}), 1, 0.5), ANISOTROPY), 0.0);
    EXPECT_EQ(number(*values(make_matrix(2, {2 * epsilon, 0, 0, 0}), 1, 0.5), ANISOTROPY), 1.0);
}

TEST(FieldStatus, IsOkFromOnePercentOn) {
    EXPECT_EQ(status(*values(SUMS_3D, 15, 0.01)), "ok");
    EXPECT_EQ(status(*values(SUMS_3D, 15, 1.0)), "ok");
    EXPECT_EQ(status(*values(SUMS_3D, 15, std::nextafter(0.01, 0.0))),
              "Low fiber volume fraction, results may be inaccurate.");
}

TEST(DirectionDifference, IsTheAngleBetweenAxes) {
    EXPECT_EQ(difference({1, 0}, {-1, 0}), 0.0) << "not pi";
    EXPECT_EQ(difference({1, 0}, {1, 0}), 0.0);
    EXPECT_EQ(difference({1, 0}, {0, 1}), 1.5707963267948966);
    EXPECT_NEAR(difference({0.6, 0.8}, {1, 0}), std::acos(0.6), 1e-15);
    EXPECT_NEAR(difference({-0.6, 0.8}, {1, 0}), std::acos(0.6), 1e-15);
    EXPECT_NEAR(difference({0.48, 0.6, 0.64}, {0, 0, -1}), std::acos(0.64), 1e-15);
}

TEST(DirectionDifference, ClampsCosinesThatRoundingLeavesBeyondOne) {
    EXPECT_EQ(difference({1.0000000000000002, 0}, {1, 0}), 0.0);
    EXPECT_EQ(difference({-1.0000000000000002, 0}, {1, 0}), 0.0);
}

TEST(DirectionDifference, TakesAsManyComponentsAsTheGlobalDirectionHas) {
    EXPECT_NEAR(difference({0.6, 0.0, 0.8}, {1, 0}), std::acos(0.6), 1e-15);
}

TEST(DirectionDifference, ReplacesAnEarlierOne) {
    const auto field = field_with_direction({1, 0});
    CSubfieldFiberDirections::AddDifferenceToMeanDirToMap(field.get(), {0, 1});
    CSubfieldFiberDirections::AddDifferenceToMeanDirToMap(field.get(), {1, 0});
    EXPECT_EQ(number(*field, DIFFERENCE), 0.0);
    EXPECT_EQ(field->Size(), 2U);
}

TEST(DirectionDifference, IsAddedToEverySubfieldWithADirection) {
    CValueMap subfields;
    subfields.SetEntry("(1,1)", field_with_direction({0, 1}).release());
    subfields.SetEntry("without direction", new CValueMap);
    subfields.SetEntry("(2,1)", field_with_direction({-1, 0}).release());
    subfields.SetEntry("Subfield size", new CValueDouble(3.0));
    const auto global = field_with_direction({1, 0});
    CSubfieldFiberDirections::AddDifferenceToMeanDirToEachSubfieldEntry(&subfields,
                                                                        &global->Entry(MEAN)->Map());
    EXPECT_EQ(subfields.Entry("(1,1)")->Map().Entry(DIFFERENCE)->Double(), std::numbers::pi / 2);
    EXPECT_EQ(subfields.Entry("(2,1)")->Map().Entry(DIFFERENCE)->Double(), 0.0);
    EXPECT_TRUE(subfields.Entry("without direction")->Map().IsEmpty());
    EXPECT_EQ(subfields.Entry("Subfield size")->Double(), 3.0);
}

TEST(DirectionDifference, OfSubfieldsUsesZOfTheGlobalDirectionWhereItHasOne) {
    CValueMap subfields;
    subfields.SetEntry("a", field_with_direction({0.6, 0.0, 0.8}).release());
    const auto global = field_with_direction({0, 0, 1});
    CSubfieldFiberDirections::AddDifferenceToMeanDirToEachSubfieldEntry(&subfields,
                                                                        &global->Entry(MEAN)->Map());
    EXPECT_NEAR(subfields.Entry("a")->Map().Entry(DIFFERENCE)->Double(), std::acos(0.8), 1e-15);
}

TEST(ViewRequest, AsksForAnAttributeViewOfTheDocument) {
    CValueMap target;
    CValueMap document;
    CSubfieldFiberDirections::RepackMeasuredFeaturesForVexo(target, "name", nullptr, "extra", &document);
    const CValue* request = target.Entry("output/views/create");
    ASSERT_NE(request, nullptr);
    ASSERT_EQ(request->Vector().Size(), 1U);
    const CValueMap& view = request->Vector().Entry(0)->Map();
    EXPECT_THAT(test::KeysOf(view), ElementsAre("type", "document"));
    EXPECT_EQ(view.Entry("type")->String().Text(), "ImageAttributesView");
    const CValue* pointer = view.Entry("document");
    EXPECT_EQ(pointer->GenericType(), CValue::ePointer);
    EXPECT_TRUE(pointer->ElementType() == typeid(CValueMap));
    EXPECT_EQ(pointer->VoidPointer(), &document);
}

TEST(ViewRequest, NeverFreesTheDocument) {
    auto document = std::make_unique<CValueMap>();
    document->SetEntry("a", new CValueDouble(1.0));
    {
        CValueMap target;
        CSubfieldFiberDirections::RepackMeasuredFeaturesForVexo(target, nullptr, nullptr, nullptr,
                                                                document.get());
    }
    EXPECT_EQ(document->Entry("a")->Double(), 1.0);
}

TEST(ViewRequest, WithoutADocumentHoldsAnEmptyPointer) {
    CValueMap target;
    CSubfieldFiberDirections::RepackMeasuredFeaturesForVexo(target, nullptr, nullptr, nullptr, nullptr);
    const CValue* pointer = target.Entry("output/views/create")->Vector().Entry(0)->Map().Entry("document");
    EXPECT_EQ(pointer->VoidPointer(), nullptr);
    EXPECT_FALSE(pointer->IsValid());
}

} // namespace TEVRA
