#include "win32.h"

#include <gtest/gtest.h>

#include <atomic>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "ORVCriticalSection.h"
#include "ORVEventSemaphore.h"
#include "ORVThread.h"
#include "ORVThreadException.h"
#include "ORVThreadTestSupport.h"

using namespace ORV;

namespace {

using orvtest::kPatience;

SmartPtr<Thread> Started(const wchar* name, SmartPtr<Function> f, void* argument = nullptr,
                         SmartPtr<UnhandledExceptionFunction> onException = nullptr) {
  SmartPtr<Thread> thread(new Thread(name, f, argument, onException));
  thread->Run();
  return thread;
}

unsigned long ErrorOf(void (*f)()) {
  try {
    f();
  } catch (const LastErrorException& e) {
    return e.Error();
  }
  return 0;
}

struct Doubler {
  int factor = 2;
  unsigned long Twice(void* argument) { return factor * *static_cast<unsigned long*>(argument); }
};

}  // namespace

TEST(Thread, RunsItsFunctionUnderItsNameAndEndsWithItsResult) {
  std::wstring seenName;
  void* seenArgument = nullptr;
  int marker = 0;
  SmartPtr<Thread> thread = Started(L"Worker \x263A", MakeFunction([&](void* argument) {
                                      seenName = orvtest::CurrentThreadName();
                                      seenArgument = argument;
                                      return 42;
                                    }),
                                    &marker);
  ASSERT_TRUE(thread->Join(kPatience));
  EXPECT_EQ(thread->ExitCode(), 42u);
  EXPECT_EQ(seenArgument, &marker);
  EXPECT_EQ(seenName, L"Worker \x263A");
  EXPECT_FALSE(thread->IsCurrent());

  Doubler doubler;
  unsigned long value = 21;
  thread = Started(L"member", SmartPtr<Function>(new MemberFunction<Doubler>(doubler, &Doubler::Twice)), &value);
  ASSERT_TRUE(thread->Join(kPatience));
  EXPECT_EQ(thread->ExitCode(), 42u);

  // Never started: nothing to wait for.
  SmartPtr<Thread> idle(new Thread(L"idle", MakeFunction([](void*) {})));
  EXPECT_TRUE(idle->Join(0));
  EXPECT_EQ(idle->ExitCode(), 0u);
}

TEST(Thread, MisuseIsRefusedWithTheErrorThatNamesIt) {
  static SmartPtr<Thread> self;
  static unsigned long joinSelf = 0;
  self = Started(L"self", MakeFunction([](void*) { joinSelf = ErrorOf([] { self->Join(0); }); }));
  ASSERT_TRUE(self->Join(kPatience));
  EXPECT_EQ(joinSelf, static_cast<unsigned long>(ERROR_POSSIBLE_DEADLOCK));
  EXPECT_EQ(ErrorOf([] { self->Run(); }), static_cast<unsigned long>(ERROR_ALREADY_INITIALIZED));
  self.Reset();
}

TEST(Thread, AnEscapingExceptionReachesTheHandlerOnTheThreadAndEndsIt) {
  struct Row {
    void (*raise)();
    std::wstring text;
  };
  const Row rows[] = {
      {[] { throw Exception(L"from the family"); }, L"from the family"},
      {[] { throw std::runtime_error("standard"); }, L"standard"},
      {[] { throw 7; }, L"an exception of a type the ORV libraries do not know"},
      {[] { ThrowError("CloseHandle", ERROR_INVALID_HANDLE); }, L"CloseHandle failed: "},
  };
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    std::wstring name, text;
    DWORD handlerThread = 0, functionThread = 0;
    auto onException = MakeUnhandledExceptionFunction([&](const std::wstring& n, const std::exception_ptr& e) {
      name = n;
      text = DescribeException(e);
      handlerThread = ::GetCurrentThreadId();
    });
    void (*raise)() = rows[i].raise;
    SmartPtr<Thread> thread = Started(L"thrower", MakeFunction([&, raise](void*) {
                                        functionThread = ::GetCurrentThreadId();
                                        raise();
                                      }),
                                      nullptr, onException);
    ASSERT_TRUE(thread->Join(kPatience)) << i;
    EXPECT_EQ(thread->ExitCode(), Thread::kUnhandledExceptionExitCode) << i;
    EXPECT_EQ(name, L"thrower") << i;
    EXPECT_EQ(text.substr(0, rows[i].text.size()), rows[i].text) << i;
    EXPECT_EQ(handlerThread, functionThread) << i;
  }

  // The default handler reports and lets the thread end; so does a handler
  // that throws itself.
  auto throwingHandler =
      MakeUnhandledExceptionFunction([](const std::wstring&, const std::exception_ptr&) { throw 1; });
  for (const auto& onException : {Thread::DefaultUnhandledExceptionFunctionSP(), throwingHandler}) {
    SmartPtr<Thread> thread = Started(L"default", MakeFunction([](void*) { throw 3; }), nullptr, onException);
    ASSERT_TRUE(thread->Join(kPatience));
    EXPECT_EQ(thread->ExitCode(), Thread::kUnhandledExceptionExitCode);
  }
}

