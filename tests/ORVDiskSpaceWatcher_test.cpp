#include "win32.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "ORVCriticalSection.h"
#include "ORVDiskSpaceWatcher.h"
#include "ORVThread.h"
#include "ORVThreadTestSupport.h"
#include "ORVWatcherSeam.h"

using namespace ORVFile;
using ORV::EventSemaphore;
using orvtest::kPatience;

namespace {

// Free space is what the test says (g_free for every directory), and each
// query counts, so that a test can wait for a number of passes.
std::atomic<std::uint64_t> g_free{1000};
std::atomic<int> g_queries{0};
EventSemaphore g_queried(false, false);

std::uint64_t FakeAvailableBytes(const Path&) {
  ++g_queries;
  g_queried.Set();
  return g_free;
}

/// Lets the worker make that many more queries (so at least as many passes
/// over one directory), then pauses it.
void RunQueriesThenPause(DiskSpaceWatcher& watcher, int queries) {
  for (const int target = g_queries + queries; g_queries < target;) ASSERT_TRUE(g_queried.Wait(kPatience));
  watcher.Pause();
}

// Every callback call as "available/required ..." with its thread; hook,
// set while no worker runs, follows on the worker.
class Recorder {
 public:
  std::function<void(int call)> hook;
  std::set<std::string> paths;
  std::set<std::wstring> names;

  SmartPtr<ORV::Function> Callback() {
    return ORV::MakeFunction([this](void* argument) {
      std::string pass;
      int call;
      {
        ORV::CriticalSectionLock lock(m_lock);
        for (const auto& n : *static_cast<DiskSpaceWatcherNotifications*>(argument)) {
          pass += std::to_string(n.Available()) + "/" + std::to_string(n.Required()) + " ";
          paths.insert(n.Path());
        }
        m_passes.push_back(pass);
        m_threads.push_back(::GetCurrentThreadId());
        names.insert(orvtest::CurrentThreadName());
        call = static_cast<int>(m_passes.size());
      }
      m_called.Set();
      if (hook) hook(call);
    });
  }

  bool WaitCalls(std::size_t count) {
    while (Passes().size() < count)
      if (!m_called.Wait(kPatience)) return false;
    return true;
  }
  std::vector<std::string> Passes() {
    ORV::CriticalSectionLock lock(m_lock);
    return m_passes;
  }
  /// The threads of the calls from the given one on.
  std::set<DWORD> Threads(std::size_t from = 0) {
    ORV::CriticalSectionLock lock(m_lock);
    return std::set<DWORD>(m_threads.begin() + static_cast<std::ptrdiff_t>(from), m_threads.end());
  }

