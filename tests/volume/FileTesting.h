// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "support/TemporaryFolder.h"
#include "volume/Failure.h"
#include "volume/ImageReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace TEVRA::volume {

/// Pixel values that differ from their neighbours in every byte and use the type's whole range.
template <typename PixelT>
std::vector<PixelT> TestPixels(const CSize& size) {
    std::vector<PixelT> pixels(size.Elements());
    std::uint32_t state = 12345;
    for (PixelT& pixel : pixels) {
        state = state * 1664525U + 1013904223U;
        if constexpr (std::is_floating_point_v<PixelT>) {
            pixel = static_cast<PixelT>(static_cast<double>(state) / 1e6 - 2000.0);
        } else {
            // Numbers of more than 16 bit are given 23 digits, which floats hold, up to the last bit.
            constexpr int SHIFT = sizeof(PixelT) == 8 ? 40 : sizeof(PixelT) == 4 ? 8 : 0;
            const long long middle = std::is_signed_v<PixelT> ? 1LL << 22 : 0;
            pixel = static_cast<PixelT>((static_cast<long long>(state >> 9U) - middle) * (1LL << SHIFT));
        }
    }
    return pixels;
}

inline bool IsMachineOrder(EByteOrder order) {
    return (order == EByteOrder::big) == (std::endian::native == std::endian::big);
}

/// A number's bytes in the given order.
template <typename ValueT>
std::string BytesOf(ValueT value, EByteOrder order = EByteOrder::little) {
    std::string bytes(sizeof(ValueT), '\0');
    std::memcpy(bytes.data(), &value, sizeof(ValueT));
    if (!IsMachineOrder(order)) {
        std::reverse(bytes.begin(), bytes.end());
    }
    return bytes;
}

template <typename PixelT>
std::string BytesOf(const std::vector<PixelT>& pixels, EByteOrder order = EByteOrder::little) {
    std::string bytes;
    for (const PixelT pixel : pixels) {
        bytes += BytesOf(pixel, order);
    }
    return bytes;
}

template <typename PixelT>
constexpr EPixelType HandedOutTypeOf() {
    if constexpr (std::is_same_v<PixelT, std::uint8_t>) {
        return EPixelType::u8;
    } else if constexpr (std::is_same_v<PixelT, std::uint16_t>) {
        return EPixelType::u16;
    } else {
        static_assert(std::is_same_v<PixelT, float>);
        return EPixelType::f32;
    }
}

/// Slices as the reader hands them out. Bytes behind them must stay untouched.
template <typename PixelT>
std::vector<PixelT> ReadPixels(IImageReader& reader, long long firstSlice, long long sliceCount) {
    EXPECT_EQ(reader.Info().pixelType, HandedOutTypeOf<PixelT>());
    const std::size_t bytes = static_cast<std::size_t>(sliceCount) * reader.SliceBytes();
    constexpr unsigned char GUARD = 0xA5;
    std::vector<unsigned char> buffer(bytes + 64, GUARD);
    reader.ReadSlices(firstSlice, sliceCount, buffer.data());
    EXPECT_TRUE(std::all_of(buffer.begin() + static_cast<std::ptrdiff_t>(bytes), buffer.end(),
                            [](unsigned char byte) { return byte == GUARD; }))
        << "the reader wrote behind the slices";
    std::vector<PixelT> pixels(bytes / sizeof(PixelT));
    if (!pixels.empty()) { // an empty vector has no address to copy to
        std::memcpy(pixels.data(), buffer.data(), bytes);
    }
    return pixels;
}

/// Checks size, type and pixels, read as a whole, slice by slice from last to first, and in every range.
template <typename PixelT>
void ExpectImage(const std::string& path, const CSize& size, const std::vector<PixelT>& expected,
                 const SOpenOptions& options = {}) {
    SCOPED_TRACE(path);
    const std::unique_ptr<IImageReader> reader = OpenImage(path, options);
    EXPECT_EQ(reader->Info().size, size) << reader->Info().size.ToString();
    ASSERT_EQ(reader->Info().pixelType, HandedOutTypeOf<PixelT>());
    const long long slices = reader->SliceCount();
    ASSERT_EQ(ReadPixels<PixelT>(*reader, 0, slices), expected);
    const std::size_t perSlice = expected.size() / static_cast<std::size_t>(slices);
    for (long long first = slices; first >= 0; --first) {
        for (long long count = 0; count <= slices - first; ++count) {
            const auto begin =
                expected.begin() + static_cast<std::ptrdiff_t>(first) * static_cast<std::ptrdiff_t>(perSlice);
            const std::vector<PixelT> range(begin, begin + static_cast<std::ptrdiff_t>(count) *
                                                               static_cast<std::ptrdiff_t>(perSlice));
            ASSERT_EQ(ReadPixels<PixelT>(*reader, first, count), range) << first << " + " << count;
        }
    }
}

/// The text of the exception that the operation throws, which must be of exactly that class.
template <typename FailureT = CInputError, typename OperationT>
std::string FailureOf(OperationT operation) {
    try {
        operation();
    } catch (const FailureT& failure) {
        return failure.what();
    } catch (const std::exception& other) {
        ADD_FAILURE() << "another exception: " << other.what();
        return {};
    }
    ADD_FAILURE() << "nothing was thrown";
    return {};
}

/// The text of the exception that opening and reading the image throws.
inline std::string FailureOfReading(const std::string& path, const SOpenOptions& options = {}) {
    return FailureOf([&] {
        const std::unique_ptr<IImageReader> reader = OpenImage(path, options);
        std::vector<unsigned char> pixels(static_cast<std::size_t>(reader->SliceCount()) *
                                          reader->SliceBytes());
        reader->ReadSlices(0, reader->SliceCount(), pixels.data());
    });
}

struct SExpectedSpacing {
    std::array<double, 3> distances;
    std::string unit;
};

/// Checks the spacing; nothing expected: none stated.
inline void ExpectSpacing(const std::string& path, const std::optional<SExpectedSpacing>& expected) {
    SCOPED_TRACE(path);
    const SImageInfo info = OpenImage(path)->Info();
    EXPECT_FALSE(info.spacingNote.empty());
    ASSERT_EQ(info.spacing.has_value(), expected.has_value()) << info.spacingNote;
    if (!expected) {
        EXPECT_EQ(info.spacingUnit, "");
        return;
    }
    EXPECT_EQ(info.spacingUnit, expected->unit);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        EXPECT_NEAR((*info.spacing)[axis], expected->distances[axis], 1e-9 * expected->distances[axis])
            << "axis " << axis;
    }
}

} // namespace TEVRA::volume
