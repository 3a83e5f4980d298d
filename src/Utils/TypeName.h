// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <complex>
#include <string>
#include <type_traits>

namespace TEVRA {

class IImage;

namespace Impl {

/// The spelled-out name of a type, as it stands in messages: "const unsigned char", "class TEVRA::IImage".
template <typename T>
std::string TypeName() {
    if constexpr (std::is_const_v<T>) {
        return "const " + TypeName<std::remove_const_t<T>>();
    } else if constexpr (std::is_same_v<T, unsigned char>) {
        return "unsigned char";
    } else if constexpr (std::is_same_v<T, unsigned short>) {
        return "unsigned short";
    } else if constexpr (std::is_same_v<T, float>) {
        return "float";
    } else if constexpr (std::is_same_v<T, std::complex<float>>) {
        return "class std::complex<float>";
    } else if constexpr (std::is_same_v<T, unsigned long long>) {
        return "unsigned __int64";
    } else {
        static_assert(std::is_same_v<T, IImage>, "a type whose name no message needs yet");
        return "class TEVRA::IImage";
    }
}

} // namespace Impl
} // namespace TEVRA
