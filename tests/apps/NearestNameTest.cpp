// SPDX-License-Identifier: BSD-3-Clause
#include "apps/NearestName.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace TEVRA::apps {
namespace {

const std::vector<std::string> OPTIONS = {"--fiber-radius", "--output",  "--subfield", "--spacing", "--mask",
                                          "--maps",         "--threads", "--scratch",  "--raw"};

TEST(NearestName, ForgivesATypingErrorPerThreeLetters) {
    EXPECT_EQ(NearestName("--fibre-radius", OPTIONS), "--fiber-radius"); // two letters swapped
    EXPECT_EQ(NearestName("--threds", OPTIONS), "--threads");            // one missing
    EXPECT_EQ(NearestName("--subbfield", OPTIONS), "--subfield");        // one too many
    EXPECT_EQ(NearestName("--scretch", OPTIONS), "--scratch");           // one other
    EXPECT_EQ(NearestName("-mask", OPTIONS), "--mask");
    EXPECT_EQ(NearestName("--Fiber_Radius", OPTIONS), "--fiber-radius");
}

TEST(NearestName, KnowsPartsOfNames) {
    EXPECT_EQ(NearestName("--radius", OPTIONS), "--fiber-radius");
    EXPECT_EQ(NearestName("--out", OPTIONS), "--output");
    EXPECT_EQ(NearestName("--mask-file", OPTIONS), "--mask");
}

TEST(NearestName, PrefersATypingErrorToAPart) {
    EXPECT_EQ(NearestName("--map", {"--mapping-file", "--maps"}), "--maps");
}

TEST(NearestName, IsNoneForWordsThatAreNotLikeAny) {
    for (const std::string word : {"--nonsense", "-x", "--verbose", "--", ""}) {
        EXPECT_EQ(NearestName(word, OPTIONS), std::nullopt) << word;
    }
}

TEST(NearestName, KnowsCommandsInOtherSpellings) {
    const std::vector<std::string> commands = {"analyze", "filter", "distance", "beta", "tensor", "info"};
    EXPECT_EQ(NearestName("analyse", commands), "analyze");
    EXPECT_EQ(NearestName("tensors", commands), "tensor");
    EXPECT_EQ(NearestName("image.tif", commands), std::nullopt);
}

} // namespace
} // namespace TEVRA::apps
