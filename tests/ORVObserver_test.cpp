#include "win32.h"

#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "ORVObserverTestSupport.h"
#include "ORVThread.h"
#include "ORVThreadException.h"

using namespace ORVFile;
using namespace orvtest;
using ORV::EventSemaphore;
using Calls = std::vector<std::wstring>;

namespace {

SmartPtr<ORV::Thread> Started(const SmartPtr<ORV::Function>& f) {
  SmartPtr<ORV::Thread> thread(new ORV::Thread(L"helper", f));
  thread->Run();
  return thread;
}

// Counts what reaches PathRemoved; the other handlers are not reached here.
struct Counter : ObserverCallInterface {
  std::function<void(const std::wstring&)> onRemoved;
  Counter() : ObserverCallInterface(nullptr) {}
  void FileAdded(const WPath&) override {}
  void FileModified(const WPath&) override {}
  void DirectoryAdded(const WPath&) override {}
  void PathRemoved(const WPath& path) override { onRemoved(path.FullPath()); }
};

using ObserverTest = TempDirTest;

}  // namespace

TEST_F(ObserverTest, DispatchesEachEventByKindAfterLookingAtTheDiskInArrivalOrder) {
  ASSERT_TRUE(::CreateDirectoryW(P(L"Sub").c_str(), nullptr));
  Write(P(L"File.TXT"), "x");
  Write(P(L"Victim.txt"), "x");
  const std::wstring dir = Lowered(P(L"sub")), file = Lowered(P(L"file.txt"));
  std::wstring slashed = P(L"FILE.txt");
  for (wchar_t& c : slashed) c = c == L'\\' ? L'/' : c;
  struct Row {
    int kind;
    std::wstring path, call;  // call "": none
  };
  const Row rows[] = {
      {DeviceEvent::Added, P(L"Sub"), L"D:" + dir},
      {DeviceEvent::Modified, P(L"File.TXT"), L"M:" + file},
      {DeviceEvent::Removed, P(L"gone"), L"R:" + Lowered(P(L"gone"))},
      {DeviceEvent::Modified, P(L"Sub"), L""},
      {DeviceEvent::Modified, P(L"gone"), L""},
      {DeviceEvent::Added, P(L"gone"), L""},
      {DeviceEvent::Added, slashed, L"A:" + file},
      {7, P(L"File.TXT"), L""},
      {DeviceEvent::Removed, P(L"Sub"), L"R:" + dir},
      {DeviceEvent::Added, P(L"Victim.txt"), L""},  // deleted before its turn, below
  };
  Log log;
  std::vector<std::wstring> names;
  EventSemaphore inside(true, false), deleted(true, false);
  SmartPtr<Recorder> observer(new Recorder(log));
  observer->hook = [&](const std::wstring& call) {
    names.push_back(CurrentThreadName());
    if (call != L"R:gate") return;
    inside.Set();
    EXPECT_TRUE(deleted.Wait(kPatience));
  };
  std::vector<DeviceEvent> batch{{DeviceEvent::Removed, L"gate"}};
  Calls expected{L"R:gate"};
  for (const Row& row : rows) {
    batch.push_back({row.kind, row.path});
    if (!row.call.empty()) expected.push_back(row.call);
  }
  observer->EventsOccurred(batch);
  observer->EventsOccurred({});  // only wakes the worker
  observer->EventsOccurred({{DeviceEvent::Removed, L"END"}});
  expected.push_back(L"R:end");
  ASSERT_TRUE(inside.Wait(kPatience));
  ASSERT_TRUE(::DeleteFileW(P(L"Victim.txt").c_str()));
  deleted.Set();
  ASSERT_TRUE(log.WaitFor(L"R:end"));
  observer->Shutdown();
  observer.Reset();
  EXPECT_EQ(log.Calls(), expected);
  EXPECT_EQ(names, Calls(expected.size(), L"ObserverCallInterface::ProcessEvents"));
  ASSERT_TRUE(::DeleteFileW(P(L"File.TXT").c_str()));
  ASSERT_TRUE(::RemoveDirectoryW(P(L"Sub").c_str()));
}

