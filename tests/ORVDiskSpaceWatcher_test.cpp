#include "win32.h"

#include <gtest/gtest.h>

#include <atomic>

#include "ORVDiskSpaceWatcher.h"
#include "ORVObserverTestSupport.h"
#include "ORVThread.h"
#include "ORVWatcherSeam.h"

using namespace ORVFile;
using namespace orvtest;

namespace {

// Free space is what the test says, for every directory; each query counts,
// so that a test can wait for a number of passes.
std::atomic<std::uint64_t> g_free{1000};
Log g_queries;

using Entries = std::vector<std::pair<std::string, std::uint64_t>>;

std::wstring Shortfall(const std::string& path, std::uint64_t available, std::uint64_t required) {
  return ORV::ConvertToWide(path, ORV::CHARSET_ANSI) + L" " + std::to_wstring(available) + L"/" +
         std::to_wstring(required) + L";";
}

// Each callback call's shortfalls in passes, its thread's id and name in
// threads; hook, set while no worker runs, follows with the call's number.
struct Callbacks {
  Log passes, threads;
  std::function<void(std::size_t call)> hook;

  SmartPtr<ORV::Function> Callback() {
    return ORV::MakeFunction([this](void* argument) {
      std::wstring pass;
      for (const auto& n : *static_cast<DiskSpaceWatcherNotifications*>(argument))
        pass += Shortfall(n.Path(), n.Available(), n.Required());
      threads.Add(std::to_wstring(::GetCurrentThreadId()) + L" " + CurrentThreadName());
      passes.Add(pass);
      if (hook) hook(passes.Get().size());
    });
  }
  bool WaitCalls(std::size_t count) {
    return passes.WaitUntil([&](const Calls& calls) { return calls.size() >= count; });
  }
  bool Ended(std::size_t call) { return WaitThreadEnd(std::stoul(threads.Get().at(call - 1))); }
};

struct DiskSpaceWatcherTest : TempDirTest {
  void SetUp() override {
    TempDirTest::SetUp();
    Put("file.txt", "");
    detail::AvailableBytesForTesting() = [](const Path&) -> std::uint64_t { return g_queries.Add(L"?"), g_free; };
    g_free = 1000;
  }
  void TearDown() override {
    detail::AvailableBytesForTesting() = m_saved;
    Remove("file.txt");
    TempDirTest::TearDown();
  }

  /// Running over entries added (and one removed) while it was paused: every pass sees them all.
  static SmartPtr<DiskSpaceWatcher> Watching(Callbacks& recorder, unsigned period, const Entries& entries,
                                             const std::string& removed = "") {
    SmartPtr<DiskSpaceWatcher> watcher(new DiskSpaceWatcher(recorder.Callback(), period));
    watcher->Pause();
    for (const auto& [path, required] : entries) watcher->AddWatchedPath(path, required);
    watcher->RemoveWatchedPath(removed);
    watcher->Resume();
    return watcher;
  }

  const detail::AvailableBytesCall m_saved = detail::AvailableBytesForTesting();
};

}  // namespace

// Every pass reports each short entry again, in list order, the first at once
// and the others once per period.
TEST_F(DiskSpaceWatcherTest, ReportsTheShortEntriesOfEveryPassInListOrder) {
  const std::pair<Entries, std::wstring> rows[] = {
      {{{m_dir, 1000}, {P("file.txt"), 5000}, {P("missing"), 5000}},
       L""},  // equal is enough; files, missing paths skipped
      {{{m_dir, 2000}, {m_dir, 500}, {m_dir + "\\", 1001}},
       Shortfall(m_dir, 1000, 2000) + Shortfall(m_dir + "\\", 1000, 1001)},
  };
  for (const auto& [entries, pass] : rows) {
    Callbacks recorder;
    const std::size_t queries = g_queries.Get().size() + 9;
    SmartPtr<DiskSpaceWatcher> watcher = Watching(recorder, 0, entries);
    ASSERT_TRUE(g_queries.WaitUntil([&](const Calls& calls) { return calls.size() >= queries; }));
    watcher->Pause();  // three passes or more
    EXPECT_EQ(recorder.passes.Get().size() >= 3, !pass.empty());
    EXPECT_EQ(recorder.passes.Get(), Calls(recorder.passes.Get().size(), pass));
  }
  Callbacks timed;
  const ULONGLONG start = ::GetTickCount64();
  SmartPtr<DiskSpaceWatcher> watcher = Watching(timed, 1, {{m_dir, 1001}});
  ASSERT_TRUE(timed.WaitCalls(2));
  EXPECT_GE(::GetTickCount64() - start, 900u);  // two passes hold a period
}

