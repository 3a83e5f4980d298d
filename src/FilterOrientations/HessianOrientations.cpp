// SPDX-License-Identifier: BSD-3-Clause
#include "FilterOrientations/HessianOrientations.h"

#include "Axes/AxisScan.h"
#include "Axes/OrientationSums.h"
#include "Utils/CoveredPixels.h"
#include "Utils/PointOperationsImpl.h"
#include "Utils/Threshold.h"
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
#include <cstring>
#include <numbers>
#include <optional>
#include <utility>
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

template <typename DataT, typename ImageT>
std::vector<DataT> all_opened(const std::vector<ImageT*>& images) {
    std::vector<DataT> all;
    all.reserve(images.size());
    for (ImageT* image : images) {
        all.push_back(opened<DataT>(*image));
    }
    return all;
}

/// The images of a scan for directions.
struct SDirectionImages {
    std::array<long long, 3> sizePx;
    /// Foreground, one byte per pixel, x fastest, no padding; null: where `smoothed` exceeds the threshold.
    const unsigned char* mask;
    FloatInput smoothed;
    double threshold;
    /// Upper triangle of the Hessian, row by row: xx, xy[, xz], yy[, yz, zz].
    std::vector<FloatInput> hessian;
    /// Angle maps: theta[, phi].
    std::vector<FloatOutput> maps;

    long long Rows() const { return sizePx[1] * sizePx[2]; }
};

/// Fetches what a row's foreground needs while the row before is being worked on: the entries of the Hessian
/// lie in as many images.
template <std::size_t Dim>
void prefetch(const Impl::SymmetricRow<Dim>& hessian, const unsigned char* foreground, std::size_t count) {
    constexpr std::size_t LINE = 64 / sizeof(float); // pixels of a cache line
    for (std::size_t x = 0; x + LINE <= count; x += LINE) {
        std::array<unsigned long long, LINE / 8> bytes{};
        std::memcpy(bytes.data(), foreground + x, LINE);
        if ((bytes[0] | bytes[1]) != 0) {
            for (const float* entry : hessian) {
                __builtin_prefetch(entry + x);
            }
        }
    }
}

/// The matrices of a Hessian whose entries are images.
template <std::size_t Dim>
class CHessianImages : public Impl::IMatrixRows<Dim> {
  public:
    explicit CHessianImages(const SDirectionImages& images) : m_images(images) {}
    void GoTo(long long z) override { m_z = z; }
    const Impl::SymmetricRow<Dim>& At(long long y, const unsigned char* /*foreground*/) override {
        for (std::size_t entry = 0; entry < m_rows.size(); ++entry) {
            m_rows[entry] = m_images.hessian[entry].Row(y, m_z);
        }
        return m_rows;
    }

  private:
    const SDirectionImages& m_images;
    long long m_z = 0;
    Impl::SymmetricRow<Dim> m_rows{};
};

/// Finds the directions of rows.
template <std::size_t Dim>
class CRowScan {
  public:
    CRowScan(const SDirectionImages& images, Impl::EEigenvalue which)
        : m_images(images), m_hessian(images), m_which(which),
          m_width(static_cast<std::size_t>(images.sizePx[0])),
          m_buffers(images.mask == nullptr ? 2 * m_width : 0) {}

    void Run(long long first, long long end) {
        const unsigned char* next = foreground_of(first);
        for (long long row = first; row < end; ++row) {
            const unsigned char* const foreground = next;
            if (row + 1 < end) {
                next = foreground_of(row + 1);
                prefetch<Dim>(hessian_of(row + 1), next, m_width);
            }
            const auto [y, z] = place_of(row);
            m_hessian.GoTo(z);
            const Impl::SAngleRow angles{m_images.maps[0].Row(y, z),
                                         Dim == 3 ? m_images.maps[1].Row(y, z) : nullptr};
            Impl::FindAxes<Dim>(m_hessian, y, foreground, m_width, m_which, angles);
        }
    }

  private:
    struct SPlace {
        long long y;
        long long z;
    };
    SPlace place_of(long long row) const { return {row % m_images.sizePx[1], row / m_images.sizePx[1]}; }
    const Impl::SymmetricRow<Dim>& hessian_of(long long row) {
        const auto [y, z] = place_of(row);
        m_hessian.GoTo(z);
        return m_hessian.At(y, nullptr);
    }
    /// One byte per pixel, valid until the call after the next.
    const unsigned char* foreground_of(long long row) {
        if (m_images.mask != nullptr) {
            return m_images.mask + static_cast<std::size_t>(row) * m_width;
        }
        const auto [y, z] = place_of(row);
        unsigned char* const buffer = m_buffers.data() + static_cast<std::size_t>(row % 2) * m_width;
        Impl::ForegroundOfRow(m_images.smoothed.Row(y, z), m_width, m_images.threshold, buffer);
        return buffer;
    }

    const SDirectionImages& m_images;
    CHessianImages<Dim> m_hessian;
    Impl::EEigenvalue m_which;
    std::size_t m_width;
    std::vector<unsigned char> m_buffers;
};

