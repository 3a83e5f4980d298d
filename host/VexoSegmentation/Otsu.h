// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "VexoBase/Algorithm.h"

#include <vector>

namespace TEVRA {

/// Otsu's threshold as an algorithm object of the host; the threshold itself is `OtsuBin`.
class COtsu : public CAlgorithm {
  public:
    COtsu(const char* name, const IObject* parent);
    ~COtsu() override;

    /// The bin t that maximises the between-class variance, where bins up to and including t form the lower
    /// class; the lowest such bin if there are several, 0 if all counts lie in one bin or there are none.
    static unsigned long long CalculateThreshold(const std::vector<unsigned long long>& histogram);
};

} // namespace TEVRA