 private:
  ORV::CriticalSection m_lock{4000};
  EventSemaphore m_called{false, false};
  std::vector<std::string> m_passes;
  std::vector<DWORD> m_threads;
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

TEST_F(DiskSpaceWatcherTest, ReportsTheShortEntriesOfEachPassInListOrderEveryPass) {
  struct Row {
    std::vector<std::pair<char, std::uint64_t>> entries;  // d directory, f file, m missing; required
    std::string pass;                                     // each pass's report; "": no call
  };
  const Row rows[] = {
      {{{'d', 1000}}, ""},  // equal is enough
      {{{'d', 1001}}, "1000/1001 "},
      {{{'f', 5000}, {'m', 5000}, {'d', 0}}, ""},  // files and missing paths are skipped
      {{{'d', 2000}, {'d', 500}, {'d', 1001}}, "1000/2000 1000/1001 "},
      {{}, ""},
  };
  for (const Row& row : rows) {
    Recorder recorder;
    SmartPtr<DiskSpaceWatcher> watcher(new DiskSpaceWatcher(recorder.Callback(), 0));
    int directories = 0;
    for (const auto& [kind, required] : row.entries) {
      directories += kind == 'd';
      watcher->AddWatchedPath(kind == 'd' ? m_path : kind == 'f' ? m_file : m_path + "\\missing", required);
    }
    if (directories == 0) watcher->AddWatchedPath(m_path, 0);  // counts the passes, never short
    RunQueriesThenPause(*watcher, 3 * std::max(directories, 1));
    const auto passes = recorder.Passes();
    EXPECT_EQ(passes.size() >= 3, !row.pass.empty()) << row.pass;  // no memory between passes
    for (const std::string& pass : passes) EXPECT_EQ(pass, row.pass);
    EXPECT_EQ(recorder.paths, row.pass.empty() ? std::set<std::string>{} : std::set<std::string>{m_path});
  }
}

TEST_F(DiskSpaceWatcherTest, ChecksAtOnceThenOncePerPeriodOnItsNamedThread) {
  g_free = 10;
  Recorder first, periodic;
  // An hour's period: a call can only come from the check made at once.
  SmartPtr<DiskSpaceWatcher> watcher(new DiskSpaceWatcher(first.Callback(), 3600));
  watcher->Pause();
  watcher->AddWatchedPath(m_path, 11);
  watcher->Resume();
  ASSERT_TRUE(first.WaitCalls(1));
  EXPECT_EQ(first.names, std::set<std::wstring>{L"DiskSpaceWatcher"});

  watcher = SmartPtr<DiskSpaceWatcher>(new DiskSpaceWatcher(periodic.Callback(), 1));
  watcher->Pause();
  watcher->AddWatchedPath(m_path, 11);
  const ULONGLONG start = ::GetTickCount64();
  watcher->Resume();
  ASSERT_TRUE(periodic.WaitCalls(3));
  EXPECT_GE(::GetTickCount64() - start, 1900u);  // three passes hold two periods
  watcher->Pause();
  const std::size_t calls = periodic.Passes().size();
  g_free = 11;  // the shortfall ends: nothing more is sent
  watcher->Resume();
  RunQueriesThenPause(*watcher, 1);
  EXPECT_EQ(periodic.Passes().size(), calls);
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
  g_free = 0;
  for (const Row& row : rows) {
    Recorder recorder;
    SmartPtr<DiskSpaceWatcher> watcher(new DiskSpaceWatcher(recorder.Callback(), 0));
    watcher->Pause();
    for (std::uint64_t required : {1, 2}) watcher->AddWatchedPath(row.added, required);
    watcher->AddWatchedPath(m_path, 3);
    watcher->RemoveWatchedPath(row.removed);
    watcher->Resume();
    ASSERT_TRUE(recorder.WaitCalls(1));
    watcher.Reset();
    EXPECT_EQ(recorder.Passes()[0], row.removes ? "0/2 0/3 " : "0/1 0/2 0/3 ") << row.removed.size();
  }
}

TEST_F(DiskSpaceWatcherTest, TheCallbackMayChangeTheListAndPauseOrResumeItsWatcher) {
  g_free = 0;
  {  // The list, changed from another thread while the callback runs: the lock is not held.
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
    EXPECT_EQ(recorder.Passes()[0], "0/5 ");
    EXPECT_EQ(recorder.Passes()[1], "0/7 ");
  }
  {  // Pause from the callback: the worker ends without waiting for itself.
    Recorder recorder;
    SmartPtr<DiskSpaceWatcher> watcher(new DiskSpaceWatcher(recorder.Callback(), 0));
    recorder.hook = [&](int) { watcher->Pause(); };
    watcher->AddWatchedPath(m_path, 1);
    ASSERT_TRUE(recorder.WaitCalls(1));
    ASSERT_TRUE(orvtest::WaitThreadEnd(*recorder.Threads().begin()));
    EXPECT_TRUE(watcher->Paused());
    recorder.hook = nullptr;
    watcher->Resume();
    ASSERT_TRUE(recorder.WaitCalls(2));
  }
  {  // Pause and Resume from the callback: the old worker must not go on.
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
    EXPECT_EQ(recorder.Threads().size(), 2u);
  }
}

TEST_F(DiskSpaceWatcherTest, ResumeKeepsARunningWorkerAndRestartsOneAThrowingCallbackEnded) {
  Recorder recorder;
  g_free = 0;
  SmartPtr<DiskSpaceWatcher> watcher(new DiskSpaceWatcher(recorder.Callback(), 0));
  EXPECT_FALSE(watcher->Paused());
  watcher->AddWatchedPath(m_path, 1);
  for (int i = 0; i < 3; ++i) watcher->Resume();
  ASSERT_TRUE(recorder.WaitCalls(20));
  watcher->Pause();
  EXPECT_TRUE(watcher->Paused());
  EXPECT_EQ(recorder.Threads().size(), 1u);

  // The default handler reports; the watcher still looks running.
  recorder.hook = [](int) { throw std::runtime_error("callback failed"); };
  const std::size_t before = recorder.Passes().size();
  watcher->Resume();
  ASSERT_TRUE(recorder.WaitCalls(before + 1));
  ASSERT_TRUE(orvtest::WaitThreadEnd(*recorder.Threads(before).begin()));
  EXPECT_EQ(recorder.Passes().size(), before + 1);
  EXPECT_FALSE(watcher->Paused());
  recorder.hook = nullptr;
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
  watcher->AddWatchedPath(m_path, ~0ull);
  ASSERT_TRUE(recorder.WaitCalls(1));
  watcher.Reset();
  EXPECT_NE(recorder.Passes()[0].rfind("0/", 0), 0u);
}
