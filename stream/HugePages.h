// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <memory>

namespace TEVRA::stream {

/// Memory in huge pages, if the system has any: for some ten megabytes at most that are read and written all
/// over and over again, where looking up small pages costs a tenth of the time. @throws std::bad_alloc
std::shared_ptr<void> NewHugePages(std::size_t bytes);

} // namespace TEVRA::stream
