// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Foreground.h"

#include <itkMatrix.h>
#include <itkSymmetricEigenAnalysis.h>
#include <itkVector.h>

#include <array>

namespace TEVRA::benchmarks {

/// Axis of a Hessian by ITK: the eigenvector of the smallest absolute eigenvalue.
class CItkAxis {
  public:
    CItkAxis() { m_analysis.SetOrderEigenMagnitudes(true); }

    /// @param hessian xx, xy, xz, yy, yz, zz.
    SAngles AnglesOf(const std::array<double, 6>& hessian) {
        for (unsigned row = 0, entry = 0; row < 3; ++row) {
            for (unsigned col = row; col < 3; ++col, ++entry) {
                m_hessian(row, col) = m_hessian(col, row) = hessian[entry];
            }
        }
        m_analysis.ComputeEigenValuesAndVectors(m_hessian, m_values, m_vectors);
        return benchmarks::AnglesOf({m_vectors[0][0], m_vectors[0][1], m_vectors[0][2]});
    }

  private:
    using Matrix = itk::Matrix<double, 3, 3>;

    itk::SymmetricEigenAnalysisFixedDimension<3, Matrix, itk::Vector<double, 3>, Matrix> m_analysis;
    Matrix m_hessian{};
    itk::Vector<double, 3> m_values{};
    Matrix m_vectors{};
};

} // namespace TEVRA::benchmarks
