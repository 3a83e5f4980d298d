// SPDX-License-Identifier: BSD-3-Clause
#include "FilterOrientations/HessianOrientations.h"

#include "FilterOrientations/MapScan.h"
#include "Utils/PixelRows.h"
#include "Utils/Threshold.h"
#include "VexoFilter/PartialDerivatives.h"
#include "VexoFilter/YoungVanVliet.h"
#include "zeklib2core/Exception.h"
#include "zeklib2core/String.h"
#include "zeklib2image/ImageExtraction.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <optional>
#include <utility>
#include <vector>

namespace TEVRA {
namespace {

constexpr const char* SOURCE = "src/FilterOrientations/HessianOrientations";

using FloatInput = Impl::CImageDataExtractor<const IImage, const float>;

[[noreturn]] void throw_at(const char* function, int line, const char* message) {
    throw CException(TEVRA_LOCATION(SOURCE, function, line), message);
}

/// The matrices of a Hessian whose entries are images: its upper triangle, row by row.
template <std::size_t Dim>
class CHessianImages : public Impl::IMatrixRows<Dim> {
  public:
    explicit CHessianImages(const std::vector<FloatInput>& entries) : m_entries(entries) {}

    void GoTo(long long z) override { m_z = z; }
    const Impl::SymmetricRow<Dim>& At(long long y, const unsigned char* /*foreground*/) override {
        for (std::size_t entry = 0; entry < m_rows.size(); ++entry) {
            m_rows[entry] = m_entries[entry].Row(y, m_z);
        }
        return m_rows;
    }
    /// The entries lie in as many images.
    void Prefetch(long long y, long long z, const unsigned char* foreground) override {
        constexpr std::size_t LINE = 64 / sizeof(float); // pixels of a cache line
        const auto width = static_cast<std::size_t>(m_entries.front().Size(0));
        for (std::size_t x = 0; x + LINE <= width; x += LINE) {
            std::array<unsigned long long, LINE / 8> bytes{};
            std::memcpy(bytes.data(), foreground + x, LINE);
            if ((bytes[0] | bytes[1]) != 0) {
                for (const FloatInput& entry : m_entries) {
                    __builtin_prefetch(entry.Row(y, z) + x);
                }
            }
        }
    }

