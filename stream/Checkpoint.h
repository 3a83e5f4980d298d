// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Utils/RowStatistics.h"
#include "volume/ImageConversion.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace TEVRA::stream {

/// Where a run that may be killed keeps what the next one can go on with. Both files lie in one folder, so
/// that slices on a machine's own disk are never taken for those that a process on another machine has
/// finished.
struct SCheckpointFiles {
    std::string record;                  ///< small, written once the smoothing is finished
    std::string scratch;                 ///< the smoothed slices
    std::string fingerprint;             ///< of all that these depend on, in one line
    std::vector<std::string> outdated{}; ///< files of runs by another number of processes
};

/// One of the processes that share a run.
struct SProcess {
    int rank = 0;
    int size = 1; ///< how many there are
};

/// The files of a process, whose names begin with `prefix`, its path included.
SCheckpointFiles CheckpointFiles(const std::string& prefix, const SProcess& process,
                                 const std::string& fingerprint);

/// The finished smoothing of one process.
struct SSmoothed {
    volume::SValueRange range; ///< of the file's values, of all processes
    Impl::SExtent extent;      ///< of the smoothed values, of all processes
};

/// The record of a finished smoothing.
class CCheckpoint {
  public:
    enum class EState {
        absent,  ///< there is none
        other,   ///< of other input, parameters, version or number of processes, or damaged: of no use
        reusable ///< the smoothed slices are those of this run
    };

    /// Reads the record. @param scratchBytes that the file of smoothed slices must have.
    CCheckpoint(const SCheckpointFiles& files, std::size_t scratchBytes);

    EState State() const noexcept { return m_state; }
    const SSmoothed& Smoothed() const noexcept { return m_smoothed; }
    /// Forgets an earlier record: its slices are about to be overwritten.
    void Discard();
    /// Writes the record. @throws volume::CEnvironmentError if that fails.
    void Save(const SSmoothed& smoothed);
    /// Removes record and slices, and what is outdated: they are no longer needed.
    void Remove();

  private:
    SCheckpointFiles m_files;
    EState m_state = EState::absent;
    SSmoothed m_smoothed{};
};

} // namespace TEVRA::stream
