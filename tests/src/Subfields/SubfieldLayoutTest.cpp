// SPDX-License-Identifier: BSD-3-Clause
#include "Subfields/SubfieldLayout.h"

#include "FilterOrientations/SubfieldFiberDirections.h"
#include "src/Naive.h"
#include "src/TestAccess.h"
#include "support/ThrownException.h"
#include "zeklib2core/Exception.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string>
#include <vector>

namespace TEVRA {
namespace {

using test::SCut;
using test::SNaiveCut;
using Sizes = std::array<long long, 3>;
using testing::ElementsAre;

constexpr long long LOWEST = std::numeric_limits<long long>::min();
constexpr long long LARGEST = std::numeric_limits<long long>::max();

Impl::CSubfieldLayout layout_of(const SCut& cut) {
    return {cut.imageSize, cut.radiusPx, cut.subfieldSize};
}

std::vector<CBox> tiles_of(const Impl::CSubfieldLayout& layout) {
    std::vector<CBox> tiles;
    const Impl::TileIndex last = layout.FullTiles();
    for (long long k = 0; k <= last[2]; ++k) {
        for (long long j = 0; j <= last[1]; ++j) {
            for (long long i = 0; i <= last[0]; ++i) {
                tiles.push_back(layout.Tile({i, j, k}));
            }
        }
    }
    return tiles;
}

std::string text_of(const CBox& box) {
    return box.Point0().ToString() + " - " + box.Point1().ToString();
}

std::vector<std::string> texts_of(const std::vector<CBox>& boxes) {
    std::vector<std::string> texts;
    for (const CBox& box : boxes) {
        texts.push_back(text_of(box));
    }
    return texts;
}

std::vector<SCut> many_cuts() {
    std::vector<SCut> cuts;
    for (const double radiusPx : {0.0, 0.4, 0.5, 1.49, 2.5, 4.0}) {
        for (const Sizes& subfieldSize : {Sizes{5, 5, 5},
                                          {7, 3, 4},
                                          {1, 20, 6},
                                          {-1, -1, -1},
                                          {6, -1, 5},
                                          {-3, 6, 7},
                                          {100, 5, 5},
                                          {5, 100, 5},
                                          {5, 5, 100},
                                          {16, 11, 9}}) {
            cuts.push_back({CSize(21, 19), radiusPx, subfieldSize});
            cuts.push_back({CSize(20, 16), radiusPx, subfieldSize});
            cuts.push_back({CSize(21, 16, 14), radiusPx, subfieldSize});
            cuts.push_back({CSize(15, 15, 15), radiusPx, subfieldSize});
        }
    }
    return cuts;
}

std::string describe(const SCut& cut) {
    return "image " + cut.imageSize.ToString() + ", radius " + std::to_string(cut.radiusPx) + ", subfield " +
           std::to_string(cut.subfieldSize[0]) + " " + std::to_string(cut.subfieldSize[1]) + " " +
           std::to_string(cut.subfieldSize[2]);
}

CSubfieldFiberDirections analysis(const Sizes& subfieldSize) {
    return CSubfieldFiberDirections(1.0, 1.25, subfieldSize[0], subfieldSize[1], subfieldSize[2]);
}

TEST(DividedLayout, CoversEveryPixelOfTheEvaluatedAreaOnceWithSizesThatDifferByOneAtMost) {
    for (const CSize& size : {CSize(100, 64, 57), CSize(31, 40, 33), CSize(97, 61)}) {
        for (const Sizes& counts : {Sizes{1, 1, 1}, Sizes{3, 4, 5}, Sizes{7, 2, 9}, Sizes{25, 34, 27}}) {
            const auto layout = Impl::CSubfieldLayout::Divided(size, 3.0, counts);
            ASSERT_TRUE(layout.ListsSubfields());
            const CBox area = layout.EvaluatedArea();
            long long listed = 0;
            long long pixels = 0;
            for (const CBox& tile : tiles_of(layout)) {
                if (!layout.HasFullSubfieldSize(tile)) {
                    EXPECT_EQ(tile.Size().Elements(), 0U);
                    continue;
                }
                ++listed;
                pixels += static_cast<long long>(tile.Size().Elements());
                for (int axis = 0; axis < size.Dim(); ++axis) {
                    const auto at = static_cast<std::size_t>(axis);
                    EXPECT_GE(tile.Point0()[axis], area.Point0()[axis]);
                    EXPECT_LE(tile.Point1()[axis], area.Point1()[axis]);
                    const long long smallest = layout.SubfieldSize()[at];
                    EXPECT_THAT(tile.Size()[axis], testing::AnyOf(smallest, smallest + 1));
                }
            }
            EXPECT_EQ(listed, counts[0] * counts[1] * (size.Dim() == 3 ? counts[2] : 1));
            EXPECT_EQ(pixels, layout.EvaluatedPixels());
            EXPECT_THAT(layout.UnlistedPixels(), ElementsAre(0, 0, 0));
        }
    }
}

TEST(DividedLayout, IsThatOfPlainSizesWhereTheseDivideTheArea) {
    const CSize size(210, 110, 60);
    const Impl::CSubfieldLayout plain(size, 5.0, {100, 50, 25});
    const auto divided = Impl::CSubfieldLayout::Divided(size, 5.0, {2, 2, 2});
    EXPECT_EQ(texts_of(tiles_of(divided)), texts_of(tiles_of(plain)));
    EXPECT_EQ(divided.IdentifierWidth(), plain.IdentifierWidth());
    EXPECT_EQ(divided.MeanSubfieldExtent(0), plain.MeanSubfieldExtent(0));
}

TEST(SubfieldLayout, TellsThePixelsAtTheFarEdgeThatNoSubfieldHas) {
    EXPECT_THAT(Impl::CSubfieldLayout(CSize(512, 510, 60), 5.0, {100, 100, 25}).UnlistedPixels(),
                ElementsAre(2, 0, 0));
    EXPECT_THAT(Impl::CSubfieldLayout(CSize(128, 128, 160), 4.0, {30, 40, 57}).UnlistedPixels(),
                ElementsAre(0, 0, 38));
    EXPECT_THAT(Impl::CSubfieldLayout(CSize(103, 101), 5.0, {10, 10, -1}).UnlistedPixels(),
                ElementsAre(3, 1, 0));
}

} // namespace

TEST(SubfieldLayout, AgreesWithANaiveEnumeration) {
    for (const SCut& cut : many_cuts()) {
        const SNaiveCut naive(cut);
        const Impl::CSubfieldLayout layout = layout_of(cut);
        EXPECT_EQ(layout.Dim(), naive.dim) << describe(cut);
        EXPECT_EQ(layout.Border(), naive.b) << describe(cut);
        EXPECT_EQ(layout.ListsSubfields(), naive.lists) << describe(cut);
        EXPECT_EQ(layout.SubfieldSize(), naive.sf) << describe(cut);
        EXPECT_EQ(layout.FullTiles(), naive.n) << describe(cut);
        EXPECT_EQ(texts_of(tiles_of(layout)), texts_of(naive.Tiles())) << describe(cut);
    }
}

TEST(SubfieldLayout, TilesCoverTheEvaluatedAreaOnceWhenSubfieldsAreListed) {
    const Impl::CSubfieldLayout layout = layout_of({CSize(23, 17, 12), 1.6, {6, 5, 4}});
    ASSERT_TRUE(layout.ListsSubfields());
    EXPECT_EQ(text_of(layout.EvaluatedArea()), "(2,2,2) - (21,15,10)");
    EXPECT_EQ(layout.EvaluatedPixels(), 19 * 13 * 8);
    long long covered = 0;
    for (const CBox& tile : tiles_of(layout)) {
        covered += static_cast<long long>(tile.Size().Elements());
    }
    EXPECT_EQ(covered, layout.EvaluatedPixels());
}

TEST(SubfieldLayout, OfAPlaneOf512HasSixTilesPerAxisAndListsFive) {
    const Impl::CSubfieldLayout layout = layout_of({CSize(512, 512), 5.0, {100, 100, 0}});
    EXPECT_EQ(layout.Border(), 5);
    EXPECT_EQ(layout.FullTiles(), (Impl::TileIndex{5, 5, 0}));
    EXPECT_EQ(layout.IdentifierWidth(), 3);
    EXPECT_EQ(text_of(layout.Tile({5, 5, 0})), "(505,505) - (507,507)");
    EXPECT_FALSE(layout.HasFullSubfieldSize(layout.Tile({5, 0, 0})));
    EXPECT_FALSE(layout.HasFullSubfieldSize(layout.Tile({0, 5, 0})));
    EXPECT_TRUE(layout.HasFullSubfieldSize(layout.Tile({4, 4, 0})));
    EXPECT_EQ(text_of(layout.Tile({4, 4, 0})), "(405,405) - (505,505)");
}

TEST(SubfieldLayout, OfAnExactMultipleEndsInAnEmptyTile) {
    const Impl::CSubfieldLayout layout = layout_of({CSize(210, 210), 5.0, {100, 100, 0}});
    EXPECT_EQ(layout.FullTiles(), (Impl::TileIndex{2, 2, 0}));
    EXPECT_EQ(text_of(layout.Tile({2, 0, 0})), "(205,5) - (205,105)");
    EXPECT_EQ(layout.Tile({2, 0, 0}).Size().Elements(), 0U);
    EXPECT_FALSE(layout.HasFullSubfieldSize(layout.Tile({2, 0, 0})));
}

TEST(SubfieldLayout, WithoutASizeAlongYCoversOneSubfieldAlongXAndAllAlongY) {
    const Impl::CSubfieldLayout layout = layout_of({CSize(210, 110), 5.0, {60, -1, 0}});
    EXPECT_FALSE(layout.ListsSubfields());
    EXPECT_EQ(layout.SubfieldSize(), (Sizes{60, 100, 0}));
    EXPECT_EQ(texts_of(tiles_of(layout)), (std::vector<std::string>{"(5,5) - (65,105)"}));
}

TEST(SubfieldLayout, KeepsTheSizeAlongZOfAPlane) {
    EXPECT_EQ(layout_of({CSize(30, 30), 2.0, {5, 5, -7}}).SubfieldSize(), (Sizes{5, 5, -7}));
    EXPECT_TRUE(layout_of({CSize(30, 30), 2.0, {5, 5, -7}}).ListsSubfields());
    EXPECT_EQ(layout_of({CSize(30, 30), 2.0, {5, 5, 99}}).SubfieldSize(), (Sizes{5, 5, 99}));
}

TEST(SubfieldLayout, TakesASizeThatJustFits) {
    const Impl::CSubfieldLayout fits = layout_of({CSize(30, 20), 2.0, {26, 16, 0}});
    EXPECT_TRUE(fits.ListsSubfields());
    EXPECT_EQ(fits.FullTiles(), (Impl::TileIndex{1, 1, 0}));
    const Impl::CSubfieldLayout tooLarge = layout_of({CSize(30, 20), 2.0, {27, 16, 0}});
    EXPECT_FALSE(tooLarge.ListsSubfields());
    EXPECT_EQ(tooLarge.SubfieldSize(), (Sizes{26, 16, 0}));
}

TEST(SubfieldLayout, HasNoOverflowForTheLargestSubfieldSize) {
    const Impl::CSubfieldLayout layout = layout_of({CSize(30, 20, 10), 2.0, {LARGEST, LARGEST, LARGEST}});
    EXPECT_FALSE(layout.ListsSubfields());
    EXPECT_EQ(layout.SubfieldSize(), (Sizes{26, 16, 6}));
    const Impl::CSubfieldLayout negative = layout_of({CSize(30, 20, 10), 2.0, {LOWEST, LOWEST, LOWEST}});
    EXPECT_EQ(negative.SubfieldSize(), (Sizes{26, 16, 6}));
}

TEST(Border, IsTheRadiusRoundedToTheNearestPixelHalvesUpward) {
    EXPECT_EQ(Impl::CSubfieldLayout::BorderOfRadius(0.0), 0);
    EXPECT_EQ(Impl::CSubfieldLayout::BorderOfRadius(0.49), 0);
    EXPECT_EQ(Impl::CSubfieldLayout::BorderOfRadius(0.5), 1);
    EXPECT_EQ(Impl::CSubfieldLayout::BorderOfRadius(6.0), 6);
    EXPECT_EQ(Impl::CSubfieldLayout::BorderOfRadius(6.49), 6);
    EXPECT_EQ(Impl::CSubfieldLayout::BorderOfRadius(6.5), 7);
}

TEST(Border, OfANegativeRadiusIsTruncatedTowardsZero) {
    EXPECT_EQ(Impl::CSubfieldLayout::BorderOfRadius(-0.4), 0);
    EXPECT_EQ(Impl::CSubfieldLayout::BorderOfRadius(-1.4), 0);
    EXPECT_EQ(Impl::CSubfieldLayout::BorderOfRadius(-1.6), -1);
}

TEST(Border, OfARadiusBeyondTheRangeIsItsLowestOrLargestValue) {
    EXPECT_EQ(Impl::CSubfieldLayout::BorderOfRadius(std::nan("")), LOWEST);
    EXPECT_EQ(Impl::CSubfieldLayout::BorderOfRadius(-HUGE_VAL), LOWEST);
    EXPECT_EQ(Impl::CSubfieldLayout::BorderOfRadius(-1e300), LOWEST);
    EXPECT_EQ(Impl::CSubfieldLayout::BorderOfRadius(HUGE_VAL), LARGEST);
    EXPECT_EQ(Impl::CSubfieldLayout::BorderOfRadius(1e300), LARGEST);
    EXPECT_EQ(Impl::CSubfieldLayout::BorderOfRadius(9223372036854775808.0), LARGEST);
    EXPECT_EQ(Impl::CSubfieldLayout::BorderOfRadius(-9223372036854775808.0), LOWEST);
    EXPECT_EQ(Impl::CSubfieldLayout::BorderOfRadius(9223372036854774784.0), 9223372036854774784);
}

TEST(Identifier, IsTheLowerCornerZeroFilled) {
    CSubfieldFiberDirections directions = analysis({10, 10, 10});
    EXPECT_EQ(CTestAccess::FieldId(directions, {5, 105, 77}, 2, 3), "(005,105)");
    EXPECT_EQ(CTestAccess::FieldId(directions, {5, 105, 5}, 3, 3), "(005,105,005)");
    EXPECT_EQ(CTestAccess::FieldId(directions, {5, 105, 5}, 4, 3), "(005,105,005)");
}

TEST(Identifier, WritesAWiderCoordinateInFull) {
    CSubfieldFiberDirections directions = analysis({10, 10, 10});
    EXPECT_EQ(CTestAccess::FieldId(directions, {5, 12345, 0}, 3, 2), "(05,12345,00)");
    EXPECT_EQ(CTestAccess::FieldId(directions, {0, 7, 0}, 2, 1), "(0,7)");
    EXPECT_EQ(CTestAccess::FieldId(directions, {0, 7, 0}, 2, 0), "(0,7)");
}

TEST(IdentifierWidth, CountsTheDigitsOfTheLargestCornerOfAFullTile) {
    const auto width = [](const CSize& size, double radiusPx, const Sizes& subfieldSize) {
        return layout_of({size, radiusPx, subfieldSize}).IdentifierWidth();
    };
    EXPECT_EQ(width(CSize(512, 512), 5.0, {100, 100, 0}), 3) << "405";
    EXPECT_EQ(width(CSize(30, 30), 2.0, {8, 8, 0}), 2) << "18";
    EXPECT_EQ(width(CSize(21, 21), 2.0, {8, 8, 0}), 2) << "10";
    EXPECT_EQ(width(CSize(20, 20), 1.0, {8, 8, 0}), 1) << "9";
    EXPECT_EQ(width(CSize(20, 120), 2.0, {8, 49, 0}), 2) << "51, not the unlisted 100";
    EXPECT_EQ(width(CSize(20, 20, 130), 2.0, {8, 8, 49}), 2) << "51 along z";
    EXPECT_EQ(width(CSize(20, 20, 230), 2.0, {8, 8, 100}), 3) << "102 along z";
    EXPECT_EQ(width(CSize(230, 20), 2.0, {100, 8, 0}), 3) << "102 along x";
    EXPECT_EQ(width(CSize(20, 230), 2.0, {8, 100, 0}), 3) << "102 along y";
    EXPECT_EQ(width(CSize(1100, 20), 0.7, {999, 8, 0}), 1) << "9 along y, 1 along x";
}

TEST(IdentifierWidth, IsOneWhenTheLargestCoordinateIsZeroOrLess) {
    EXPECT_EQ(layout_of({CSize(30, 30, 30), 0.3, {30, 30, 30}}).IdentifierWidth(), 1) << "0";
    EXPECT_EQ(layout_of({CSize(30, 30, 30), 2.0, {-1, -1, -1}}).IdentifierWidth(), 1) << "negative";
    for (const int coordinate : {std::numeric_limits<int>::min(), -1, 0, 1, 9}) {
        EXPECT_EQ(Impl::CSubfieldLayout::DigitsOf(coordinate), 1) << coordinate;
    }
}

TEST(IdentifierWidth, IsRightAtEveryPowerOfTen) {
    int digits = 1;
    for (long long power = 10; power <= 1000000000; power *= 10) {
        EXPECT_EQ(Impl::CSubfieldLayout::DigitsOf(static_cast<int>(power - 1)), digits) << power - 1;
        ++digits;
        EXPECT_EQ(Impl::CSubfieldLayout::DigitsOf(static_cast<int>(power)), digits) << power;
    }
}

TEST(FullSubfieldSize, ComparesZInSpaceOnly) {
    const CSubfieldFiberDirections directions = analysis({10, 20, 30});
    EXPECT_TRUE(CTestAccess::HasFullSubfieldSize(directions, CBox(1, 2, 3, 11, 22, 33), 3));
    EXPECT_FALSE(CTestAccess::HasFullSubfieldSize(directions, CBox(1, 2, 3, 11, 22, 34), 3));
    EXPECT_FALSE(CTestAccess::HasFullSubfieldSize(directions, CBox(1, 2, 3, 10, 22, 33), 3));
    EXPECT_FALSE(CTestAccess::HasFullSubfieldSize(directions, CBox(1, 2, 3, 11, 23, 33), 3));
    EXPECT_TRUE(CTestAccess::HasFullSubfieldSize(directions, CBox(1, 2, 3, 11, 22, 99), 2));
    EXPECT_TRUE(CTestAccess::HasFullSubfieldSize(directions, CBox(1, 2, 3, 11, 22, 99), 1));
    EXPECT_TRUE(CTestAccess::HasFullSubfieldSize(directions, CBox(CPos(1, 2), CPos(11, 22)), 2));
}

TEST(BoxOfSixCoordinates, UsedInThePlaneCountsItsSizeOverTwoAxes) {
    CBox box(1, 2, 7, 11, 22, 7);
    box.Point0().SetDim(2);
    box.Point1().SetDim(2);
    EXPECT_EQ(box.Size().Elements(), 200U);
    const Impl::CSubfieldLayout layout = layout_of({CSize(30, 30), 2.0, {10, 20, 0}});
    EXPECT_EQ(layout.Tile({0, 0, 0}).Size().Elements(), 200U);
    EXPECT_EQ(layout.EvaluatedArea().Size().Elements(), 26U * 26U);
}

TEST(SubfieldLimits, HoldLowerAndUpperCornersAxisByAxis) {
    CSubfieldFiberDirections directions = analysis({10, 10, 10});
    CValueMap map;
    CTestAccess::AddSubfieldLimits(directions, &map, CBox(1, 2, 3, 11, 22, 33), 3);
    EXPECT_THAT(test::KeysOf(map), ElementsAre("Evaluated area"));
    const CValueMap& area = map.Entry("Evaluated area")->Map();
    EXPECT_THAT(test::KeysOf(area), ElementsAre("x0", "x1", "y0", "y1", "z0", "z1"));
    const std::array<int, 6> expected = {1, 11, 2, 22, 3, 33};
    std::size_t at = 0;
    for (auto it = area.begin(); !(it == area.end()); ++it) {
        EXPECT_EQ(it.Value()->GenericType(), CValue::eLong);
        EXPECT_EQ(it.Value()->Long(), expected[at++]);
    }
}

TEST(SubfieldLimits, OfAPlaneHaveNoZ) {
    CSubfieldFiberDirections directions = analysis({10, 10, 10});
    CValueMap map;
    CTestAccess::AddSubfieldLimits(directions, &map, CBox(1, 2, 3, 11, 22, 33), 2);
    EXPECT_THAT(test::KeysOf(map.Entry("Evaluated area")->Map()), ElementsAre("x0", "x1", "y0", "y1"));
}

TEST(SubfieldLimits, NeedAMap) {
    CSubfieldFiberDirections directions = analysis({10, 10, 10});
    EXPECT_EQ(test::MessageOf(
                  [&] { CTestAccess::AddSubfieldLimits(directions, nullptr, CBox(1, 2, 3, 11, 22, 33), 2); }),
              "Invalid subfield map pointer.");
}

} // namespace TEVRA
