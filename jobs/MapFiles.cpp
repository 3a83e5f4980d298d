// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/MapFiles.h"

namespace TEVRA::jobs {

void CMapFiles::Create(const SPaths& paths, const volume::SMetaImageHeader& header) {
    for (const std::string& path : {paths.theta, paths.phi, paths.confidence}) {
        if (!path.empty()) {
            volume::CMetaImageParts::Create(path, header);
        }
    }
}

CMapFiles::CMapFiles(const SPaths& paths, const volume::SMetaImageHeader& header)
    : m_theta(paths.theta, header) {
    if (!paths.phi.empty()) {
        m_phi = std::make_unique<volume::CMetaImageParts>(paths.phi, header);
    }
    if (!paths.confidence.empty()) {
        m_confidence = std::make_unique<volume::CMetaImageParts>(paths.confidence, header);
    }
}

void CMapFiles::TakeAngles(const stream::SFoundSlices& found) {
    const stream::SSliceRange& slices = found.slices;
    m_theta.WriteSlices(slices.first, slices.Count(), found.theta);
    if (m_phi) {
        m_phi->WriteSlices(slices.first, slices.Count(), found.phi);
    }
    if (m_confidence) {
        m_confidence->WriteSlices(slices.first, slices.Count(), found.confidence);
    }
}

void CMapFiles::Close() {
    m_theta.Close();
    for (const auto* const map : {&m_phi, &m_confidence}) {
        if (*map) {
            (*map)->Close();
        }
    }
}

} // namespace TEVRA::jobs
