// SPDX-License-Identifier: BSD-3-Clause
#include "FilterOrientations/FilterOrientations.h"

#include "FilterBank/FilterMask.h"
#include "FilterBank/MaskForm.h"
#include "FilterOrientations/FilterFailure.h"
#include "FilterOrientations/PointsOnSphere.h"
#include "Numeric/Matrix.h"
#include "Utils/GreyPixels.h"
#include "Utils/PixelRows.h"
#include "Utils/visitors/PointOperations.h"
#include "VexoSpectral/FourierTransformation.h"
#include "zeklib2core/Exception.h"
#include "zeklib2core/String.h"
#include "zeklib2image/ImageFactory.h"

#include <algorithm>
#include <array>
#include <complex>
#include <limits>
#include <utility>
#include <vector>

namespace TEVRA {

using Impl::filterbank::EXCLUDED;
using Impl::filterbank::SOURCE;
using Impl::filterbank::throw_at;

namespace {

constexpr float NO_RESPONSE = -1.0F;

const CRegisterFftwClient FFTW_CLIENT;

using Visit = Impl::VisitorHelper<0>;
using Complex = std::complex<float>;

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

std::array<long long, 3> extents_of(const IImage& image) {
    const CSize& size = image.Size();
    return {size[0], size.Dim() > 1 ? size[1] : 1, size.Dim() > 2 ? size[2] : 1};
}

/// Multiplies a mask with a spectrum. Where rows have no gaps it also fills the mask, row by row, so that the
/// mask buffer is written once and never read; elsewhere the mask must be there already.
class CMaskTimesSpectrum : public visitors::CMult<Complex> {
  public:
    CMaskTimesSpectrum(const Impl::CMaskForm& form, const std::array<long long, 3>& size)
        : m_form(form), m_size(size) {}

    void VisitRow(Complex* product, const Complex* spectrum, long long count, long long y, long long z) {
        const auto columns = static_cast<std::size_t>(count);
        Impl::MultiplyByGaussianRow(m_form.Row(m_size, y, z), {spectrum, columns}, {product, columns});
    }

  private:
    const Impl::CMaskForm& m_form;
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
    if (!padded) {
        return false;
    }
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
    const Impl::CMaskForm form(direction, dimension, *m_widths);
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
    const Impl::CMaskForm form(direction, dimension, *m_widths);
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
        [&]<typename PixelT>() -> IImage* {
            CSize size = image.Size();
            for (int axis = 0; axis < size.Dim(); ++axis) {
                size.Set(axis, size[axis] + 2LL * m_padWidth);
            }
            std::unique_ptr<IImage> padded(CZekImageFactory::Obj().CreateImage(image.Type(), size));
            visitors::CInitializer<PixelT> initializer(PixelT{0});
            if (!Visit::VisitImageData(*padded, initializer, Progress())) {
                return nullptr;
            }
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

} // namespace TEVRA
