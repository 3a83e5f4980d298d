// SPDX-License-Identifier: BSD-3-Clause
#include "report/Outputs.h"
#include "report/HtmlReport.h"

#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <span>
#include <string>
#include <vector>

namespace TEVRA::report {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

std::vector<std::string> wanted(const SOutputWishes& wishes) {
    std::vector<std::string> files;
    for (const SOutput& output : Outputs()) {
        if (IsWanted(output, wishes)) {
            files.push_back(FileName(output, wishes));
        }
    }
    return files;
}

TEST(Outputs, AreThoseThatTheRunAsksFor) {
    EXPECT_THAT(wanted({.dim = 3}), ElementsAre("result.json", "run.json"));
    EXPECT_THAT(wanted({.dim = 3, .subfields = true}),
                ElementsAre("result.json", "subfields.csv", "profiles.csv", "run.json"));
    EXPECT_THAT(wanted({.dim = 2, .maps = true}), ElementsAre("result.json", "theta.mha", "run.json"));
    EXPECT_THAT(wanted({.dim = 3, .maps = true}),
                ElementsAre("result.json", "theta.mha", "phi.mha", "run.json"));
    EXPECT_THAT(wanted({.dim = 3, .confidence = true, .vectors = true, .colors = true, .mapEnding = "tif"}),
                ElementsAre("result.json", "axes.tif", "confidence.tif", "rgb.tif", "run.json"));
    EXPECT_THAT(wanted({.dim = 3, .confidence = true, .colors = true}),
                ElementsAre("result.json", "rgb.mha", "run.json"));
    EXPECT_THAT(wanted({.dim = 3, .fourthOrder = true}), ElementsAre("result.json", "run.json"));
    EXPECT_THAT(wanted({.dim = 3, .subfields = true, .fourthOrder = true}),
                ElementsAre("result.json", "subfields.csv", "profiles.csv", "subfields_a4.csv", "run.json"));
    EXPECT_THAT(wanted({.dim = 3, .exports = {"vtk", "voigt"}}),
                ElementsAre("result.json", "tensors_voigt.csv", "fields.vtu", "run.json"));
    EXPECT_THAT(wanted({.dim = 3, .maps = true, .confidence = true}),
                ElementsAre("result.json", "theta.mha", "phi.mha", "confidence.mha", "run.json"));
    EXPECT_THAT(wanted({.dim = 2, .confidence = true}), ElementsAre("result.json", "run.json"));
}

TEST(Outputs, HoldAReportWhereThisBuildHasItsPage) {
    const std::vector<std::string> files = wanted({.dim = 3, .report = true});
    EXPECT_EQ(files.size(), HasReportPage() ? 3U : 2U);
    EXPECT_EQ(std::count(files.begin(), files.end(), "report.html"), HasReportPage() ? 1 : 0);
}

TEST(Outputs, HaveNamesOfTheirOwnAndTheRunRecordIsTheLast) {
    for (const std::span<const SOutput> outputs : {Outputs(), FilterOutputs()}) {
        std::set<std::string> names;
        for (const SOutput& output : outputs) {
            EXPECT_TRUE(names.insert(output.file).second) << output.file;
            EXPECT_STRNE(output.content, "") << output.file;
        }
        EXPECT_STREQ(outputs.back().file, RUN_RECORD_FILE);
    }
}

TEST(Outputs, StandInTheDocumentation) {
    const std::string page = test::ReadFile(TEVRA_COMMAND_LINE_PAGE);
    for (const std::span<const SOutput> outputs : {Outputs(), FilterOutputs()}) {
        for (const SOutput& output : outputs) {
            EXPECT_THAT(page, HasSubstr("`" + std::string(output.file) + "`"));
        }
    }
}

} // namespace
} // namespace TEVRA::report
