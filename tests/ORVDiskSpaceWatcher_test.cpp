#include "win32.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <functional>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "ORVCriticalSection.h"
#include "ORVDiskSpaceWatcher.h"
#include "ORVEventSemaphore.h"
#include "ORVThread.h"
#include "ORVThreadTestSupport.h"
#include "ORVWatcherSeam.h"

using namespace ORVFile;
using ORV::CriticalSection;
using ORV::CriticalSectionLock;
using ORV::EventSemaphore;
using orvtest::kPatience;

namespace {

struct Shortfall {
  std::string path;
  std::uint64_t available, required;
  bool operator==(const Shortfall& o) const {
    return path == o.path && available == o.available && required == o.required;
  }
};
using Pass = std::vector<Shortfall>;

std::ostream& operator<<(std::ostream& out, const Shortfall& s) {
  return out << "{" << s.path << " " << s.available << "/" << s.required << "}";
}

// Free space is what the test says: every directory has g_free bytes, and
// each query counts, so that a test can wait for a number of passes.
std::atomic<std::uint64_t> g_free{1000};
std::atomic<int> g_queries{0};
EventSemaphore g_queried(false, false);

std::uint64_t FakeAvailableBytes(const Path&) {
  ++g_queries;
  g_queried.Set();
  return g_free;
}

/// Lets the worker make that many more queries of free space (so at least as
/// many passes over one directory), then pauses it.
void RunQueriesThenPause(DiskSpaceWatcher& watcher, int queries) {
  const int target = g_queries + queries;
  while (g_queries < target) ASSERT_TRUE(g_queried.Wait(kPatience));
  watcher.Pause();
}

// Records every callback call: its shortfalls and its thread. hook, when
// set, runs on the worker after the call is recorded.
class Recorder {
 public:
  std::function<void(int call)> hook;

  SmartPtr<ORV::Function> Callback() {
    return ORV::MakeFunction([this](void* argument) {
      Pass pass;
      for (const auto& n : *static_cast<DiskSpaceWatcherNotifications*>(argument))
        pass.push_back({n.Path(), n.Available(), n.Required()});
      int call;
      {
        CriticalSectionLock lock(m_lock);
        m_passes.push_back(pass);
        m_threads.push_back(::GetCurrentThreadId());
        m_names.insert(orvtest::CurrentThreadName());
        call = static_cast<int>(m_passes.size());
      }
      m_called.Set();
      if (hook) hook(call);
    });
  }

  /// Waits until the callback has been called count times in all.
  bool WaitCalls(std::size_t count) {
    while (Calls() < count)
      if (!m_called.Wait(kPatience)) return false;
    return true;
  }

  std::size_t Calls() {
    CriticalSectionLock lock(m_lock);
    return m_passes.size();
  }
  std::vector<Pass> Passes() {
    CriticalSectionLock lock(m_lock);
    return m_passes;
  }
  DWORD LastThread() {
    CriticalSectionLock lock(m_lock);
    return m_threads.back();
  }
  std::set<DWORD> Threads(std::size_t from) {
    CriticalSectionLock lock(m_lock);
    return std::set<DWORD>(m_threads.begin() + static_cast<std::ptrdiff_t>(from), m_threads.end());
  }
  std::set<std::wstring> Names() {
    CriticalSectionLock lock(m_lock);
    return m_names;
  }

 private:
  CriticalSection m_lock{4000};
  EventSemaphore m_called{false, false};
  std::vector<Pass> m_passes;
  std::vector<DWORD> m_threads;
  std::set<std::wstring> m_names;
};

class DiskSpaceWatcherTest : public orvtest::TempDirTest {
 protected:
  void SetUp() override {
    TempDirTest::SetUp();
    m_path = Narrow(m_dir);
    m_file = m_path + "\\file.txt";
    Write(P(L"file.txt"), "");
    m_saved = detail::AvailableBytesForTesting();
    detail::AvailableBytesForTesting() = FakeAvailableBytes;
    g_free = 1000;
  }

  void TearDown() override {
    detail::AvailableBytesForTesting() = m_saved;
    EXPECT_TRUE(::DeleteFileA(m_file.c_str()));
    TempDirTest::TearDown();
  }

  std::string m_path, m_file;  // the directory and a file in it, narrow
  detail::AvailableBytesCall m_saved = nullptr;
};

}  // namespace

