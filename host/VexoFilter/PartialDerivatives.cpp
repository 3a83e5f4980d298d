// SPDX-License-Identifier: BSD-3-Clause
#include "VexoFilter/PartialDerivatives.h"

#include "zeklib2core/Exception.h"

#include <algorithm>
#include <array>
#include <memory>
#include <vector>

namespace TEVRA {

CPartialDerivatives::CPartialDerivatives(const char* name, const IObject* parent)
    : CAlgorithm(name, parent) {}

CPartialDerivatives::~CPartialDerivatives() = default;

void CPartialDerivatives::Derivative(IImage& image, int orderX, int orderY, int orderZ) {
    const std::unique_ptr<IImage::IAccess> access(image.CreateAccess(false));
    const CSize& size = image.Size();
    auto* pixels = static_cast<float*>(access->Data());
    const std::array<int, 3> orders{orderX, orderY, orderZ};
    long long stride = 1;
    for (int axis = 0; axis < size.Dim(); ++axis) {
        const long long n = size[axis];
        const int order = orders[static_cast<std::size_t>(axis)];
        std::vector<double> line(static_cast<std::size_t>(n));
        const auto lines = static_cast<long long>(size.Elements()) / std::max(n, 1LL);
        for (long long at = 0; order > 0 && at < lines; ++at) {
            float* first = pixels + (at / stride) * stride * n + at % stride;
            for (long long i = 0; i < n; ++i) {
                line[static_cast<std::size_t>(i)] = static_cast<double>(first[i * stride]);
            }
            for (long long i = 0; i < n; ++i) {
                const double left = line[static_cast<std::size_t>(std::max(i - 1, 0LL))];
                const double right = line[static_cast<std::size_t>(std::min(i + 1, n - 1))];
                const double here = line[static_cast<std::size_t>(i)];
                first[i * stride] =
                    static_cast<float>(order == 2 ? left - 2.0 * here + right : 0.5 * (right - left));
            }
        }
        stride *= n;
    }
}

} // namespace TEVRA
