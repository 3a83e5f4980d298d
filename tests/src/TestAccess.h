// SPDX-License-Identifier: BSD-3-Clause
#pragma once

namespace TEVRA {

/// Declared a friend by classes whose edge cases lie behind private members. Grows one static function per
/// member that a test needs.
struct CTestAccess;

} // namespace TEVRA
