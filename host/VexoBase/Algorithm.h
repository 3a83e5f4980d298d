// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "VexoBase/ProgressMonitor.h"
#include "zeklib2core/Object.h"

namespace TEVRA {

/// Base of every algorithm: a named object with a parent and the host's progress monitor.
class CAlgorithm : public IObject {
  public:
    /// @param name instance name, null for none. @param parent may be null; must outlive the algorithm.
    CAlgorithm(const char* name, const IObject* parent);
    CAlgorithm(const CAlgorithm&) = default;
    CAlgorithm& operator=(const CAlgorithm& other);
    ~CAlgorithm() override;

    const IObject* Parent() const noexcept { return m_parent; }

  protected:
    IProgressMonitor& Progress() const noexcept { return m_progress; }

  private:
    const IObject* m_parent;
    IProgressMonitor& m_progress;
};

} // namespace TEVRA
