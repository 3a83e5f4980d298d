// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2image/PixelMemory.h"

#include "support/MemoryLimit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

namespace TEVRA {
namespace {

constexpr std::size_t HUGE_BYTES = std::numeric_limits<std::size_t>::max();

TEST(PixelMemory, IsZeroAndAlignedToACacheLine) {
    for (const std::size_t bytes : {1U, 63U, 64U, 65U, 1000U, 1000003U}) {
        CPixelMemory memory(bytes);
        EXPECT_EQ(memory.Bytes(), bytes);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(memory.Data()) % 64, 0U);
        EXPECT_TRUE(
            std::all_of(memory.Data(), memory.Data() + bytes, [](std::byte b) { return b == std::byte{0}; }));
        std::memset(memory.Data(), 0xAB, bytes); // so that the next round would see memory used again
    }
}

TEST(PixelMemory, IsZeroAndAlignedAlsoWhenItIsLarge) {
    constexpr std::size_t MEGABYTE = std::size_t{1} << 20U;
    for (const std::size_t bytes : {4 * MEGABYTE - 1, 4 * MEGABYTE, 6 * MEGABYTE + 12345}) {
        for (int round = 0; round < 3; ++round) {
            CPixelMemory memory(bytes);
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(memory.Data()) % 64, 0U);
            EXPECT_EQ(std::count(memory.Data(), memory.Data() + bytes, std::byte{0}),
                      static_cast<std::ptrdiff_t>(bytes));
            std::memset(memory.Data(), 0xAB, bytes);
        }
    }
}

TEST(PixelMemory, IsZeroWhenSeveralThreadsFetchIt) {
    constexpr std::size_t BYTES = (std::size_t{40} << 20U) + 12345;
    for (const int threads : {2, 3, 7}) {
        CPixelMemory::SetThreads(threads);
        CPixelMemory memory(BYTES);
        EXPECT_EQ(std::count(memory.Data(), memory.Data() + BYTES, std::byte{0}),
                  static_cast<std::ptrdiff_t>(BYTES))
            << threads << " threads";
        std::memset(memory.Data(), 0xAB, BYTES);
    }
    CPixelMemory::SetThreads(1);
}

TEST(PixelMemory, IsCountedOnceWhenMovedAlsoWhenItIsLarge) {
    constexpr std::size_t LARGE = std::size_t{8} << 20U;
    const test::CPixelLeakCheck leaks;
    const std::size_t before = CPixelMemory::BytesInUse();
    CPixelMemory small(100);
    CPixelMemory large(LARGE);
    large.Data()[LARGE - 1] = std::byte{7};
    small = std::move(large);
    EXPECT_EQ(CPixelMemory::BytesInUse(), before + LARGE);
    EXPECT_EQ(small.Bytes(), LARGE);
    EXPECT_EQ(small.Data()[LARGE - 1], std::byte{7});
    small = CPixelMemory(100);
    EXPECT_EQ(CPixelMemory::BytesInUse(), before + 100);
}

TEST(PixelMemory, IsCountedWhileInUse) {
    const std::size_t before = CPixelMemory::BytesInUse();
    {
        const CPixelMemory first(100);
        EXPECT_EQ(CPixelMemory::BytesInUse(), before + 100);
        {
            const CPixelMemory second(1000);
            EXPECT_EQ(CPixelMemory::BytesInUse(), before + 1100);
        }
        EXPECT_EQ(CPixelMemory::BytesInUse(), before + 100);
        const CPixelMemory none(0);
        EXPECT_EQ(CPixelMemory::BytesInUse(), before + 100);
        EXPECT_EQ(none.Bytes(), 0U);
    }
    EXPECT_EQ(CPixelMemory::BytesInUse(), before);
}

TEST(PixelMemory, IsCountedOnceWhenMoved) {
    const test::CPixelLeakCheck leaks;
    const std::size_t before = CPixelMemory::BytesInUse();
    CPixelMemory first(100);
    const std::byte* data = first.Data();
    CPixelMemory second(std::move(first));
    EXPECT_EQ(CPixelMemory::BytesInUse(), before + 100);
    EXPECT_EQ(second.Data(), data);
    EXPECT_EQ(second.Bytes(), 100U);
    // NOLINTNEXTLINE(bugprone-use-after-move,clang-analyzer-cplusplus.Move): an empty memory is promised
    EXPECT_EQ(first.Data(), nullptr);
    EXPECT_EQ(first.Bytes(), 0U);
    CPixelMemory third(1000);
    third = std::move(second);
    EXPECT_EQ(CPixelMemory::BytesInUse(), before + 100) << "what the target held is given back";
    EXPECT_EQ(third.Data(), data);
    CPixelMemory& same = third;
    third = std::move(same);
    EXPECT_EQ(third.Data(), data);
    EXPECT_EQ(third.Bytes(), 100U);
}

TEST(PixelMemory, FailsBeyondTheLimitAndCountsNothing) {
    const std::size_t before = CPixelMemory::BytesInUse();
    const test::CPixelMemoryLimitScope limit(1000);
    EXPECT_EQ(CPixelMemory::Limit(), before + 1000);
    const CPixelMemory most(600);
    EXPECT_THROW(CPixelMemory(401), std::bad_alloc);
    EXPECT_THROW(CPixelMemory(5000), std::bad_alloc);
    EXPECT_EQ(CPixelMemory::BytesInUse(), before + 600);
    const CPixelMemory rest(400);
    EXPECT_EQ(CPixelMemory::BytesInUse(), before + 1000);
    EXPECT_THROW(CPixelMemory(1), std::bad_alloc);
    EXPECT_NO_THROW(CPixelMemory(0));
}

TEST(PixelMemory, MayBeLimitedBelowWhatIsInUse) {
    const test::CPixelLeakCheck leaks;
    const CPixelMemory held(1000);
    const test::CPixelMemoryLimitScope restores(0);
    CPixelMemory::SetLimit(CPixelMemory::BytesInUse() - 500);
    EXPECT_THROW(CPixelMemory(1), std::bad_alloc);
    EXPECT_EQ(held.Bytes(), 1000U);
}

TEST(PixelMemory, FailsBeyondTheMachineAndCountsNothing) {
    const test::CPixelLeakCheck leaks;
    EXPECT_EQ(CPixelMemory::Limit(), HUGE_BYTES) << "no limit unless set";
    EXPECT_THROW(CPixelMemory{HUGE_BYTES}, std::bad_alloc);
    EXPECT_THROW(CPixelMemory{HUGE_BYTES - 63}, std::bad_alloc);
#if !defined(__SANITIZE_ADDRESS__) // which ends the program on such a request
    EXPECT_THROW(CPixelMemory{HUGE_BYTES / 4}, std::bad_alloc);
#endif
}

} // namespace
} // namespace TEVRA
