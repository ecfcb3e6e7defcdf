#include "win32.h"

#include <gtest/gtest.h>

#include <atomic>
#include <iterator>
#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "ORVObserverCallInterface.h"
#include "ORVObserverTestSupport.h"
#include "ORVThread.h"
#include "ORVThreadException.h"

using namespace ORVFile;
using namespace orvtest;
using ORV::EventSemaphore;
using ORV::SmartPtr;

namespace {

SmartPtr<ORV::Thread> Started(ORV::SmartPtr<ORV::Function> f) {
  SmartPtr<ORV::Thread> thread(new ORV::Thread(L"helper", f));
  thread->Run();
  return thread;
}

using ObserverTest = TempDirTest;

}  // namespace

TEST_F(ObserverTest, DispatchesEachEventByKindAfterLookingAtTheDiskInArrivalOrder) {
  ASSERT_TRUE(::CreateDirectoryW(P(L"Sub").c_str(), nullptr));
  Write(P(L"File.TXT"), "x");
  Write(P(L"Victim.txt"), "x");
  const std::wstring dir = Lowered(P(L"sub")), file = Lowered(P(L"file.txt")), missing = Lowered(P(L"gone"));
  std::wstring slashed = P(L"FILE.txt");
  for (wchar_t& c : slashed) c = c == L'\\' ? L'/' : c;

  struct Row {
    int kind;
    std::wstring path;
    char handler;  // 0: no call
  };
  const Row rows[] = {
      {DeviceEvent::Added, P(L"Sub"), 'D'},
      {DeviceEvent::Modified, P(L"File.TXT"), 'M'},
      {DeviceEvent::Removed, P(L"gone"), 'R'},
      {DeviceEvent::Modified, P(L"Sub"), 0},
      {DeviceEvent::Modified, P(L"gone"), 0},
      {DeviceEvent::Added, P(L"gone"), 0},
      {DeviceEvent::Added, slashed, 'A'},
      {7, P(L"File.TXT"), 0},
      {-1, P(L"Sub"), 0},
      {DeviceEvent::Removed, P(L"Sub"), 'R'},
      {DeviceEvent::Added, P(L"Victim.txt"), 0},  // deleted before its turn, below
  };
  const std::wstring lowered[] = {dir, file, missing, dir, missing, missing, file, file, dir, dir, L""};

  Log log;
  std::vector<std::wstring> names;
  EventSemaphore inside(true, false), deleted(true, false);
  SmartPtr<Recorder> observer(new Recorder(log));
  observer->hook = [&](const Call& call) {
    names.push_back(CurrentThreadName());
    if (call.path == L"gate") {
      inside.Set();
      EXPECT_TRUE(deleted.Wait(kPatience));
    }
  };

  std::vector<DeviceEvent> batch{{DeviceEvent::Removed, L"gate"}};
  std::vector<Call> expected{{'R', L"gate"}};
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    batch.push_back({rows[i].kind, rows[i].path});
    if (rows[i].handler) expected.push_back({rows[i].handler, lowered[i]});
  }
  observer->EventsOccurred(batch);
  observer->EventsOccurred({});  // only wakes the worker
  observer->EventsOccurred({{DeviceEvent::Removed, L"END"}});
  expected.push_back({'R', L"end"});

  ASSERT_TRUE(inside.Wait(kPatience));
  ASSERT_TRUE(::DeleteFileW(P(L"Victim.txt").c_str()));
  deleted.Set();
  ASSERT_TRUE(log.WaitFor('R', L"end"));
  observer->Shutdown();
  EXPECT_EQ(log.Calls(), expected);
  EXPECT_EQ(names, std::vector<std::wstring>(expected.size(), L"ObserverCallInterface::ProcessEvents"));

  ASSERT_TRUE(::DeleteFileW(P(L"File.TXT").c_str()));
  ASSERT_TRUE(::RemoveDirectoryW(P(L"Sub").c_str()));
}

