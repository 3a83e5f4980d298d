// SPDX-License-Identifier: BSD-3-Clause
// The typed result of an analysis, and the document as one writer of it.
#include "Subfields/AnalysisResult.h"
#include "Subfields/ResultDocument.h"

#include "FilterOrientations/SubfieldFiberDirections.h"
#include "zeklib2core/ValueMap.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <memory>
#include <numbers>
#include <string>
#include <vector>

namespace TEVRA::Impl {
namespace {

/// Sums of `count` axes in the plane at the angle.
STileSums sums_at(double angleRad, long long count, bool withFourthOrder = false) {
    const std::array<double, 2> axis{std::cos(angleRad), std::sin(angleRad)};
    const auto number = static_cast<double>(count);
    STileSums sums;
    sums.count = count;
    sums.second.dim = 2;
    sums.fourth = withFourthOrder ? STensor4(2) : STensor4();
    for (std::size_t i = 0; i < 2; ++i) {
        for (std::size_t j = 0; j < 2; ++j) {
            sums.second(i, j) = number * axis[i] * axis[j];
            for (std::size_t kl = 0; withFourthOrder && kl < 4; ++kl) {
                sums.fourth(i, j, kl / 2, kl % 2) = number * axis[i] * axis[j] * axis[kl / 2] * axis[kl % 2];
            }
        }
    }
    return sums;
}

/// 3 x 2 subfields of 10 x 10 px behind a border of 2 px, with a remainder at the far edge of y.
class AnalysisResult : public testing::Test {
  protected:
    SAnalysisResult result_of(const std::vector<STileSums>& tiles, const SAnalysisRequest& parameters,
                              EConfidence confidence = EConfidence::none) const {
        CResultBuilder builder(m_layout, parameters, confidence);
        std::size_t at = 0;
        for (long long j = 0; j <= 2; ++j) {
            for (long long i = 0; i <= 3; ++i) {
                const bool isFull = i < 3 && j < 2;
                builder.AddTile({i, j, 0},
                                isFull ? tiles.at(at++) : sums_at(0.0, 0, parameters.withFourthOrder));
            }
        }
        EXPECT_TRUE(builder.HasForeground());
        return builder.Finish();
    }
    static SAnalysisRequest parameters() {
        SAnalysisRequest parameters;
        parameters.fiberRadius = 1.0;
        parameters.otsuFactor = 1.25;
        parameters.spacing = {0.5, 0.5, 1.0};
        return parameters;
    }

