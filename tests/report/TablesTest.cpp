// SPDX-License-Identifier: BSD-3-Clause
#include "report/Tables.h"

#include "report/Csv.h"
#include "report/TensorExports.h"

#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

namespace TEVRA::report {
namespace {

using Impl::SAnalysisResult;
using Impl::SFieldResult;
using Impl::SProfileSlice;
using Impl::STensorValues;
using testing::ElementsAre;

/// Values whose numbers only need to be told apart.
STensorValues make_values(std::size_t dim, double offset) {
    STensorValues values;
    values.tensor.dim = dim;
    double number = offset;
    for (std::size_t i = 0; i < dim; ++i) {
        for (std::size_t j = 0; j < dim; ++j) {
            values.tensor(i, j) = number++;
        }
    }
    for (std::size_t i = 0; i < dim; ++i) {
        values.eigenvalues[i] = number++;
    }
    for (std::size_t i = 0; i < dim; ++i) {
        values.meanDirection[i] = number++;
    }
    values.anisotropy = 0.25;
    return values;
}

SFieldResult make_subfield(int dim, double offset, long corner, long size) {
    SFieldResult subfield;
    subfield.identifier =
        dim == 3 ? "(5,5,5)" : "(" + std::to_string(corner) + "," + std::to_string(corner) + ")";
    subfield.box = CBox(corner, corner, corner, corner + size, corner + size, corner + size);
    subfield.values = make_values(static_cast<std::size_t>(dim), offset);
    subfield.foregroundPixels = 7;
    subfield.foregroundFraction = 0.5;
    subfield.differenceRad = 0.5;
    return subfield;
}

SProfileSlice make_slice(std::size_t dim, long long slicePx, double position, long long subfields) {
    SProfileSlice slice;
    slice.slicePx = slicePx;
    slice.position = position;
    slice.subfields = subfields;
    slice.values = make_values(dim, 100.0);
    slice.differenceRad = 0.125;
    return slice;
}

SAnalysisResult make_result(int dim) {
    SAnalysisResult result;
    result.dim = dim;
    result.subfieldSize = 100.0;
    result.parameters.spacing = {0.5, 0.5, dim == 3 ? 0.5 : 1.0};
    result.field.values = make_values(static_cast<std::size_t>(dim), 0.0);
    return result;
}

std::vector<std::string> lines_of(const std::string& table) {
    std::vector<std::string> lines;
    std::istringstream text(table);
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line);
    }
    return lines;
}

TEST(SubfieldsCsv, IsEmptyWithoutSubfields) {
    SAnalysisResult result = make_result(2);
    result.subfieldSize.reset();
    EXPECT_EQ(SubfieldsCsv(result, "mm"), "");
}

TEST(SubfieldsCsv, HasOneRowPerSubfieldInOrder2d) {
    SAnalysisResult result = make_result(2);
    result.subfields = {make_subfield(2, 1.0, 5, 100), make_subfield(2, 21.0, 105, 100)};
    result.subfields.front().identifier = "(005,105)";
    result.subfields.front().meanConfidence = 0.875;
    result.subfields.front().doubtfulFraction = 0.125;
    EXPECT_THAT(
        lines_of(SubfieldsCsv(result, "mm")),
        ElementsAre("id,x0_px,y0_px,x1_px,y1_px,center_x_mm,center_y_mm,foreground_pixels,foreground_"
                    "fraction,mean_confidence,doubtful_fraction,status,a_xx,a_xy,a_yy,lambda_1,lambda_2,mean_"
                    "x,mean_y,"
                    "anisotropy,difference_rad",
                    "s005_105,5,5,105,105,27.5,27.5,7,0.5,0.875,0.125,ok,1,2,4,5,6,7,8,0.25,0.5",
                    "s105_105,105,105,205,205,77.5,77.5,7,0.5,,,ok,21,22,24,25,26,27,28,0.25,0.5"));
}

TEST(SubfieldsCsv, HasTheColumnsOfZIn3d) {
    SAnalysisResult result = make_result(3);
    result.subfields = {make_subfield(3, 1.0, 5, 2)};
    result.subfields.front().values.eigenvalues = {8.0, 4.0, 2.0}; // each the double of the next one
    EXPECT_THAT(lines_of(SubfieldsCsv(result, "mm")),
                ElementsAre("id,x0_px,y0_px,z0_px,x1_px,y1_px,z1_px,center_x_mm,center_y_mm,center_z_mm,"
                            "foreground_pixels,foreground_fraction,mean_confidence,doubtful_fraction,"
                            "status,a_xx,a_xy,a_xz,a_yy,a_yz,a_zz,"
                            "lambda_1,lambda_2,lambda_3,mean_x,mean_y,mean_z,anisotropy,difference_rad,"
                            "woodcock_shape,woodcock_strength",
                            "s5_5_5,5,5,5,7,7,7,3,3,3,7,0.5,,,ok,1,2,3,5,6,9,8,4,2,13,14,15,0.25,0.5,1," +
                                CellText(std::log(4.0))));
}

