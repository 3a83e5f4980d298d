// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Axes/RowKernels.h"
#include "Axes/TensorRank4.h"
#include "FilterOrientations/SharedImage.h"
#include "Numeric/MatrixInterface.h"
#include "Utils/PointOperationsImpl.h"
#include "zeklib2image/Box.h"

#include <memory>
#include <optional>

namespace TEVRA::Impl {

/// The maps of an estimator in memory: lent, handed over, and summed up over boxes.
///
/// They are GREY_F images of one size. Angles in radians: in 3D the colatitude in [0, pi/2], -1 where there is no
/// direction, and the longitude in (-pi, pi], -4.1415925 where there is none; in 2D one angle in [0, pi], -4.1415925
/// where there is none. An estimator that knows how sure an axis is adds the confidence in [0, 1], 0 where there is no
/// direction.
///
/// Copies share the images: they live as long as one of their holders, and once one of them has released one to a
/// caller, the others find none.
class CAngleMaps {
  public:
    enum class EMaps { angles, anglesAndConfidence };

    /// No maps.
    CAngleMaps() = default;
    /// Maps that are to be filled. @param size of 2 or 3 dimensions. @throws std::bad_alloc.
    CAngleMaps(const CSize& size, EMaps maps);
    /// @param phi null in 2D. @param confidence may be null.
    CAngleMaps(std::unique_ptr<CImage> theta, std::unique_ptr<CImage> phi,
               std::unique_ptr<CImage> confidence = nullptr);

    CImage* Theta() const noexcept { return m_theta.Get(); }
    CImage* Phi() const noexcept { return m_phi.Get(); }
    CImage* Confidence() const noexcept { return m_confidence.Get(); }
    /// 2 or 3 if there are all angles of an axis in so many dimensions; else 0.
    int Dim() const noexcept;

    /// Writes the range that values may have into the headers of the maps, for viewers.
    void SetValueRanges() const;

    /// Hands maps over to the caller. Null for one that is not there.
    [[nodiscard]] CImage* ReleaseTheta() noexcept { return m_theta.Release(); }
    [[nodiscard]] CImage* ReleasePhi() noexcept { return m_phi.Release(); }
    [[nodiscard]] CImage* ReleaseConfidence() noexcept { return m_confidence.Release(); }
    void Reset();

    /// Sums the outer products of the axes in a box.
    ///
    /// The box is clipped to the image; its upper corner is exclusive, and so are the image's last column, row and
    /// plane. Nothing may be missing: `Dim()` is 2 or 3.
    /// @param tensor `Dim()` x `Dim()`, overwritten. @param normalize divide by the number of pixels.
    /// @param tensor4 at least of `Dim()` in each index, added to as it stands; may be null.
    /// @return the number of pixels in the box that have an axis.
    long long OrientationTensor(IMatrix<double>& tensor, const CBox& box, bool normalize,
                                CTensorRank4* tensor4) const;

  private:
    CSharedImage m_theta;
    CSharedImage m_phi;
    CSharedImage m_confidence;
};

/// The rows of maps, for writing.
class CAngleMapRows {
  public:
    /// @param maps with all angles; keeps them while it lives.
    explicit CAngleMapRows(const CAngleMaps& maps);

    SAngleRow Angles(long long y, long long z) const {
        return {m_theta.Row(y, z), m_phi ? m_phi->Row(y, z) : nullptr};
    }
    /// Null if the maps have none.
    float* Confidence(long long y, long long z) const {
        return m_confidence ? m_confidence->Row(y, z) : nullptr;
    }
    long long Width() const { return m_theta.Size(0); }
    long long Height() const { return m_theta.Size(1); }
    long long Depth() const { return m_theta.Size(2); }

  private:
    using Pixels = CImageDataExtractor<IImage, float>;

    CAngleMaps m_maps;
    Pixels m_theta;
    std::optional<Pixels> m_phi;
    std::optional<Pixels> m_confidence;
};

} // namespace TEVRA::Impl
