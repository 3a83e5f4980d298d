// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>

/// Memory of this process that lies in RAM, as the system counts it. 0 where the system does not tell.
namespace TEVRA::benchmarks {

std::size_t ResidentBytes();
std::size_t PeakBytes();
/// Lets `PeakBytes` forget what was before, where the system allows that.
void ResetPeak();

} // namespace TEVRA::benchmarks
