#include "win32.h"

#include <gtest/gtest.h>

#include "ORVEventSemaphore.h"
#include "ORVThread.h"
#include "ORVThreadException.h"
#include "ORVThreadTestSupport.h"

using namespace ORV;
using orvtest::kPatience;

namespace {

std::wstring Raised(const std::function<void()>& f) try {
  f();
  return L"";
} catch (const LastErrorException& e) {
  return std::to_wstring(e.Error()) + L" " + e.What();
}

}  // namespace

// The last Release of a thread waits for it; a thread cannot join itself nor
// run twice; and none leaves a handle behind.
TEST(Thread, TheLastReleaseWaitsAndNothingIsLeftBehind) {
  std::vector<int> before;
  for (int i = 0; i < 50; ++i) {
    if (i == 1) before = orvtest::TakeResources();  // after what the first round sets up for good
    std::wstring joinSelf;
    bool finished = false;
    SmartPtr<Thread> thread;
    EventSemaphore stored(i % 2 == 0, false), joined(true, false);
    thread = SmartPtr<Thread>(new Thread(L"worker", MakeFunction([&](void*) {
                                           EXPECT_TRUE(stored.Wait(kPatience));
                                           joinSelf = Raised([&] { thread->Join(0); });
                                           joined.Set();
                                           for (int spin = 0; spin < 20; ++spin) ::SwitchToThread();
                                           finished = true;
                                         })));
    thread->Run();
    stored.Set();
    ASSERT_EQ(Raised([&] { thread->Run(); }).rfind(L"1247 Thread::Run failed: ", 0), 0u);  // already initialized
    ASSERT_TRUE(joined.Wait(kPatience));
    thread.Reset();
    ASSERT_TRUE(finished) << i;
    ASSERT_EQ(joinSelf.rfind(L"1131 Thread::Join failed: ", 0), 0u) << joinSelf.c_str();  // possible deadlock
  }
  EXPECT_EQ(orvtest::TakeResources(), before);
}

// An exception that leaves the function goes to the thread's handler, on the
// thread, and ends the thread (a handler that throws itself ends nothing more).
TEST(Thread, AnEscapingExceptionReachesTheHandlerOnTheThreadAndEndsIt) {
  std::wstring text;
  DWORD functionThread = 0;
  const auto handler = MakeUnhandledExceptionFunction([&](const std::wstring& name, const std::exception_ptr& e) {
    text = std::to_wstring(::GetCurrentThreadId()) + L" " + name + L": " + DescribeException(e);
    throw 1;
  });
  const auto function = MakeFunction([&](void*) { throw static_cast<int>(functionThread = ::GetCurrentThreadId()); });
  SmartPtr<Thread> thread(new Thread(L"thrower", function, nullptr, handler));
  thread->Run();
  ASSERT_TRUE(thread->Join(kPatience));
  EXPECT_EQ(thread->ExitCode(), Thread::kUnhandledExceptionExitCode);
  EXPECT_EQ(text, std::to_wstring(functionThread) + L" thrower: an exception of a type the ORV libraries do not know");
}