TEST_F(ObserverTest, CountsReferencesAndDeliversNothingAfterShutdown) {
  Log log;
  SmartPtr<Recorder> observer(new Recorder(log));
  EXPECT_EQ(observer->NbRef(), 1);
  EXPECT_EQ(observer->AddRef(), 2);
  EXPECT_EQ(observer->Release(), 1);
  observer->EventsOccurred({{DeviceEvent::Removed, L"before"}});
  ASSERT_TRUE(log.WaitFor('R', L"before"));
  EXPECT_EQ(observer->Shutdown(), 0);
  observer->EventsOccurred({{DeviceEvent::Removed, L"after"}});  // kept, never delivered
  observer.Reset();
  EXPECT_EQ(log.Calls(), (std::vector<Call>{{'R', L"before"}}));

  // The directory interface counts itself; a copy starts afresh and
  // assignment leaves the count alone.
  struct Directory : DirectoryObserverCallInterface {
    void ChangesOccurred(const std::vector<DeviceEvent>&) override {}
    void ChangesLost(const std::wstring&) override {}
  };
  Directory a;
  EXPECT_EQ(a.AddRef(), 1);
  EXPECT_EQ(a.AddRef(), 2);
  Directory b(a);
  EXPECT_EQ(b.NbRef(), 0);
  b.AddRef();
  a = b;
  EXPECT_EQ(a.NbRef(), 2);
  EXPECT_EQ(b.NbRef(), 1);
  SmartPtr<DirectoryObserverCallInterface> counted(new Directory);
  EXPECT_EQ(counted->NbRef(), 1);
}

TEST_F(ObserverTest, HandlersRunOutsideTheQueueLockAndMayPostMore) {
  Log log;
  EventSemaphore inside(true, false), posted(true, false);
  SmartPtr<Recorder> observer(new Recorder(log));
  observer->hook = [&](const Call& call) {
    if (call.path != L"block") return;
    inside.Set();
    // A producer on another thread gets through while this handler runs;
    // the worker's own thread would get in again even under the lock.
    EXPECT_TRUE(posted.Wait(kPatience));
    observer->EventsOccurred({{DeviceEvent::Removed, L"from-handler"}});
  };
  SmartPtr<ORV::Thread> producer = Started(ORV::MakeFunction([&](void*) {
    EXPECT_TRUE(inside.Wait(kPatience));
    observer->EventsOccurred({{DeviceEvent::Removed, L"from-producer"}});
    posted.Set();
  }));
  observer->EventsOccurred({{DeviceEvent::Removed, L"block"}});
  ASSERT_TRUE(log.WaitFor('R', L"from-handler"));
  observer->Shutdown();
  EXPECT_EQ(log.Calls(), (std::vector<Call>{{'R', L"block"}, {'R', L"from-producer"}, {'R', L"from-handler"}}));
}

// Eight producers post 10,000 events each in batches of random size while
// the handler posts one more of its own for every hundredth: every event
// arrives exactly once, and each stream in its order.
TEST_F(ObserverTest, EightProducersAndAPostingHandlerLoseNothingAndKeepEachStreamInOrder) {
  constexpr int kProducers = 8, kEach = 10000, kHandlerEvery = 100;
  constexpr int kTotal = kProducers * kEach + kProducers * (kEach / kHandlerEvery);
  std::map<std::wstring, int> next;  // stream -> next sequence number (worker only)
  int outOfOrder = 0, delivered = 0;
  EventSemaphore all(true, false);

  struct Counter : ObserverCallInterface {
    std::function<void(const std::wstring&)> onRemoved;
    Counter() : ObserverCallInterface(nullptr) {}
    void FileAdded(const WPath&) override {}
    void FileModified(const WPath&) override {}
    void DirectoryAdded(const WPath&) override {}
    void PathRemoved(const WPath& path) override { onRemoved(path.FullPath()); }
  };
  SmartPtr<Counter> observer(new Counter);
  observer->onRemoved = [&](const std::wstring& path) {
    const std::size_t split = path.find(L'\\');
    const std::wstring stream = path.substr(0, split);
    const int sequence = std::stoi(path.substr(split + 1));
    outOfOrder += sequence != next[stream]++;
    if (stream[0] == L'p' && sequence % kHandlerEvery == 0)
      observer->EventsOccurred(
          {{DeviceEvent::Removed, L"H" + stream.substr(1) + L"\\" + std::to_wstring(sequence / kHandlerEvery)}});
    if (++delivered == kTotal) all.Set();
  };

  std::vector<SmartPtr<ORV::Thread>> producers;
  for (int p = 0; p < kProducers; ++p)
    producers.push_back(Started(ORV::MakeFunction([&observer, p](void*) {
      std::mt19937 random(static_cast<unsigned>(p));
      for (int sequence = 0; sequence < kEach;) {
        std::vector<DeviceEvent> batch;
        const int size = std::min<int>(1 + static_cast<int>(random() % 50), kEach - sequence);
        for (int i = 0; i < size; ++i, ++sequence)
          batch.push_back({DeviceEvent::Removed, L"P" + std::to_wstring(p) + L"\\" + std::to_wstring(sequence)});
        observer->EventsOccurred(batch);
      }
    })));
  for (auto& producer : producers) ASSERT_TRUE(producer->Join(kPatience));
  ASSERT_TRUE(all.Wait(kPatience)) << delivered << " of " << kTotal;
  observer->Shutdown();
  EXPECT_EQ(delivered, kTotal);
  EXPECT_EQ(outOfOrder, 0);
  for (int p = 0; p < kProducers; ++p) {
    EXPECT_EQ(next[L"p" + std::to_wstring(p)], kEach);
    EXPECT_EQ(next[L"h" + std::to_wstring(p)], kEach / kHandlerEvery);
  }
}

