#include "win32.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>

#include "ORVEventSemaphore.h"
#include "ORVThread.h"
#include "ORVThreadException.h"
#include "ORVThreadTestSupport.h"

using namespace ORV;
using orvtest::kPatience;

namespace {

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
  unsigned long Twice(void* argument) { return 2 * *static_cast<unsigned long*>(argument); }
};

}  // namespace

TEST(Thread, RunsItsFunctionUnderItsNameAndRefusesMisuse) {
  std::wstring seenName;
  unsigned long value = 21;
  Doubler doubler;
  SmartPtr<Thread> thread = Started(L"Worker \x263A", MakeFunction([&](void* argument) {
                                      seenName = orvtest::CurrentThreadName();
                                      return doubler.Twice(argument);
                                    }),
                                    &value);
  ASSERT_TRUE(thread->Join(kPatience));
  EXPECT_EQ(thread->ExitCode(), 42u);
  EXPECT_EQ(seenName, L"Worker \x263A");
  thread = Started(L"member", SmartPtr<Function>(new MemberFunction<Doubler>(doubler, &Doubler::Twice)), &value);
  ASSERT_TRUE(thread->Join(kPatience));
  EXPECT_EQ(thread->ExitCode(), 42u);

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
    const wchar* text;  // how the text begins
  };
  const Row rows[] = {
      {[] { ThrowError("CloseHandle", ERROR_INVALID_HANDLE); }, L"CloseHandle failed: "},
      {[] { throw std::runtime_error("standard"); }, L"standard"},
      {[] { throw 7; }, L"an exception of a type the ORV libraries do not know"},
  };
  for (const Row& row : rows) {
    std::wstring name, text;
    DWORD handlerThread = 0, functionThread = 0;
    auto onException = MakeUnhandledExceptionFunction([&](const std::wstring& n, const std::exception_ptr& e) {
      name = n;
      text = DescribeException(e);
      handlerThread = ::GetCurrentThreadId();
    });
    auto raise = row.raise;
    SmartPtr<Thread> thread = Started(L"thrower", MakeFunction([&, raise](void*) {
                                        functionThread = ::GetCurrentThreadId();
                                        raise();
                                      }),
                                      nullptr, onException);
    ASSERT_TRUE(thread->Join(kPatience)) << row.text;
    EXPECT_EQ(thread->ExitCode(), Thread::kUnhandledExceptionExitCode) << row.text;
    EXPECT_EQ(name, L"thrower");
    EXPECT_EQ(text.rfind(row.text, 0), 0u) << text.c_str();
    EXPECT_EQ(handlerThread, functionThread);
  }
  // The default handler, and a handler that throws itself, let the thread end.
  auto throwing = MakeUnhandledExceptionFunction([](const std::wstring&, const std::exception_ptr&) { throw 1; });
  for (const auto& onException : {Thread::DefaultUnhandledExceptionFunctionSP(), throwing}) {
    SmartPtr<Thread> thread = Started(L"default", MakeFunction([](void*) { throw 3; }), nullptr, onException);
    ASSERT_TRUE(thread->Join(kPatience));
    EXPECT_EQ(thread->ExitCode(), Thread::kUnhandledExceptionExitCode);
  }
}

TEST(Thread, TheLastReleaseWaitsForTheThreadUnlessMadeOnItAndLeavesNothingBehind) {
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

  // Dropped on the thread itself: no wait, and the thread goes on to its end.
  static SmartPtr<Thread> own;
  static EventSemaphore* done;
  static DWORD ownId;
  EventSemaphore doneEvent(true, false);
  done = &doneEvent;
  own = SmartPtr<Thread>(new Thread(L"self-release", MakeFunction([](void*) {
                                      own.Reset();
                                      ownId = ::GetCurrentThreadId();
                                      done->Set();
                                    })));
  own->Run();
  EXPECT_TRUE(doneEvent.Wait(kPatience) && orvtest::WaitThreadEnd(ownId));

  const orvtest::Resources before = orvtest::TakeResources();
  for (int i = 0; i < 200; ++i) {
    SmartPtr<Thread> shortLived = Started(L"short", MakeFunction([](void*) {}));
    EventSemaphore(i % 2 == 0, true).Wait(0);
  }
  orvtest::ExpectNothingLeftBehind(before);
}
