// SPDX-License-Identifier: BSD-3-Clause
#include "volume/Deflate.h"

#include <gtest/gtest.h>

#include <random>
#include <span>
#include <stdexcept>
#include <vector>

#include <zlib.h>

namespace TEVRA::volume {
namespace {

/// As the reference library unpacks them.
std::vector<std::byte> unpacked(const std::string& packed, std::size_t bytes) {
    std::vector<std::byte> result(bytes + 1);
    auto length = static_cast<uLongf>(result.size());
    EXPECT_EQ(uncompress(reinterpret_cast<Bytef*>(result.data()), &length,
                         reinterpret_cast<const Bytef*>(packed.data()), static_cast<uLong>(packed.size())),
              Z_OK);
    result.resize(length);
    return result;
}

TEST(Deflate, GivesWhatZlibUnpacks) {
    std::mt19937 random(3);
    std::vector<std::byte> noise;
    for (int at = 0; at < 100'000; ++at) {
        noise.push_back(static_cast<std::byte>(random()));
    }
    const std::vector<std::byte> runs(70'000, std::byte{7});
    for (const auto& bytes : {noise, runs, std::vector<std::byte>{}, std::vector{std::byte{1}}}) {
        EXPECT_EQ(unpacked(Deflated(bytes), bytes.size()), bytes);
        EXPECT_EQ(unpacked(DeflatedNoise(bytes), bytes.size()), bytes);
    }
    EXPECT_LT(DeflatedNoise(runs).size(), 1000U);
    EXPECT_LT(DeflatedNoise(noise).size(), noise.size() + 100);
}

TEST(Deflate, RefusesMoreThanZlibCountsTo) {
    const std::byte first{};
    const std::span<const std::byte> many(&first, std::size_t{1} << 32U); // is not looked at
    EXPECT_THROW(Deflated(many), std::length_error);
    EXPECT_THROW(DeflatedNoise(many), std::length_error);
}

} // namespace
} // namespace TEVRA::volume
