// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2core/ValueMap.h"

#include "zeklib2core/Exception.h"

#include <algorithm>

namespace TEVRA {
namespace {

constexpr char PATH_SEPARATOR = '/';
constexpr const char* INTERFACE_KEY = "interface";

} // namespace

CValueMap::CValueMap() = default;

CValueMap::CValueMap(const CValueMap& other) : CValue() { // NOLINT(readability-redundant-member-init)
    Copy(other, eTfShare, true);
}

CValueMap& CValueMap::operator=(const CValueMap& other) {
    Copy(other, eTfShare, true);
    return *this;
}

CValueMap::~CValueMap() = default;

CValueMap::const_iterator CValueMap::Find(const CValue_Key& key) const {
    const auto found = m_index.find(key);
    return found == m_index.end() ? end() : const_iterator(found->second);
}

const CValue* CValueMap::find_value(const CValue_Key& key) const {
    const auto found = m_index.find(key);
    if (found != m_index.end()) {
        return found->second->value.get();
    }
    const std::string& name = key.Name();
    const std::size_t separator = name.find(PATH_SEPARATOR);
    if (separator == std::string::npos) {
        return nullptr;
    }
    const CValue* next = find_value(name.substr(0, separator).c_str());
    if (next == nullptr || next->GenericType() != eMap) {
        return nullptr;
    }
    return next->Map().find_value(name.substr(separator + 1).c_str());
}

CValueMap::SPlace CValueMap::resolve(const CValue_Key& key, bool create) {
    const std::string& name = key.Name();
    const std::size_t separator = name.find(PATH_SEPARATOR);
    if (separator == std::string::npos || m_index.contains(key)) {
        return {this, key};
    }
    const std::string first = name.substr(0, separator);
    CValue* next = Entry(first.c_str(), create);
    if (next == nullptr) {
        return {nullptr, key};
    }
    if (next->GenericType() != eMap) {
        if (create) {
            throw CExBadType(
                TEVRA_LOCATION("host/zeklib2core/ValueMap", "TEVRA::CValueMap::SetEntry", __LINE__), next);
        }
        return {nullptr, key};
    }
    return next->Map().resolve(name.substr(separator + 1).c_str(), create);
}

const CValue* CValueMap::Entry(const CValue_Key& key, bool /*create*/) const {
    return find_value(key);
}

CValue* CValueMap::Entry(const CValue_Key& key, bool create) {
    const SPlace place = resolve(key, create);
    if (place.map == nullptr) {
        return nullptr;
    }
    const auto found = place.map->m_index.find(place.key);
    if (found != place.map->m_index.end()) {
        return found->second->value.get();
    }
    if (!create) {
        return nullptr;
    }
    auto fresh = std::make_unique<CValueMap>();
    CValueMap* map = fresh.get();
    place.map->SetEntry(place.key, fresh.release());
    return map;
}

void CValueMap::SetEntry(const CValue_Key& key, CValue* value) {
    std::unique_ptr<CValue> owned(value);
    if (!owned) {
        throw CExBadParam(TEVRA_LOCATION("host/zeklib2core/ValueMap", "TEVRA::CValueMap::SetEntry", __LINE__),
                          "A value map holds no null values.");
    }
    const SPlace place = resolve(key, true);
    CValueMap& map = *place.map;
    const auto found = map.m_index.find(place.key);
    if (found != map.m_index.end()) {
        found->second->value = std::move(owned);
        return;
    }
    map.m_entries.push_back({place.key, std::move(owned)});
    try {
        map.m_index.emplace(place.key, std::prev(map.m_entries.end()));
    } catch (...) {
        map.m_entries.pop_back();
        throw;
    }
}

CValue* CValueMap::Detach(const CValue_Key& key) {
    const SPlace place = resolve(key, false);
    if (place.map == nullptr) {
        return nullptr;
    }
    const auto found = place.map->m_index.find(place.key);
    if (found == place.map->m_index.end()) {
        return nullptr;
    }
    CValue* value = found->second->value.release();
    place.map->m_entries.erase(found->second);
    place.map->m_index.erase(found);
    return value;
}

bool CValueMap::HasEntry(const CValue_Key& key) const {
    return find_value(key) != nullptr;
}

bool CValueMap::HasEntry(const CValue_Key& key, EnValType kind) const {
    const CValue* value = find_value(key);
    return value != nullptr && value->GenericType() == kind;
}

bool CValueMap::HasEntry(const CValue_Key& key, const std::type_info& type) const {
    const CValue* value = find_value(key);
    return value != nullptr && (value->Type() == type || value->ElementType() == type);
}

bool CValueMap::RemoveEntry(const CValue_Key& key) {
    const std::unique_ptr<CValue> removed(Detach(key));
    return removed != nullptr;
}

bool CValueMap::IsSubset(const CValueMap& other) const {
    return std::all_of(m_entries.begin(), m_entries.end(), [&other](const SEntry& entry) {
        const const_iterator found = other.Find(entry.key);
        return found != other.end() && entry.value->EqualData(*found.Value());
    });
}

std::vector<CValue_Key> CValueMap::Keys() const {
    std::vector<CValue_Key> keys;
    keys.reserve(m_entries.size());
    for (const SEntry& entry : m_entries) {
        keys.push_back(entry.key);
    }
    return keys;
}

void CValueMap::Merge(const CValueMap& other) {
    // All copies first: the other map may be a part of this one that is about to be replaced.
    CValueMap copy;
    copy.CopyData(other, eTfShare);
    for (SEntry& entry : copy.m_entries) {
        SetEntry(entry.key, entry.value.release());
    }
}

void CValueMap::Clear() {
    m_index.clear();
    m_entries.clear();
}

bool CValueMap::TestInterface(const CString& name) const {
    const CValue* declared = Meta().Entry(INTERFACE_KEY);
    return declared != nullptr && declared->GenericType() == eString && declared->String() == name;
}

bool CValueMap::EqualData(const CValue& other) const {
    return other.GenericType() == eMap && other.Map().Size() == Size() && IsSubset(other.Map());
}

CValueMap* CValueMap::Clone(EnTfOwnership ownership) const {
    auto copy = std::make_unique<CValueMap>();
    copy->Copy(*this, ownership, true);
    return copy.release();
}

void CValueMap::CopyData(const CValue& other, EnTfOwnership ownership) {
    CValueMap copy;
    for (const SEntry& entry : other.Map().m_entries) {
        copy.SetEntry(entry.key, entry.value->Clone(ownership));
    }
    MoveData(copy);
}

void CValueMap::MoveData(CValue& other) {
    CValueMap& source = other.Map();
    // Splicing keeps the iterators in the index valid.
    Entries entries;
    entries.splice(entries.begin(), source.m_entries);
    auto index = std::move(source.m_index);
    source.m_index.clear();
    m_index.clear();
    m_entries.clear();
    m_entries.splice(m_entries.begin(), entries);
    m_index = std::move(index);
}

} // namespace TEVRA