TEST_F(ObserverTest, CountsReferencesDeliversNothingAfterShutdownAndRunsHandlersOutsideTheLock) {
  Log log;
  EventSemaphore inside(true, false), posted(true, false);
  SmartPtr<Recorder> observer(new Recorder(log));
  EXPECT_EQ(observer->AddRef(), 2);
  EXPECT_EQ(observer->Release(), 1);
  observer->hook = [&](const std::wstring& call) {
    if (call != L"R:block") return;
    inside.Set();
    // A producer on another thread gets through while this handler runs
    // (the worker's own thread would get in again even under the lock).
    EXPECT_TRUE(posted.Wait(kPatience));
    observer->EventsOccurred({{DeviceEvent::Removed, L"from-handler"}});
  };
  SmartPtr<ORV::Thread> producer = Started(ORV::MakeFunction([&](void*) {
    EXPECT_TRUE(inside.Wait(kPatience));
    observer->EventsOccurred({{DeviceEvent::Removed, L"from-producer"}});
    posted.Set();
  }));
  observer->EventsOccurred({{DeviceEvent::Removed, L"block"}});
  ASSERT_TRUE(log.WaitFor(L"R:from-handler"));
  EXPECT_EQ(observer->Shutdown(), 0);
  observer->EventsOccurred({{DeviceEvent::Removed, L"after"}});  // kept, never delivered
  observer.Reset();
  EXPECT_EQ(log.Calls(), (Calls{L"R:block", L"R:from-producer", L"R:from-handler"}));

  // The directory interface counts itself; a copy starts afresh, assignment keeps the count.
  struct Directory : DirectoryObserverCallInterface {
    void ChangesOccurred(const std::vector<DeviceEvent>&) override {}
    void ChangesLost(const std::wstring&) override {}
  } a, b;
  a.AddRef();
  a.AddRef();
  Directory copy(a);
  b = a;
  EXPECT_EQ((std::vector<long>{a.NbRef(), copy.NbRef(), b.NbRef()}), (std::vector<long>{2, 0, 0}));
}

// Eight producers post 10,000 events each in batches of random size while
// the handler posts one of its own for every hundredth: every event arrives
// exactly once, and each stream in its order.
TEST_F(ObserverTest, EightProducersAndAPostingHandlerLoseNothingAndKeepEachStreamInOrder) {
  constexpr int kProducers = 8, kEach = 10000, kEvery = 100, kTotal = kProducers * (kEach + kEach / kEvery);
  std::map<std::wstring, int> next;  // stream -> next sequence number (worker only)
  int outOfOrder = 0, delivered = 0;
  EventSemaphore all(true, false);
  SmartPtr<Counter> observer(new Counter);
  observer->onRemoved = [&](const std::wstring& path) {
    const std::wstring stream = path.substr(0, path.find(L'\\'));
    const int sequence = std::stoi(path.substr(stream.size() + 1));
    outOfOrder += sequence != next[stream]++;
    if (stream[0] == L'p' && sequence % kEvery == 0)
      observer->EventsOccurred(
          {{DeviceEvent::Removed, L"H" + stream.substr(1) + L"\\" + std::to_wstring(sequence / kEvery)}});
    if (++delivered == kTotal) all.Set();
  };
  std::vector<SmartPtr<ORV::Thread>> producers;
  for (int p = 0; p < kProducers; ++p)
    producers.push_back(Started(ORV::MakeFunction([&observer, p](void*) {
      std::mt19937 random(static_cast<unsigned>(p));
      for (int sequence = 0; sequence < kEach;) {
        std::vector<DeviceEvent> batch;
        for (int size = 1 + static_cast<int>(random() % 50); size > 0 && sequence < kEach; --size, ++sequence)
          batch.push_back({DeviceEvent::Removed, L"P" + std::to_wstring(p) + L"\\" + std::to_wstring(sequence)});
        observer->EventsOccurred(batch);
      }
    })));
  ASSERT_TRUE(all.Wait(kPatience)) << delivered << " of " << kTotal;
  observer->Shutdown();
  EXPECT_EQ(delivered, kTotal);
  EXPECT_EQ(outOfOrder, 0);
  for (int p = 0; p < kProducers; ++p) EXPECT_EQ(next[L"h" + std::to_wstring(p)], kEach / kEvery);
}

