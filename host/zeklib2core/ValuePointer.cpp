// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2core/ValuePointer.h"

namespace TEVRA {

CValuePointerBase::CValuePointerBase(const std::type_info& type, std::size_t elementSize, std::uint16_t flags)
    : m_type(&type), m_elementSize(elementSize), m_flags(flags) {}

CValuePointerBase::~CValuePointerBase() {
    drop();
}

void CValuePointerBase::drop() noexcept {
    if (m_object != nullptr && (m_flags & FLAG_OWNER) != 0 && m_deleter != nullptr) {
        m_deleter(m_object);
    }
    m_object = nullptr;
}

void* CValuePointerBase::Release() noexcept {
    void* object = m_object;
    m_object = nullptr;
    return object;
}

void CValuePointerBase::set_object(void* object, Deleter deleter) noexcept {
    drop();
    m_object = object;
    m_deleter = deleter;
}

bool CValuePointerBase::EqualData(const CValue& other) const {
    return Accepts(other) && other.VoidPointer() == m_object;
}

CValuePointerBase* CValuePointerBase::Clone(EnTfOwnership ownership) const {
    auto copy = std::make_unique<CValuePointerBase>(*m_type, m_elementSize, std::uint16_t{0});
    copy->Copy(*this, ownership, true);
    return copy.release();
}

bool CValuePointerBase::Accepts(const CValue& other) const {
    return other.GenericType() == ePointer && other.ElementType() == *m_type;
}

void CValuePointerBase::CopyData(const CValue& other, EnTfOwnership /*ownership*/) {
    const auto& source = static_cast<const CValuePointerBase&>(other);
    if (source.m_object == m_object) {
        return;
    }
    drop();
    m_flags = 0;
    m_object = source.m_object;
    m_deleter = nullptr;
}

void CValuePointerBase::MoveData(CValue& other) {
    auto& source = static_cast<CValuePointerBase&>(other);
    if (source.m_object == m_object && (m_flags & FLAG_OWNER) != 0) {
        source.Release(); // this value owns the object already
        return;
    }
    drop();
    m_flags = source.m_flags;
    m_deleter = source.m_deleter;
    m_object = source.Release();
}

} // namespace TEVRA
