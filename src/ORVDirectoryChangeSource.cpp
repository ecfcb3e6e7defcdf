#include "win32.h"

#include "ORVDirectoryChangeSource.h"

#include <cstddef>
#include <cstring>
#include <vector>

#include "ORVRaise.h"
#include "ORVThread.h"
#include "ORVThreadException.h"

namespace ORVFile {

namespace detail {

// One ReadDirectoryChangesW in flight at a time, over a buffer and an event
// that live as long as the source: the system writes into the buffer until
// the read completes or its cancellation does.
class ChangeReader {
 public:
  ChangeReader(HANDLE directory, bool recursive, unsigned long bytes)
      : m_directory(directory), m_recursive(recursive), m_buffer((bytes + 3) / 4), m_done(true, false) {}
  ChangeReader(const ChangeReader&) = delete;
  ChangeReader& operator=(const ChangeReader&) = delete;

  /// ERROR_SUCCESS, or the error that refused the read.
  DWORD Issue() noexcept {
    m_overlapped = OVERLAPPED{};
    m_overlapped.hEvent = m_done.Native();
    const BOOL issued = ::ReadDirectoryChangesW(m_directory, m_buffer.data(), Bytes(), m_recursive, kFilter, nullptr,
                                                &m_overlapped, nullptr);
    if (!issued) return ::GetLastError();
    m_pending = true;
    return ERROR_SUCCESS;
  }

  /// Once Done() is signalled: ERROR_SUCCESS with the bytes written, or the
  /// error the read ended with.
  DWORD Complete(DWORD& bytes) noexcept { return Finish(bytes, FALSE); }

  /// Cancels the read in flight, if any, and waits until the system has let
  /// go of the buffer.
  void Cancel() noexcept {
    if (!m_pending) return;
    ::CancelIoEx(m_directory, &m_overlapped);
    DWORD bytes = 0;
    Finish(bytes, TRUE);
  }

  ORV::NativeHandle Done() const noexcept { return m_done.Native(); }
  const unsigned char* Data() const noexcept { return reinterpret_cast<const unsigned char*>(m_buffer.data()); }

 private:
  static constexpr DWORD kFilter = FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_DIR_NAME |
                                   FILE_NOTIFY_CHANGE_SIZE | FILE_NOTIFY_CHANGE_LAST_WRITE |
                                   FILE_NOTIFY_CHANGE_CREATION;

  DWORD Bytes() const noexcept { return static_cast<DWORD>(m_buffer.size() * sizeof(DWORD)); }

  DWORD Finish(DWORD& bytes, BOOL wait) noexcept {
    const BOOL done = ::GetOverlappedResult(m_directory, &m_overlapped, &bytes, wait);
    const DWORD error = done ? ERROR_SUCCESS : ::GetLastError();
    m_pending = false;
    return error;
  }

  HANDLE m_directory;
  BOOL m_recursive;
  std::vector<DWORD> m_buffer;  // FILE_NOTIFY_INFORMATION records are DWORD-aligned
  ORV::EventSemaphore m_done;
  OVERLAPPED m_overlapped{};
  bool m_pending = false;
};

}  // namespace detail

namespace {

// The legacy path drops a root's separator, and "C:" names the current
// directory of C:, not its root:  "C:\"  ->  "C:" (WPath)  ->  "C:\".
std::wstring WatchedText(const WPath& directory) {
  std::wstring text = directory.FullPath();
  if (directory.HasDrive() && text.size() == 2) text += L'\\';
  return text;
}

// What a name the system gives is appended to: "C:\" + "a.txt", "C:\dir" + "\" + "a.txt".
std::wstring PrefixOf(const std::wstring& directory) {
  return !directory.empty() && directory.back() == L'\\' ? directory : directory + L'\\';
}

HANDLE OpenDirectory(const std::wstring& path) {
  const HANDLE directory =
      ::CreateFileW(path.c_str(), FILE_LIST_DIRECTORY, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                    OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OVERLAPPED, nullptr);
  if (directory == INVALID_HANDLE_VALUE) {
    const DWORD error = ::GetLastError();
    detail::RaiseOpenFailure(ORVFILE_THROW_SITE, false, error, path);
  }
  return directory;
}

[[noreturn]] void RaiseCannotWatch(DWORD error, const std::wstring& path) {
  detail::Raise<FileCannotOpenException>(ORVFILE_THROW_SITE, MSG_OPEN_READ_ONLY, error, path);
}

// Both objects stay owned by their holders.
DWORD WaitForEither(ORV::NativeHandle first, ORV::NativeHandle second) {
  const HANDLE handles[] = {first, second};
  const DWORD result = ::WaitForMultipleObjects(2, handles, FALSE, INFINITE);
  if (result == WAIT_FAILED) ORV::ThrowLastError("WaitForMultipleObjects");
  return result - WAIT_OBJECT_0;
}

int KindOf(DWORD action) noexcept {
  switch (action) {
    case FILE_ACTION_ADDED:
    case FILE_ACTION_RENAMED_NEW_NAME:
      return DeviceEvent::Added;
    case FILE_ACTION_REMOVED:
    case FILE_ACTION_RENAMED_OLD_NAME:
      return DeviceEvent::Removed;
    case FILE_ACTION_MODIFIED:
      return DeviceEvent::Modified;
    default:
      return -1;
  }
}

constexpr DWORD kRecordHeader = offsetof(FILE_NOTIFY_INFORMATION, FileName);

DWORD FieldAt(const unsigned char* record, std::size_t field) noexcept {
  DWORD value;
  std::memcpy(&value, record + field, sizeof value);
  return value;
}

// The chain of records the system wrote, in its order. Each record is read
// by copying: Windows aligns them to four bytes, Wine 8 packs them (a record
// for "a.txt" is 22 bytes and the next starts right after it), and a record
// is only as long as its name, so the last one may end short of
// sizeof(FILE_NOTIFY_INFORMATION).
std::vector<DeviceEvent> EventsOf(const std::wstring& prefix, const unsigned char* data, DWORD bytes) {
  std::vector<DeviceEvent> events;
  for (DWORD offset = 0; offset + kRecordHeader <= bytes;) {
    const unsigned char* record = data + offset;
    const DWORD nameBytes = FieldAt(record, offsetof(FILE_NOTIFY_INFORMATION, FileNameLength));
    if (nameBytes > bytes - offset - kRecordHeader) break;
    const int kind = KindOf(FieldAt(record, offsetof(FILE_NOTIFY_INFORMATION, Action)));
    if (kind >= 0) {
      std::wstring name(nameBytes / sizeof(wchar), L'\0');
      std::memcpy(name.data(), record + kRecordHeader, name.size() * sizeof(wchar));
      events.push_back({kind, prefix + name});
    }
    const DWORD next = FieldAt(record, offsetof(FILE_NOTIFY_INFORMATION, NextEntryOffset));
    if (next == 0) break;
    offset += next;
  }
  return events;
}

// Whatever ends the worker, the read it left in flight is cancelled first.
class CancelOnExit {
 public:
  explicit CancelOnExit(detail::ChangeReader& reader) noexcept : m_reader(reader) {}
  CancelOnExit(const CancelOnExit&) = delete;
  CancelOnExit& operator=(const CancelOnExit&) = delete;
  ~CancelOnExit() { m_reader.Cancel(); }

