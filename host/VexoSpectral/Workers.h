// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <functional>

namespace TEVRA::Impl {

/// Work on the items 0 to count - 1, each by one of `threads` threads in no particular order; the calling
/// thread is one of them.
/// @param work called with the item and the number of the worker, 0 to threads - 1; no two calls at a time
/// have the
///        same worker. What it throws passes on.
void ShareWork(std::size_t count, int threads, const std::function<void(std::size_t, std::size_t)>& work);

} // namespace TEVRA::Impl