TEST_F(DiskSpaceWatcherTest, ReportsTheShortEntriesOfEachPassInListOrder) {
  struct Row {
    std::vector<std::pair<char, std::uint64_t>> entries;  // d directory, f file, m missing; required
    Pass expected;
  };
  const std::string d = m_path;
  const Row rows[] = {
      {{{'d', 1000}}, {}},                         // equal is enough
      {{{'d', 1001}}, {{d, 1000, 1001}}},          // one byte more is short
      {{{'f', 5000}, {'m', 5000}, {'d', 0}}, {}},  // files and missing paths are skipped
      {{{'d', 2000}, {'d', 500}, {'d', 1001}}, {{d, 1000, 2000}, {d, 1000, 1001}}},  // each by itself
      {{}, {}},
  };
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    Recorder recorder;
    SmartPtr<DiskSpaceWatcher> watcher(new DiskSpaceWatcher(recorder.Callback(), 0));
    int directories = 0;
    for (const auto& [kind, required] : rows[i].entries) {
      directories += kind == 'd';
      watcher->AddWatchedPath(kind == 'd' ? m_path : kind == 'f' ? m_file : m_path + "\\missing", required);
    }
    if (directories == 0) watcher->AddWatchedPath(m_path, 0);  // counts the passes, never short
    RunQueriesThenPause(*watcher, 3 * std::max(directories, 1));
    const std::vector<Pass> passes = recorder.Passes();
    // No memory between passes: a shortfall comes in every one.
    EXPECT_EQ(passes.empty(), rows[i].expected.empty()) << i;
    EXPECT_GE(passes.size(), rows[i].expected.empty() ? 0u : 3u) << i;
    for (const Pass& pass : passes) EXPECT_EQ(pass, rows[i].expected) << i;
  }
}

TEST_F(DiskSpaceWatcherTest, ChecksAtOnceThenOncePerPeriodOnItsNamedThread) {
  g_free = 10;
  Recorder recorder;
  // An hour's period: the call can only come from the check made at once.
  SmartPtr<DiskSpaceWatcher> watcher(new DiskSpaceWatcher(recorder.Callback(), 3600));
  watcher->Pause();
  watcher->AddWatchedPath(m_path, 11);
  watcher->Resume();
  ASSERT_TRUE(recorder.WaitCalls(1));
  EXPECT_EQ(recorder.Names(), std::set<std::wstring>{L"DiskSpaceWatcher"});

  Recorder periodic;
  watcher = SmartPtr<DiskSpaceWatcher>(new DiskSpaceWatcher(periodic.Callback(), 1));
  watcher->Pause();
  watcher->AddWatchedPath(m_path, 11);
  const ULONGLONG start = ::GetTickCount64();
  watcher->Resume();
  ASSERT_TRUE(periodic.WaitCalls(3));
  EXPECT_GE(::GetTickCount64() - start, 1900u);  // three passes hold two periods

  // The shortfall ends: nothing more is sent.
  watcher->Pause();
  const std::size_t calls = periodic.Calls();
  g_free = 11;
  watcher->Resume();
  RunQueriesThenPause(*watcher, 1);
  EXPECT_EQ(periodic.Calls(), calls);
}

TEST_F(DiskSpaceWatcherTest, RemoveFindsTheFirstEntryIgnoringTheCaseOfItsFirst65535Characters) {
  std::string upper = m_path;
  for (char& c : upper) c = static_cast<char>(::toupper(static_cast<unsigned char>(c)));
  // Trailing separators: a long text that still names the directory.
  const std::string padded = m_path + std::string(65535 - m_path.size(), '\\');
  struct Row {
    std::string added, removed;
    bool removes;
  };
  const Row rows[] = {
      {m_path, upper, true},
      {upper, m_path, true},
      {m_path, m_path + "\\", false},
      {padded + "\\", padded + "x", true},             // the 65536th character is not compared
      {padded, padded.substr(0, 65534) + "x", false},  // the 65535th is
  };
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    Recorder recorder;
    g_free = 0;
    SmartPtr<DiskSpaceWatcher> watcher(new DiskSpaceWatcher(recorder.Callback(), 0));
    watcher->Pause();
    watcher->AddWatchedPath(rows[i].added, 1);
    watcher->AddWatchedPath(rows[i].added, 2);
    watcher->AddWatchedPath(m_path, 3);
    watcher->RemoveWatchedPath(rows[i].removed);
    watcher->Resume();
    ASSERT_TRUE(recorder.WaitCalls(1)) << i;
    watcher.Reset();
    const std::vector<Pass> passes = recorder.Passes();
    std::vector<std::uint64_t> left;
    for (const Shortfall& s : passes[0]) left.push_back(s.required);
    EXPECT_EQ(left, (rows[i].removes ? std::vector<std::uint64_t>{2, 3} : std::vector<std::uint64_t>{1, 2, 3})) << i;
  }
}

