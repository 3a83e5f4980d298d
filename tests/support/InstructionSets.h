// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Numeric/InstructionSet.h"

#include <algorithm>
#include <iterator>
#include <ostream>
#include <vector>

namespace TEVRA::Impl {

/// For GoogleTest.
inline void PrintTo(EInstructionSet set, std::ostream* out) {
    *out << NameOf(set);
}

} // namespace TEVRA::Impl

namespace TEVRA::test {

/// The instruction sets that this processor has; baseline is the first.
inline std::vector<Impl::EInstructionSet> SupportedInstructionSets() {
    std::vector<Impl::EInstructionSet> sets;
    std::copy_if(Impl::INSTRUCTION_SETS.begin(), Impl::INSTRUCTION_SETS.end(), std::back_inserter(sets),
                 Impl::IsSupported);
    return sets;
}

/// Host and library work with this instruction set while the scope lives.
class CInstructionSetScope {
  public:
    explicit CInstructionSetScope(Impl::EInstructionSet set) : m_previous(Impl::InstructionSetInUse()) {
        Impl::UseInstructionSet(set);
    }
    ~CInstructionSetScope() { Impl::UseInstructionSet(m_previous); }
    CInstructionSetScope(const CInstructionSetScope&) = delete;
    CInstructionSetScope& operator=(const CInstructionSetScope&) = delete;

  private:
    Impl::EInstructionSet m_previous;
};

} // namespace TEVRA::test
