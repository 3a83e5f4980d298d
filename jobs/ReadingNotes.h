// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "volume/ImageReader.h"
#include "volume/ValueRange.h"

#include <optional>
#include <string>

namespace TEVRA::jobs {

/// What a folder of slices lacks, if its numbers tell; nothing if it seems whole.
std::optional<std::string> MissingSlicesNote(const std::string& path, const volume::SImageInfo& info);

/// That pixels were compressed in a way that changes them. @param compression its name.
std::string LossText(const std::string& compression);

/// What was lost when values became floats.
struct SRoundingNote {
    std::string text;
    bool isSerious = false; ///< the image has less than 16 bits of contrast left
};

/// Nothing if no value was rounded. @param largestRounding of the reader. @param range of the values read.
std::optional<SRoundingNote> RoundingNote(const volume::SImageInfo& info, double largestRounding,
                                          const volume::SValueRange& range);

} // namespace TEVRA::jobs
