// SPDX-License-Identifier: BSD-3-Clause
#include "VexoFilter/YoungVanVliet.h"

#include "zeklib2core/Exception.h"
#include "zeklib2image/Image.h"

#include <algorithm>
#include <cmath>
#include <vector>

// Direct convolution along every axis: exact, and the reference for the recursive filter that takes its
// place.

namespace TEVRA {

CYoungVanVliet::CYoungVanVliet(double sigma, const char* name, const IObject* parent)
    : CAlgorithm(name, parent), m_sigma(sigma) {}

CYoungVanVliet::~CYoungVanVliet() = default;

void CYoungVanVliet::gauss(IImage& out, const IImage& in) {
    constexpr const char* function = "TEVRA::CYoungVanVliet::gauss";
    if (!(m_sigma > 0.0) || !std::isfinite(m_sigma)) {
        throw CExBadParam(TEVRA_LOCATION("host/VexoFilter/YoungVanVliet", function, __LINE__),
                          "The standard deviation must be positive and finite.");
    }
    if (!(in.Size() == out.Size())) {
        throw CExBadParam(TEVRA_LOCATION("host/VexoFilter/YoungVanVliet", function, __LINE__),
                          "Input and output must have the same size.");
    }
    const std::unique_ptr<IImage::IAccess> source(in.CreateAccess(true));
    const std::unique_ptr<IImage::IAccess> target(out.CreateAccess(false));
    const CSize& size = in.Size();
    const bool isFloat = in.Type() == IMAGE_GREY_F;
    const bool isWord = in.Type() == IMAGE_GREY_16;
    auto* result = static_cast<float*>(target->Data());
    for (std::size_t i = 0; i < size.Elements(); ++i) {
        result[i] = isFloat  ? static_cast<const float*>(source->ConstData())[i]
                    : isWord ? static_cast<const unsigned short*>(source->ConstData())[i]
                             : static_cast<const unsigned char*>(source->ConstData())[i];
    }
    const auto radius = static_cast<long long>(std::ceil(5.0 * m_sigma));
    std::vector<double> kernel;
    double sum = 0.0;
    for (long long i = -radius; i <= radius; ++i) {
        kernel.push_back(std::exp(-0.5 * static_cast<double>(i * i) / (m_sigma * m_sigma)));
        sum += kernel.back();
    }
    long long stride = 1;
    for (int axis = 0; axis < size.Dim(); ++axis) {
        const long long n = size[axis];
        std::vector<double> line(static_cast<std::size_t>(n));
        const auto lines = static_cast<long long>(size.Elements()) / std::max(n, 1LL);
        for (long long at = 0; at < lines; ++at) {
            float* first = result + (at / stride) * stride * n + at % stride;
            for (long long i = 0; i < n; ++i) {
                line[static_cast<std::size_t>(i)] = static_cast<double>(first[i * stride]);
            }
            for (long long i = 0; i < n; ++i) {
                double value = 0.0;
                for (long long k = -radius; k <= radius; ++k) {
                    value += kernel[static_cast<std::size_t>(k + radius)] *
                             line[static_cast<std::size_t>(std::clamp(i + k, 0LL, n - 1))];
                }
                first[i * stride] = static_cast<float>(value / sum);
            }
        }
        stride *= n;
    }
}

} // namespace TEVRA
