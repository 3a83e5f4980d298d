// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Axes/TensorRank4.h"
#include "FilterOrientations/AngleMaps.h"
#include "LocalTensors/Scales.h"
#include "Numeric/MatrixInterface.h"
#include "Subfields/AnalysisRequest.h"
#include "Utils/TaskRunner.h"
#include "VexoBase/Algorithm.h"
#include "zeklib2image/Box.h"
#include "zeklib2image/ImageInterface.h"

#include <array>
#include <optional>

namespace TEVRA {

/// What CLineVotingOrientations and CStructureTensorOrientations have in common: maps of the axes and of their
/// confidence, and orientation tensors over boxes.
///
/// Angle maps are GREY_F images of the input's size, in radians. 3D: colatitude in [0, pi/2], -1 where there is no
/// direction, and longitude in (-pi, pi], -4.1415925 where there is none; the axis is folded into the upper
/// half-space. 2D: one angle in [0, pi], -4.1415925 where there is none. Axes are directions in space: unequal
/// spacing is taken into account.
///
/// The confidence map is GREY_F, too, in [0, 1], and 0 where there is no direction.
class CLocalTensorOrientations : public CAlgorithm {
  public:
    static constexpr double DEFAULT_OTSU_FACTOR = Impl::LOCAL_TENSOR_OTSU_FACTOR;

    /// The copy shares the images; they live as long as one of their holders.
    CLocalTensorOrientations(const CLocalTensorOrientations& other);
    CLocalTensorOrientations& operator=(const CLocalTensorOrientations&) = delete;
    ~CLocalTensorOrientations() override;

    /// Lets `compute` work on the threads of a runner, which must outlive the object and its copies; null for the
    /// calling thread alone, as in the beginning. Results never depend on it.
    void LendThreads(ITaskRunner* runner) noexcept { m_runner = runner; }

    /// Lends the angle map of a 2D result. @throws CException without a result or for a 3D one.
    void get(const IImage*& map) const;
    /// Lends colatitude and longitude; of a 2D result its angle and null. @throws CException without a result.
    void get(const IImage*& theta, const IImage*& phi) const;
    /// Lends the confidence map. @throws CException without a result.
    void GetConfidence(const IImage*& confidence) const;
    /// As `get`, but the caller owns the image(s) from now on, and the estimator forgets its angle maps. The
    /// confidence map stays.
    void release(const IImage*& map);
    void release(const IImage*& theta, const IImage*& phi);
    /// As `GetConfidence`, but the caller owns the image from now on.
    void ReleaseConfidence(const IImage*& confidence);

    /// Sums the outer products of the axes in a box. None is weighted or left out for its confidence: crowded
    /// directions are the uncertain ones.
    ///
    /// The box is clipped to the image; its upper corner is exclusive, and so are the image's last column, row and
    /// plane.
    /// @param tensor d x d, overwritten. @param normalize divide by the number of pixels.
    /// @param tensor4 at least d x d x d x d, added to as it stands; may be null.
    /// @return the number of pixels in the box that have an axis.
    /// @throws CException without a result or for a wrong shape.
    long long OrientationTensor(IMatrix<double>& tensor, const CBox& box, bool normalize,
                                CTensorRank4* tensor4) const;

    /// The grey-value threshold of the last run without a mask, on the smoothed image; 0 before.
    double Threshold() const noexcept { return m_threshold; }

  protected:
    CLocalTensorOrientations(double otsuFactor, const char* name, const IObject* parent);

    /// What `compute` works on.
    struct STask {
        const IImage& image;
        const IImage* mask = nullptr;
        double fiberRadius = 0.0;
        Impl::EFiberContrast contrast = Impl::EFiberContrast::bright;
    };
    /// The spacing given, else the image's own, else 1. @throws CException unless image, mask, radius and spacing are
    /// such as can be worked with.
    static std::array<double, 3> checked_spacing(const STask& task,
                                                 const std::optional<std::array<double, 3>>& spacing);
    /// @throws CException unless a length is a finite number of 0 or more, or, if `isZeroAllowed` is false, above 0.
    static void check_length(const char* what, const std::optional<double>& length, bool isZeroAllowed);
    void compute(const STask& task, const Impl::SLocalScales& scales);

  private:
    double m_otsuFactor;
    double m_threshold = 0.0;
    Impl::CAngleMaps m_maps;
    ITaskRunner* m_runner = nullptr;
};

} // namespace TEVRA
