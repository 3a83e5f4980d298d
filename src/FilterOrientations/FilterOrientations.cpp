// SPDX-License-Identifier: BSD-3-Clause
#include "FilterOrientations/FilterOrientations.h"

#include "Axes/OrientationSums.h"
#include "FilterBank/FilterMask.h"
#include "FilterOrientations/PointsOnSphere.h"
#include "Numeric/Matrix.h"
#include "Utils/CoveredPixels.h"
#include "Utils/GreyPixels.h"
#include "Utils/PixelRows.h"
#include "Utils/SaturatedFloat.h"
#include "Utils/Threshold.h"
#include "Utils/visitors/PointOperationStatistics.h"
#include "Utils/visitors/PointOperations.h"
#include "VexoSpectral/FourierTransformation.h"
#include "zeklib2core/Exception.h"
#include "zeklib2core/String.h"
#include "zeklib2core/ValueLeaf.h"
#include "zeklib2core/ValueVector.h"
#include "zeklib2image/ImageFactory.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <limits>
#include <utility>
#include <vector>

namespace TEVRA {
namespace {

constexpr const char* SOURCE = "src/FilterOrientations/FilterOrientations";
constexpr unsigned char EXCLUDED = 255; // in index images
constexpr float NO_RESPONSE = -1.0F;
constexpr float EXCLUDED_ANGLE = -1.0F;

const CRegisterFftwClient FFTW_CLIENT;

using Histogram = std::vector<unsigned long long>;
using Visit = Impl::VisitorHelper<0>;
using Complex = std::complex<float>;

[[noreturn]] void throw_at(const char* function, int line, const char* message) {
    throw CException(TEVRA_LOCATION(SOURCE, function, line), message);
}

[[noreturn]] void throw_at(const char* function, int line, const CString& message) {
    throw_at(function, line, message.c_str());
}

/// Twice the larger width, rounded; never less than no pixel, whatever the widths.
std::int32_t pad_width(float majorWidth, float minorWidth) {
    const float width = minorWidth > majorWidth ? minorWidth : majorWidth;
    const float pixels = width * 2.0F + 0.5F;
    if (!(pixels >= 1.0F)) {
        return 0;
    }
    constexpr auto MOST = std::numeric_limits<std::int32_t>::max();
    return pixels >= static_cast<float>(MOST) ? MOST : static_cast<std::int32_t>(pixels);
}

/// Basis whose first column is the direction and whose others complete an orthonormal one.
CMatrix<double> ConstructBase(const double* direction, int dimension) {
    const std::size_t size = dimension == 3 ? 3 : 2;
    double sumOfSquares = 0.0;
    for (std::size_t i = 0; i < size; ++i) {
        sumOfSquares += direction[i] * direction[i];
    }
    if (!(std::abs(std::sqrt(sumOfSquares) - 1.0) <= 1e-6)) {
        throw_at("`anonymous-namespace'::ConstructBase", __LINE__,
                 "The vector describing the major axis of the Gaussian must be a unit vector.");
    }
    CMatrix<double> base(size, size);
    const double vx = direction[0];
    const double vy = direction[1];
    base(0, 0) = vx;
    base(1, 0) = vy;
    if (size == 2) {
        constexpr double QUARTER_TURN = 1.5707963267948966;
        base(0, 1) = std::cos(QUARTER_TURN) * vx - std::sin(QUARTER_TURN) * vy;
        base(1, 1) = std::sin(QUARTER_TURN) * vx + std::cos(QUARTER_TURN) * vy;
        return base;
    }
    const double vz = direction[2];
    base(2, 0) = vz;
    constexpr double CLEARLY_NOT_ZERO = 1e-6;
    std::array<double, 3> u{};
    if (std::abs(vz) > CLEARLY_NOT_ZERO) {
        u = {0.5, 0.5, -(0.5 * vx + 0.5 * vy) / vz};
    } else if (std::abs(vy) > CLEARLY_NOT_ZERO) {
        u = {0.5, -(0.5 * vx + 0.5 * vz) / vy, 0.5};
    } else {
        u = {-(0.5 * vy + 0.5 * vz) / vx, 0.5, 0.5};
    }
    const double length = std::sqrt(u[0] * u[0] + u[1] * u[1] + u[2] * u[2]);
    for (std::size_t i = 0; i < 3; ++i) {
        u[i] /= length;
        base(i, 1) = u[i];
    }
    base(0, 2) = vy * u[2] - vz * u[1];
    base(1, 2) = vz * u[0] - vx * u[2];
    base(2, 2) = vx * u[1] - vy * u[0];
    return base;
}

/// Pixel of frequency zero on an axis of a centred spectrum.
double centre_of(long long extent) {
    const long long pixel = extent / 2;
    return static_cast<double>(pixel);
}

/// Frequency of a pixel of a centred spectrum, in [-1, 1). NaN on an axis of one pixel.
double frequency_at(long long pixel, long long extent) {
    const double centre = centre_of(extent);
    return (static_cast<double>(pixel) - centre) / centre;
}

/// The quadratic form of a mask in frequency space.
class CMaskForm {
  public:
    /// @throws CException if the direction is not of unit length.
    CMaskForm(const double* direction, int dimension, const IMatrix<double>& widths)
        : m_form(ConstructBase(direction, dimension)) {
        CMatrix<double> base = m_form;
        m_form *= widths;
        base.Transpose();
        m_form *= base;
    }

