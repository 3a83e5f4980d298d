// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Axes/TensorRank4.h"
#include "FilterOrientations/AngleMaps.h"
#include "FilterOrientations/SharedImage.h"
#include "Numeric/MatrixInterface.h"
#include "Utils/TaskRunner.h"
#include "Utils/Threshold.h"
#include "VexoBase/Algorithm.h"
#include "zeklib2image/Box.h"
#include "zeklib2image/ImageInterface.h"

namespace TEVRA {

struct CTestAccess;

/// Fiber axes from the Hessian matrix of the Gaussian-smoothed image, and orientation tensors over boxes.
///
///     CHessianOrientations estimator;
///     estimator.compute(image, fiberRadiusPx, nullptr, CHessianOrientations::eEVSmallest);
///     estimator.get(theta, phi);
///
/// Angle maps are GREY_F images of the input's size, in radians. 3D: colatitude in [0, pi/2], -1 where there
/// is no direction, and longitude in (-pi, pi], -4.1415925 where there is none; the axis is folded into the
/// upper half-space. 2D: one angle in [0, pi], -4.1415925 where there is none.
class CHessianOrientations : public CAlgorithm {
  public:
    /// Which eigenvector of the Hessian is taken.
    enum eEVSelect : int {
        eEVSmallest = 0, ///< Of the smallest absolute eigenvalue: the axis of a bright or dark tube.
        eEVLargest = 1   ///< Of the largest absolute eigenvalue: across a tube.
    };

    static constexpr double m_fDefaultOtsuFactor = Impl::DEFAULT_OTSU_FACTOR;

    /// @param fOtsuFactor factor on Otsu's threshold (CFilterOrientations::ComputeThreshold).
    explicit CHessianOrientations(double fOtsuFactor = m_fDefaultOtsuFactor, const char* name = nullptr,
                                  const IObject* parent = nullptr);
    /// The copy shares the images; they live as long as one of their holders.
    CHessianOrientations(const CHessianOrientations& other);
    CHessianOrientations& operator=(const CHessianOrientations&) = delete;
    ~CHessianOrientations() override;

    /// Lets `compute` find directions on the threads of a runner, which must outlive the object and its
    /// copies; null for the calling thread alone, as in the beginning. Results never depend on it. Filters
    /// have the host's threads in any case.
    void LendThreads(ITaskRunner* runner) noexcept { m_runner = runner; }

    /// Estimates the axis of every foreground pixel.
    /// @param image GREY_8, 2D or 3D.
    /// @param sigma standard deviation of the Gaussian in pixels.
    /// @param mask BINARY_FG of the same size, or null: then a pixel is foreground if its smoothed value
    ///        exceeds the automatic threshold.
    /// If the monitor cancels while the threshold is taken, it returns at once and leaves no maps: the operations
    /// that need them throw.
    /// @throws CException for wrong types, before anything is changed, or if memory runs out.
    void compute(IImage& image, double sigma, const IImage* mask, eEVSelect select);

    /// Lends the angle map of a 2D result. @throws CException without a result or for a 3D one.
    void get(const IImage*& map) const;
    /// Lends colatitude and longitude of a 3D result. @throws CException without a result.
    void get(const IImage*& theta, const IImage*& phi) const;
    /// As `get`, but the caller owns the image(s) from now on and the estimator forgets its maps.
    void release(const IImage*& map);
    void release(const IImage*& theta, const IImage*& phi);

    /// Sums the outer products of the axes in a box.
    ///
    /// The box is clipped to the image; its upper corner is exclusive, and so are the image's last column,
    /// row and plane.
    /// @param tensor d x d, overwritten. @param normalize divide by the number of pixels.
    /// @param tensor4 at least d x d x d x d, added to as it stands; may be null.
    /// @return the number of foreground pixels in the box.
    /// @throws CException without a result or for a wrong shape.
    long long OrientationTensor(IMatrix<double>& tensor, const CBox& box, bool normalize,
                                CTensorRank4* tensor4);

    /// The grey-value threshold of the last run without a mask, on the smoothed image; 0 before.
    double Threshold() const noexcept { return m_fThreshold; }

  private:
    friend struct CTestAccess;

    void compute_hessian(const IImage& image, double sigma);
    void compute_directions(const unsigned char* mask, eEVSelect select);
    void free_buffers();

    Impl::CSharedImage m_pSmoothed;
    Impl::CSharedImage m_pDxx;
    Impl::CSharedImage m_pDyy;
    Impl::CSharedImage m_pDzz;
    Impl::CSharedImage m_pDxy;
    Impl::CSharedImage m_pDxz;
    Impl::CSharedImage m_pDyz;
    Impl::CAngleMaps m_maps;
    int m_nSizeX = 0;
    int m_nSizeY = 0;
    int m_nSizeZ = 0;
    double m_fThreshold = 0.0;
    double m_fOtsuFactor;
    ITaskRunner* m_runner = nullptr;
};

} // namespace TEVRA
