// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2core/Object.h"

#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <vector>

/// The location record of a throw site: SOURCE is the source file's path without its ending, FUNCTION the
/// fully qualified function name.
#define TEVRA_LOCATION(SOURCE, FUNCTION, LINE)                                                               \
    ::TEVRA::Impl::StExLocation {                                                                            \
        __DATE__ "-" __TIME__, (SOURCE), (FUNCTION), static_cast<std::int32_t>(LINE), nullptr                \
    }

namespace TEVRA {

class CValue;

namespace Impl {

/// The place an exception was thrown from. All texts are literals of the throwing source file.
struct StExLocation {
    const char* buildStamp = nullptr; ///< Date and time of compilation, "Feb  3 2016-19:04:44".
    const char* sourceFile = nullptr;
    const char* function = nullptr;
    std::int32_t line = 0;
    const void* reserved = nullptr;
};

} // namespace Impl

/// Base of the host's exceptions: a message and the place it was thrown from.
///
/// Holds its own copies of all texts. Copies of an exception share them, so that copying, which a throw may
/// do any number of times, cannot fail.
class CException : public IVectorizable, public std::exception {
  public:
    CException(const Impl::StExLocation& location, const char* message);
    /// For reports without a location record: who reports, what happened and, if known, where (may be null).
    CException(const char* source, const char* message, const char* function);
    CException(const CException&) noexcept = default;
    CException& operator=(const CException&) noexcept = default;
    ~CException() override;

    /// The message.
    const char* what() const noexcept override { return m_report->message.c_str(); }
    const std::string& Message() const noexcept { return m_report->message; }
    /// The throwing source file, or the reporter given instead of a location.
    const std::string& Source() const noexcept { return m_report->source; }
    /// The fully qualified name of the throwing function; empty if not known.
    const std::string& Function() const noexcept { return m_report->function; }
    /// The source line of the throw; 0 if not known.
    std::int32_t Line() const noexcept { return m_report->line; }
    /// When the throwing source file was compiled; empty if not known.
    const std::string& BuildStamp() const noexcept { return m_report->buildStamp; }

    /// Message, source, function, line and build stamp, in this order.
    std::vector<std::string> Vectorize() const override;

  private:
    struct SReport {
        std::string message;
        std::string source;
        std::string function;
        std::string buildStamp;
        std::int32_t line = 0;
    };

    std::shared_ptr<const SReport> m_report;
};

/// A caller passed a bad parameter value.
class CExBadParam : public CException {
  public:
    CExBadParam(const Impl::StExLocation& location, const char* message);
    CExBadParam(const CExBadParam&) noexcept = default;
    CExBadParam& operator=(const CExBadParam&) noexcept = default;
    ~CExBadParam() override;
};

/// A value had the wrong type; the message names the type.
class CExBadType : public CException {
  public:
    /// @param value the offending value, null if there was none.
    CExBadType(const Impl::StExLocation& location, const CValue* value);
    CExBadType(const CExBadType&) noexcept = default;
    CExBadType& operator=(const CExBadType&) noexcept = default;
    ~CExBadType() override;
};

} // namespace TEVRA
