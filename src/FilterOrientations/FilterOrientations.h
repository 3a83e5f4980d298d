// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Numeric/MatrixInterface.h"
#include "VexoBase/Algorithm.h"
#include "zeklib2core/ValueMap.h"
#include "zeklib2image/Box.h"
#include "zeklib2image/ImageInterface.h"

#include <cstdint>
#include <memory>
#include <string>

namespace TEVRA {

class CFourierTransformation;
struct CTestAccess;

/// Orientation estimate by a bank of oriented Gaussian filters, and the automatic foreground threshold that
/// all estimators share.
///
///     CFilterOrientations estimator(4.0F, 1.0F, nullptr, nullptr);
///     estimator.Compute(image, CFilterOrientations::eMedium, nullptr);
///     estimator.GetOrientations(colatitude, longitude);
///
/// Every filter is a Gaussian in frequency space, narrow along its direction and wide across, and therefore
/// in the image a Gaussian drawn out along its direction: with frequencies normalised to [-1, 1), a width of
/// s there is a standard deviation of s / pi pixels here. A pixel gets the direction whose filter answers
/// strongest; of equal answers the one with the lower number.
class CFilterOrientations : public CAlgorithm {
  public:
    /// How many directions are tested: 18, 50 or 98, in 2D as in 3D.
    enum EOrientationResolution : std::int32_t { eCoarse = 0, eMedium = 1, eFine = 2 };

    /// @param majorWidth width along the direction, @param minorWidth across; pi times the standard deviation
    ///        in pixels. Not checked.
    CFilterOrientations(float majorWidth, float minorWidth, const char* name, const IObject* parent);
    CFilterOrientations(const CFilterOrientations&) = delete;
    CFilterOrientations& operator=(const CFilterOrientations&) = delete;
    ~CFilterOrientations() override;

    /// True for 0, 1 and 2.
    bool IsValidResolutionId(int id) const;
    /// "coarse", "medium", "fine", or "invalid" for every other number.
    static std::string ResolutionIdToString(int id);

    /// Estimates the direction of every foreground pixel. Results replace those of an earlier run only if the
    /// whole run succeeds and is not cancelled.
    /// @param image GREY_8, GREY_16 or GREY_F, 2D or 3D.
    /// @param mask BINARY_FG of the same size; null: pixels below `ComputeThreshold(image, 1.05)` are
    /// excluded.
    /// @throws CException for other types, dimensions, sizes or another resolution, before anything is
    ///         changed, and for a float image without two different values if there is no mask.
    void Compute(const IImage& image, EOrientationResolution resolution, const IImage* mask);

    /// Zeros that `Compute` puts around the image before it is transformed, in pixels on every side: twice
    /// the larger width. Extents with this frame whose prime factors are small are transformed several times
    /// faster.
    std::int32_t PadWidth() const noexcept { return m_padWidth; }

    /// Filters by one direction: the inverse transform of the spectrum times the direction's mask.
    /// @param response GREY_F, 2D or 3D. @param maskBuffer COMPLEX_F, overwritten by the filtered spectrum.
    /// @param spectrum COMPLEX_F, zero frequency at pixel floor(n / 2); all three of one size.
    /// @param direction unit vector of as many components as the images have dimensions.
    /// @throws CException for wrong types or dimensions or if the direction is not of unit length.
    void FilterImageFourier(IImage& response, IImage& maskBuffer, const IImage& spectrum, double* direction);

    /// Copies the strongest answer of every pixel; -1 where none exceeded -1.
    /// @param out GREY_F of the input's size. @return false, with `out` unchanged, before the first result.
    /// @throws CException for another type or size.
    bool GetBestResponse(IImage& out) const;

    /// Lends the number of every pixel's direction, 255 at excluded pixels: GREY_8, of the input's size. Null
    /// before the first result; gone with the next one.
    const IImage* Index() const noexcept { return m_result.index.get(); }

