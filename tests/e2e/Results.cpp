// SPDX-License-Identifier: BSD-3-Clause
#include "e2e/Results.h"

#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace TEVRA::test {

void ExpectSameResults(const std::filesystem::path& one, const std::filesystem::path& other) {
    for (const char* const name : {"result.json", "subfields.csv", "profiles.csv", "theta.mha", "phi.mha"}) {
        EXPECT_TRUE(ReadFile(one / name) == ReadFile(other / name))
            << name << " of " << one.filename() << " and " << other.filename();
    }
}

} // namespace TEVRA::test
