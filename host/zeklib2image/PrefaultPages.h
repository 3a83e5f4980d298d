// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>

namespace TEVRA::Impl {

/// Prefaults the pages of memory that is about to be written for the first time, all at once: a page fault on
/// each costs half as much again. Leaves their content alone; pages that cannot be had now come when they are
/// written. May be called by several threads for several pieces.
void PrefaultPages(void* memory, std::size_t bytes) noexcept;

} // namespace TEVRA::Impl
