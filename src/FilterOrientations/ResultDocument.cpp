// SPDX-License-Identifier: BSD-3-Clause
#include "FilterOrientations/ResultDocument.h"

#include "FilterOrientations/AveragedProfile.h"
#include "FilterOrientations/FieldValues.h"
#include "FilterOrientations/SubfieldFiberDirections.h"
#include "zeklib2core/Exception.h"
#include "zeklib2core/ValueLeaf.h"

#include <iostream>
#include <locale>
#include <sstream>

namespace TEVRA::Impl {
namespace {

constexpr const char* MASK_GIVEN = "n/a (user-specified mask image)";
constexpr std::array<const char*, 3> LOWER_CORNERS{"x0", "y0", "z0"};
constexpr std::array<const char*, 3> UPPER_CORNERS{"x1", "y1", "z1"};

/// "name=value,", the value with six significant digits.
std::string summary_of(const char* name, double value) {
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << name << '=' << value << ',';
    return text.str();
}

} // namespace

std::unique_ptr<CTensorRank4> NewTensorRank4(int dim) {
    return std::make_unique<CTensorRank4>(dim, dim, dim, dim);
}

void AddSubfieldLimits(CValueMap* map, const CBox& box, int dim) {
    if (map == nullptr) {
        throw CException("LocalFiberDirectionsPlugin", "Invalid subfield map pointer.", nullptr);
    }
    auto limits = std::make_unique<CValueMap>();
    for (int axis = 0; axis < dim; ++axis) {
        const auto at = static_cast<std::size_t>(axis);
        limits->SetEntry(LOWER_CORNERS[at], new CValueLong(static_cast<long>(box.Point0()[axis])));
        limits->SetEntry(UPPER_CORNERS[at], new CValueLong(static_cast<long>(box.Point1()[axis])));
    }
    map->SetEntry(Key::AREA, limits.release());
}

CResultDocument::CResultDocument(const CSubfieldLayout& layout, const SAnalysisParameters& parameters)
    : m_layout(layout), m_parameters(parameters), m_root(std::make_unique<CValueMap>()),
      m_identifierWidth(layout.IdentifierWidth()),
      m_fieldSums(static_cast<std::size_t>(layout.Dim()), static_cast<std::size_t>(layout.Dim())),
      m_fieldSums4(parameters.fourthOrder ? NewTensorRank4(layout.Dim()) : nullptr) {
    m_root->SetEntry(Key::BORDER, new CValueLong(static_cast<long>(layout.Border())));
    if (layout.ListsSubfields()) {
        auto subfields = std::make_unique<CValueMap>();
        m_subfields = subfields.get();
        m_root->SetEntry(Key::SUBFIELDS, subfields.release());
    }
}

void CResultDocument::AddTile(const CBox& tile, const STileSums& sums) {
    if (m_subfields != nullptr && m_layout.HasFullSubfieldSize(tile)) {
        add_subfield(tile, sums);
    }
    if (sums.count > 0) {
        m_fieldSums += sums.second;
        ++m_tilesWithForeground;
        m_count += sums.count;
        if (m_fieldSums4 && sums.fourth != nullptr) {
            *m_fieldSums4 += *sums.fourth;
        }
    }
}

void CResultDocument::add_subfield(const CBox& tile, const STileSums& sums) {
    const int dim = m_layout.Dim();
    const double fraction = static_cast<double>(sums.count) / static_cast<double>(tile.Size().Elements());
    std::unique_ptr<CValueMap> entry = FieldValues(sums.second, sums.count, fraction, sums.fourth);
    if (sums.count < 1) {
        entry->SetEntry(Key::STATUS, NewText(STATUS_NO_FOREGROUND));
    }
    AddSubfieldLimits(entry.get(), tile, dim);
    const CPos& corner = tile.Point0();
    const std::string identifier =
        CSubfieldLayout::Identifier({corner[0], corner[1], dim == 3 ? corner[2] : 0}, dim, m_identifierWidth);
    m_subfields->SetEntry(identifier.c_str(), entry.release());
}

void CResultDocument::record_parameters(std::string& summary) {
    if (m_parameters.otsuFactor) {
        m_root->SetEntry(Key::OTSU_FACTOR, new CValueDouble(*m_parameters.otsuFactor));
        summary += summary_of("otsufactor", *m_parameters.otsuFactor);
    } else {
        m_root->SetEntry(Key::OTSU_FACTOR, NewText(MASK_GIVEN));
        summary += "otsufactor=n/a,";
    }
    m_root->SetEntry(Key::FIBER_RADIUS, new CValueDouble(m_parameters.fiberRadius));
    summary += summary_of("fiberradius", m_parameters.fiberRadius);
    if (m_subfields != nullptr) {
        const double size = static_cast<double>(m_layout.SubfieldSize()[0]) * m_parameters.spacing[0];
        m_subfields->SetEntry(Key::SUBFIELD_SIZE, new CValueDouble(size));
        summary += summary_of("subfieldsize", size);
    }
}

std::unique_ptr<CValueMap> CResultDocument::Finish(std::string& summary) {
    if (m_tilesWithForeground == 0) {
        throw CException(TEVRA_LOCATION("src/FilterOrientations/SubfieldFiberDirections",
                                        "TEVRA::CSubfieldFiberDirections::Compute", 210),
                         "No fields available. Check size and/or Otsu settings.");
    }
    const double fraction = static_cast<double>(m_count) / static_cast<double>(m_layout.EvaluatedPixels());
    std::unique_ptr<CValueMap> values = FieldValues(m_fieldSums, m_count, fraction, m_fieldSums4.get());
    CValueMap* field = values.get();
    m_root->SetEntry(Key::FIELD, values.release());
    record_parameters(summary);
    if (m_subfields != nullptr) {
        m_root->SetEntry(Key::PROFILES,
                         AveragedProfile(*m_root, m_parameters.spacing, m_layout.Dim()).release());
    }
    AddSubfieldLimits(field, m_layout.EvaluatedArea(), m_layout.Dim());
    if (m_subfields != nullptr) {
        if (field->HasEntry(Key::MEAN_DIRECTION)) {
            CSubfieldFiberDirections::AddDifferenceToMeanDirToEachSubfieldEntry(
                m_subfields, &field->Entry(Key::MEAN_DIRECTION)->Map());
        } else {
            std::cout << "WARNING: No mean fiber direction entry found in map." << std::endl;
        }
    }
    return std::move(m_root);
}

} // namespace TEVRA::Impl
