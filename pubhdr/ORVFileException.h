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
  /// The type name this class gives when none is passed; each subclass has
  /// its own, its class name as written.
  static const char* ClassName() noexcept { return "FileException"; }

  /// An empty text, no MessageInfo.
  FileException();
  /// From a text or a MessageInfo (see ORV::Exception); without typeName the
  /// type name is "FileException". A null text is an empty one. The library
  /// itself always builds from a MessageInfo.
  ///@{
  explicit FileException(const wchar* text);
  explicit FileException(const std::wstring& text);
  FileException(const wchar* text, const char* typeName);
  FileException(const std::wstring& text, const char* typeName);
  explicit FileException(const SmartPtr<MessageInfo>& info);
  FileException(const SmartPtr<MessageInfo>& info, const char* typeName);
  ///@}
  /// The copying rule at the top of this header: the copy keeps the text only;
  /// assignment carries text, type name and the shared MessageInfo.
  ///@{
  FileException(const FileException& other);
  FileException& operator=(const FileException& other);
  ///@}
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

/// Not raised on its own: the base that lets one handler catch write errors.
ORVFILE_DEFINE_EXCEPTION(FilePermissionDeniedException, FileException);
/// Writing or flushing a file failed, also an overlapped write that failed
/// later; a short write records ERROR_DISK_FULL.
ORVFILE_DEFINE_EXCEPTION(WriteErrorException, FilePermissionDeniedException);
/// An open failed for a reason other than sharing or access, or a memory map
/// or directory watch could not be opened, whatever the error.
ORVFILE_DEFINE_EXCEPTION(FileCannotOpenException, FileException);
/// A file open failed with ERROR_SHARING_VIOLATION: someone else holds it.
ORVFILE_DEFINE_EXCEPTION(SharingViolationException, FileException);
/// A file open failed with ERROR_ACCESS_DENIED.
ORVFILE_DEFINE_EXCEPTION(FileAccessDeniedException, FileException);
/// A file or directory could not be removed, or did not exist to be removed.
ORVFILE_DEFINE_EXCEPTION(FileCannotDeleteException, FileException);
/// A file or directory, or one of its missing parents, could not be made.
ORVFILE_DEFINE_EXCEPTION(FileCannotCreateException, FileException);
/// A directory was to be made where a file stands.
ORVFILE_DEFINE_EXCEPTION(FileExistException, FileException);
/// A copy was refused: an existing target without overwrite, a directory into
/// itself, or a failure of the system.
ORVFILE_DEFINE_EXCEPTION(FileCannotCopyException, FileException);
/// A move or rename was refused, for example by an existing target.
ORVFILE_DEFINE_EXCEPTION(FileCannotMoveException, FileException);
/// A query or operation needed a path that does not exist.
ORVFILE_DEFINE_EXCEPTION(FileNotFoundException, FileException);
/// A path text was refused: a bad drive, server name or segment, a join too
/// long, or a declared type the file system contradicts.
ORVFILE_DEFINE_EXCEPTION(InvalidPathException, FileException);
/// The server of a path, its drive mapping or its shares could not be read.
ORVFILE_DEFINE_EXCEPTION(CannotRetrieveServerException, FileException);
/// File attributes could not be read or changed, for example the read-only
/// bit cleared before a removal.
ORVFILE_DEFINE_EXCEPTION(FileCannotSetAttributes, FileException);

#undef ORVFILE_DEFINE_EXCEPTION

}  // namespace ORVFile
