// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <exception>
#include <stdexcept>
#include <string>

namespace TEVRA::python {

/// An argument is wrong: ValueError with its name before the text.
class CArgumentError : public std::runtime_error {
  public:
    CArgumentError(const std::string& argument, const std::string& text)
        : std::runtime_error(argument + ": " + text) {}
};

/// The caller's progress function has returned False: tevra.Cancelled.
class CCancelledError : public std::runtime_error {
  public:
    CCancelledError() : std::runtime_error("cancelled by the progress function") {}
};

/// A Python exception on its way through the library, which must not take it for a failure of its own: it is
/// no std::exception.
class CPythonStop {
  public:
    explicit CPythonStop(std::exception_ptr reason) : m_reason(std::move(reason)) {}
    [[noreturn]] void Rethrow() const { std::rethrow_exception(m_reason); }

  private:
    std::exception_ptr m_reason;
};

} // namespace TEVRA::python
