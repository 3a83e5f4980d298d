// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "apps/Arguments.h"
#include "apps/Console.h"
#include "jobs/ReadingNotes.h"
#include "report/RunRecord.h"
#include "volume/ImageReader.h"

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace TEVRA::apps {

/// The option text that says how headerless pixels lie in a file, for help texts.
extern const char* const RAW_OPTION_HELP;

/// Opens an image. @param rawText the value of --raw, if given. @throws CUsageError if that is no layout.
std::unique_ptr<volume::IImageReader> OpenInput(const std::string& path,
                                                const std::optional<std::string>& rawText);

/// An image that is a folder is read from all TIFF and PNG files in it: pictures and maps among them would spoil it.
/// @throws CWorkError if the results are to lie there.
void RefuseResultsAmongSlices(const std::string& imagePath, const std::string& outputFolder);

/// What the option --mask takes, for help texts.
extern const char* const MASK_OPTION_HELP;

/// Opens a mask. @throws CWorkError unless it is of the image's size.
std::unique_ptr<volume::IImageReader> OpenMask(const std::string& path, const CSize& imageSize);

/// What the option --allow-gaps does, for help texts.
extern const char* const ALLOW_GAPS_OPTION_HELP;

/// Warns if the image is a folder that seems to lack slices.
void WarnOfMissingSlices(const std::string& path, const volume::SImageInfo& info, CConsole& console);

/// Warns if pixels were compressed in a way that changes them.
void WarnOfLosses(const volume::SImageInfo& info, CConsole& console);

/// Says by how much values were rounded when they became floats; warns if that takes much of their contrast.
void SayRounding(const std::optional<jobs::SRoundingNote>& note, CConsole& console);

/// The distance between pixels in use, and where it came from.
struct SPixelSpacing {
    std::array<double, 3> length = {1.0, 1.0, 1.0}; ///< along z 1 in 2D
    std::string unit = "px";                        ///< empty if it has no name
    report::ESpacingOrigin origin = report::ESpacingOrigin::none;
    std::string note; ///< where it is from, or why there is none; for people
};

/// The spacing of the option if there is one, else that of the image file, else pixels.
/// @param option what --spacing says. @throws CUsageError for another
///        count of numbers.
SPixelSpacing SpacingOf(const volume::SImageInfo& info, const std::optional<SGivenSpacing>& option);

} // namespace TEVRA::apps
