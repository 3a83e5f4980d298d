// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2core/Exception.h"

#include "zeklib2core/Value.h"

namespace TEVRA {
namespace {

std::string text_or_empty(const char* text) {
    return text == nullptr ? std::string() : std::string(text);
}

std::string bad_type_message(const CValue* value) {
    return value == nullptr ? std::string("The value is missing.")
                            : std::string("The value is of the wrong type: ") +
                                  CValue::KindName(value->GenericType()) + ".";
}

} // namespace

CException::CException(const Impl::StExLocation& location, const char* message)
    : m_message(text_or_empty(message)), m_source(text_or_empty(location.sourceFile)),
      m_function(text_or_empty(location.function)), m_buildStamp(text_or_empty(location.buildStamp)),
      m_line(location.line) {}

CException::CException(const char* source, const char* message, const char* function)
    : m_message(text_or_empty(message)), m_source(text_or_empty(source)),
      m_function(text_or_empty(function)) {}

CException::~CException() = default;

std::vector<std::string> CException::Vectorize() const {
    return {m_message, m_source, m_function, std::to_string(m_line), m_buildStamp};
}

CExBadParam::CExBadParam(const Impl::StExLocation& location, const char* message)
    : CException(location, message) {}

CExBadParam::~CExBadParam() = default;

CExBadType::CExBadType(const Impl::StExLocation& location, const CValue* value)
    : CException(location, bad_type_message(value).c_str()) {}

CExBadType::~CExBadType() = default;

} // namespace TEVRA
