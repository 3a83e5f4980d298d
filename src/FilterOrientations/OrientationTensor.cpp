// SPDX-License-Identifier: BSD-3-Clause
#include "FilterOrientations/OrientationTensor.h"

#include "Subfields/TensorDecomposition.h"

namespace TEVRA {
namespace {

/// Throw sites of one operation.
struct SSite {
    const char* function;
    int squareLine;
    int columnLine;
    int dimensionLine;
};

[[noreturn]] void throw_at(const char* function, int line, const CString& message) {
    throw CException(TEVRA_LOCATION("src/FilterOrientations/OrientationTensor", function, line),
                     message.c_str());
}

CString with_shape(const char* text, const IMatrix<double>& matrix) {
    CString message(text, CString::eEncodingUtf8);
    message.Arg(static_cast<long long>(matrix.Rows()), 0).Arg(static_cast<long long>(matrix.Cols()), 0);
    return message;
}

void check_shapes(const IMatrix<double>& result, const char* resultText, const IMatrix<double>& tensor,
                  const SSite& site) {
    if (tensor.Rows() != tensor.Cols()) {
        throw_at(site.function, site.squareLine,
                 with_shape("Orientation tensor must be a square matrix (but it is %1 x %2).", tensor));
    }
    if (result.Rows() != tensor.Rows() || result.Cols() != 1) {
        CString message(resultText, CString::eEncodingUtf8);
        message.Arg(static_cast<long long>(tensor.Rows()), 0)
            .Arg(static_cast<long long>(result.Rows()), 0)
            .Arg(static_cast<long long>(result.Cols()), 0);
        throw_at(site.function, site.columnLine, message);
    }
    if (result.Rows() != 2 && result.Rows() != 3) {
        throw_at(site.function, site.dimensionLine,
                 CString("Only implemented for 2d and 3d images.", CString::eEncodingUtf8));
    }
}

} // namespace

void COrientationTensor::MeanOrientation(IMatrix<double>& meanOrientation, const IMatrix<double>& tensor) {
    check_shapes(meanOrientation, "Mean orientation must be a %1 x 1 column vector (but it is %2 x %3).",
                 tensor, {"TEVRA::COrientationTensor::MeanOrientation", 34, 37, 41});
    const Impl::STensorDecomposition decomposition = Impl::DecomposeTensor(tensor);
    for (std::size_t i = 0; i < meanOrientation.Rows(); ++i) {
        meanOrientation(i, 0) = decomposition.eigenvectors(i, 0);
    }
}

void COrientationTensor::Eigenvalues(IMatrix<double>& ev, const IMatrix<double>& tensor) {
    check_shapes(ev, "Ev must be a %1 x 1 column vector (but it is %2 x %3).", tensor,
                 {"TEVRA::COrientationTensor::Eigenvalues", 57, 60, 64});
    const Impl::STensorDecomposition decomposition = Impl::DecomposeTensor(tensor);
    for (std::size_t i = 0; i < ev.Rows(); ++i) {
        ev(i, 0) = decomposition.eigenvalues(i, 0);
    }
}

void COrientationTensor::OrientationParameters(double& shape, double& strength,
                                               const IMatrix<double>& tensor) {
    if (tensor.Rows() != 3 || tensor.Cols() != 3) {
        throw_at("TEVRA::COrientationTensor::OrientationParameters", 81,
                 with_shape("Orientation tensor must be a 3x3 matrix (but it is %1 x %2).", tensor));
    }
    const Impl::STensorDecomposition decomposition = Impl::DecomposeTensor(tensor);
    const CMatrix<double>& lambda = decomposition.eigenvalues;
    const Impl::SShapeAndStrength found = Impl::ShapeAndStrength({lambda(0, 0), lambda(1, 0), lambda(2, 0)});
    shape = found.shape;
    strength = found.strength;
}

} // namespace TEVRA
