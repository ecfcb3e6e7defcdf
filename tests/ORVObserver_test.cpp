#include "win32.h"

#include <gtest/gtest.h>

#include <random>

#include "ORVObserverTestSupport.h"
#include "ORVThread.h"
#include "ORVThreadException.h"

using namespace ORVFile;
using namespace orvtest;
using ORV::EventSemaphore;

namespace {

constexpr auto kRemoved = DeviceEvent::Removed;

using ObserverTest = WatchTest;

}  // namespace

TEST_F(ObserverTest, DispatchesEachEventByKindAfterLookingAtTheDiskInArrivalOrderOnItsThread) {
  Make({"Sub\\", "File.TXT"});
  std::wstring slashed = W("FILE.txt");
  std::replace(slashed.begin(), slashed.end(), L'\\', L'/');
  const std::tuple<int, std::wstring, std::wstring> rows[] = {
      // kind, path, call ("": none)
      {DeviceEvent::Added, W("Sub"), L"D:" + Lowered("sub")},
      {DeviceEvent::Modified, W("File.TXT"), L"M:" + Lowered("file.txt")},
      {DeviceEvent::Removed, W("Gone"), L"R:" + Lowered("gone")},
      {DeviceEvent::Modified, W("Sub"), L""},
      {DeviceEvent::Modified, W("gone"), L""},
      {DeviceEvent::Added, W("gone"), L""},
      {DeviceEvent::Added, slashed, L"A:" + Lowered("file.txt")},
      {7, W("File.TXT"), L""},
  };
  Log log;
  Calls expected;
  SmartPtr<Recorder> observer(new Recorder(
      &log, ORV::MakeUnhandledExceptionFunction([&](const std::wstring& name, const std::exception_ptr& e) {
        log.Add(name + L": " + ORV::DescribeException(e));
      })));
  observer->hook = [](const std::wstring& call) {
    if (call == L"R:end") throw std::runtime_error("handler failed");  // ends the worker only
  };
  std::vector<DeviceEvent> batch;
  for (const auto& [kind, path, call] : rows) {
    batch.push_back({kind, path});
    if (!call.empty()) expected.push_back(call);
  }
  observer->EventsOccurred(batch);
  observer->EventsOccurred({});  // only wakes the worker
  observer->EventsOccurred({{kRemoved, L"END"}, {kRemoved, L"after"}});
  expected.insert(expected.end(), {L"R:end", L"ObserverCallInterface::ProcessEvents: handler failed"});
  ASSERT_TRUE(log.WaitFor(expected.back()));
  observer->EventsOccurred({{kRemoved, L"later"}});
  observer.Reset();  // without Shutdown: the last Release stops the worker
  expected.push_back(L"destroyed");
  EXPECT_EQ(log.Get(), expected);
  Remove("File.TXT");
  ASSERT_TRUE(::RemoveDirectoryA(P("Sub").c_str()));
}

// Eight producers post batches of random size: every event arrives once, and
// each producer's in its order. An event names producer p, number n as the
// number p * 1000000 + n.
TEST_F(ObserverTest, EightProducersLoseNothingAndKeepEachOnesOrder) {
  const int each = 10000 * TestScale();
  std::vector<int> next(8);  // producer -> next number
  int outOfOrder = 0, delivered = 0;
  Log log;
  SmartPtr<Recorder> observer(new Recorder(nullptr));
  observer->hook = [&](const std::wstring& call) {
    const int number = std::stoi(call.substr(2));
    outOfOrder += number % 1000000 != next[number / 1000000]++;
    if (++delivered == 8 * each) log.Add(L"all");
  };
  const auto produce = [&observer, each](int p) {
    std::mt19937 random(static_cast<unsigned>(p));
    for (int number = 0; number < each;) {
      std::vector<DeviceEvent> batch(std::min(1 + static_cast<int>(random() % 50), each - number));
      for (DeviceEvent& event : batch) event = {kRemoved, std::to_wstring(p * 1000000 + number++)};
      observer->EventsOccurred(batch);
    }
  };
  std::vector<SmartPtr<ORV::Thread>> producers;
  for (int p = 0; p < 8; ++p) {
    producers.emplace_back(new ORV::Thread(L"producer", ORV::MakeFunction([&produce, p](void*) { produce(p); })));
    producers.back()->Run();
  }
  ASSERT_TRUE(log.WaitFor(L"all")) << delivered << " of " << 8 * each;
  EXPECT_EQ(outOfOrder, 0);
}

// Shutdown returns at once, also to a caller that holds up the handler in
// progress, or from that handler (odd rounds), and nothing follows that
// handler; the last Release waits for it. The count shows the users'
// references only.
TEST_F(ObserverTest, ShutdownNeverWaitsAndTheLastReleaseNeverRunsUnderAHandler) {
  for (int round = 0; round < 6 * TestScale(); ++round) {
    Log log;
    EventSemaphore entered(true, false), proceed(true, false);
    SmartPtr<Recorder> observer(new Recorder(&log));
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
