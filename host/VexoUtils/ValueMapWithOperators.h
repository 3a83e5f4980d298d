// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2core/ValueMap.h"

#include <string>
#include <vector>

namespace TEVRA {

/// A value map whose numbers can be summed and scaled, those of nested maps included.
///
/// Numbers are doubles and longs; texts, flags, vectors and pointers take no part and stay as they are. Sums
/// and quotients of longs are longs, held at the ends of their 32-bit range.
class CValueMapWithOperators : public CValueMap {
  public:
    CValueMapWithOperators();
    CValueMapWithOperators(const CValueMapWithOperators& other);
    /// A copy of the prototype without the listed keys. These take no part in the arithmetic, not even when
    /// they are set later: they are neither summed nor scaled. Like all keys of a map they may be paths.
    CValueMapWithOperators(const CValueMap& prototype, const std::vector<std::string>& keys);
    /// Takes over the entries and the list of left-out keys.
    CValueMapWithOperators& operator=(const CValueMapWithOperators& other);
    ~CValueMapWithOperators() override;

    /// Adds the other map's numbers key by key. A number that this map does not have yet counts as 0 in it; a
    /// double added to a long makes it a double; a number that meets something else is passed over.
    CValueMapWithOperators& operator+=(const CValueMap& other);
    /// Divides every number; quotients of longs are rounded towards zero, and 0 where there is none (0 / 0).
    CValueMapWithOperators& operator/=(double divisor);

    CValueMapWithOperators* Clone(EnTfOwnership ownership) const override;

  private:
    std::vector<std::string> m_leftOut;
};

} // namespace TEVRA
