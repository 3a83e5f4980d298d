// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2core/ValueVector.h"

#include "zeklib2core/Exception.h"

#include <algorithm>
#include <array>

namespace TEVRA {

CValueVector::CValueVector() = default;

CValueVector::CValueVector(CValue* v0, CValue* v1) {
    std::array<std::unique_ptr<CValue>, 2> owned{std::unique_ptr<CValue>(v0), std::unique_ptr<CValue>(v1)};
    for (auto& value : owned) {
        PushBack(value.release());
    }
}

CValueVector::CValueVector(CValue* v0, CValue* v1, CValue* v2) {
    std::array<std::unique_ptr<CValue>, 3> owned{std::unique_ptr<CValue>(v0), std::unique_ptr<CValue>(v1),
                                                 std::unique_ptr<CValue>(v2)};
    for (auto& value : owned) {
        PushBack(value.release());
    }
}

CValueVector::CValueVector(CValue* v0, CValue* v1, CValue* v2, CValue* v3) {
    std::array<std::unique_ptr<CValue>, 4> owned{std::unique_ptr<CValue>(v0), std::unique_ptr<CValue>(v1),
                                                 std::unique_ptr<CValue>(v2), std::unique_ptr<CValue>(v3)};
    for (auto& value : owned) {
        PushBack(value.release());
    }
}

CValueVector::~CValueVector() = default;

void CValueVector::PushBack(CValue* value) {
    SetEntry(static_cast<unsigned long long>(m_values.size()), value);
}

std::size_t CValueVector::index_of(const CValue_Key& key) const {
    if (key.IsIndex()) {
        return static_cast<std::size_t>(key.Index());
    }
    if (key.Is(CValue_Key::eKeyFirst)) {
        return 0;
    }
    if (key.Is(CValue_Key::eKeyLast) && !m_values.empty()) {
        return m_values.size() - 1;
    }
    return CString::NPOS;
}

const CValue* CValueVector::Entry(const CValue_Key& key) const {
    const std::size_t index = index_of(key);
    return index < m_values.size() ? m_values[index].get() : nullptr;
}

CValue* CValueVector::Entry(const CValue_Key& key) {
    const std::size_t index = index_of(key);
    return index < m_values.size() ? m_values[index].get() : nullptr;
}

void CValueVector::SetEntry(const CValue_Key& key, CValue* value) {
    constexpr const char* function = "TEVRA::CValueVector::SetEntry";
    std::unique_ptr<CValue> owned(value);
    if (!owned) {
        throw CExBadParam(TEVRA_LOCATION("host/zeklib2core/ValueVector", function, __LINE__),
                          "A value vector holds no null values.");
    }
    const std::size_t index = index_of(key);
    if (index > m_values.size()) {
        CString message("A value vector of %1 elements has no place '%2'.", CString::eEncodingUtf8);
        message.Arg(static_cast<long long>(m_values.size()), 0).Arg(key.ToString());
        throw CExBadParam(TEVRA_LOCATION("host/zeklib2core/ValueVector", function, __LINE__),
                          message.c_str());
    }
    if (index == m_values.size()) {
        m_values.push_back(std::move(owned));
    } else {
        m_values[index] = std::move(owned);
    }
}

CValue* CValueVector::Detach(const CValue_Key& key) {
    const std::size_t index = index_of(key);
    if (index >= m_values.size()) {
        return nullptr;
    }
    CValue* value = m_values[index].release();
    m_values.erase(m_values.begin() + static_cast<std::ptrdiff_t>(index));
    return value;
}

bool CValueVector::HasEntry(const CValue_Key& key) const {
    return index_of(key) < m_values.size();
}

bool CValueVector::RemoveEntry(const CValue_Key& key) {
    const std::unique_ptr<CValue> removed(Detach(key));
    return removed != nullptr;
}

std::size_t CValueVector::Find(const CValue& value) const {
    const auto found = std::find_if(m_values.begin(), m_values.end(),
                                    [&value](const auto& element) { return element->EqualData(value); });
    return found == m_values.end() ? CString::NPOS : static_cast<std::size_t>(found - m_values.begin());
}

bool CValueVector::EqualData(const CValue& other) const {
    if (other.GenericType() != eVector) {
        return false;
    }
    const auto& values = other.Vector().m_values;
    return std::equal(m_values.begin(), m_values.end(), values.begin(), values.end(),
                      [](const auto& a, const auto& b) { return a->EqualData(*b); });
}

CValueVector* CValueVector::Clone(EnTfOwnership ownership) const {
    auto copy = std::make_unique<CValueVector>();
    copy->Copy(*this, ownership, true);
    return copy.release();
}

void CValueVector::CopyData(const CValue& other, EnTfOwnership ownership) {
    std::vector<std::unique_ptr<CValue>> values;
    values.reserve(other.Vector().m_values.size());
    for (const auto& value : other.Vector().m_values) {
        values.emplace_back(value->Clone(ownership));
    }
    m_values.swap(values);
}

void CValueVector::MoveData(CValue& other) {
    std::vector<std::unique_ptr<CValue>> values;
    values.swap(other.Vector().m_values);
    m_values.swap(values);
}

} // namespace TEVRA
