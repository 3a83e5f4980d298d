// SPDX-License-Identifier: BSD-3-Clause
#include "stream/KeptVolumes.h"

namespace TEVRA::stream {

CKeptVolumes::CKeptVolumes(CCheckpoint* checkpoint, ICommunicator& ranks) : m_checkpoint(checkpoint) {
    const bool isReusable = checkpoint != nullptr && checkpoint->State() == CCheckpoint::EState::reusable;
    m_areReused = ranks.Smallest(isReusable ? 1.0 : 0.0) > 0.0;
    if (checkpoint != nullptr && !m_areReused) {
        checkpoint->Discard();
    }
}

CKeptVolumes::~CKeptVolumes() {
    if (m_checkpoint != nullptr && !m_areKept) {
        m_checkpoint->Remove();
    }
}

SScratchPlace CKeptVolumes::Place(const SScratchPlace& otherwise) const {
    SScratchPlace place = otherwise;
    if (m_checkpoint != nullptr) {
        place.file = m_checkpoint->Slices();
        place.content = m_areReused ? SScratchPlace::EContent::reused : SScratchPlace::EContent::made;
    }
    return place;
}

const SSmoothed& CKeptVolumes::Found() {
    m_areKept = true;
    return m_checkpoint->Smoothed();
}

void CKeptVolumes::Keep(CScratchStore& store, const SSmoothed& found) {
    if (m_checkpoint != nullptr) {
        store.Sync();
        m_checkpoint->Save(found);
        m_areKept = true;
    }
}

} // namespace TEVRA::stream
