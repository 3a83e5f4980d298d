// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2core/ValueLeaf.h"

namespace TEVRA {
namespace {

/// The kind of a leaf says its class, so the cast is safe once the kinds agree.
template <typename LeafT>
const LeafT* same_kind(const LeafT& self, const CValue& other) {
    return other.GenericType() == self.GenericType() ? static_cast<const LeafT*>(&other) : nullptr;
}

template <typename LeafT>
LeafT* with_meta(LeafT* fresh, const LeafT& source, EnTfOwnership ownership) {
    std::unique_ptr<LeafT> copy(fresh);
    copy->CopyMeta(source, ownership, true);
    return copy.release();
}

} // namespace

CValueDouble::CValueDouble(double value) : m_value(value) {}

bool CValueDouble::EqualData(const CValue& other) const {
    const CValueDouble* same = same_kind(*this, other);
    return same != nullptr && same->m_value == m_value;
}

CValueDouble* CValueDouble::Clone(EnTfOwnership ownership) const {
    return with_meta(new CValueDouble(m_value), *this, ownership);
}

void CValueDouble::CopyData(const CValue& other, EnTfOwnership /*ownership*/) {
    m_value = other.Double();
}

void CValueDouble::MoveData(CValue& other) {
    m_value = other.Double();
    other.Double() = 0.0;
}

CValueLong::CValueLong(long value) : m_value(static_cast<std::int32_t>(value)) {}

bool CValueLong::EqualData(const CValue& other) const {
    const CValueLong* same = same_kind(*this, other);
    return same != nullptr && same->m_value == m_value;
}

CValueLong* CValueLong::Clone(EnTfOwnership ownership) const {
    return with_meta(new CValueLong(m_value), *this, ownership);
}

void CValueLong::CopyData(const CValue& other, EnTfOwnership /*ownership*/) {
    m_value = other.Long();
}

void CValueLong::MoveData(CValue& other) {
    m_value = other.Long();
    other.Long() = 0;
}

CValueBool::CValueBool(bool value) : m_value(value) {}

bool CValueBool::EqualData(const CValue& other) const {
    const CValueBool* same = same_kind(*this, other);
    return same != nullptr && same->m_value == m_value;
}

CValueBool* CValueBool::Clone(EnTfOwnership ownership) const {
    return with_meta(new CValueBool(m_value), *this, ownership);
}

void CValueBool::CopyData(const CValue& other, EnTfOwnership /*ownership*/) {
    m_value = other.Bool();
}

void CValueBool::MoveData(CValue& other) {
    m_value = other.Bool();
    other.Bool() = false;
}

CValueString::CValueString(const char* text, std::size_t length) {
    m_value.Set(text, length);
}

bool CValueString::EqualData(const CValue& other) const {
    const CValueString* same = same_kind(*this, other);
    return same != nullptr && same->m_value == m_value;
}

CValueString* CValueString::Clone(EnTfOwnership ownership) const {
    return with_meta(new CValueString(m_value.c_str(), m_value.Length()), *this, ownership);
}

void CValueString::CopyData(const CValue& other, EnTfOwnership /*ownership*/) {
    m_value = other.String();
}

void CValueString::MoveData(CValue& other) {
    m_value = std::move(other.String());
    other.String() = CString();
}

} // namespace TEVRA
