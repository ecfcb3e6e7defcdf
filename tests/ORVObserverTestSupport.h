// What the observer and change-source tests share: a log of handler calls
// that outlives the observer that writes it, and an observer that writes it.
#pragma once

#include "win32.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "ORVCriticalSection.h"
#include "ORVEventSemaphore.h"
#include "ORVObserverCallInterface.h"
#include "ORVThreadTestSupport.h"

namespace orvtest {

/// One handler call: 'A' FileAdded, 'M' FileModified, 'D' DirectoryAdded,
/// 'R' PathRemoved, and the path as the handler got it.
struct Call {
  char handler;
  std::wstring path;
  bool operator==(const Call& o) const { return handler == o.handler && path == o.path; }
};

inline std::ostream& operator<<(std::ostream& out, const Call& call) {
  return out << call.handler << ":" << std::string(call.path.begin(), call.path.end());
}

class Log {
 public:
  void Add(const Call& call) {
    {
      ORV::CriticalSectionLock lock(m_lock);
      m_calls.push_back(call);
    }
    m_changed.Set();
  }

  std::vector<Call> Calls() {
    ORV::CriticalSectionLock lock(m_lock);
    return m_calls;
  }

  /// Waits until a call satisfies done (checked on every change).
  template <class Done>
  bool WaitUntil(Done done) {
    for (;;) {
      {
        ORV::CriticalSectionLock lock(m_lock);
        if (done(m_calls)) return true;
      }
      if (!m_changed.Wait(kPatience)) return false;
    }
  }

  bool WaitFor(char handler, const std::wstring& path) {
    return WaitUntil([&](const std::vector<Call>& calls) {
      for (const Call& c : calls)
        if (c.handler == handler && c.path == path) return true;
      return false;
    });
  }

 private:
  ORV::CriticalSection m_lock{4000};
  ORV::EventSemaphore m_changed{false, false};
  std::vector<Call> m_calls;
};

/// Writes every handler call to a log; hook, set before events are posted,
/// runs on the worker after the call is logged.
class Recorder : public ORVFile::ObserverCallInterface {
 public:
  explicit Recorder(Log& log, const ORV::SmartPtr<ORV::UnhandledExceptionFunction>& onException = nullptr)
      : ObserverCallInterface(onException), m_log(log) {}

  std::function<void(const Call&)> hook;

  void FileAdded(const ORVFile::WPath& path) override { Record('A', path); }
  void FileModified(const ORVFile::WPath& path) override { Record('M', path); }
  void DirectoryAdded(const ORVFile::WPath& path) override { Record('D', path); }
  void PathRemoved(const ORVFile::WPath& path) override { Record('R', path); }

 private:
  void Record(char handler, const ORVFile::WPath& path) {
    const Call call{handler, path.FullPath()};
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
