// A tour of the watchers: a directory change source feeds an observer while
// the tour creates, changes, renames and removes a few files under a fresh
// temporary directory, and the observer's handlers say what they were told;
// then a disk space watcher reports a shortfall for a requirement set just
// above the free space there. Every wait has a time-out: the tour ends in a
// few seconds whatever the system does.
#include "win32.h"

#include <cstdint>
#include <cstdio>
#include <string>

#include "ORVDirectoryChangeSource.h"
#include "ORVDiskSpaceWatcher.h"
#include "ORVEventSemaphore.h"
#include "ORVObserverCallInterface.h"
#include "ORVToLower.h"
#include "TourMain.h"

using namespace ORVFile;

namespace {

constexpr unsigned long kTimeOut = 5000;  // ms

// Prints each call with the path under the watched directory, and signals
// when the path it waits for is removed.
class Printer : public ObserverCallInterface {
 public:
  Printer(const std::wstring& directory, const std::wstring& last)
      : ObserverCallInterface(nullptr), m_prefix(ORV::ToLower(directory) + L"\\"), m_last(ORV::ToLower(last)) {}

  void FileAdded(const WPath& path) override { Say("FileAdded     ", path); }
  void FileModified(const WPath& path) override { Say("FileModified  ", path); }
  void DirectoryAdded(const WPath& path) override { Say("DirectoryAdded", path); }
  void PathRemoved(const WPath& path) override {
    Say("PathRemoved   ", path);
    if (path.FullPath() == m_prefix + m_last) m_done.Set();
  }

  bool WaitDone() { return m_done.Wait(kTimeOut); }

 private:
  void Say(const char* handler, const WPath& path) {
    std::printf("  %s  %ls\n", handler, path.FullPath().substr(m_prefix.size()).c_str());
  }

  std::wstring m_prefix, m_last;
  ORV::EventSemaphore m_done{true, false};
};

void Write(const std::wstring& path, const char* text) {
  const ORV::Handle file(::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS, 0, nullptr));
  DWORD written = 0;
  ::SetFilePointer(file.Get(), 0, nullptr, FILE_END);
  ::WriteFile(file.Get(), text, static_cast<DWORD>(std::char_traits<char>::length(text)), &written, nullptr);
}

void WatchDirectory(const std::wstring& dir) {
  std::printf("Watching %ls (and below) while files come and go:\n", dir.c_str());
  SmartPtr<Printer> observer(new Printer(dir, L"notes.txt"));
  {
    SmartPtr<ObserverFeed> feed(new ObserverFeed(observer, nullptr));
    DirectoryChangeSource source(WPath(dir), true, feed);
    const std::wstring inbox = dir + L"\\Inbox", draft = inbox + L"\\Draft.txt", report = inbox + L"\\Report.txt";
    ::CreateDirectoryW(inbox.c_str(), nullptr);
    Write(draft, "first lines");
    Write(draft, ", more lines");
    ::MoveFileW(draft.c_str(), report.c_str());
    Write(dir + L"\\notes.txt", "a note");
    ::DeleteFileW(report.c_str());
    ::RemoveDirectoryW(inbox.c_str());
    ::DeleteFileW((dir + L"\\notes.txt").c_str());
    if (!observer->WaitDone()) std::printf("  (no word of notes.txt's removal within %lu ms)\n", kTimeOut);
  }
  observer->Shutdown();
  std::printf("(the system may coalesce or repeat modifications; a rename comes as removed, then added)\n\n");
}

void WatchDiskSpace(const std::string& dir) {
  ULARGE_INTEGER free{};
  ::GetDiskFreeSpaceExA(dir.c_str(), &free, nullptr, nullptr);
  const std::uint64_t required = free.QuadPart + (64ull << 20);
  std::printf("Free space under %s: %llu bytes; requiring %llu:\n", dir.c_str(),
              static_cast<unsigned long long>(free.QuadPart), static_cast<unsigned long long>(required));
  ORV::EventSemaphore told(true, false);
  auto onShort = ORV::MakeFunction([&](void* argument) {
    for (const auto& n : *static_cast<DiskSpaceWatcherNotifications*>(argument))
      std::printf("  short: %s has %llu of the %llu bytes required\n", n.Path().c_str(),
                  static_cast<unsigned long long>(n.Available()), static_cast<unsigned long long>(n.Required()));
    told.Set();
  });
  SmartPtr<DiskSpaceWatcher> watcher(new DiskSpaceWatcher(onShort, 60));
  watcher->AddWatchedPath(dir, required);
  if (!told.Wait(kTimeOut)) std::printf("  (no report within %lu ms)\n", kTimeOut);
  watcher->Pause();
  std::printf("  paused: %s\n", watcher->Paused() ? "yes" : "no");
}

void Tour() {
  char temp[MAX_PATH];
  const DWORD length = ::GetTempPathA(MAX_PATH, temp);
  const std::string dir =
      std::string(temp, length) + "orvfile-watchers-tour-" + std::to_string(::GetCurrentProcessId());
  ::CreateDirectoryA(dir.c_str(), nullptr);
  WatchDirectory(WPath(dir).FullPath());
  WatchDiskSpace(dir);
  ::RemoveDirectoryA(dir.c_str());
}

}  // namespace

int main() { return TourMain("Watchers", Tour); }
