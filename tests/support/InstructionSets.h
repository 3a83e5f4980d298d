// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "VexoBase/InstructionSet.h"

#include <vector>

namespace TEVRA::test {

/// The instruction sets that this processor has; baseline is the first.
inline std::vector<EnInstructionSet> SupportedInstructionSets() {
    std::vector<EnInstructionSet> sets;
    for (const auto set : {EnInstructionSet::baseline, EnInstructionSet::avx2, EnInstructionSet::avx512}) {
        if (CInstructionSet::IsSupported(set)) {
            sets.push_back(set);
        }
    }
    return sets;
}

/// The host works with this instruction set while the scope lives.
class CInstructionSetScope {
  public:
    explicit CInstructionSetScope(EnInstructionSet set) : m_previous(CInstructionSet::InUse()) {
        CInstructionSet::Use(set);
    }
    ~CInstructionSetScope() { CInstructionSet::Use(m_previous); }
    CInstructionSetScope(const CInstructionSetScope&) = delete;
    CInstructionSetScope& operator=(const CInstructionSetScope&) = delete;

  private:
    EnInstructionSet m_previous;
};

} // namespace TEVRA::test
