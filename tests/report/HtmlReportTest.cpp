// SPDX-License-Identifier: BSD-3-Clause
#include "report/HtmlReport.h"

#include "report/Json.h"
#include "report/Tables.h"

#include "Axes/DirectionGrid.h"
#include "Subfields/ResultDocument.h"
#include "volume/Deflate.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <random>

namespace TEVRA::report {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

Impl::SFieldResult some_field(std::mt19937& random, std::size_t dim) {
    std::uniform_real_distribution<double> share(0.0, 1.0);
    Impl::STensor2 tensor;
    tensor.dim = dim;
    for (std::size_t i = 0; i < dim; ++i) {
        for (std::size_t j = i; j < dim; ++j) {
            tensor(i, j) = tensor(j, i) = i == j ? 1.0 + share(random) : 0.3 * share(random);
        }
    }
    Impl::SFieldResult field;
    field.values = Impl::EvaluateTensor(tensor, 3, {});
    field.pixels = 1000;
    field.foregroundPixels = 321;
    field.foregroundFraction = 0.321;
    field.differenceRad = share(random);
    return field;
}

/// A result with so many subfields in a row along x.
Impl::SAnalysisResult some_result(int dim, long long subfields) {
    std::mt19937 random(7);
    Impl::SAnalysisResult result;
    result.dim = dim;
    result.field = some_field(random, static_cast<std::size_t>(dim));
    result.field.box = CBox(2, 2, 2, 1000, 12, 12);
    result.threshold = 12.5;
    result.smoothedHistogram = {0.0, 100.0, std::vector<unsigned long long>(1000, 3)};
    if (subfields > 0) {
        result.subfieldSize = 10.0;
        for (long long at = 0; at < subfields; ++at) {
            Impl::SFieldResult field = some_field(random, static_cast<std::size_t>(dim));
            field.box = CBox(10 * at, 0, 0, 10 * at + 10, 10, 10);
            field.identifier = Impl::CSubfieldLayout::Identifier({10 * at, 0, 0}, dim, 5);
            result.subfields.push_back(field);
        }
        result.profiles = Impl::AveragedProfiles(result);
    }
    return result;
}

SRunRecord some_record(int dim) {
    SRunRecord record;
    record.version = "1.2.3";
    record.startTime = "2030-01-02T03:04:05Z";
    record.input.path = "scan.tif";
    record.input.sizePx = std::vector<long long>(static_cast<std::size_t>(dim), 128);
    record.input.lengthUnit = "mm";
    record.parameters.request.lengthUnit = "mm";
    record.parameters.request.fiberRadius = 3.0;
    record.parameters.threads = 17;
    record.foreground = {12.5, 321, 1000};
    record.files = {"result.json", "report.html"};
    return record;
}

/// The largest pictures that an image gives: noise, which no packing makes smaller.
SPictureData worst_pictures(long long pixels) {
    std::mt19937 random(3);
    const auto noise = [&] {
        std::vector<std::uint8_t> bytes(static_cast<std::size_t>(pixels));
        for (std::uint8_t& byte : bytes) {
            byte = static_cast<std::uint8_t>(random());
        }
        return bytes;
    };
    SPictureData pictures;
    pictures.directions.assign(Impl::CDirectionGrid::CELLS, 2);
    SSection section;
    section.size = {pixels, 1};
    section.grey = noise();
    section.color = {noise(), noise(), noise()};
    section.coverage = noise();
    section.confidence = noise();
    pictures.sections.sections.push_back(section);
    pictures.density = DensityOfDirections(pictures.directions);
    Impl::CTasksInTurn runner;
    pictures.packedSections = PackedSections(pictures.sections, volume::DeflatedNoise, runner);
    return pictures;
}

TEST(HtmlReport, HasTheNumbersOfTheResultDocument) {
    for (const int dim : {2, 3}) {
        const Impl::SAnalysisResult result = some_result(dim, 0);
        const json report = json::parse(ReportJson(result, some_record(dim), nullptr));
        json field;
        {
            const json document =
                json::parse(ResultJson(*Impl::FieldMap(result.field.values, result.field.status)));
            field = document;
        }
        EXPECT_EQ(report["field"]["a_xx"], field["Orientation tensor"]["xx"]);
        EXPECT_EQ(report["field"]["a_xy"], field["Orientation tensor"]["xy"]);
        EXPECT_EQ(report["field"]["lambda_1"], field["Eigenvalues of the orientation tensor"]["0"]);
        EXPECT_EQ(report["field"]["mean_y"], field["Mean fiber direction"]["y"]);
        EXPECT_EQ(report["field"]["anisotropy"], field["Anisotropy value"]);
        EXPECT_EQ(report["field"]["status"], field["Status"]);
        EXPECT_EQ(report["field"].contains("a_zz"), dim == 3);
    }
}

TEST(HtmlReport, HoldsTheTablesAsTheirFilesHaveThem) {
    const Impl::SAnalysisResult result = some_result(3, 20);
    const json report = json::parse(ReportJson(result, some_record(3), nullptr));
    EXPECT_EQ(report["subfields"]["csv"], SubfieldsCsv(result, "mm", std::nullopt));
    EXPECT_EQ(report["profiles"]["csv"], ProfilesCsv(result, "mm", std::nullopt));
    EXPECT_EQ(report["subfields"]["count"], 20);
}

TEST(HtmlReport, LeavesOutTablesThatAreTooLongButSaysHowLong) {
    const auto many = static_cast<long long>(MOST_REPORTED_ROWS) + 1;
    const json report = json::parse(ReportJson(some_result(3, many), some_record(3), nullptr));
    EXPECT_EQ(report["subfields"]["count"], many);
    EXPECT_TRUE(report["subfields"]["csv"].is_null());
    EXPECT_TRUE(report["profiles"]["csv"].is_null());
}

TEST(HtmlReport, DoesNotDependOnHowTheRunWasDone) {
    SRunRecord record = some_record(3);
    const Impl::SAnalysisResult result = some_result(3, 2);
    const std::string text = ReportJson(result, record, nullptr);
    record.startTime = "2031-01-02T03:04:05Z";
    record.parameters.threads = 3;
    record.parameters.processes = 4;
    record.memory.allowedBytes = 5;
    record.passes = {{"slices", 3.0}};
    record.idleSeconds = {1.0, 2.0};
    record.analyzeSeconds = 10.0;
    EXPECT_EQ(ReportJson(result, record, nullptr), text);
}

TEST(HtmlReport, JoinsBinsOfTheHistogram) {
    const json report = json::parse(ReportJson(some_result(3, 0), some_record(3), nullptr));
    EXPECT_EQ(report["histogram"]["counts"].size(), 250U);
    EXPECT_EQ(report["histogram"]["counts"][0], 12);
    EXPECT_DOUBLE_EQ(report["histogram"]["bin_width"].get<double>(), 0.4);
}

TEST(HtmlReport, KeepsDataFromEndingTheirElement) {
    SRunRecord record = some_record(3);
    record.input.path = "</script><script>alert(1)</script><!-- & \xFF";
    const std::string text = ForScriptElement(ReportJson(some_result(3, 0), record, nullptr));
    EXPECT_THAT(text, Not(HasSubstr("<")));
    EXPECT_THAT(text, Not(HasSubstr(">")));
    EXPECT_THAT(text, Not(HasSubstr("&")));
    EXPECT_EQ(json::parse(text)["record"]["input"]["path"],
              "</script><script>alert(1)</script><!-- & \xEF\xBF\xBD"); // no UTF-8: replaced
}

TEST(HtmlReport, IsOnePageThatFetchesNothing) {
    if (!HasReportPage()) {
        GTEST_SKIP() << "this build has no page of reports: Node.js was missing";
    }
    const std::string page = HtmlReport(some_result(3, 5), some_record(3), nullptr);
    EXPECT_NE(page.find("default-src 'none'"), std::string::npos);
    const std::string head = page.substr(0, page.find("<style>"));
    EXPECT_LT(head.size(), 4000U);
    for (const char* const word : {"http:", "https:", "src=", "@import"}) {
        EXPECT_EQ(head.find(word), std::string::npos) << word;
    }
    EXPECT_EQ(page.find("__TEVRA_DATA__"), std::string::npos);
    EXPECT_NE(page.find("\"format\":1"), std::string::npos);
}

TEST(HtmlReport, OfAThousandSubfieldsAndTheWorstImageStaysBelowSixMegabytes) {
    if (!HasReportPage()) {
        GTEST_SKIP() << "this build has no page of reports: Node.js was missing";
    }
    constexpr long long MOST_PIXELS = 450000; // of a 3D image, with six bytes each
    const SPictureData pictures = worst_pictures(MOST_PIXELS);
    const std::string page = HtmlReport(some_result(3, 1000), some_record(3), &pictures);
    EXPECT_LT(page.size(), 6'000'000U);
    EXPECT_GT(page.size(), 4'000'000U) << "the pictures are not those of the worst case";
}

} // namespace
} // namespace TEVRA::report
