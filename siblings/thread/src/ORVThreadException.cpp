#include "win32.h"

#include "ORVThreadException.h"

#include "ORVCharset.h"

namespace ORV {
namespace {

std::wstring SystemText(unsigned long error) {
  wchar text[512];
  const DWORD length = ::FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error, 0,
                                        text, static_cast<DWORD>(sizeof text / sizeof text[0]), nullptr);
  std::wstring result(text, length);
  // The system's texts end in "\r\n".
  while (!result.empty() && (result.back() == L'\n' || result.back() == L'\r' || result.back() == L' '))
    result.pop_back();
  return result.empty() ? L"Unknown error." : result;
}

std::wstring Widen(const char* text) { return ConvertToWide(text, CHARSET_ANSI); }

std::wstring FailureText(const char* call, unsigned long error) {
  return Widen(call) + L" failed: " + SystemText(error) + L" (Win32 error " + std::to_wstring(error) + L")";
}

}  // namespace

const char* LastErrorException::ClassName() noexcept { return "LastErrorException"; }

LastErrorException::LastErrorException(const char* call, unsigned long error)
    : Exception(FailureText(call, error), ClassName()), m_error(error) {}

LastErrorException::LastErrorException(const LastErrorException& other) = default;

LastErrorException& LastErrorException::operator=(const LastErrorException& other) = default;

LastErrorException::~LastErrorException() = default;

unsigned long LastErrorException::Error() const noexcept { return m_error; }

BaseException* LastErrorException::Copy() const { return CopyOf(*this); }

void LastErrorException::Throw() const { throw *this; }

void ThrowLastError(const char* call) {
  const DWORD error = ::GetLastError();
  ThrowError(call, error);
}

void ThrowError(const char* call, unsigned long error) { throw LastErrorException(call, error); }

std::wstring DescribeException(const std::exception_ptr& error) {
  if (!error) return L"no exception";
  try {
    std::rethrow_exception(error);
  } catch (const BaseException& e) {
    return e.What();
  } catch (const std::exception& e) {
    return Widen(e.what());
  } catch (...) {
    return L"an exception of a type the ORV libraries do not know";
  }
}

}  // namespace ORV
