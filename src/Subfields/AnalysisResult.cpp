// SPDX-License-Identifier: BSD-3-Clause
#include "Subfields/AnalysisResult.h"

#include <locale>
#include <map>
#include <sstream>
#include <utility>

namespace TEVRA::Impl {
namespace {

/// "name=value,", the value with six significant digits.
std::string summary_of(const char* name, double value) {
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << name << '=' << value << ',';
    return text.str();
}

/// Sums of the tensors of the valid subfields of one slice.
struct SSliceSums {
    long long subfields = 0;
    STensor2 tensor;
    STensor4 tensor4;
    std::optional<double> confidence;

    void Add(const SFieldResult& subfield) {
        const STensorValues& values = subfield.values;
        if (subfields++ == 0) {
            tensor = values.tensor;
            tensor4 = values.tensor4;
        } else {
            tensor += values.tensor;
            tensor4 += values.tensor4;
        }
        if (subfield.meanConfidence) {
            confidence = confidence.value_or(0.0) + *subfield.meanConfidence;
        }
    }
};

/// What stands for the average of no subfields: tensors like those of valid ones, all zero.
SSliceSums zeros_like(const STensorValues& values) {
    SSliceSums zeros;
    zeros.tensor.dim = values.tensor.dim;
    zeros.tensor4 = values.tensor4.IsEmpty() ? STensor4() : STensor4(values.tensor4.dim);
    return zeros;
}

STensorValues averaged(SSliceSums sums) {
    if (sums.subfields > 0) {
        sums.tensor /= static_cast<double>(sums.subfields);
        sums.tensor4 /= static_cast<double>(sums.subfields);
    }
    return EvaluateTensor(sums.tensor, 1, sums.tensor4);
}

double difference(const STensorValues& own, const SAnalysisResult& result) {
    return DifferenceOfDirections(own.meanDirection.data(), result.field.values.meanDirection.data(),
                                  static_cast<std::size_t>(result.dim));
}

} // namespace

CResultBuilder::CResultBuilder(const CSubfieldLayout& layout, const SAnalysisRequest& parameters,
                               EConfidence confidence)
    : m_layout(layout), m_confidence(confidence), m_identifierWidth(layout.IdentifierWidth()) {
    const auto dim = static_cast<std::size_t>(layout.Dim());
    m_result.dim = layout.Dim();
    m_result.parameters = parameters;
    m_result.borderPx = layout.Border();
    if (layout.ListsSubfields()) {
        m_result.subfieldSize = layout.MeanSubfieldExtent(0) * parameters.spacing[0];
    }
    m_fieldSums.dim = dim;
    m_fieldSums4 = parameters.withFourthOrder ? STensor4(dim) : STensor4();
}

void CResultBuilder::AddTile(const TileIndex& index, const STileSums& sums) {
    const CBox tile = m_layout.Tile(index);
    if (m_result.ListsSubfields() && m_layout.HasFullSubfieldSize(tile)) {
        add_subfield(index, tile, sums);
    }
    if (sums.count > 0) {
        m_fieldSums += sums.second;
        m_count += sums.count;
        m_fieldConfidence.Add(sums.confidence);
        if (!m_fieldSums4.IsEmpty() && !sums.fourth.IsEmpty()) {
            m_fieldSums4 += sums.fourth;
        }
    }
}

void CResultBuilder::add_subfield(const TileIndex& index, const CBox& tile, const STileSums& sums) {
    SFieldResult subfield;
    subfield.box = tile;
    subfield.index = index;
    const CPos& corner = tile.Point0();
    subfield.identifier = CSubfieldLayout::Identifier(
        {corner[0], corner[1], m_result.dim == 3 ? corner[2] : 0}, m_result.dim, m_identifierWidth);
    subfield.pixels = static_cast<long long>(tile.Size().Elements());
    subfield.foregroundPixels = sums.count;
    subfield.foregroundFraction = static_cast<double>(sums.count) / static_cast<double>(subfield.pixels);
    set_confidence(sums.confidence, subfield);
    subfield.values = EvaluateTensor(sums.second, sums.count, sums.fourth);
    subfield.status =
        sums.count < 1 ? EFieldStatus::noForeground : StatusOfFraction(subfield.foregroundFraction);
    m_result.subfields.push_back(std::move(subfield));
}

void CResultBuilder::set_confidence(const SConfidenceSums& sums, SFieldResult& field) const {
    if (field.foregroundPixels < 1 || m_confidence == EConfidence::none) {
        return;
    }
    field.meanConfidence = sums.Mean(field.foregroundPixels);
    if (m_confidence == EConfidence::absolute) {
        field.doubtfulFraction =
            static_cast<double>(sums.doubtful) / static_cast<double>(field.foregroundPixels);
    }
}

SAnalysisResult CResultBuilder::Finish() {
    SFieldResult& field = m_result.field;
    field.box = m_layout.EvaluatedArea();
    field.pixels = m_layout.EvaluatedPixels();
    field.foregroundPixels = m_count;
    field.foregroundFraction = static_cast<double>(m_count) / static_cast<double>(field.pixels);
    set_confidence(m_fieldConfidence, field);
    field.values = EvaluateTensor(m_fieldSums, m_count, m_fieldSums4);
    field.status = StatusOfFraction(field.foregroundFraction);
    for (SFieldResult& subfield : m_result.subfields) {
        subfield.differenceRad = difference(subfield.values, m_result);
    }
    if (m_result.ListsSubfields()) {
        m_result.profiles = AveragedProfiles(m_result);
    }
    return std::move(m_result);
}

std::array<std::vector<SProfileSlice>, 3> AveragedProfiles(const SAnalysisResult& result) {
    std::array<std::map<long long, SSliceSums>, 3> slicesOfAxis; // by lower corner along the axis
    std::optional<STensorValues> zeros;
    for (const SFieldResult& subfield : result.subfields) {
        const bool isValid = subfield.status == EFieldStatus::ok;
        if (isValid && !zeros) {
            zeros = averaged(zeros_like(subfield.values));
        }
        for (int axis = 0; axis < result.dim; ++axis) {
            SSliceSums& slice = slicesOfAxis[static_cast<std::size_t>(axis)][subfield.box.Point0()[axis]];
            if (isValid) {
                slice.Add(subfield);
            }
        }
    }
    std::array<std::vector<SProfileSlice>, 3> profiles;
    for (std::size_t axis = 0; axis < static_cast<std::size_t>(result.dim); ++axis) {
        for (const auto& [slicePx, sums] : slicesOfAxis[axis]) {
            SProfileSlice slice;
            slice.slicePx = slicePx;
            slice.position = static_cast<double>(slicePx) * result.parameters.spacing[axis];
            slice.subfields = sums.subfields;
            slice.values = sums.subfields > 0 ? std::optional(averaged(sums)) : zeros;
            slice.status = sums.subfields > 0 ? EFieldStatus::ok : EFieldStatus::noSubfields;
            slice.differenceRad = slice.values ? difference(*slice.values, result) : 0.0;
            if (sums.confidence) {
                slice.meanConfidence = *sums.confidence / static_cast<double>(sums.subfields);
            }
            profiles[axis].push_back(std::move(slice));
        }
    }
    return profiles;
}

std::string ParameterSummary(const SAnalysisResult& result) {
    const SAnalysisRequest& parameters = result.parameters;
    return (parameters.otsuFactor ? summary_of("otsufactor", *parameters.otsuFactor) : "otsufactor=n/a,") +
           summary_of("fiberradius", parameters.fiberRadius) +
           (result.subfieldSize ? summary_of("subfieldsize", *result.subfieldSize) : "");
}

} // namespace TEVRA::Impl
