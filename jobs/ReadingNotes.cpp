// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/ReadingNotes.h"

#include "jobs/Texts.h"

namespace TEVRA::jobs {

std::optional<std::string> MissingSlicesNote(const std::string& path, const volume::SImageInfo& info) {
    if (info.missingSlices.empty()) {
        return std::nullopt;
    }
    return "the folder '" + path + "' seems to lack slices: no file has the number " + info.missingSlices +
           "; what is there is read as if it were whole";
}

std::string LossText(const std::string& compression) {
    return "pixels were compressed with losses (" + compression +
           "), whose traces are measured like fibers; take the original if there is one";
}

std::optional<SRoundingNote> RoundingNote(const volume::SImageInfo& info, double largestRounding,
                                          const volume::SValueRange& range) {
    constexpr double SERIOUS = 1.0 / 65536.0;
    if (!(largestRounding > 0.0)) {
        return std::nullopt;
    }
    const bool isSerious = largestRounding > SERIOUS * (range.hi - range.lo);
    return SRoundingNote{"values (" + info.storedType + ") were rounded to 32-bit float, by up to " +
                             RoundedText(largestRounding, 2) +
                             (isSerious ? " in a range from " + RoundedText(range.lo) + " to " +
                                              RoundedText(range.hi) +
                                              "; subtract a constant from them so that they begin near 0"
                                        : ""),
                         isSerious};
}

} // namespace TEVRA::jobs
