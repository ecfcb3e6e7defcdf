/// \class ORV::Thread
/// Thread: a named system thread that runs one Function once.
///
/// Built stopped; Run starts it with the function and the argument given to
/// the constructor. The thread gives itself its name before the function runs
/// (SetThreadDescription, looked up at run time because systems before
/// Windows 10 1607 lack it; there the name stays only in this object), so that
/// debuggers and crash dumps show it. An exception that leaves the function
/// ends the thread: it goes to the thread's UnhandledExceptionFunction, on the
/// thread, and the exit code is kUnhandledExceptionExitCode. With no function
/// given, DefaultUnhandledExceptionFunctionSP() is used: it writes the thread's
/// name and the exception's text to the debugger (OutputDebugString) and lets
/// the thread end; the process goes on.
///
/// Lifetime: join on destruction. The Release that destroys a started Thread
/// waits for the thread to end when it is made on another thread, so an owner
/// that drops its last reference to its worker knows that the worker runs none
/// of its code any more. Signal the thread to stop first, or the Release
/// waits for as long as the function runs. Made on the thread itself (a
/// worker that stops its own owner from a callback), it cannot wait: the
/// object goes at once, and the thread touches nothing of it afterwards (it
/// runs on copies of the function, argument, handler and name), but the
/// function still returns into whatever code called it. Such an owner keeps
/// the Thread until it can drop it from elsewhere (the watchers do).
///
/// Threads: Run once, from one thread. Join, IsCurrent, ExitCode and Name from
/// any thread. Counted (RefCounted): create with new, hold in a SmartPtr.
#pragma once

#include <string>

#include "ORVFunction.h"
#include "ORVHandle.h"
#include "ORVRefCount.h"
#include "ORVSmartPtr.h"
#include "ORVThreadDefs.h"

namespace ORV {

class ORV_THREAD_API Thread : public RefCounted {
 public:
  /// Enumerators, not static data: an imported class's data members would have
  /// to be fetched from the DLL.
  enum : unsigned long { kInfinite = 0xFFFFFFFFul, kUnhandledExceptionExitCode = 0xE04F5256ul };

  /// The process-wide default handler described above.
  static SmartPtr<UnhandledExceptionFunction> DefaultUnhandledExceptionFunctionSP();

  /// A null onException means the default.
  Thread(const std::wstring& name, const SmartPtr<Function>& function, void* argument = nullptr,
         const SmartPtr<UnhandledExceptionFunction>& onException = nullptr);
  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;

  /// Starts the thread. LastErrorException when the system cannot create it,
  /// or with ERROR_ALREADY_INITIALIZED when it was started before.
  void Run();

  /// True once the thread has ended (at once for a thread never started),
  /// false when the time ran out. Joining from the thread itself would never
  /// end: LastErrorException with ERROR_POSSIBLE_DEADLOCK.
  bool Join(unsigned long milliseconds) const;
  /// Called on this object's thread.
  bool IsCurrent() const noexcept;
  /// The function's result once the thread has ended; STILL_ACTIVE (259)
  /// while it runs, 0 before Run.
  unsigned long ExitCode() const;
  /// The name given to the constructor.
  const std::wstring& Name() const noexcept;

 protected:
  ~Thread() override;

 private:
  static unsigned long __stdcall Start(void* self);

  std::wstring m_name;
  SmartPtr<Function> m_function;
  void* m_argument;
  SmartPtr<UnhandledExceptionFunction> m_onException;
  Handle m_thread;
  unsigned long m_id = 0;
};

}  // namespace ORV
