// SPDX-License-Identifier: BSD-3-Clause
#include "Utils/InstructionSet.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace TEVRA::Impl {
namespace {

TEST(InstructionSet, EveryProcessorHasTheBaseline) {
    EXPECT_TRUE(IsSupported(EInstructionSet::baseline));
}

TEST(InstructionSet, NamesLeadBackToTheirSets) {
    for (const EInstructionSet set : INSTRUCTION_SETS) {
        EXPECT_EQ(InstructionSetNamed(NameOf(set)), set);
    }
    EXPECT_EQ(InstructionSetNamed("AVX2"), std::nullopt);
    EXPECT_EQ(InstructionSetNamed(""), std::nullopt);
}

TEST(InstructionSet, TheBestOneIsSupported) {
    EXPECT_TRUE(IsSupported(BestInstructionSet()));
}

TEST(InstructionSet, TheEnvironmentNamesOneThatIsSupported) {
    const char* name = std::getenv("TEVRA_INSTRUCTION_SET");
    const auto named = name != nullptr ? InstructionSetNamed(name) : std::nullopt;
    if (named && IsSupported(*named)) {
        EXPECT_EQ(BestInstructionSet(), *named);
        return;
    }
    for (const EInstructionSet set : INSTRUCTION_SETS) {
        EXPECT_TRUE(!IsSupported(set) || set <= BestInstructionSet()) << "the fastest without a valid wish";
    }
}

} // namespace
} // namespace TEVRA::Impl
