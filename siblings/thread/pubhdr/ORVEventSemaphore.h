/// \class ORV::EventSemaphore
/// EventSemaphore: an unnamed Win32 event, owned. Manual-reset events stay
/// signalled until Reset (a stop request that every wait must see);
/// auto-reset events release one wait and reset themselves (a wake-up for one
/// worker: several Sets before the wait count once).
///
/// Failures of the system calls throw LastErrorException (ThrowLastError).
/// Set, Reset and Wait may be called from any thread; the object itself must
/// outlive every wait on it. The handle is closed by the destructor.
#pragma once

#include "ORVHandle.h"
#include "ORVThreadDefs.h"

namespace ORV {

class ORV_THREAD_API EventSemaphore {
 public:
  /// A Wait that never times out.
  enum : unsigned long { kInfinite = 0xFFFFFFFFul };

  /// Creates the event (manual- or auto-reset, in the given state); throws
  /// LastErrorException when the system refuses.
  EventSemaphore(bool manualReset, bool signalled);
  EventSemaphore(const EventSemaphore&) = delete;
  EventSemaphore& operator=(const EventSemaphore&) = delete;
  ~EventSemaphore();

  /// Signals the event.
  void Set();
  /// Set for destructors and other places that cannot throw: false when the
  /// system refused.
  bool TrySet() noexcept;
  /// Clears the signal.
  void Reset();
  /// True when the event was signalled, false when the time ran out (0: only
  /// look). An auto-reset event is reset by a wait that returns true.
  bool Wait(unsigned long milliseconds) const;

  /// For waits on several objects at once; the object keeps owning it.
  NativeHandle Native() const noexcept;

 private:
  Handle m_event;
};

}  // namespace ORV
