// SPDX-License-Identifier: BSD-3-Clause
#include "FilterOrientations/HessianOrientations.h"

#include "FilterOrientations/FilterOrientations.h"
#include "FilterOrientations/HessianAxis.h"
#include "FilterOrientations/OrientationSums.h"
#include "Utils/PointOperationsImpl.h"
#include "VexoFilter/PartialDerivatives.h"
#include "VexoFilter/YoungVanVliet.h"
#include "zeklib2core/Exception.h"
#include "zeklib2core/String.h"
#include "zeklib2core/ValueLeaf.h"
#include "zeklib2core/ValueVector.h"
#include "zeklib2image/HeaderTools.h"
#include "zeklib2image/ImageExtraction.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <numbers>
#include <vector>

namespace TEVRA {
namespace {

constexpr const char* SOURCE = "src/FilterOrientations/HessianOrientations";

using FloatInput = Impl::CImageDataExtractor<const IImage, const float>;
using FloatOutput = Impl::CImageDataExtractor<IImage, float>;

[[noreturn]] void throw_at(const char* function, int line, const char* message) {
    throw CException(TEVRA_LOCATION(SOURCE, function, line), message);
}

/// An extractor of one of the estimator's own images, whose rows are contiguous.
template <typename DataT, typename ImageT>
DataT opened(ImageT& image) {
    DataT data(image, "input image");
    data.Check();
    data.Open();
    return data;
}

/// A pixel is foreground by its mask byte if there is a mask, else if its smoothed value exceeds the
/// threshold.
class CForegroundRows {
  public:
    /// @param mask one byte per pixel, x fastest, no padding; may be null.
    CForegroundRows(const unsigned char* mask, const CImage& smoothed, double threshold)
        : m_mask(mask), m_smoothed(opened<FloatInput>(smoothed)), m_threshold(threshold) {}

    void GoTo(long long y, long long z) {
        m_row = m_smoothed.Row(y, z);
        if (m_mask != nullptr) {
            m_maskRow = m_mask + (z * m_smoothed.Size(1) + y) * m_smoothed.Size(0);
        }
    }
    bool operator()(long long x) const {
        return m_mask != nullptr ? m_maskRow[x] != 0 : static_cast<double>(m_row[x]) > m_threshold;
    }

  private:
    const unsigned char* m_mask;
    const unsigned char* m_maskRow = nullptr;
    FloatInput m_smoothed;
    const float* m_row = nullptr;
    double m_threshold;
};

/// Reads Hessian matrices from images that hold one entry each.
template <std::size_t Dim>
class CHessianRows {
  public:
    static constexpr std::size_t c_entries = Dim * (Dim + 1) / 2;

    /// @param derivatives the upper triangle, row by row: xx, xy[, xz], yy[, yz, zz].
    explicit CHessianRows(const std::array<const CImage*, c_entries>& derivatives) {
        m_images.reserve(c_entries);
        for (const CImage* derivative : derivatives) {
            m_images.push_back(opened<FloatInput>(*derivative));
        }
    }

    void GoTo(long long y, long long z) {
        for (std::size_t entry = 0; entry < c_entries; ++entry) {
            m_rows[entry] = m_images[entry].Row(y, z);
        }
    }
    void Load(long long x, Impl::CHessianAxis<Dim>& hessian) const {
        std::size_t entry = 0;
        for (std::size_t row = 0; row < Dim; ++row) {
            for (std::size_t col = row; col < Dim; ++col) {
                hessian.Set(row, col, static_cast<double>(m_rows[entry++][x]));
            }
        }
    }

  private:
    std::vector<FloatInput> m_images;
    std::array<const float*, c_entries> m_rows{};
};

/// Writes the angles of axes, or the markers, into the maps.
template <std::size_t Dim>
class CAngleRows {
  public:
    CAngleRows(CImage& theta, CImage* phi) {
        m_images.reserve(Dim - 1);
        m_images.push_back(opened<FloatOutput>(theta));
        if constexpr (Dim == 3) {
            m_images.push_back(opened<FloatOutput>(*phi));
        }
    }

