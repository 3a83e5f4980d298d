// SPDX-License-Identifier: BSD-3-Clause
#include "report/RunRecord.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <optional>
#include <utility>
#include <vector>

namespace TEVRA::report {
namespace {

using nlohmann::json;

SRunRecord make_record() {
    SRunRecord record;
    record.version = "1.2.3";
    record.startTime = "2030-01-02T03:04:05Z";
    record.input.path = "scan.tif";
    record.input.format = "TIFF";
    record.input.sizePx = {128, 64, 32};
    record.input.check = {"", 524288, "af63bd4c8601b7be", "64 blocks of 4096 bytes"};
    record.input.storedType = "16-bit unsigned integer";
    record.input.spacing = {0.5, 0.5, 0.5};
    record.input.lengthUnit = "mm";
    record.input.spacingOrigin = ESpacingOrigin::header;
    record.input.greyWindow = {100.0, 4000.0};
    record.parameters.request.fiberRadius = 3.0;
    record.parameters.request.spacing = {0.5, 0.5, 0.5};
    record.parameters.request.otsuFactor = 1.25;
    record.parameters.request.estimator = "line-voting";
    record.parameters.request.border = 6.0;
    record.parameters.borderPx = {12, 12, 12};
    record.parameters.scales = {{"sigma", 1.5}, {"along", 3.0}};
    record.parameters.request.subfieldPx = {30, 20, 10};
    record.parameters.beyondSubfieldsPx = {8, 0, 2};
    record.parameters.reference = {0.0, 0.6, 0.8};
    record.parameters.threads = 4;
    record.parameters.summary = "otsufactor=1.25,fiberradius=3,";
    record.foreground.threshold = 97.5;
    record.foreground.pixels = 65536;
    record.foreground.ofPixels = 262144;
    record.confidence = {0.75, 0.25, 0.5, "006"};
    record.warnings = {{"broken-spacing", std::nullopt, "the spacing is none"},
                       {"tiny-foreground", 0.01, "only 1 % of the image counts as fiber"}};
    record.parameters.processes = 2;
    record.maps = {"npy", "deg", 2, {64, 32, 16}, {1.0, 1.0, 1.0}, {0.25, 0.25, 0.25}, -1.0, -181.0};
    record.memory = {1000, 900, 800, "file"};
    record.passes = {{"slices", 0.25}, {"columns", 0.5}};
    record.analyzeSeconds = 2.0;
    record.totalSeconds = 2.5;
    record.files = {"result.json"};
    record.fileChecks = {{"result.json", 5000000000, "85944171f73967e8"}};
    return record;
}

TEST(RunRecord, HoldsWhatWasRunOnWhat) {
    const json expected = json::parse(R"({
        "program": "tevra", "version": "1.2.3", "command": "analyze", "start_time": "2030-01-02T03:04:05Z",
        "input": {"path": "scan.tif", "bytes": 524288, "checksum": "af63bd4c8601b7be", "checksum_of": "64 blocks of 4096 bytes", "format": "TIFF", "size_px": [128, 64, 32],
                  "pixel_type": "16-bit unsigned integer", "spacing": [0.5, 0.5, 0.5], "length_unit": "mm",
                  "spacing_origin": "header", "converted_to_8_bit": true, "grey_window": [100.0, 4000.0],
                  "nan_pixels": 0, "infinite_pixels": 0},
        "parameters": {"fiber_radius": 3.0, "fiber_radius_px": 6.0, "estimator": "line-voting", "scales": {"sigma": 1.5, "along": 3.0}, "border": 6.0, "border_px": [12, 12, 12], "otsu_factor": 1.25,
                       "threshold": null, "dark_fibers": false, "mask": null,
                       "subfield_px": [30, 20, 10], "subfield_count": null,
                       "beyond_subfields_px": [8, 0, 2], "reference": [0.0, 0.6, 0.8], "fourth_order": false, "threads": 4,
                       "processes": 2, "summary": "otsufactor=1.25,fiberradius=3,"},
        "foreground": {"threshold": 97.5, "pixels": 65536, "share": 0.25, "plausibility": "plausible"},
        "confidence": {"mean": 0.75, "doubtful_fraction": 0.25,
                       "lowest_subfield": {"id": "006", "mean": 0.5}},
        "warnings": [{"kind": "broken-spacing", "value": null, "text": "the spacing is none"},
                     {"kind": "tiny-foreground", "value": 0.01,
                      "text": "only 1 % of the image counts as fiber"}],
        "maps": {"format": "npy", "angle_unit": "deg", "stride": 2, "size_px": [64, 32, 16],
                 "spacing": [1.0, 1.0, 1.0], "length_unit": "mm", "first_centre": [0.25, 0.25, 0.25],
                 "no_colatitude": -1.0, "no_angle": -181.0},
        "memory": {"allowed_bytes": 1000, "expected_bytes": 900, "scratch_bytes": 800,
                   "scratch_place": "file"},
        "seconds": {"slices": 0.25, "columns": 0.5, "analyze": 2.0, "total": 2.5},
        "files": ["result.json"],
        "file_checks": {"result.json": {"bytes": 5000000000, "checksum": "85944171f73967e8"}}})");
    EXPECT_EQ(json::parse(RunJson(make_record())), expected);
}

TEST(RunRecord, WhatIsNotThereIsNull) {
    SRunRecord record = make_record();
    record.input.spacing.reset();
    record.input.check.reset();
    record.maps.reset();
    record.parameters.reference.reset();
    record.input.lengthUnit = "";
    record.input.spacingOrigin = ESpacingOrigin::none;
    record.input.greyWindow.reset();
    record.parameters.request.subfieldPx = {-1, -1, -1};
    record.foreground.threshold.reset();
    record.confidence.reset();
    const json written = json::parse(RunJson(record));
    EXPECT_TRUE(written["input"]["spacing"].is_null());
    EXPECT_TRUE(written["input"]["checksum"].is_null());
    EXPECT_TRUE(written["maps"].is_null());
    EXPECT_TRUE(written["parameters"]["reference"].is_null());
    EXPECT_TRUE(written["input"]["length_unit"].is_null());
    EXPECT_EQ(written["input"]["spacing_origin"], "none");
    EXPECT_EQ(written["input"]["converted_to_8_bit"], false);
    EXPECT_TRUE(written["input"]["grey_window"].is_null());
    EXPECT_TRUE(written["parameters"]["subfield_px"].is_null());
    EXPECT_TRUE(written["foreground"]["threshold"].is_null());
    EXPECT_TRUE(written["confidence"].is_null());
}

TEST(RunRecord, NamesTheSubfieldWhoseAxesAreLeastSure) {
    Impl::SAnalysisResult result;
    EXPECT_FALSE(ConfidenceOf(result)) << "of an estimator that does not know";
    result.field.meanConfidence = 0.5;
    EXPECT_EQ(ConfidenceOf(result)->lowestSubfieldMean, std::nullopt);
    for (const auto& [id, mean] : std::vector<std::pair<const char*, std::optional<double>>>{
             {"a", 0.75}, {"b", std::nullopt}, {"c", 0.25}, {"d", 1.0}, {"e", 0.25}}) {
        Impl::SFieldResult subfield;
        subfield.identifier = id;
        subfield.meanConfidence = mean;
        result.subfields.push_back(subfield);
    }
    result.field.doubtfulFraction = 0.125;
    const auto confidence = ConfidenceOf(result);
    EXPECT_EQ(confidence->mean, 0.5);
    EXPECT_EQ(confidence->doubtfulFraction, 0.125);
    EXPECT_EQ(confidence->lowestSubfieldMean, 0.25);
    EXPECT_EQ(confidence->lowestSubfield, "c") << "the first of equal ones";
}

TEST(RunRecord, AMaskTakesThePlaceOfTheOtsuFactor) {
    SRunRecord record = make_record();
    record.parameters.maskPath = "mask.mha";
    record.parameters.request.otsuFactor.reset();
    const json written = json::parse(RunJson(record));
    EXPECT_EQ(written["parameters"]["mask"], "mask.mha");
    EXPECT_TRUE(written["parameters"]["otsu_factor"].is_null());
}

TEST(RunRecord, AThresholdTakesThePlaceOfTheOtsuFactor) {
    SRunRecord record = make_record();
    record.parameters.request.threshold = 90.0;
    record.parameters.request.otsuFactor.reset();
    record.parameters.request.contrast = Impl::EFiberContrast::dark;
    const json written = json::parse(RunJson(record));
    EXPECT_EQ(written["parameters"]["threshold"], 90.0);
    EXPECT_EQ(written["parameters"]["dark_fibers"], true);
    EXPECT_TRUE(written["parameters"]["otsu_factor"].is_null());
}

TEST(RunRecord, ACountTakesThePlaceOfTheSizeOfSubfields) {
    SRunRecord record = make_record();
    record.input.sizePx = {128, 64};
    record.parameters.request.subfieldPx = {-1, -1, -1};
    record.parameters.request.subfieldCount = {3, 2, -1};
    const json written = json::parse(RunJson(record));
    EXPECT_EQ(written["parameters"]["subfield_count"], json({3, 2}));
    EXPECT_TRUE(written["parameters"]["subfield_px"].is_null());
}

TEST(RunRecord, DoubtsTinyAndHugeForegroundsOfAThreshold) {
    SRunForeground foreground{90.0, 29, 1000};
    EXPECT_EQ(ForegroundShare(foreground), EForegroundShare::tiny);
    foreground.pixels = 30;
    EXPECT_EQ(ForegroundShare(foreground), EForegroundShare::plausible);
    foreground.pixels = 900;
    EXPECT_EQ(ForegroundShare(foreground), EForegroundShare::plausible);
    foreground.pixels = 901;
    EXPECT_EQ(ForegroundShare(foreground), EForegroundShare::huge);
    foreground.threshold.reset(); // a mask is what its maker wanted
    EXPECT_EQ(ForegroundShare(foreground), EForegroundShare::plausible);
}

TEST(RunRecord, SpacingHasOneNumberPerAxis) {
    SRunRecord record = make_record();
    record.input.sizePx = {128, 64};
    EXPECT_EQ(json::parse(RunJson(record))["input"]["spacing"], json({0.5, 0.5}));
}

} // namespace
} // namespace TEVRA::report
