// What the observer and change-source tests share: a log of calls ("A:path"
// FileAdded, "M:" FileModified, "D:" DirectoryAdded, "R:" PathRemoved, "L:"
// a loss) that outlives the observer writing it, and that observer.
#pragma once

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "ORVCriticalSection.h"
#include "ORVEventSemaphore.h"
#include "ORVObserverCallInterface.h"
#include "ORVThreadTestSupport.h"

namespace orvtest {

class Log {
 public:
  void Add(const std::wstring& call) {
    {
      ORV::CriticalSectionLock lock(m_lock);
      m_calls.push_back(call);
    }
    m_changed.Set();
  }
  std::vector<std::wstring> Calls() {
    ORV::CriticalSectionLock lock(m_lock);
    return m_calls;
  }
  /// Waits until done(calls) holds; false when it never came.
  bool WaitUntil(const std::function<bool(const std::vector<std::wstring>&)>& done) {
    for (;;) {
      {
        ORV::CriticalSectionLock lock(m_lock);
        if (done(m_calls)) return true;
      }
      if (!m_changed.Wait(kPatience)) return false;
    }
  }
  bool WaitFor(const std::wstring& call) {
    return WaitUntil([&](const auto& calls) { return std::find(calls.begin(), calls.end(), call) != calls.end(); });
  }

 private:
  ORV::CriticalSection m_lock{4000};
  ORV::EventSemaphore m_changed{false, false};
  std::vector<std::wstring> m_calls;
};

/// Logs every handler call; hook, set before events are posted, follows on the worker.
class Recorder : public ORVFile::ObserverCallInterface {
 public:
  explicit Recorder(Log& log, const ORV::SmartPtr<ORV::UnhandledExceptionFunction>& onException = nullptr)
      : ObserverCallInterface(onException), m_log(log) {}

  std::function<void(const std::wstring& call)> hook;

  void FileAdded(const ORVFile::WPath& path) override { Record(L"A:", path); }
  void FileModified(const ORVFile::WPath& path) override { Record(L"M:", path); }
  void DirectoryAdded(const ORVFile::WPath& path) override { Record(L"D:", path); }
  void PathRemoved(const ORVFile::WPath& path) override { Record(L"R:", path); }

 private:
  void Record(const wchar_t* handler, const ORVFile::WPath& path) {
    const std::wstring call = handler + path.FullPath();
    m_log.Add(call);
    if (hook) hook(call);
  }

  Log& m_log;
};

inline std::wstring Lowered(std::wstring text) {
  for (wchar_t& c : text)
    if (c >= L'A' && c <= L'Z') c = static_cast<wchar_t>(c - L'A' + L'a');
  return text;
}

}  // namespace orvtest
