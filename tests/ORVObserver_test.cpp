#include "win32.h"

#include <gtest/gtest.h>

#include <array>
#include <cwctype>
#include <map>
#include <random>

#include "ORVDirectoryChangeSource.h"
#include "ORVObserverTestSupport.h"
#include "ORVThread.h"
#include "ORVThreadException.h"

using namespace ORVFile;
using namespace orvtest;
using ORV::EventSemaphore;

namespace {

constexpr auto kRemoved = DeviceEvent::Removed;

// Logs what the source hands over ("A:", "R:" with the path as the source
// gives it; "L:" and the directory for a loss), without modifications, which
// the system may coalesce or repeat.
struct Collector : DirectoryObserverCallInterface {
  void ChangesOccurred(const std::vector<DeviceEvent>& events) override {
    if (!gate.Wait(kPatience)) ADD_FAILURE() << "gate never opened";
    for (const DeviceEvent& e : events)
      if (e.kind != DeviceEvent::Modified) log.Add(std::wstring(1, L"MAR"[e.kind]) + L":" + e.path);
  }
  void ChangesLost(const std::wstring& directory) override { log.Add(L"L:" + directory); }

  Log log;
  ORV::EventSemaphore gate{true, true};  // reset before the source starts: holds up each batch
};

using ObserverTest = WatchTest;
using ChangeSourceTest = WatchTest;

}  // namespace

// Eight producers post batches of random size (empty ones too) of random
// events on a directory, a file and a missing path of their own, named in any
// case and with either separator. The calls each producer's events lead to,
// on the disk's word, lowered, in its order, are what a plain table of the
// dispatch makes of them. A handler that throws ends the worker: nothing
// follows; the last Release, without Shutdown, stops it.
TEST_F(ObserverTest, DispatchesEveryProducersEventsByKindAndDiskInTheirOrder) {
  const int each = 500 * TestScale();
  const std::wstring dispatch[] = {L"-DR-", L"MAR-", L"--R-"};  // by kind: Modified, Added, Removed, 7
  for (int p = 0; p < 8; ++p) Make({"D" + std::to_string(p) + "\\", "F" + std::to_string(p) + ".TXT"});
  Log log;
  std::array<Calls, 8> got, expected;
  SmartPtr<Recorder> observer(
      new Recorder(log, ORV::MakeUnhandledExceptionFunction([&](const std::wstring& name, const std::exception_ptr& e) {
                     log.Add(name + L": " + ORV::DescribeException(e));
                   })));
  observer->hook = [](const std::wstring& call) {
    if (call == L"R:end") throw std::runtime_error("handler failed");
  };
  const auto produce = [&](int p) {
    std::mt19937 random(static_cast<unsigned>(p));
    for (int number = 0; number < each;) {
      std::vector<DeviceEvent> batch(std::min(static_cast<int>(random() % 20), each - number));
      for (DeviceEvent& event : batch) {
        const unsigned kind = random() % 4, target = random() % 3;
        const std::string name = "DFG"[target] + std::to_string(p) + (target == 1 ? ".TXT" : "");
        event = {kind == 3 ? 7 : static_cast<int>(kind), W(name)};
        const std::size_t last = event.path.rfind(L'\\');
        for (std::size_t i = last + 1; i < event.path.size(); ++i)
          event.path[i] = random() % 2 ? std::towupper(event.path[i]) : std::towlower(event.path[i]);
        if (random() % 2) event.path[last] = L'/';
        if (dispatch[target][kind] != L'-') expected[p].push_back(dispatch[target][kind] + (L":" + Lowered(name)));
        ++number;
      }
      observer->EventsOccurred(batch);
    }
  };
  std::vector<SmartPtr<ORV::Thread>> producers;
  for (int p = 0; p < 8; ++p)
    producers.emplace_back(new ORV::Thread(L"producer", ORV::MakeFunction([&produce, p](void*) { produce(p); })))
        ->Run();
  for (const auto& producer : producers) ASSERT_TRUE(producer->Join(kPatience));
  observer->EventsOccurred({{kRemoved, L"END"}, {kRemoved, L"after"}});
  ASSERT_TRUE(log.WaitFor(L"ObserverCallInterface::ProcessEvents: handler failed"));
  observer->EventsOccurred({{kRemoved, L"later"}});
  observer.Reset();
  const Calls calls = log.Get();
  EXPECT_EQ(Calls(calls.end() - 3, calls.end()),
            (Calls{L"R:end", L"ObserverCallInterface::ProcessEvents: handler failed", L"destroyed"}));
  for (auto call = calls.begin(); call != calls.end() - 3; ++call)  // by the producer's digit after the last "\\"
    got[(*call)[call->rfind(L'\\') + 2] - L'0'].push_back(*call);
  EXPECT_EQ(got, expected);
  for (int p = 0; p < 8; ++p)
    EXPECT_TRUE(::DeleteFileA(P("F" + std::to_string(p) + ".TXT").c_str()) &&
                ::RemoveDirectoryA(P("D" + std::to_string(p)).c_str()));
}

