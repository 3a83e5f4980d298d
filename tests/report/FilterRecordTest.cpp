// SPDX-License-Identifier: BSD-3-Clause
#include "report/FilterRecord.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace TEVRA::report {
namespace {

using nlohmann::json;

SFilterRecord make_record() {
    SFilterRecord record;
    record.version = "1.2.3";
    record.startTime = "2030-01-02T03:04:05Z";
    record.input.path = "scan.tif";
    record.input.format = "TIFF";
    record.input.sizePx = {128, 64};
    record.input.storedType = "16-bit signed integer";
    record.parameters = {.majorWidth = 12.5,
                         .minorWidth = 5.0,
                         .resolution = "medium",
                         .boxPx = SPixelBox{{0, 1}, {100, 64}},
                         .rimPx = {4},
                         .maskPath = "mask.mha",
                         .threads = 3};
    record.directions = 50;
    record.background = {-1000.0, "mask"};
    record.foreground = {.threshold = -800.5, .pixels = 2048, .ofPixels = 8192};
    record.evaluated = {.boxPx = {{4, 4}, {100, 60}}, .rimPx = {4, 4}, .pixels = 1000};
    record.transform = {25, {178, 114}};
    record.memory = {1000, 900};
    record.seconds = {0.25, 2.0, 2.5};
    record.files = {"index.mha"};
    return record;
}

TEST(FilterRecord, HoldsWhatWasRunOnWhat) {
    const json written = json::parse(RunJson(make_record()));
    EXPECT_EQ(written["program"], "tevra");
    EXPECT_EQ(written["version"], "1.2.3");
    EXPECT_EQ(written["command"], "filter");
    EXPECT_EQ(written["start_time"], "2030-01-02T03:04:05Z");
    EXPECT_EQ(written["input"]["path"], "scan.tif");
    EXPECT_EQ(written["parameters"], json::parse(R"({
        "major_width_px": 12.5, "minor_width_px": 5.0, "resolution": "medium", "directions": 50,
        "box": {"lower_corner_px": [0, 1], "upper_corner_px": [100, 64]}, "rim_px": [4], "mask": "mask.mha",
        "threads": 3})"));
    EXPECT_EQ(written["background"], json::parse(R"({"level": -1000.0, "source": "mask"})"));
    EXPECT_EQ(written["foreground"], json::parse(R"({"threshold": -800.5, "pixels": 2048, "share": 0.25})"));
    EXPECT_EQ(written["evaluated"], json::parse(R"({
        "lower_corner_px": [4, 4], "upper_corner_px": [100, 60], "rim_px": [4, 4], "pixels": 1000})"));
    EXPECT_EQ(written["transform"], json::parse(R"({"frame_px": 25, "size_px": [178, 114]})"));
    EXPECT_EQ(written["memory"], json::parse(R"({"allowed_bytes": 1000, "expected_bytes": 900})"));
    EXPECT_EQ(written["seconds"], json::parse(R"({"read": 0.25, "filter": 2.0, "total": 2.5})"));
    EXPECT_EQ(written["files"], json({"index.mha"}));
}

TEST(FilterRecord, WhatWasNotAskedForIsNull) {
    SFilterRecord record = make_record();
    record.parameters.boxPx.reset();
    record.parameters.rimPx.clear();
    record.parameters.maskPath.reset();
    record.foreground.threshold.reset();
    const json written = json::parse(RunJson(record));
    EXPECT_TRUE(written["parameters"]["box"].is_null());
    EXPECT_TRUE(written["parameters"]["rim_px"].is_null());
    EXPECT_TRUE(written["parameters"]["mask"].is_null());
    EXPECT_TRUE(written["foreground"]["threshold"].is_null());
}

TEST(TensorJson, NamesCornersComponentsAndEigenvalues) {
    const SBoxTensor plane{
        .boxPx = {{1, 2}, {3, 4}}, .pixels = 4, .components = {0.75, 0.125, 0.25}, .eigenvalues = {0.8, 0.2}};
    EXPECT_EQ(json::parse(TensorJson(plane)), json::parse(R"({
        "lower_corner_px": [1, 2], "upper_corner_px": [3, 4], "pixels": 4, "a_xx": 0.75, "a_xy": 0.125,
        "a_yy": 0.25, "lambda_1": 0.8, "lambda_2": 0.2})"));
    const SBoxTensor empty{
        .boxPx = {{0, 0, 0}, {1, 1, 1}}, .components = {0, 0, 0, 0, 0, 0}, .eigenvalues = {}};
    const json written = json::parse(TensorJson(empty));
    EXPECT_TRUE(written.contains("a_zz"));
    EXPECT_FALSE(written.contains("lambda_1"));
}

TEST(HistogramJson, HoldsDirectionsUnderTheirNumbers) {
    const std::vector<SDirectionCount> directions = {{{0.0, 1.0}, 5}, {{1.0, 0.0}, 3000000000}};
    EXPECT_EQ(json::parse(HistogramJson(directions)),
              json::parse(R"({"0": [0.0, 1.0, 5], "1": [1.0, 0.0, 3000000000]})"));
}

} // namespace
} // namespace TEVRA::report
