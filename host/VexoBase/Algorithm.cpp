// SPDX-License-Identifier: BSD-3-Clause
#include "VexoBase/Algorithm.h"

namespace TEVRA {

CAlgorithm::CAlgorithm(const char* name, const IObject* parent)
    : m_parent(parent), m_progress(CProgressMonitor::Obj()) {
    IObject::SetInstance(name);
}

CAlgorithm& CAlgorithm::operator=(const CAlgorithm& other) { // NOLINT(bugprone-unhandled-self-assignment)
    // The monitor is the host's one and only; there is nothing to assign.
    IObject::operator=(other);
    m_parent = other.m_parent;
    return *this;
}

CAlgorithm::~CAlgorithm() = default;

} // namespace TEVRA
