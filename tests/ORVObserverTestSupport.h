// What the watcher tests share: a log of calls that outlives what writes it,
// an observer that logs its handler calls ("A:path" FileAdded, "M:"
// FileModified, "D:" DirectoryAdded, "R:" PathRemoved), and a fresh
// directory whose paths come wide and, as handlers see them, lowered.
#pragma once

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "ORVCharset.h"
#include "ORVCriticalSection.h"
#include "ORVEventSemaphore.h"
#include "ORVFileTestSupport.h"
#include "ORVObserverCallInterface.h"
#include "ORVThreadTestSupport.h"
#include "ORVToLower.h"

namespace orvtest {

using Calls = std::vector<std::wstring>;

class Log {
 public:
  void Add(const std::wstring& call) {
    ORV::CriticalSectionLock lock(m_lock);
    m_calls.push_back(call);
    m_changed.Set();
  }
  Calls Get() {
    ORV::CriticalSectionLock lock(m_lock);
    return m_calls;
  }
  /// Waits until done(calls) holds; false when it never came.
  bool WaitUntil(const std::function<bool(const Calls&)>& done) {
    while (!done(Get()))
      if (!m_changed.Wait(kPatience)) return false;
    return true;
  }
  bool WaitFor(const std::wstring& call) {
    return WaitUntil([&](const Calls& calls) { return std::find(calls.begin(), calls.end(), call) != calls.end(); });
  }

 private:
  ORV::CriticalSection m_lock{4000};
  ORV::EventSemaphore m_changed{false, false};
  Calls m_calls;
};

/// Logs to log; hook, set before events are posted, follows each call on
/// the worker.
struct Recorder : ORVFile::ObserverCallInterface {
  explicit Recorder(Log& log, const ORV::SmartPtr<ORV::UnhandledExceptionFunction>& onException = nullptr)
      : ObserverCallInterface(onException), log(log) {}
  ~Recorder() override { log.Add(L"destroyed"); }
  void FileAdded(const ORVFile::WPath& path) override { Record(L"A:" + path.FullPath()); }
  void FileModified(const ORVFile::WPath& path) override { Record(L"M:" + path.FullPath()); }
  void DirectoryAdded(const ORVFile::WPath& path) override { Record(L"D:" + path.FullPath()); }
  void PathRemoved(const ORVFile::WPath& path) override { Record(L"R:" + path.FullPath()); }
  void Record(const std::wstring& call) {
    log.Add(call);
    if (hook) hook(call);
  }

  Log& log;
  std::function<void(const std::wstring& call)> hook;
};

struct WatchTest : TempDirTest {
  /// The directory, or a path in it, wide.
  std::wstring W(const std::string& name = "") const {
    return ORV::ConvertToWide(name.empty() ? m_dir : P(name), ORV::CHARSET_ANSI);
  }
  /// An empty file, made without truncating: under Wine the close after a
  /// truncating open flushes to disk.
  void Touch(const std::string& name) const {
    ASSERT_TRUE(ORV::Handle(::CreateFileA(P(name).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr))) << name;
  }
  std::wstring Lowered(const std::string& name) const { return ORV::ToLower(W(name)); }
};

}  // namespace orvtest
