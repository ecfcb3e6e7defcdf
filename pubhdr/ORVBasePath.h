/// \class ORVFile::BasePath
/// BasePath and BasicPath: the one design behind the older path classes Path
/// (narrow text in the ANSI code page, ORVPath.h) and WPath (UTF-16 text,
/// ORVWPath.h). They are kept beside NewPathT for the directory walker and the
/// watchers; new code should prefer NewPathT.
///
/// A path holds one text. Every change of the text normalises it: slash and backslash
/// become the path separator, and separators at the end go:
/// \code
///   "C:/dir//"  ->  "C:\dir"      "\\srv\share\"  ->  "\\srv\share"      "\"  ->  ""
/// \endcode
/// The three separators belong to the object; a setter takes effect at the next
/// change of the text. A copy starts again with the default separators.
///
/// Attribute cache. The queries IsValid, IsFile, IsDirectory, IsReadable,
/// IsWritable and IsHidden read the Win32 attribute word through one cache: a
/// path that does not exist is asked again at every query; one that exists is
/// asked once, then believed until the text changes, an operation of this
/// object changes the file, or ClearStat. A change made meanwhile by anyone
/// else is not seen. Entries from GetFileList come with the attributes the
/// listing gave, so walking a tree costs no query per entry.
///
/// Failures. Queries never throw: a missing path answers false, 0 or an empty
/// text. Operations throw the FileException family (ORVFileException.h) with
/// the path, and the second path of a copy, move or rename, and the Win32
/// error. For the runtime's calls (_mkdir, _rmdir, _unlink, rename, _findfirst
/// and their wide forms) the error recorded is GetLastError() read right after
/// the call: the runtime leaves there the error of the system call beneath it.
/// Exceptions name the source file ORVPath.cpp or ORVWPath.cpp.
///
/// A path is a value and takes no lock: one thread at a time per object.
#pragma once

#include <cstddef>
#include <istream>
#include <ostream>
#include <string>
#include <type_traits>
#include <vector>

#include "ORVDateTime.h"
#include "ORVFileDefs.h"

/// The Win32 type of the size and free-space queries, declared as `<windows.h>`
/// declares it, so that this header does not need `<windows.h>`.
union _ULARGE_INTEGER;
typedef union _ULARGE_INTEGER ULARGE_INTEGER;

namespace ORVFile {

class ORVFILE_API BasePath {
 public:
  /// The bits SetAttribute sets or clears: the Win32 FILE_ATTRIBUTE_ values.
  enum FileAttributes : unsigned long {
    BP_READONLY = 0x1,
    BP_HIDDEN = 0x2,
    BP_SYSTEM = 0x4,
    BP_ARCHIVE = 0x20,
    BP_TEMPORARY = 0x100,
    BP_OFFLINE = 0x1000,
    BP_NOT_CONTENT_INDEXED = 0x2000,
  };

  /// What Extension(extension, mode) does; the extension is given with or
  /// without its separator ("log" or ".log"):
  enum ChangeExtensionMode : int {
    /// `"a\b.txt"` -> `"a\b.log"`, `"a\b"` -> `"a\b.log"`; "" removes it: `"a\b.txt"` -> `"a\b"`
    BP_REPLACE_EXTENSION = 0,
    /// `"a\b.txt"` -> `"a\b.txt.log"`, `"a\b"` -> `"a\b.log"`; "" changes nothing
    BP_APPEND_EXTENSION = 1,
    /// `"a\b"` -> `"a\b.log"`; `"a\b.txt"` stays as it is
    BP_ADD_MISSING_EXTENSION = 2,
  };

  /// The cache's word for "not known, or the path does not exist". An
  /// enumerator, not a static member: it needs no definition in the library.
  enum : unsigned long { BP_UNKNOWN_STAT = 0xFFFFFFFFul };

  /// The separator a new path starts with.
  static char DefaultPathSeparator();

  virtual ~BasePath();

  ///@{
  /// The separators of this object; a setter takes effect at the next change
  /// of the text.
  char PathSeparator() const;
  void PathSeparator(char separator);
  char DriveSeparator() const;
  void DriveSeparator(char separator);
  char ExtensionSeparator() const;
  void ExtensionSeparator(char separator);
  ///@}

  /// The path exists.
  bool IsValid() const;
  /// Exists and is a directory.
  bool IsDirectory() const;
  /// Exists and is not a directory.
  bool IsFile() const;
  /// Exists and is not offline.
  bool IsReadable() const;
  /// Exists, is not offline and is not read-only.
  bool IsWritable() const;
  /// Exists and has the hidden bit.
  bool IsHidden() const;

 protected:
  /// Default separators, nothing cached.
  BasePath();
  ///@{
  /// Separators and cache as they are; the path classes decide what a copy keeps.
  BasePath(const BasePath& other) noexcept;
  BasePath& operator=(const BasePath& other) noexcept;
  ///@}

