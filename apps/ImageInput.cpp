// SPDX-License-Identifier: BSD-3-Clause
#include "apps/ImageInput.h"

#include "apps/Failure.h"
#include "jobs/Texts.h"
#include "volume/Failure.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <ostream>
#include <sstream>
#include <system_error>

namespace TEVRA::apps {

namespace {

namespace fs = std::filesystem;

constexpr double EQUAL_SPACING_TOLERANCE = 1e-4;

std::string spacing_text(const SPixelSpacing& spacing, int dim) {
    std::string text;
    for (int axis = 0; axis < dim; ++axis) {
        text += (text.empty() ? "" : " x ") + jobs::RoundedText(spacing.length[axis]);
    }
    return jobs::WithUnit(text, spacing.unit);
}

/// Of a file of a dataset, as in "scan.h5:/grey", the file.
fs::path file_of(const std::string& path) {
    std::error_code ignored;
    return fs::exists(path, ignored) ? path : path.substr(0, path.find(":/"));
}

void add_identity(const fs::path& file, std::ostream& text) {
    std::error_code error;
    const auto bytes = fs::file_size(file, error);
    const auto time = fs::last_write_time(file, error);
    text << (error ? 0 : bytes) << " bytes of " << (error ? 0 : time.time_since_epoch().count());
}

} // namespace

std::string IdentityOf(const std::string& path) {
    std::ostringstream text;
    std::error_code error;
    text << fs::absolute(path, error).string() << ' ';
    const fs::path file = file_of(path);
    if (!fs::is_directory(file, error)) {
        add_identity(file, text);
        return text.str();
    }
    std::vector<fs::path> slices(fs::directory_iterator(file), fs::directory_iterator{});
    std::sort(slices.begin(), slices.end());
    for (const fs::path& slice : slices) {
        add_identity(slice, text);
        text << ' ';
    }
    return text.str();
}

const char* const RAW_OPTION_HELP =
    "Layout of a file without header: sizes along x, y and, in 3D, z, and the pixel type u8, u16 or f32 "
    "(little-endian; u16be, f32be: big-endian), as in 128,128,64,u16";

std::unique_ptr<volume::IImageReader> OpenInput(const std::string& path,
                                                const std::optional<std::string>& rawText) {
    volume::SOpenOptions options;
    if (rawText) {
        try {
            options.raw = volume::ParseRawLayout(*rawText);
        } catch (const volume::CInputError& error) {
            throw CUsageError(std::string("--raw: ") + error.what());
        }
    }
    return volume::OpenImage(path, options);
}

const char* const MASK_OPTION_HELP =
    "Image of the same size: 0 is background, its one other value marks the fibers; replaces the automatic "
    "threshold";

std::unique_ptr<volume::IImageReader> OpenMask(const std::string& path, const CSize& imageSize) {
    auto reader = volume::OpenImage(path);
    if (!(reader->Info().size == imageSize)) {
        throw CWorkError("mask '" + path + "' has " + jobs::SizeText(jobs::ExtentsOf(reader->Info().size)) +
                         " px, but the image has " + jobs::SizeText(jobs::ExtentsOf(imageSize)) +
                         " px; give a mask of the image's size");
    }
    return reader;
}

SPixelSpacing SpacingOf(const volume::SImageInfo& info, const std::optional<SGivenSpacing>& option) {
    SPixelSpacing spacing;
    spacing.note = info.spacingNote;
    const auto dim = static_cast<std::size_t>(info.size.Dim());
    if (option) {
        const std::vector<double>& distances = option->distances;
        if (distances.size() != 1 && distances.size() != dim) {
            throw CUsageError("--spacing has " + std::to_string(distances.size()) +
                              " numbers, but the image has " + std::to_string(dim) +
                              " axes; give one number for all axes or one per axis");
        }
        spacing.unit = option->unit;
        spacing.origin = report::ESpacingOrigin::option;
        spacing.note = "from --spacing";
        for (std::size_t axis = 0; axis < dim; ++axis) {
            spacing.length[axis] = distances.size() == 1 ? distances.front() : distances[axis];
        }
    } else if (info.spacing) {
        spacing.length = *info.spacing;
        spacing.unit = info.spacingUnit;
        spacing.origin = report::ESpacingOrigin::header;
    }
    return spacing;
}

double EqualSpacing(const SPixelSpacing& spacing, int dim) {
    const double x = spacing.length[0];
    for (int axis = 1; axis < dim; ++axis) {
        if (std::abs(spacing.length[axis] - x) > EQUAL_SPACING_TOLERANCE * std::abs(x)) {
            throw CWorkError("Need equal pixel spacing in all axis directions, but it is " +
                             spacing_text(spacing, dim) +
                             "; resample the image to equal spacing or, if that is not its spacing, give the "
                             "right one with --spacing");
        }
    }
    return x;
}

} // namespace TEVRA::apps
