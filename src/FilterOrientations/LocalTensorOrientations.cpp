// SPDX-License-Identifier: BSD-3-Clause
#include "FilterOrientations/LocalTensorOrientations.h"

#include "FilterOrientations/MapScan.h"
#include "LocalTensors/DirectSmoothing.h"
#include "LocalTensors/LocalTensorRows.h"
#include "Utils/GreyPixels.h"
#include "Utils/PixelRows.h"
#include "Utils/ProgressScope.h"
#include "Utils/Threshold.h"
#include "zeklib2core/Exception.h"
#include "zeklib2core/String.h"
#include "zeklib2image/HeaderTools.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace TEVRA {
namespace {

constexpr const char* SOURCE = "src/FilterOrientations/LocalTensorOrientations";
constexpr const char* COMPUTE = "TEVRA::CLocalTensorOrientations::compute";
constexpr long long SLAB_SLICES = 16; // whose axes are found by all threads at a time

[[noreturn]] void throw_at(const char* function, int line, const char* message) {
    throw CException(TEVRA_LOCATION(SOURCE, function, line), message);
}
[[noreturn]] void throw_at(const char* function, int line, const std::string& message) {
    throw_at(function, line, message.c_str());
}

long long depth_of(const IImage& image) {
    return image.Size().Dim() == 3 ? image.Size()[2] : 1;
}

/// Writes the grey values of an image's row.
using RowReader = std::function<void(long long y, long long z, float* row)>;

RowReader row_reader(const IImage& image) {
    return Impl::ForGreyPixels(
        image, TEVRA_LOCATION(SOURCE, COMPUTE, __LINE__), [&]<typename PixelT>() -> RowReader {
            const auto pixels = std::make_shared<const Impl::CImageDataExtractor<const IImage, const PixelT>>(
                Impl::PixelsOf<PixelT>(image, "input image"));
            return [pixels](long long y, long long z, float* row) {
                const Impl::CPixelRow<const PixelT> values(*pixels, y, z);
                for (long long x = 0; x < pixels->Size(0); ++x) {
                    row[x] = static_cast<float>(values[x]);
                }
            };
        });
}

/// What is added to the negative of a value where fibers are dark: they become the bright ones, and values of whole
/// numbers stay in their type's range.
float top_of(const IImage& image) {
    return image.Type() == IMAGE_GREY_8    ? std::numeric_limits<unsigned char>::max()
           : image.Type() == IMAGE_GREY_16 ? std::numeric_limits<unsigned short>::max()
                                           : 0.0F;
}

/// The grey values of an image as an estimate takes them: finite, with fibers brighter than what is around them.
class CGreyRows {
  public:
    CGreyRows(const IImage& image, Impl::EFiberContrast contrast, ITaskRunner& runner)
        : m_width(image.Size()[0]), m_height(image.Size()[1]), m_read(row_reader(image)),
          m_isDark(contrast == Impl::EFiberContrast::dark), m_top(top_of(image)) {
        find_range(depth_of(image), runner);
    }

    /// Whether any value is a finite number.
    bool HasFinite() const noexcept { return m_lo <= m_hi; }
    bool HasContrast() const noexcept { return m_lo < m_hi; }

    void Fill(long long z, float* rows, std::size_t rowFloats) const {
        const float nan = m_isDark ? m_hi : m_lo; // is never fiber
        for (long long y = 0; y < m_height; ++y) {
            float* const row = rows + static_cast<std::size_t>(y) * rowFloats;
            m_read(y, z, row);
            for (long long x = 0; x < m_width; ++x) {
                const float value = std::isnan(row[x]) ? nan : std::clamp(row[x], m_lo, m_hi);
                row[x] = m_isDark ? m_top - value : value;
            }
        }
    }

    Impl::SGreyScale UnitScale() const {
        const auto lo = static_cast<double>(m_isDark ? m_top - m_hi : m_lo);
        const auto hi = static_cast<double>(m_isDark ? m_top - m_lo : m_hi);
        return {static_cast<float>(lo), hi > lo ? static_cast<float>(1.0 / (hi - lo)) : 0.0F};
    }
    /// The value of the image that became this one.
    double InImage(double value) const { return m_isDark ? static_cast<double>(m_top) - value : value; }

