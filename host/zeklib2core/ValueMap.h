// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2core/Value.h"
#include "zeklib2core/ValueKey.h"

#include <list>
#include <unordered_map>
#include <vector>

namespace TEVRA {

/// A map from keys to owned values that keeps the order in which keys were first set.
///
/// A named key may be a path: "Evaluated area/x0" names the entry "x0" of the map under "Evaluated area".
/// Index keys and reserved keys are ordinary keys here, different from all names.
class CValueMap : public CValue {
    struct SEntry {
        CValue_Key key;
        std::unique_ptr<CValue> value;
    };
    using Entries = std::list<SEntry>;

  public:
    class const_iterator {
      public:
        const_iterator& operator++() {
            ++m_at;
            return *this;
        }
        const CValue* Value() const { return m_at->value.get(); }
        const CValue_Key& Key() const { return m_at->key; }
        friend bool operator==(const const_iterator& a, const const_iterator& b) { return a.m_at == b.m_at; }

      private:
        friend class CValueMap;
        explicit const_iterator(Entries::const_iterator at) : m_at(at) {}
        Entries::const_iterator m_at;
    };

    CValueMap();
    CValueMap(const CValueMap& other);
    CValueMap& operator=(const CValueMap& other);
    ~CValueMap() override;

    /// The value under the key, or null. With `create` a missing entry is made as an empty map.
    CValue* Entry(const CValue_Key& key, bool create = false);
    /// The value under the key, or null; a constant map creates nothing.
    const CValue* Entry(const CValue_Key& key, bool create = false) const;
    /// Stores a value and takes ownership; an earlier value under the key is deleted and keeps its place in
    /// the order. The maps along a path are created where missing.
    /// @throws CExBadParam if the value is null; CExBadType if a path leads through something other than a
    ///         map. The value is deleted then.
    void SetEntry(const CValue_Key& key, CValue* value);
    /// Removes the entry and hands its value to the caller; null if there is none.
    CValue* Detach(const CValue_Key& key);
    bool HasEntry(const CValue_Key& key) const;
    bool HasEntry(const CValue_Key& key, EnValType kind) const;
    /// @param type the value's class, as in typeid(CValueDouble), or what it holds, as in typeid(double).
    bool HasEntry(const CValue_Key& key, const std::type_info& type) const;
    /// Removes and deletes the entry; false if there is none.
    bool RemoveEntry(const CValue_Key& key);
    bool IsEmpty() const noexcept { return m_entries.empty(); }
    /// True if every entry of this map stands with equal data in the other.
    bool IsSubset(const CValueMap& other) const;
    std::size_t Size() const noexcept { return m_entries.size(); }
    /// The keys in map order.
    std::vector<CValue_Key> Keys() const;
    /// Copies the other map's entries into this one. An entry under the same key is replaced, a map as a
    /// whole: nested maps are not merged.
    void Merge(const CValueMap& other);
    void Clear();
    /// The entry under the key (no path), or `end()`.
    const_iterator Find(const CValue_Key& key) const;
    /// True if the map declares the named interface: its metadata entry "interface" holds that name.
    bool TestInterface(const CString& name) const;

    const_iterator begin() const { return const_iterator(m_entries.begin()); }
    const_iterator end() const { return const_iterator(m_entries.end()); }

    const std::type_info& ElementType() const noexcept override { return typeid(CValue); }
    EnValType GenericType() const noexcept override { return eMap; }
    /// Same keys with equal data; the order does not matter.
    bool EqualData(const CValue& other) const override;
    CValueMap* Clone(EnTfOwnership ownership) const override;

  private:
    void CopyData(const CValue& other, EnTfOwnership ownership) override;
    void MoveData(CValue& other) override;
    const CValue* find_value(const CValue_Key& key) const;
    /// The map that directly holds the last name of a path, and that name; null where the path breaks off.
    struct SPlace {
        CValueMap* map = nullptr;
        CValue_Key key;
    };
    SPlace resolve(const CValue_Key& key, bool create);

    Entries m_entries;
    std::unordered_map<CValue_Key, Entries::iterator, CValue_Key::Hash> m_index;
};

} // namespace TEVRA