// Shutdown returns at once, also to a caller that holds up the handler in
// progress, or from that handler (odd rounds), and nothing follows that
// handler; the last Release waits for it. The count shows the users'
// references only.
TEST_F(ObserverTest, ShutdownNeverWaitsAndTheLastReleaseNeverRunsUnderAHandler) {
  for (int round = 0; round < 6 * TestScale(); ++round) {
    Log log;
    EventSemaphore entered(true, false), proceed(true, false);
    SmartPtr<Recorder> observer(new Recorder(log));
    EXPECT_EQ(observer->AddRef() + observer->Release(), 3);
    observer->hook = [&, raw = observer.Get()](const std::wstring& call) {
      if (round % 2 == 1) raw->Shutdown();
      entered.Set();
      EXPECT_TRUE(proceed.Wait(kPatience)) << "Shutdown waited for the handler";
      ::Sleep(50);  // long enough for a Release that does not wait to destroy the recorder first
      log.Add(call + L" done");
    };
    observer->EventsOccurred({{kRemoved, L"x"}, {kRemoved, L"y"}});
    ASSERT_TRUE(entered.Wait(kPatience));
    observer->EventsOccurred({{kRemoved, L"z"}});  // the queue's lock is free while a handler runs
    if (round % 2 == 0) observer->Shutdown();
    observer->EventsOccurred({{kRemoved, L"after"}});  // kept, never delivered
    proceed.Set();
    observer.Reset();
    log.Add(L"released");
    EXPECT_EQ(log.Get(), (Calls{L"R:x", L"R:x done", L"destroyed", L"released"})) << round;
  }
}

// "C:" alone names the current directory of C:, made the test's own here;
// what happens below the root's entries is not reported.
TEST_F(ChangeSourceTest, WatchesADriveRootItself) {
  const std::wstring root = W().substr(0, 3), name = root + L"orvroot-" + std::to_wstring(::GetCurrentProcessId());
  wchar_t saved[MAX_PATH];
  ASSERT_TRUE(::GetCurrentDirectoryW(MAX_PATH, saved) && ::SetCurrentDirectoryW(W().c_str()));
  {
    SmartPtr<Collector> collector(new Collector);
    DirectoryChangeSource source(WPath(root), false, collector);
    EXPECT_EQ(source.Directory(), root);
    ASSERT_TRUE(::CreateDirectoryW(name.c_str(), nullptr) && collector->log.WaitFor(L"A:" + name));
    // Wine watches a subdirectory made under a recursive watch, once told of it.
    ASSERT_TRUE(::CreateDirectoryW((name + L"\\in").c_str(), nullptr) && ::RemoveDirectoryW((name + L"\\in").c_str()));
    ASSERT_TRUE(::RemoveDirectoryW(name.c_str()) && collector->log.WaitFor(L"R:" + name));
    const Calls calls = collector->log.Get();  // other tests may touch the root meanwhile: no exact list
    EXPECT_EQ(std::find(calls.begin(), calls.end(), L"A:" + name + L"\\in"), calls.end());
  }
  ASSERT_TRUE(::SetCurrentDirectoryW(saved));
}

