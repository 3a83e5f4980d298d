// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2core/Value.h"

#include "zeklib2core/Exception.h"
#include "zeklib2core/ValueLeaf.h"
#include "zeklib2core/ValueMap.h"
#include "zeklib2core/ValuePointer.h"
#include "zeklib2core/ValueVector.h"

namespace TEVRA {
namespace {

constexpr const char* SOURCE = "host/zeklib2core/Value";

} // namespace

CValue::CValue() = default;

CValue::~CValue() = default;

const char* CValue::KindName(EnValType kind) noexcept {
    switch (kind) {
    case eDouble:
        return "double";
    case eLong:
        return "long";
    case eBool:
        return "bool";
    case eString:
        return "string";
    case eMap:
        return "map";
    case eVector:
        return "vector";
    case ePointer:
        return "pointer";
    }
    return "unknown";
}

void CValue::require(EnValType kind, const char* function) const {
    if (GenericType() != kind) {
        throw CExBadType(TEVRA_LOCATION(SOURCE, function, __LINE__), this);
    }
}

double CValue::Double() const {
    require(eDouble, "TEVRA::CValue::Double");
    return static_cast<const CValueDouble&>(*this).m_value;
}

double& CValue::Double() {
    require(eDouble, "TEVRA::CValue::Double");
    return static_cast<CValueDouble&>(*this).m_value;
}

std::int32_t CValue::Long() const {
    require(eLong, "TEVRA::CValue::Long");
    return static_cast<const CValueLong&>(*this).m_value;
}

std::int32_t& CValue::Long() {
    require(eLong, "TEVRA::CValue::Long");
    return static_cast<CValueLong&>(*this).m_value;
}

bool CValue::Bool() const {
    require(eBool, "TEVRA::CValue::Bool");
    return static_cast<const CValueBool&>(*this).m_value;
}

bool& CValue::Bool() {
    require(eBool, "TEVRA::CValue::Bool");
    return static_cast<CValueBool&>(*this).m_value;
}

const CString& CValue::String() const {
    require(eString, "TEVRA::CValue::String");
    return static_cast<const CValueString&>(*this).m_value;
}

CString& CValue::String() {
    require(eString, "TEVRA::CValue::String");
    return static_cast<CValueString&>(*this).m_value;
}

const CValueMap& CValue::Map() const {
    require(eMap, "TEVRA::CValue::Map");
    return static_cast<const CValueMap&>(*this);
}

CValueMap& CValue::Map() {
    require(eMap, "TEVRA::CValue::Map");
    return static_cast<CValueMap&>(*this);
}

const CValueVector& CValue::Vector() const {
    require(eVector, "TEVRA::CValue::Vector");
    return static_cast<const CValueVector&>(*this);
}

CValueVector& CValue::Vector() {
    require(eVector, "TEVRA::CValue::Vector");
    return static_cast<CValueVector&>(*this);
}

const CValuePointerBase& CValue::Pointer() const {
    require(ePointer, "TEVRA::CValue::Pointer");
    return static_cast<const CValuePointerBase&>(*this);
}

CValuePointerBase& CValue::Pointer() {
    require(ePointer, "TEVRA::CValue::Pointer");
    return static_cast<CValuePointerBase&>(*this);
}

const void* CValue::VoidPointer() const {
    require(ePointer, "TEVRA::CValue::VoidPointer");
    return static_cast<const CValuePointerBase&>(*this).Address();
}

void* CValue::VoidPointer() {
    require(ePointer, "TEVRA::CValue::VoidPointer");
    return static_cast<CValuePointerBase&>(*this).Address();
}

void CValue::SetString(const char* text, std::size_t length) {
    require(eString, "TEVRA::CValue::SetString");
    static_cast<CValueString&>(*this).m_value.Set(text, length);
}

CValueMap& CValue::Meta() {
    if (!m_meta) {
        m_meta = std::make_unique<CValueMap>();
    }
    return *m_meta;
}

const CValueMap& CValue::Meta() const {
    static const CValueMap empty;
    return m_meta ? *m_meta : empty;
}

bool CValue::Equal(const CValue& other) const {
    if (!EqualData(other)) {
        return false;
    }
    const bool empty = Meta().IsEmpty();
    if (empty || other.Meta().IsEmpty()) {
        return empty == other.Meta().IsEmpty();
    }
    return Meta().Equal(other.Meta());
}

void CValue::Copy(const CValue& other, EnTfOwnership ownership, bool withMeta) {
    if (this == &other) {
        return;
    }
    if (!Accepts(other)) {
        throw CExBadType(TEVRA_LOCATION(SOURCE, "TEVRA::CValue::Copy", __LINE__), &other);
    }
    if (!withMeta) {
        CopyData(other, ownership);
        return;
    }
    // Metadata first: the other value may be a part of this one, and is gone after CopyData.
    std::unique_ptr<CValueMap> meta = other.clone_meta(ownership);
    CopyData(other, ownership);
    m_meta = std::move(meta);
}

void CValue::Move(CValue& other) {
    if (this == &other) {
        return;
    }
    if (!Accepts(other)) {
        throw CExBadType(TEVRA_LOCATION(SOURCE, "TEVRA::CValue::Move", __LINE__), &other);
    }
    // Metadata first: the other value may be a part of this one, and is gone after MoveData.
    std::unique_ptr<CValueMap> meta = std::move(other.m_meta);
    MoveData(other);
    m_meta = std::move(meta);
}

void CValue::CopyMeta(const CValue& other, EnTfOwnership ownership, bool clear) {
    if (this == &other) {
        return;
    }
    std::unique_ptr<CValueMap> meta = other.clone_meta(ownership);
    if (clear) {
        m_meta = std::move(meta);
    } else if (meta) {
        Meta().Merge(*meta);
    }
}

std::unique_ptr<CValueMap> CValue::clone_meta(EnTfOwnership ownership) const {
    const bool any = m_meta && !m_meta->IsEmpty();
    return std::unique_ptr<CValueMap>(any ? m_meta->Clone(ownership) : nullptr);
}

} // namespace TEVRA
