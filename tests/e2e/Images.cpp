// SPDX-License-Identifier: BSD-3-Clause
#include "e2e/Images.h"

#include "support/TemporaryFolder.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <numeric>
#include <sstream>
#include <stdexcept>

namespace TEVRA::test {

namespace {

constexpr int FIBER_DISTANCE = 12;
constexpr double FIBER_RADIUS = 3.0;
constexpr double FIBER_GREY = 200.0;
constexpr double GROUND_GREY = 40.0;

std::size_t pixel_count(const std::vector<int>& size) {
    return std::accumulate(size.begin(), size.end(), std::size_t{1},
                           [](std::size_t count, int extent) { return count * extent; });
}

/// Distance to the nearest fiber axis along one coordinate.
double offset_from_axis(int coordinate) {
    constexpr int CENTRE = FIBER_DISTANCE / 2;
    return coordinate % FIBER_DISTANCE - CENTRE;
}

std::string list_of(const std::vector<int>& size) {
    std::string text;
    for (const int extent : size) {
        text += (text.empty() ? "" : " ") + std::to_string(extent);
    }
    return text;
}

void append_le(std::string& bytes, std::uint32_t value, int count) {
    for (int i = 0; i < count; ++i) {
        bytes += static_cast<char>(value >> (8 * i) & 0xFFU);
    }
}

void append_tag(std::string& bytes, int tag, int type, std::uint32_t count, std::uint32_t value) {
    append_le(bytes, tag, 2);
    append_le(bytes, type, 2);
    append_le(bytes, count, 4);
    append_le(bytes, value, 4);
}

} // namespace

SGreyImage ParallelFibers(const std::vector<int>& size, int axis) {
    SGreyImage image{size, {}};
    const int depth = size.size() == 3 ? size[2] : 1;
    for (int z = 0; z < depth; ++z) {
        for (int y = 0; y < size[1]; ++y) {
            for (int x = 0; x < size[0]; ++x) {
                std::array<double, 3> offset = {offset_from_axis(x), offset_from_axis(y),
                                                size.size() == 3 ? offset_from_axis(z) : 0.0};
                offset[axis] = 0.0;
                const double distance = std::hypot(offset[0], offset[1], offset[2]);
                const double share = std::clamp(FIBER_RADIUS + 0.5 - distance, 0.0, 1.0);
                image.pixels +=
                    static_cast<char>(std::lround(GROUND_GREY + share * (FIBER_GREY - GROUND_GREY)));
            }
        }
    }
    return image;
}

SGreyImage Constant(const std::vector<int>& size, unsigned char value) {
    return {size, std::string(pixel_count(size), static_cast<char>(value))};
}

void WriteMetaImage(const std::filesystem::path& path, const SMetaImage& image) {
    std::ostringstream file;
    file << "ObjectType = Image\nNDims = " << image.size.size()
         << "\nBinaryData = True\nBinaryDataByteOrderMSB = False\nCompressedData = False\n";
    if (!image.spacing.empty()) {
        file << "ElementSpacing = " << image.spacing << "\n";
    }
    file << "DimSize = " << list_of(image.size) << "\n";
    if (image.channels > 1) {
        file << "ElementNumberOfChannels = " << image.channels << "\n";
    }
    file << "ElementType = " << image.elementType << "\nElementDataFile = LOCAL\n" << image.pixels;
    WriteFile(path, file.str());
}

void WriteMetaImage(const std::filesystem::path& path, const SGreyImage& image, const std::string& spacing) {
    SMetaImage file;
    file.size = image.size;
    file.pixels = image.pixels;
    file.spacing = spacing;
    WriteMetaImage(path, file);
}

std::vector<float> ReadFloatMetaImage(const std::filesystem::path& path) {
    const std::string bytes = ReadFile(path);
    const std::string lastLine = "ElementDataFile = LOCAL\n";
    const std::size_t header = bytes.find(lastLine);
    if (header == std::string::npos || bytes.find("ElementType = MET_FLOAT") == std::string::npos) {
        throw std::runtime_error(path.string() + " is not a float MetaImage with its pixels inside");
    }
    const std::size_t begin = header + lastLine.size();
    std::vector<float> pixels((bytes.size() - begin) / sizeof(float));
    std::memcpy(pixels.data(), bytes.data() + begin, pixels.size() * sizeof(float));
    return pixels;
}

void WriteTiff(const std::filesystem::path& path, const SGreyImage& image, int samples) {
    const int width = image.size[0];
    const int height = image.size[1];
    const int pages = image.size.size() == 3 ? image.size[2] : 1;
    const auto pageBytes = static_cast<std::uint32_t>(width * height);
    std::string file = "II";
    append_le(file, 42, 2);
    append_le(file, 8, 4);
    for (int page = 0; page < pages; ++page) {
        constexpr std::uint32_t TAG_COUNT = 9;
        constexpr int SHORT = 3;
        constexpr int LONG = 4;
        const auto directory = static_cast<std::uint32_t>(file.size());
        const std::uint32_t data = directory + 2 + 12 * TAG_COUNT + 4;
        append_le(file, TAG_COUNT, 2);
        append_tag(file, 256, LONG, 1, width);
        append_tag(file, 257, LONG, 1, height);
        append_tag(file, 258, SHORT, 1, 8); // bits per sample; of RGB, the first stands for all
        append_tag(file, 259, SHORT, 1, 1); // not compressed
        append_tag(file, 262, SHORT, 1, samples == 3 ? 2 : 1);
        append_tag(file, 273, LONG, 1, data);
        append_tag(file, 277, SHORT, 1, samples);
        append_tag(file, 278, LONG, 1, height);
        append_tag(file, 279, LONG, 1, pageBytes * samples);
        append_le(file, page + 1 < pages ? data + pageBytes * samples : 0, 4);
        for (const char pixel : image.pixels.substr(std::size_t{pageBytes} * page, pageBytes)) {
            file.append(samples, pixel);
        }
    }
    WriteFile(path, file);
}

} // namespace TEVRA::test
