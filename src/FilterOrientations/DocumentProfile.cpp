// SPDX-License-Identifier: BSD-3-Clause
#include "FilterOrientations/DocumentProfile.h"

#include "Subfields/ResultDocument.h"
#include "VexoUtils/ValueMapWithOperators.h"
#include "zeklib2core/ValueLeaf.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace TEVRA::Impl {
namespace {

std::string path(const char* map, const char* key) {
    return std::string(map) + "/" + key;
}

/// What an average of subfields would not be meaningful for.
const std::vector<std::string>& keys_left_out() {
    static const std::vector<std::string> keys{Key::EIGENVALUES, Key::MEAN_DIRECTION, Key::ANISOTROPY,
                                               Key::AREA, Key::STATUS};
    return keys;
}

/// Sum of the valid subfields of one slice.
struct SSlice {
    std::int32_t count = 0;
    CValueMapWithOperators sum;
};

using Slices = std::map<std::int32_t, SSlice>; // by lower corner along the axis, in pixels

bool is_ok(const CValueMap& subfield) {
    return subfield.HasEntry(Key::STATUS, CValue::eString) &&
           subfield.Entry(Key::STATUS)->String().Text() == StatusText(EFieldStatus::ok);
}

bool is_valid(const CValueMap& subfield) {
    return !subfield.HasEntry(Key::STATUS, CValue::eString) || is_ok(subfield);
}

void add_to_slice(SSlice& slice, const CValueMap& subfield) {
    if (slice.count == 0) {
        slice.sum = CValueMapWithOperators(subfield, keys_left_out());
    } else {
        slice.sum += subfield;
    }
    ++slice.count;
}

void set_numbers_to_zero(CValueMap& map) {
    for (const CValue_Key& key : map.Keys()) {
        CValue* value = map.Entry(key);
        if (value->GenericType() == CValue::eDouble) {
            value->Double() = 0.0;
        } else if (value->GenericType() == CValue::eLong) {
            value->Long() = 0;
        } else if (value->GenericType() == CValue::eMap) {
            set_numbers_to_zero(value->Map());
        }
    }
}

/// Stands for the average of no subfields: shaped like one, all zero. Empty without a valid subfield to copy.
CValueMapWithOperators zero_template(const CValueMap* source) {
    if (source == nullptr) {
        return {};
    }
    CValueMapWithOperators zeros(*source, keys_left_out());
    set_numbers_to_zero(zeros);
    for (const std::string& key : keys_left_out()) {
        if (source->HasEntry(key.c_str(), CValue::eBool)) {
            zeros.SetEntry(key.c_str(), new CValueBool(false));
        } else if (source->HasEntry(key.c_str(), CValue::eLong)) {
            zeros.SetEntry(key.c_str(), new CValueLong(0));
        } else if (source->HasEntry(key.c_str(), CValue::eDouble)) {
            zeros.SetEntry(key.c_str(), new CValueDouble(0.0));
        }
    }
    return zeros;
}

STensor2 tensor_of(const CValueMap& field) {
    const CValueMap& map = field.Entry(Key::TENSOR)->Map();
    STensor2 tensor;
    tensor.dim = map.HasEntry(Key::COMPONENTS[2][2]) ? 3 : 2;
    for (std::size_t i = 0; i < tensor.dim; ++i) {
        for (std::size_t j = 0; j < tensor.dim; ++j) {
            tensor(i, j) = map.Entry(Key::COMPONENTS[i][j])->Double();
        }
    }
    return tensor;
}

CValueMapWithOperators averaged(const SSlice& slice, const CValueMapWithOperators& zeros,
                                const std::vector<double>& globalDirection) {
    CValueMapWithOperators average(slice.count == 0 ? zeros : slice.sum);
    if (slice.count != 0) {
        average /= static_cast<double>(slice.count);
    }
    average.SetEntry(Key::NUMBER_OF_SUBFIELDS, new CValueLong(slice.count));
    if (average.HasEntry(Key::TENSOR)) {
        average.Merge(*FieldMap(EvaluateTensor(tensor_of(average), 1, {}), EFieldStatus::ok));
        AddDifference(average, globalDirection);
    }
    if (slice.count == 0) {
        average.SetEntry(Key::STATUS, NewText(StatusText(EFieldStatus::noSubfields)));
    }
    return average;
}

std::unique_ptr<CValueMap> slice_map(const Slices& slices, const CValueMapWithOperators& zeros,
                                     const std::vector<double>& globalDirection, double spacing) {
    auto map = std::make_unique<CValueMap>();
    for (const auto& [coordinate, slice] : slices) {
        auto entry = std::make_unique<CValueMap>(averaged(slice, zeros, globalDirection));
        entry->SetEntry(Key::SLICE_POSITION, new CValueDouble(coordinate * spacing));
        map->SetEntry(SliceName(coordinate, slices.rbegin()->first).c_str(), entry.release());
    }
    return map;
}

std::unique_ptr<CValueMap> parameter_map(const CValueMap& root) {
    auto parameters = std::make_unique<CValueMap>();
    const auto copy = [&](const char* key, const CValue* value) {
        if (value != nullptr) {
            parameters->SetEntry(key, value->Clone(eTfShare));
        }
    };
    for (const char* key : {Key::OTSU_FACTOR, Key::FIBER_RADIUS, Key::BORDER}) {
        copy(key, root.Entry(key));
    }
    copy(Key::SUBFIELD_SIZE, root.Entry(path(Key::SUBFIELDS, Key::SUBFIELD_SIZE).c_str()));
    return parameters;
}

} // namespace