  private:
    struct SRange {
        float lo = std::numeric_limits<float>::infinity();
        float hi = -std::numeric_limits<float>::infinity();
    };

    void find_range(long long depth, ITaskRunner& runner) {
        std::vector<SRange> ranges(static_cast<std::size_t>(depth));
        runner.Run(depth, [&](long long z) {
            SRange range;
            std::vector<float> row(static_cast<std::size_t>(m_width));
            for (long long y = 0; y < m_height; ++y) {
                m_read(y, z, row.data());
                for (const float value : row) {
                    if (std::isfinite(value)) {
                        range.lo = std::min(range.lo, value);
                        range.hi = std::max(range.hi, value);
                    }
                }
            }
            ranges[static_cast<std::size_t>(z)] = range;
        });
        for (const SRange& range : ranges) {
            m_lo = std::min(m_lo, range.lo);
            m_hi = std::max(m_hi, range.hi);
        }
    }

    long long m_width;
    long long m_height;
    RowReader m_read;
    bool m_isDark;
    float m_top;
    float m_lo = std::numeric_limits<float>::infinity();
    float m_hi = -std::numeric_limits<float>::infinity();
};

/// The pixels of a mask, one byte each, x fastest, without padding.
class CMaskBytes {
  public:
    explicit CMaskBytes(const IImage* mask) {
        if (mask == nullptr) {
            return;
        }
        m_access.reset(mask->CreateAccess(true));
        const CSize& size = mask->Size();
        const auto* const first = static_cast<const unsigned char*>(m_access->ConstData());
        if (m_access->Stride(0) == 1 && m_access->Stride(1) == size[0] &&
            (size.Dim() == 2 || m_access->Stride(2) == size[0] * size[1])) {
            m_bytes = first;
            return;
        }
        m_packed.reserve(size.Elements());
        for (long long z = 0; z < depth_of(*mask); ++z) {
            for (long long y = 0; y < size[1]; ++y) {
                for (long long x = 0; x < size[0]; ++x) {
                    m_packed.push_back(
                        first[x * m_access->Stride(0) + y * m_access->Stride(1) + z * m_access->Stride(2)]);
                }
            }
        }
        m_bytes = m_packed.data();
    }

    /// Null without a mask.
    const unsigned char* Bytes() const { return m_bytes; }

