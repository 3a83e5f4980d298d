// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <stdexcept>

namespace TEVRA::volume {

/// The caller's input is wrong: a file's content, an option's value.
class CInputError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The input may be right, but the machine does not go along: a file cannot be opened, a disk is full.
class CEnvironmentError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

} // namespace TEVRA::volume
