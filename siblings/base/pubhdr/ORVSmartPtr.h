/// \class ORV::SmartPtr
/// A shared handle over an object that counts its own references.
///
/// T provides AddRef() and Release(); Release() deletes the object when the
/// count reaches zero. A new object starts at zero and the first SmartPtr
/// raises it to one. Copies raise the count, destruction and reassignment
/// lower it; a moved-from SmartPtr is empty. The handle itself is not
/// thread-safe (like a plain pointer), but distinct handles to one object may
/// be used from different threads when T's counting is interlocked.
#pragma once

#include <cstddef>
#include <type_traits>
#include <utility>

namespace ORV {

template <class T>
class SmartPtr {
 public:
  ///@{
  /// Empty.
  SmartPtr() noexcept = default;
  SmartPtr(std::nullptr_t) noexcept {}
  ///@}
  /// Takes a reference to object (null: empty).
  explicit SmartPtr(T* object) noexcept : m_object(object) { AddRefObject(); }
  /// Another reference to other's object.
  SmartPtr(const SmartPtr& other) noexcept : SmartPtr(other.m_object) {}
  /// Takes other's reference; other is left empty.
  SmartPtr(SmartPtr&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
  /// Another reference to other's object, as a pointer to a base.
  template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  SmartPtr(const SmartPtr<U>& other) noexcept : SmartPtr(other.Get()) {}
  ~SmartPtr() { ReleaseObject(); }

  /// Copy-and-swap: self-assignment and assignment from a handle that holds
  /// the last reference to this one's object are both safe.
  SmartPtr& operator=(SmartPtr other) noexcept {
    Swap(other);
    return *this;
  }

  ///@{
  /// The object, or null; the reference stays here.
  T* Get() const noexcept { return m_object; }
  T* operator->() const noexcept { return m_object; }
  T& operator*() const noexcept { return *m_object; }
  ///@}
  /// True when an object is held.
  explicit operator bool() const noexcept { return m_object != nullptr; }

  /// Drops the reference held, if any; the handle becomes empty.
  void Reset() noexcept { SmartPtr().Swap(*this); }
  /// Exchanges the objects of two handles; no count changes.
  void Swap(SmartPtr& other) noexcept { std::swap(m_object, other.m_object); }

  ///@{
  /// Compares the objects' addresses.
  friend bool operator==(const SmartPtr& a, const SmartPtr& b) noexcept { return a.m_object == b.m_object; }
  friend bool operator!=(const SmartPtr& a, const SmartPtr& b) noexcept { return a.m_object != b.m_object; }
  ///@}

 private:
  void AddRefObject() noexcept {
    if (m_object) m_object->AddRef();
  }
  void ReleaseObject() noexcept {
    if (m_object) m_object->Release();
  }

  T* m_object = nullptr;
};

/// A shared handle that may only read its object (T's AddRef and Release
/// must be const, as RefCounted's are): `SmartPtrToConst<Config>` defaults.
template <class T>
using SmartPtrToConst = SmartPtr<const T>;

}  // namespace ORV
