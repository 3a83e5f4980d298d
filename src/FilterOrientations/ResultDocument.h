// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "FilterOrientations/HessianOrientations.h"
#include "FilterOrientations/SubfieldLayout.h"
#include "Numeric/Matrix.h"
#include "zeklib2core/ValueMap.h"

#include <array>
#include <memory>
#include <optional>
#include <string>

namespace TEVRA::Impl {

/// Sums over the foreground pixels of one tile.
struct STileSums {
    const CMatrix<double>& second; ///< d x d
    long long count;
    const CTensorRank4* fourth; ///< d x d x d x d; null if not asked for
};

/// What the document records of an analysis, in the image's physical unit.
struct SAnalysisParameters {
    double fiberRadius;
    std::optional<double> otsuFactor; ///< none if the caller gave a mask
    std::array<double, 3> spacing;    ///< per axis, positive
    bool fourthOrder;
};

/// Builds the result document from the sums of the tiles.
///
///     CResultDocument document(layout, parameters);
///     for each tile in order: document.AddTile(box, sums);
///     std::unique_ptr<CValueMap> root = document.Finish(summary);
class CResultDocument {
  public:
    CResultDocument(const CSubfieldLayout& layout, const SAnalysisParameters& parameters);

    /// Adds one tile: an entry of its own if it is a full subfield, and its share of the whole field.
    void AddTile(const CBox& tile, const STileSums& sums);

    /// Completes the document, and appends the parameter summary to `summary`.
    /// @throws CException if no tile had a foreground pixel.
    std::unique_ptr<CValueMap> Finish(std::string& summary);

  private:
    void add_subfield(const CBox& tile, const STileSums& sums);
    void record_parameters(std::string& summary);

    const CSubfieldLayout& m_layout;
    SAnalysisParameters m_parameters;
    std::unique_ptr<CValueMap> m_root;
    CValueMap* m_subfields = nullptr; // owned by m_root; null if no subfields are listed
    int m_identifierWidth;
    CMatrix<double> m_fieldSums;
    std::unique_ptr<CTensorRank4> m_fieldSums4;
    long long m_tilesWithForeground = 0;
    long long m_count = 0;
};

/// A fourth-order tensor of a dimension's size.
std::unique_ptr<CTensorRank4> NewTensorRank4(int dim);

/// Adds the "Evaluated area" block to a field's map. @throws CException if the map is null.
void AddSubfieldLimits(CValueMap* map, const CBox& box, int dim);

} // namespace TEVRA::Impl
