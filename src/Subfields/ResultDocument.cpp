// SPDX-License-Identifier: BSD-3-Clause
#include "Subfields/ResultDocument.h"

#include "zeklib2core/Exception.h"
#include "zeklib2core/StringTools.h"
#include "zeklib2core/ValueLeaf.h"

#include <string>

namespace TEVRA::Impl {
namespace {

constexpr const char* THRESHOLD_GIVEN = "n/a (user-specified threshold)";
constexpr const char* MASK_GIVEN = "n/a (user-specified mask image)";

CValue* whole_number(long long number) {
    return new CValueLong(static_cast<long>(number));
}

std::unique_ptr<CValueMap> tensor_map(const STensor2& tensor) {
    auto map = std::make_unique<CValueMap>();
    for (std::size_t i = 0; i < tensor.dim; ++i) {
        for (std::size_t j = 0; j < tensor.dim; ++j) {
            map->SetEntry(Key::COMPONENTS[i][j], new CValueDouble(tensor(i, j)));
        }
    }
    return map;
}

std::unique_ptr<CValueMap> tensor4_map(const STensor4& tensor) {
    auto map = std::make_unique<CValueMap>();
    for (std::size_t ij = 0; ij < tensor.dim * tensor.dim; ++ij) {
        for (std::size_t kl = 0; kl < tensor.dim * tensor.dim; ++kl) {
            const std::size_t i = ij / tensor.dim;
            const std::size_t j = ij % tensor.dim;
            const std::size_t k = kl / tensor.dim;
            const std::size_t l = kl % tensor.dim;
            const std::string key = std::string(Key::COMPONENTS[i][j]) + Key::COMPONENTS[k][l];
            map->SetEntry(key.c_str(), new CValueDouble(tensor(i, j, k, l)));
        }
    }
    return map;
}

CValue* otsu_factor(const SAnalysisRequest& parameters) {
    if (parameters.otsuFactor) {
        return new CValueDouble(*parameters.otsuFactor);
    }
    return NewText(parameters.threshold ? THRESHOLD_GIVEN : MASK_GIVEN);
}

std::unique_ptr<CValueMap> subfields_map(const SAnalysisResult& result,
                                         const std::function<void()>& afterSubfield) {
    auto map = std::make_unique<CValueMap>();
    for (const SFieldResult& subfield : result.subfields) {
        std::unique_ptr<CValueMap> entry = FieldMap(subfield.values, subfield.status);
        AddSubfieldLimits(entry.get(), subfield.box, result.dim);
        entry->SetEntry(Key::DIFFERENCE, new CValueDouble(subfield.differenceRad));
        map->SetEntry(subfield.identifier.c_str(), entry.release());
        if (afterSubfield) {
            afterSubfield();
        }
    }
    map->SetEntry(Key::SUBFIELD_SIZE, new CValueDouble(*result.subfieldSize));
    return map;
}

std::unique_ptr<CValueMap> slice_map(const SProfileSlice& slice) {
    auto map = std::make_unique<CValueMap>();
    if (slice.values) {
        map->SetEntry(Key::TENSOR, tensor_map(slice.values->tensor).release());
        if (!slice.values->tensor4.IsEmpty()) {
            map->SetEntry(Key::TENSOR4, tensor4_map(slice.values->tensor4).release());
        }
        if (slice.subfields == 0) { // the place of this key in a document
            map->SetEntry(Key::ANISOTROPY, new CValueDouble(0.0));
        }
    }
    map->SetEntry(Key::NUMBER_OF_SUBFIELDS, whole_number(slice.subfields));
    if (slice.values) {
        map->Merge(*FieldMap(*slice.values, slice.status));
        map->SetEntry(Key::DIFFERENCE, new CValueDouble(slice.differenceRad));
    }
    map->SetEntry(Key::STATUS, NewText(StatusText(slice.status)));
    map->SetEntry(Key::SLICE_POSITION, new CValueDouble(slice.position));
    return map;
}

std::unique_ptr<CValueMap> profiles_map(const SAnalysisResult& result) {
    auto map = std::make_unique<CValueMap>();
    for (std::size_t axis = 0; axis < static_cast<std::size_t>(result.dim); ++axis) {
        auto slices = std::make_unique<CValueMap>();
        for (const SProfileSlice& slice : result.profiles[axis]) {
            const long long last = result.profiles[axis].back().slicePx;
            slices->SetEntry(SliceName(slice.slicePx, last).c_str(), slice_map(slice).release());
        }
        map->SetEntry(Key::DIRECTIONS[axis], slices.release());
    }
    auto parameters = std::make_unique<CValueMap>();
    parameters->SetEntry(Key::OTSU_FACTOR, otsu_factor(result.parameters));
    parameters->SetEntry(Key::FIBER_RADIUS, new CValueDouble(result.parameters.fiberRadius));
    parameters->SetEntry(Key::BORDER, whole_number(result.borderPx));
    parameters->SetEntry(Key::SUBFIELD_SIZE, new CValueDouble(*result.subfieldSize));
    map->SetEntry(Key::PARAMETERS, parameters.release());
    return map;
}

} // namespace

CValue* NewText(const char* text) {
    return new CValueString(text, CString::NPOS);
}

std::unique_ptr<CValueMap> FieldMap(const STensorValues& values, EFieldStatus status) {
    auto direction = std::make_unique<CValueMap>();
    auto eigenvalues = std::make_unique<CValueMap>();
    for (std::size_t i = 0; i < values.tensor.dim; ++i) {
        direction->SetEntry(Key::AXES[i], new CValueDouble(values.meanDirection[i]));
        eigenvalues->SetEntry(static_cast<int>(i), new CValueDouble(values.eigenvalues[i]));
    }
    auto field = std::make_unique<CValueMap>();
    field->SetEntry(Key::TENSOR, tensor_map(values.tensor).release());
    if (!values.tensor4.IsEmpty()) {
        field->SetEntry(Key::TENSOR4, tensor4_map(values.tensor4).release());
    }
    field->SetEntry(Key::EIGENVALUES, eigenvalues.release());
    field->SetEntry(Key::MEAN_DIRECTION, direction.release());
    field->SetEntry(Key::ANISOTROPY, new CValueDouble(values.anisotropy));
    field->SetEntry(Key::STATUS, NewText(StatusText(status)));
    return field;
}

std::string SliceName(long long slicePx, long long lastSlicePx) {
    const int width = CSubfieldLayout::DigitsOf(static_cast<int>(lastSlicePx));
    const std::string format = CStringTools::Printf("%s %%0%ulu", "slice", static_cast<unsigned>(width));
    return CStringTools::Printf(format.c_str(), static_cast<unsigned long>(slicePx));
}

void AddSubfieldLimits(CValueMap* map, const CBox& box, int dim) {
    if (map == nullptr) {
        throw CException("LocalFiberDirectionsPlugin", "Invalid subfield map pointer.", nullptr);
    }
    auto limits = std::make_unique<CValueMap>();
    for (int axis = 0; axis < dim; ++axis) {
        const auto at = static_cast<std::size_t>(axis);
        limits->SetEntry(Key::LOWER_CORNERS[at], whole_number(box.Point0()[axis]));
        limits->SetEntry(Key::UPPER_CORNERS[at], whole_number(box.Point1()[axis]));
    }
    map->SetEntry(Key::AREA, limits.release());
}

std::unique_ptr<CValueMap> ResultDocument(const SAnalysisResult& result,
                                          const std::function<void()>& afterSubfield) {
    auto root = std::make_unique<CValueMap>();
    root->SetEntry(Key::BORDER, whole_number(result.borderPx));
    if (result.ListsSubfields()) {
        root->SetEntry(Key::SUBFIELDS, subfields_map(result, afterSubfield).release());
    }
    std::unique_ptr<CValueMap> field = FieldMap(result.field.values, result.field.status);
    AddSubfieldLimits(field.get(), result.field.box, result.dim);
    root->SetEntry(Key::FIELD, field.release());
    root->SetEntry(Key::OTSU_FACTOR, otsu_factor(result.parameters));
    root->SetEntry(Key::FIBER_RADIUS, new CValueDouble(result.parameters.fiberRadius));
    if (result.ListsSubfields()) {
        root->SetEntry(Key::PROFILES, profiles_map(result).release());
    }
    return root;
}

} // namespace TEVRA::Impl
