// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace TEVRA::benchmarks {

/// An 8-bit volume, x fastest.
struct SVolume {
    std::array<std::size_t, 3> size{};
    std::vector<unsigned char> grey;

    std::size_t Voxels() const noexcept { return grey.size(); }
};

/// What the command line of every peer sets. Lengths are in pixels.
struct SPeerOptions {
    double sigmaPx = 3.0;
    double otsuFactor = 1.25;
    int threads = 1;
    std::string estimator = "hessian"; ///< of Tevra's row-by-row analysis
    double majorWidth = 16.0;          ///< of the filters of a bank, pi times their standard deviation
    double minorWidth = 6.0;
    std::string directions;            ///< file with the axes of a bank, three numbers per line
    std::string transform = "real";    ///< or "complex"
    std::string planning = "estimate"; ///< or "measure"
};

/// One way to get from a grey-value image to the axis of every fiber voxel.
class IPeer {
  public:
    IPeer() = default;
    IPeer(const IPeer&) = delete;
    IPeer& operator=(const IPeer&) = delete;
    virtual ~IPeer();

    /// Takes the image over, in the form in which this peer has images in memory. Not timed.
    virtual void Prepare(SVolume volume) = 0;
    /// From the image in memory to angles in memory. This is what is timed.
    virtual void Compute() = 0;
    /// Colatitude in [0, pi/2] and longitude in radians, a value per voxel; a negative colatitude where there
    /// is no axis. Valid until the next call of another operation.
    virtual std::span<const float> Theta() const = 0;
    virtual std::span<const float> Phi() const = 0;
    /// The part of the last `Compute` that was spent on planning transforms, in seconds.
    virtual double PlanningSeconds() const { return 0.0; }
};

using PeerFactory = IPeer* (*)(const SPeerOptions&);

/// The program around a peer: reads the command line and the image, lets the peer work once on a volume of 32
/// voxels along each axis (which loads what is loaded late and starts threads), then on the image, writes the
/// maps if asked to, and prints one line of JSON: the seconds of every run by the clock and of
/// all processors together, and in bytes the peak memory of
/// the process and by how much it exceeds what was in use when the run began.
/// @return exit status.
int RunPeer(int argc, char** argv, PeerFactory makePeer);

} // namespace TEVRA::benchmarks