  /// The cached word, read through GetStatInfo when it is not known.
  unsigned long GetStat() const;
  /// Forgets the cached word.
  void ClearStat() const;
  /// Believes word as the path's attributes (a listing has just read them).
  void SetStat(unsigned long word) const;

 private:
  virtual unsigned long GetStatInfo() const = 0;

  mutable unsigned long m_stat;
  char m_pathSeparator;
  char m_driveSeparator;
  char m_extensionSeparator;
};

/// Path and WPath are this template over char and wchar; Self is the class
/// itself, so that listings and assignments give Path or WPath. Only the two
/// instances exist, built in the library.
template <class CharT, class Self>
class BasicPath : public BasePath {
 public:
  using String = std::basic_string<CharT>;                                ///< the text type
  using OtherChar = std::conditional_t<sizeof(CharT) == 1, wchar, char>;  ///< the unit of the other width
  using OtherString = std::basic_string<OtherChar>;                       ///< text of the other width

  /// The empty path.
  BasicPath();
  ///@{
  /// The text, normalised (null: empty).
  BasicPath(const CharT* text);
  BasicPath(const String& text);
  ///@}
  ///@{
  /// Text of the other width, converted through the charset library: narrow
  /// text is read in the ANSI code page, wide text written to it (a character
  /// the code page lacks becomes "?"). Null: empty.
  BasicPath(const OtherChar* text);
  BasicPath(const OtherString& text);
  ///@}
  /// The text only: default separators, nothing cached.
  BasicPath(const BasicPath& other);
  /// Everything, the cache included.
  BasicPath(BasicPath&& other) noexcept;
  ///@{
  /// The text, normalised with this object's separators; nothing cached.
  Self& operator=(const BasicPath& other);
  Self& operator=(BasicPath&& other) noexcept;
  Self& operator=(const CharT* text);
  Self& operator=(const String& text);
  Self& operator=(const OtherChar* text);
  Self& operator=(const OtherString& text);
  ///@}
  ~BasicPath() override;

  ///@{
  /// The normalised text.
  const String& FullPath() const;
  operator const String&() const;
  ///@}

  /// Begins with two path separators.
  bool HasUNC() const;
  /// The first drive separator stands at index 1: `"C:\x"`, "C:x".
  bool HasDrive() const;
  /// HasDrive, HasUNC, or the text begins with a path separator.
  bool IsAbsolute() const;
  /// Not IsAbsolute.
  bool IsRelative() const;

  /// The parts the runtime's _splitpath finds; a part that is not there is "":
  /// ~~~
  ///   "C:\a\b.txt"   FileName "b.txt"     FileExtension ".txt"  Directory "C:\a\"
  ///   "b"            FileName "b"         FileExtension ""      Directory ""
  ///   "C:b.tar.gz"   FileName "b.tar.gz"  FileExtension ".gz"   Directory "C:"
  ///   "C:\a\.cfg"    FileName ".cfg"      FileExtension ".cfg"  Directory "C:\a\"
  /// ~~~
  ///@{
  String FileName() const;
  String FileExtension() const;
  String Directory() const;
  ///@}
  /// Changes the extension of the text as mode says (see ChangeExtensionMode).
  /// Only the text changes; the file system is not touched.
  void Extension(const String& extension, ChangeExtensionMode mode);

  /// The server of a UNC path (`"\\srv\share\x"` -> "srv"); for any other path
  /// this computer's name (GetComputerName). CannotRetrieveServerException
  /// (message 10) when the computer name cannot be read.
  String GetServer() const;
  /// The universal name of a path on a mapped network drive
  /// (WNetGetUniversalName); false, unc unchanged, when there is none.
  bool FullPathAsUNC(String& unc) const;

  /// "." or ".." standing alone or after a backslash, "/" or ":", one trailing
  /// separator ignored:
  /// ~~~
  ///   are:      "."  "..\"  "C:.."  "x\.."
  ///   are not:  "..."  "x."  "a..b"
  /// ~~~
  static bool IsDotDirectory(const String& text);

  /// Byte for byte (unit for unit), case-sensitive; < orders by unsigned
  /// unit, a prefix first: "B" < "a", "a" < "ab".
  ///@{
  bool operator==(const BasicPath& other) const;
  bool operator==(const String& text) const;
  bool operator==(const CharT* text) const;
  bool operator!=(const BasicPath& other) const;
  bool operator!=(const String& text) const;
  bool operator!=(const CharT* text) const;
  bool operator<(const BasicPath& other) const;
  bool operator<(const String& text) const;
  bool operator<(const CharT* text) const;
  ///@}
  /// "A" to "Z" only, in place.
  void ToLowerCase();

  // ---- Operations on the file system.

