// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2core/Value.h"
#include "zeklib2core/ValueKey.h"

#include <vector>

namespace TEVRA {

/// An ordered list of owned values. Elements are addressed by index keys; the reserved keys name the first
/// and the last element.
class CValueVector : public CValue {
  public:
    CValueVector();
    /// The vector takes ownership of the values; none of them may be null.
    CValueVector(CValue* v0, CValue* v1);
    CValueVector(CValue* v0, CValue* v1, CValue* v2);
    CValueVector(CValue* v0, CValue* v1, CValue* v2, CValue* v3);
    ~CValueVector() override;

    /// Appends a value and takes ownership of it. @throws CExBadParam if it is null.
    void PushBack(CValue* value);
    /// The element, or null if there is none.
    CValue* Entry(const CValue_Key& key);
    const CValue* Entry(const CValue_Key& key) const;
    /// Replaces an element, or appends it at index `Size()`; takes ownership.
    /// @throws CExBadParam if the value is null or the key names no such place (the value is then deleted).
    void SetEntry(const CValue_Key& key, CValue* value);
    /// Removes an element and hands its value to the caller; null if there is none.
    CValue* Detach(const CValue_Key& key);
    bool HasEntry(const CValue_Key& key) const;
    /// Removes and deletes an element; false if there is none.
    bool RemoveEntry(const CValue_Key& key);
    /// The index of the first element with the same data, or CString::NPOS.
    std::size_t Find(const CValue& value) const;
    std::size_t Size() const noexcept { return m_values.size(); }

    const std::type_info& ElementType() const noexcept override { return typeid(CValue); }
    EnValType GenericType() const noexcept override { return eVector; }
    bool EqualData(const CValue& other) const override;
    CValueVector* Clone(EnTfOwnership ownership) const override;

  private:
    void CopyData(const CValue& other, EnTfOwnership ownership) override;
    void MoveData(CValue& other) override;
    std::size_t index_of(const CValue_Key& key) const;

    std::vector<std::unique_ptr<CValue>> m_values;
};

} // namespace TEVRA