TEST_F(DiskSpaceWatcherTest, TheCallbackMayChangeTheListAndPauseOrResumeItsWatcher) {
  g_free = 0;
  // The list, changed from the callback and, while it runs, from another
  // thread: the lock is not held (it would let the worker itself in again).
  {
    Recorder recorder;
    SmartPtr<DiskSpaceWatcher> watcher(new DiskSpaceWatcher(recorder.Callback(), 0));
    recorder.hook = [&](int call) {
      if (call != 1) return;
      watcher->ClearWatchedPaths();
      SmartPtr<ORV::Thread> other(
          new ORV::Thread(L"other", ORV::MakeFunction([&](void*) { watcher->AddWatchedPath(m_path, 7); })));
      other->Run();
      EXPECT_TRUE(other->Join(kPatience));
    };
    watcher->AddWatchedPath(m_path, 5);
    ASSERT_TRUE(recorder.WaitCalls(2));
    watcher->Pause();
    EXPECT_EQ(recorder.Passes()[0], (Pass{{m_path, 0, 5}}));
    EXPECT_EQ(recorder.Passes()[1], (Pass{{m_path, 0, 7}}));
  }
  // Pause from the callback: the worker ends without waiting for itself.
  {
    Recorder recorder;
    EventSemaphore paused(true, false);
    SmartPtr<DiskSpaceWatcher> watcher(new DiskSpaceWatcher(recorder.Callback(), 0));
    recorder.hook = [&](int) {
      watcher->Pause();
      paused.Set();
    };
    watcher->AddWatchedPath(m_path, 1);
    ASSERT_TRUE(paused.Wait(kPatience));
    EXPECT_TRUE(watcher->Paused());
    ASSERT_TRUE(orvtest::WaitThreadEnd(recorder.LastThread()));
    recorder.hook = nullptr;
    watcher->Resume();
    ASSERT_TRUE(recorder.WaitCalls(2));
  }
  // Pause and Resume from the callback: the old worker must not go on.
  {
    Recorder recorder;
    SmartPtr<DiskSpaceWatcher> watcher(new DiskSpaceWatcher(recorder.Callback(), 0));
    recorder.hook = [&](int call) {
      if (call != 1) return;
      watcher->Pause();
      watcher->Resume();
    };
    watcher->AddWatchedPath(m_path, 1);
    ASSERT_TRUE(recorder.WaitCalls(50));
    watcher->Pause();
    EXPECT_EQ(recorder.Threads(1).size(), 1u);
    EXPECT_EQ(recorder.Threads(0).size(), 2u);
  }
}

TEST_F(DiskSpaceWatcherTest, PauseStopsResumeRestartsAndAThrowingCallbackOnlyEndsTheWorker) {
  Recorder recorder;
  g_free = 0;
  SmartPtr<DiskSpaceWatcher> watcher(new DiskSpaceWatcher(recorder.Callback(), 0));
  EXPECT_FALSE(watcher->Paused());
  watcher->AddWatchedPath(m_path, 1);
  ASSERT_TRUE(recorder.WaitCalls(1));
  watcher->Pause();
  EXPECT_TRUE(watcher->Paused());
  const std::size_t calls = recorder.Calls();
  EXPECT_EQ(recorder.Calls(), calls);  // the worker has ended: nothing can call any more

  // Resume on a running watcher keeps its worker.
  watcher->Resume();
  ASSERT_TRUE(recorder.WaitCalls(calls + 1));
  watcher->Resume();
  watcher->Resume();
  ASSERT_TRUE(recorder.WaitCalls(calls + 20));
  watcher->Pause();
  EXPECT_EQ(recorder.Threads(calls).size(), 1u);

  // A throwing callback ends the worker (the default handler reports it):
  // the watcher still looks running, and Resume starts a new worker.
  recorder.hook = [](int) { throw std::runtime_error("callback failed"); };
  const std::size_t before = recorder.Calls();
  watcher->Resume();
  ASSERT_TRUE(recorder.WaitCalls(before + 1));
  ASSERT_TRUE(orvtest::WaitThreadEnd(recorder.LastThread()));
  EXPECT_EQ(recorder.Calls(), before + 1);
  recorder.hook = nullptr;
  EXPECT_FALSE(watcher->Paused());
  watcher->Resume();
  ASSERT_TRUE(recorder.WaitCalls(before + 2));
  watcher->Pause();
}

TEST_F(DiskSpaceWatcherTest, AThousandPauseResumeCyclesLeaveNothingBehind) {
  Recorder recorder;
  const orvtest::Resources before = orvtest::TakeResources();
  {
    SmartPtr<DiskSpaceWatcher> watcher(new DiskSpaceWatcher(recorder.Callback(), 3600));
    watcher->AddWatchedPath(m_path, 1);
    for (int i = 0; i < 1000; ++i) {
      watcher->Pause();
      watcher->Resume();
    }
  }
  orvtest::ExpectNothingLeftBehind(before);
}

TEST_F(DiskSpaceWatcherTest, AsksTheVolumeForItsFreeSpace) {
  detail::AvailableBytesForTesting() = m_saved;
  Recorder recorder;
  SmartPtr<DiskSpaceWatcher> watcher(new DiskSpaceWatcher(recorder.Callback(), 3600));
  watcher->AddWatchedPath(m_file, ~0ull);
  watcher->AddWatchedPath(m_path, ~0ull);
  ASSERT_TRUE(recorder.WaitCalls(1));
  watcher.Reset();
  const Pass pass = recorder.Passes()[0];
  ASSERT_EQ(pass.size(), 1u);
  EXPECT_EQ(pass[0].path, m_path);
  EXPECT_GT(pass[0].available, 0u);
}
