/// \class ORVFile::DiskSpaceWatcher
/// DiskSpaceWatcher: tells its user, once per period, which watched
/// directories have less free space than the user needs there.
///
/// The user lists directories with the free bytes each needs (duplicates are
/// kept, nothing is checked when adding). A worker thread named
/// "DiskSpaceWatcher" checks the whole list at once when it starts, then every
/// period seconds (0: without a pause). A directory is short when the bytes
/// free to the caller on its volume (Path::GetAvailableDiskSpace) are fewer
/// than required; equal is enough. A path that is not an existing directory
/// is skipped. In a pass with shortfalls the callback is called once, on the
/// worker and outside the list lock, with the address of a
/// DiskSpaceWatcherNotifications valid for the call; its result is ignored.
/// No memory between passes: a shortfall is reported in every pass while it
/// lasts, and nothing when it ends.
///
/// ~~~
///   auto onShort = ORV::MakeFunction([](void* argument) {
///     for (const auto& n : *static_cast<DiskSpaceWatcherNotifications*>(argument))
///       std::printf("%s: %llu of %llu bytes\n", n.Path().c_str(), n.Available(), n.Required());
///   });
///   SmartPtr<DiskSpaceWatcher> watcher(new DiskSpaceWatcher(onShort, 60));
///   watcher->AddWatchedPath("D:\\spool", 500ull << 20);
/// ~~~
///
/// Failures. Event calls that fail throw ORV::LastErrorException (the
/// constructor, Pause, Resume). An exception on the worker (from the callback
/// or a failed wait) ends the worker and goes to the thread library's default
/// unhandled-exception function; Paused() still answers false, and nothing is
/// checked until Resume (or Pause and Resume) starts a new worker.
///
/// Threads and lifetime. The list operations may be called from any thread,
/// the callback included; a critical section with a spin count of 4000 guards
/// the list, held for a whole pass but never while the callback runs. Pause,
/// Resume and the destructor must not run concurrently with each other. Pause
/// and the destructor signal the stop event and wait for the worker to end
/// (after the pass in progress, callback included), so the callback may not
/// wait for the thread that pauses. Pause from the callback cannot wait for its
/// own thread: the worker ends when the callback returns, and the watcher
/// keeps it until it can be waited for. Never drop the last reference from the
/// callback. Counted (RefCounted): create with new, hold in a SmartPtr.
///
/// Decided here: Resume on a running watcher does nothing; a watcher whose
/// worker has ended by an exception counts as not running, so Resume then
/// starts a new worker without a Pause first.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "ORVCriticalSection.h"
#include "ORVEventSemaphore.h"
#include "ORVFileDefs.h"
#include "ORVFunction.h"
#include "ORVRefCount.h"
#include "ORVThreadSlot.h"

namespace ORVFile {

/// One shortfall found in one pass.
class ORVFILE_API DiskSpaceWatcherNotification {
 public:
  /// Holds the three values as given; the watcher makes these, users read them.
  DiskSpaceWatcherNotification(const std::string& path, std::uint64_t available, std::uint64_t required);
  /// Copies all three values.
  ///@{
  DiskSpaceWatcherNotification(const DiskSpaceWatcherNotification& other);
  DiskSpaceWatcherNotification& operator=(const DiskSpaceWatcherNotification& other);
  ///@}
  ~DiskSpaceWatcherNotification();

  /// The watched path as it was added.
  const std::string& Path() const noexcept;
  /// The bytes free to the caller on the path's volume when it was checked;
  /// always below Required().
  std::uint64_t Available() const noexcept;
  /// The bytes the path was added with.
  std::uint64_t Required() const noexcept;

 private:
  std::string m_path;
  std::uint64_t m_available;
  std::uint64_t m_required;
};

/// What the callback's argument points to: one pass's shortfalls in list order.
using DiskSpaceWatcherNotifications = std::vector<DiskSpaceWatcherNotification>;

/// Checks free space on a worker thread; see the top of this header.
class ORVFILE_API DiskSpaceWatcher : public ORV::RefCounted {
 public:
  /// Running when it returns. period: seconds between passes.
  DiskSpaceWatcher(const SmartPtr<ORV::Function>& callback, unsigned int period);
  DiskSpaceWatcher(const DiskSpaceWatcher&) = delete;
  DiskSpaceWatcher& operator=(const DiskSpaceWatcher&) = delete;

  /// Appends path (ANSI code page) with the free bytes it needs; seen from the
  /// next pass on. Nothing is checked: a missing path is skipped by each pass.
  void AddWatchedPath(const std::string& path, std::uint64_t required);
  /// Removes the first entry whose path equals path, ignoring the case of A-Z
  /// and comparing at most 65535 characters; no entry found is no failure:
  /// ~~~
  ///   RemoveWatchedPath("C:\\TEMP") removes the entry added as "c:\\temp"
  /// ~~~
  void RemoveWatchedPath(const std::string& path);
  /// Removes every entry; a pass in progress finishes first (it holds the lock).
  void ClearWatchedPaths();

  /// Stops the worker and waits for it to end, after the pass in progress and
  /// its callback; from the callback it returns at once and the worker ends
  /// when the callback returns. Pausing a paused watcher does nothing.
  /// ORV::LastErrorException when the stop event cannot be set.
  void Pause();
  /// Starts a new worker, which checks at once, unless one is running.
  /// ORV::LastErrorException when the stop event cannot be reset.
  void Resume();
  /// True after Pause until Resume. A worker ended by an exception does not
  /// count as paused.
  bool Paused() const noexcept;

 protected:
  ~DiskSpaceWatcher() override;

 private:
  struct Entry {
    std::string path;
    std::uint64_t required;
  };

  unsigned long WatchThread(void* generation);
  DiskSpaceWatcherNotifications Check();
  bool Stopping(void* generation) const;
  void StartWorker();
  void DropWorker() noexcept;

  SmartPtr<ORV::Function> m_callback;
  unsigned int m_period;
  std::vector<Entry> m_entries;
  ORV::CriticalSection m_lock;
  ORV::EventSemaphore m_stop;
  // Raised by every Pause: a worker that missed the stop signal (a Resume
  // reset it first) sees that it is no longer the current one and ends.
  std::atomic<std::uintptr_t> m_generation{0};
  ORV::ThreadSlot m_worker;
};

}  // namespace ORVFile