// What cannot be watched is refused with message 1. A loss is never silent:
// the source tells the target, the feed counts it. Files made, renamed and
// deleted in a watched tree: unless the source reports a loss, what the
// observer was told last of each path (added or removed) is what the disk
// holds at the end. The source leaves nothing behind.
TEST_F(ChangeSourceTest, RefusesWhatItCannotWatchReportsLossesAndAgreesWithTheDisk) {
  SmartPtr<Collector> collector(new Collector);
  collector->gate.Reset();
  {
    // Room for a few notifications only, and the first batch held up while
    // two hundred more pile up. This first watch of the process also sets up
    // what the system keeps for good.
    DirectoryChangeSource source(WPath(m_dir), false, collector, 256);
    for (int i = 0; i < 200; ++i) Touch("f" + std::to_string(i));
    collector->gate.Set();
    ASSERT_TRUE(collector->log.WaitFor(L"L:" + W()));
  }
  for (const std::string& path : {P("missing\\below"), P("f0")}) {  // the file opens, then cannot be watched
    const Raised raised = Catch([&] { DirectoryChangeSource(WPath(path), false, SmartPtr<Collector>(new Collector)); });
    EXPECT_EQ(raised.type + " " + std::to_string(raised.number), "FileCannotOpenException 1") << path;
    EXPECT_NE(raised.lastError, 0u);
  }
  for (int i = 0; i < 200; ++i) Remove("f" + std::to_string(i));
  Log log;
  SmartPtr<ObserverFeed> feed(new ObserverFeed(SmartPtr<Recorder>(new Recorder(log)), ORV::MakeFunction([&](void* d) {
                                                 log.Add(L"L:" + *static_cast<const std::wstring*>(d));
                                               })));
  feed->ChangesLost(L"c:\\x");  // one loss by hand: the source's own make more
  EXPECT_EQ(std::make_pair(feed->Losses(), log.Get()), std::make_pair(1l, Calls{L"L:c:\\x"}));
  std::map<std::wstring, bool> onDisk{{Lowered("end"), true}}, told;
  const auto before = TakeResources();
  {
    DirectoryChangeSource source(WPath(W() + L"/"), true, feed, 256 * 1024);
    EXPECT_EQ(source.Directory(), W());
    for (int d = 0; d < 10; ++d) {  // made under the watch: Wine watches no older subdirectory
      const std::string dir = "D" + std::to_string(d);
      ASSERT_TRUE(::CreateDirectoryA(P(dir).c_str(), nullptr));
      ASSERT_TRUE(log.WaitFor(L"D:" + Lowered(dir)));
      for (int f = 0; f < 100 * TestScale(); ++f) {
        const std::string name = dir + "\\File" + std::to_string(f), last = name + (f % 5 == 0 ? ".ren" : "");
        Touch(name);
        if (last != name) onDisk[Lowered(name)] = !::MoveFileA(P(name).c_str(), P(last).c_str());
        if (f % 7 == 0) Remove(last);
        onDisk[Lowered(last)] = f % 7 != 0;
      }
    }
    Put("end", "");
    ASSERT_TRUE(log.WaitUntil([&](const Calls& calls) {  // modifications may follow
      return feed->Losses() > 1 || std::find(calls.begin(), calls.end(), L"A:" + Lowered("end")) != calls.end();
    }));
  }
  EXPECT_EQ(TakeResources(), before);
  for (const std::wstring& call : log.Get())
    if (call[0] == L'A' || call[0] == L'R') told[call.substr(2)] = call[0] == L'A';
  EXPECT_TRUE(feed->Losses() > 1 || told == onDisk);
  for (const auto& [path, present] : onDisk) EXPECT_TRUE(!present || ::DeleteFileW(path.c_str())) << path.c_str();
  for (int d = 0; d < 10; ++d) EXPECT_TRUE(::RemoveDirectoryA(P("D" + std::to_string(d)).c_str()));
}