// The handler in progress finishes before Shutdown returns, so the Release
// that follows never destroys what a handler still uses.
TEST_F(ObserverTest, ShutdownWhileBusyThenTheLastReleaseNeverRunsUnderAHandler) {
  struct State {
    std::atomic<bool> running{false};
    bool runningAtDestruction = true;
    int handled = 0;
    EventSemaphore entered{true, false};
  };
  struct Busy : ObserverCallInterface {
    State& state;
    explicit Busy(State& s) : ObserverCallInterface(nullptr), state(s) {}
    ~Busy() override { state.runningAtDestruction = state.running; }
    void FileAdded(const WPath&) override {}
    void FileModified(const WPath&) override {}
    void DirectoryAdded(const WPath&) override {}
    void PathRemoved(const WPath&) override {
      state.running = true;
      state.entered.Set();
      for (int i = 0; i < 200; ++i) ::SwitchToThread();
      ++state.handled;
      state.running = false;
    }
  };
  for (int round = 0; round < 20; ++round) {
    State state;
    SmartPtr<Busy> observer(new Busy(state));
    observer->EventsOccurred(std::vector<DeviceEvent>(1000, {DeviceEvent::Removed, L"x"}));
    ASSERT_TRUE(state.entered.Wait(kPatience));
    observer->Shutdown();
    observer.Reset();
    EXPECT_FALSE(state.runningAtDestruction) << round;
    EXPECT_LT(state.handled, 1000) << round;
  }
}

TEST_F(ObserverTest, ShutdownFromAHandlerStopsAfterItAndThrowingHandlersEndOnlyTheWorker) {
  // Shutdown from a handler: the events behind it are dropped.
  {
    Log log;
    SmartPtr<Recorder> observer(new Recorder(log));
    std::atomic<DWORD> worker{0};
    EventSemaphore stopped(true, false);
    observer->hook = [&](const Call& call) {
      if (call.path != L"stop") return;
      observer->Shutdown();  // cannot wait for its own thread: returns at once
      worker = ::GetCurrentThreadId();
      stopped.Set();
    };
    observer->EventsOccurred(
        {{DeviceEvent::Removed, L"a"}, {DeviceEvent::Removed, L"stop"}, {DeviceEvent::Removed, L"b"}});
    ASSERT_TRUE(stopped.Wait(kPatience));
    // The handler is still returning into the derived object: the last
    // Release waits for the worker (the header's rule).
    ASSERT_TRUE(WaitThreadEnd(worker));
    observer.Reset();
    EXPECT_EQ(log.Calls(), (std::vector<Call>{{'R', L"a"}, {'R', L"stop"}}));
  }
  // A throwing handler: the exception reaches the function given, on the
  // worker; nothing is delivered afterwards, and nothing deadlocks.
  {
    Log log;
    std::wstring thread, text;
    EventSemaphore reported(true, false);
    auto onException = ORV::MakeUnhandledExceptionFunction([&](const std::wstring& name, const std::exception_ptr& e) {
      thread = name;
      text = ORV::DescribeException(e);
      reported.Set();
    });
    SmartPtr<Recorder> observer(new Recorder(log, onException));
    observer->hook = [](const Call& call) {
      if (call.path == L"boom") throw std::runtime_error("handler failed");
    };
    observer->EventsOccurred({{DeviceEvent::Removed, L"boom"}, {DeviceEvent::Removed, L"after"}});
    ASSERT_TRUE(reported.Wait(kPatience));
    observer->EventsOccurred({{DeviceEvent::Removed, L"later"}});
    observer->Shutdown();
    EXPECT_EQ(thread, L"ObserverCallInterface::ProcessEvents");
    EXPECT_EQ(text, L"handler failed");
    EXPECT_EQ(log.Calls(), (std::vector<Call>{{'R', L"boom"}}));
  }
}
