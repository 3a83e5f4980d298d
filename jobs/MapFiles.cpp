// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/MapFiles.h"

namespace TEVRA::jobs {

void CMapFiles::Create(const SPaths& paths, const volume::SMetaImageHeader& header) {
    volume::CMetaImageParts::Create(paths.theta, header);
    if (!paths.phi.empty()) {
        volume::CMetaImageParts::Create(paths.phi, header);
    }
}

CMapFiles::CMapFiles(const SPaths& paths, const volume::SMetaImageHeader& header)
    : m_theta(paths.theta, header),
      m_phi(paths.phi.empty() ? nullptr : std::make_unique<volume::CMetaImageParts>(paths.phi, header)) {}

void CMapFiles::TakeAngles(const stream::SFoundSlices& found) {
    const stream::SSliceRange& slices = found.slices;
    m_theta.WriteSlices(slices.first, slices.Count(), found.theta);
    if (m_phi) {
        m_phi->WriteSlices(slices.first, slices.Count(), found.phi);
    }
}

void CMapFiles::Close() {
    m_theta.Close();
    if (m_phi) {
        m_phi->Close();
    }
}

} // namespace TEVRA::jobs