std::vector<double> DirectionOf(const CValueMap& direction) {
    std::vector<double> components{direction.Entry(Key::AXES[0])->Double(),
                                   direction.Entry(Key::AXES[1])->Double()};
    if (direction.HasEntry(Key::AXES[2])) {
        components.push_back(direction.Entry(Key::AXES[2])->Double());
    }
    return components;
}

void AddDifference(CValueMap& field, const std::vector<double>& direction) {
    const std::vector<double> own = DirectionOf(field.Entry(Key::MEAN_DIRECTION)->Map());
    const double differenceRad = DifferenceOfDirections(own.data(), direction.data(), direction.size());
    field.SetEntry(Key::DIFFERENCE, new CValueDouble(differenceRad));
}

std::unique_ptr<CValueMap> DocumentProfile(const CValueMap& root, const std::array<double, 3>& spacing,
                                           int dim) {
    const CValueMap& subfields = root.Entry(Key::SUBFIELDS)->Map();
    const std::vector<double> globalDirection =
        DirectionOf(root.Entry(path(Key::FIELD, Key::MEAN_DIRECTION).c_str())->Map());
    const auto axes = static_cast<std::size_t>(dim);

    std::array<Slices, 3> slicesOfAxis;
    const CValueMap* templateSource = nullptr;
    for (auto it = subfields.begin(); it != subfields.end(); ++it) {
        if (it.Value()->GenericType() != CValue::eMap || !it.Value()->Map().HasEntry(Key::AREA)) {
            continue;
        }
        const CValueMap& subfield = it.Value()->Map();
        if (templateSource == nullptr && is_ok(subfield)) {
            templateSource = &subfield;
        }
        for (std::size_t axis = 0; axis < axes; ++axis) {
            SSlice& slice =
                slicesOfAxis[axis][subfield.Entry(path(Key::AREA, Key::LOWER_CORNERS[axis]).c_str())->Long()];
            if (is_valid(subfield)) {
                add_to_slice(slice, subfield);
            }
        }
    }

    const CValueMapWithOperators zeros = zero_template(templateSource);
    auto profile = std::make_unique<CValueMap>();
    for (std::size_t axis = 0; axis < axes; ++axis) {
        profile->SetEntry(Key::DIRECTIONS[axis],
                          slice_map(slicesOfAxis[axis], zeros, globalDirection, spacing[axis]).release());
    }
    profile->SetEntry(Key::PARAMETERS, parameter_map(root).release());
    return profile;
}

} // namespace TEVRA::Impl
