// SPDX-License-Identifier: BSD-3-Clause
#include "VexoBase/InstructionSet.h"

#include "support/InstructionSets.h"
#include "support/ThrownException.h"

#include <gtest/gtest.h>

#include <string>

namespace TEVRA::test {
namespace {

TEST(InstructionSet, InUseIsOneThatTheProcessorHas) {
    EXPECT_TRUE(CInstructionSet::IsSupported(CInstructionSet::InUse()));
    EXPECT_TRUE(CInstructionSet::IsSupported(EnInstructionSet::baseline));
}

TEST(InstructionSet, ContainsTheLesserOnes) {
    if (CInstructionSet::IsSupported(EnInstructionSet::avx512)) {
        EXPECT_TRUE(CInstructionSet::IsSupported(EnInstructionSet::avx2));
    }
}

TEST(InstructionSet, IsTheOneAskedForOrRefused) {
    const EnInstructionSet before = CInstructionSet::InUse();
    for (const auto set : {EnInstructionSet::baseline, EnInstructionSet::avx2, EnInstructionSet::avx512}) {
        if (CInstructionSet::IsSupported(set)) {
            const CInstructionSetScope scope(set);
            EXPECT_EQ(CInstructionSet::InUse(), set);
            continue;
        }
        ExpectThrown<CExBadParam>([set] { CInstructionSet::Use(set); },
                                  {std::string("This processor does not have the instruction set '") +
                                       CInstructionSet::Name(set) + "'.",
                                   "TEVRA::CInstructionSet::Use", "host/VexoBase/InstructionSet"});
    }
    EXPECT_EQ(CInstructionSet::InUse(), before);
}

TEST(InstructionSet, HasTheNameThatTheEnvironmentVariableTakes) {
    EXPECT_STREQ(CInstructionSet::Name(EnInstructionSet::baseline), "baseline");
    EXPECT_STREQ(CInstructionSet::Name(EnInstructionSet::avx2), "avx2");
    EXPECT_STREQ(CInstructionSet::Name(EnInstructionSet::avx512), "avx512");
}

} // namespace
} // namespace TEVRA::test