    CSubfieldLayout m_layout{CSize(34, 27), 2.0, {10, 10, 0}};
};

TEST_F(AnalysisResult, KeepsGridIndexBoxCountAndFractionOfEverySubfield) {
    const std::vector<STileSums> tiles{sums_at(0.0, 50), sums_at(0.0, 100), sums_at(0.0, 0),
                                       sums_at(0.0, 1),  sums_at(0.0, 25),  sums_at(0.0, 10)};
    const SAnalysisResult result = result_of(tiles, parameters());
    ASSERT_EQ(result.subfields.size(), 6U);
    const SFieldResult& fifth = result.subfields[4];
    EXPECT_EQ(fifth.index, (TileIndex{1, 1, 0}));
    EXPECT_EQ(fifth.identifier, "(12,12)");
    EXPECT_EQ(fifth.box.Point0(), CPos(12, 12));
    EXPECT_EQ(fifth.box.Point1(), CPos(22, 22));
    EXPECT_EQ(fifth.pixels, 100);
    EXPECT_EQ(fifth.foregroundPixels, 25);
    EXPECT_EQ(fifth.foregroundFraction, 0.25);
    EXPECT_EQ(result.subfields[2].status, EFieldStatus::noForeground);
    EXPECT_EQ(result.subfields[3].status, EFieldStatus::ok);
    EXPECT_EQ(result.field.foregroundPixels, 186);
    EXPECT_EQ(result.field.pixels, 30 * 23);
    EXPECT_EQ(result.field.foregroundFraction, 186.0 / 690.0);
    EXPECT_EQ(result.subfieldSize, 5.0);
}

TEST_F(AnalysisResult, TellsHowSureTheAxesAreAsFarAsTheEstimatorKnows) {
    const auto with = [](STileSums sums, double confidence, long long doubtful) {
        sums.confidence.parts =
            std::llround(confidence * SConfidenceSums::PARTS * static_cast<double>(sums.count));
        sums.confidence.doubtful = doubtful;
        return sums;
    };
    const std::vector<STileSums> tiles{with(sums_at(0.0, 100), 0.75, 10),
                                       with(sums_at(0.0, 300), 0.5, 150),
                                       sums_at(0.0, 0),
                                       sums_at(0.0, 0),
                                       sums_at(0.0, 0),
                                       sums_at(0.0, 0)};
    EXPECT_EQ(result_of(tiles, parameters()).field.meanConfidence, std::nullopt);
    const SAnalysisResult absolute = result_of(tiles, parameters(), EConfidence::absolute);
    EXPECT_EQ(absolute.field.meanConfidence, 0.5625);
    EXPECT_EQ(absolute.field.doubtfulFraction, 0.4);
    EXPECT_EQ(absolute.subfields[0].meanConfidence, 0.75);
    EXPECT_EQ(absolute.subfields[0].doubtfulFraction, 0.1);
    EXPECT_EQ(absolute.subfields[1].meanConfidence, 0.5);
    EXPECT_EQ(absolute.subfields[2].meanConfidence, std::nullopt) << "without axes";
    EXPECT_EQ(absolute.subfields[2].doubtfulFraction, std::nullopt) << "without axes";
    ASSERT_EQ(absolute.profiles[0].size(), 3U);
    EXPECT_EQ(absolute.profiles[0][0].meanConfidence, 0.75);
    EXPECT_EQ(absolute.profiles[0][1].meanConfidence, 0.5);
    EXPECT_EQ(absolute.profiles[0][2].meanConfidence, std::nullopt) << "without axes";
    EXPECT_EQ(absolute.profiles[1][0].meanConfidence, 0.625) << "of two subfields";
    EXPECT_EQ(result_of(tiles, parameters()).profiles[0][0].meanConfidence, std::nullopt);
    const SAnalysisResult relative = result_of(tiles, parameters(), EConfidence::relative);
    EXPECT_EQ(relative.field.meanConfidence, 0.5625);
    EXPECT_EQ(relative.field.doubtfulFraction, std::nullopt);
    EXPECT_EQ(relative.subfields[0].doubtfulFraction, std::nullopt);
}

TEST_F(AnalysisResult, HasTheAnglesBetweenSubfieldsAndTheWholeField) {
    const double angle = std::numbers::pi / 6.0;
    const std::vector<STileSums> tiles{sums_at(0.0, 100), sums_at(angle, 40), sums_at(-angle, 40),
                                       sums_at(0.0, 10),  sums_at(0.0, 10),   sums_at(0.0, 10)};
    const SAnalysisResult result = result_of(tiles, parameters());
    EXPECT_NEAR(result.subfields[0].differenceRad, 0.0, 1e-7);
    EXPECT_NEAR(result.subfields[1].differenceRad, angle, 1e-12);
    EXPECT_NEAR(result.subfields[2].differenceRad, angle, 1e-12);
    EXPECT_NEAR(std::abs(result.subfields[1].values.meanDirection[0]), std::cos(angle), 1e-12);
    EXPECT_NEAR(result.subfields[1].values.anisotropy, 1.0, 1e-12);
}

TEST_F(AnalysisResult, AveragesValidSubfieldsOfEachSlice) {
    const std::vector<STileSums> tiles{sums_at(0.0, 50), sums_at(1.0, 80), sums_at(0.0, 0),
                                       sums_at(1.5, 20), sums_at(0.0, 0),  sums_at(0.0, 0)};
    const SAnalysisResult result = result_of(tiles, parameters());
    ASSERT_EQ(result.profiles[0].size(), 3U);
    const SProfileSlice& first = result.profiles[0][0];
    EXPECT_EQ(first.slicePx, 2);
    EXPECT_EQ(first.position, 1.0);
    EXPECT_EQ(first.subfields, 2);
    const double half = 0.5;
    EXPECT_NEAR(first.values->tensor(0, 0), half * (1.0 + std::cos(1.5) * std::cos(1.5)), 1e-15);
    const SProfileSlice& last = result.profiles[0][2];
    EXPECT_EQ(last.subfields, 0);
    EXPECT_EQ(last.status, EFieldStatus::noSubfields);
    EXPECT_EQ(last.values->tensor(0, 0), 0.0);
    EXPECT_TRUE(result.profiles[2].empty());
}

/// Keys and values of a tree in order, one per line.
std::string text_of(const CValueMap& map, const std::string& path = "") {
    std::string text;
    for (auto entry = map.begin(); !(entry == map.end()); ++entry) {
        const std::string at = path + "|" + entry.Key().ToString();
        const CValue& value = *entry.Value();
        switch (value.GenericType()) {
        case CValue::eMap:
            text += at + "\n" + text_of(value.Map(), at);
            break;
        case CValue::eDouble: {
            std::array<char, 64> number{};
            std::snprintf(number.data(), number.size(), "%a", value.Double());
            text += at + " " + number.data() + "\n";
            break;
        }
        case CValue::eLong:
            text += at + " " + std::to_string(value.Long()) + "\n";
            break;
        default:
            text += at + " " + value.String().Text() + "\n";
        }
    }
    return text;
}

/// The averages are computed from typed results and, for documents of any origin, from value trees.
TEST_F(AnalysisResult, HasTheProfilesThatItsDocumentHas) {
    SAnalysisRequest recorded = parameters();
    for (const bool withFourthOrder : {false, true}) {
        recorded.withFourthOrder = withFourthOrder;
        const auto at = [&](double angleRad, long long count) {
            return sums_at(angleRad, count, withFourthOrder);
        };
        const std::vector<std::vector<STileSums>> cases{
            {at(0.1, 50), at(0.7, 33), at(0.0, 0), at(1.1, 9), at(2.2, 7), at(0.0, 0)},
            {at(0.1, 0), at(0.0, 0), at(0.3, 60), at(0.3, 70), at(0.0, 0), at(0.4, 80)},
            {at(0.1, 0), at(0.0, 0), at(0.0, 0), at(0.0, 0), at(0.0, 0), at(1.0, 0)}};
        for (std::size_t number = 0; number < cases.size(); ++number) {
            std::vector<STileSums> tiles = cases[number];
            SAnalysisResult result;
            if (number < 2) {
                result = result_of(tiles, recorded);
            } else { // all foreground lies in the remainder
                CResultBuilder builder(m_layout, recorded);
                for (long long i = 0; i < 3; ++i) {
                    builder.AddTile({i, 0, 0}, tiles[static_cast<std::size_t>(i)]);
                }
                builder.AddTile({0, 2, 0}, at(0.5, 20));
                result = builder.Finish();
            }
            const std::unique_ptr<CValueMap> document = ResultDocument(result);
            CSubfieldFiberDirections evaluation(1.0, 1.25, 10, 10, 0);
            // A finished document also has the subfields' own differences: they are left out beforehand.
            const std::unique_ptr<CValueMap> bare = ResultDocument(result);
            CValueMap& subfields = bare->Entry(Key::SUBFIELDS)->Map();
            for (const CValue_Key& key : subfields.Keys()) {
                if (subfields.Entry(key)->GenericType() == CValue::eMap) {
                    subfields.Entry(key)->Map().RemoveEntry(Key::DIFFERENCE);
                }
            }
            const std::unique_ptr<CValueMap> expected(
                evaluation.CreateAveragedProfile(*bare, recorded.spacing.data(), 2));
            EXPECT_EQ(text_of(document->Entry(Key::PROFILES)->Map()), text_of(*expected));
        }
    }
}

TEST_F(AnalysisResult, SummarisesItsParameters) {
    const std::vector<STileSums> tiles(6, sums_at(0.0, 5));
    SAnalysisRequest recorded = parameters();
    EXPECT_EQ(ParameterSummary(result_of(tiles, recorded)), "otsufactor=1.25,fiberradius=1,subfieldsize=5,");
    recorded.otsuFactor.reset();
    EXPECT_EQ(ParameterSummary(result_of(tiles, recorded)), "otsufactor=n/a,fiberradius=1,subfieldsize=5,");
}

} // namespace
} // namespace TEVRA::Impl
