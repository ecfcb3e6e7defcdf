#include "win32.h"

#include <gtest/gtest.h>

#include "ORVEventSemaphore.h"
#include "ORVThread.h"
#include "ORVThreadException.h"
#include "ORVThreadTestSupport.h"

using namespace ORV;
using orvtest::kPatience;

static std::wstring Raised(const std::function<void()>& f) try {
  f();
  return L"";
} catch (const LastErrorException& e) {
  return std::to_wstring(e.Error()) + L" " + e.What();
}

// The last Release of a thread waits for it; a thread cannot join itself nor
// run twice; and none leaves a handle behind. An exception that leaves the
// function (last round) goes to the thread's handler, on the thread, and ends
// the thread (a handler that throws itself ends nothing more).
TEST(Thread, TheLastReleaseWaitsAnEscapingExceptionEndsItAndNothingIsLeftBehind) {
  std::vector<int> before;
  std::wstring text;
  DWORD functionThread = 0;
  const auto handler = MakeUnhandledExceptionFunction([&](const std::wstring& name, const std::exception_ptr& e) {
    text = std::to_wstring(::GetCurrentThreadId()) + L" " + name + L": " + DescribeException(e);
    throw 1;
  });
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
                                           if (i == 49) throw static_cast<int>(functionThread = ::GetCurrentThreadId());
                                         }),
                                         nullptr, handler));
    thread->Run();
    stored.Set();
    ASSERT_EQ(Raised([&] { thread->Run(); }).rfind(L"1247 Thread::Run failed: ", 0), 0u);  // already initialized
    ASSERT_TRUE(joined.Wait(kPatience));
    EXPECT_TRUE(i < 49 || (thread->Join(kPatience) && thread->ExitCode() == Thread::kUnhandledExceptionExitCode));
    thread.Reset();
    ASSERT_TRUE(finished) << i;
    ASSERT_EQ(joinSelf.rfind(L"1131 Thread::Join failed: ", 0), 0u) << joinSelf.c_str();  // possible deadlock
  }
  EXPECT_EQ(orvtest::TakeResources(), before);
  EXPECT_EQ(text, std::to_wstring(functionThread) + L" worker: an exception of a type the ORV libraries do not know");
}
