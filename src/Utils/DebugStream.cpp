// SPDX-License-Identifier: BSD-3-Clause
#include "Utils/DebugStream.h"

namespace TEVRA::Impl {

std::ostream& DebugStream() {
    thread_local std::ostream stream(nullptr);
    return stream;
}

} // namespace TEVRA::Impl
