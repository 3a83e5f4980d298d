// SPDX-License-Identifier: BSD-3-Clause
#include "Numeric/InstructionSet.h"

#include "Utils/RowStatistics.h"
#include "support/InstructionSets.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace TEVRA::Impl {
namespace {

using testing::HasSubstr;
using testing::ThrowsMessage;

TEST(InstructionSet, EveryProcessorHasTheBaseline) {
    EXPECT_TRUE(IsSupported(EInstructionSet::baseline));
}

TEST(InstructionSet, ContainsTheLesserOnes) {
    if (IsSupported(EInstructionSet::avx512)) {
        EXPECT_TRUE(IsSupported(EInstructionSet::avx2));
    }
}

TEST(InstructionSet, NamesLeadBackToTheirSets) {
    for (const EInstructionSet set : INSTRUCTION_SETS) {
        EXPECT_EQ(InstructionSetNamed(NameOf(set)), set);
    }
    EXPECT_EQ(InstructionSetNamed("AVX2"), std::nullopt);
    EXPECT_EQ(InstructionSetNamed(""), std::nullopt);
}

TEST(InstructionSet, IsTheFastestSupportedOneUntilSomebodyChooses) {
    EXPECT_EQ(InstructionSetInUse(), BestInstructionSet());
    EXPECT_TRUE(IsSupported(BestInstructionSet()));
    for (const EInstructionSet set : INSTRUCTION_SETS) {
        EXPECT_TRUE(!IsSupported(set) || set <= BestInstructionSet());
    }
}

TEST(InstructionSet, IsTheOneAskedForOrRefused) {
    const test::CInstructionSetScope restored(InstructionSetInUse());
    for (const EInstructionSet set : INSTRUCTION_SETS) {
        const std::string name(NameOf(set));
        if (IsSupported(set)) {
            UseInstructionSet(name);
            EXPECT_EQ(InstructionSetInUse(), set);
            continue;
        }
        const EInstructionSet before = InstructionSetInUse();
        EXPECT_THAT([&name] { UseInstructionSet(name); },
                    ThrowsMessage<std::invalid_argument>(
                        HasSubstr("this processor does not have the instruction set '" + name + "'")));
        EXPECT_EQ(InstructionSetInUse(), before);
    }
}

TEST(InstructionSet, OfAnUnknownNameIsRefusedWithTheKnownOnes) {
    EXPECT_THAT([] { UseInstructionSet("sse9"); },
                ThrowsMessage<std::invalid_argument>(
                    "'sse9' is no instruction set; there are baseline, avx2, avx512"));
}

TEST(InstructionSet, ChoosesItsOwnTableOfLoops) {
    static constexpr int BASELINE = 1;
    static constexpr int AVX2 = 2;
    static constexpr int AVX512 = 3;
    EXPECT_EQ((LoopsFor<BASELINE, AVX2, AVX512>(EInstructionSet::baseline)), BASELINE);
    EXPECT_EQ((LoopsFor<BASELINE, AVX2, AVX512>(EInstructionSet::avx2)), HAS_WIDE_LOOPS ? AVX2 : BASELINE);
    EXPECT_EQ((LoopsFor<BASELINE, AVX2, AVX512>(EInstructionSet::avx512)),
              HAS_WIDE_LOOPS ? AVX512 : BASELINE);
}

} // namespace
} // namespace TEVRA::Impl
