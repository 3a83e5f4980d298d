// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "stream/Checkpoint.h"
#include "stream/Communicator.h"
#include "stream/ScratchStore.h"

namespace TEVRA::stream {

/// The scratch volumes of a run as far as another run may go on with them: those of an earlier one that are
/// used again, or those of this one, kept for a later one.
class CKeptVolumes {
  public:
    /// Volumes of an earlier run that are not used again are removed: their room is about to be taken anew.
    /// @param checkpoint null if nothing is kept; else outlives the object.
    CKeptVolumes(CCheckpoint* checkpoint, ICommunicator& ranks);
    /// What is left of unfinished volumes is of no use to anybody.
    ~CKeptVolumes();
    CKeptVolumes(const CKeptVolumes&) = delete;
    CKeptVolumes& operator=(const CKeptVolumes&) = delete;

    /// Whether all processes have the finished volumes of an earlier run.
    bool AreReused() const noexcept { return m_areReused; }
    /// Where the volumes lie, given where they would lie if nothing was kept.
    SScratchPlace Place(const SScratchPlace& otherwise) const;
    /// What the earlier run has found; to be called if its volumes are reused.
    const SSmoothed& Found();
    /// Keeps finished volumes for a later run, should this one be killed.
    void Keep(CScratchStore& store, const SSmoothed& found);

  private:
    CCheckpoint* m_checkpoint;
    bool m_areReused;
    bool m_areKept = false; // those of this run, or of an earlier one
};

} // namespace TEVRA::stream
