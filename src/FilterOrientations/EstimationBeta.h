// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Numeric/Matrix.h"
#include "VexoBase/Algorithm.h"
#include "zeklib2image/Image.h"

#include <cstdint>
#include <vector>

namespace TEVRA {

struct CTestAccess;

/// Anisotropy parameter beta of a rotationally symmetric distribution of fiber directions, by maximum
/// likelihood.
///
/// The density of the polar angle theta from the symmetry axis is proportional to
/// beta sin(theta) (1 + (beta^2 - 1) cos^2(theta))^(-3/2): beta = 1 is isotropic, smaller values concentrate
/// the directions around the axis, larger ones near the plane across it.
class CEstimationBeta : public CAlgorithm {
  public:
    /// Kind of a distribution, by the eigenvalues e0 >= e1 >= e2 of the sample's mean outer product.
    enum EDistributionType : std::int32_t {
        eGirdle = 0,      ///< All others; the axis belongs to the smallest eigenvalue.
        eCluster = 1,     ///< e0 > 0.39 and e1 < 0.3; the axis belongs to the largest eigenvalue.
        eIntermediate = 2 ///< |e1 + e2 - 0.6| < 0.02; the axis belongs to the middle eigenvalue.
    };

    CEstimationBeta(const char* instanceName, const IObject* parent);
    CEstimationBeta(const CEstimationBeta&) = default;
    CEstimationBeta& operator=(const CEstimationBeta&) = default;
    ~CEstimationBeta() override;

    /// Estimates beta from a sample of directions.
    ///
    /// The type decides where the iteration starts; a bad start can end at 0 without converging. Nothing is
    /// checked.
    /// @param theta polar angles in radians, measured from the symmetry axis: they are used as passed.
    /// @param phi azimuths in radians, at least as many; they and `theta` decide the type.
    /// @param type receives the type found, or holds it if `typeGiven`.
    /// @return beta >= 0; 0 if the sample is empty or the iteration did not converge, NaN where it met one.
    double computeEstimate(const std::vector<double>& theta, const std::vector<double>& phi,
                           EDistributionType& type, bool typeGiven);

    /// The same for angle maps: every voxel whose theta is not -1.
    /// @param thetaImage GREY_F or GREY_8. @param phiImage the same, at least as large.
    /// @throws CException for images of another type.
    double testbeta(CImage* thetaImage, CImage* phiImage, EDistributionType* type, bool typeGiven);

  private:
    friend struct CTestAccess;

    void principalAxis(double* x, double* y, double* z, EDistributionType* type, double* axis, int n,
                       bool typeGiven);
    double sum(double* a, double* b, int n);
    double min(double a, double b);
    double max(double a, double b);
    int indMin(double a, double b, double c);
    int indMax(double a, double b, double c);
    void change(CMatrix<double>& m, int i, int j);
    float readPixel(const IImage& image, int x, int y, int z);
};

} // namespace TEVRA