TEST_F(DiskSpaceWatcherTest, RemoveTakesTheFirstEntryEqualInItsFirst65535CharactersIgnoringTheCaseOfAToZ) {
  std::string upper = m_dir;
  for (char& c : upper) c = static_cast<char>(::toupper(static_cast<unsigned char>(c)));
  const std::string padded = m_dir + std::string(65535 - m_dir.size(), '\\');  // still names the directory
  const std::tuple<std::string, std::string, bool> rows[] = {
      // added, removed, removes
      {upper, m_dir, true},
      {m_dir, m_dir + "\\", false},
      {padded + "\\", padded + "x", true},             // the 65536th character is not compared
      {padded, padded.substr(0, 65534) + "x", false},  // the 65535th is
  };
  g_free = 0;
  for (const auto& [added, removed, removes] : rows) {
    Callbacks recorder;
    SmartPtr<DiskSpaceWatcher> watcher = Watching(recorder, 3600, {{added, 1}, {added, 2}, {m_dir, 3}}, removed);
    ASSERT_TRUE(recorder.WaitCalls(1));
    EXPECT_EQ(recorder.passes.Get()[0],
              (removes ? L"" : Shortfall(added, 0, 1)) + Shortfall(added, 0, 2) + Shortfall(m_dir, 0, 3))
        << removed.size();
  }
}

// The callback runs outside the list's lock, on the worker named after the
// watcher. A worker paused and resumed from its callback ends as the callback
// returns, though its hour's wait would keep it; one paused from its callback
// stays paused. A throwing callback ends its worker, and Resume, which leaves
// a running worker alone, starts another.
TEST_F(DiskSpaceWatcherTest, TheCallbackMayChangeTheListAndPauseOrResumeItsWatcher) {
  g_free = 0;
  Callbacks recorder;
  SmartPtr<DiskSpaceWatcher> watcher(new DiskSpaceWatcher(recorder.Callback(), 3600));
  watcher->Pause();
  recorder.hook = [&](std::size_t call) {
    if (call == 1) watcher->ClearWatchedPaths();
    if (call == 3) throw std::runtime_error("callback failed");  // to the default handler
    SmartPtr<ORV::Thread> other(
        new ORV::Thread(L"other", ORV::MakeFunction([&](void*) { watcher->AddWatchedPath(m_dir, 6 + call); })));
    other->Run();
    EXPECT_TRUE(other->Join(kPatience));
    if (call <= 2) watcher->Pause();
    if (call == 1) watcher->Resume();
  };
  watcher->AddWatchedPath(m_dir, 5);
  watcher->Resume();
  ASSERT_TRUE(recorder.WaitCalls(2) && recorder.Ended(1) && recorder.Ended(2));
  EXPECT_TRUE(watcher->Paused());
  watcher->Resume();
  ASSERT_TRUE(recorder.WaitCalls(3) && recorder.Ended(3));
  EXPECT_FALSE(watcher->Paused());
  watcher->Resume();
  ASSERT_TRUE(recorder.WaitCalls(4));
  watcher->Pause();
  const std::wstring both = Shortfall(m_dir, 0, 7) + Shortfall(m_dir, 0, 8);
  EXPECT_EQ(recorder.passes.Get(), (Calls{Shortfall(m_dir, 0, 5), Shortfall(m_dir, 0, 7), both, both}));
  const Calls threads = recorder.threads.Get();
  EXPECT_EQ(std::set<std::wstring>(threads.begin(), threads.end()).size(), 4u);
  EXPECT_EQ(threads[0].substr(threads[0].find(L' ')), L" DiskSpaceWatcher");
}

TEST_F(DiskSpaceWatcherTest, PauseResumeCyclesLeaveNothingBehindAndTheVolumeIsAsked) {
  detail::AvailableBytesForTesting() = m_saved;
  Callbacks recorder;
  std::vector<int> before;
  // The first round sets up what the process keeps for good (each test runs in
  // a process of its own): count from the second.
  for (int round = 0; round < 2; ++round) {
    before = TakeResources();
    SmartPtr<DiskSpaceWatcher> watcher = Watching(recorder, 3600, {{m_dir, ~0ull}});
    for (int i = 0; i < 50 * TestScale(); ++i) {
      watcher->Pause();
      watcher->Resume();
    }
    ASSERT_TRUE(recorder.WaitCalls(round + 1));
  }
  EXPECT_EQ(TakeResources(), before);
  EXPECT_EQ(recorder.passes.Get()[0].find(L" 0/"), std::wstring::npos);  // some space is free
}