    void GoTo(long long y, long long z) {
        for (std::size_t map = 0; map < Dim - 1; ++map) {
            m_rows[map] = m_images[map].Row(y, z);
        }
    }
    void SetAxis(long long x, const std::array<double, Dim>& axis) {
        if constexpr (Dim == 3) {
            const Impl::StAxisAngles angles = Impl::AnglesOfAxis(axis);
            m_rows[0][x] = angles.colatitudeRad;
            m_rows[1][x] = angles.longitudeRad;
        } else {
            m_rows[0][x] = Impl::AngleOfAxis(axis);
        }
    }
    void SetNone(long long x) {
        m_rows[0][x] = Dim == 3 ? Impl::NO_COLATITUDE : Impl::NO_ANGLE;
        if constexpr (Dim == 3) {
            m_rows[1][x] = Impl::NO_ANGLE;
        }
    }

  private:
    std::vector<FloatOutput> m_images;
    std::array<float*, Dim - 1> m_rows{};
};

template <std::size_t Dim>
void scan_directions(const std::array<long long, 3>& size, CForegroundRows& foreground,
                     CHessianRows<Dim>& hessians, CAngleRows<Dim>& angles, bool smallest,
                     IProgressMonitor& progress) {
    using CAxis = Impl::CHessianAxis<Dim>;
    CAxis axisOfHessian(smallest ? Impl::EEigenvalue::smallest : Impl::EEigenvalue::largest);
    std::array<double, Dim> axis{};
    Impl::CProgressScope report(progress, size[1] * size[2], "Computing fiber directions...");
    for (long long z = 0; z < size[2]; ++z) {
        for (long long y = 0; y < size[1]; ++y) {
            foreground.GoTo(y, z);
            hessians.GoTo(y, z);
            angles.GoTo(y, z);
            for (long long x = 0; x < size[0]; ++x) {
                if (!foreground(x)) {
                    angles.SetNone(x);
                    continue;
                }
                hessians.Load(x, axisOfHessian);
                if (axisOfHessian.Compute(axis)) {
                    angles.SetAxis(x, axis);
                } else {
                    angles.SetNone(x);
                }
            }
            report.Step();
        }
    }
}

/// The pixels lo <= p < hi of an axis that a box covers. The image's last pixel is never one of them.
struct StRange {
    long long lo;
    long long hi;
};

StRange covered_range(const CBox& box, int axis, long long extent) {
    const long long a = box.Point0()[axis];
    const long long b = box.Point1()[axis];
    return {std::max(std::min(a, b), 0LL), std::min(std::max(a, b), extent - 1)};
}

/// Calls `operation(axis)` for every foreground pixel that a box covers in a 2D angle map.
template <typename OperationT>
void for_each_axis(const CBox& box, const CImage& map, const OperationT& operation) {
    const auto angles = opened<FloatInput>(map);
    const StRange xs = covered_range(box, 0, angles.Size(0));
    const StRange ys = covered_range(box, 1, angles.Size(1));
    for (long long y = ys.lo; y < ys.hi; ++y) {
        const float* angle = angles.Row(y, 0);
        for (long long x = xs.lo; x < xs.hi; ++x) {
            if (angle[x] >= 0.0F) {
                operation(Impl::AxisOfAngle(angle[x]));
            }
        }
    }
}

/// The same for colatitude and longitude of a volume.
template <typename OperationT>
void for_each_axis(const CBox& box, const CImage& theta, const CImage& phi, const OperationT& operation) {
    const auto colatitudes = opened<FloatInput>(theta);
    const auto longitudes = opened<FloatInput>(phi);
    const StRange xs = covered_range(box, 0, colatitudes.Size(0));
    const StRange ys = covered_range(box, 1, colatitudes.Size(1));
    const StRange zs = covered_range(box, 2, colatitudes.Size(2));
    for (long long z = zs.lo; z < zs.hi; ++z) {
        for (long long y = ys.lo; y < ys.hi; ++y) {
            const float* colatitude = colatitudes.Row(y, z);
            const float* longitude = longitudes.Row(y, z);
            for (long long x = xs.lo; x < xs.hi; ++x) {
                if (colatitude[x] >= 0.0F) {
                    operation(Impl::AxisOfAngles(colatitude[x], longitude[x]));
                }
            }
        }
    }
}

/// Sums of the axes that `walk` visits, written to the caller's tensors.
template <std::size_t Dim, typename WalkT>
long long sum_tensors(IMatrix<double>& tensor, bool normalize, CTensorRank4* tensor4, const WalkT& walk) {
    if (tensor.Rows() != Dim || tensor.Cols() != Dim) {
        // One text for both dimensions.
        CString message("3D-orientation tensor must be a 3x3 matrix (but it is %1 x %2).",
                        CString::eEncodingUtf8);
        message.Arg(static_cast<long long>(tensor.Rows()), 0).Arg(static_cast<long long>(tensor.Cols()), 0);
        throw_at(Dim == 3 ? "`anonymous-namespace'::OrientationTensor_impl3d"
                          : "`anonymous-namespace'::OrientationTensor_impl2d",
                 __LINE__, message.c_str());
    }
    Impl::CSecondOrderSums<Dim> second;
    Impl::CFourthOrderSums<Dim> fourth;
    if (tensor4 == nullptr) {
        walk([&second](const std::array<double, Dim>& axis) { second.Add(axis); });
    } else {
        walk([&second, &fourth](const std::array<double, Dim>& axis) {
            second.Add(axis);
            fourth.Add(axis);
        });
        fourth.AddTo(*tensor4);
    }
    second.CopyTo(tensor);
    const long long count = second.Count();
    if (normalize && count >= 1) {
        tensor *= 1.0 / static_cast<double>(count);
        if (tensor4 != nullptr) {
            *tensor4 /= static_cast<double>(count);
        }
    }
    return count;
}

void set_value_range(IImage& map, double lowest) {
    CVexoHeaderTools::SetMetaInfo(map, CVexoHeaderTools::c_sMetaMinMax.c_str(),
                                  CValueVector(new CValueDouble(lowest), new CValueDouble(std::numbers::pi)));
}

} // namespace

CTensorRank4::CTensorRank4(long long d0, long long d1, long long d2, long long d3)
    : m_dim0(d0), m_dim1(d1), m_dim2(d2), m_dim3(d3) {
    if (d0 < 1 || d1 < 1 || d2 < 1 || d3 < 1) {
        throw_at("TEVRA::CTensorRank4::CTensorRank4", 36, "All dimensions must have strictly positive size.");
    }
    try {
        m_data = new double***[d0]();
        for (int i = 0; i < d0; ++i) {
            m_data[i] = new double**[d1]();
            for (int j = 0; j < d1; ++j) {
                m_data[i][j] = new double*[d2]();
                for (int k = 0; k < d2; ++k) {
                    m_data[i][j][k] = new double[d3]();
                }
            }
        }
    } catch (...) {
        free();
        throw;
    }
}

CTensorRank4::~CTensorRank4() {
    free();
}

void CTensorRank4::free() noexcept {
    // Arrays that an interrupted construction did not reach are null.
    for (int i = 0; m_data != nullptr && i < m_dim0; ++i) {
        for (int j = 0; m_data[i] != nullptr && j < m_dim1; ++j) {
            for (int k = 0; m_data[i][j] != nullptr && k < m_dim2; ++k) {
                delete[] m_data[i][j][k];
            }
            delete[] m_data[i][j];
        }
        delete[] m_data[i];
    }
    delete[] m_data;
    m_data = nullptr;
}

template <typename OperationT>
void CTensorRank4::for_each(const OperationT& operation) {
    for (int i = 0; i < m_dim0; ++i) {
        for (int j = 0; j < m_dim1; ++j) {
            for (int k = 0; k < m_dim2; ++k) {
                for (int l = 0; l < m_dim3; ++l) {
                    operation(m_data[i][j][k][l], i, j, k, l);
                }
            }
        }
    }
}

CTensorRank4& CTensorRank4::operator+=(const CTensorRank4& other) {
    for_each([&other](double& element, int i, int j, int k, int l) { element += other(i, j, k, l); });
    return *this;
}

CTensorRank4& CTensorRank4::operator/=(double divisor) {
    for_each([divisor](double& element, int, int, int, int) { element /= divisor; });
    return *this;
}

CHessianOrientations::CHessianOrientations(double fOtsuFactor, const char* name, const IObject* parent)
    : CAlgorithm(name, parent), m_fOtsuFactor(fOtsuFactor) {}

CHessianOrientations::CHessianOrientations(const CHessianOrientations& other) = default;

CHessianOrientations::~CHessianOrientations() {
    free_buffers();
}

void CHessianOrientations::free_buffers() {
    for (Impl::CSharedImage* image :
         {&m_pSmoothed, &m_pDxx, &m_pDyy, &m_pDzz, &m_pDxy, &m_pDxz, &m_pDyz, &m_pPhiMap, &m_pThetaMap}) {
        image->Reset();
    }
    m_nSizeX = 0;
    m_nSizeY = 0;
    m_nSizeZ = 0;
}

void CHessianOrientations::compute(IImage& image, double sigma, const IImage* mask, eEVSelect select) {
    constexpr const char* function = "TEVRA::CHessianOrientations::compute";
    if (!(image.Type() == IMAGE_GREY_8)) {
        throw_at(function, __LINE__, "Implemented for images of type GREY_8, only.");
    }
    std::unique_ptr<IImage::IAccess> maskAccess;
    const unsigned char* maskPixels = nullptr;
    if (mask != nullptr) {
        if (!(mask->Type() == IMAGE_BINARY_FG)) {
            throw_at(function, __LINE__, "Mask image must be of type BINARY_FG.");
        }
        maskAccess.reset(mask->CreateAccess(true));
        maskPixels = static_cast<const unsigned char*>(maskAccess->ConstData());
    }
    compute_hessian(image, sigma);
    compute_directions(maskPixels, select);
}

void CHessianOrientations::compute_hessian(const IImage& image, double sigma) {
    free_buffers();
    const CSize& size = image.Size();
    m_nSizeX = static_cast<std::int32_t>(size[0]);
    m_nSizeY = static_cast<std::int32_t>(size[1]);
    m_nSizeZ = static_cast<std::int32_t>(size[2]);
    m_pSmoothed.Reset(new CImage(IMAGE_GREY_F, size, CSize(0, 0, 0)));
    CYoungVanVliet(sigma, nullptr, nullptr).gauss(*m_pSmoothed, image);

    struct StDerivative {
        Impl::CSharedImage* image;
        int orderX;
        int orderY;
        int orderZ;
    };
    std::vector<StDerivative> derivatives{{&m_pDxx, 2, 0, 0}, {&m_pDyy, 0, 2, 0}, {&m_pDxy, 1, 1, 0}};
    if (size.Dim() == 3) {
        derivatives.insert(derivatives.end(), {{&m_pDzz, 0, 0, 2}, {&m_pDxz, 1, 0, 1}, {&m_pDyz, 0, 1, 1}});
    }
    // All clones come first, so that a lack of memory shows before the time for the derivatives is spent.
    for (const StDerivative& derivative : derivatives) {
        derivative.image->Reset(CImageExtraction::Clone(*m_pSmoothed));
        if (!*derivative.image) {
            free_buffers();
            throw_at("TEVRA::CHessianOrientations::compute_hessian", __LINE__,
                     "Insufficient memory. Try a smaller image.");
        }
    }
    for (const StDerivative& derivative : derivatives) {
        CPartialDerivatives().Derivative(**derivative.image, derivative.orderX, derivative.orderY,
                                         derivative.orderZ);
    }
}

void CHessianOrientations::compute_directions(const unsigned char* mask, eEVSelect select) {
    if (!m_pSmoothed) {
        throw_at("TEVRA::CHessianOrientations::compute_directions", __LINE__,
                 "Hessian must be computed, first.");
    }
    const CSize& size = m_pSmoothed->Size();
    const bool isVolume = size.Dim() == 3;
    m_pThetaMap.Reset();
    m_pPhiMap.Reset();
    // Members only once they are filled: zeros would count as directions if the scan is left half-way.
    Impl::CSharedImage thetaMap;
    Impl::CSharedImage phiMap;
    thetaMap.Reset(new CImage(IMAGE_GREY_F, size, CSize(0, 0, 0)));
    if (isVolume) {
        phiMap.Reset(new CImage(IMAGE_GREY_F, size, CSize(0, 0, 0)));
    }
    if (mask == nullptr) {
        m_fThreshold = CFilterOrientations::ComputeThreshold(*m_pSmoothed, m_fOtsuFactor);
    }
    CForegroundRows foreground(mask, *m_pSmoothed, m_fThreshold);
    const bool smallest = select == eEVSmallest;
    if (isVolume) {
        CHessianRows<3> hessians(
            {m_pDxx.Get(), m_pDxy.Get(), m_pDxz.Get(), m_pDyy.Get(), m_pDyz.Get(), m_pDzz.Get()});
        CAngleRows<3> angles(*thetaMap, phiMap.Get());
        scan_directions<3>({m_nSizeX, m_nSizeY, m_nSizeZ}, foreground, hessians, angles, smallest,
                           Progress());
    } else {
        CHessianRows<2> hessians({m_pDxx.Get(), m_pDxy.Get(), m_pDyy.Get()});
        CAngleRows<2> angles(*thetaMap, nullptr);
        scan_directions<2>({m_nSizeX, m_nSizeY, 1}, foreground, hessians, angles, smallest, Progress());
    }
    m_pThetaMap = thetaMap;
    m_pPhiMap = phiMap;
}

void CHessianOrientations::get(const IImage*& map) const {
    constexpr const char* function = "TEVRA::CHessianOrientations::get";
    if (!m_pThetaMap) {
        throw_at(function, __LINE__,
                 "Unable to access direction maps prior to computing the Hessian. Call "
                 "CHessianOrientations::Compute() first.");
    }
    if (m_pThetaMap->Size().Dim() != 2) {
        throw_at(function, __LINE__,
                 "Unable to retrieve 2d direction map. Use overloaded 3d interface function.");
    }
    set_value_range(*m_pThetaMap, -1.0);
    map = m_pThetaMap.Get();
}

void CHessianOrientations::get(const IImage*& theta, const IImage*& phi) const {
    if (!m_pThetaMap) {
        throw_at("TEVRA::CHessianOrientations::get", __LINE__,
                 "Unable to access direction maps prior to computing the Hessian. Call "
                 "CHessianOrientations::Compute() first!");
    }
    set_value_range(*m_pThetaMap, -1.0);
    if (m_pPhiMap) {
        set_value_range(*m_pPhiMap, -(std::numbers::pi + 1.0));
    }
    theta = m_pThetaMap.Get();
    phi = m_pPhiMap.Get();
}

void CHessianOrientations::release(const IImage*& map) {
    get(map);
    map = m_pThetaMap.Release();
    m_pPhiMap.Reset();
}

void CHessianOrientations::release(const IImage*& theta, const IImage*& phi) {
    get(theta, phi);
    theta = m_pThetaMap.Release();
    phi = m_pPhiMap.Release();
}

long long CHessianOrientations::OrientationTensor(IMatrix<double>& tensor, const CBox& box, bool normalize,
                                                  CTensorRank4* tensor4) {
    constexpr const char* missing = "Orientation maps must be created, first. Unable to compute tensor.";
    constexpr const char* function = "TEVRA::CHessianOrientations::OrientationTensor";
    if (!m_pSmoothed) {
        throw_at(function, __LINE__, missing);
    }
    const int dim = m_pSmoothed->Size().Dim();
    if (dim == 2 && m_pThetaMap) {
        return sum_tensors<2>(tensor, normalize, tensor4,
                              [&](const auto& add) { for_each_axis(box, *m_pThetaMap, add); });
    }
    if (dim == 3 && m_pThetaMap && m_pPhiMap) {
        return sum_tensors<3>(tensor, normalize, tensor4,
                              [&](const auto& add) { for_each_axis(box, *m_pThetaMap, *m_pPhiMap, add); });
    }
    throw_at(function, __LINE__, missing);
}

} // namespace TEVRA
