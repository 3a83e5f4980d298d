// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "stream/Communicator.h"
#include "stream/SliceRange.h"

#include "volume/ImageReader.h"

namespace TEVRA::stream {

/// Reads the own slices of a mask and checks that all processes together meet 0 and one other value: what is no
/// mask shows before the work, not in the course of it. @throws CMaskError on all processes, wherever it was met.
void CheckMask(volume::IImageReader& mask, const SSliceRange& own, long long slabSlices,
               ICommunicator& ranks);

} // namespace TEVRA::stream
