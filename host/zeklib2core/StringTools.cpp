// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2core/StringTools.h"

#include "zeklib2core/Exception.h"

#include <cstdarg>
#include <cstdio>

namespace TEVRA {

std::string CStringTools::Printf(const char* format, ...) {
    constexpr const char* function = "TEVRA::CStringTools::Printf";
    if (format == nullptr) {
        throw CExBadParam(TEVRA_LOCATION("host/zeklib2core/StringTools", function, __LINE__),
                          "The format must not be null.");
    }
    std::va_list arguments;
    va_start(arguments, format);
    std::va_list measured;
    va_copy(measured, arguments);
    // The analyser does not see that va_copy initialises.
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
    int length = std::vsnprintf(nullptr, 0, format, measured);
    va_end(measured);
    std::string text;
    if (length > 0) {
        text.resize(static_cast<std::size_t>(length));
        length = std::vsnprintf(text.data(), text.size() + 1, format, arguments);
    }
    va_end(arguments);
    if (length < 0) {
        throw CExBadParam(TEVRA_LOCATION("host/zeklib2core/StringTools", function, __LINE__),
                          "The format cannot be carried out.");
    }
    return text;
}

} // namespace TEVRA
