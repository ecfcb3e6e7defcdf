/// \class ORV::LastErrorException
/// LastErrorException and ThrowLastError: how the thread library reports a
/// system call that failed, and DescribeException, the text of any exception
/// caught as a std::exception_ptr.
///
/// The exception names the call and keeps the Win32 error it failed with; its
/// text adds the system's description of that error:
/// \code
///   ThrowError("SetEvent", 6)  ->  "SetEvent failed: The handle is invalid. (Win32 error 6)"
/// \endcode
/// ThrowLastError reads GetLastError as its first statement: call it on the
/// statement right after the failed call, before anything can change the
/// error. Copies keep the text, the type name and the error. Any thread.
#pragma once

#include <exception>
#include <string>

#include "ORVBaseException.h"
#include "ORVThreadDefs.h"

namespace ORV {

class ORV_THREAD_API LastErrorException : public Exception {
 public:
  /// "LastErrorException", the type name the exception carries.
  static const char* ClassName() noexcept;

  /// call: the failed system call's name, a literal; error: its Win32 error.
  LastErrorException(const char* call, unsigned long error);
  ///@{
  /// Copies keep the text, the type name and the error.
  LastErrorException(const LastErrorException& other);
  LastErrorException& operator=(const LastErrorException& other);
  ///@}
  ~LastErrorException() override;

  /// The Win32 error the call failed with.
  unsigned long Error() const noexcept;

  BaseException* Copy() const override;
  void Throw() const override;

 private:
  unsigned long m_error;
};

/// Throws LastErrorException for call with GetLastError's code, read first.
[[noreturn]] ORV_THREAD_API void ThrowLastError(const char* call);
/// Throws LastErrorException for call with the given Win32 error.
[[noreturn]] ORV_THREAD_API void ThrowError(const char* call, unsigned long error);

/// What() of the family's exceptions, what() of the standard ones (read in
/// the ANSI code page), and a fixed text for anything else.
ORV_THREAD_API std::wstring DescribeException(const std::exception_ptr& error);

}  // namespace ORV
