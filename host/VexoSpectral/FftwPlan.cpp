// SPDX-License-Identifier: BSD-3-Clause
#include "VexoSpectral/FftwPlan.h"

#include <fftw3.h>

#include <mutex>
#include <new>
#include <utility>

namespace TEVRA::Impl {
namespace {

// FFTW's planner works on tables of the process. Both are constant-initialised and have no destructor, so
// guards of other source files may come before and go after them.
constinit std::mutex plannerMutex;
constinit int userCount = 0;
constinit long long plansMade = 0;

fftwf_complex* as_fftw(Complex* data) {
    return reinterpret_cast<fftwf_complex*>(data);
}

fftwf_plan as_fftw(void* plan) {
    return static_cast<fftwf_plan>(plan);
}

} // namespace

CFftwPlan CFftwPlan::ColumnsToLines(EDirection direction, const SColumns& columns, Complex* from,
                                    Complex* to) {
    const int length = static_cast<int>(columns.rows);
    const int count = static_cast<int>(columns.columns);
    const int distance = static_cast<int>(columns.lineLength);
    const int sign = direction == EDirection::forward ? FFTW_FORWARD : FFTW_BACKWARD;
    const std::scoped_lock lock(plannerMutex);
    return CFftwPlan(fftwf_plan_many_dft(1, &length, count, as_fftw(from), nullptr, count, 1, as_fftw(to),
                                         nullptr, 1, distance, sign, FFTW_ESTIMATE));
}

CFftwPlan CFftwPlan::RealToHalf(std::size_t length, float* real, Complex* half) {
    const std::scoped_lock lock(plannerMutex);
    return CFftwPlan(fftwf_plan_dft_r2c_1d(static_cast<int>(length), real, as_fftw(half), FFTW_ESTIMATE));
}

CFftwPlan CFftwPlan::HalfToReal(std::size_t length, Complex* half, float* real) {
    const std::scoped_lock lock(plannerMutex);
    return CFftwPlan(fftwf_plan_dft_c2r_1d(static_cast<int>(length), as_fftw(half), real, FFTW_ESTIMATE));
}

CFftwPlan::CFftwPlan(void* plan) : m_plan(plan) {
    if (m_plan == nullptr) {
        throw std::bad_alloc();
    }
    // The maker holds the lock.
    ++userCount;
    ++plansMade;
}

CFftwPlan::CFftwPlan(CFftwPlan&& other) noexcept : m_plan(std::exchange(other.m_plan, nullptr)) {}

CFftwPlan::~CFftwPlan() {
    if (m_plan == nullptr) {
        return;
    }
    {
        const std::scoped_lock lock(plannerMutex);
        fftwf_destroy_plan(as_fftw(m_plan));
    }
    RemoveFftwUser();
}

void CFftwPlan::Execute() const {
    fftwf_execute(as_fftw(m_plan));
}

void CFftwPlan::ExecuteOn(Complex* from, Complex* to) const {
    fftwf_execute_dft(as_fftw(m_plan), as_fftw(from), as_fftw(to));
}

void AddFftwUser() noexcept {
    const std::scoped_lock lock(plannerMutex);
    ++userCount;
}

void RemoveFftwUser() noexcept {
    const std::scoped_lock lock(plannerMutex);
    if (--userCount == 0) {
        fftwf_cleanup();
    }
}

long long FftwPlansMade() noexcept {
    const std::scoped_lock lock(plannerMutex);
    return plansMade;
}

} // namespace TEVRA::Impl