// Shutdown waits for the handler in progress, so the last Release right
// after never destroys what a handler still uses.
TEST_F(ObserverTest, ShutdownWhileBusyThenTheLastReleaseNeverRunsUnderAHandler) {
  struct Busy : Counter {
    std::atomic<bool>* running;
    bool* runningAtDestruction;
    ~Busy() override { *runningAtDestruction = *running; }
  };
  for (int round = 0; round < 20; ++round) {
    std::atomic<bool> running{false};
    bool runningAtDestruction = true;
    int handled = 0;
    EventSemaphore entered(true, false);
    SmartPtr<Busy> observer(new Busy);
    observer->running = &running;
    observer->runningAtDestruction = &runningAtDestruction;
    observer->onRemoved = [&](const std::wstring&) {
      running = true;
      entered.Set();
      for (int i = 0; i < 200; ++i) ::SwitchToThread();
      ++handled;
      running = false;
    };
    observer->EventsOccurred(std::vector<DeviceEvent>(1000, {DeviceEvent::Removed, L"x"}));
    ASSERT_TRUE(entered.Wait(kPatience));
    observer->Shutdown();
    observer.Reset();
    EXPECT_FALSE(runningAtDestruction) << round;
    EXPECT_LT(handled, 1000) << round;
  }
}

TEST_F(ObserverTest, ShutdownFromAHandlerStopsAfterItAndAThrowingHandlerEndsOnlyTheWorker) {
  {
    Log log;
    std::atomic<DWORD> worker{0};
    EventSemaphore stopped(true, false);
    SmartPtr<Recorder> observer(new Recorder(log));
    observer->hook = [&](const std::wstring& call) {
      if (call != L"R:stop") return;
      observer->Shutdown();  // cannot wait for its own thread: returns at once
      worker = ::GetCurrentThreadId();
      stopped.Set();
    };
    observer->EventsOccurred(
        {{DeviceEvent::Removed, L"a"}, {DeviceEvent::Removed, L"stop"}, {DeviceEvent::Removed, L"b"}});
    ASSERT_TRUE(stopped.Wait(kPatience));
    ASSERT_TRUE(WaitThreadEnd(worker));  // the header's rule before the last Release
    observer.Reset();
    EXPECT_EQ(log.Calls(), (Calls{L"R:a", L"R:stop"}));
  }
  Log log;
  std::wstring thread, text;
  EventSemaphore reported(true, false);
  auto onException = ORV::MakeUnhandledExceptionFunction([&](const std::wstring& name, const std::exception_ptr& e) {
    thread = name;
    text = ORV::DescribeException(e);
    reported.Set();
  });
  SmartPtr<Recorder> observer(new Recorder(log, onException));
  observer->hook = [](const std::wstring& call) {
    if (call == L"R:boom") throw std::runtime_error("handler failed");
  };
  observer->EventsOccurred({{DeviceEvent::Removed, L"boom"}, {DeviceEvent::Removed, L"after"}});
  ASSERT_TRUE(reported.Wait(kPatience));
  observer->EventsOccurred({{DeviceEvent::Removed, L"later"}});
  observer->Shutdown();
  EXPECT_EQ(thread, L"ObserverCallInterface::ProcessEvents");
  EXPECT_EQ(text, L"handler failed");
  EXPECT_EQ(log.Calls(), Calls{L"R:boom"});
}
