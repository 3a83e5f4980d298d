// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/ResultFiles.h"

#include "jobs/Failure.h"
#include "jobs/FileChecks.h"
#include "report/Outputs.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

namespace TEVRA::jobs {
namespace {

using test::CTemporaryFolder;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(ResultFiles, AppearTogetherWithTheRunRecord) {
    const CTemporaryFolder folder;
    CResultFiles files(folder / "out", {report::RESULT_FILE});
    files.WriteText(report::RESULT_FILE, "{}");
    files.WriteText(report::RUN_RECORD_FILE, "{}");
    EXPECT_THAT(files.Names(), ElementsAre("result.json"));
    files.Commit();
    EXPECT_THAT(CTemporaryFolder::EntriesOf(folder / "out"), ElementsAre("result.json", "run.json"));
}

TEST(ResultFiles, LeaveNoFolderWithoutCommit) {
    const CTemporaryFolder folder;
    {
        CResultFiles files(folder / "out", {report::RESULT_FILE});
        files.WriteText(report::RESULT_FILE, "{}");
    }
    EXPECT_THAT(folder.Entries(), IsEmpty());
}

/// A folder with the results of an earlier run and a file of its user's.
class EarlierResults : public testing::Test {
  protected:
    EarlierResults() {
        test::WriteFile(m_folder / "notes.txt", "of the user");
        CResultFiles files(m_folder.Path(), {RESULT, SUBFIELDS, PROFILES, THETA, PHI});
        for (const std::string& name : files.Names()) {
            files.WriteText(name.c_str(), "earlier " + name);
        }
        m_record = {{"program", "tevra"},
                    {"files", files.Names()},
                    {"file_checks", report::FileChecksJson(files.Checks())}};
        files.WriteText(report::RUN_RECORD_FILE, m_record.dump());
        files.Commit();
    }
    void expect_refusal(const std::string& name) const {
        const std::vector<std::string> before = m_folder.Entries();
        const std::string text = test::ReadFile(m_folder / name);
        try {
            const CResultFiles files(m_folder.Path(), {RESULT});
            ADD_FAILURE() << "replaces '" << name << "'";
        } catch (const CWorkError& error) {
            EXPECT_EQ(error.what(),
                      "'" + (m_folder / name).string() +
                          "' would be replaced, but no run of Tevra has written it; move it away or "
                          "give another output folder");
        }
        EXPECT_EQ(m_folder.Entries(), before);
        EXPECT_EQ(test::ReadFile(m_folder / name), text);
    }
    void write_record() const { test::WriteFile(m_folder / "run.json", m_record.dump()); }
    /// A run that writes the result only.
    void expect_to_leave_alone(const std::vector<std::string>& names) const {
        const std::vector<std::string> before = m_folder.Entries();
        CResultFiles files(m_folder.Path(), {RESULT});
        files.Commit();
        EXPECT_EQ(files.LeftAlone(), names);
        EXPECT_EQ(m_folder.Entries().size(), before.size() - files.Removed().size());
        for (const std::string& name : names) {
            EXPECT_TRUE(std::filesystem::exists(m_folder / name)) << name;
        }
    }
    static constexpr const char* RESULT = report::RESULT_FILE;
    static constexpr const char* SUBFIELDS = report::SUBFIELDS_FILE;
    static constexpr const char* PROFILES = report::PROFILES_FILE;
    static constexpr const char* THETA = report::THETA_FILE;
    static constexpr const char* PHI = report::PHI_FILE;

