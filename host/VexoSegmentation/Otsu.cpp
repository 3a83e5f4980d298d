// SPDX-License-Identifier: BSD-3-Clause
#include "VexoSegmentation/Otsu.h"

#include "VexoSegmentation/OtsuBin.h"

namespace TEVRA {

COtsu::COtsu(const char* name, const IObject* parent) : CAlgorithm(name, parent) {}

COtsu::~COtsu() = default;

unsigned long long COtsu::CalculateThreshold(const std::vector<unsigned long long>& histogram) {
    return OtsuBin(histogram);
}

} // namespace TEVRA
