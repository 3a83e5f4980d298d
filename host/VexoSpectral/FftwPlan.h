// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <complex>
#include <cstddef>

namespace TEVRA::Impl {

using Complex = std::complex<float>;

enum class EDirection { forward, inverse };

/// Columns to transform, and where the results go.
struct SColumns {
    std::size_t rows;
    std::size_t columns;
    std::size_t lineLength; ///< from the start of one result to that of the next; at least `rows`
};

/// A one-dimensional transform of FFTW: owns the plan, knows where to apply it.
///
/// Plans are chosen by FFTW's cost estimate, never by measuring: measured plans differ from run to run, and
/// with them the last bits of every result, and take a tenth of a second each. All memory must be aligned to
/// 64 bytes.
class CFftwPlan {
  public:
    /// Complex transforms of columns side by side, element (row, column) at from[row * columns + column], to
    /// lines, element (row, column) at to[column * lineLength + row].
    static CFftwPlan ColumnsToLines(EDirection direction, const SColumns& columns, Complex* from,
                                    Complex* to);
    /// Transform of `length` real values to length / 2 + 1 complex ones.
    static CFftwPlan RealToHalf(std::size_t length, float* real, Complex* half);
    /// The way back, without scaling; overwrites `half`.
    static CFftwPlan HalfToReal(std::size_t length, Complex* half, float* real);

    CFftwPlan(CFftwPlan&& other) noexcept;
    CFftwPlan& operator=(CFftwPlan&&) = delete;
    CFftwPlan(const CFftwPlan&) = delete;
    CFftwPlan& operator=(const CFftwPlan&) = delete;
    ~CFftwPlan();

    /// Transforms the memory that the plan was made for.
    void Execute() const;
    /// Transforms other columns than those that the plan was made for, to other lines.
    void ExecuteOn(Complex* from, Complex* to) const;

  private:
    /// @throws std::bad_alloc if FFTW gave no plan.
    explicit CFftwPlan(void* plan);

    void* m_plan;
};

/// Users of FFTW, plans and registered clients, are counted. When the last one goes, FFTW's process-wide
/// tables are released; plans must not outlive the tables.
void AddFftwUser() noexcept;
void RemoveFftwUser() noexcept;

/// Plans made since the process began. They take long to make; tests see to it that they are kept.
long long FftwPlansMade() noexcept;

} // namespace TEVRA::Impl
