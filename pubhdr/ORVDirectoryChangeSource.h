/// \class ORVFile::DirectoryChangeSource
/// DirectoryChangeSource: watches one directory, and everything below it if
/// asked, with ReadDirectoryChangesW, and hands what the system reports to a
/// DirectoryObserverCallInterface as DeviceEvent batches. ObserverFeed is the
/// interface that passes them on to an ObserverCallInterface, which then
/// looks at each path on the disk and calls its handlers:
///
/// ~~~
///   SmartPtr<MyObserver> observer(new MyObserver(nullptr));
///   SmartPtr<ObserverFeed> feed(new ObserverFeed(observer, nullptr));
///   DirectoryChangeSource source(WPath(L"C:\\inbox"), true, feed);
///   ...                                  // handlers run as files come and go
///   // source goes first (no more batches), then observer->Shutdown()
/// ~~~
///
/// What the system reports becomes, one batch per notification buffer and in
/// the system's order, with the path made of the directory's text, a backslash
/// and the name the system gives (relative to the directory, subdirectories
/// included). A drive root keeps its backslash, which the legacy path drops
/// ("C:" alone names the current directory of C:):
/// ~~~
///   WPath(L"C:\\")  ->  watches "C:\", events name "C:\a.txt"
///
///   added -> Added, removed -> Removed, modified -> Modified,
///   renamed -> Removed (old name), then Added (new name).
/// ~~~
/// The system may coalesce or repeat modifications, and a new file often
/// comes with a modification as well; users must allow for both.
///
/// Watching starts before the constructor returns: every change made after it
/// is reported. When more changes pile up between two reads than the buffer
/// holds, the system drops them all and says so (an empty read, or
/// ERROR_NOTIFY_ENUM_DIR): the source calls ChangesLost with the directory and
/// goes on watching, so a loss is never silent. 64 KiB, the default, holds
/// about a thousand notifications of 20-character names; network shares refuse
/// buffers above 64 KiB.
///
/// Threads and lifetime. One worker thread, named "DirectoryChangeSource",
/// issues the reads and calls the target, one call at a time; the source
/// holds a reference to the target. The destructor (any thread but the
/// worker: never destroy the source from the target's calls) stops the
/// worker, cancels the read in flight and waits for the cancellation, because
/// the system writes into the buffer until then. Not copyable.
///
/// Failures. The constructor throws the FileException family with message 1
/// when the directory cannot be opened (SharingViolationException,
/// FileAccessDeniedException or FileCannotOpenException by the Win32 error)
/// or not watched (FileCannotOpenException: a file's path, a file system
/// without change notification). A read that fails later (the directory was
/// removed) ends the worker with FileCannotOpenException, and an exception
/// from the target ends it too: both go to onException.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "ORVEventSemaphore.h"
#include "ORVFileDefs.h"
#include "ORVFunction.h"
#include "ORVHandle.h"
#include "ORVObserverCallInterface.h"
#include "ORVThreadSlot.h"
#include "ORVWPath.h"

namespace ORVFile {

namespace detail {
class ChangeReader;
}

/// Watches one directory on a worker thread; see the top of this header.
class ORVFILE_API DirectoryChangeSource {
 public:
  /// The notification buffer's size unless told otherwise (see above).
  enum : unsigned long { kDefaultBufferBytes = 64 * 1024 };

  /// onException null: the thread library's default.
  DirectoryChangeSource(const WPath& directory, bool recursive, const SmartPtr<DirectoryObserverCallInterface>& target,
                        unsigned long bufferBytes = kDefaultBufferBytes,
                        const SmartPtr<ORV::UnhandledExceptionFunction>& onException = nullptr);
  DirectoryChangeSource(const DirectoryChangeSource&) = delete;
  DirectoryChangeSource& operator=(const DirectoryChangeSource&) = delete;
  ~DirectoryChangeSource();

  /// The watched directory as the events name it ("C:\\" for a drive root).
  const std::wstring& Directory() const noexcept;

 private:
  unsigned long Watch(void* unused);
  bool WaitForChanges() const;
  void Forward();

  std::wstring m_path;
  std::wstring m_prefix;  // m_path and a separator
  SmartPtr<DirectoryObserverCallInterface> m_target;
  ORV::Handle m_directory;
  std::unique_ptr<detail::ChangeReader> m_reader;
  ORV::EventSemaphore m_stop;
  ORV::EventSemaphore m_ready;  // the first read is issued, or refused
  unsigned long m_startError;   // what refused it
  ORV::ThreadSlot m_worker;
};

/// Passes batches on to an observer; counts losses and calls onLost (may be
/// null) with the address of the directory's text (const std::wstring*).
class ORVFILE_API ObserverFeed : public DirectoryObserverCallInterface {
 public:
  /// Holds a reference to observer (not null) and to onLost (may be null).
  /// The caller still calls observer's Shutdown when done.
  ObserverFeed(const SmartPtr<ObserverCallInterface>& observer, const SmartPtr<ORV::Function>& onLost);
  ~ObserverFeed() override;

  void ChangesOccurred(const std::vector<DeviceEvent>& events) override;
  void ChangesLost(const std::wstring& directory) override;

  /// How many times the source reported a loss.
  long Losses() const noexcept;

 private:
  SmartPtr<ObserverCallInterface> m_observer;
  SmartPtr<ORV::Function> m_onLost;
  std::atomic<long> m_losses{0};
};

}  // namespace ORVFile
