// SPDX-License-Identifier: BSD-3-Clause
#include "Numeric/Matrix.h"
#include "VexoNumeric/Numeric.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <new>

#if defined(__linux__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

namespace {

thread_local std::size_t t_allocations = 0;

} // namespace

// Counts what this thread allocates, in the whole test program.
void* operator new(std::size_t bytes) {
    ++t_allocations;
    if (void* const memory = std::malloc(bytes == 0 ? 1 : bytes)) { // NOLINT(cppcoreguidelines-no-malloc)
        return memory;
    }
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
    std::free(memory); // NOLINT(cppcoreguidelines-no-malloc)
}
void operator delete(void* memory, std::size_t /*bytes*/) noexcept {
    std::free(memory); // NOLINT(cppcoreguidelines-no-malloc)
}

namespace TEVRA {
namespace {

TEST(Svd, OfSmallSymmetricMatricesAllocatesNothing) {
    for (const std::size_t n : {2U, 3U}) {
        CMatrix<double> matrix(n, n);
        for (std::size_t row = 0; row < n; ++row) {
            for (std::size_t col = 0; col < n; ++col) {
                matrix(row, col) = 1.0 / static_cast<double>(1 + row + col);
            }
        }
        CMatrix<double> u(n, n);
        CMatrix<double> s(n, 1);
        CMatrix<double> v(n, n);
        const std::size_t before = t_allocations;
        const bool found = CNumeric::Svd(matrix, u, s, v, true);
        EXPECT_EQ(t_allocations, before) << n << " x " << n;
        EXPECT_TRUE(found);
        EXPECT_GT(before, 0U) << "the count counts";
    }
}

} // namespace
} // namespace TEVRA

#endif
