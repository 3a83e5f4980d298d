// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2core/String.h"

#include <cstdint>
#include <memory>
#include <typeinfo>

namespace TEVRA {

class CValueMap;
class CValueVector;
class CValuePointerBase;

/// Who owns an object that a copied pointer value refers to.
enum EnTfOwnership {
    eTfShare = 0 ///< The source keeps it: a copy refers to the same object and never deletes it.
};

/// Abstract base of the host's dynamically typed values.
///
/// The typed accessors answer for a value of that kind only; on any other kind they throw CExBadType.
class CValue {
  public:
    /// The generic kind of a value.
    enum EnValType { eDouble, eLong, eBool, eString, eMap, eVector, ePointer };

    virtual ~CValue();
    CValue(const CValue&) = delete;
    CValue& operator=(const CValue&) = delete;

    /// The value's own class, as in typeid(CValueDouble).
    const std::type_info& Type() const noexcept { return typeid(*this); }
    /// The type of what it holds, as in typeid(double); for pointers that of the object pointed to.
    virtual const std::type_info& ElementType() const noexcept = 0;
    virtual EnValType GenericType() const noexcept = 0;
    /// "double", "long", "bool", "string", "map", "vector" or "pointer".
    static const char* KindName(EnValType kind) noexcept;

    double Double() const;
    double& Double();
    std::int32_t Long() const;
    std::int32_t& Long();
    bool Bool() const;
    bool& Bool();
    const CString& String() const;
    CString& String();
    const CValueMap& Map() const;
    CValueMap& Map();
    const CValueVector& Vector() const;
    CValueVector& Vector();
    const CValuePointerBase& Pointer() const;
    CValuePointerBase& Pointer();
    /// The address a pointer value holds.
    const void* VoidPointer() const;
    void* VoidPointer();
    /// Sets the text of a string value; a length of CString::NPOS means up to the terminating null.
    void SetString(const char* text, std::size_t length);

    /// The value's own metadata, created empty on first use.
    CValueMap& Meta();
    /// The metadata, or an empty map if there is none.
    const CValueMap& Meta() const;

    /// False for a pointer value that holds no object.
    virtual bool IsValid() const noexcept { return true; }
    /// True for a value that refers to an object it does not own.
    virtual bool IsLink() const noexcept { return false; }

    /// Same kind, same data and same metadata.
    bool Equal(const CValue& other) const;
    /// Same kind and same data. As with numbers, NaN equals nothing.
    virtual bool EqualData(const CValue& other) const = 0;

    /// A new value with the same data and metadata, owned by the caller.
    virtual CValue* Clone(EnTfOwnership ownership) const = 0;
    /// Takes over the other value's data and, if asked, its metadata. The other value may be a part of this
    /// one. @throws CExBadType on another kind (for pointers: on another class of objects).
    void Copy(const CValue& other, EnTfOwnership ownership, bool withMeta);
    /// Takes over the other value's data and metadata and leaves it empty. The other value may be a part of
    /// this one, which then deletes it; it must not contain this one. @throws as Copy.
    void Move(CValue& other);
    /// Adds the other value's metadata to its own, replacing entries under the same key; with `clear` its own
    /// metadata is dropped before.
    void CopyMeta(const CValue& other, EnTfOwnership ownership, bool clear);

  protected:
    CValue();

    /// True if the other value's data fits into this one.
    virtual bool Accepts(const CValue& other) const { return other.GenericType() == GenericType(); }
    /// Takes data of a value that this one accepts; `Copy` and `Move` have checked that. The other value may
    /// be a part of this one.
    virtual void CopyData(const CValue& other, EnTfOwnership ownership) = 0;
    virtual void MoveData(CValue& other) = 0;

  private:
    void require(EnValType kind, const char* function) const;
    /// A copy of the metadata; null if there is none.
    std::unique_ptr<CValueMap> clone_meta(EnTfOwnership ownership) const;

    std::unique_ptr<CValueMap> m_meta;
};

} // namespace TEVRA