template <std::size_t Dim>
void scan_directions(const SDirectionImages& images, Impl::EEigenvalue which, ITaskRunner* runner,
                     IProgressMonitor& progress) {
    constexpr long long ROWS_PER_TASK = 64;
    constexpr long long TASKS_PER_BATCH = 64; // progress is told between batches, on this thread
    const long long rows = images.Rows();
    const long long batchRows = ROWS_PER_TASK * (runner != nullptr ? TASKS_PER_BATCH : 1);
    Impl::CProgressScope report(progress, rows, "Computing fiber directions...");
    for (long long first = 0; first < rows; first += batchRows) {
        const long long end = std::min(first + batchRows, rows);
        const auto task = [&](long long number) {
            const long long row = first + number * ROWS_PER_TASK;
            CRowScan<Dim>(images, which).Run(row, std::min(row + ROWS_PER_TASK, end));
        };
        if (runner != nullptr) {
            runner->Run((end - first + ROWS_PER_TASK - 1) / ROWS_PER_TASK, task);
        } else {
            task(0);
        }
        for (long long row = first; row < end; ++row) {
            report.Step();
        }
    }
}

/// Adds the axes of the pixels that a box covers. @param maps theta[, phi].
template <std::size_t Dim>
void add_axes(const CBox& box, const std::vector<const CImage*>& maps, Impl::CSecondOrderSums<Dim>& second,
              Impl::CFourthOrderSums<Dim>* fourth) {
    const auto angles = all_opened<FloatInput>(maps);
    const FloatInput& theta = angles.front();
    const Impl::SPixelRange xs = Impl::CoveredPixels(box, 0, theta.Size(0));
    const Impl::SPixelRange ys = Impl::CoveredPixels(box, 1, theta.Size(1));
    const Impl::SPixelRange zs =
        Dim == 3 ? Impl::CoveredPixels(box, 2, theta.Size(2)) : Impl::SPixelRange{0, 1};
    if (xs.hi <= xs.lo) {
        return;
    }
    for (long long z = zs.lo; z < zs.hi; ++z) {
        for (long long y = ys.lo; y < ys.hi; ++y) {
            const Impl::SConstAngleRow row{theta.Row(y, z) + xs.lo,
                                           Dim == 3 ? angles.back().Row(y, z) + xs.lo : nullptr};
            Impl::AddRow<Dim>(second, fourth, row, static_cast<std::size_t>(xs.hi - xs.lo));
        }
    }
}

/// Sums of the axes in a box, written to the caller's tensors.
template <std::size_t Dim>
long long sum_tensors(IMatrix<double>& tensor, const CBox& box, bool normalize, CTensorRank4* tensor4,
                      const std::vector<const CImage*>& maps) {
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
    add_axes(box, maps, second, tensor4 != nullptr ? &fourth : nullptr);
    if (tensor4 != nullptr) {
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

    struct SDerivative {
        Impl::CSharedImage* image;
        int orderX;
        int orderY;
        int orderZ;
    };
    std::vector<SDerivative> derivatives{{&m_pDxx, 2, 0, 0}, {&m_pDyy, 0, 2, 0}, {&m_pDxy, 1, 1, 0}};
    if (size.Dim() == 3) {
        derivatives.insert(derivatives.end(), {{&m_pDzz, 0, 0, 2}, {&m_pDxz, 1, 0, 1}, {&m_pDyz, 0, 1, 1}});
    }
    // All clones come first, so that a lack of memory shows before the time for the derivatives is spent.
    for (const SDerivative& derivative : derivatives) {
        derivative.image->Reset(CImageExtraction::Clone(*m_pSmoothed));
        if (!*derivative.image) {
            free_buffers();
            throw_at("TEVRA::CHessianOrientations::compute_hessian", __LINE__,
                     "Insufficient memory. Try a smaller image.");
        }
    }
    for (const SDerivative& derivative : derivatives) {
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
        const std::optional<double> threshold = Impl::ForegroundThreshold(*m_pSmoothed, m_fOtsuFactor);
        if (!threshold) {
            return; // cancelled, and without maps whoever asks for numbers is told that there are none
        }
        m_fThreshold = *threshold;
    }
    const auto which = select == eEVSmallest ? Impl::EEigenvalue::smallest : Impl::EEigenvalue::largest;
    SDirectionImages images{{m_nSizeX, m_nSizeY, isVolume ? m_nSizeZ : 1},
                            mask,
                            opened<FloatInput>(std::as_const(*m_pSmoothed)),
                            m_fThreshold,
                            {},
                            {}};
    if (isVolume) {
        images.hessian = all_opened<FloatInput>(std::vector<const CImage*>{
            m_pDxx.Get(), m_pDxy.Get(), m_pDxz.Get(), m_pDyy.Get(), m_pDyz.Get(), m_pDzz.Get()});
        images.maps = all_opened<FloatOutput>(std::vector<CImage*>{thetaMap.Get(), phiMap.Get()});
        scan_directions<3>(images, which, m_runner, Progress());
    } else {
        images.hessian =
            all_opened<FloatInput>(std::vector<const CImage*>{m_pDxx.Get(), m_pDxy.Get(), m_pDyy.Get()});
        images.maps = all_opened<FloatOutput>(std::vector<CImage*>{thetaMap.Get()});
        scan_directions<2>(images, which, m_runner, Progress());
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
        return sum_tensors<2>(tensor, box, normalize, tensor4, {m_pThetaMap.Get()});
    }
    if (dim == 3 && m_pThetaMap && m_pPhiMap) {
        return sum_tensors<3>(tensor, box, normalize, tensor4, {m_pThetaMap.Get(), m_pPhiMap.Get()});
    }
    throw_at(function, __LINE__, missing);
}

} // namespace TEVRA