  private:
    std::unique_ptr<IImage::IAccess> m_access;
    std::vector<unsigned char> m_packed;
    const unsigned char* m_bytes = nullptr;
};

/// The image as the foreground is found in it. @return null if the monitor cancelled.
std::unique_ptr<CImage> smoothed_image(const CGreyRows& grey, const CSize& size, double sigma,
                                       const std::array<double, 3>& spacing, ITaskRunner& runner,
                                       IProgressMonitor& progress) {
    auto smoothed = std::make_unique<CImage>(IMAGE_GREY_F, size, CSize(0, 0, 0));
    const long long depth = depth_of(*smoothed);
    Impl::CDirectSmoothing smoothing(
        size, {0, depth}, sigma, spacing,
        [&grey](long long z, float* rows, std::size_t rowFloats) { grey.Fill(z, rows, rowFloats); });
    auto* pixels = smoothed->Pixels<float>();
    constexpr long long AT_ONCE = Impl::CDirectSmoothing::MOST_AT_ONCE;
    Impl::CProgressScope report(progress, (depth + AT_ONCE - 1) / AT_ONCE, "Smoothing slices...");
    for (long long z = 0; z < depth; z += AT_ONCE, pixels += AT_ONCE * size[0] * size[1]) {
        smoothing.Next(pixels, runner, std::min(AT_ONCE, depth - z));
        if (!report.StepAndGoOn()) {
            return nullptr;
        }
    }
    return smoothed;
}

/// @return false if the monitor cancelled.
template <std::size_t Dim>
bool find_axes(Impl::SMapScan scan, const CGreyRows& grey, const Impl::SLocalScales& scales,
               ITaskRunner& runner, IProgressMonitor& progress) {
    const long long width = scan.maps.Width();
    const long long height = scan.maps.Height();
    const long long depth = scan.maps.Depth();
    const auto tensors = std::make_unique<Impl::CLocalTensors<Dim>>(
        Dim == 3 ? CSize(width, height, depth) : CSize(width, height), Impl::SPlanes{0, depth},
        std::min(SLAB_SLICES, depth), scales, grey.UnitScale(),
        [&grey](long long z, float* rows, std::size_t rowFloats) { grey.Fill(z, rows, rowFloats); });
    scan.which = tensors->Eigenvalue();
    Impl::CProgressScope report(progress, depth, "Computing fiber directions...");
    for (long long first = 0; first < depth; first += SLAB_SLICES) {
        const long long end = std::min(first + SLAB_SLICES, depth);
        tensors->Prepare({first, end}, runner);
        Impl::FindAxesOfRows<Dim>(scan, {first * height, end * height}, runner, [&] {
            return std::make_unique<Impl::CLocalTensorRows<Dim>>(tensors, static_cast<std::size_t>(width));
        });
        for (long long z = first; z < end; ++z) {
            if (!report.StepAndGoOn()) {
                return false;
            }
        }
    }
    return true;
}

/// Longer ones would make kernels of any length.
void require_lengths_within(const CSize& size, const Impl::SLocalScales& scales) {
    const double longest = std::max({scales.derivativeSigma, scales.windowSigma, scales.along});
    long long extent = 0;
    for (int axis = 0; axis < size.Dim(); ++axis) {
        extent = std::max(extent, size[axis]);
    }
    for (int axis = 0; axis < size.Dim(); ++axis) {
        if (longest / scales.spacing[static_cast<std::size_t>(axis)] > static_cast<double>(extent)) {
            throw_at(COMPUTE, __LINE__,
                     "The fiber radius, or a length in its place, exceeds the image size (please check for "
                     "correct units).");
        }
    }
}

void require_square(const IMatrix<double>& tensor, int dim) {
    if (tensor.Rows() == static_cast<std::size_t>(dim) && tensor.Cols() == tensor.Rows()) {
        return;
    }
    CString message("The orientation tensor must be a %1x%1 matrix (but it is %2 x %3).",
                    CString::eEncodingUtf8);
    message.Arg(static_cast<long long>(dim), 0)
        .Arg(static_cast<long long>(tensor.Rows()), 0)
        .Arg(static_cast<long long>(tensor.Cols()), 0);
    throw_at("TEVRA::CLocalTensorOrientations::OrientationTensor", __LINE__, message.c_str());
}

} // namespace

CLocalTensorOrientations::CLocalTensorOrientations(double otsuFactor, const char* name, const IObject* parent)
    : CAlgorithm(name, parent), m_otsuFactor(otsuFactor) {}

CLocalTensorOrientations::CLocalTensorOrientations(const CLocalTensorOrientations& other) = default;

CLocalTensorOrientations::~CLocalTensorOrientations() = default;

void CLocalTensorOrientations::check_length(const char* what, const std::optional<double>& length,
                                            bool isZeroAllowed) {
    if (length && !(std::isfinite(*length) && (*length > 0.0 || (isZeroAllowed && *length == 0.0)))) {
        throw_at(COMPUTE, __LINE__,
                 std::string(what) + (isZeroAllowed ? " must be a finite number, 0 or more."
                                                    : " must be a finite number above 0."));
    }
}

std::array<double, 3>
CLocalTensorOrientations::checked_spacing(const STask& task,
                                          const std::optional<std::array<double, 3>>& spacing) {
    const CSize& size = task.image.Size();
    if (size.Dim() != 2 && size.Dim() != 3) {
        throw_at(COMPUTE, __LINE__, "Only 2d and 3d images supported.");
    }
    if (size.Elements() == 0) {
        throw_at(COMPUTE, __LINE__, "The image has no pixels.");
    }
    if (task.mask != nullptr && !(task.mask->Type() == IMAGE_BINARY_FG)) {
        throw_at(COMPUTE, __LINE__, "Mask image must be of type BINARY_FG.");
    }
    if (task.mask != nullptr && !(task.mask->Size() == size)) {
        throw_at(COMPUTE, __LINE__, "Mask and image must have the same size.");
    }
    check_length("The fiber radius", task.fiberRadius, false);
    std::array<double, 3> result{1.0, 1.0, 1.0};
    if (spacing) {
        result = *spacing;
    } else {
        CVexoHeaderTools::GetSpacing(task.image, result[0], result[1], result[2]);
    }
    for (int axis = 0; axis < size.Dim(); ++axis) {
        check_length("The pixel spacing", result[static_cast<std::size_t>(axis)], false);
    }
    return result;
}

