// SPDX-License-Identifier: BSD-3-Clause
#pragma once

namespace TEVRA {

/// Instruction sets that the host's inner loops are compiled for, each containing the one before.
enum class EnInstructionSet {
    baseline, ///< what every processor of the architecture has
    avx2,
    avx512 ///< with the parts F, DQ, BW and VL
};

/// Which instruction set the host's inner loops use.
///
/// The best one that the processor has, unless the environment variable TEVRA_INSTRUCTION_SET names a lesser
/// one
/// ("baseline", "avx2" or "avx512"; anything else is ignored). Results never depend on it. An algorithm reads
/// the choice when it starts.
class CInstructionSet {
  public:
    static bool IsSupported(EnInstructionSet set) noexcept;
    static EnInstructionSet InUse() noexcept;
    /// @throws CExBadParam if the processor does not have it.
    static void Use(EnInstructionSet set);
    static const char* Name(EnInstructionSet set) noexcept;
};

} // namespace TEVRA