  /// Replaces list with the entries of this directory that match pattern (as
  /// the system matches it: case-insensitively, "*.*" is every name), files
  /// and directories, hidden and system ones included, never "." and "..".
  /// Each is this text, a separator and the name, with its attributes cached.
  /// Sorted by name, case-insensitively as NTFS lists them (ASCII letters
  /// compared as upper case, other units by value), so that the order is the
  /// same on every file system and a walk can be resumed. A path that does
  /// not exist or is not a directory lists nothing; any other failure of the
  /// listing throws FileNotFoundException (message 15) and leaves list as it was.
  ///@{
  void GetFileList(std::vector<Self>& list) const;
  void GetFileList(const String& pattern, std::vector<Self>& list) const;
  ///@}

  /// Makes every missing directory of the path, the path itself included, with
  /// _mkdir; the root (drive, UNC share) is taken as there.
  /// FileCannotCreateException (message 4) naming the level that failed, also
  /// when a level exists as a file (error ERROR_ALREADY_EXISTS).
  void Create();
  /// Removes a file (_unlink) or an empty directory (_rmdir). With force the
  /// read-only and hidden bits are cleared first (FileCannotSetAttributes,
  /// message 12, when that fails). FileCannotDeleteException (message 5) when
  /// the path does not exist or the removal fails; the attributes are then
  /// put back as they were.
  void Delete(bool force) const;
  /// The directory's content, depth first in listing order, then the path
  /// itself; a file is simply deleted. Junctions are removed, not entered.
  /// Stops at the first entry that cannot go, with Delete's exception; what
  /// was removed before it stays removed, its parents stay.
  void RecursiveDelete(bool force) const;
  /// CopyFile; without overwrite an existing destination fails (error 80).
  /// FileCannotCopyException (message 3, this path and destination).
  void Copy(const String& destination, bool overwrite) const;
  /// MoveFile; this object keeps naming the old place.
  /// FileCannotMoveException (message 7, source and destination).
  ///@{
  void Move(const String& destination) const;
  static void Move(const String& source, const String& destination);
  ///@}
  /// The runtime's rename; newName is a path as rename takes it (a bare name
  /// is relative to the current directory, not to this path's directory).
  /// The member form then names newName. FileCannotMoveException (message 7).
  ///@{
  void Rename(const String& newName);
  static void Rename(const String& source, const String& newName);
  ///@}

  /// Bytes free to the caller on the volume of this directory (or drive:
  /// "C:"), GetDiskFreeSpaceEx; 0 when that fails (a file's path fails on
  /// Windows). The 32-bit form gives 0xFFFFFFFF when the count does not fit.
  ///@{
  void GetAvailableDiskSpace(ULARGE_INTEGER& bytes) const;
  void GetAvailableDiskSpace(unsigned long& bytes) const;
  ///@}
  /// The file's size, 0 for a path that does not exist (a directory: 0). The
  /// 32-bit form gives 0xFFFFFFFF when the size does not fit.
  ///@{
  void GetSize(ULARGE_INTEGER& size) const;
  void GetSize(unsigned long& size) const;
  ///@}
  /// The last write, in local time: the DateTime's fields are the local
  /// calendar fields (DateTime itself knows no zone). FileNotFoundException
  /// (message 15) when the attributes cannot be read.
  ORV::DateTime GetLastModificationDate() const;
  /// Sets or clears one bit. FileCannotSetAttributes (message 12).
  void SetAttribute(FileAttributes attribute, bool on) const;

 private:
  unsigned long GetStatInfo() const override;
  // Every change of the text comes here: normalised, nothing cached.
  void SetText(String text);
  // Where the levels below the root begin: "C:\a" -> 3, "\\srv\share\a" -> 12.
  std::size_t FirstLevel() const;
  // A listed entry: directory and name as they stand, the listing's
  // attributes cached, this path's separators.
  Self Child(const String& directory, const CharT* name, unsigned long attributes) const;

  String m_text;
};

/// \cond
// Declares Path or WPath: the instance of BasicPath over one width, built and
// exported by the library, under its own class name.
#define ORVFILE_DECLARE_PATH_CLASS(Name, CharT)             \
  class Name;                                               \
  extern template class ORVFILE_API BasicPath<CharT, Name>; \
  class ORVFILE_API Name : public BasicPath<CharT, Name> {  \
   public:                                                  \
    using BasicPath::BasicPath;                             \
    using BasicPath::operator=;                             \
  }
/// \endcond

/// Writes the text as it stands.
template <class CharT, class Self>
std::basic_ostream<CharT>& operator<<(std::basic_ostream<CharT>& stream, const BasicPath<CharT, Self>& path) {
  return stream << path.FullPath();
}

/// Reads one whitespace-delimited word, as for a string, then normalises it.
template <class CharT, class Self>
std::basic_istream<CharT>& operator>>(std::basic_istream<CharT>& stream, BasicPath<CharT, Self>& path) {
  std::basic_string<CharT> text;
  if (stream >> text) path = text;
  return stream;
}

}  // namespace ORVFile
