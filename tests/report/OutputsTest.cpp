// SPDX-License-Identifier: BSD-3-Clause
#include "report/Outputs.h"
#include "report/HtmlReport.h"
#include "report/Tables.h"

#include "support/RecordingMonitor.h"
#include "support/TemporaryFolder.h"

#include "VexoBase/Cancellation.h"
#include "VexoBase/ProgressMonitor.h"

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

/// Results of many subfields that differ in their places only.
Impl::SAnalysisResult result_of_subfields(long long count) {
    Impl::SAnalysisResult result;
    result.dim = 3;
    result.subfieldSize = 8.0;
    result.field.values.tensor.dim = 3;
    result.field.values.tensor4 = Impl::STensor4(3);
    for (long long i = 0; i < count; ++i) {
        Impl::SFieldResult subfield;
        subfield.values = result.field.values;
        subfield.box = CBox(8 * i, 0, 0, 8 * i + 8, 8, 8);
        subfield.identifier = "(" + std::to_string(8 * i) + ",0,0)";
        result.subfields.push_back(subfield);
    }
    return result;
}

TEST(Outputs, OfManySubfieldsAskOnTheWayWhetherToGoOn) {
    constexpr int TIMES = 2;
    const Impl::SAnalysisResult result = result_of_subfields(TIMES * FIELDS_BETWEEN_POLLS);
    const SRunRecord record;
    int checked = 0;
    for (const SOutput& output : Outputs()) {
        const SOutputWishes all{.subfields = true, .fourthOrder = true, .exports = ExportNames()};
        const bool isOfSlices = output.file == std::string(PROFILES_FILE); // of which there are few
        if (output.text == nullptr || !IsWanted(output, all) || isOfSlices ||
            output.file == std::string(RUN_RECORD_FILE)) {
            continue;
        }
        ++checked;
        test::CRecordingMonitor whole;
        {
            const CProgressMonitorScope scope(whole);
            EXPECT_NE(output.text({result, record}), "");
        }
        EXPECT_GE(whole.polls, TIMES) << output.file;
        for (const int poll : {1, (whole.polls + 1) / 2, whole.polls}) {
            test::CRecordingMonitor monitor;
            monitor.cancelFromPoll = poll;
            const CProgressMonitorScope scope(monitor);
            EXPECT_THROW(output.text({result, record}), CCancelled) << output.file << ", poll " << poll;
        }
    }
    EXPECT_EQ(checked, 8); // result.json, subfields.csv, subfields_a4.csv and five exports
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
