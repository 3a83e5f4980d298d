// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <variant>

namespace TEVRA {

/// Key of a value map or vector: a name, an index, or one of the host's reserved keys. Keys of different
/// kinds are never equal: the name "0" is not the index 0.
class CValue_Key {
  public:
    /// The host's reserved keys.
    enum EnFixedKey { eKeyFirst, eKeyLast };

    CValue_Key(const char* name); // NOLINT(google-explicit-constructor): keys are written as literals
    CValue_Key(int index);
    CValue_Key(long long index);
    CValue_Key(unsigned long long index);
    CValue_Key(EnFixedKey key);

    bool IsName() const noexcept { return std::holds_alternative<std::string>(m_key); }
    bool IsIndex() const noexcept { return std::holds_alternative<unsigned long long>(m_key); }
    /// The name; empty for other keys.
    const std::string& Name() const noexcept;
    /// The index; 0 for other keys.
    unsigned long long Index() const noexcept;
    /// True for the given reserved key.
    bool Is(EnFixedKey key) const noexcept;
    /// The name, or the index in decimal digits, or a reserved key's name in angle brackets.
    std::string ToString() const;

    friend bool operator==(const CValue_Key& a, const CValue_Key& b) { return a.m_key == b.m_key; }

    struct Hash {
        std::size_t operator()(const CValue_Key& key) const noexcept;
    };

  private:
    std::variant<std::string, unsigned long long, EnFixedKey> m_key;
};

} // namespace TEVRA