    /// The row of the mask at `y` and, in space, `z` of an image of this size.
    Impl::SGaussianRow Row(const std::array<long long, 3>& size, long long y, long long z) const {
        const std::array<double, 2> w{frequency_at(y, size[1]),
                                      m_form.Rows() == 3 ? frequency_at(z, size[2]) : 0.0};
        Impl::SGaussianRow row{m_form(0, 0), 0.0, 0.0, centre_of(size[0])};
        for (std::size_t i = 1; i < m_form.Rows(); ++i) {
            row.b += (m_form(0, i) + m_form(i, 0)) * w[i - 1];
            for (std::size_t j = 1; j < m_form.Rows(); ++j) {
                row.c += w[i - 1] * m_form(i, j) * w[j - 1];
            }
        }
        return row;
    }

  private:
    CMatrix<double> m_form;
};

std::array<long long, 3> extents_of(const IImage& image) {
    const CSize& size = image.Size();
    return {size[0], size.Dim() > 1 ? size[1] : 1, size.Dim() > 2 ? size[2] : 1};
}

/// Multiplies a mask with a spectrum. Where rows have no gaps it also fills the mask, row by row, so that the
/// mask buffer is written once and never read; elsewhere the mask must be there already.
class CMaskTimesSpectrum : public visitors::CMult<Complex> {
  public:
    CMaskTimesSpectrum(const CMaskForm& form, const std::array<long long, 3>& size)
        : m_form(form), m_size(size) {}

    void VisitRow(Complex* product, const Complex* spectrum, long long count, long long y, long long z) {
        const auto columns = static_cast<std::size_t>(count);
        Impl::MultiplyByGaussianRow(m_form.Row(m_size, y, z), {spectrum, columns}, {product, columns});
    }

