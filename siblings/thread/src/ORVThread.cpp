#include "win32.h"

#include "ORVThread.h"

#include <exception>

#include "ORVThreadException.h"

namespace ORV {
namespace {

using SetThreadDescriptionCall = HRESULT(WINAPI*)(HANDLE, PCWSTR);

// Windows 10 1607 and later; kernel32 of older systems lacks the export.
SetThreadDescriptionCall FindSetThreadDescription() {
  static const SetThreadDescriptionCall call = reinterpret_cast<SetThreadDescriptionCall>(
      reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"kernel32.dll"), "SetThreadDescription")));
  return call;
}

// A name is an aid to debugging: a system that refuses it changes nothing.
void NameCurrentThread(const std::wstring& name) {
  if (const SetThreadDescriptionCall call = FindSetThreadDescription()) call(::GetCurrentThread(), name.c_str());
}

class DebuggerReport final : public UnhandledExceptionFunction {
 public:
  void operator()(const std::wstring& threadName, const std::exception_ptr& error) override {
    const std::wstring line =
        L"Thread \"" + threadName + L"\" ended by an unhandled exception: " + DescribeException(error) + L"\n";
    ::OutputDebugStringW(line.c_str());
  }
};

void Report(UnhandledExceptionFunction& onException, const std::wstring& name, const std::exception_ptr& error) {
  try {
    onException(name, error);
  } catch (...) {
    // Documented: the handler's own exception has nowhere left to go.
  }
}

HANDLE CreateSuspendedThread(LPTHREAD_START_ROUTINE start, void* argument, unsigned long& id) {
  const HANDLE thread = ::CreateThread(nullptr, 0, start, argument, CREATE_SUSPENDED, &id);
  if (thread == nullptr) ThrowLastError("CreateThread");
  return thread;
}

void ResumeThreadWrp(HANDLE thread) {
  if (::ResumeThread(thread) == static_cast<DWORD>(-1)) ThrowLastError("ResumeThread");
}

DWORD WaitForThread(HANDLE thread, DWORD milliseconds) {
  const DWORD result = ::WaitForSingleObject(thread, milliseconds);
  if (result == WAIT_FAILED) ThrowLastError("WaitForSingleObject");
  return result;
}

DWORD ExitCodeOf(HANDLE thread) {
  DWORD code = 0;
  if (!::GetExitCodeThread(thread, &code)) ThrowLastError("GetExitCodeThread");
  return code;
}

}  // namespace

SmartPtr<UnhandledExceptionFunction> Thread::DefaultUnhandledExceptionFunctionSP() {
  static const SmartPtr<UnhandledExceptionFunction> handler(new DebuggerReport);
  return handler;
}

Thread::Thread(const std::wstring& name, const SmartPtr<Function>& function, void* argument,
               const SmartPtr<UnhandledExceptionFunction>& onException)
    : m_name(name),
      m_function(function),
      m_argument(argument),
      m_onException(onException ? onException : DefaultUnhandledExceptionFunctionSP()) {}

Thread::~Thread() {
  if (!m_thread || IsCurrent()) return;
  // A destructor cannot report a failed wait; the handle is valid, so the
  // wait fails only if the system is broken.
  ::WaitForSingleObject(m_thread.Get(), INFINITE);
}

void Thread::Run() {
  if (m_thread) ThrowError("Thread::Run", ERROR_ALREADY_INITIALIZED);
  // Suspended until handle and id are stored: the function may ask IsCurrent
  // before CreateThread would have returned.
  m_thread.Reset(CreateSuspendedThread(&Thread::Start, this, m_id));
  ResumeThreadWrp(m_thread.Get());
}

bool Thread::Join(unsigned long milliseconds) const {
  if (!m_thread) return true;
  if (IsCurrent()) ThrowError("Thread::Join", ERROR_POSSIBLE_DEADLOCK);
  return WaitForThread(m_thread.Get(), milliseconds) == WAIT_OBJECT_0;
}

bool Thread::IsCurrent() const noexcept { return m_thread && m_id == ::GetCurrentThreadId(); }

unsigned long Thread::ExitCode() const { return m_thread ? ExitCodeOf(m_thread.Get()) : 0; }

const std::wstring& Thread::Name() const noexcept { return m_name; }

unsigned long Thread::Start(void* self) {
  // Copies: a function that drops the last reference to this object from
  // this thread destroys it before it returns.
  const Thread& thread = *static_cast<const Thread*>(self);
  const std::wstring name = thread.m_name;
  const SmartPtr<Function> function = thread.m_function;
  const SmartPtr<UnhandledExceptionFunction> onException = thread.m_onException;
  void* const argument = thread.m_argument;
  NameCurrentThread(name);
  try {
    return (*function)(argument);
  } catch (...) {
    Report(*onException, name, std::current_exception());
    return kUnhandledExceptionExitCode;
  }
}

}  // namespace ORV
