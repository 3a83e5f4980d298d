// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Axes/ConfidenceSums.h"
#include "Subfields/AnalysisRequest.h"
#include "Subfields/FieldResult.h"

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace TEVRA::Impl {

/// The subfields whose lower corner is one slice of the image, averaged.
struct SProfileSlice {
    long long slicePx = 0;                 ///< the lower corner along the axis
    double position = 0.0;                 ///< the same in the image's physical unit
    long long subfields = 0;               ///< that the averages are made of: those with status ok
    std::optional<STensorValues> values{}; ///< all zero without such subfields; none if the image has none
    EFieldStatus status = EFieldStatus::ok;
    double differenceRad = 0.0;             ///< angle to the whole field's mean direction, [0, pi/2]
    std::optional<double> meanConfidence{}; ///< average of the subfields' own; none without such
};

/// Histogram of the smoothed grey values, in bins of equal width.
struct SGreyHistogram {
    double lo = 0.0;                        ///< lower end of the first bin
    double hi = 0.0;                        ///< upper end of the last bin
    std::vector<unsigned long long> counts; ///< pixels by bin
};

/// A part of the work and the time it took.
struct SPassTime {
    std::string name;
    double seconds = 0.0;
};

/// All that an analysis has found. Documents, tables and reports are written from it.
struct SAnalysisResult {
    int dim = 3;
    SAnalysisRequest parameters;         ///< as it was carried out
    long long borderPx = 0;              ///< left out around the evaluated area, along x
    SFieldResult field;                  ///< the evaluated area
    std::vector<SFieldResult> subfields; ///< if any are listed, x fastest; those without foreground, too
    /// Size of the subfields along x in the image's physical unit; none if no subfields are listed.
    std::optional<double> subfieldSize{};
    std::array<std::vector<SProfileSlice>, 3> profiles; ///< by axis, in ascending order of slices
    // Of analyses slice by slice only:
    std::optional<double> threshold{};                 ///< grey value of the smoothed image; none with a mask
    std::optional<SGreyHistogram> smoothedHistogram{}; ///< none with a mask
    std::vector<SPassTime> passes;

    bool ListsSubfields() const noexcept { return subfieldSize.has_value(); }
};

/// Sums over the foreground pixels of one tile.
struct STileSums {
    STensor2 second;
    long long count = 0;
    STensor4 fourth;              ///< empty if not asked for
    SConfidenceSums confidence{}; ///< where there is one
};

/// Makes the result from the sums of the tiles.
///
///     CResultBuilder builder(layout, parameters);
///     for each tile in order: builder.AddTile(index, sums);
///     if (builder.HasForeground()) { SAnalysisResult result = builder.Finish(); }
class CResultBuilder {
  public:
    /// @param layout must outlive the object. @param confidence of the sums of the tiles.
    CResultBuilder(const CSubfieldLayout& layout, const SAnalysisRequest& parameters,
                   EConfidence confidence = EConfidence::none);

    /// Adds one tile: a subfield of its own if it is a full one, and its share of the whole field.
    void AddTile(const TileIndex& index, const STileSums& sums);
    bool HasForeground() const noexcept { return m_count > 0; }
    /// Evaluates the whole field, the profiles and the differences. To be called once.
    SAnalysisResult Finish();

  private:
    void set_confidence(const SConfidenceSums& sums, SFieldResult& field) const;
    void add_subfield(const TileIndex& index, const CBox& tile, const STileSums& sums);

    const CSubfieldLayout& m_layout;
    EConfidence m_confidence;
    SAnalysisResult m_result;
    int m_identifierWidth;
    STensor2 m_fieldSums;
    STensor4 m_fieldSums4;
    SConfidenceSums m_fieldConfidence;
    long long m_count = 0;
};

/// Subfields averaged slice by slice along each axis. Values and difference to `globalDirection` are those of
/// the averaged tensors.
std::array<std::vector<SProfileSlice>, 3> AveragedProfiles(const SAnalysisResult& result);

/// "otsufactor=...,fiberradius=...,[subfieldsize=...,]"; numbers with six significant digits.
std::string ParameterSummary(const SAnalysisResult& result);

} // namespace TEVRA::Impl
