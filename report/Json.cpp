// SPDX-License-Identifier: BSD-3-Clause
#include "report/Json.h"

#include "VexoBase/Cancellation.h"
#include "zeklib2core/ValueMap.h"
#include "zeklib2core/ValueVector.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <cstddef>
#include <utility>

namespace TEVRA::report {

namespace {

using Json = nlohmann::ordered_json;

constexpr int INDENT = 2;

/// Of a value that holds no others.
Json leaf_of(const CValue& value) {
    switch (value.GenericType()) {
    case CValue::eDouble:
        return std::isfinite(value.Double()) ? Json(value.Double()) : Json(nullptr);
    case CValue::eLong:
        return value.Long();
    case CValue::eBool:
        return value.Bool();
    case CValue::eString:
        return value.String().Text();
    case CValue::eMap:
    case CValue::eVector:
    case CValue::ePointer:
        break;
    }
    return nullptr;
}

/// Writes a tree as it walks along it. A tree of the JSON library in between would search all keys of an object for each
/// that is added, which takes minutes for 100000 subfields, and as much memory again.
class CTreeWriter {
  public:
    void Write(const CValue& value) {
        if (value.GenericType() == CValue::eMap) {
            write_map(value.Map());
        } else if (value.GenericType() == CValue::eVector) {
            write_vector(value.Vector());
        } else {
            m_text += ToLine(leaf_of(value));
        }
        m_polls.Add(1);
    }
    /// The text so far, with a line break at its end.
    std::string Take() { return std::move(m_text) + '\n'; }

  private:
    void write_map(const CValueMap& map) {
        begin('{');
        for (auto entry = map.begin(); !(entry == map.end()); ++entry) {
            begin_entry();
            m_text += ToLine(entry.Key().ToString()) + ": ";
            Write(*entry.Value());
        }
        end('}');
    }
    void write_vector(const CValueVector& vector) {
        begin('[');
        for (unsigned long long i = 0; i < vector.Size(); ++i) {
            begin_entry();
            Write(*vector.Entry(i));
        }
        end(']');
    }

    void begin(char bracket) {
        m_text += bracket;
        ++m_depth;
    }
    void begin_entry() {
        if (m_text.back() != '{' && m_text.back() != '[') {
            m_text += ',';
        }
        break_line();
    }
    void end(char bracket) {
        --m_depth;
        if (m_text.back() != '{' && m_text.back() != '[') {
            break_line();
        }
        m_text += bracket;
    }
    void break_line() { m_text.append(1, '\n').append(static_cast<std::size_t>(INDENT) * m_depth, ' '); }

    static constexpr long long VALUES_BETWEEN_POLLS = 1LL << 14U;
    std::string m_text;
    std::size_t m_depth = 0;
    CPolls m_polls{VALUES_BETWEEN_POLLS};
};

} // namespace

std::string ResultJson(const CValue& value) {
    CTreeWriter writer;
    writer.Write(value);
    return writer.Take();
}

std::string ToText(const Json& json) {
    return json.dump(INDENT, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string ToLine(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

} // namespace TEVRA::report
