// SPDX-License-Identifier: BSD-3-Clause
#include "volume/FileKind.h"

#include <algorithm>
#include <array>

namespace TEVRA::volume {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view UNPACK = "unpack it first"sv;
constexpr std::string_view EXPORT = "export the image as TIFF"sv;
constexpr std::string_view NO_IMAGE = "which holds no image that can be read"sv;

struct SKind {
    std::size_t place;
    std::string_view signature;
    std::string_view name;
    std::string_view advice;
};

constexpr std::array<SKind, 27> KINDS{{
    {0, "\xFF\xD8\xFF"sv, "a JPEG image",
     "its compression has changed the grey values; export the original as TIFF"},
    {0, "\0\0\0\x0CjP  "sv, "a JPEG 2000 image", EXPORT},
    {0, "\xFF\x4F\xFF\x51"sv, "a JPEG 2000 image", EXPORT},
    {0, "GIF8"sv, "a GIF image", EXPORT},
    {0, "BM"sv, "a BMP image", EXPORT},
    {8, "WEBP"sv, "a WebP image", EXPORT},
    {0, "\x76\x2F\x31\x01"sv, "an OpenEXR image", EXPORT},
    {0, "8BPS"sv, "a layered image of a picture editor", EXPORT},
    {0, "SIMPLE  ="sv, "a FITS image", EXPORT},
    {128, "DICM"sv, "a DICOM file", "convert the series to NIfTI, NRRD or a TIFF stack"},
    {0, "%PDF"sv, "a PDF document", NO_IMAGE},
    {0, "%!PS"sv, "a PostScript document", NO_IMAGE},
    {0, "PK\x03\x04"sv, "a ZIP archive (also .npz and office documents)", UNPACK},
    {0, "\x1F\x8B"sv, "compressed by gzip", UNPACK},
    {0, "BZh"sv, "compressed by bzip2", UNPACK},
    {0,
     "\xFD"
     "7zXZ\0"sv,
     "compressed by xz", UNPACK},
    {0, "\x28\xB5\x2F\xFD"sv, "compressed by zstd", UNPACK},
    {0, "7z\xBC\xAF\x27\x1C"sv, "a 7z archive", UNPACK},
    {0, "Rar!\x1A\x07"sv, "a RAR archive", UNPACK},
    {257, "ustar"sv, "a tar archive", UNPACK},
    {0, "\x0E\x03\x13\x01"sv, "an HDF4 file", "convert it to HDF5"},
    {0, "CDF\x01"sv, "a NetCDF file of an old version", "convert it to version 4, which is HDF5"},
    {0, "CDF\x02"sv, "a NetCDF file of an old version", "convert it to version 4, which is HDF5"},
    {0, "# vtk DataFile"sv, "a VTK file", "save the image as MetaImage or NRRD"},
    {0,
     "\x7F"
     "ELF"sv,
     "a program", NO_IMAGE},
    {0, "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1"sv, "a compound document (as of microscopes and offices)", EXPORT},
    {0, "ObjectType"sv, "a MetaImage header", "give it a name that ends in .mha or .mhd"},
}};

/// What a size of a NIfTI header stands for: also in files of other names.
bool is_nifti_or_analyze(std::string_view start) {
    return start.starts_with("\x5C\x01\0\0"sv) || start.starts_with("\0\0\x01\x5C"sv) ||
           start.starts_with("\x1C\x02\0\0"sv) || start.starts_with("\0\0\x02\x1C"sv);
}

bool is_text(std::string_view start) {
    return std::all_of(start.begin(), start.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte >= 0x20 || byte == '\t' || byte == '\n' || byte == '\r' || byte == '\f';
    });
}

std::string note(std::string_view name, std::string_view advice) {
    return "it seems to be " + std::string(name) + (advice == NO_IMAGE ? ", " : "; ") + std::string(advice);
}

} // namespace

std::string FileKindNote(std::string_view start) {
    for (const SKind& kind : KINDS) {
        if (start.substr(std::min(kind.place, start.size())).starts_with(kind.signature)) {
            return note(kind.name, kind.advice);
        }
    }
    if (is_nifti_or_analyze(start)) {
        return note("a NIfTI file or the header of one",
                    "give it a name that ends in .nii or save it as .nii");
    }
    if (!start.empty() && is_text(start)) {
        return note("a text", NO_IMAGE);
    }
    return {};
}

} // namespace TEVRA::volume
