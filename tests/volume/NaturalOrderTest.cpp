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

} // namespace
} // namespace TEVRA::volume
