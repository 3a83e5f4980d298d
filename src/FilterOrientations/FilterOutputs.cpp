// SPDX-License-Identifier: BSD-3-Clause
// What a finished run of the filter bank gives out.
#include "FilterOrientations/FilterOrientations.h"

#include "Axes/OrientationSums.h"
#include "FilterOrientations/FilterFailure.h"
#include "Utils/CoveredPixels.h"
#include "Utils/PixelRows.h"
#include "Utils/SaturatedFloat.h"
#include "Utils/visitors/PointOperationStatistics.h"
#include "Utils/visitors/PointOperations.h"
#include "zeklib2core/ValueLeaf.h"
#include "zeklib2core/ValueVector.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>

namespace TEVRA {

using Impl::filterbank::EXCLUDED;
using Impl::filterbank::throw_at;

namespace {

constexpr float EXCLUDED_ANGLE = -1.0F;

using Histogram = std::vector<unsigned long long>;
using Visit = Impl::VisitorHelper<0>;

/// Angles of a direction as they stand in angle images.
struct SAngles {
    float colatitude = EXCLUDED_ANGLE;
    float longitude = EXCLUDED_ANGLE;
};

/// The angles of every label of an index image: of directions, and none for all other labels.
std::array<SAngles, 256> angles_of_labels(const IMatrix<double>& directions) {
    std::array<SAngles, 256> angles{};
    for (std::size_t k = 0; k < directions.Rows() && k < EXCLUDED; ++k) {
        if (directions.Cols() == 2) {
            angles[k].colatitude = Impl::SaturatedFloatWithoutNan(std::acos(directions(k, 0)));
        } else {
            angles[k].colatitude = Impl::SaturatedFloatWithoutNan(std::acos(directions(k, 2)));
            angles[k].longitude =
                Impl::SaturatedFloatWithoutNan(std::atan2(directions(k, 1), directions(k, 0)));
        }
    }
    return angles;
}

void require_index_type(const IImage& index, const char* function) {
    if (!(index.Type() == IMAGE_GREY_8)) {
        CString message("Orientation indices should be stored in a 8bit image, but got type '%1'.",
                        CString::eEncodingUtf8);
        throw_at(function, __LINE__, message.Arg(index.Type().ToString()));
    }
}

/// The pixels of an axis that a box covers; unless it lies beyond the far edge, at least one, be it the
/// image's last.
Impl::SPixelRange covered_range(const CBox& box, int axis, long long extent) {
    const Impl::SPixelRange covered = Impl::CoveredPixels(box, axis, extent);
    if (covered.lo >= extent) {
        return {0, 0};
    }
    return {covered.lo, std::max(covered.hi, covered.lo + 1)};
}

/// Sums over the directions of a box, written to the tensor.
template <std::size_t Dim>
long long mean_outer_product(IMatrix<double>& tensor, const IImage& index, const IMatrix<double>& directions,
                             const CBox& box) {
    const auto numbers = Impl::PixelsOf<unsigned char>(index, "index image");
    const Impl::SPixelRange xs = covered_range(box, 0, numbers.Size(0));
    const Impl::SPixelRange ys = covered_range(box, 1, numbers.Size(1));
    const Impl::SPixelRange zs = Dim == 3 ? covered_range(box, 2, numbers.Size(2)) : Impl::SPixelRange{0, 1};
    Impl::CSecondOrderSums<Dim> sums;
    for (long long z = zs.lo; z < zs.hi; ++z) {
        for (long long y = ys.lo; y < ys.hi; ++y) {
            const Impl::CPixelRow number(numbers, y, z);
            for (long long x = xs.lo; x < xs.hi; ++x) {
                const unsigned char k = number[x];
                if (k == EXCLUDED) {
                    continue;
                }
                std::array<double, Dim> direction{};
                for (std::size_t i = 0; i < Dim; ++i) {
                    direction[i] = directions(k, i);
                }
                sums.Add(direction);
            }
        }
    }
    sums.CopyTo(tensor);
    if (sums.Count() > 0) {
        tensor *= 1.0 / static_cast<double>(sums.Count());
    }
    return sums.Count();
}

} // namespace

bool CFilterOrientations::GetBestResponse(IImage& out) const {
    if (!has_result()) {
        return false;
    }
    constexpr const char* function = "TEVRA::CFilterOrientations::GetBestResponse";
    if (!(out.Type() == IMAGE_GREY_F)) {
        CString message("Responses are stored in float images, but got type '%1'.", CString::eEncodingUtf8);
        throw_at(function, __LINE__, message.Arg(out.Type().ToString()));
    }
    if (!(out.Size() == m_result.bestResponse->Size())) {
        throw_at(function, __LINE__, "Buffer for responses must have same size as the original image.");
    }
    visitors::CCopy<float> copy;
    return Visit::VisitImageData(out, *m_result.bestResponse, copy, Progress());
}

bool CFilterOrientations::GetOrientations(IImage& colatitude, IImage& longitude) const {
    if (!has_result()) {
        return false;
    }
    constexpr const char* function = "TEVRA::CFilterOrientations::GetOrientations";
    if (!(colatitude.Type() == IMAGE_GREY_F)) {
        CString message("Colatitude angles are stored in float images, but got type '%1'.",
                        CString::eEncodingUtf8);
        throw_at(function, __LINE__, message.Arg(colatitude.Type().ToString()));
    }
    if (!(longitude.Type() == IMAGE_GREY_F)) {
        CString message("Longitude angles are stored in float images, but got type '%1'.",
                        CString::eEncodingUtf8);
        throw_at(function, __LINE__, message.Arg(longitude.Type().ToString()));
    }
    if (!(colatitude.Size() == longitude.Size())) {
        throw_at(function, __LINE__, "Angle buffers must have the same size.");
    }
    const std::array<SAngles, 256> angles = angles_of_labels(*m_result.directions);
    const auto numbers = Impl::PixelsOf<unsigned char>(*m_result.index, "index image");
    const auto colatitudes = Impl::WritablePixelsOf<float>(colatitude, "colatitude image");
    const auto longitudes = Impl::WritablePixelsOf<float>(longitude, "longitude image");
    for (long long z = 0; z < colatitudes.Size(2); ++z) {
        for (long long y = 0; y < colatitudes.Size(1); ++y) {
            // Buffers may be larger than the image: beyond it there is no direction.
            const bool isRowOfImage = z < numbers.Size(2) && y < numbers.Size(1);
            const long long columns = isRowOfImage ? numbers.Size(0) : 0;
            const Impl::CPixelRow number(numbers, isRowOfImage ? y : 0, isRowOfImage ? z : 0);
            const Impl::CPixelRow colatitudeAt(colatitudes, y, z);
            const Impl::CPixelRow longitudeAt(longitudes, y, z);
            for (long long x = 0; x < colatitudes.Size(0); ++x) {
                const SAngles& found = angles[x < columns ? number[x] : EXCLUDED];
                colatitudeAt[x] = found.colatitude;
                longitudeAt[x] = found.longitude;
            }
        }
    }
    return true;
}

bool CFilterOrientations::OrientationHistogram(CValueMap& out) const {
    if (!has_result()) {
        return false;
    }
    constexpr const char* function = "TEVRA::CFilterOrientations::OrientationHistogram";
    require_index_type(*m_result.index, function);
    out.Clear();
    Histogram histogram;
    visitors::CAnalyzerHistogram<unsigned char, unsigned long long> counter(histogram);
    const IImage& index = *m_result.index;
    if (!Visit::VisitImageData(index, counter, Progress())) {
        return false;
    }
    if (histogram.size() < EXCLUDED) {
        CString message("Histogram of orientations had only %1 entries.", CString::eEncodingUtf8);
        throw_at(function, __LINE__, message.Arg(static_cast<long long>(histogram.size()), 0));
    }
    const IMatrix<double>& directions = *m_result.directions;
    for (std::size_t k = 0; k < directions.Rows(); ++k) {
        auto entry = std::make_unique<CValueVector>();
        for (std::size_t i = 0; i < directions.Cols(); ++i) {
            entry->PushBack(new CValueDouble(directions(k, i)));
        }
        entry->PushBack(new CValueLong(static_cast<std::int32_t>(histogram[k])));
        out.SetEntry(CValue_Key(static_cast<unsigned long long>(k)), entry.release());
    }
    return true;
}

long long CFilterOrientations::OrientationTensor(IMatrix<double>& tensor, const CBox& box) const {
    if (!has_result()) {
        return 0;
    }
    constexpr const char* function = "TEVRA::CFilterOrientations::OrientationTensor";
    require_index_type(*m_result.index, function);
    const std::size_t dimension = m_result.directions->Cols();
    if (tensor.Rows() != dimension || tensor.Cols() != dimension) {
        CString message(dimension == 3 ? "3D-orientation tensor must be a 3x3 matrix (but it is %1 x %2)."
                                       : "2D-orientation tensor must be a 2x2 matrix (but it is %1 x %2).",
                        CString::eEncodingUtf8);
        throw_at(function, __LINE__,
                 message.Arg(static_cast<long long>(tensor.Rows()), 0)
                     .Arg(static_cast<long long>(tensor.Cols()), 0));
    }
    return dimension == 3 ? mean_outer_product<3>(tensor, *m_result.index, *m_result.directions, box)
                          : mean_outer_product<2>(tensor, *m_result.index, *m_result.directions, box);
}

bool CFilterOrientations::BestOrientation(IMatrix<double>& vector, const CPos& pos) const {
    if (!has_result()) {
        return false;
    }
    constexpr const char* function = "TEVRA::CFilterOrientations::BestOrientation";
    if (vector.Cols() != 1) {
        throw_at(function, __LINE__, "Expecting a column vector.");
    }
    const IMatrix<double>& directions = *m_result.directions;
    if (vector.Rows() != directions.Cols()) {
        CString message("Vector (%1-dim) does not conform to image dimension (%2).", CString::eEncodingUtf8);
        throw_at(function, __LINE__,
                 message.Arg(static_cast<long long>(vector.Rows()), 0)
                     .Arg(static_cast<long long>(directions.Cols()), 0));
    }
    const IImage& index = *m_result.index;
    const std::unique_ptr<IImage::IAccess> access(index.CreateAccess(true));
    access->SetRegion(pos, pos);
    const unsigned char k = *static_cast<const unsigned char*>(access->ConstData());
    if (k == EXCLUDED) {
        return false;
    }
    for (std::size_t i = 0; i < directions.Cols(); ++i) {
        vector(i, 0) = directions(k, i);
    }
    return true;
}

} // namespace TEVRA
