// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace TEVRA::report {

/// Where the spacing of a run came from.
enum class ESpacingOrigin {
    none,   ///< nowhere: lengths are in pixels
    header, ///< the image file
    option  ///< the caller
};

/// The grey values that became 0 and 255 when an image was brought to 8 bit.
struct SGreyRange {
    double lo;
    double hi;
};

/// What a run of the field-by-field analysis worked on and with: all that a reader of its results may ask for
/// besides the results themselves.
struct SRunRecord {
    struct SInput {
        std::string path;
        std::string format;
        std::vector<long long> sizePx; ///< per axis, x first
        std::string storedType;        ///< of the pixels in the file, as in "16-bit signed integer"
        std::optional<std::array<double, 3>> spacing;
        std::string lengthUnit; ///< as in "mm"; "px" without spacing; empty if it has no name
        ESpacingOrigin spacingOrigin = ESpacingOrigin::none;
        std::optional<SGreyRange> greyWindow; ///< none if the image was taken as it is
        long long nanPixels = 0;              ///< that had no value and count as darkest
        long long infinitePixels = 0;         ///< that count as darkest or brightest
    };
    struct SParameters {
        double fiberRadius = 0.0; ///< in the length unit
        double fiberRadiusPx = 0.0;
        double otsuFactor = 0.0;
        std::vector<long long> subfieldPx; ///< per axis; empty for the whole field only
        std::optional<std::string> maskPath;
        bool fourthOrder = false;
        int threads = 1;
        int processes = 1;
        std::string summary; ///< as the analysis gives it
    };
    struct SForeground {
        std::optional<double> threshold; ///< grey value of the smoothed image; none with a mask
        long long pixels = 0;            ///< that have a direction
        long long ofPixels = 0;          ///< of the image
    };

    /// Of one process, the one with most of the image.
    struct SMemory {
        std::size_t allowedBytes = 0;
        std::size_t expectedBytes = 0; ///< most at a time
        std::size_t scratchBytes = 0;  ///< of smoothed slices
        std::string scratchPlace;      ///< "memory" or "file"
    };
    /// One pass over the image.
    struct SPass {
        std::string name;
        double seconds;
    };

    std::string version;
    std::string startTime; ///< UTC, ISO 8601
    SInput input;
    SParameters parameters;
    SForeground foreground;
    SMemory memory;
    std::vector<SPass> passes;       ///< in order
    std::vector<double> idleSeconds; ///< that each process waited for others; empty for a single one
    double analyzeSeconds = 0.0;
    double totalSeconds = 0.0;      ///< until the results were written
    std::vector<std::string> files; ///< written beside the record
};

/// The record as it stands in run.json. What is not there is null.
std::string RunJson(const SRunRecord& record);

} // namespace TEVRA::report
