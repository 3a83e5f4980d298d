// SPDX-License-Identifier: BSD-3-Clause
#include "FilterOrientations/FieldValues.h"

#include "FilterOrientations/OrientationTensor.h"
#include "zeklib2core/ValueLeaf.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>

namespace TEVRA::Impl {
namespace {

constexpr std::array<const char*, 3> AXES{"x", "y", "z"};
constexpr std::array<std::array<const char*, 3>, 3> COMPONENTS{
    {{"xx", "xy", "xz"}, {"yx", "yy", "yz"}, {"zx", "zy", "zz"}}};

CMatrix<double> normalised(const CMatrix<double>& sums, long long count) {
    CMatrix<double> tensor = sums;
    if (count > 0) {
        for (std::size_t i = 0; i < tensor.Rows(); ++i) {
            for (std::size_t j = 0; j < tensor.Cols(); ++j) {
                tensor(i, j) /= static_cast<double>(count);
            }
        }
    }
    return tensor;
}

std::unique_ptr<CValueMap> tensor_map(const CMatrix<double>& tensor) {
    auto map = std::make_unique<CValueMap>();
    for (std::size_t i = 0; i < tensor.Rows(); ++i) {
        for (std::size_t j = 0; j < tensor.Cols(); ++j) {
            map->SetEntry(COMPONENTS[i][j], new CValueDouble(tensor(i, j)));
        }
    }
    return map;
}

std::unique_ptr<CValueMap> tensor4_map(const CTensorRank4& sums, std::size_t dim, long long count) {
    const double divisor = count > 0 ? static_cast<double>(count) : 1.0;
    const auto extent = static_cast<long long>(dim);
    auto map = std::make_unique<CValueMap>();
    for (long long i = 0; i < extent; ++i) {
        for (long long j = 0; j < extent; ++j) {
            for (long long k = 0; k < extent; ++k) {
                for (long long l = 0; l < extent; ++l) {
                    std::string key;
                    for (const long long axis : {i, j, k, l}) {
                        key += AxisLetter(static_cast<std::size_t>(axis));
                    }
                    map->SetEntry(key.c_str(), new CValueDouble(sums(i, j, k, l) / divisor));
                }
            }
        }
    }
    return map;
}

double anisotropy(const CMatrix<double>& eigenvalues) {
    const double largest = eigenvalues(0, 0);
    const double smallest = eigenvalues(eigenvalues.Rows() - 1, 0);
    return std::abs(largest) > std::numeric_limits<double>::epsilon() ? 1.0 - smallest / largest : 0.0;
}

} // namespace

const char* AxisLetter(std::size_t axis) {
    return AXES.at(axis);
}

CValue* NewText(const char* text) {
    return new CValueString(text, CString::NPOS);
}

std::unique_ptr<CValueMap> FieldValues(const CMatrix<double>& sums, long long count, double fraction,
                                       const CTensorRank4* sums4) {
    const std::size_t dim = sums.Rows();
    const CMatrix<double> tensor = normalised(sums, count);

    CMatrix<double> mean(dim, 1);
    COrientationTensor::MeanOrientation(mean, tensor);
    auto direction = std::make_unique<CValueMap>();
    for (std::size_t i = 0; i < dim; ++i) {
        direction->SetEntry(AxisLetter(i), new CValueDouble(mean(i, 0)));
    }

    CMatrix<double> lambda(dim, 1);
    COrientationTensor::Eigenvalues(lambda, tensor);
    auto eigenvalues = std::make_unique<CValueMap>();
    for (std::size_t i = 0; i < dim; ++i) {
        eigenvalues->SetEntry(static_cast<int>(i), new CValueDouble(lambda(i, 0)));
    }

    auto field = std::make_unique<CValueMap>();
    field->SetEntry(Key::TENSOR, tensor_map(tensor).release());
    if (sums4 != nullptr) {
        field->SetEntry(Key::TENSOR4, tensor4_map(*sums4, dim, count).release());
    }
    field->SetEntry(Key::EIGENVALUES, eigenvalues.release());
    field->SetEntry(Key::MEAN_DIRECTION, direction.release());
    field->SetEntry(Key::ANISOTROPY, new CValueDouble(anisotropy(lambda)));
    field->SetEntry(Key::STATUS, NewText(fraction < LOW_FRACTION ? STATUS_LOW_FRACTION : STATUS_OK));
    return field;
}

CMatrix<double> TensorOf(const CValueMap& field) {
    const CValueMap& map = field.Entry(Key::TENSOR)->Map();
    const std::size_t dim = map.HasEntry("zz") ? 3 : 2;
    CMatrix<double> tensor(dim, dim);
    for (std::size_t i = 0; i < dim; ++i) {
        for (std::size_t j = 0; j < dim; ++j) {
            tensor(i, j) = map.Entry(COMPONENTS[i][j])->Double();
        }
    }
    return tensor;
}

std::vector<double> DirectionOf(const CValueMap& direction) {
    std::vector<double> components{direction.Entry("x")->Double(), direction.Entry("y")->Double()};
    if (direction.HasEntry("z")) {
        components.push_back(direction.Entry("z")->Double());
    }
    return components;
}

void AddDifference(CValueMap& field, const std::vector<double>& direction) {
    const std::vector<double> own = DirectionOf(field.Entry(Key::MEAN_DIRECTION)->Map());
    double cosine = 0.0;
    for (std::size_t i = 0; i < direction.size(); ++i) {
        cosine += own[i] * direction[i];
    }
    const double angle = std::acos(std::clamp(cosine, -1.0, 1.0));
    field.SetEntry(Key::DIFFERENCE, new CValueDouble(std::min(angle, std::numbers::pi - angle)));
}

} // namespace TEVRA::Impl