  private:
    const std::vector<FloatInput>& m_entries;
    long long m_z = 0;
    Impl::SymmetricRow<Dim> m_rows{};
};

template <std::size_t Dim>
void scan_directions(const Impl::SMapScan& scan, const std::vector<const CImage*>& hessian, ITaskRunner* lent,
                     IProgressMonitor& progress) {
    constexpr long long TASKS_PER_BATCH = 64; // progress is told between batches, on this thread
    std::vector<FloatInput> entries;
    entries.reserve(hessian.size());
    for (const CImage* const image : hessian) {
        entries.push_back(Impl::PixelsOf<float>(*image, "input image"));
    }
    Impl::CTasksInTurn inTurn;
    ITaskRunner& runner = lent != nullptr ? *lent : inTurn;
    const long long rows = scan.maps.Height() * scan.maps.Depth();
    const long long batchRows = Impl::ROWS_PER_TASK * (lent != nullptr ? TASKS_PER_BATCH : 1);
    Impl::CProgressScope report(progress, rows, "Computing fiber directions...");
    for (long long first = 0; first < rows; first += batchRows) {
        const long long end = std::min(first + batchRows, rows);
        Impl::FindAxesOfRows<Dim>(scan, {first, end}, runner,
                                  [&] { return std::make_unique<CHessianImages<Dim>>(entries); });
        for (long long row = first; row < end; ++row) {
            report.Step();
        }
    }
}

void require_square(const IMatrix<double>& tensor, int dim) {
    if (tensor.Rows() == static_cast<std::size_t>(dim) && tensor.Cols() == tensor.Rows()) {
        return;
    }
    // One text for both dimensions.
    CString message("3D-orientation tensor must be a 3x3 matrix (but it is %1 x %2).",
                    CString::eEncodingUtf8);
    message.Arg(static_cast<long long>(tensor.Rows()), 0).Arg(static_cast<long long>(tensor.Cols()), 0);
    throw_at(dim == 3 ? "`anonymous-namespace'::OrientationTensor_impl3d"
                      : "`anonymous-namespace'::OrientationTensor_impl2d",
             __LINE__, message.c_str());
}

} // namespace

CHessianOrientations::CHessianOrientations(double fOtsuFactor, const char* name, const IObject* parent)
    : CAlgorithm(name, parent), m_fOtsuFactor(fOtsuFactor) {}

CHessianOrientations::CHessianOrientations(const CHessianOrientations& other) = default;

CHessianOrientations::~CHessianOrientations() {
    free_buffers();
}

void CHessianOrientations::free_buffers() {
    for (Impl::CSharedImage* image : {&m_pSmoothed, &m_pDxx, &m_pDyy, &m_pDzz, &m_pDxy, &m_pDxz, &m_pDyz}) {
        image->Reset();
    }
    m_maps.Reset();
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
    m_maps.Reset();
    // The member only once it is filled: zeros would count as directions if the scan is left half-way.
    const CSize& size = m_pSmoothed->Size();
    const Impl::CAngleMaps maps(size, Impl::CAngleMaps::EMaps::angles);
    if (mask == nullptr) {
        const std::optional<double> threshold = Impl::ForegroundThreshold(*m_pSmoothed, m_fOtsuFactor);
        if (!threshold) {
            return; // cancelled, and without maps whoever asks for numbers is told that there are none
        }
        m_fThreshold = *threshold;
    }
    const Impl::CAngleMapRows rows(maps);
    const Impl::SMapScan scan{rows, mask, std::as_const(*m_pSmoothed).Pixels<float>(), m_fThreshold,
                              select == eEVSmallest ? Impl::EEigenvalue::smallest
                                                    : Impl::EEigenvalue::largest};
    if (size.Dim() == 3) {
        scan_directions<3>(
            scan, {m_pDxx.Get(), m_pDxy.Get(), m_pDxz.Get(), m_pDyy.Get(), m_pDyz.Get(), m_pDzz.Get()},
            m_runner, Progress());
    } else {
        scan_directions<2>(scan, {m_pDxx.Get(), m_pDxy.Get(), m_pDyy.Get()}, m_runner, Progress());
    }
    m_maps = maps;
}

void CHessianOrientations::get(const IImage*& map) const {
    constexpr const char* function = "TEVRA::CHessianOrientations::get";
    if (m_maps.Theta() == nullptr) {
        throw_at(function, __LINE__,
                 "Unable to access direction maps prior to computing the Hessian. Call "
                 "CHessianOrientations::Compute() first.");
    }
    if (m_maps.Theta()->Size().Dim() != 2) {
        throw_at(function, __LINE__,
                 "Unable to retrieve 2d direction map. Use overloaded 3d interface function.");
    }
    m_maps.SetValueRanges();
    map = m_maps.Theta();
}

void CHessianOrientations::get(const IImage*& theta, const IImage*& phi) const {
    if (m_maps.Theta() == nullptr) {
        throw_at("TEVRA::CHessianOrientations::get", __LINE__,
                 "Unable to access direction maps prior to computing the Hessian. Call "
                 "CHessianOrientations::Compute() first!");
    }
    m_maps.SetValueRanges();
    theta = m_maps.Theta();
    phi = m_maps.Phi();
}

void CHessianOrientations::release(const IImage*& map) {
    get(map);
    map = m_maps.ReleaseTheta();
    m_maps.Reset();
}

void CHessianOrientations::release(const IImage*& theta, const IImage*& phi) {
    get(theta, phi);
    theta = m_maps.ReleaseTheta();
    phi = m_maps.ReleasePhi();
}

long long CHessianOrientations::OrientationTensor(IMatrix<double>& tensor, const CBox& box, bool normalize,
                                                  CTensorRank4* tensor4) {
    if (!m_pSmoothed || m_maps.Dim() == 0) {
        throw_at("TEVRA::CHessianOrientations::OrientationTensor", __LINE__,
                 "Orientation maps must be created, first. Unable to compute tensor.");
    }
    require_square(tensor, m_maps.Dim());
    return m_maps.OrientationTensor(tensor, box, normalize, tensor4);
}

} // namespace TEVRA
