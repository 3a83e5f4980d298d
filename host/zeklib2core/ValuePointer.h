// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2core/Value.h"

#include <cstdint>

namespace TEVRA {

/// A value that holds a pointer to an object of a known type.
///
/// Flags: bit 0 set means that the value owns the object and deletes it; clear means that it only refers to
/// it.
class CValuePointerBase : public CValue {
  public:
    static constexpr std::uint16_t FLAG_OWNER = 1;

    /// An empty pointer to objects of the given type and size in bytes.
    CValuePointerBase(const std::type_info& type, std::size_t elementSize, std::uint16_t flags);
    ~CValuePointerBase() override;

    /// The object, or null.
    void* Pointer() const noexcept { return m_object; }
    void* Address() const noexcept { return m_object; }
    /// Gives up the object: the value is empty afterwards, and the caller is responsible if it was the owner.
    void* Release() noexcept;
    std::size_t ElementSize() const noexcept { return m_elementSize; }
    std::uint16_t Flags() const noexcept { return m_flags; }

    const std::type_info& ElementType() const noexcept override { return *m_type; }
    EnValType GenericType() const noexcept override { return ePointer; }
    bool IsValid() const noexcept override { return m_object != nullptr; }
    bool IsLink() const noexcept override { return m_object != nullptr && (m_flags & FLAG_OWNER) == 0; }
    /// Same type and same object.
    bool EqualData(const CValue& other) const override;
    /// A copy refers to the object and never owns it: two owners would delete it twice.
    /// A value that owns an object and is given the same object by `Copy` goes on owning it.
    CValuePointerBase* Clone(EnTfOwnership ownership) const override;

  protected:
    using Deleter = void (*)(void*);
    void set_object(void* object, Deleter deleter) noexcept;

  private:
    bool Accepts(const CValue& other) const override;
    void CopyData(const CValue& other, EnTfOwnership ownership) override;
    void MoveData(CValue& other) override;
    void drop() noexcept;

    const std::type_info* m_type;
    std::size_t m_elementSize;
    std::uint16_t m_flags;
    void* m_object = nullptr;
    Deleter m_deleter = nullptr;
};

/// A pointer value for objects of class T.
template <typename T>
class CValuePointer : public CValuePointerBase {
  public:
    /// @param object may be null; deleted with the value if `flags` has `FLAG_OWNER`.
    explicit CValuePointer(T* object = nullptr, std::uint16_t flags = 0)
        : CValuePointerBase(typeid(T), sizeof(T), flags) {
        set_object(object, [](void* p) { delete static_cast<T*>(p); });
    }

    T* Pointer() const noexcept { return static_cast<T*>(CValuePointerBase::Pointer()); }
    T* Release() noexcept { return static_cast<T*>(CValuePointerBase::Release()); }

    CValuePointer* Clone(EnTfOwnership ownership) const override {
        auto copy = std::make_unique<CValuePointer>();
        copy->Copy(*this, ownership, true);
        return copy.release();
    }
};

} // namespace TEVRA
