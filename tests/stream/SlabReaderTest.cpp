// SPDX-License-Identifier: BSD-3-Clause
#include "stream/SlabReader.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

namespace TEVRA::stream {
namespace {

/// Slices of one byte: their number.
void read_numbers(const SSliceRange& slices, std::byte* pixels) {
    for (long long z = slices.first; z < slices.end; ++z) {
        *pixels++ = static_cast<std::byte>(z);
    }
}

TEST(SlabReader, HandsOutEverySliceInOrderWhileTheNextSlabIsRead) {
    for (const long long slabSlices : {1LL, 2LL, 3LL, 7LL, 10LL}) {
        const SSliceRange all{5, 12};
        CSlabReader reader(read_numbers, all, slabSlices, 1);
        reader.ReadNext();
        for (long long slab = 0; slab < SlabCount(all, slabSlices); ++slab) {
            const std::byte* const pixels = reader.Take();
            reader.ReadNext();
            const SSliceRange slices = SlabOf(all, slabSlices, slab);
            for (long long z = slices.first; z < slices.end; ++z) {
                EXPECT_EQ(pixels[z - slices.first], static_cast<std::byte>(z)) << "slabs of " << slabSlices;
            }
        }
    }
}

TEST(SlabReader, ReadsNothingBehindTheLastSlice) {
    std::vector<SSliceRange> read;
    CSlabReader reader([&read](const SSliceRange& slices, std::byte*) { read.push_back(slices); }, {0, 5}, 2,
                       1);
    for (int call = 0; call < 6; ++call) {
        reader.ReadNext();
    }
    EXPECT_EQ(read, (std::vector<SSliceRange>{{0, 2}, {2, 4}, {4, 5}}));
}

TEST(SlabReader, PassesOnWhatReadingThrowsAndCanTryAgain) {
    int calls = 0;
    CSlabReader reader(
        [&calls](const SSliceRange& slices, std::byte* pixels) {
            if (++calls == 1) {
                throw std::runtime_error("no file");
            }
            read_numbers(slices, pixels);
        },
        {3, 4}, 1, 1);
    EXPECT_THROW(reader.ReadNext(), std::runtime_error);
    reader.ReadNext();
    EXPECT_EQ(*reader.Take(), std::byte{3});
}

} // namespace
} // namespace TEVRA::stream