    /// Writes the angles of every pixel's direction, in radians. In 3D: colatitude in [0, pi/2], longitude
    /// in (-pi, pi]; in 2D: the angle from the x axis, in [0, pi), as colatitude, longitude -1.
    /// Both are -1 at excluded pixels.
    /// @param colatitude, longitude GREY_F of the input's size.
    /// @return false, with both unchanged, before the first result.
    /// @throws CException for another type, or if the two differ in size.
    bool GetOrientations(IImage& colatitude, IImage& longitude) const;

    /// Writes, under every direction's number, its components and the number of pixels that have it.
    /// @return false, with `out` unchanged, before the first result.
    bool OrientationHistogram(CValueMap& out) const;

    /// Mean outer product of the directions in a box with themselves.
    ///
    /// The box's upper corner is exclusive, and so is the image's last pixel on every axis, unless the box is
    /// that one pixel. A box that lies beyond the image's far edge holds nothing.
    /// @param tensor d x d, overwritten. @return number of pixels with a direction in the box; 0, with
    ///         `tensor` unchanged, before the first result. @throws CException for another shape.
    long long OrientationTensor(IMatrix<double>& tensor, const CBox& box) const;

    /// The direction of a pixel.
    /// @param vector d x 1. @return false, with `vector` unchanged, at an excluded pixel and before the first
    ///         result. @throws CException for another shape; CExBadParam for a position outside the image.
    bool BestOrientation(IMatrix<double>& vector, const CPos& pos) const;

    /// Grey-value threshold of the foreground: Otsu's bin, moved up or down by a factor.
    ///
    /// 8 and 16 bit: bin * factor. Float: bin / 256 * factor * (max - min) + min, from a histogram of 256
    /// bins over the image's range [min, max]; the factor scales the position in the range. NaN is left out.
    /// @param image GREY_8, GREY_16 or GREY_F.
    /// @return NaN if the monitor cancelled: a part of the image has no threshold.
    /// @throws CException for another type, and for a float image without two different values.
    static double ComputeThreshold(const IImage& image, double factor);

  private:
    friend struct CTestAccess;

    /// What a successful run leaves; empty before.
    struct SResult {
        std::unique_ptr<IImage> index; ///< GREY_8, number of the direction or the label of excluded pixels
        std::unique_ptr<IMatrix<double>> directions; ///< one per row
        std::unique_ptr<IImage> bestResponse;        ///< GREY_F
    };

    bool has_result() const { return m_result.index != nullptr && m_result.directions != nullptr; }
    void SetupDiag(int dimension);
    void FillFilterMask2(IImage& mask, const double* direction);
    void FillFilterMask3(IImage& mask, const double* direction);
    /// Null if the monitor cancelled.
    IImage* PadZeros(const IImage& image);
    void AssignToMaximum(IImage& index, IImage& best, const IImage& filtered, int direction);
    void MaskOutOrientations(IImage& index, const IImage& image, double threshold, unsigned char label);
    void MaskOutOrientations(IImage& index, const IImage& mask, unsigned char label);
    /// As `FilterImageFourier`. @return false if it was cancelled; the response is not written then.
    [[nodiscard]] bool filter_image(IImage& response, IImage& maskBuffer, const IImage& spectrum,
                                    const double* direction);
    void fill_filter_mask(IImage& mask, const double* direction, int dimension, const char* function);
    [[nodiscard]] bool compute(const IImage& image, const IImage* mask, SResult& result);
    [[nodiscard]] bool mask_out(IImage& index, const IImage& image, const IImage* mask);

    double m_majorWidth;
    double m_minorWidth;
    std::int32_t m_padWidth;                   ///< zeros around the image on every side, in pixels
    std::unique_ptr<IMatrix<double>> m_widths; ///< squared widths on the diagonal
    std::unique_ptr<CFourierTransformation> m_transformation;
    SResult m_result;
};

} // namespace TEVRA