TEST(Thread, TheLastReleaseWaitsForTheThreadUnlessMadeOnIt) {
  // From another thread: when Reset returns, the function has returned.
  std::atomic<bool> finished{false};
  EventSemaphore entered(true, false);
  SmartPtr<Thread> thread = Started(L"slow", MakeFunction([&](void*) {
                                      entered.Set();
                                      for (int i = 0; i < 20; ++i) ::SwitchToThread();
                                      finished = true;
                                    }));
  ASSERT_TRUE(entered.Wait(kPatience));
  thread.Reset();
  EXPECT_TRUE(finished);

  // On the thread itself: no wait, and the thread goes on to its end.
  static SmartPtr<Thread> own;
  static EventSemaphore* done;
  EventSemaphore doneEvent(true, false);
  done = &doneEvent;
  own.Reset();
  own = SmartPtr<Thread>(new Thread(L"self-release", MakeFunction([](void*) {
                                      own.Reset();
                                      done->Set();
                                    })));
  own->Run();
  EXPECT_TRUE(doneEvent.Wait(kPatience));
}

TEST(Thread, ThreadsLeaveNoHandleBehind) {
  Started(L"warm-up", MakeFunction([](void*) {}))->Join(kPatience);
  const orvtest::Resources before = orvtest::TakeResources();
  for (int i = 0; i < 200; ++i) {
    SmartPtr<Thread> thread = Started(L"short", MakeFunction([](void*) {}));
    EventSemaphore event(i % 2 == 0, false);
    event.Set();
  }
  orvtest::ExpectNothingLeftBehind(before);
}

TEST(EventSemaphore, ManualEventsStaySignalledAutomaticOnesReleaseOneWait) {
  struct Row {
    bool manual, initial;
    const char* steps;  // S set, R reset, 1 wait must succeed, 0 wait must time out
  };
  const Row rows[] = {
      {true, false, "0S111R0"},
      {true, true, "11R0S1"},
      {false, false, "0S10SS10"},
      {false, true, "10S1R0"},
  };
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    EventSemaphore event(rows[i].manual, rows[i].initial);
    for (const char* step = rows[i].steps; *step; ++step) {
      if (*step == 'S') event.Set();
      if (*step == 'R') event.Reset();
      if (*step == '0' || *step == '1') {
        EXPECT_EQ(event.Wait(0), *step == '1') << i << " at " << step;
      }
    }
  }

  // A Set on another thread wakes a waiter.
  EventSemaphore wake(false, false);
  SmartPtr<Thread> setter = Started(L"setter", MakeFunction([&](void*) { wake.Set(); }));
  EXPECT_TRUE(wake.Wait(kPatience));
}

TEST(CriticalSection, ExcludesOtherThreadsAndLetsTheOwnerEnterAgain) {
  CriticalSection section(4000);
  long long counter = 0;  // plain on purpose: only the section protects it
  constexpr int kThreads = 4, kRounds = 50000;
  std::vector<SmartPtr<Thread>> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.push_back(Started(L"adder", MakeFunction([&](void*) {
                                for (int i = 0; i < kRounds; ++i) {
                                  CriticalSectionLock lock(section);
                                  CriticalSectionLock again(section);
                                  counter = counter + 1;
                                }
                              })));
  for (auto& thread : threads) ASSERT_TRUE(thread->Join(kPatience));
  EXPECT_EQ(counter, static_cast<long long>(kThreads) * kRounds);

  // Held here: another thread cannot enter; released: it can.
  std::atomic<int> tried{-1};
  auto tryFromElsewhere = [&] {
    SmartPtr<Thread> probe = Started(L"probe", MakeFunction([&](void*) {
                                       const bool entered = section.TryEnter();
                                       if (entered) section.Leave();
                                       tried = entered;
                                     }));
    EXPECT_TRUE(probe->Join(kPatience));
    return tried.load();
  };
  section.Enter();
  EXPECT_EQ(tryFromElsewhere(), 0);
  section.Leave();
  EXPECT_EQ(tryFromElsewhere(), 1);
}

TEST(LastErrorException, NamesTheCallAndKeepsTheErrorThroughCopies) {
  const DWORD errors[] = {ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED, 0x2AB2AB2u};
  for (const DWORD error : errors) {
    ::SetLastError(error);
    try {
      ThrowLastError("ReadDirectoryChangesW");
    } catch (const LastErrorException& e) {
      EXPECT_EQ(e.Error(), error);
      EXPECT_EQ(e.What().rfind(L"ReadDirectoryChangesW failed: ", 0), 0u) << error;
      EXPECT_NE(e.What().find(L"(Win32 error " + std::to_wstring(error) + L")"), std::wstring::npos);
      EXPECT_EQ(e.TypeName(), L"LastErrorException");
      std::unique_ptr<BaseException> copy(e.Copy());
      ASSERT_NE(dynamic_cast<LastErrorException*>(copy.get()), nullptr);
      EXPECT_EQ(static_cast<LastErrorException&>(*copy).Error(), error);
      EXPECT_EQ(copy->What(), e.What());
      EXPECT_THROW(copy->Throw(), LastErrorException);
    }
  }
  EXPECT_EQ(DescribeException(nullptr), L"no exception");
}