  private:
    const CMaskForm& m_form;
    std::array<long long, 3> m_size;
};

bool has_gaps(const IImage& image) {
    const std::unique_ptr<IImage::IAccess> access(image.CreateAccess(true));
    return access->Stride(0) != static_cast<std::ptrdiff_t>(sizeof(Complex));
}

/// Keeps, per pixel, the larger response and the number of the direction it belongs to; NaN is never larger.
void keep_maximum(const Impl::CPixelRow<unsigned char>& index, const Impl::CPixelRow<float>& best,
                  const Impl::CPixelRow<const float>& responses, long long firstResponse, long long count,
                  unsigned char direction) {
    for (long long x = 0; x < count; ++x) {
        const float response = responses[firstResponse + x];
        if (response > best[x]) {
            best[x] = response;
            index[x] = direction;
        }
    }
}

void typed_mask_out(IImage& index, const IImage& mask, unsigned char label) {
    if (!(index.Type() == IMAGE_GREY_8)) {
        throw_at("`anonymous-namespace'::typed_MaskOutOrientations", __LINE__,
                 "Orientation indices must be stored in a uint8 image.");
    }
    const auto numbers = Impl::WritablePixelsOf<unsigned char>(index, "index image");
    // Masks are bytes, though not grey values: of the checks only those of the geometry apply.
    Impl::CImageDataExtractor<const IImage, const unsigned char> foreground(mask, "mask image");
    foreground.InitSize();
    foreground.Open();
    for (long long z = 0; z < numbers.Size(2); ++z) {
        for (long long y = 0; y < numbers.Size(1); ++y) {
            const Impl::CPixelRow number(numbers, y, z);
            const Impl::CPixelRow isForeground(foreground, y, z);
            for (long long x = 0; x < numbers.Size(0); ++x) {
                if (isForeground[x] == 0) {
                    number[x] = label;
                }
            }
        }
    }
}

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

CFilterOrientations::CFilterOrientations(float majorWidth, float minorWidth, const char* name,
                                         const IObject* parent)
    : CAlgorithm(name, parent), m_majorWidth(static_cast<double>(majorWidth)),
      m_minorWidth(static_cast<double>(minorWidth)), m_padWidth(pad_width(majorWidth, minorWidth)),
      m_transformation(std::make_unique<CFourierTransformation>(nullptr, nullptr)) {}

CFilterOrientations::~CFilterOrientations() = default;

bool CFilterOrientations::IsValidResolutionId(int id) const {
    return id >= eCoarse && id <= eFine;
}

std::string CFilterOrientations::ResolutionIdToString(int id) {
    switch (id) {
    case eCoarse:
        return "coarse";
    case eMedium:
        return "medium";
    case eFine:
        return "fine";
    default:
        return "invalid";
    }
}

void CFilterOrientations::Compute(const IImage& image, EOrientationResolution resolution,
                                  const IImage* mask) {
    constexpr const char* function = "TEVRA::CFilterOrientations::Compute";
    const int dimension = image.Size().Dim();
    if (dimension != 2 && dimension != 3) {
        throw_at(function, __LINE__, "Only implemented for 2d and 3d images.");
    }
    if (!(image.Type() == IMAGE_GREY_8) && !(image.Type() == IMAGE_GREY_16) &&
        !(image.Type() == IMAGE_GREY_F)) {
        CString message("Not implemented for this input image type '%1'.", CString::eEncodingUtf8);
        throw_at(function, __LINE__, message.Arg(image.Type().ToString()));
    }
    if (mask != nullptr && !(mask->Type() == IMAGE_BINARY_FG)) {
        CString message("Mask image type is '%1' but IMAGE_MONO_BINARY.", CString::eEncodingUtf8);
        throw_at(function, __LINE__, message.Arg(mask->Type().ToString()));
    }
    if (mask != nullptr && !(mask->Size() == image.Size())) {
        CString message("Input image and mask image sizes do not match: '%1' vs '%2'.",
                        CString::eEncodingUtf8);
        throw_at(function, __LINE__, message.Arg(image.Size().ToString()).Arg(mask->Size().ToString()));
    }
    if (!IsValidResolutionId(resolution)) {
        CString message("Invalid resolution id '%1'.", CString::eEncodingUtf8);
        throw_at(function, __LINE__, message.Arg(static_cast<int>(resolution), 0));
    }
    SResult result;
    result.directions.reset(Impl::StPointsOnSphere::GetPoints(resolution, dimension));
    if (result.directions->Rows() > EXCLUDED) {
        CString message("Internal error: Cannot store more than %1 directions.", CString::eEncodingUtf8);
        throw_at(function, __LINE__, message.Arg(static_cast<int>(EXCLUDED), 0));
    }
    SetupDiag(dimension);
    if (compute(image, mask, result)) {
        m_result = std::move(result);
    }
}

/// The part of `Compute` that reports progress. @return false if it was cancelled.
bool CFilterOrientations::compute(const IImage& image, const IImage* mask, SResult& result) {
    const CZekImageFactory& factory = CZekImageFactory::Obj();
    const IMatrix<double>& directions = *result.directions;
    Impl::CProgressScope progress(Progress(), static_cast<long long>(directions.Rows()) + 9,
                                  "Computing local orientations...");
    std::unique_ptr<IImage> padded(PadZeros(image));
    const CSize paddedSize = padded->Size();
    std::unique_ptr<IImage> spectrum(factory.CreateImage(IMAGE_COMPLEX_F, paddedSize));
    if (!progress.StepAndGoOn()) {
        return false;
    }
    m_transformation->Fft(*spectrum, *padded, nullptr);
    padded.reset();
    if (!progress.StepAndGoOn()) {
        return false;
    }
    result.index.reset(factory.CreateImage(IMAGE_GREY_8, image.Size()));
    if (!progress.StepAndGoOn()) {
        return false;
    }
    result.bestResponse.reset(factory.CreateImage(IMAGE_GREY_F, image.Size()));
    if (!progress.StepAndGoOn()) {
        return false;
    }
    std::unique_ptr<IImage> maskBuffer(factory.CreateImage(IMAGE_COMPLEX_F, paddedSize));
    if (!progress.StepAndGoOn()) {
        return false;
    }
    std::unique_ptr<IImage> filtered(factory.CreateImage(IMAGE_GREY_F, paddedSize));
    if (!progress.StepAndGoOn()) {
        return false;
    }
    visitors::CInitializer<float> initializer(NO_RESPONSE);
    const bool isInitialized = Visit::VisitImageData(*result.bestResponse, initializer, Progress());
    if (!progress.StepAndGoOn() || !isInitialized) {
        return false;
    }
    for (std::size_t i = 0; i < directions.Rows(); ++i) {
        if (Progress().CancelRequested()) {
            return false;
        }
        std::array<double, 3> direction{};
        for (std::size_t k = 0; k < directions.Cols(); ++k) {
            direction[k] = directions(i, k);
        }
        const bool isFiltered = filter_image(*filtered, *maskBuffer, *spectrum, direction.data());
        if (Progress().CancelRequested() || !isFiltered) {
            return false;
        }
        AssignToMaximum(*result.index, *result.bestResponse, *filtered, static_cast<int>(i));
        progress.Step();
    }
    maskBuffer.reset();
    filtered.reset();
    spectrum.reset();
    if (!progress.StepAndGoOn()) {
        return false;
    }
    const bool isMasked = mask_out(*result.index, image, mask);
    progress.Step();
    return isMasked;
}

/// Excludes the background. @return false if that was cancelled.
bool CFilterOrientations::mask_out(IImage& index, const IImage& image, const IImage* mask) {
    if (mask != nullptr) {
        MaskOutOrientations(index, *mask, EXCLUDED);
        return true;
    }
    constexpr double OTSU_FACTOR = 1.05;
    const Impl::SThreshold threshold = Impl::ForegroundThreshold(image, OTSU_FACTOR);
    MaskOutOrientations(index, image, threshold.value, EXCLUDED);
    return threshold.isComplete;
}

void CFilterOrientations::SetupDiag(int dimension) {
    m_widths.reset();
    const std::size_t size = dimension == 3 ? 3 : 2;
    auto widths = std::make_unique<CMatrix<double>>(size, size);
    (*widths)(0, 0) = m_majorWidth * m_majorWidth;
    for (std::size_t i = 1; i < size; ++i) {
        (*widths)(i, i) = m_minorWidth * m_minorWidth;
    }
    m_widths = std::move(widths);
}

void CFilterOrientations::FillFilterMask2(IImage& mask, const double* direction) {
    fill_filter_mask(mask, direction, 2, "TEVRA::CFilterOrientations::FillFilterMask2");
}

void CFilterOrientations::FillFilterMask3(IImage& mask, const double* direction) {
    fill_filter_mask(mask, direction, 3, "TEVRA::CFilterOrientations::FillFilterMask3");
}

void CFilterOrientations::fill_filter_mask(IImage& mask, const double* direction, int dimension,
                                           const char* function) {
    if (!(mask.Type() == IMAGE_COMPLEX_F)) {
        CString message("Type mismatch, expecting a complex image, but got image type '%1'.",
                        CString::eEncodingUtf8);
        throw_at(function, __LINE__, message.Arg(mask.Type().ToString()));
    }
    const CMaskForm form(direction, dimension, *m_widths);
    const std::array<long long, 3> size = extents_of(mask);
    const auto pixels = Impl::WritablePixelsOf<Complex>(mask, "mask image");
    std::vector<float> values(static_cast<std::size_t>(pixels.Size(0)));
    for (long long z = 0; z < pixels.Size(2); ++z) {
        for (long long y = 0; y < pixels.Size(1); ++y) {
            Impl::FillGaussianRow(form.Row(size, y, z), values);
            const Impl::CPixelRow pixel(pixels, y, z);
            for (long long x = 0; x < pixels.Size(0); ++x) {
                pixel[x] = values[static_cast<std::size_t>(x)];
            }
        }
    }
}

void CFilterOrientations::FilterImageFourier(IImage& response, IImage& maskBuffer, const IImage& spectrum,
                                             double* direction) {
    static_cast<void>(filter_image(response, maskBuffer, spectrum, direction));
}

bool CFilterOrientations::filter_image(IImage& response, IImage& maskBuffer, const IImage& spectrum,
                                       const double* direction) {
    constexpr const char* function = "TEVRA::CFilterOrientations::FilterImageFourier";
    if (!(spectrum.Type() == IMAGE_COMPLEX_F) || !(maskBuffer.Type() == IMAGE_COMPLEX_F) ||
        !(response.Type() == IMAGE_GREY_F)) {
        throw_at(function, __LINE__,
                 "Filtering in Fourier domain requires images of type GREY_F and COMPLEX_F.");
    }
    const int dimension = response.Size().Dim();
    if (dimension != 2 && dimension != 3) {
        throw_at(function, __LINE__, "This function filters 2D and 3D images, only.");
    }
    SetupDiag(dimension);
    if (has_gaps(maskBuffer) || has_gaps(spectrum)) {
        if (dimension == 3) {
            FillFilterMask3(maskBuffer, direction);
        } else {
            FillFilterMask2(maskBuffer, direction);
        }
    }
    const CMaskForm form(direction, dimension, *m_widths);
    CMaskTimesSpectrum product(form, extents_of(maskBuffer));
    if (!Visit::VisitImageData(maskBuffer, spectrum, product, Progress())) {
        return false;
    }
    m_transformation->InverseFft(response, maskBuffer, nullptr);
    return true;
}

IImage* CFilterOrientations::PadZeros(const IImage& image) {
    return Impl::ForGreyPixels(
        image, TEVRA_LOCATION(SOURCE, "TEVRA::CFilterOrientations::PadZeros", __LINE__),
        [&]<typename PixelT>() {
            CSize size = image.Size();
            for (int axis = 0; axis < size.Dim(); ++axis) {
                size.Set(axis, size[axis] + 2LL * m_padWidth);
            }
            std::unique_ptr<IImage> padded(CZekImageFactory::Obj().CreateImage(image.Type(), size));
            visitors::CInitializer<PixelT> initializer(PixelT{0});
            Visit::VisitImageData(*padded, initializer, Progress());

            const auto source = Impl::PixelsOf<PixelT>(image, "input image");
            const auto target = Impl::WritablePixelsOf<PixelT>(*padded, "padded image");
            const long long padZ = size.Dim() == 3 ? m_padWidth : 0;
            for (long long z = 0; z < source.Size(2); ++z) {
                for (long long y = 0; y < source.Size(1); ++y) {
                    const Impl::CPixelRow from(source, y, z);
                    const Impl::CPixelRow to(target, y + m_padWidth, z + padZ);
                    for (long long x = 0; x < source.Size(0); ++x) {
                        to[x + m_padWidth] = from[x];
                    }
                }
            }
            return padded.release();
        });
}

void CFilterOrientations::AssignToMaximum(IImage& index, IImage& best, const IImage& filtered,
                                          int direction) {
    const auto number = static_cast<unsigned char>(std::clamp(direction, 0, 255));
    const auto numbers = Impl::WritablePixelsOf<unsigned char>(index, "index image");
    const auto bests = Impl::WritablePixelsOf<float>(best, "best response image");
    const auto responses = Impl::PixelsOf<float>(filtered, "filtered image");
    const long long padZ = numbers.Dim() == 3 ? m_padWidth : 0;
    if (numbers.HasContiguousRows() && bests.HasContiguousRows() && responses.HasContiguousRows()) {
        const auto columns = static_cast<std::size_t>(numbers.Size(0));
        for (long long z = 0; z < numbers.Size(2); ++z) {
            for (long long y = 0; y < numbers.Size(1); ++y) {
                Impl::KeepMaximum({responses.Row(y + m_padWidth, z + padZ) + m_padWidth, columns},
                                  {bests.Row(y, z), columns}, {numbers.Row(y, z), columns}, number);
            }
        }
        return;
    }
    for (long long z = 0; z < numbers.Size(2); ++z) {
        for (long long y = 0; y < numbers.Size(1); ++y) {
            keep_maximum(Impl::CPixelRow(numbers, y, z), Impl::CPixelRow(bests, y, z),
                         Impl::CPixelRow(responses, y + m_padWidth, z + padZ), m_padWidth, numbers.Size(0),
                         number);
        }
    }
}

void CFilterOrientations::MaskOutOrientations(IImage& index, const IImage& image, double threshold,
                                              unsigned char label) {
    Impl::ForGreyPixels(image,
                        TEVRA_LOCATION(SOURCE, "TEVRA::CFilterOrientations::MaskOutOrientations", __LINE__),
                        [&]<typename PixelT>() {
                            const auto numbers = Impl::WritablePixelsOf<unsigned char>(index, "index image");
                            const auto values = Impl::PixelsOf<PixelT>(image, "input image");
                            for (long long z = 0; z < numbers.Size(2); ++z) {
                                for (long long y = 0; y < numbers.Size(1); ++y) {
                                    const Impl::CPixelRow number(numbers, y, z);
                                    const Impl::CPixelRow value(values, y, z);
                                    for (long long x = 0; x < numbers.Size(0); ++x) {
                                        if (threshold > static_cast<double>(value[x])) {
                                            number[x] = label;
                                        }
                                    }
                                }
                            }
                        });
}

void CFilterOrientations::MaskOutOrientations(IImage& index, const IImage& mask, unsigned char label) {
    constexpr const char* function = "TEVRA::CFilterOrientations::MaskOutOrientations";
    if (!(mask.Size() == index.Size())) {
        throw_at(function, __LINE__, "Mask and orientation images must have compatible sizes.");
    }
    if (!(mask.Type() == IMAGE_BINARY_FG) && !(mask.Type() == IMAGE_BOOL)) {
        throw_at(function, __LINE__, "Mask image must be BINARY_FG or BOOL.");
    }
    typed_mask_out(index, mask, label);
}

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

double CFilterOrientations::ComputeThreshold(const IImage& image, double factor) {
    return Impl::ForegroundThreshold(image, factor).value;
}

} // namespace TEVRA
