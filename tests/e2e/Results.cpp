// SPDX-License-Identifier: BSD-3-Clause
#include "e2e/Results.h"

#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <array>

#include <string>
#include <vector>

namespace TEVRA::test {

namespace {

constexpr std::array LOOKED_AT{"report.html", "sections.png", "directions.png", "profiles.png"};

} // namespace

std::vector<std::string> OutputsIn(const std::filesystem::path& folder) {
    std::vector<std::string> names = CTemporaryFolder::EntriesOf(folder);
    for (const char* const name : LOOKED_AT) {
        std::erase(names, name);
    }
    return names;
}

void ExpectSameResults(const std::filesystem::path& one, const std::filesystem::path& other) {
    const std::vector<std::string> names = CTemporaryFolder::EntriesOf(one);
    EXPECT_EQ(names, CTemporaryFolder::EntriesOf(other));
    for (const std::string& name : names) {
        EXPECT_TRUE(name == "run.json" || ReadFile(one / name) == ReadFile(other / name))
            << name << " of " << one.filename() << " and " << other.filename();
    }
    for (const char* const name : LOOKED_AT) {
        ASSERT_EQ(std::filesystem::exists(one / name), std::filesystem::exists(other / name)) << name;
        if (std::filesystem::exists(one / name)) {
            EXPECT_TRUE(ReadFile(one / name) == ReadFile(other / name))
                << name << " of " << one.filename() << " and " << other.filename();
        }
    }
}

} // namespace TEVRA::test
