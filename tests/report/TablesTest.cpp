// SPDX-License-Identifier: BSD-3-Clause
#include "report/Tables.h"

#include "zeklib2core/ValueLeaf.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <sstream>
#include <string>
#include <vector>

namespace TEVRA::report {
namespace {

using testing::ElementsAre;

const std::string AXES = "xyz";

/// A field block with the keys of the result document; the numbers only need to be told apart.
CValueMap* make_field(int dim, double offset) {
    auto* const field = new CValueMap;
    const std::string axes = AXES.substr(0, dim);
    double number = offset;
    for (const char i : axes) {
        for (const char j : axes) {
            field->SetEntry((std::string("Orientation tensor/") + i + j).c_str(), new CValueDouble(number++));
        }
    }
    auto* const eigenvalues = new CValueMap;
    for (int i = 0; i < dim; ++i) {
        eigenvalues->SetEntry(i, new CValueDouble(number++));
    }
    field->SetEntry("Eigenvalues of the orientation tensor", eigenvalues);
    for (const char i : axes) {
        field->SetEntry((std::string("Mean fiber direction/") + i).c_str(), new CValueDouble(number++));
    }
    field->SetEntry("Anisotropy value", new CValueDouble(0.25));
    field->SetEntry("Status", new CValueString("ok", CString::NPOS));
    return field;
}

CValueMap* make_subfield(int dim, double offset, long corner, long size) {
    CValueMap* const field = make_field(dim, offset);
    for (const char axis : AXES.substr(0, dim)) {
        field->SetEntry((std::string("Evaluated area/") + axis + "0").c_str(), new CValueLong(corner));
        field->SetEntry((std::string("Evaluated area/") + axis + "1").c_str(), new CValueLong(corner + size));
    }
    field->SetEntry("Difference to global direction", new CValueDouble(0.5));
    return field;
}

CValueMap* make_slice(int dim, double position, long subfields) {
    CValueMap* const slice = make_field(dim, 100.0);
    slice->SetEntry("Number of subfields", new CValueLong(subfields));
    slice->SetEntry("Difference to global direction", new CValueDouble(0.125));
    slice->SetEntry("slice position", new CValueDouble(position));
    return slice;
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
    CValueMap document;
    document.SetEntry("Field", make_field(2, 0.0));
    EXPECT_EQ(SubfieldsCsv(document), "");
}

TEST(SubfieldsCsv, HasOneRowPerSubfieldInDocumentOrder2d) {
    CValueMap document;
    document.SetEntry("Field", make_field(2, 0.0));
    auto* const subfields = new CValueMap;
    document.SetEntry("Subfields", subfields);
    subfields->SetEntry("(005,105)", make_subfield(2, 1.0, 5, 100));
    subfields->SetEntry("(105,105)", make_subfield(2, 21.0, 105, 100));
    subfields->SetEntry("Subfield size", new CValueDouble(100.0));
    EXPECT_THAT(
        lines_of(SubfieldsCsv(document)),
        ElementsAre("id,x0_px,y0_px,x1_px,y1_px,status,a_xx,a_xy,a_yy,lambda_1,lambda_2,mean_x,mean_y,"
                    "anisotropy,difference_rad",
                    "\"(005,105)\",5,5,105,105,ok,1,2,4,5,6,7,8,0.25,0.5",
                    "\"(105,105)\",105,105,205,205,ok,21,22,24,25,26,27,28,0.25,0.5"));
}

TEST(SubfieldsCsv, HasTheColumnsOfZIn3d) {
    CValueMap document;
    document.SetEntry("Field", make_field(3, 0.0));
    document.SetEntry("Subfields/(5,5,5)", make_subfield(3, 1.0, 5, 2));
    EXPECT_THAT(lines_of(SubfieldsCsv(document)),
                ElementsAre("id,x0_px,y0_px,z0_px,x1_px,y1_px,z1_px,status,a_xx,a_xy,a_xz,a_yy,a_yz,a_zz,"
                            "lambda_1,lambda_2,lambda_3,mean_x,mean_y,mean_z,anisotropy,difference_rad",
                            "\"(5,5,5)\",5,5,5,7,7,7,ok,1,2,3,5,6,9,10,11,12,13,14,15,0.25,0.5"));
}

TEST(SubfieldsCsv, AddsTheFourthOrderColumnsWhenTheDocumentHasThem) {
    CValueMap document;
    document.SetEntry("Field", make_field(2, 0.0));
    document.SetEntry("Field/Fourth order Orientation tensor/xxxx", new CValueDouble(0.0));
    document.SetEntry("Field/Fourth order Orientation tensor/xxxy", new CValueDouble(0.0));
    CValueMap* const subfield = make_subfield(2, 1.0, 5, 2);
    subfield->SetEntry("Fourth order Orientation tensor/xxxx", new CValueDouble(0.75));
    subfield->SetEntry("Fourth order Orientation tensor/xxxy", new CValueDouble(-0.5));
    document.SetEntry("Subfields/(5,5)", subfield);
    const std::vector<std::string> lines = lines_of(SubfieldsCsv(document));
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_TRUE(lines[0].ends_with(",difference_rad,a_xxxx,a_xxxy"));
    EXPECT_TRUE(lines[1].ends_with(",0.5,0.75,-0.5"));
}

TEST(SubfieldsCsv, QuotesTextsWithCommasAndQuotes) {
    CValueMap document;
    document.SetEntry("Field", make_field(2, 0.0));
    CValueMap* const subfield = make_subfield(2, 1.0, 5, 2);
    subfield->SetEntry("Status",
                       new CValueString("Low fiber volume fraction, \"maybe\" wrong.", CString::NPOS));
    document.SetEntry("Subfields/(5,5)", subfield);
    EXPECT_THAT(SubfieldsCsv(document),
                testing::HasSubstr(",\"Low fiber volume fraction, \"\"maybe\"\" wrong.\",1,2,"));
}

TEST(SubfieldsCsv, LeavesTheCellsOfMissingValuesEmpty) {
    CValueMap document;
    document.SetEntry("Field", make_field(2, 0.0));
    CValueMap* const subfield = make_subfield(2, 1.0, 5, 2);
    subfield->RemoveEntry("Difference to global direction");
    subfield->RemoveEntry("Eigenvalues of the orientation tensor");
    document.SetEntry("Subfields/(5,5)", subfield);
    EXPECT_EQ(lines_of(SubfieldsCsv(document))[1], "\"(5,5)\",5,5,7,7,ok,1,2,4,,,7,8,0.25,");
}

TEST(SubfieldsCsv, WritesNumbersThatReadBackAndNamesThoseThatAreNone) {
    CValueMap document;
    document.SetEntry("Field", make_field(2, 0.0));
    CValueMap* const subfield = make_subfield(2, 1.0, 5, 2);
    subfield->SetEntry("Anisotropy value", new CValueDouble(0.1 + 0.2));
    subfield->SetEntry("Mean fiber direction/x", new CValueDouble(std::numeric_limits<double>::quiet_NaN()));
    subfield->SetEntry("Mean fiber direction/y", new CValueDouble(-std::numeric_limits<double>::infinity()));
    document.SetEntry("Subfields/(5,5)", subfield);
    EXPECT_TRUE(lines_of(SubfieldsCsv(document))[1].ends_with(",NaN,-Inf,0.30000000000000004,0.5"));
}

TEST(ProfilesCsv, IsEmptyWithoutProfiles) {
    CValueMap document;
    document.SetEntry("Field", make_field(3, 0.0));
    EXPECT_EQ(ProfilesCsv(document, "mm"), "");
}

TEST(ProfilesCsv, HasOneRowPerAxisAndSliceWithItsPositionInTheUnit) {
    CValueMap document;
    document.SetEntry("Field", make_field(2, 0.0));
    document.SetEntry("Averaged Profile/x-Direction/slice 005", make_slice(2, 2.5, 4));
    document.SetEntry("Averaged Profile/x-Direction/slice 105", make_slice(2, 52.5, 3));
    document.SetEntry("Averaged Profile/y-Direction/slice 000", make_slice(2, 0.0, 7));
    document.SetEntry("Averaged Profile/parameters/Border", new CValueLong(5));
    EXPECT_THAT(lines_of(ProfilesCsv(document, "mm")),
                ElementsAre("axis,slice_px,position_mm,number_of_subfields,status,a_xx,a_xy,a_yy,lambda_1,"
                            "lambda_2,mean_x,mean_y,anisotropy,difference_rad",
                            "x,5,2.5,4,ok,100,101,103,104,105,106,107,0.25,0.125",
                            "x,105,52.5,3,ok,100,101,103,104,105,106,107,0.25,0.125",
                            "y,0,0,7,ok,100,101,103,104,105,106,107,0.25,0.125"));
}

TEST(ProfilesCsv, NamesNoUnitWhereNoneIsKnown) {
    CValueMap document;
    document.SetEntry("Field", make_field(2, 0.0));
    document.SetEntry("Averaged Profile/x-Direction/slice 5", make_slice(2, 2.5, 4));
    EXPECT_TRUE(ProfilesCsv(document, "").starts_with("axis,slice_px,position,number_of_subfields,status,"));
}

TEST(ProfilesCsv, ASliceWithoutValuesKeepsCountStatusAndPosition) {
    CValueMap document;
    document.SetEntry("Field", make_field(2, 0.0));
    auto* const slice = new CValueMap;
    slice->SetEntry("Number of subfields", new CValueLong(0));
    slice->SetEntry("Status", new CValueString("no valid subfields", CString::NPOS));
    slice->SetEntry("slice position", new CValueDouble(5.0));
    document.SetEntry("Averaged Profile/z-Direction/slice 5", slice);
    EXPECT_EQ(lines_of(ProfilesCsv(document, "px"))[1], "z,5,5,0,no valid subfields,,,,,,,,,");
}

} // namespace
} // namespace TEVRA::report
