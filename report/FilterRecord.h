// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "report/RunParts.h"

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace TEVRA::report {

/// A box of pixels by its corners, x first.
struct SPixelBox {
    std::vector<long long> lower;
    std::vector<long long> upper; ///< exclusive
};

/// What the filter bank is asked to do.
struct SFilterParameters {
    double majorWidth = 0.0;        ///< along the direction: pi times the standard deviation, in pixels
    double minorWidth = 0.0;        ///< across, likewise
    std::string resolution;         ///< "coarse", "medium" or "fine"
    std::optional<SPixelBox> boxPx; ///< none: the whole image
    std::vector<long long> rimPx;   ///< per axis, or one for all; empty: as far as the filters reach
    std::optional<std::string> maskPath;
    int threads = 1;
};

/// The mean of the outer products of the directions in a box with themselves.
struct SBoxTensor {
    SPixelBox boxPx; ///< of the pixels that were looked at
    long long pixels = 0;
    std::vector<double> components;  ///< xx, xy, xz, yy, yz, zz; in the plane xx, xy, yy
    std::vector<double> eigenvalues; ///< largest first; empty without pixels
};

/// A direction of the filter bank and the number of pixels that it won.
struct SDirectionCount {
    std::vector<double> direction; ///< x, y and, in space, z
    long long pixels = 0;
};

/// What a run of the filter bank worked on and with.
struct SFilterRecord {
    /// What the image is continued by where filters reach beyond it.
    struct SBackground {
        double level = 0.0; ///< grey value
        std::string source; ///< of the pixels that it is the median of: "mask" or "threshold"
    };
    /// The pixels in tensor and histogram.
    struct SEvaluated {
        SPixelBox boxPx;
        std::vector<long long> rimPx; ///< per axis, left out on either side
        long long pixels = 0;         ///< with a direction
    };
    struct STransform {
        long long framePx = 0; ///< around the image on every side
        std::vector<long long> sizePx;
    };
    struct SMemory {
        std::size_t allowedBytes = 0;
        std::size_t expectedBytes = 0; ///< most at a time
    };
    struct SSeconds {
        double read = 0.0;
        double filter = 0.0;
        double total = 0.0; ///< until the results were written
    };

    std::string version;
    std::string startTime; ///< UTC, ISO 8601
    SRunInput input;
    SFilterParameters parameters;
    std::size_t directions = 0; ///< of the resolution
    SBackground background;
    SRunForeground foreground;
    SEvaluated evaluated;
    STransform transform;
    SMemory memory;
    SSeconds seconds;
    std::vector<std::string> files;     ///< written beside the record
    std::vector<SFileCheck> fileChecks; ///< of these
};

/// The tensor as it stands in tensor.json.
std::string TensorJson(const SBoxTensor& tensor);
/// The directions as they stand in histogram.json: under every number its components and the pixels.
std::string HistogramJson(std::span<const SDirectionCount> directions);
/// The record as it stands in run.json. What is not there is null.
std::string RunJson(const SFilterRecord& record);

} // namespace TEVRA::report
