// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/Directions.h"

#include "phantom/DirectionLaw.h"

#include <algorithm>
#include <cmath>

namespace TEVRA::jobs {

std::optional<std::array<double, 3>> UnitVector(const std::array<double, 3>& vector) {
    const bool isFinite =
        std::all_of(vector.begin(), vector.end(), [](double c) { return std::isfinite(c); });
    const bool isZero = std::all_of(vector.begin(), vector.end(), [](double c) { return c == 0.0; });
    return isFinite && !isZero ? std::optional(phantom::Normalised(vector)) : std::nullopt;
}

void CDirectionSample::Add(double thetaRad, double phiRad, long long count) {
    m_count += count;
    const auto more = static_cast<double>(count);
    if (!m_runs.empty() && m_runs.back().thetaRad == thetaRad && m_runs.back().phiRad == phiRad) {
        m_runs.back().count += more;
        return;
    }
    m_runs.push_back({thetaRad, phiRad, more});
}

std::array<double, 3> CDirectionSample::Direction(std::size_t run) const {
    const SRun& angles = m_runs[run];
    const double sine = std::sin(angles.thetaRad);
    return {sine * std::cos(angles.phiRad), sine * std::sin(angles.phiRad), std::cos(angles.thetaRad)};
}

} // namespace TEVRA::jobs
