// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2core/Exception.h"
#include "zeklib2core/String.h"

/// What the files of CFilterOrientations share.
namespace TEVRA::Impl::filterbank {

inline constexpr const char* SOURCE = "src/FilterOrientations/FilterOrientations";
inline constexpr unsigned char EXCLUDED = 255; ///< in index images

/// Throws the class' failure. @param function its full name.
[[noreturn]] inline void throw_at(const char* function, int line, const char* message) {
    throw CException(TEVRA_LOCATION(SOURCE, function, line), message);
}

[[noreturn]] inline void throw_at(const char* function, int line, const CString& message) {
    throw_at(function, line, message.c_str());
}

} // namespace TEVRA::Impl::filterbank
