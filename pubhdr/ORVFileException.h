/// \class ORVFile::FileException
/// FileException and its subclasses: every failure the library reports.
///
/// Each exception carries a MessageInfo naming a catalogue message (see
/// ORVFileMsg-I.h), the paths that fill it, the source place that raised it
/// and the Win32 error current at the failure: Info()->LastError(). What()
/// gives the finished text. The subclasses add no data; they exist so that a
/// caller can catch one failure by type:
///
/// ~~~
///   FileException
///     FilePermissionDeniedException
///       WriteErrorException           (caught by a FilePermissionDenied handler)
///     FileCannotOpenException         open failed for another reason
///     SharingViolationException       open failed with ERROR_SHARING_VIOLATION
///     FileAccessDeniedException       open failed with ERROR_ACCESS_DENIED
///     FileCannotDeleteException, FileCannotCreateException, FileExistException,
///     FileCannotCopyException, FileCannotMoveException, FileNotFoundException,
///     InvalidPathException, CannotRetrieveServerException, FileCannotSetAttributes
/// ~~~
///
/// Copying rule, kept on purpose: a copy (copy constructor, Copy(), Throw())
/// keeps only the message text; its type name is empty and it has no
/// MessageInfo. Assignment carries the text, the type name and the shared
/// MessageInfo. Catch by reference to keep everything.
///
/// Only FileException is exported; the subclasses are defined here, inline, so
/// that every module sees the same types.
#pragma once

#include <string>

#include "ORVBaseException.h"
#include "ORVFileDefs.h"

namespace ORVFile {

using ORV::BaseException;

class ORVFILE_API FileException : public ORV::Exception {
 public:
  static const char* ClassName() noexcept { return "FileException"; }

  FileException();
  explicit FileException(const wchar* text);
  explicit FileException(const std::wstring& text);
  FileException(const wchar* text, const char* typeName);
  FileException(const std::wstring& text, const char* typeName);
  explicit FileException(const SmartPtr<MessageInfo>& info);
  FileException(const SmartPtr<MessageInfo>& info, const char* typeName);
  FileException(const FileException& other);
  FileException& operator=(const FileException& other);
  ~FileException() override;

  BaseException* Copy() const override;
  void Throw() const override;
};

// A subclass forwards its record and type name, copies by FileException's
// rule, and copies and throws itself as its own type.
#define ORVFILE_DEFINE_EXCEPTION(Name, Base)                                                \
  class Name : public Base {                                                                \
   public:                                                                                  \
    static const char* ClassName() noexcept { return #Name; }                               \
    Name(const SmartPtr<MessageInfo>& info, const char* typeName) : Base(info, typeName) {} \
    Name(const Name& other) : Base(other) {}                                                \
    Name& operator=(const Name& other) = default;                                           \
    ~Name() override = default;                                                             \
    BaseException* Copy() const override { return CopyOf(*this); }                          \
    void Throw() const override { throw *this; }                                            \
  }

ORVFILE_DEFINE_EXCEPTION(FilePermissionDeniedException, FileException);
ORVFILE_DEFINE_EXCEPTION(WriteErrorException, FilePermissionDeniedException);
ORVFILE_DEFINE_EXCEPTION(FileCannotOpenException, FileException);
ORVFILE_DEFINE_EXCEPTION(SharingViolationException, FileException);
ORVFILE_DEFINE_EXCEPTION(FileAccessDeniedException, FileException);
ORVFILE_DEFINE_EXCEPTION(FileCannotDeleteException, FileException);
ORVFILE_DEFINE_EXCEPTION(FileCannotCreateException, FileException);
ORVFILE_DEFINE_EXCEPTION(FileExistException, FileException);
ORVFILE_DEFINE_EXCEPTION(FileCannotCopyException, FileException);
ORVFILE_DEFINE_EXCEPTION(FileCannotMoveException, FileException);
ORVFILE_DEFINE_EXCEPTION(FileNotFoundException, FileException);
ORVFILE_DEFINE_EXCEPTION(InvalidPathException, FileException);
ORVFILE_DEFINE_EXCEPTION(CannotRetrieveServerException, FileException);
ORVFILE_DEFINE_EXCEPTION(FileCannotSetAttributes, FileException);

#undef ORVFILE_DEFINE_EXCEPTION

}  // namespace ORVFile