void CLocalTensorOrientations::compute(const STask& task, const Impl::SLocalScales& scales) {
    Impl::CTasksInTurn inTurn;
    ITaskRunner& runner = m_runner != nullptr ? *m_runner : inTurn;
    const CSize& size = task.image.Size();
    require_lengths_within(size, scales);
    const CGreyRows grey(task.image, task.contrast, runner);
    if (!grey.HasFinite()) {
        throw_at(COMPUTE, __LINE__, "No grey value of the image is a finite number.");
    }
    if (task.mask == nullptr && !grey.HasContrast()) {
        throw_at(COMPUTE, __LINE__, "All pixels have the same grey value.");
    }
    m_maps.Reset();
    std::unique_ptr<CImage> smoothed;
    double threshold = 0.0;
    if (task.mask == nullptr) {
        smoothed = smoothed_image(grey, size, Impl::FOREGROUND_SIGMA_RADII * task.fiberRadius, scales.spacing,
                                  runner, Progress());
        const std::optional<double> found =
            smoothed ? Impl::ForegroundThreshold(*smoothed, m_otsuFactor) : std::nullopt;
        if (!found) {
            return; // cancelled
        }
        threshold = *found;
        m_threshold = grey.InImage(threshold);
    }
    const CMaskBytes mask(task.mask);
    // The member only once it is filled: zeros would count as directions if the scan is left half-way.
    const Impl::CAngleMaps maps(size, Impl::CAngleMaps::EMaps::anglesAndConfidence);
    const Impl::CAngleMapRows rows(maps);
    const Impl::SMapScan scan{rows, mask.Bytes(),
                              smoothed ? std::as_const(*smoothed).Pixels<float>() : nullptr, threshold};
    if (size.Dim() == 3 ? find_axes<3>(scan, grey, scales, runner, Progress())
                        : find_axes<2>(scan, grey, scales, runner, Progress())) {
        m_maps = maps;
    }
}

void CLocalTensorOrientations::get(const IImage*& map) const {
    constexpr const char* function = "TEVRA::CLocalTensorOrientations::get";
    if (m_maps.Theta() == nullptr) {
        throw_at(function, __LINE__, "There are no direction maps: call compute first.");
    }
    if (m_maps.Dim() != 2) {
        throw_at(function, __LINE__,
                 "Unable to retrieve 2d direction map. Use overloaded 3d interface function.");
    }
    m_maps.SetValueRanges();
    map = m_maps.Theta();
}

void CLocalTensorOrientations::get(const IImage*& theta, const IImage*& phi) const {
    if (m_maps.Theta() == nullptr) {
        throw_at("TEVRA::CLocalTensorOrientations::get", __LINE__,
                 "There are no direction maps: call compute first.");
    }
    m_maps.SetValueRanges();
    theta = m_maps.Theta();
    phi = m_maps.Phi();
}

void CLocalTensorOrientations::GetConfidence(const IImage*& confidence) const {
    if (m_maps.Confidence() == nullptr) {
        throw_at("TEVRA::CLocalTensorOrientations::GetConfidence", __LINE__,
                 "There is no confidence map: call compute first.");
    }
    m_maps.SetValueRanges();
    confidence = m_maps.Confidence();
}

void CLocalTensorOrientations::release(const IImage*& map) {
    get(map);
    map = m_maps.ReleaseTheta();
}

void CLocalTensorOrientations::release(const IImage*& theta, const IImage*& phi) {
    get(theta, phi);
    theta = m_maps.ReleaseTheta();
    phi = m_maps.ReleasePhi();
}

void CLocalTensorOrientations::ReleaseConfidence(const IImage*& confidence) {
    GetConfidence(confidence);
    confidence = m_maps.ReleaseConfidence();
}

long long CLocalTensorOrientations::OrientationTensor(IMatrix<double>& tensor, const CBox& box,
                                                      bool normalize, CTensorRank4* tensor4) const {
    if (m_maps.Dim() == 0) {
        throw_at("TEVRA::CLocalTensorOrientations::OrientationTensor", __LINE__,
                 "There are no direction maps: call compute first.");
    }
    require_square(tensor, m_maps.Dim());
    return m_maps.OrientationTensor(tensor, box, normalize, tensor4);
}

} // namespace TEVRA
