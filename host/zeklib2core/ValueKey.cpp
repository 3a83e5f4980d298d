// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2core/ValueKey.h"

namespace TEVRA {

CValue_Key::CValue_Key(const char* name) : m_key(std::string(name == nullptr ? "" : name)) {}

CValue_Key::CValue_Key(int index) : m_key(static_cast<unsigned long long>(index)) {}

CValue_Key::CValue_Key(long long index) : m_key(static_cast<unsigned long long>(index)) {}

CValue_Key::CValue_Key(unsigned long long index) : m_key(index) {}

CValue_Key::CValue_Key(EnFixedKey key) : m_key(key) {}

const std::string& CValue_Key::Name() const noexcept {
    static const std::string empty;
    const std::string* name = std::get_if<std::string>(&m_key);
    return name == nullptr ? empty : *name;
}

unsigned long long CValue_Key::Index() const noexcept {
    const unsigned long long* index = std::get_if<unsigned long long>(&m_key);
    return index == nullptr ? 0 : *index;
}

bool CValue_Key::Is(EnFixedKey key) const noexcept {
    const EnFixedKey* fixed = std::get_if<EnFixedKey>(&m_key);
    return fixed != nullptr && *fixed == key;
}

std::string CValue_Key::ToString() const {
    if (IsName()) {
        return Name();
    }
    if (IsIndex()) {
        return std::to_string(static_cast<long long>(Index()));
    }
    return Is(eKeyFirst) ? "<first>" : "<last>";
}

std::size_t CValue_Key::Hash::operator()(const CValue_Key& key) const noexcept {
    return std::hash<std::variant<std::string, unsigned long long, EnFixedKey>>()(key.m_key);
}

} // namespace TEVRA
