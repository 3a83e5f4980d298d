// SPDX-License-Identifier: BSD-3-Clause
#include "volume/PixelType.h"

namespace TEVRA::volume {

std::size_t BytesPerPixel(EPixelType type) noexcept {
    switch (type) {
    case EPixelType::u8:
        return 1;
    case EPixelType::u16:
        return 2;
    case EPixelType::f32:
        break;
    }
    return 4;
}

const char* ToString(EPixelType type) noexcept {
    switch (type) {
    case EPixelType::u8:
        return "u8";
    case EPixelType::u16:
        return "u16";
    case EPixelType::f32:
        break;
    }
    return "f32";
}

const char* Description(EPixelType type) noexcept {
    switch (type) {
    case EPixelType::u8:
        return "8-bit unsigned integer";
    case EPixelType::u16:
        return "16-bit unsigned integer";
    case EPixelType::f32:
        break;
    }
    return "32-bit float";
}

} // namespace TEVRA::volume
