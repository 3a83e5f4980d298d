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

// NOLINTBEGIN(bugprone-throw-keyword-missing): the record is a part of the exception, not one itself
CException::CException(const Impl::StExLocation& location, const char* message)
    : m_report(std::make_shared<SReport>(SReport{text_or_empty(message), text_or_empty(location.sourceFile),
                                                 text_or_empty(location.function),
                                                 text_or_empty(location.buildStamp), location.line})) {}

CException::CException(const char* source, const char* message, const char* function)
    : m_report(std::make_shared<SReport>(
          SReport{text_or_empty(message), text_or_empty(source), text_or_empty(function), "", 0})) {}
// NOLINTEND(bugprone-throw-keyword-missing)

CException::~CException() = default;

std::vector<std::string> CException::Vectorize() const {
    return {Message(), Source(), Function(), std::to_string(Line()), BuildStamp()};
}

CExBadParam::CExBadParam(const Impl::StExLocation& location, const char* message)
    : CException(location, message) {}

CExBadParam::~CExBadParam() = default;

CExBadType::CExBadType(const Impl::StExLocation& location, const CValue* value)
    : CException(location, bad_type_message(value).c_str()) {}

CExBadType::~CExBadType() = default;

} // namespace TEVRA
