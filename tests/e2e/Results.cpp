// SPDX-License-Identifier: BSD-3-Clause
#include "e2e/Results.h"

#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace TEVRA::test {

void ExpectSameResults(const std::filesystem::path& one, const std::filesystem::path& other) {
    const std::vector<std::string> names = CTemporaryFolder::EntriesOf(one);
    EXPECT_EQ(names, CTemporaryFolder::EntriesOf(other));
    for (const std::string& name : names) {
        EXPECT_TRUE(name == "run.json" || ReadFile(one / name) == ReadFile(other / name))
            << name << " of " << one.filename() << " and " << other.filename();
    }
}

} // namespace TEVRA::test
