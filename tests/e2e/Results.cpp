// SPDX-License-Identifier: BSD-3-Clause
#include "e2e/Results.h"

#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace TEVRA::test {

std::vector<std::string> OutputsIn(const std::filesystem::path& folder) {
    std::vector<std::string> names = CTemporaryFolder::EntriesOf(folder);
    std::erase(names, "report.html");
    return names;
}

void ExpectSameResults(const std::filesystem::path& one, const std::filesystem::path& other) {
    const std::vector<std::string> names = CTemporaryFolder::EntriesOf(one);
    EXPECT_EQ(names, CTemporaryFolder::EntriesOf(other));
    for (const std::string& name : names) {
        EXPECT_TRUE(name == "run.json" || ReadFile(one / name) == ReadFile(other / name))
            << name << " of " << one.filename() << " and " << other.filename();
    }
    ASSERT_EQ(std::filesystem::exists(one / "report.html"), std::filesystem::exists(other / "report.html"));
    if (std::filesystem::exists(one / "report.html")) {
        EXPECT_TRUE(ReadFile(one / "report.html") == ReadFile(other / "report.html"))
            << "report.html of " << one.filename() << " and " << other.filename();
    }
}

} // namespace TEVRA::test
