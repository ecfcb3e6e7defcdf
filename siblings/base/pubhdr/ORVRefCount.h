/// \class ORV::RefCounted
/// Intrusive reference counting for objects shared through SmartPtr.
///
/// RefCounted is a base class: it starts at zero, AddRef and Release change
/// the count with interlocked operations (so handles on several threads may
/// share one object), and the Release that brings it to zero deletes the
/// object through the virtual destructor. NbRef reads the count, which other
/// threads may change at once: use it for tests and diagnostics only.
///
/// `RefCount<T>` gives the same counting to a class that has none of its own:
/// \code
///   SmartPtr<RefCount<MemoryBuffer>> record(new RefCount<MemoryBuffer>());
/// \endcode
///
/// Counted objects are created with new and owned through SmartPtr; never
/// put one on the stack or delete it by hand.
#pragma once

#include <utility>

#include "ORVBaseDefs.h"

namespace ORV {

class ORV_BASE_API RefCounted {
 public:
  /// Raises the count; returns the new count.
  long AddRef() const noexcept;
  /// Lowers the count, deleting the object when it reaches zero; returns the new count.
  long Release() const noexcept;
  /// The count now, for tests and diagnostics only.
  long NbRef() const noexcept;

 protected:
  RefCounted() noexcept = default;
  ///@{
  /// A copy is a new object: it starts with no references, and assignment
  /// leaves the count as it is.
  RefCounted(const RefCounted&) noexcept {}
  RefCounted& operator=(const RefCounted&) noexcept { return *this; }
  ///@}
  virtual ~RefCounted();

 private:
  mutable volatile long m_cnt = 0;
};

/// T with RefCounted's counting, for a class that has none of its own.
template <class T>
class RefCount : public T, public RefCounted {
 public:
  /// Builds the T from args; the count starts at zero.
  template <class... Args>
  explicit RefCount(Args&&... args) : T(std::forward<Args>(args)...) {}
  /// \cond
  using RefCounted::AddRef;
  using RefCounted::NbRef;
  using RefCounted::Release;
  /// \endcond
};

}  // namespace ORV