TEST(SubfieldsCsv, MeasuresTheAngleToAReferenceInDegrees) {
    SAnalysisResult result = make_result(2);
    result.subfields = {make_subfield(2, 1.0, 5, 2), make_subfield(2, 1.0, 5, 2)};
    result.subfields[0].values.meanDirection = {0.0, -1.0, 0.0}; // as an axis the same as (0, 1)
    result.subfields[1].values.meanDirection = {1.0, 0.0, 0.0};
    const std::vector<std::string> lines = lines_of(SubfieldsCsv(result, "mm", {{0.0, 1.0, 0.0}}));
    EXPECT_TRUE(lines[0].ends_with(",difference_rad,reference_angle_deg"));
    EXPECT_TRUE(lines[1].ends_with(",0.5,0"));
    EXPECT_TRUE(lines[2].ends_with(",0.5,90"));
}

TEST(SubfieldsCsv, StatesInfiniteStrengthWhereAllFibersAreParallel) {
    SAnalysisResult result = make_result(3);
    result.subfields = {make_subfield(3, 1.0, 5, 2)};
    result.subfields.front().values.eigenvalues = {1.0, 0.0, 0.0};
    EXPECT_TRUE(lines_of(SubfieldsCsv(result, "mm"))[1].ends_with(",0.5,NaN,Inf"));
}

TEST(FourthOrderCsv, HasTheIndependentComponents) {
    SAnalysisResult result = make_result(2);
    result.field.values.tensor4 = Impl::STensor4(2);
    SFieldResult subfield = make_subfield(2, 1.0, 5, 2);
    subfield.values.tensor4 = Impl::STensor4(2);
    subfield.values.tensor4(0, 0, 0, 0) = 0.75;
    subfield.values.tensor4(0, 0, 0, 1) = -0.5;
    subfield.values.tensor4(1, 1, 1, 1) = 0.125;
    result.subfields = {subfield};
    EXPECT_THAT(lines_of(FourthOrderCsv(result)),
                ElementsAre("id,a_xxxx,a_xxxy,a_xxyy,a_xyyy,a_yyyy", "s5_5,0.75,-0.5,0,0,0.125"));
    EXPECT_THAT(SubfieldsCsv(result, "mm"), testing::Not(testing::HasSubstr("a_xxxx")));
}

TEST(SubfieldsCsv, QuotesTextsWithCommas) {
    SAnalysisResult result = make_result(2);
    result.subfields = {make_subfield(2, 1.0, 5, 2)};
    result.subfields.front().status = Impl::EFieldStatus::lowFraction;
    EXPECT_THAT(SubfieldsCsv(result, "mm"),
                testing::HasSubstr(",\"Low fiber volume fraction, results may be inaccurate.\",1,2,"));
}

TEST(SubfieldsCsv, WritesNumbersThatReadBackAndNamesThoseThatAreNone) {
    SAnalysisResult result = make_result(2);
    SFieldResult subfield = make_subfield(2, 1.0, 5, 2);
    subfield.values.anisotropy = 0.1 + 0.2;
    subfield.values.meanDirection = {std::numeric_limits<double>::quiet_NaN(),
                                     -std::numeric_limits<double>::infinity(), 0.0};
    result.subfields = {subfield};
    EXPECT_TRUE(lines_of(SubfieldsCsv(result, "mm"))[1].ends_with(",NaN,-Inf,0.30000000000000004,0.5"));
}

TEST(SubfieldsCsv, LeavesTheValuesOfSubfieldsWithoutForegroundEmpty) {
    SAnalysisResult result = make_result(2);
    SFieldResult empty = make_subfield(2, 1.0, 5, 2);
    empty.foregroundPixels = 0;
    empty.foregroundFraction = 0.0;
    empty.status = Impl::EFieldStatus::noForeground;
    result.subfields = {empty};
    EXPECT_EQ(lines_of(SubfieldsCsv(result, "mm"))[1],
              "s5_5,5,5,7,7,3,3,0,0,,,No foreground pixels in this subfield.,,,,,,,,,");
}

TEST(SubfieldsCsv, NamesNoUnitWhereNoneIsKnown) {
    EXPECT_THAT(SubfieldsCsv(make_result(2), ""),
                testing::HasSubstr(",center_x,center_y,foreground_pixels,"));
}

TEST(ProfilesCsv, IsEmptyWithoutSubfields) {
    SAnalysisResult result = make_result(3);
    result.subfieldSize.reset();
    EXPECT_EQ(ProfilesCsv(result, "mm"), "");
}

