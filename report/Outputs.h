// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "report/RunRecord.h"
#include "report/Sections.h"

#include "Subfields/AnalysisResult.h"

#include <array>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace TEVRA::report {

/// What makes a file one of the outputs of a run.
enum class EOutputCondition {
    always,
    subfields,       ///< subfields are analysed
    fourthOrder,     ///< and fourth-order tensors are asked for
    exported,        ///< it is asked for by its name
    report,          ///< a report is asked for, and this build can make one
    pictures,        ///< pictures are asked for
    profilePictures, ///< and subfields are analysed
    maps,            ///< maps of angles are asked for
    mapsIn3d,        ///< and the image is 3D
    vectors,         ///< maps of unit vectors are asked for
    confidence,      ///< either of these, and the estimator knows how sure its axes are
    colors           ///< maps of colors are asked for
};

/// What of it holds for a run.
struct SOutputWishes {
    int dim = 3;
    bool subfields = false;
    bool maps = false;
    bool fourthOrder = false;
    std::vector<std::string> exports{}; ///< names of ExportNames
    bool confidence = false;            ///< the estimator has one
    bool report = false;
    bool pictures = false;
    bool vectors = false;
    bool colors = false;
    std::string mapEnding = "mha"; ///< of the files of maps
};

/// What the texts of outputs are made from: a finished run.
struct SReport {
    const Impl::SAnalysisResult& result;
    const SRunRecord& record;
    const SPictureData* pictures = nullptr; ///< for those that show any
};

/// A file that the field-by-field analysis or the filter bank writes.
struct SOutput {
    const char* file = "";
    const char* content = ""; ///< for help texts
    EOutputCondition condition = EOutputCondition::always;
    std::string (*text)(const SReport&) =
        nullptr; ///< null for images, which are written while the analysis runs, and of the bank
    const char* exportName = nullptr; ///< what it is asked for by, of those that are exported
};

inline constexpr const char* RESULT_FILE = "result.json";
inline constexpr const char* SUBFIELDS_FILE = "subfields.csv";
inline constexpr const char* PROFILES_FILE = "profiles.csv";
inline constexpr const char* FOURTH_ORDER_FILE = "subfields_a4.csv";
inline constexpr const char* REPORT_FILE = "report.html";
inline constexpr const char* SECTIONS_PICTURE = "sections.png";
inline constexpr const char* DIRECTIONS_PICTURE = "directions.png";
inline constexpr const char* PROFILES_PICTURE = "profiles.png";
inline constexpr const char* THETA_FILE = "theta.mha";
inline constexpr const char* PHI_FILE = "phi.mha";
inline constexpr const char* AXES_FILE = "axes.mha";
inline constexpr const char* CONFIDENCE_FILE = "confidence.mha";
inline constexpr const char* COLORS_FILE = "rgb.mha";
inline constexpr const char* RUN_RECORD_FILE = "run.json";
// Of the filter bank:
inline constexpr const char* INDEX_FILE = "index.mha";
inline constexpr const char* RESPONSE_FILE = "response.mha";
inline constexpr const char* COLATITUDE_FILE = "colatitude.mha";
inline constexpr const char* LONGITUDE_FILE = "longitude.mha";
inline constexpr const char* HISTOGRAM_FILE = "histogram.json";
inline constexpr const char* TENSOR_FILE = "tensor.json";

/// All outputs of the analysis, in the order in which they appear. The last is the run record: where it stands, the others
/// are complete.
///
/// A new output is a row here and the function that makes its text. Whoever announces, writes, removes or
/// explains outputs reads this table.
std::span<const SOutput> Outputs();

/// Those of the filter bank: all of them, always. The last is the run record.
std::span<const SOutput> FilterOutputs();

/// The names by which files for other programs are asked for.
std::vector<std::string> ExportNames();

/// The name of an output's file: of maps with the ending of their format.
std::string FileName(const SOutput& output, const SOutputWishes& wishes);
/// The same of a map by the name that the table has.
std::string MapFileName(const char* file, const SOutputWishes& wishes);

bool IsWanted(const SOutput& output, const SOutputWishes& wishes);

/// Whether its text is made from SReport::pictures, whatever the number of subfields.
bool ShowsPictures(const SOutput& output);

} // namespace TEVRA::report
