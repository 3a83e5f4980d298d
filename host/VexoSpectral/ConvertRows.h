// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <cstddef>
#include <cstring>

namespace TEVRA::Impl {

/// Extents of an image of up to three dimensions; 1 along axes it has not.
using Extents = std::array<std::size_t, 3>;

/// The pixels of an image behind a pointer and distances in bytes. Byte: `std::byte` or `const std::byte`.
template <typename Byte>
struct SPixels {
    Byte* first;
    std::array<std::ptrdiff_t, 3> strides;

    Byte* Row(std::size_t y, std::size_t z) const {
        return first + static_cast<std::ptrdiff_t>(y) * strides[1] +
               static_cast<std::ptrdiff_t>(z) * strides[2];
    }
    Byte* At(std::size_t x, std::size_t y, std::size_t z) const {
        return Row(y, z) + static_cast<std::ptrdiff_t>(x) * strides[0];
    }
};

/// Copies `count` values that lie `stride` bytes apart, converting them.
template <typename From, typename To>
void LoadRow(const std::byte* row, std::ptrdiff_t stride, std::size_t count, To* values) {
    for (std::size_t i = 0; i < count; ++i) {
        From value;
        std::memcpy(&value, row + static_cast<std::ptrdiff_t>(i) * stride, sizeof(From));
        values[i] = static_cast<To>(value);
    }
}

/// As above without conversion, where the values mostly lie side by side.
template <typename T>
void CopyFromRow(const std::byte* row, std::ptrdiff_t stride, std::size_t count, T* values) {
    if (stride == static_cast<std::ptrdiff_t>(sizeof(T))) {
        std::memcpy(values, row, count * sizeof(T));
    } else {
        LoadRow<T>(row, stride, count, values);
    }
}

template <typename T>
void CopyToRow(const T* values, std::size_t count, std::byte* row, std::ptrdiff_t stride) {
    if (stride == static_cast<std::ptrdiff_t>(sizeof(T))) {
        std::memcpy(row, values, count * sizeof(T));
        return;
    }
    for (std::size_t i = 0; i < count; ++i) {
        std::memcpy(row + static_cast<std::ptrdiff_t>(i) * stride, values + i, sizeof(T));
    }
}

} // namespace TEVRA::Impl