    CTemporaryFolder m_folder;
    nlohmann::json m_record;
};

TEST_F(EarlierResults, ThatARunDoesNotWriteAreRemovedAndNamed) {
    { const CResultFiles abandoned(m_folder.Path(), {RESULT}); }
    EXPECT_THAT(m_folder.Entries(), testing::SizeIs(7));
    CResultFiles files(m_folder.Path(), {RESULT, THETA});
    files.Commit();
    EXPECT_THAT(m_folder.Entries(), ElementsAre("notes.txt", "result.json", "run.json", "theta.mha"));
    EXPECT_THAT(files.Removed(), ElementsAre(SUBFIELDS, PROFILES, PHI));
    EXPECT_THAT(files.LeftAlone(), IsEmpty());
    EXPECT_EQ(test::ReadFile(m_folder / "theta.mha"), "");
}

TEST_F(EarlierResults, AreLeftAloneWhenSomethingElseHasTheirNames) {
    test::WriteFile(m_folder / SUBFIELDS, "longer than what was there before");
    std::string sameSize = test::ReadFile(m_folder / PROFILES);
    sameSize.back() = '!';
    test::WriteFile(m_folder / PROFILES, sameSize);
    std::filesystem::rename(m_folder / PHI, m_folder / "moved.mha");
    std::filesystem::create_symlink("moved.mha", m_folder / PHI);
    expect_to_leave_alone({SUBFIELDS, PROFILES, PHI});
    EXPECT_EQ(test::ReadFile(m_folder / PROFILES), sameSize);
}

TEST_F(EarlierResults, AreNotThoseOfAnotherProgram) {
    m_record["program"] = "another";
    write_record();
    expect_refusal(RESULT);
    std::filesystem::remove(m_folder / RESULT);
    expect_refusal("run.json");
}

TEST_F(EarlierResults, AreNotFilesThatTheRecordDoesNotList) {
    m_record["files"] = {SUBFIELDS};
    write_record();
    expect_refusal(RESULT);
    std::filesystem::remove(m_folder / RESULT);
    EXPECT_NO_THROW(CResultFiles(m_folder.Path(), {RESULT, SUBFIELDS}));
}

TEST_F(EarlierResults, AreReplacedWhereARunWasKilledBeforeItsRecordWasInPlace) {
    std::filesystem::rename(m_folder / "run.json", m_folder / ".tevra-0123abcd-run.json");
    CResultFiles files(m_folder.Path(), {RESULT});
    files.Commit();
    EXPECT_EQ(test::ReadFile(m_folder / RESULT), "");
}

TEST_F(EarlierResults, AreLeftAloneWhereTheRecordHasNoSizes) {
    m_record.erase("file_checks");
    write_record();
    expect_to_leave_alone({SUBFIELDS, PROFILES, THETA, PHI});
}

TEST_F(EarlierResults, AreNotLookedForWhereTheRecordIsNone) {
    for (const char* const text :
         {"", "{", "[]", "7", R"({"program":"tevra","files":7})", R"({"program":7,"files":["theta.mha"]})",
          R"({"program":"tevra","files":["theta.mha"],"file_checks":[]})"}) {
        test::WriteFile(m_folder / "run.json", text);
        expect_refusal(RESULT);
    }
    std::filesystem::remove(m_folder / "run.json");
    expect_refusal(RESULT);
    std::filesystem::remove(m_folder / RESULT);
    CResultFiles files(m_folder.Path(), {RESULT});
    files.Commit();
    EXPECT_THAT(files.Removed(), IsEmpty());
    EXPECT_THAT(m_folder.Entries(), testing::SizeIs(7));
}

TEST_F(EarlierResults, DoNotLeadOutOfTheFolder) {
    std::filesystem::create_directory(m_folder / "inner");
    test::WriteFile(m_folder / "victim", "precious");
    const auto check = CheckOf(m_folder / "victim", "");
    m_record["files"] = {"../victim", (m_folder / "victim").string(), "..", "", "inner"};
    for (const std::string name : m_record["files"]) {
        m_record["file_checks"][name] = {{"bytes", check->bytes}, {"checksum", check->checksum}};
    }
    test::WriteFile(m_folder / "inner/run.json", m_record.dump());
    CResultFiles files(m_folder / "inner", {RESULT});
    files.Commit();
    EXPECT_TRUE(std::filesystem::exists(m_folder / "victim"));
    EXPECT_THAT(files.Removed(), IsEmpty());
}

TEST_F(EarlierResults, ThatARunReadsAreNeitherReplacedNorRemoved) {
    const CInputFiles inputs({m_folder / THETA});
    EXPECT_THROW(CResultFiles(m_folder.Path(), {RESULT}, inputs), CWorkError);
    EXPECT_THROW(CResultFiles(m_folder.Path(), {RESULT, THETA}, inputs), CWorkError);
    EXPECT_EQ(test::ReadFile(m_folder / THETA), "earlier theta.mha");
}

TEST(ResultFiles, LeaveFilesOfTheirNamesAloneWhereNoRunRecordIs) {
    const CTemporaryFolder folder;
    test::WriteFile(folder / "phi.mha", "of someone else");
    CResultFiles files(folder.Path(), {report::RESULT_FILE});
    files.Commit();
    EXPECT_THAT(folder.Entries(), ElementsAre("phi.mha", "result.json", "run.json"));
}

TEST(FileChecks, SeeAChangeAnywhereInSmallFilesAndALargeOneEverywhere) {
    const CTemporaryFolder folder;
    std::string bytes(std::size_t{1} << 20, 'a');
    test::WriteFile(folder / "a", bytes);
    const auto whole = CheckOf(folder / "a", "name");
    ASSERT_TRUE(whole);
    EXPECT_EQ(whole->name, "name");
    EXPECT_EQ(whole->bytes, bytes.size());
    EXPECT_EQ(whole->checksumOf, "all bytes");
    bytes[54321] = 'b';
    test::WriteFile(folder / "a", bytes);
    EXPECT_NE(CheckOf(folder / "a", "")->checksum, whole->checksum);

    std::string large(5'000'001, 'a');
    test::WriteFile(folder / "a", large);
    const auto sampled = CheckOf(folder / "a", "");
    EXPECT_EQ(sampled->checksumOf, "64 blocks of 4096 bytes");
    for (std::size_t first = 0; first < large.size(); first += 500'000) { // a tenth of the file
        std::string changed = large;
        std::fill_n(changed.begin() + static_cast<std::ptrdiff_t>(first),
                    std::min<std::size_t>(500'000, changed.size() - first), 'b');
        test::WriteFile(folder / "a", changed);
        if (changed.size() - first > 100'000) {
            EXPECT_NE(CheckOf(folder / "a", "")->checksum, sampled->checksum) << first;
        }
    }
    large.back() = 'b';
    test::WriteFile(folder / "a", large);
    EXPECT_NE(CheckOf(folder / "a", "")->checksum, sampled->checksum);
    EXPECT_FALSE(CheckOf(folder.Path(), ""));
    EXPECT_FALSE(CheckOf(folder / "none", ""));
}

TEST(FileChecks, OfSeveralInputFilesAreThoseOfOneWithAllTheirBytes) {
    const CTemporaryFolder folder;
    const auto path = [&folder](const char* name) { return (folder / name).string(); };
    const std::string first(700'000, 'a');
    const std::string second = std::string(800'000, 'b') + "c";
    test::WriteFile(folder / "first", first);
    test::WriteFile(folder / "none", "");
    test::WriteFile(folder / "second", second);
    test::WriteFile(folder / "whole", first + second);
    const auto whole = CheckOf(folder / "whole", "");
    ASSERT_TRUE(whole);
    const auto parts = CheckOfInput({path("first"), path("none"), path("second")});
    ASSERT_TRUE(parts);
    EXPECT_EQ(parts->bytes, 1'500'001U);
    EXPECT_EQ(parts->checksum, whole->checksum);
    std::filesystem::create_symlink("whole", folder / "link"); // images may be links, results may not
    ASSERT_TRUE(CheckOfInput({path("link")}));
    EXPECT_EQ(CheckOfInput({path("link")})->checksum, whole->checksum);
    EXPECT_FALSE(CheckOf(folder / "link", ""));
    EXPECT_FALSE(CheckOfInput({path("first"), path("missing")}));
    EXPECT_FALSE(CheckOfInput({}));
}

TEST(FileChecks, AreFnv1aOfTheBytes) {
    const CTemporaryFolder folder;
    test::WriteFile(folder / "a", "foobar"); // from the published test vectors of the hash
    EXPECT_EQ(CheckOf(folder / "a", "")->checksum, "85944171f73967e8");
}

} // namespace
} // namespace TEVRA::jobs
