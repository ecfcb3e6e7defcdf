/// \class ORVFile::ObserverCallInterface
/// ObserverCallInterface: queues batches of file-system events from any
/// producer and delivers them one at a time, in arrival order, to four
/// handlers on a thread of its own named "ObserverCallInterface::ProcessEvents",
/// after looking on the disk at what each path names.
/// DirectoryObserverCallInterface: what a directory change source
/// (ORVDirectoryChangeSource.h) calls with what it sees.
///
/// Dispatch, per event, with the path normalised as a WPath and lowered unit
/// by unit (ORV::ToLower):
/// ~~~
///   "C:/Data/New.TXT"  ->  "c:\data\new.txt"
///
///   Modified  FileModified when the path is an existing file, else nothing
///   Added     DirectoryAdded for an existing directory, FileAdded for an
///             existing file, else nothing (it went before its turn came)
///   Removed   PathRemoved, without a look at the disk
///   other     nothing
/// ~~~
///
/// Threads. EventsOccurred may be called from any thread, handlers included.
/// The queue is guarded by a critical section with a spin count of 4000 that
/// is never held while a handler runs or the disk is consulted. Handlers run
/// one at a time on the worker.
///
/// Failures. An exception from a handler, a path check or a failed wait ends
/// the worker and goes to the UnhandledExceptionFunction given to the
/// constructor; later events are queued but never delivered. Event calls that
/// fail throw ORV::LastErrorException.
///
/// Lifetime. Counted: derive, create with new, hold in a SmartPtr (of this
/// class or a derived one: AddRef, Release and NbRef below hide RefCounted's).
/// Shutdown sets the flag and wakes the worker, which stops before its next
/// event (the rest of the queue is dropped, and later events are kept but
/// never delivered). Decided here: Shutdown does not wait for the handler in
/// progress, so a caller may hold a lock that handler needs; the last Release
/// waits instead (stopping the worker first if Shutdown was not called), before
/// the derived part goes, so that no handler runs on a destroyed object. So
/// never drop the last reference from a handler (nothing can wait there) or
/// while holding a lock a handler needs.
#pragma once

#include <atomic>
#include <deque>
#include <string>
#include <vector>

#include "ORVCriticalSection.h"
#include "ORVEventSemaphore.h"
#include "ORVFileDefs.h"
#include "ORVFunction.h"
#include "ORVRefCount.h"
#include "ORVThreadSlot.h"
#include "ORVWPath.h"

namespace ORVFile {

/// Header-only by design: a plain record.
struct DeviceEvent {
  /// What happened to the path.
  enum Kind : int { Modified = 0, Added = 1, Removed = 2 };

  int kind;           ///< a Kind; other values are queued and then ignored
  std::wstring path;  ///< as the producer saw it; normalised and lowered at dispatch
};

/// Delivers queued events to the four handlers on its worker; see the top of
/// this header.
class ORVFILE_API ObserverCallInterface : public ORV::RefCounted {
 public:
  ObserverCallInterface(const ObserverCallInterface&) = delete;
  ObserverCallInterface& operator=(const ObserverCallInterface&) = delete;

  /// Counted as ORV::RefCounted (the count starts at 0), except that the last
  /// Release stops the worker and waits for it to end before the object goes.
  ///@{
  long AddRef() const noexcept;
  long Release() const noexcept;
  long NbRef() const noexcept;
  ///@}

  /// Sets the flag and wakes the worker; returns at once, from any thread,
  /// handlers included (see Lifetime). The result means nothing.
  virtual int Shutdown();

  /// The handlers, called on the worker one at a time with the lowered path
  /// (dispatch table at the top of this header). An exception ends the worker.
  ///@{
  virtual void FileAdded(const WPath& path) = 0;
  virtual void FileModified(const WPath& path) = 0;
  virtual void DirectoryAdded(const WPath& path) = 0;
  virtual void PathRemoved(const WPath& path) = 0;
  ///@}

  /// Appends the batch to the queue in its order and wakes the worker if it
  /// may be waiting (an empty batch only wakes it).
  virtual void EventsOccurred(const std::vector<DeviceEvent>& events);

 protected:
  /// Starts the worker; onException receives what ends it (null: the thread
  /// library's default).
  explicit ObserverCallInterface(const SmartPtr<ORV::UnhandledExceptionFunction>& onException);
  ~ObserverCallInterface() override;

 private:
  unsigned long ProcessEvents(void* unused);
  bool TakeFront(DeviceEvent& event);
  void Dispatch(const DeviceEvent& event);
  void StopWorker() noexcept;

  std::deque<DeviceEvent> m_queue;
  ORV::CriticalSection m_lock;
  ORV::EventSemaphore m_wake;  // auto-reset
  ORV::ThreadSlot m_worker;
  std::atomic<bool> m_shutdown{false};
};

/// Defined as the interface a directory change source calls, on the source's
/// own thread, one call at a time. No base class: it counts its references
/// itself (interlocked; a copy starts at 0, assignment leaves the count).
class ORVFILE_API DirectoryObserverCallInterface {
 public:
  /// The count starts at 0: the first SmartPtr makes it 1.
  DirectoryObserverCallInterface() noexcept;
  /// Copy nothing: a copy is a new object with its count at 0, and assignment
  /// keeps the target's count, so references are never shared by copying.
  ///@{
  DirectoryObserverCallInterface(const DirectoryObserverCallInterface& other) noexcept;
  DirectoryObserverCallInterface& operator=(const DirectoryObserverCallInterface& other) noexcept;
  ///@}
  virtual ~DirectoryObserverCallInterface();

  /// What one notification of the system held, in its order: full paths
  /// under the watched directory; a rename is Removed (old) then Added (new).
  virtual void ChangesOccurred(const std::vector<DeviceEvent>& events) = 0;
  /// The system dropped notifications (its buffer overflowed): what was
  /// delivered may miss changes made under directory; rescan it.
  virtual void ChangesLost(const std::wstring& directory) = 0;

  /// Adds one reference, safe from any thread; returns the new count.
  long AddRef() const noexcept;
  /// Removes one reference and returns the new count; destroys the object
  /// through its virtual destructor at 0.
  long Release() const noexcept;
  /// The count now; another thread may change it at once, so only a hint.
  long NbRef() const noexcept;

 private:
  mutable volatile long m_cnt = 0;
};

}  // namespace ORVFile
