#include "win32.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <stdexcept>

#include "ORVObserverTestSupport.h"
#include "ORVThread.h"
#include "ORVThreadException.h"

using namespace ORVFile;
using namespace orvtest;
using ORV::EventSemaphore;

namespace {

std::vector<DeviceEvent> Removed(std::initializer_list<const wchar_t*> paths) {
  std::vector<DeviceEvent> events;
  for (const wchar_t* path : paths) events.push_back({DeviceEvent::Removed, path});
  return events;
}

using ObserverTest = WatchTest;

}  // namespace

TEST_F(ObserverTest, DispatchesEachEventByKindAfterLookingAtTheDiskInArrivalOrderOnItsNamedThread) {
  ASSERT_TRUE(::CreateDirectoryA(P("Sub").c_str(), nullptr));
  Put("File.TXT", "x");
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
  Calls names, expected;
  SmartPtr<Recorder> observer(new Recorder(&log));
  observer->hook = [&](const std::wstring&) { names.push_back(CurrentThreadName()); };
  std::vector<DeviceEvent> batch;
  for (const auto& [kind, path, call] : rows) {
    batch.push_back({kind, path});
    if (!call.empty()) expected.push_back(call);
  }
  observer->EventsOccurred(batch);
  observer->EventsOccurred({});  // only wakes the worker
  observer->EventsOccurred(Removed({L"END"}));
  expected.push_back(L"R:end");
  ASSERT_TRUE(log.WaitFor(L"R:end"));
  observer.Reset();  // without Shutdown: the last Release stops the worker
  EXPECT_EQ(log.Get(), expected);
  EXPECT_EQ(names, Calls(expected.size(), L"ObserverCallInterface::ProcessEvents"));
  Remove("File.TXT");
  ASSERT_TRUE(::RemoveDirectoryA(P("Sub").c_str()));
}

// Eight producers post batches of random size while the handler posts one
// event of its own for every hundredth: every event arrives once, and each
// stream in its order.
TEST_F(ObserverTest, EightProducersAndAPostingHandlerLoseNothingAndKeepEachStreamInOrder) {
  const int each = 10000 * TestScale(), total = 8 * (each + each / 100);
  std::map<std::wstring, int> next;  // stream -> next sequence number
  int outOfOrder = 0, delivered = 0;
  Log log;
  SmartPtr<Recorder> observer(new Recorder(nullptr));
  observer->hook = [&](const std::wstring& call) {  // "R:p3\17"
    const std::size_t separator = call.find(L'\\');
    const std::wstring stream = call.substr(2, separator - 2);
    const int sequence = std::stoi(call.substr(separator + 1));
    outOfOrder += sequence != next[stream]++;
    if (stream[0] == L'p' && sequence % 100 == 0)
      observer->EventsOccurred({{DeviceEvent::Removed, L"h" + stream + L"\\" + std::to_wstring(sequence / 100)}});
    if (++delivered == total) log.Add(L"all");
  };
  std::vector<SmartPtr<ORV::Thread>> producers;
  for (int p = 0; p < 8; ++p) {
    producers.emplace_back(new ORV::Thread(
        L"producer", ORV::MakeFunction([&observer, p, each](void*) {
          std::mt19937 random(static_cast<unsigned>(p));
          for (int sequence = 0; sequence < each;) {
            std::vector<DeviceEvent> batch;
            for (int size = 1 + static_cast<int>(random() % 50); size > 0 && sequence < each; --size, ++sequence)
              batch.push_back({DeviceEvent::Removed, L"p" + std::to_wstring(p) + L"\\" + std::to_wstring(sequence)});
            observer->EventsOccurred(batch);
          }
        })));
    producers.back()->Run();
  }
  ASSERT_TRUE(log.WaitFor(L"all")) << delivered << " of " << total;
  EXPECT_EQ(outOfOrder, 0);
  for (int p = 0; p < 8; ++p) EXPECT_EQ(next[L"hp" + std::to_wstring(p)], each / 100) << p;
}

// Shutdown returns at once, also to a caller that holds up the handler in
// progress, and nothing follows that handler; the last Release waits for
// it. Shutdown from a handler stops after it; an exception from a handler
// ends the worker only. The count shows the users' references only.
TEST_F(ObserverTest, ShutdownNeverWaitsAndTheLastReleaseNeverRunsUnderAHandler) {
  for (int round = 0; round < 5 * TestScale(); ++round) {
    Log log;
    EventSemaphore entered(true, false), proceed(true, false);
    SmartPtr<Recorder> observer(new Recorder(&log));
    EXPECT_EQ(observer->AddRef() + observer->Release(), 3);
    observer->hook = [&](const std::wstring& call) {
      entered.Set();
      EXPECT_TRUE(proceed.Wait(kPatience)) << "Shutdown waited for the handler";
      for (int i = 0; i < 200; ++i) ::SwitchToThread();
      log.Add(call + L" done");
    };
    observer->EventsOccurred(Removed({L"x", L"y"}));
    ASSERT_TRUE(entered.Wait(kPatience));
    observer->EventsOccurred(Removed({L"z"}));  // the queue's lock is free while a handler runs
    observer->Shutdown();
    observer->EventsOccurred(Removed({L"after"}));  // kept, never delivered
    proceed.Set();
    observer.Reset();
    log.Add(L"released");
    EXPECT_EQ(log.Get(), (Calls{L"R:x", L"R:x done", L"released"})) << round;
  }
  Log log;
  auto onException = ORV::MakeUnhandledExceptionFunction([&](const std::wstring& name, const std::exception_ptr& e) {
    log.Add(name + L": " + ORV::DescribeException(e));
  });
  SmartPtr<Recorder> first(new Recorder(&log, onException)), second(new Recorder(&log, onException));
  first->hook = [raw = first.Get()](const std::wstring& call) {
    if (call == L"R:stop") raw->Shutdown();
  };
  second->hook = [](const std::wstring& call) {
    if (call == L"R:boom") throw std::runtime_error("handler failed");
  };
  first->EventsOccurred(Removed({L"a", L"stop", L"b"}));
  ASSERT_TRUE(log.WaitFor(L"R:stop"));
  first.Reset();
  second->EventsOccurred(Removed({L"boom", L"after"}));
  ASSERT_TRUE(log.WaitFor(L"ObserverCallInterface::ProcessEvents: handler failed"));
  second->EventsOccurred(Removed({L"later"}));
  second.Reset();
  EXPECT_EQ(log.Get(), (Calls{L"R:a", L"R:stop", L"R:boom", L"ObserverCallInterface::ProcessEvents: handler failed"}));
}
