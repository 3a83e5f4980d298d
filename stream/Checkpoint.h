// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "stream/ColumnSmoothing.h"

#include "volume/ImageConversion.h"

#include <optional>
#include <string>

namespace TEVRA::stream {

/// Where a run that may be killed keeps what the next one can go on with.
struct SCheckpointFiles {
    std::string record;      ///< small, written once the smoothing is finished
    std::string scratch;     ///< the smoothed slices
    std::string fingerprint; ///< of all that these depend on, in one line
};

/// The finished smoothing of one process.
struct SSmoothed {
    volume::SValueRange range; ///< of the file's values, of all processes
    SExtent extent;            ///< of the smoothed values, of all processes
};

/// The record of a finished smoothing.
class CCheckpoint {
  public:
    enum class EState {
        absent,  ///< there is none
        other,   ///< of other input, parameters, processes or version, or damaged: of no use
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
    /// Removes record and slices: they are no longer needed.
    void Remove();

  private:
    SCheckpointFiles m_files;
    EState m_state = EState::absent;
    SSmoothed m_smoothed{};
};

} // namespace TEVRA::stream
