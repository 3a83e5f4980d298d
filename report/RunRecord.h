// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "report/RunParts.h"

#include "Subfields/AnalysisRequest.h"
#include "Subfields/AnalysisResult.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace TEVRA::report {

/// What a run of the field-by-field analysis worked on and with: all that a reader of its results may ask for
/// besides the results themselves.
struct SRunRecord {
    using SInput = SRunInput;
    struct SParameters {
        Impl::SAnalysisRequest request;
        std::optional<std::string> maskPath;
        std::optional<std::array<double, 3>> reference; ///< unit vector that mean directions are held against
        int threads = 1;
        int processes = 1;
        std::string summary;             ///< as the analysis gives it
        std::vector<long long> borderPx; ///< left out at every edge, per axis
        /// What the estimator works with, in the unit of lengths.
        struct SScale {
            std::string name; ///< as in "sigma"
            double length;
        };
        std::vector<SScale> scales;
        /// Pixels per axis at the far edge that lie in no subfield; empty without subfields.
        std::vector<long long> beyondSubfieldsPx;
    };
    using SForeground = SRunForeground;

    /// Of the files of maps, for formats that do not say it themselves.
    struct SMaps {
        std::string format;            ///< ending of the files
        std::string angleUnit;         ///< "rad" or "deg"
        long long stride = 1;          ///< every so many pixels along every axis
        std::vector<long long> sizePx; ///< x first
        std::vector<double> spacing;   ///< x first; empty: none
        std::vector<double>
            firstCentre;           ///< of the first pixel, from the outer edge of the image's first pixel
        double noColatitude = 0.0; ///< marks pixels without an axis
        double noAngle = 0.0;      ///< likewise
    };

    /// Of one process, the one with most of the image.
    struct SMemory {
        std::size_t allowedBytes = 0;
        std::size_t expectedBytes = 0; ///< most at a time
        std::size_t scratchBytes = 0;  ///< of smoothed slices
        std::string scratchPlace;      ///< "memory" or "file"
    };
    /// How sure the axes are, of estimators that know.
    struct SConfidence {
        double mean = 0.0;                          ///< of the whole field, in [0, 1]
        std::optional<double> doubtfulFraction{};   ///< likewise
        std::optional<double> lowestSubfieldMean{}; ///< of subfields with axes, if any are listed
        std::string lowestSubfield{};               ///< its identifier
    };
    /// What makes one doubt the results.
    struct SWarning {
        std::string kind;            ///< as in "tiny-foreground"
        std::optional<double> value; ///< none of kinds that have no number
        std::string text;            ///< for people
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
    std::optional<SConfidence> confidence{};
    std::vector<SWarning> warnings{};
    SMemory memory;
    std::optional<SMaps> maps{};     ///< none without maps
    std::vector<SPass> passes;       ///< in order
    std::vector<double> idleSeconds; ///< that each process waited for others; empty for a single one
    double analyzeSeconds = 0.0;
    double totalSeconds = 0.0;          ///< until the results were written
    std::vector<std::string> files;     ///< written beside the record
    std::vector<SFileCheck> fileChecks; ///< of these
};

/// Of a finished analysis.
std::optional<SRunRecord::SConfidence> ConfidenceOf(const Impl::SAnalysisResult& result);

/// Whether a share of foreground is what images of fibers have.
enum class EForegroundShare { plausible, tiny, huge };

/// Shares outside of these make one doubt that the foreground is the fibers.
inline constexpr double TINY_FOREGROUND_SHARE = 0.03;
inline constexpr double HUGE_FOREGROUND_SHARE = 0.9;

/// Of a foreground that a threshold selected; one of a mask is what its maker wanted.
EForegroundShare ForegroundShare(const SRunForeground& foreground);

/// Where numbers come from, in one line for files that hold them: program, version, image and its checksum.
std::string SourceText(const SRunRecord& record);

/// The record as it stands in run.json. What is not there is null.
std::string RunJson(const SRunRecord& record);

} // namespace TEVRA::report
