// SPDX-License-Identifier: BSD-3-Clause
#include "VexoBase/Cancellation.h"

#include "VexoBase/ProgressMonitor.h"

namespace TEVRA {

void GoOnOrThrow() {
    if (CProgressMonitor::Obj().CancelRequested()) {
        throw CCancelled();
    }
}

} // namespace TEVRA
