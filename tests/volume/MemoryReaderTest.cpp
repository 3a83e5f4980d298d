// SPDX-License-Identifier: BSD-3-Clause
#include "volume/MemoryReader.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <numeric>
#include <stdexcept>
#include <vector>

namespace TEVRA::volume {
namespace {

TEST(MemoryReader, HandsOutTheSlicesAskedFor) {
    std::vector<std::uint16_t> pixels(4 * 3 * 5);
    std::iota(pixels.begin(), pixels.end(), std::uint16_t{1000});
    CMemoryReader reader(CSize(4, 3, 5), EPixelType::u16, pixels.data());
    std::vector<std::uint16_t> slices(2 * 4 * 3);
    reader.ReadSlices(2, 2, slices.data());
    EXPECT_EQ(slices, std::vector<std::uint16_t>(pixels.begin() + 24, pixels.begin() + 48));
}

TEST(MemoryReader, TellsWhatTheImageIs) {
    const std::vector<float> pixels(6);
    const CMemoryReader reader(CSize(3, 2), EPixelType::f32, pixels.data());
    EXPECT_EQ(reader.Info().format, "memory");
    EXPECT_EQ(reader.Info().storedType, "32-bit float");
    EXPECT_EQ(reader.Info().size, CSize(3, 2));
    EXPECT_EQ(reader.SliceCount(), 1);
    EXPECT_EQ(reader.SliceBytes(), 24U);
}

TEST(MemoryReader, RefusesSlicesThatDoNotExist) {
    const std::vector<std::uint8_t> pixels(8);
    CMemoryReader reader(CSize(2, 2, 2), EPixelType::u8, pixels.data());
    std::vector<std::uint8_t> slices(16);
    EXPECT_THROW(reader.ReadSlices(1, 2, slices.data()), std::out_of_range);
    EXPECT_THROW(reader.ReadSlices(-1, 1, slices.data()), std::out_of_range);
}

} // namespace
} // namespace TEVRA::volume
