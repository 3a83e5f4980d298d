// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace TEVRA::report {

// What the records of all commands have in common: program, input, foreground, files.

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

/// What tells a file from others, and from itself after a change.
struct SFileCheck {
    std::string name;
    unsigned long long bytes = 0;
    std::string checksum;
    std::string checksumOf = "all bytes"; ///< or of which ones, as in "64 blocks of 4096 bytes"
};

/// The image a run worked on.
struct SRunInput {
    std::string path;
    std::optional<SFileCheck>
        check{}; ///< of its files one after the other; none if there are none, as in memory
    std::string format;
    std::vector<long long> sizePx; ///< per axis, x first
    std::string storedType;        ///< of the pixels in the file, as in "16-bit signed integer"
    std::optional<std::array<double, 3>> spacing;
    std::string lengthUnit; ///< as in "mm"; "px" without spacing; empty if it has no name
    ESpacingOrigin spacingOrigin = ESpacingOrigin::none;
    std::optional<SGreyRange> greyWindow; ///< none if the image was taken as it is
    long long nanPixels = 0;              ///< that had no value and count as darkest
    long long infinitePixels = 0;         ///< that count as darkest or brightest
    std::string missingSlices;            ///< numbers that a folder of slices lacks; empty if none
    double largestRounding = 0.0;         ///< of values that became floats
};

/// The pixels that counted as fibers.
struct SRunForeground {
    std::optional<double>
        threshold;          ///< grey value, of the smoothed image if it was smoothed; none with a mask
    long long pixels = 0;   ///< that have a direction
    long long ofPixels = 0; ///< of the image
};

/// The head of every run record: program, version, command and start.
/// @param startTime UTC, ISO 8601.
nlohmann::ordered_json RecordHead(const std::string& command, const std::string& version,
                                  const std::string& startTime);
nlohmann::ordered_json ToJson(const SRunInput& input);
nlohmann::ordered_json ToJson(const SRunForeground& foreground);
/// The files written beside the record.
nlohmann::ordered_json FilesJson(const std::vector<std::string>& files);
/// By name, sizes and checksums of these files.
nlohmann::ordered_json FileChecksJson(const std::vector<SFileCheck>& files);

} // namespace TEVRA::report
