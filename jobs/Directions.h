// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <optional>
#include <vector>

namespace TEVRA::jobs {

/// The unit vector along a vector of any length; none for 0 and for what is not finite.
std::optional<std::array<double, 3>> UnitVector(const std::array<double, 3>& vector);

/// A sample of fiber directions by their angles in radians: colatitude from the z axis, longitude in the x-y
/// plane from the x axis.
///
/// Runs of equal directions take the room of one: neighbouring pixels of a fiber often have the same.
class CDirectionSample {
  public:
    /// Adds a direction `count` times.
    void Add(double thetaRad, double phiRad, long long count = 1);

    /// Directions, equal ones included. May exceed the number that any memory holds.
    long long Count() const noexcept { return m_count; }
    std::size_t Runs() const noexcept { return m_runs.size(); }
    /// The unit vector of a run's direction.
    std::array<double, 3> Direction(std::size_t run) const;
    /// Directions in a run; a double, as sums need it.
    double CountOf(std::size_t run) const noexcept { return m_runs[run].count; }
    double ThetaRad(std::size_t run) const noexcept { return m_runs[run].thetaRad; }

  private:
    struct SRun {
        double thetaRad;
        double phiRad;
        double count;
    };

    std::vector<SRun> m_runs;
    long long m_count = 0;
};

} // namespace TEVRA::jobs
