// SPDX-License-Identifier: BSD-3-Clause
#include "FilterOrientations/SubfieldFiberDirections.h"

#include "FilterOrientations/DocumentProfile.h"
#include "FilterOrientations/OrientationTensor.h"
#include "Subfields/ResultDocument.h"
#include "zeklib2core/Exception.h"
#include "zeklib2core/ValuePointer.h"
#include "zeklib2core/ValueVector.h"
#include "zeklib2image/HeaderTools.h"

#include <array>
#include <memory>

namespace TEVRA {
namespace {

[[noreturn]] void throw_from_compute(int line, const char* message) {
    throw CException(TEVRA_LOCATION("src/FilterOrientations/SubfieldFiberDirections",
                                    "TEVRA::CSubfieldFiberDirections::Compute", line),
                     message);
}

/// Half of a size, rounded towards zero.
double whole_half(long long size) {
    const long long half = size / 2;
    return static_cast<double>(half);
}

/// The image's spacing per axis. @throws CException unless it is equal along all axes.
std::array<double, 3> checked_spacing(const IImage& image, int dim) {
    double x = 1.0;
    double y = 1.0;
    double z = 1.0;
    CVexoHeaderTools::GetSpacing(image, x, y, z);
    if (!(x == y && (dim != 3 || y == z))) {
        throw CException("CLocalFiberDirectionsPlugin", "Need equal pixel spacing in all axis directions.",
                         nullptr);
    }
    const auto positive_or_1 = [](double spacing) { return spacing <= 0.0 ? 1.0 : spacing; };
    return {positive_or_1(x), positive_or_1(y), dim == 3 ? positive_or_1(z) : z};
}

Impl::STensor2 tensor_of(const CMatrix<double>& matrix) {
    Impl::STensor2 tensor;
    tensor.dim = matrix.Rows();
    for (std::size_t i = 0; i < tensor.dim; ++i) {
        for (std::size_t j = 0; j < tensor.dim; ++j) {
            tensor(i, j) = matrix(i, j);
        }
    }
    return tensor;
}

/// The elements with indices below `dim`; none of a tensor that is null.
Impl::STensor4 tensor4_of(const CTensorRank4* source, std::size_t dim) {
    if (source == nullptr) {
        return {};
    }
    Impl::STensor4 tensor(dim);
    const auto end = static_cast<long long>(dim);
    auto element = tensor.elements.begin();
    for (long long i = 0; i < end; ++i) {
        for (long long j = 0; j < end; ++j) {
            for (long long k = 0; k < end; ++k) {
                for (long long l = 0; l < end; ++l) {
                    *element++ = (*source)(i, j, k, l);
                }
            }
        }
    }
    return tensor;
}

} // namespace

const char* const CSubfieldFiberDirections::sFiberDirectionsId = "FiberDirections";
const char* const CSubfieldFiberDirections::sFieldFiberDirectionsId = Impl::Key::FIELD;
const char* const CSubfieldFiberDirections::sSubfieldFiberDirectionsId = Impl::Key::SUBFIELDS;
const char* const CSubfieldFiberDirections::sSubfieldProfiles = Impl::Key::PROFILES;

CSubfieldFiberDirections::CSubfieldFiberDirections(double fiberRadius, double otsuFactor,
                                                   long long subfieldSizeX, long long subfieldSizeY,
                                                   long long subfieldSizeZ)
    : CAlgorithm(nullptr, nullptr), m_nSubfieldSizeX(subfieldSizeX), m_nSubfieldSizeY(subfieldSizeY),
      m_nSubfieldSizeZ(subfieldSizeZ), m_fFiberRadius(fiberRadius), m_fOtsuFactor(otsuFactor),
      m_estimator(otsuFactor, nullptr, nullptr) {}

CSubfieldFiberDirections::CSubfieldFiberDirections(const CSubfieldFiberDirections& other) = default;

CSubfieldFiberDirections::~CSubfieldFiberDirections() = default;

void CSubfieldFiberDirections::check_radius(const CSize& imageSize, double fiberRadiusPx,
                                            bool listsSubfields) const {
    const bool isPlane = imageSize.Dim() == 2;
    // The tests of the third axis are inverted for 2D images: there the z subfield size must stay below 2 r.
    const auto fails_along_z = [&](double limit) { return isPlane == (fiberRadiusPx <= limit); };
    const double r = fiberRadiusPx;
    if (r > 0.5 * static_cast<double>(imageSize[0]) || r > 0.5 * static_cast<double>(imageSize[1]) ||
        fails_along_z(0.5 * static_cast<double>(imageSize[2]))) {
        throw_from_compute(96, "Fiber diameter must not exceed image size (please check for correct units).");
    }
    if (listsSubfields && (r > whole_half(m_nSubfieldSizeX) || r > whole_half(m_nSubfieldSizeY) ||
                           fails_along_z(whole_half(m_nSubfieldSizeZ)))) {
        throw_from_compute(101,
                           "Fiber diameter must not exceed subfield size (please check for correct units).");
    }
}

CValueMap* CSubfieldFiberDirections::Compute(IImage& image, std::string& parameters, IImage* mask,
                                             bool fourthOrder) {
    const int dim = image.Size().Dim();
    if (dim != 2 && dim != 3) {
        throw_from_compute(39, "Only 2d and 3d images supported.");
    }
    const std::array<double, 3> spacing = checked_spacing(image, dim);
    const double fiberRadiusPx = m_fFiberRadius / spacing[0];

    const Impl::CSubfieldLayout layout(image.Size(), fiberRadiusPx,
                                       {m_nSubfieldSizeX, m_nSubfieldSizeY, m_nSubfieldSizeZ});
    m_nSubfieldSizeX = layout.SubfieldSize()[0];
    m_nSubfieldSizeY = layout.SubfieldSize()[1];
    m_nSubfieldSizeZ = layout.SubfieldSize()[2];
    check_radius(image.Size(), fiberRadiusPx, layout.ListsSubfields());

    m_estimator.compute(image, fiberRadiusPx, mask, CHessianOrientations::eEVSmallest);

    Impl::SAnalysisRequest recorded;
    recorded.fiberRadius = m_fFiberRadius;
    recorded.spacing = spacing;
    recorded.withFourthOrder = fourthOrder;
    if (mask == nullptr) {
        recorded.otsuFactor = m_fOtsuFactor;
    }
    Impl::CResultBuilder builder(layout, recorded);
    const Impl::TileIndex last = layout.FullTiles();
    const auto size = static_cast<std::size_t>(dim);
    for (long long k = 0; k <= last[2]; ++k) {
        for (long long j = 0; j <= last[1]; ++j) {
            for (long long i = 0; i <= last[0]; ++i) {
                CMatrix<double> sums(size, size);
                const auto sums4 = fourthOrder ? std::make_unique<CTensorRank4>(dim, dim, dim, dim) : nullptr;
                const long long count =
                    m_estimator.OrientationTensor(sums, layout.Tile({i, j, k}), false, sums4.get());
                builder.AddTile({i, j, k}, {tensor_of(sums), count, tensor4_of(sums4.get(), size)});
            }
        }
    }
    if (!builder.HasForeground()) {
        throw_from_compute(210, "No fields available. Check size and/or Otsu settings.");
    }
    const Impl::SAnalysisResult result = builder.Finish();
    parameters += Impl::ParameterSummary(result);
    return Impl::ResultDocument(result).release();
}

void CSubfieldFiberDirections::GetDirections(const IImage*& first, const IImage*& second) {
    m_estimator.release(first, second);
}

void CSubfieldFiberDirections::GetDirections(const IImage*& first) {
    m_estimator.release(first);
}

bool CSubfieldFiberDirections::has_full_subfield_size(const CBox& box, int dim) const {
    return Impl::CSubfieldLayout::HasSize(box, {m_nSubfieldSizeX, m_nSubfieldSizeY, m_nSubfieldSizeZ}, dim);
}

std::string CSubfieldFiberDirections::gen_fieldid(long long x0, long long y0, long long z0, long long dim,
                                                  int width) {
    return Impl::CSubfieldLayout::Identifier({x0, y0, z0}, static_cast<int>(dim), width);
}

void CSubfieldFiberDirections::add_subfield_limits(CValueMap* map, const CBox& box, int dim) {
    Impl::AddSubfieldLimits(map, box, dim);
}

CValueMap* CSubfieldFiberDirections::gen_FiberDirectionsValues(const CMatrix<double>& T, long long count,
                                                               double fraction, CTensorRank4* T4) {
    if (T.Rows() != T.Cols() || (T.Rows() != 2 && T.Rows() != 3)) {
        CMatrix<double> mean(T.Rows(), 1);
        COrientationTensor::MeanOrientation(mean, T); // throws and says what is wrong
    }
    const Impl::STensorValues values = Impl::EvaluateTensor(tensor_of(T), count, tensor4_of(T4, T.Rows()));
    return Impl::FieldMap(values, Impl::StatusOfFraction(fraction)).release();
}

void CSubfieldFiberDirections::AddDifferenceToMeanDirToMap(CValueMap* map,
                                                           const std::vector<double>& globalDir) {
    Impl::AddDifference(*map, globalDir);
}

void CSubfieldFiberDirections::AddDifferenceToMeanDirToEachSubfieldEntry(CValueMap* subfields,
                                                                         const CValueMap* globalMeanDir) {
    const std::vector<double> direction = Impl::DirectionOf(*globalMeanDir);
    for (const CValue_Key& key : subfields->Keys()) {
        CValue* entry = subfields->Entry(key);
        if (entry->GenericType() == CValue::eMap && entry->Map().HasEntry(Impl::Key::MEAN_DIRECTION)) {
            Impl::AddDifference(entry->Map(), direction);
        }
    }
}

CValueMap* CSubfieldFiberDirections::CreateAveragedProfile(const CValueMap& root, const double* spacing,
                                                           int dim) {
    return Impl::DocumentProfile(root, {spacing[0], spacing[1], dim == 3 ? spacing[2] : 1.0}, dim).release();
}

void CSubfieldFiberDirections::RepackMeasuredFeaturesForVexo(CValueMap& target, const char* /*name*/,
                                                             const CValue* /*value*/, const char* /*extra*/,
                                                             CValueMap* document) {
    auto view = std::make_unique<CValueMap>();
    view->SetEntry("type", Impl::NewText("ImageAttributesView"));
    view->SetEntry("document", new CValuePointer<CValueMap>(document));
    auto views = std::make_unique<CValueVector>();
    views->PushBack(view.release());
    target.SetEntry("output/views/create", views.release());
}

} // namespace TEVRA
