#include "win32.h"

#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <set>

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
  }
  void TearDown() override {
    detail::AvailableBytesForTesting() = m_saved;
    Remove("file.txt");
    TempDirTest::TearDown();
  }

  const detail::AvailableBytesCall m_saved = detail::AvailableBytesForTesting();
};

}  // namespace

// Each round lists every text once, in random order, and one again, then
// removes two (one of them each text in turn); the watcher, paused meanwhile,
// then reports in every pass (period 0: one after another) the short
// directories of the same list kept plainly, in list order. Texts of one key
// are one path to Remove: the case of A to Z and what follows the 65535th
// character do not count. With seed 7, each of these rules, and taking the
// first of equal entries, changes what some round reports.
TEST_F(DiskSpaceWatcherTest, EveryPassReportsTheShortDirectoriesOfAModelList) {
  const std::string padded = m_dir + std::string(65535 - m_dir.size(), '\\');  // still names the directory
  const std::string texts[] = {m_dir,         ORV::ToLower(m_dir),     m_dir + "\\",  padded,
                               padded + "\\", padded.substr(0, 65534), P("file.txt"), P("missing")};
  const int keys[] = {0, 0, 1, 2, 2, 3, 4, 5};                 // from 4 on: not a directory
  const std::uint64_t required[] = {1000, 1001, 1002, ~0ull};  // 1000 free: equal is enough
  std::vector<std::size_t> order{0, 1, 2, 3, 4, 5, 6, 7};
  std::mt19937 random(7);
  Callbacks recorder;
  std::vector<int> resources;
  SmartPtr<DiskSpaceWatcher> watcher(new DiskSpaceWatcher(recorder.Callback(), 0));
  watcher->Pause();
  for (int round = 0; round < 12 * TestScale(); ++round) {
    if (round == 1) resources = TakeResources();  // after what the first round sets up for good
    std::shuffle(order.begin(), order.end(), random);
    order.push_back(random() % 8);
    std::vector<std::pair<std::size_t, std::uint64_t>> model;  // text, required
    watcher->ClearWatchedPaths();
    for (const std::size_t t : order) {
      model.push_back({t, required[round % 4 == 3 ? 0 : random() % 4]});  // every fourth: no call
      watcher->AddWatchedPath(texts[t], model.back().second);
    }
    order.pop_back();
    for (const std::size_t t : {static_cast<std::size_t>(round % 8), static_cast<std::size_t>(random() % 8)}) {
      const auto found =
          std::find_if(model.begin(), model.end(), [&](const auto& e) { return keys[e.first] == keys[t]; });
      if (found != model.end()) model.erase(found);
      watcher->RemoveWatchedPath(texts[t]);
    }
    std::wstring expected;
    std::size_t perPass = 0;
    for (const auto& [t, bytes] : model) {
      perPass += keys[t] < 4;
      if (keys[t] < 4 && bytes > 1000) expected += Shortfall(texts[t], 1000, bytes);
    }
    const std::size_t before = recorder.passes.Get().size(), queries = g_queries.Get().size() + 2 * perPass;
    watcher->Resume();
    ASSERT_TRUE(g_queries.WaitUntil([&](const Calls& calls) { return calls.size() >= queries; }));
    watcher->Pause();  // after two passes or more
    const Calls all = recorder.passes.Get(), passes(all.begin() + before, all.end());
    EXPECT_EQ(passes, Calls(expected.empty() ? 0 : std::max<std::size_t>(passes.size(), 2), expected)) << round;
  }
  EXPECT_EQ(TakeResources(), resources);
  detail::AvailableBytesForTesting() = m_saved;
  Callbacks timed;
  const ULONGLONG start = ::GetTickCount64();
  SmartPtr<DiskSpaceWatcher> periodic(new DiskSpaceWatcher(timed.Callback(), 1));
  periodic->AddWatchedPath(m_dir, ~0ull);  // seen by the first pass or the next
  ASSERT_TRUE(timed.WaitCalls(2));
  EXPECT_GE(::GetTickCount64() - start, 900u);                        // two passes hold a period
  EXPECT_EQ(timed.passes.Get()[0].find(L" 0/"), std::wstring::npos);  // the volume is asked: some space is free
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
  ASSERT_TRUE(recorder.WaitCalls(2) && recorder.Ended(1) && recorder.Ended(2) && watcher->Paused());
  watcher->Resume();
  ASSERT_TRUE(recorder.WaitCalls(3) && recorder.Ended(3) && !watcher->Paused());
  watcher->Resume();
  ASSERT_TRUE(recorder.WaitCalls(4));
  watcher->Pause();
  const std::wstring both = Shortfall(m_dir, 0, 7) + Shortfall(m_dir, 0, 8);
  EXPECT_EQ(recorder.passes.Get(), (Calls{Shortfall(m_dir, 0, 5), Shortfall(m_dir, 0, 7), both, both}));
  const Calls threads = recorder.threads.Get();
  EXPECT_EQ(std::set<std::wstring>(threads.begin(), threads.end()).size(), 4u);
  EXPECT_EQ(threads[0].substr(threads[0].find(L' ')), L" DiskSpaceWatcher");
}
