// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <span>

namespace TEVRA {

/// Otsu's threshold of a histogram: the bin t that maximises the between-class variance, where bins up to and
/// including t form the lower class (N. Otsu, A threshold selection method from gray-level histograms, IEEE
/// Transactions on Systems, Man, and Cybernetics 9(1), 1979).
///
/// Both classes must hold counts: a t with an empty class is no candidate. Bins without counts between the
/// classes change neither class, so of such a plateau the lowest bin is meant, which is the last one with
/// counts. Variances are compared exactly: of several best bins the lowest is returned, whatever the counts.
///
/// @param histogram counts per bin, any 64-bit values, at most 2^32 bins.
/// @return 0 if the counts lie in one bin or there are none.
std::size_t OtsuBin(std::span<const unsigned long long> histogram);

} // namespace TEVRA
