// SPDX-License-Identifier: BSD-3-Clause
#include "FilterOrientations/EstimationBeta.h"

#include "FilterOrientations/BetaLikelihood.h"
#include "Utils/PointOperationsImpl.h"
#include "VexoNumeric/Numeric.h"
#include "zeklib2core/Exception.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <memory>
#include <utility>

namespace TEVRA {
namespace {

/// A pixel of an open access, found by its strides.
template <typename PixelT>
PixelT pixel_at(const IImage::IAccess& access, int x, int y, int z) {
    const std::ptrdiff_t offset = x * access.Stride(0) + y * access.Stride(1) + z * access.Stride(2);
    return *Impl::StepBytes(static_cast<const PixelT*>(access.ConstData()), offset);
}

} // namespace

CEstimationBeta::CEstimationBeta(const char* instanceName, const IObject* parent)
    : CAlgorithm(instanceName, parent) {}

CEstimationBeta::~CEstimationBeta() = default;

double CEstimationBeta::sum(double* a, double* b, int n) {
    double total = 0.0;
    for (int i = 0; i < n; ++i) {
        total += a[i] * b[i];
    }
    return total;
}

double CEstimationBeta::min(double a, double b) {
    return b < a ? b : a;
}

double CEstimationBeta::max(double a, double b) {
    return b > a ? b : a;
}

int CEstimationBeta::indMin(double a, double b, double c) {
    const double smallest = min(min(a, b), c);
    if (smallest == a) {
        return 0;
    }
    return smallest == b ? 1 : 2;
}

int CEstimationBeta::indMax(double a, double b, double c) {
    const double largest = max(max(a, b), c);
    if (largest == a) {
        return 0;
    }
    return largest == b ? 1 : 2;
}

void CEstimationBeta::change(CMatrix<double>& m, int i, int j) {
    for (std::size_t row = 0; row < m.Rows(); ++row) {
        std::swap(m(row, static_cast<std::size_t>(i)), m(row, static_cast<std::size_t>(j)));
    }
}

void CEstimationBeta::principalAxis(double* x, double* y, double* z, EDistributionType* type, double* axis,
                                    int n, bool typeGiven) {
    CMatrix<double> products(3, 3);
    products(0, 0) = sum(x, x, n);
    products(0, 1) = products(1, 0) = sum(x, y, n);
    products(0, 2) = products(2, 0) = sum(x, z, n);
    products(1, 1) = sum(y, y, n);
    products(1, 2) = products(2, 1) = sum(y, z, n);
    products(2, 2) = sum(z, z, n);

    CMatrix<double> u(3, 3);
    CMatrix<double> s(3, 1);
    CMatrix<double> v(3, 3);
    CNumeric::Svd(products, u, s, v, false);

    // The decomposition was not asked for an order: the largest goes first, then the smallest last.
    const int largest = indMax(s(0, 0), s(1, 0), s(2, 0));
    change(u, 0, largest);
    std::swap(s(0, 0), s(static_cast<std::size_t>(largest), 0));
    const int smallest = indMin(s(0, 0), s(1, 0), s(2, 0));
    change(u, 2, smallest);
    std::swap(s(2, 0), s(static_cast<std::size_t>(smallest), 0));

    if (!typeGiven) {
        *type = Impl::DistributionTypeOf(s(0, 0) / n, s(1, 0) / n, s(2, 0) / n);
    }
    constexpr std::array<std::size_t, 3> COLUMN_OF_TYPE{2, 0, 1};
    if (*type >= eGirdle && *type <= eIntermediate) {
        const std::size_t column = COLUMN_OF_TYPE[static_cast<std::size_t>(*type)];
        for (std::size_t row = 0; row < 3; ++row) {
            axis[row] = -u(row, column);
        }
    }
}

double CEstimationBeta::computeEstimate(const std::vector<double>& theta, const std::vector<double>& phi,
                                        EDistributionType& type, bool typeGiven) {
    const std::size_t n = theta.size();
    std::vector<double> x(n);
    std::vector<double> y(n);
    std::vector<double> z(n);
    for (std::size_t i = 0; i < n; ++i) {
        x[i] = std::cos(phi[i]) * std::sin(theta[i]);
        y[i] = std::sin(theta[i]) * std::sin(phi[i]);
        z[i] = std::cos(theta[i]);
    }
    std::array<double, 3> axis{};
    principalAxis(x.data(), y.data(), z.data(), &type, axis.data(), static_cast<int>(n), typeGiven);

    // The sample is not turned so that its axis becomes z: polar angles count as the caller measured them.
    std::vector<double> cos2(n);
    std::vector<double> sin2(n);
    for (std::size_t i = 0; i < n; ++i) {
        const double cosine = std::cos(theta[i]);
        const double sine = std::sin(theta[i]);
        cos2[i] = cosine * cosine;
        sin2[i] = sine * sine;
    }
    const double start = type == eCluster ? Impl::ClusterStart(theta) : 1.0;
    return std::abs(Impl::SolveBetaEquation(start, {cos2, sin2}).beta);
}

double CEstimationBeta::testbeta(CImage* thetaImage, CImage* phiImage, EDistributionType* type,
                                 bool typeGiven) {
    const CSize& size = thetaImage->Size();
    const int sizeX = static_cast<std::int32_t>(size[0]);
    const int sizeY = static_cast<std::int32_t>(size[1]);
    const int sizeZ = static_cast<std::int32_t>(size[2]); // 1 in 2D
    std::vector<double> theta;
    std::vector<double> phi;
    for (int x = 0; x < sizeX; ++x) {
        for (int y = 0; y < sizeY; ++y) {
            for (int z = 0; z < sizeZ; ++z) {
                const float t = readPixel(*thetaImage, x, y, z);
                const float aboveMarker = t + 1.0F;
                if (static_cast<double>(std::abs(aboveMarker)) <= 1e-12) {
                    continue;
                }
                theta.push_back(static_cast<double>(t));
                phi.push_back(static_cast<double>(readPixel(*phiImage, x, y, z)));
            }
        }
    }
    return computeEstimate(theta, phi, *type, typeGiven);
}

float CEstimationBeta::readPixel(const IImage& image, int x, int y, int z) {
    const std::unique_ptr<IImage::IAccess> access(image.CreateAccess(true));
    if (image.Type() == IMAGE_GREY_8) {
        return static_cast<float>(pixel_at<unsigned char>(*access, x, y, z));
    }
    if (image.Type() == IMAGE_GREY_F) {
        return pixel_at<float>(*access, x, y, z);
    }
    throw CException(
        TEVRA_LOCATION("src/FilterOrientations/EstimationBeta", "TEVRA::CEstimationBeta::readPixel", 200),
        "Implmented for FLOAT-data, only.");
}

} // namespace TEVRA
