// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2core/Value.h"

namespace TEVRA {

/// A number in double precision.
class CValueDouble : public CValue {
  public:
    explicit CValueDouble(double value);

    const std::type_info& ElementType() const noexcept override { return typeid(double); }
    EnValType GenericType() const noexcept override { return eDouble; }
    bool EqualData(const CValue& other) const override;
    CValueDouble* Clone(EnTfOwnership ownership) const override;

  private:
    friend class CValue;
    void CopyData(const CValue& other, EnTfOwnership ownership) override;
    void MoveData(CValue& other) override;

    double m_value;
};

/// A 32-bit signed whole number; a wider argument keeps its lower 32 bits.
class CValueLong : public CValue {
  public:
    explicit CValueLong(long value);

    const std::type_info& ElementType() const noexcept override { return typeid(std::int32_t); }
    EnValType GenericType() const noexcept override { return eLong; }
    bool EqualData(const CValue& other) const override;
    CValueLong* Clone(EnTfOwnership ownership) const override;

  private:
    friend class CValue;
    void CopyData(const CValue& other, EnTfOwnership ownership) override;
    void MoveData(CValue& other) override;

    std::int32_t m_value;
};

class CValueBool : public CValue {
  public:
    explicit CValueBool(bool value);

    const std::type_info& ElementType() const noexcept override { return typeid(bool); }
    EnValType GenericType() const noexcept override { return eBool; }
    bool EqualData(const CValue& other) const override;
    CValueBool* Clone(EnTfOwnership ownership) const override;

  private:
    friend class CValue;
    void CopyData(const CValue& other, EnTfOwnership ownership) override;
    void MoveData(CValue& other) override;

    bool m_value;
};

class CValueString : public CValue {
  public:
    /// @param length number of characters, CString::NPOS for up to the terminating null.
    CValueString(const char* text, std::size_t length);

    const std::type_info& ElementType() const noexcept override { return typeid(CString); }
    EnValType GenericType() const noexcept override { return eString; }
    bool EqualData(const CValue& other) const override;
    CValueString* Clone(EnTfOwnership ownership) const override;

  private:
    friend class CValue;
    void CopyData(const CValue& other, EnTfOwnership ownership) override;
    void MoveData(CValue& other) override;

    CString m_value;
};

} // namespace TEVRA
