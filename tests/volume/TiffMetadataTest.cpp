// SPDX-License-Identifier: BSD-3-Clause
#include "volume/TiffMetadata.h"

#include "volume/FileTesting.h"

#include <array>

namespace TEVRA::volume {
namespace {

constexpr auto NONE = ETiffResolutionUnit::none;
constexpr auto INCH = ETiffResolutionUnit::inch;
constexpr auto CENTIMETRE = ETiffResolutionUnit::centimetre;

struct SSpacingCase {
    const char* name;
    std::string description;
    STiffResolution resolution;
    int dim;
    std::optional<SExpectedSpacing> expected;
};

std::vector<SSpacingCase> spacing_cases() {
    const std::string ome = "<?xml version=\"1.0\"?><OME xmlns=\"x\"><Image><Pixels ID=\"Pixels:0\" ";
    return {
        {"nothing", "", {}, 3, std::nullopt},
        {"screen resolution", "", {72.0, 72.0, INCH}, 2, std::nullopt},
        {"96 dpi", "", {96.0, 96.0, INCH}, 2, std::nullopt},
        {"100 dpi", "", {100.0, 100.0, INCH}, 2, std::nullopt},
        {"300 dpi", "", {300.0, 300.0, INCH}, 3, std::nullopt},
        {"300 dpi per cm", "", {118.11, 118.11, CENTIMETRE}, 2, std::nullopt},
        {"4800 dpi scanner", "", {4800.0, 4800.0, INCH}, 2, std::nullopt},
        {"no absolute unit", "", {1e6, 1e6, NONE}, 2, std::nullopt},
        {"microscope",
         "",
         {323027.0, 323027.0, CENTIMETRE},
         2,
         SExpectedSpacing{{10.0 / 323027.0, 10.0 / 323027.0, 1.0}, "mm"}},
        {"microscope, unequal", "", {254000.0, 127000.0, INCH}, 2, SExpectedSpacing{{1e-4, 2e-4, 1.0}, "mm"}},
        {"microscope stack: distance of slices unknown",
         "",
         {323027.0, 323027.0, CENTIMETRE},
         3,
         std::nullopt},
        {"ImageJ um",
         "ImageJ=1.53t\nimages=5\nslices=5\nunit=um\nspacing=2.5\n",
         {4.0, 2.0, NONE},
         3,
         SExpectedSpacing{{0.25, 0.5, 2.5}, "um"}},
        {"ImageJ micron",
         "ImageJ=1.53t\nunit=micron\nspacing=0.5\nloop=false\n",
         {2.0, 2.0, NONE},
         3,
         SExpectedSpacing{{0.5, 0.5, 0.5}, "um"}},
        {"ImageJ escaped mu",
         "ImageJ=1.53t\nunit=\\u00B5m\nspacing=0.5\n",
         {2.0, 2.0, NONE},
         3,
         SExpectedSpacing{{0.5, 0.5, 0.5}, "um"}},
        {"ImageJ omits a distance of 1",
         "ImageJ=1.53t\nslices=5\nunit=mm\n",
         {1.0, 1.0, NONE},
         3,
         SExpectedSpacing{{1.0, 1.0, 1.0}, "mm"}},
        {"ImageJ nm",
         "ImageJ=1.53t\nunit=nm\nspacing=30\n",
         {0.1, 0.1, NONE},
         3,
         SExpectedSpacing{{0.01, 0.01, 0.03}, "um"}},
        {"ImageJ 2D",
         "ImageJ=1.53t\nunit=um\n",
         {4.0, 4.0, NONE},
         2,
         SExpectedSpacing{{0.25, 0.25, 1.0}, "um"}},
        {"ImageJ cm with distance of slices",
         "ImageJ=1.53t\nunit=cm\nspacing=0.01\n",
         {100.0, 100.0, CENTIMETRE},
         3,
         SExpectedSpacing{{0.1, 0.1, 0.1}, "mm"}},
        {"ImageJ carries 300 dpi along", "ImageJ=1.53t\nunit=inch\n", {300.0, 300.0, INCH}, 2, std::nullopt},
        {"ImageJ carries 118 per cm along",
         "ImageJ=1.53t\nunit=cm\n",
         {118.11, 118.11, CENTIMETRE},
         2,
         std::nullopt},
        {"ImageJ microscope in cm",
         "ImageJ=1.53t\nunit=cm\n",
         {20000.0, 20000.0, CENTIMETRE},
         2,
         SExpectedSpacing{{5e-4, 5e-4, 1.0}, "mm"}},
        {"ImageJ uncalibrated", "ImageJ=1.53t\nimages=5\nslices=5\n", {}, 3, std::nullopt},
        {"ImageJ all pixels", "ImageJ=1.53t\nspacing=1.0\nunit=pixel\n", {}, 3, std::nullopt},
        {"ImageJ unequal without unit",
         "ImageJ=1.53t\nspacing=3.0\n",
         {},
         3,
         SExpectedSpacing{{1.0, 1.0, 3.0}, ""}},
        {"ImageJ unit without scale", "ImageJ=1.53t\nunit=um\nspacing=2\n", {}, 3, std::nullopt},
        {"ImageJ negative", "ImageJ=1.53t\nunit=um\nspacing=-2\n", {1.0, 1.0, NONE}, 3, std::nullopt},
        {"ImageJ with Windows line ends",
         "ImageJ=1.53t\r\nunit=um\r\nspacing=2\r\n",
         {1.0, 1.0, NONE},
         3,
         SExpectedSpacing{{1.0, 1.0, 2.0}, "um"}},
        {"OME um by default",
         ome + "PhysicalSizeX=\"0.5\" PhysicalSizeY=\"0.25\" PhysicalSizeZ=\"2\"/></Image></OME>",
         {300.0, 300.0, INCH},
         3,
         SExpectedSpacing{{0.5, 0.25, 2.0}, "um"}},
        {"OME units per axis",
         ome + "PhysicalSizeX=\"500\" PhysicalSizeXUnit=\"nm\" PhysicalSizeY=\"0.0005\" "
               "PhysicalSizeYUnit=\"mm\" "
               "PhysicalSizeZ=\"2\" PhysicalSizeZUnit=\"\xC2\xB5m\"/></Image></OME>",
         {},
         3,
         SExpectedSpacing{{0.5, 0.5, 2.0}, "um"}},
        {"OME with namespace and single quotes",
         "<OME:OME><OME:Image><OME:Pixels PhysicalSizeX='1' PhysicalSizeY='1' PhysicalSizeZ='1'>",
         {},
         3,
         SExpectedSpacing{{1.0, 1.0, 1.0}, "um"}},
        {"OME 2D needs no z",
         ome + "PhysicalSizeX=\"0.5\" PhysicalSizeY=\"0.5\"/>",
         {},
         2,
         SExpectedSpacing{{0.5, 0.5, 1.0}, "um"}},
        {"OME without z", ome + "PhysicalSizeX=\"0.5\" PhysicalSizeY=\"0.5\"/>", {}, 3, std::nullopt},
        {"OME in pixels",
         ome + "PhysicalSizeX=\"1\" PhysicalSizeXUnit=\"pixel\" PhysicalSizeY=\"1\"/>",
         {},
         2,
         std::nullopt},
        {"OME zero", ome + "PhysicalSizeX=\"0\" PhysicalSizeY=\"0\"/>", {}, 2, std::nullopt},
        {"OME broken off", ome + "PhysicalSizeX=\"0.5", {}, 2, std::nullopt},
    };
}

TEST(TiffSpacingTest, FollowsTheRulesOfEveryDialect) {
    for (const SSpacingCase& c : spacing_cases()) {
        SCOPED_TRACE(c.name);
        const SSpacing spacing = TiffSpacing(c.description, c.resolution, c.dim);
        EXPECT_FALSE(spacing.note.empty());
        ASSERT_EQ(spacing.distances.has_value(), c.expected.has_value()) << spacing.note;
        if (!c.expected) {
            EXPECT_EQ(spacing.unit, "");
            continue;
        }
        EXPECT_EQ(spacing.unit, c.expected->unit);
        for (std::size_t axis = 0; axis < 3; ++axis) {
            EXPECT_NEAR((*spacing.distances)[axis], c.expected->distances[axis],
                        1e-12 * c.expected->distances[axis]);
        }
    }
}

TEST(TiffSpacingTest, ThePrintResolutionIsNamedInTheNote) {
    EXPECT_EQ(TiffSpacing("", {300.0, 300.0, INCH}, 2).note,
              "the TIFF resolution of 300 dpi is taken for one of print or screen");
    EXPECT_EQ(TiffSpacing("", {118.11, 118.11, CENTIMETRE}, 2).note,
              "the TIFF resolution of 300 dpi is taken for one of print or screen");
}

TEST(TiffAxesTest, CountsChannelsSlicesAndTimePoints) {
    const STiffAxes imageJ = TiffAxesOf("ImageJ=1.5\nimages=24\nchannels=2\nslices=3\nframes=4\n");
    EXPECT_EQ(imageJ.channels, 2);
    EXPECT_EQ(imageJ.slices, 3);
    EXPECT_EQ(imageJ.timePoints, 4);
    EXPECT_EQ(imageJ.images, 24);
    const STiffAxes ome = TiffAxesOf("<OME><Pixels SizeX=\"9\" SizeC=\"2\"\n SizeZ=\"3\" SizeT='4'>");
    EXPECT_EQ(ome.channels, 2);
    EXPECT_EQ(ome.slices, 3);
    EXPECT_EQ(ome.timePoints, 4);
    const STiffAxes plain = TiffAxesOf("slices=7");
    EXPECT_EQ(plain.slices, 1);
}

TEST(LengthUnitTest, KnowsTheSpellingsFoundInHeaders) {
    for (const char* name :
         {"um", "\xC2\xB5m", "\xCE\xBCm", "\xB5m", "\\u00B5m", "micron", "microns", "micrometer"}) {
        const std::optional<SLengthUnit> unit = ParseLengthUnit(name);
        ASSERT_TRUE(unit) << name;
        EXPECT_EQ(unit->unit, "um");
        EXPECT_EQ(unit->factor, 1.0);
    }
    EXPECT_EQ(ParseLengthUnit("\"mm\"")->unit, "mm");
    EXPECT_EQ(ParseLengthUnit(" cm ")->factor, 10.0);
    EXPECT_EQ(ParseLengthUnit("inch")->factor, 25.4);
    for (const char* name : {"", "pixel", "pixels", "voxel", "reference frame", "?", "mmm"}) {
        EXPECT_FALSE(ParseLengthUnit(name)) << name;
    }
}

} // namespace
} // namespace TEVRA::volume
