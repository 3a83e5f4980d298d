// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "stream/Communicator.h"
#include "stream/ScratchStore.h"
#include "stream/SliceRange.h"

namespace TEVRA::stream {

/// The slices of one of `ranks` processes: as many for each as can be, the first ones one more.
SSliceRange SlicesOfRank(long long depth, int ranks, int rank);

/// `slices` more at either end, as far as the image goes.
SSliceRange WithHalo(const SSliceRange& range, long long slices, long long depth);

/// Brings the slices that lie up to `slices` beyond either end of the own ones, and that other processes
/// have, into all volumes of the store, and gives others theirs.
void ExchangeHalo(CScratchStore& store, long long slices, long long depth, ICommunicator& ranks);

} // namespace TEVRA::stream
