// SPDX-License-Identifier: BSD-3-Clause
#include "FilterOrientations/HessianOrientations.h"
#include "zeklib2core/Exception.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>
#include <string>
#include <type_traits>

namespace TEVRA {
namespace {

using Sizes = std::array<long long, 4>;

void for_each_index(const Sizes& sizes,
                    const std::function<void(long long, long long, long long, long long)>& operation) {
    for (long long i = 0; i < sizes[0]; ++i) {
        for (long long j = 0; j < sizes[1]; ++j) {
            for (long long k = 0; k < sizes[2]; ++k) {
                for (long long l = 0; l < sizes[3]; ++l) {
                    operation(i, j, k, l);
                }
            }
        }
    }
}

double place(long long i, long long j, long long k, long long l) {
    return static_cast<double>(1000 * i + 100 * j + 10 * k + l + 1);
}

} // namespace

TEST(TensorRank4, IsZeroEverywhereWhenMade) {
    const CTensorRank4 tensor(2, 2, 2, 2);
    int elements = 0;
    for_each_index({2, 2, 2, 2}, [&](auto... index) {
        EXPECT_EQ(tensor(index...), 0.0);
        ++elements;
    });
    EXPECT_EQ(elements, 16);
}

TEST(TensorRank4, RefusesSizesBelowOneOnEveryAxis) {
    for (const Sizes& sizes : {Sizes{3, 3, 3, 0}, {3, 3, 0, 3}, {3, 0, 3, 3}, {0, 3, 3, 3}, {3, 3, -1, 3}}) {
        try {
            const CTensorRank4 tensor(sizes[0], sizes[1], sizes[2], sizes[3]);
            FAIL() << "nothing was thrown";
        } catch (const CException& exception) {
            EXPECT_STREQ(exception.what(), "All dimensions must have strictly positive size.");
        }
    }
}

TEST(TensorRank4, TakesFourDifferentSizes) {
    const Sizes sizes = {2, 3, 4, 5};
    CTensorRank4 tensor(2, 3, 4, 5);
    for_each_index(sizes, [&](auto... index) { tensor(index...) = place(index...); });
    const CTensorRank4& readOnly = tensor;
    for_each_index(sizes, [&](auto... index) { EXPECT_EQ(readOnly(index...), place(index...)); });
}

TEST(TensorRank4, SumOfTwoOverTwoIsTheirMean) {
    CTensorRank4 first(3, 3, 3, 3);
    CTensorRank4 second(3, 3, 3, 3);
    for_each_index({3, 3, 3, 3}, [&](auto... index) {
        first(index...) = place(index...);
        second(index...) = 0.25 - 3.0 * place(index...);
    });
    (first += second) /= 2.0;
    for_each_index({3, 3, 3, 3}, [&](auto... index) {
        EXPECT_EQ(first(index...), (place(index...) + (0.25 - 3.0 * place(index...))) / 2.0);
        EXPECT_EQ(second(index...), 0.25 - 3.0 * place(index...)) << "the summand is left alone";
    });
}

TEST(TensorRank4, AddsTheCornerOfALargerOne) {
    CTensorRank4 small(1, 2, 1, 2);
    CTensorRank4 large(3, 3, 3, 3);
    for_each_index({3, 3, 3, 3}, [&](auto... index) { large(index...) = place(index...); });
    small += large;
    for_each_index({1, 2, 1, 2}, [&](auto... index) { EXPECT_EQ(small(index...), place(index...)); });
}

TEST(TensorRank4, AddedToItselfDoubles) {
    CTensorRank4 tensor(2, 2, 2, 2);
    for_each_index({2, 2, 2, 2}, [&](auto... index) { tensor(index...) = place(index...); });
    const CTensorRank4& same = tensor;
    tensor += same;
    for_each_index({2, 2, 2, 2}, [&](auto... index) { EXPECT_EQ(tensor(index...), 2.0 * place(index...)); });
}

TEST(TensorRank4, DividedByZeroFollowsFloatingPointRules) {
    CTensorRank4 tensor(1, 1, 1, 3);
    tensor(0, 0, 0, 1) = 2.0;
    tensor(0, 0, 0, 2) = -2.0;
    tensor /= 0.0;
    EXPECT_TRUE(std::isnan(tensor(0, 0, 0, 0)));
    EXPECT_EQ(tensor(0, 0, 0, 1), HUGE_VAL);
    EXPECT_EQ(tensor(0, 0, 0, 2), -HUGE_VAL);
}

TEST(TensorRank4, IsNeverCopiedShallowly) {
    static_assert(!std::is_copy_constructible_v<CTensorRank4>);
    static_assert(!std::is_copy_assignable_v<CTensorRank4>);
}

TEST(TensorRank4, OperatorsGiveBackTheTensorItself) {
    CTensorRank4 tensor(1, 1, 1, 1);
    const CTensorRank4 other(1, 1, 1, 1);
    EXPECT_EQ(&(tensor += other), &tensor);
    EXPECT_EQ(&(tensor /= 2.0), &tensor);
}

} // namespace TEVRA
