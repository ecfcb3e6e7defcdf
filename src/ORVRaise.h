// The one way the library raises a failure:
//
//   const DWORD err = ::GetLastError();       // on the statement after the failed call
//   Raise<FileCannotDeleteException>(ORVFILE_THROW_SITE, MSG_DELETE, err, path);
//
// or RaiseLastError<...>(site, id, paths...), which reads the last error itself
// before anything else. Both build the MessageInfo (module "ORVFile", number,
// source file and line, the paths widened), record the error and throw the
// chosen class by value.
#pragma once

#include "win32.h"

#include <initializer_list>
#include <string>

#include "ORVFileException.h"
#include "ORVFileMsg-I.h"

namespace ORVFile::detail {

struct ThrowSite {
  const char* file;
  unsigned int line;
};

// "C:\src\ORVPath.cpp" -> "ORVPath.cpp"
constexpr const char* SourceBaseName(const char* path) {
  const char* name = path;
  for (const char* p = path; *p != '\0'; ++p)
    if (*p == '/' || *p == '\\') name = p + 1;
  return name;
}

#define ORVFILE_THROW_SITE \
  (::ORVFile::detail::ThrowSite{::ORVFile::detail::SourceBaseName(__FILE__), static_cast<unsigned int>(__LINE__)})

/// Longest narrow argument kept, in wide characters.
inline constexpr size_t kMaxWidenedArgument = 1024;

/// A narrow path as it enters a message: widened by the runtime's mbstowcs
/// and cut at kMaxWidenedArgument characters; empty text is the shared empty text.
std::wstring MessageArgument(const std::string& text);
inline const std::wstring& MessageArgument(const std::wstring& text) {
  return text.empty() ? MessageInfo::EmptyText() : text;
}

SmartPtr<MessageInfo> MakeMessageInfo(const ThrowSite& site, MessageId id, unsigned long lastError,
                                      std::initializer_list<std::wstring> arguments);

template <class E, class... Texts>
[[noreturn]] void Raise(const ThrowSite& site, MessageId id, unsigned long lastError, const Texts&... texts) {
  throw E(MakeMessageInfo(site, id, lastError, {MessageArgument(texts)...}), E::ClassName());
}

template <class E, class... Texts>
[[noreturn]] void RaiseLastError(const ThrowSite& site, MessageId id, const Texts&... texts) {
  const unsigned long lastError = ::GetLastError();
  Raise<E>(site, id, lastError, texts...);
}

/// A failed open of a file handle: ERROR_SHARING_VIOLATION raises
/// SharingViolationException, ERROR_ACCESS_DENIED FileAccessDeniedException,
/// any other code FileCannotOpenException; the message is MSG_OPEN_READ_ONLY
/// or MSG_OPEN_WRITE_ONLY as the open was for reading or for writing.
template <class String>
[[noreturn]] void RaiseOpenFailure(const ThrowSite& site, bool forWriting, unsigned long lastError,
                                   const String& path) {
  const MessageId id = forWriting ? MSG_OPEN_WRITE_ONLY : MSG_OPEN_READ_ONLY;
  switch (lastError) {
    case ERROR_SHARING_VIOLATION:
      Raise<SharingViolationException>(site, id, lastError, path);
    case ERROR_ACCESS_DENIED:
      Raise<FileAccessDeniedException>(site, id, lastError, path);
    default:
      Raise<FileCannotOpenException>(site, id, lastError, path);
  }
}

}  // namespace ORVFile::detail
