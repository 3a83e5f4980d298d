// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Utils/RowStatistics.h"
#include "stream/FileLock.h"
#include "volume/ImageConversion.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace TEVRA::stream {

/// Where a run that may be killed keeps what the next one can go on with. All files lie in one folder, so
/// that slices on a machine's own disk are never taken for those that a process on another machine has
/// finished.
struct SCheckpointFiles {
    std::string record;                  ///< small, written once the smoothing is finished; names the slices
    std::string fingerprint;             ///< of all that these depend on, in one line
    std::vector<std::string> outdated{}; ///< files of runs by another number of processes

    /// Stands for a process at work with these files.
    std::string Lock() const { return record + LOCK_ENDING; }

    static constexpr const char* LOCK_ENDING = ".lock";
    static constexpr const char* SLICES_ENDING = ".scratch";
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

    /// Takes the files for this process alone, until the object goes, and reads the record again. Does
    /// nothing the second time.
    /// @throws volume::CEnvironmentError if another process, also of a job by another number of processes, is
    /// at work with them, or if the folder cannot be written to.
    void Take();

    EState State() const noexcept { return m_state; }
    const SSmoothed& Smoothed() const noexcept { return m_smoothed; }
    /// The file of the smoothed slices: that of the record, or a new name that nobody can foretell.
    const std::string& Slices() const noexcept { return m_slices; }
    /// Removes an earlier record with its slices, and what unfinished runs have left.
    void Discard();
    /// Writes the record. @throws volume::CEnvironmentError if that fails.
    void Save(const SSmoothed& smoothed);
    /// Removes record and slices, and what is outdated: they are no longer needed.
    void Remove();

  private:
    void read();

    SCheckpointFiles m_files;
    std::size_t m_scratchBytes;
    std::optional<CFileLock> m_lock;
    std::string m_slices;
    EState m_state = EState::absent;
    SSmoothed m_smoothed{};
};

} // namespace TEVRA::stream
