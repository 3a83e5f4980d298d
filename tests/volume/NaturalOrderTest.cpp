// SPDX-License-Identifier: BSD-3-Clause
#include "volume/NaturalOrder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace TEVRA::volume {
namespace {

TEST(NaturalOrderTest, NumbersInNamesCountAsNumbers) {
    const std::vector<std::string> ordered{"a",
                                           "a0",
                                           "a1b2",
                                           "a1b10",
                                           "a2",
                                           "slice1",
                                           "slice2.tif",
                                           "slice9.tif",
                                           "slice10.tif",
                                           "slice100.tif",
                                           "slice99999999999999999998",
                                           "slice99999999999999999999",
                                           "t"};
    for (std::size_t i = 0; i < ordered.size(); ++i) {
        for (std::size_t j = 0; j < ordered.size(); ++j) {
            EXPECT_EQ(ComesBefore(ordered[i], ordered[j]), i < j) << ordered[i] << " and " << ordered[j];
        }
    }
}

TEST(NaturalOrderTest, LeadingZerosDoNotCountUnlessNothingElseDiffers) {
    EXPECT_TRUE(ComesBefore("z008", "z9"));
    EXPECT_TRUE(ComesBefore("z9", "z010"));
    EXPECT_NE(ComesBefore("z01", "z1"), ComesBefore("z1", "z01"));
    EXPECT_FALSE(ComesBefore("z01", "z01"));
}

TEST(NaturalOrderTest, MissingNumbersOfASeriesAreNamed) {
    EXPECT_EQ(MissingNumbers({"s1", "s2", "s4", "s5", "s9"}), "3, 6 to 8");
    EXPECT_EQ(MissingNumbers({"s08.tif", "s09.tif", "s10.tif", "s12.tif"}), "11");
    EXPECT_EQ(MissingNumbers({"s1", "s3"}), "2"); // one difference does not tell the step
    EXPECT_EQ(MissingNumbers({"a1_s1", "a1_s2", "a1_s4", "a2_s1", "a2_s2"}), "3");
    EXPECT_EQ(MissingNumbers({"1", "3", "5", "7", "9", "11", "14", "16", "18", "20", "22", "24", "26"}),
              "2, 4, 6, 8, 10, 12 to 13, 15, 17 and 4 more");
}

TEST(NaturalOrderTest, ASeriesWithoutGapsLacksNothing) {
    EXPECT_EQ(MissingNumbers({}), "");
    EXPECT_EQ(MissingNumbers({"s7"}), "");
    EXPECT_EQ(MissingNumbers({"s0", "s1", "s2"}), "");
    EXPECT_EQ(MissingNumbers({"s0", "s10", "s20", "s30"}), ""); // every tenth
    EXPECT_EQ(MissingNumbers({"s0", "s10", "s30"}), "20");
    EXPECT_EQ(MissingNumbers({"dark", "flat", "sample 3"}), "");
    EXPECT_EQ(MissingNumbers({"s01", "s1"}), "");
    EXPECT_EQ(MissingNumbers({"s1_of_2", "s2_of_7"}), ""); // two numbers differ
    EXPECT_EQ(MissingNumbers({"s10000000000000000000000", "s10000000000000000000009"}), "");
}

} // namespace
} // namespace TEVRA::volume
