// SPDX-License-Identifier: BSD-3-Clause
#include "volume/PngFile.h"

#include "volume/ByteSource.h"
#include "volume/Failure.h"
#include "volume/HeaderText.h"
#include "volume/PackedSize.h"

#include <bit>
#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <png.h>

namespace TEVRA::volume {
namespace {

constexpr double MM_PER_METRE = 1000.0;

struct SCloseFile {
    void operator()(std::FILE* file) const {
        static_cast<void>(std::fclose(file));
    } // read only: nothing to lose
};

/// A PNG file being read. libpng reports errors by a jump: each call of its functions stands in a member that
/// has no objects to destroy and returns false after the jump.
class CPngReading {
  public:
    explicit CPngReading(const std::string& path) : m_path(path), m_file(std::fopen(path.c_str(), "rb")) {
        if (!m_file) {
            FileBytes(path); // says so if there is no such file
            throw CEnvironmentError(path + ": cannot be opened for reading; check its permissions");
        }
        m_png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &m_error, keep_error, drop_warning);
        m_info = m_png == nullptr ? nullptr : png_create_info_struct(m_png);
        if (m_info == nullptr) {
            png_destroy_read_struct(&m_png, nullptr, nullptr);
            throw std::bad_alloc();
        }
    }
    CPngReading(const CPngReading&) = delete;
    CPngReading& operator=(const CPngReading&) = delete;
    ~CPngReading() { png_destroy_read_struct(&m_png, &m_info, nullptr); }

    SPngInfo Header() {
        if (!read_header()) {
            fail();
        }
        check_color();
        SPngInfo info;
        info.width = png_get_image_width(m_png, m_info);
        info.height = png_get_image_height(m_png, m_info);
        info.bits = png_get_bit_depth(m_png, m_info);
        info.type = info.bits == 16 ? EStoredType::u16 : EStoredType::u8;
        info.xPixelsPerMm = png_get_x_pixels_per_meter(m_png, m_info) / MM_PER_METRE;
        info.yPixelsPerMm = png_get_y_pixels_per_meter(m_png, m_info) / MM_PER_METRE;
        return info;
    }

    void Pixels(const SPngInfo& info, std::byte* pixels) {
        const std::size_t lineBytes = static_cast<std::size_t>(info.width) * BytesPerPixel(info.type);
        std::vector<png_bytep> lines;
        for (long long y = 0; y < info.height; ++y) {
            lines.push_back(reinterpret_cast<png_bytep>(pixels + static_cast<std::size_t>(y) * lineBytes));
        }
        if (!read_pixels(lineBytes, lines.data())) {
            fail();
        }
    }

  private:
    [[noreturn]] static void keep_error(png_structp png, png_const_charp text) {
        auto* error = static_cast<std::string*>(png_get_error_ptr(png));
        try {
            *error = text;
        } catch (...) { // NOLINT(bugprone-empty-catch): without memory the error goes without its text
        }
        png_longjmp(png, 1);
    }
    static void drop_warning(png_structp, png_const_charp) {}

    bool read_header() {
        if (setjmp(png_jmpbuf(m_png)) != 0) { // NOLINT(cert-err52-cpp): libpng's way
            return false;
        }
        png_init_io(m_png, m_file.get());
        png_read_info(m_png, m_info);
        return true;
    }

    bool read_pixels(std::size_t lineBytes, png_bytepp lines) {
        if (setjmp(png_jmpbuf(m_png)) != 0) { // NOLINT(cert-err52-cpp): libpng's way
            return false;
        }
        png_set_expand_gray_1_2_4_to_8(m_png);
        if (std::endian::native == std::endian::little) {
            png_set_swap(m_png);
        }
        png_read_update_info(m_png, m_info);
        if (png_get_rowbytes(m_png, m_info) != lineBytes) {
            png_error(m_png, "unexpected length of lines");
        }
        png_read_image(m_png, lines);
        png_read_end(m_png, nullptr);
        return true;
    }

    void check_color() const {
        switch (png_get_color_type(m_png, m_info)) {
        case PNG_COLOR_TYPE_GRAY:
            return;
        case PNG_COLOR_TYPE_PALETTE:
            RefusePixels(m_path, "palette colors");
        case PNG_COLOR_TYPE_GRAY_ALPHA:
            RefusePixels(m_path, "grey values with transparency");
        default:
            RefusePixels(m_path, "RGB colors");
        }
    }

    [[noreturn]] void fail() const {
        throw CInputError(m_path + ": the PNG file is broken or truncated" +
                          (m_error.empty() ? "" : ": " + m_error) + "; copy or export it again");
    }

    std::string m_path;
    std::string m_error;
    std::unique_ptr<std::FILE, SCloseFile> m_file;
    png_structp m_png = nullptr;
    png_infop m_info = nullptr;
};

} // namespace

SPngInfo ReadPngInfo(const std::string& path) {
    const SPngInfo info = CPngReading(path).Header();
    const double lineBytes = std::ceil(static_cast<double>(info.width) * info.bits / 8.0);
    CheckPackedSize(path, lineBytes * static_cast<double>(info.height), static_cast<double>(FileBytes(path)),
                    DEFLATE_EXPANSION);
    return info;
}

std::size_t PngBufferBytes(const SPngInfo& info) noexcept {
    constexpr std::size_t LIBRARY_BYTES = std::size_t{1} << 17; // zlib's window and tables, libpng's input
    constexpr std::size_t LINES = 3;                            // this, the one before and one transformed
    return LIBRARY_BYTES + static_cast<std::size_t>(info.height) * sizeof(png_bytep) +
           LINES * static_cast<std::size_t>(info.width) * BytesPerPixel(info.type);
}

void ReadPng(const std::string& path, const SPngInfo& info, std::byte* pixels) {
    CPngReading reading(path);
    const SPngInfo now = reading.Header();
    if (now.width != info.width || now.height != info.height || now.type != info.type) {
        throw CInputError(path + ": the file has been changed while it was read");
    }
    reading.Pixels(info, pixels);
}

} // namespace TEVRA::volume