TEST(ProfilesCsv, HasOneRowPerAxisAndSliceWithItsPositionInTheUnit) {
    SAnalysisResult result = make_result(2);
    result.profiles[0] = {make_slice(2, 5, 2.5, 4), make_slice(2, 105, 52.5, 3)};
    result.profiles[1] = {make_slice(2, 0, 0.0, 7)};
    result.profiles[0].front().meanConfidence = 0.75;
    EXPECT_THAT(
        lines_of(ProfilesCsv(result, "mm")),
        ElementsAre(
            "axis,slice_px,position_mm,number_of_subfields,mean_confidence,status,a_xx,a_xy,a_yy,lambda_1,"
            "lambda_2,mean_x,mean_y,anisotropy,difference_rad",
            "x,5,2.5,4,0.75,ok,100,101,103,104,105,106,107,0.25,0.125",
            "x,105,52.5,3,,ok,100,101,103,104,105,106,107,0.25,0.125",
            "y,0,0,7,,ok,100,101,103,104,105,106,107,0.25,0.125"));
}

TEST(ProfilesCsv, NamesNoUnitWhereNoneIsKnown) {
    SAnalysisResult result = make_result(2);
    result.profiles[0] = {make_slice(2, 5, 2.5, 4)};
    EXPECT_TRUE(ProfilesCsv(result, "")
                    .starts_with("axis,slice_px,position,number_of_subfields,mean_confidence,status,"));
}

TEST(ProfilesCsv, LeavesTheValuesOfSlicesWithoutSubfieldsEmpty) {
    SAnalysisResult result = make_result(2);
    SProfileSlice slice = make_slice(2, 5, 5.0, 0); // its values stand for zeros
    slice.status = Impl::EFieldStatus::noSubfields;
    result.profiles[1] = {slice};
    EXPECT_EQ(lines_of(ProfilesCsv(result, "px"))[1], "y,5,5,0,,no valid subfields,,,,,,,,,");
}

TEST(ProfilesCsv, ASliceWithoutValuesKeepsCountStatusAndPosition) {
    SAnalysisResult result = make_result(3);
    SProfileSlice slice = make_slice(3, 5, 5.0, 0);
    slice.values.reset();
    slice.status = Impl::EFieldStatus::noSubfields;
    result.profiles[2] = {slice};
    EXPECT_EQ(lines_of(ProfilesCsv(result, "px"))[1], "z,5,5,0,,no valid subfields,,,,,,,,,,,,,,,,");
}

/// The header line of a table that may begin with a head.
std::vector<std::string> columns_of(const std::string& table) {
    for (const std::string& line : lines_of(table)) {
        if (!line.starts_with('#')) {
            std::vector<std::string> columns;
            std::istringstream cells(line);
            for (std::string cell; std::getline(cells, cell, ',');) {
                columns.push_back(cell);
            }
            return columns;
        }
    }
    return {};
}

TEST(Tables, HaveNoColumnThatTheDocumentationLeavesOut) {
    SAnalysisResult result = make_result(3);
    result.field.values.tensor4 = Impl::STensor4(3);
    SRunRecord record;
    record.parameters.request.lengthUnit = "mm";
    const std::string page = test::ReadFile(TEVRA_COMMAND_LINE_PAGE);
    for (const std::string& table :
         {SubfieldsCsv(result, "mm", Reference{}), ProfilesCsv(result, "mm", Reference{}),
          FourthOrderCsv(result), TensorsCsv(result, record, VOIGT_ORDER)}) {
        const std::vector<std::string> columns = columns_of(table);
        EXPECT_GT(columns.size(), 4U);
        for (const std::string& column : columns) {
            const bool isFourthOrder = column.starts_with("a_") && column.size() == 6;
            EXPECT_TRUE(isFourthOrder || page.find("`" + column + "`") != std::string::npos) << column;
        }
    }
}

TEST(TensorsCsv, ListsTheWholeFieldAndLeavesFieldsWithoutForegroundEmpty) {
    SAnalysisResult result = make_result(2);
    result.subfields = {make_subfield(2, 1.0, 5, 2), make_subfield(2, 21.0, 7, 2)};
    result.subfields[1].status = Impl::EFieldStatus::noForeground;
    SRunRecord record;
    record.version = "1.2.3";
    record.input.path = "a\nb.tif";
    record.parameters.request.lengthUnit = "um";
    const std::vector<std::string> lines = lines_of(TensorsCsv(result, record, VOIGT_ORDER));
    ASSERT_EQ(lines.size(), 8U);
    EXPECT_THAT(lines[3], testing::HasSubstr("tevra 1.2.3; image a?b.tif"));
    EXPECT_EQ(lines[4], "id,center_x_um,center_y_um,foreground_fraction,a11,a22,a12");
    EXPECT_TRUE(lines[5].starts_with("field,"));
    EXPECT_EQ(lines[6], "s5_5,3,3,0.5,1,4,2");
    EXPECT_EQ(lines[7], "s7_7,4,4,0.5,,,");
}

} // namespace
} // namespace TEVRA::report
