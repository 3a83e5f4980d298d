// SPDX-License-Identifier: BSD-3-Clause
#include "volume/Deflate.h"

#include <limits>
#include <memory>
#include <new>
#include <stdexcept>

#include <zlib.h>

namespace TEVRA::volume {

namespace {

std::string deflated(std::span<const std::byte> bytes, int level, int strategy) {
    constexpr int WINDOW_BITS = 15;                            // with zlib's header
    constexpr int MEMORY = 8;                                  // zlib's usual amount
    if (bytes.size() > std::numeric_limits<uInt>::max() / 2) { // with room for what does not get smaller
        throw std::length_error("too many bytes to compress at a time");
    }
    z_stream stream{};
    if (deflateInit2(&stream, level, Z_DEFLATED, WINDOW_BITS, MEMORY, strategy) != Z_OK) {
        throw std::bad_alloc(); // it can only lack memory
    }
    const std::unique_ptr<z_stream, decltype(&deflateEnd)> owner(&stream, deflateEnd);
    std::string packed(deflateBound(&stream, static_cast<uLong>(bytes.size())), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<std::byte*>(bytes.data())); // only read
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    const int status = deflate(&stream, Z_FINISH); // with this much room in one go
    packed.resize(stream.total_out);
    if (status != Z_STREAM_END) {
        throw std::bad_alloc();
    }
    return packed;
}

} // namespace

std::string Deflated(std::span<const std::byte> bytes) {
    return deflated(bytes, 2, Z_DEFAULT_STRATEGY);
}

std::string DeflatedNoise(std::span<const std::byte> bytes) {
    return deflated(bytes, 1, Z_RLE);
}

} // namespace TEVRA::volume