 private:
  detail::ChangeReader& m_reader;
};

}  // namespace

DirectoryChangeSource::DirectoryChangeSource(const WPath& directory, bool recursive,
                                             const SmartPtr<DirectoryObserverCallInterface>& target,
                                             unsigned long bufferBytes,
                                             const SmartPtr<ORV::UnhandledExceptionFunction>& onException)
    : m_path(WatchedText(directory)),
      m_prefix(PrefixOf(m_path)),
      m_target(target),
      m_directory(OpenDirectory(m_path)),
      m_reader(new detail::ChangeReader(m_directory.Get(), recursive, bufferBytes)),
      m_stop(true, false),
      m_ready(true, false),
      m_startError(ERROR_SUCCESS) {
  SmartPtr<ORV::Function> loop(new ORV::MemberFunction<DirectoryChangeSource>(*this, &DirectoryChangeSource::Watch));
  m_worker.Start(SmartPtr<ORV::Thread>(new ORV::Thread(L"DirectoryChangeSource", loop, nullptr, onException)));
  // The worker issues the first read (a thread's reads end with the thread)
  // and always signals, before anything that could throw.
  m_ready.Wait(ORV::EventSemaphore::kInfinite);
  if (m_startError != ERROR_SUCCESS) {
    m_worker.Drop();
    RaiseCannotWatch(m_startError, m_path);
  }
}

DirectoryChangeSource::~DirectoryChangeSource() {
  m_stop.TrySet();
  m_worker.Drop();
}

const std::wstring& DirectoryChangeSource::Directory() const noexcept { return m_path; }

unsigned long DirectoryChangeSource::Watch(void*) {
  const CancelOnExit cancel(*m_reader);
  m_startError = m_reader->Issue();
  m_ready.TrySet();
  if (m_startError != ERROR_SUCCESS) return 0;
  while (WaitForChanges()) Forward();
  return 0;
}

bool DirectoryChangeSource::WaitForChanges() const { return WaitForEither(m_stop.Native(), m_reader->Done()) == 1; }

void DirectoryChangeSource::Forward() {
  DWORD bytes = 0;
  const DWORD error = m_reader->Complete(bytes);
  // An empty read is the system's word for "too much to tell".
  const bool lost = error == ERROR_NOTIFY_ENUM_DIR || (error == ERROR_SUCCESS && bytes == 0);
  if (error != ERROR_SUCCESS && !lost) RaiseCannotWatch(error, m_path);
  const std::vector<DeviceEvent> events =
      lost ? std::vector<DeviceEvent>() : EventsOf(m_prefix, m_reader->Data(), bytes);
  // The next read is in flight before the target's call, however long that takes.
  const DWORD reissue = m_reader->Issue();
  if (reissue != ERROR_SUCCESS) RaiseCannotWatch(reissue, m_path);
  if (lost)
    m_target->ChangesLost(m_path);
  else
    m_target->ChangesOccurred(events);
}

ObserverFeed::ObserverFeed(const SmartPtr<ObserverCallInterface>& observer, const SmartPtr<ORV::Function>& onLost)
    : m_observer(observer), m_onLost(onLost) {}

ObserverFeed::~ObserverFeed() = default;

void ObserverFeed::ChangesOccurred(const std::vector<DeviceEvent>& events) { m_observer->EventsOccurred(events); }

void ObserverFeed::ChangesLost(const std::wstring& directory) {
  ++m_losses;
  std::wstring text = directory;
  if (m_onLost) (*m_onLost)(&text);
}

long ObserverFeed::Losses() const noexcept { return m_losses; }

}  // namespace ORVFile
