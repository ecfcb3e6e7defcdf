/// \class ORV::ThreadSlot
/// ThreadSlot: where an object keeps the worker thread that runs its members,
/// so that the object never goes while its worker still runs on it.
///
/// The owner signals its worker to stop, then calls Drop: off the worker,
/// Drop lets go of the thread, and the thread's destruction waits for it to
/// end (see ORVThread.h). On the worker itself (a callback that stops its own
/// owner) nothing can wait, so the slot keeps the thread, reported as Empty,
/// until a later Drop, or the slot's destructor, made off that thread; the
/// worker ends when the callback returns. Start stores a new worker; a worker
/// kept that way stays kept beside it.
///
/// \code
///   m_stop.Set();      // the worker's loop sees it at its next check
///   m_worker.Drop();   // returns once the worker has ended
/// \endcode
///
/// Not locked: one thread at a time calls Start, Drop and the destructor (the
/// owner's Pause, Resume, Shutdown and destructor are not called concurrently).
/// The owner must not drop its last reference from its own worker: the worker
/// would return into a destroyed object.
#pragma once

#include "ORVSmartPtr.h"
#include "ORVThread.h"
#include "ORVThreadDefs.h"

namespace ORV {

class ORV_THREAD_API ThreadSlot {
 public:
  ThreadSlot() noexcept;
  ThreadSlot(const ThreadSlot&) = delete;
  ThreadSlot& operator=(const ThreadSlot&) = delete;
  /// Drop: the owner has signalled its worker before its members go.
  ~ThreadSlot();

  /// Runs thread and keeps it as the worker. A worker stored before is
  /// dropped first (the owner has signalled it).
  void Start(const SmartPtr<Thread>& thread);
  /// Lets go of the worker (see above): off the worker, returns once it has
  /// ended; on the worker, keeps it until a later Drop or the destructor.
  void Drop() noexcept;

  /// No worker stored (never started, or dropped).
  bool Empty() const noexcept;
  /// A worker is stored and has not ended.
  bool Running() const;

 private:
  SmartPtr<Thread> m_worker;
  // A worker dropped from its own thread, kept until it can be waited for.
  SmartPtr<Thread> m_stoppedFromWithin;
};

}  // namespace ORV
