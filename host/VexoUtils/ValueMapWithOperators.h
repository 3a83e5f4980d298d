// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2core/ValueMap.h"

#include <string>
#include <vector>

namespace TEVRA {

/// A value map whose numbers can be summed and scaled, those of nested maps included.
///
/// Numbers are doubles and longs; texts, flags, vectors and pointers take no part.
class CValueMapWithOperators : public CValueMap {
  public:
    CValueMapWithOperators();
    CValueMapWithOperators(const CValueMapWithOperators& other);
    /// A copy of the prototype without the listed keys; these take no part in later sums either.
    CValueMapWithOperators(const CValueMap& prototype, const std::vector<std::string>& keys);
    CValueMapWithOperators& operator=(const CValueMapWithOperators& other);
    ~CValueMapWithOperators() override;

    /// Adds the other map's numbers key by key. A number that this map does not have yet counts as 0 in it.
    CValueMapWithOperators& operator+=(const CValueMap& other);
    /// Divides every number; longs are rounded towards zero.
    CValueMapWithOperators& operator/=(double divisor);

    CValueMapWithOperators* Clone(EnTfOwnership ownership) const override;

  private:
    std::vector<std::string> m_leftOut;
};

} // namespace TEVRA
