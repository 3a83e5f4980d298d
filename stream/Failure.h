// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "volume/Failure.h"

namespace TEVRA::stream {

/// No plan fits into the memory that is allowed: more of it, fewer threads or larger subfields are needed. The
/// message says how much.
class CMemoryLimitError : public volume::CEnvironmentError {
  public:
    using CEnvironmentError::CEnvironmentError;
};

/// Smoothed slices cannot be kept: another folder for them or more memory is needed. The message says why.
class CScratchError : public volume::CEnvironmentError {
  public:
    using CEnvironmentError::CEnvironmentError;
};

/// No pixel of the image is finite. All processes throw it together.
class CNoFiniteValueError : public volume::CInputError {
  public:
    using CInputError::CInputError;
};

} // namespace TEVRA::stream
