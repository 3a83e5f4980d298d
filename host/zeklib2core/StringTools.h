// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>

namespace TEVRA {

class CStringTools {
  public:
    /// The text of a `printf` format and its arguments; without arguments the format's own literal text.
    /// @throws CExBadParam if the format is null or cannot be carried out.
    [[gnu::format(printf, 1, 2)]] static std::string Printf(const char* format, ...);
};

} // namespace TEVRA
