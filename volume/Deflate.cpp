// SPDX-License-Identifier: BSD-3-Clause
#include "volume/Deflate.h"

#include <new>

#include <zlib.h>

namespace TEVRA::volume {

std::string Deflated(std::span<const std::byte> bytes) {
    auto length = compressBound(static_cast<uLong>(bytes.size()));
    std::string packed(length, '\0');
    const int status = compress2(reinterpret_cast<Bytef*>(packed.data()), &length,
                                 reinterpret_cast<const Bytef*>(bytes.data()),
                                 static_cast<uLong>(bytes.size()), Z_DEFAULT_COMPRESSION);
    if (status != Z_OK) { // with this much room it can only lack memory
        throw std::bad_alloc();
    }
    packed.resize(length);
    return packed;
}

} // namespace TEVRA::volume
