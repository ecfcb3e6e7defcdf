#include "win32.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "ORVEventSemaphore.h"
#include "ORVThread.h"
#include "ORVThreadException.h"
#include "ORVThreadTestSupport.h"

using namespace ORV;
using orvtest::kPatience;

namespace {

SmartPtr<Thread> Started(const std::function<void()>& f, const SmartPtr<UnhandledExceptionFunction>& onException) {
  SmartPtr<Thread> thread(new Thread(L"worker", MakeFunction([f](void*) { return f(), 42ul; }), nullptr, onException));
  thread->Run();
  return thread;
}

unsigned long ErrorOf(const std::function<void()>& f) {
  try {
    f();
  } catch (const LastErrorException& e) {
    return e.Error();
  }
  return 0;
}

}  // namespace

// The last Release of a thread waits for it; a thread cannot join itself nor
// run twice; and none leaves a handle behind.
TEST(Thread, TheLastReleaseWaitsAndNothingIsLeftBehind) {
  std::vector<int> before;
  for (int i = 0; i < 50; ++i) {
    if (i == 1) before = orvtest::TakeResources();  // after what the first round sets up for good
    unsigned long joinSelf = 0;
    bool finished = false;
    SmartPtr<Thread> thread;
    EventSemaphore stored(i % 2 == 0, false), joined(true, false);
    thread = Started(
        [&] {
          EXPECT_TRUE(stored.Wait(kPatience));
          joinSelf = ErrorOf([&] { thread->Join(0); });
          joined.Set();
          for (int spin = 0; spin < 20; ++spin) ::SwitchToThread();
          finished = true;
        },
        nullptr);
    stored.Set();
    EXPECT_EQ(ErrorOf([&] { thread->Run(); }), static_cast<unsigned long>(ERROR_ALREADY_INITIALIZED));
    ASSERT_TRUE(joined.Wait(kPatience));
    thread.Reset();
    ASSERT_TRUE(finished) << i;
    ASSERT_EQ(joinSelf, static_cast<unsigned long>(ERROR_POSSIBLE_DEADLOCK)) << i;
  }
  EXPECT_EQ(orvtest::TakeResources(), before);
}

TEST(Thread, AnEscapingExceptionReachesTheHandlerOnTheThreadAndEndsIt) {
  const std::pair<std::function<void()>, std::wstring> rows[] = {
      // what is thrown, how the report begins
      {[] { ThrowError("CloseHandle", ERROR_INVALID_HANDLE); }, L"worker: CloseHandle failed: "},
      {[] { throw std::runtime_error("standard"); }, L"worker: standard"},
      {[] { throw 7; }, L"worker: an exception of a type the ORV libraries do not know"},
  };
  for (const auto& [raise, begin] : rows) {
    std::wstring text;
    DWORD functionThread = 0, handlerThread = 1;
    SmartPtr<Thread> thread = Started(
        [&, raise = raise] {
          functionThread = ::GetCurrentThreadId();
          raise();
        },
        MakeUnhandledExceptionFunction([&](const std::wstring& name, const std::exception_ptr& e) {
          text = name + L": " + DescribeException(e);
          handlerThread = ::GetCurrentThreadId();
          throw 1;  // has nowhere to go, and ends nothing more
        }));
    ASSERT_TRUE(thread->Join(kPatience));
    EXPECT_EQ(thread->ExitCode(), Thread::kUnhandledExceptionExitCode);
    EXPECT_EQ(text.rfind(begin, 0), 0u) << text.c_str();
    EXPECT_EQ(handlerThread, functionThread);
  }
}
