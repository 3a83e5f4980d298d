// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <ostream>

namespace TEVRA::Impl {

/// Where the library writes debug lines: discarded unless the calling thread gives the stream a buffer.
std::ostream& DebugStream();

} // namespace TEVRA::Impl
