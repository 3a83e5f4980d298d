// SPDX-License-Identifier: BSD-3-Clause
#include "report/pictures/Pictures.h"

#include "report/pictures/Raster.h"

#include "Axes/DirectionGrid.h"
#include "volume/Deflate.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include <png.h>

namespace TEVRA::report {
namespace {

/// A picture as the reference library reads it.
struct SRead {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> bytes;

    SColor At(int x, int y) const {
        const std::size_t at =
            (static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x)) * 3;
        return {bytes[at], bytes[at + 1], bytes[at + 2]};
    }
    int Count(const SColor& color) const {
        int count = 0;
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                count += At(x, y) == color ? 1 : 0;
            }
        }
        return count;
    }
};

SRead read(const std::string& png) {
    png_image image;
    std::memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    SRead result;
    if (png_image_begin_read_from_memory(&image, png.data(), png.size()) == 0) {
        ADD_FAILURE() << "no PNG file: " << image.message;
        return result;
    }
    image.format = PNG_FORMAT_RGB;
    result.width = static_cast<int>(image.width);
    result.height = static_cast<int>(image.height);
    result.bytes.resize(PNG_IMAGE_SIZE(image));
    EXPECT_NE(png_image_finish_read(&image, nullptr, result.bytes.data(), 0, nullptr), 0) << image.message;
    return result;
}

constexpr SColor WHITE{255, 255, 255};
constexpr SColor RED{255, 0, 0};

TEST(Raster, WritesPngFilesThatOthersRead) {
    CRaster raster(7, 5, WHITE);
    raster.Blend(3, 2, RED);
    raster.Blend(0, 0, RED, 0.5);
    raster.Blend(7, 2, RED); // outside
    const SRead picture = read(raster.Png(volume::Deflated));
    EXPECT_EQ(picture.width, 7);
    EXPECT_EQ(picture.height, 5);
    EXPECT_EQ(picture.At(3, 2), RED);
    EXPECT_EQ(picture.At(0, 0), (SColor{255, 128, 128}));
    EXPECT_EQ(picture.Count(WHITE), 7 * 5 - 2);
}

TEST(Raster, FillsPolygonsAndDrawsLinesOfTheirWidth) {
    CRaster raster(40, 40, WHITE);
    raster.Polygon(std::array{SPoint{5, 5}, SPoint{15, 5}, SPoint{15, 25}, SPoint{5, 25}}, RED);
    EXPECT_EQ(read(raster.Png(volume::Deflated)).Count(RED), 10 * 20);
    CRaster lines(40, 40, WHITE);
    lines.Line({-10, 20}, {60, 20}, 4.0, RED);
    EXPECT_EQ(read(lines.Png(volume::Deflated)).Count(RED), 40 * 4);
}

TEST(Raster, DrawsEverySignOfItsOwn) {
    std::vector<std::string> pictures;
    for (const char sign : std::string("0123456789.,:-_+()=/%|abcdefghijklmnopqrstuvwxyz")) {
        CRaster raster(40, 40, WHITE);
        raster.Text({10, 30}, std::string(1, sign), 18.0, {});
        pictures.push_back(raster.Png(volume::Deflated));
        EXPECT_LT(read(pictures.back()).Count(WHITE), 40 * 40 - 3) << sign;
    }
    std::sort(pictures.begin(), pictures.end());
    EXPECT_EQ(std::adjacent_find(pictures.begin(), pictures.end()), pictures.end()) << "two signs look alike";
}

SRunRecord some_record() {
    SRunRecord record;
    record.input.sizePx = {90, 30, 60};
    record.parameters.request.lengthUnit = "mm";
    return record;
}

/// Fibers along x, y and z in three layers along z; sections are wholly foreground.
SPictureData layers() {
    SPictureData pictures;
    pictures.pack = volume::Deflated;
    pictures.directions.assign(Impl::CDirectionGrid::CELLS, 1);
    const std::array<std::array<long long, 2>, 3> sizes{{{30, 60}, {90, 60}, {90, 30}}};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        SSection section;
        section.axis = axis;
        section.size = sizes[axis];
        const auto pixels = static_cast<std::size_t>(section.size[0] * section.size[1]);
        section.grey.assign(pixels, 100);
        section.coverage.assign(pixels, 255);
        for (std::size_t channel = 0; channel < 3; ++channel) {
            section.color[channel].resize(pixels);
            for (std::size_t pixel = 0; pixel < pixels; ++pixel) {
                const auto row = static_cast<long long>(pixel) / section.size[0];
                const std::size_t layer = axis == 2 ? 1 : static_cast<std::size_t>(row / 20);
                section.color[channel][pixel] = channel == layer ? 255 : 0;
            }
        }
        pictures.sections.sections.push_back(section);
    }
    pictures.density = DensityOfDirections(pictures.directions);
    return pictures;
}

Impl::SAnalysisResult some_result() {
    Impl::SAnalysisResult result;
    result.dim = 3;
    result.field.values.meanDirection = {0.0, 0.6, 0.8};
    return result;
}

TEST(Pictures, ShowFibersAlongXAndYAndZInTheColorsOfDirections) {
    const SRead picture = read(SectionsPng(some_result(), some_record(), layers()));
    // Panels at one scale, 1500 pixels for 90 + 90 + 30: the first, across z, is of the layer along y.
    const double scale = 1500.0 / 210.0;
    const int top = 28 + 34;
    EXPECT_EQ(picture.At(28 + 300, top + 100), (SColor{0, 255, 0}));
    const int second = 28 + static_cast<int>(90 * scale) + 20;
    EXPECT_EQ(picture.At(second + 300, top + static_cast<int>(10 * scale)), (SColor{255, 0, 0}));
    EXPECT_EQ(picture.At(second + 300, top + static_cast<int>(30 * scale)), (SColor{0, 255, 0}));
    EXPECT_EQ(picture.At(second + 300, top + static_cast<int>(50 * scale)), (SColor{0, 0, 255}));
    EXPECT_GT(picture.width, 1500);
}

TEST(Pictures, OfEvenlyDistributedDirectionsAreFlat) {
    const SRead picture = read(DirectionsPng(some_result(), layers()));
    const SColor middle = picture.At(360, 300);
    for (const auto& [x, y] : {std::pair(200, 360), std::pair(360, 200), std::pair(560, 360)}) {
        const SColor color = picture.At(x, y);
        EXPECT_NEAR(color.red, middle.red, 6) << x << ' ' << y;
        EXPECT_NEAR(color.blue, middle.blue, 6) << x << ' ' << y;
    }
}

} // namespace
} // namespace TEVRA::report
