// SPDX-License-Identifier: BSD-3-Clause
#include "apps/ImageInput.h"

#include "apps/Failure.h"
#include "jobs/Texts.h"
#include "volume/Failure.h"

#include <filesystem>
#include <system_error>

namespace TEVRA::apps {

const char* const ALLOW_GAPS_OPTION_HELP =
    "Do not warn of numbers that the files of a folder of slices leave out";

void WarnOfMissingSlices(const std::string& path, const volume::SImageInfo& info, CConsole& console) {
    if (const auto note = jobs::MissingSlicesNote(path, info)) {
        console.Warn(*note + ". Check the folder, or give --allow-gaps");
    }
}

void WarnOfLosses(const volume::SImageInfo& info, CConsole& console) {
    if (!info.lossyCompression.empty()) {
        console.Warn(jobs::LossText(info.lossyCompression));
    }
}

void SayRounding(const std::optional<jobs::SRoundingNote>& note, CConsole& console) {
    if (note) {
        note->isSerious ? console.Warn(note->text) : console.Say(note->text);
    }
}

const char* const RAW_OPTION_HELP =
    "Layout of a file without header: sizes along x, y and, in 3D, z, and the pixel type u8, i8, u16, "
    "i16, u32, i32, u64, i64, f32 or f64 (little-endian; big-endian with be behind it), as in 128,128,64,u16";

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

void RefuseResultsAmongSlices(const std::string& imagePath, const std::string& outputFolder) {
    namespace fs = std::filesystem;
    std::error_code ignored;
    if (fs::is_directory(imagePath, ignored) && fs::equivalent(imagePath, outputFolder, ignored)) {
        throw CWorkError("the results would lie among the slices of the image '" + imagePath +
                         "', and be read as such the next time; give another output folder");
    }
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

} // namespace TEVRA::apps
