// SPDX-License-Identifier: BSD-3-Clause
#include "Numeric/HalfFloats.h"

#include "LocalTensors/KernelChoice.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace TEVRA;
using namespace TEVRA::Impl;

/// What IEEE 754 says that the bits mean.
double value_of(HalfBits bits) {
    const int exponent = (bits >> 10U) & 0x1FU;
    const int digits = bits & 0x3FFU;
    const double magnitude =
        exponent == 0 ? std::ldexp(digits, -24) : std::ldexp(1024 + digits, exponent - 25);
    return (bits & 0x8000U) != 0 ? -magnitude : magnitude;
}

/// The nearest number with eleven digits, but no step below 2^-24; halves to even.
double nearest_half(double value) {
    int exponent = 0;
    std::frexp(value, &exponent);
    const double step = std::ldexp(1.0, std::max(exponent - 11, -24));
    return std::nearbyint(value / step) * step;
}

class HalfFloats : public testing::TestWithParam<EInstructionSet> {
  protected:
    void SetUp() override {
        if (!IsSupported(GetParam())) {
            GTEST_SKIP() << "this processor does not have " << NameOf(GetParam());
        }
    }

    /// Filters that leave every number as it is.
    std::vector<float> load(const std::vector<HalfBits>& halves) const {
        return filtered<float>(halves, m_kernels.smoothOutOfHalves);
    }
    std::vector<HalfBits> store(const std::vector<float>& values) const {
        return filtered<HalfBits>(values, m_kernels.smoothIntoHalves);
    }

    /// Every finite number, both zeros among them.
    static std::vector<HalfBits> all() {
        std::vector<HalfBits> halves;
        for (unsigned bits = 0; bits <= 0xFFFFU; ++bits) {
            if ((bits & 0x7C00U) != 0x7C00U) {
                halves.push_back(static_cast<HalfBits>(bits));
            }
        }
        return halves;
    }

  private:
    template <typename ToT, typename FromT>
    static std::vector<ToT> filtered(std::vector<FromT> numbers,
                                     void (*smooth)(const SSmoothedRows<FromT, ToT>&)) {
        const std::size_t count = numbers.size();
        numbers.resize(RoundedToGroup(count));
        std::vector<ToT> result(numbers.size());
        const FromT* const from = numbers.data();
        ToT* const to = result.data();
        const float weight = 1.0F;
        smooth({&from, 0, &weight, &to, 1, count});
        result.resize(count);
        return result;
    }

    const SPlaneKernels& m_kernels = PlaneKernelsOf(GetParam());
};

TEST_P(HalfFloats, AreLoadedAsTheNumbersThatTheirBitsMean) {
    const std::vector<HalfBits> halves = all();
    const std::vector<float> values = load(halves);
    ASSERT_EQ(values.size(), halves.size());
    for (std::size_t i = 0; i < halves.size(); ++i) {
        ASSERT_EQ(values[i], value_of(halves[i])) << "bits " << halves[i];
    }
}

TEST_P(HalfFloats, AreStoredAsTheyWereLoaded) {
    std::vector<float> values;
    std::vector<HalfBits> halves = all();
    std::erase(halves, HalfBits{0x8000}); // a sum of -0 and 0 is 0
    for (const HalfBits bits : halves) {
        values.push_back(static_cast<float>(value_of(bits)));
    }
    EXPECT_EQ(store(values), halves);
}

TEST_P(HalfFloats, AreTheNearestNumbersAndOfTwoTheEvenOne) {
    std::mt19937 random(5);
    std::uniform_real_distribution<double> exponent(-30.0, 15.9);
    std::vector<float> values;
    for (int i = 0; i < 20000; ++i) {
        values.push_back(static_cast<float>(std::exp2(exponent(random)) * (i % 2 == 0 ? 1.0 : -1.0)));
    }
    for (const HalfBits bits : all()) {
        if ((bits & 0x7FFFU) < 0x7BFFU) { // half way to the next one
            values.push_back(
                static_cast<float>(0.5 * (value_of(bits) + value_of(static_cast<HalfBits>(bits + 1)))));
        }
    }
    values.push_back(LARGEST_HALF);
    const std::vector<HalfBits> halves = store(values);
    for (std::size_t i = 0; i < values.size(); ++i) {
        ASSERT_EQ(value_of(halves[i]), nearest_half(values[i])) << std::hexfloat << values[i];
    }
}

INSTANTIATE_TEST_SUITE_P(All, HalfFloats, testing::ValuesIn(INSTRUCTION_SETS),
                         [](const auto& one) { return std::string(NameOf(one.param)); });

} // namespace
