/// \class ORVFile::NewPathT
/// NewPathT: the library's path value, over char (ANSI code page) or wchar
/// (UTF-16 units). It holds a normalised path text, a packed state word (kind
/// of path, where its root ends, file or directory) and a small cache of file
/// properties. One parser, Set, builds it; the accessors read the text and the
/// root length Set recorded and never re-parse:
///
/// ~~~
///   "C:/dir/./a/../name \"   ->  "C:\dir\name"
///   "file:///C:/x"           ->  "C:\x"
///   "\\server"               ->  "\\server\"  (UNC, root, server)
/// ~~~
///
/// Under validation the narrow class refuses every byte from 0x80 up in a
/// name, the wide class only units below 32: intended, and kept.
///
/// The cache (exists, attributes, size, last write time, file or directory)
/// loads on the first query that needs it and then keeps its answers until
/// Set, an append, a setter or ResetProperties: a file that changes on disk
/// afterwards is not seen. Its answers are those of the family's other path
/// classes, including three that surprise:
/// ~~~
///   Size() is the low 32 bits of the size (a 5 GiB file gives 1 GiB);
///   IsHidden() and IsNotIndexed() answer with the read-only bit;
///   IsReadable() and IsWritable() answer false for every existing path.
/// ~~~
/// Read the hidden bit with FileAttribute(FILE_ATTRIBUTE_HIDDEN).
///
/// A path is a value: it owns everything it holds and shares nothing. It is not
/// locked, not even its cache; a caller that shares one between threads must
/// lock around it. Failures are exceptions of the FileException family.
///
/// The state word is written to streams as it stands, so its bit layout is a
/// stored format: bits 0-15 attributes, 16 exists, 17-19 type, 20 absolute,
/// 21 root, 22 UNC, 23 drive, 24 server, 25 loaded, 26-31 root length.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ORVAdvSearchOptions.h"
#include "ORVBinaryStream.h"
#include "ORVDateTime.h"
#include "ORVFileDefs.h"
#include "ORVWildCard.h"

namespace ORVFile {

/// What a path names, as declared to Set or read from the file system.
enum class PathType : std::uint32_t {
  File = 0,  // the default
  Directory = 1,
  // Read from the file system while parsing; the path must exist. A parsed
  // path never keeps this type: it becomes File or Directory.
  Detect = 2,
};

/// Which time FileTime reads.
enum class FileDate : int { Creation = 0, LastWrite = 1, LastAccess = 2 };

/// One entry of a directory search, as FindFirstFile / FindNextFile give it.
/// Times are Unix times clamped to the signed 32-bit range; the size is the
/// low 32 bits of the entry's size, as the path's own cache holds it.
template <class CharT>
struct Win32FindData {
  std::uint32_t attributes = 0;     ///< the Win32 FILE_ATTRIBUTE_ bits
  std::int32_t creationTime = 0;    ///< Unix time, clamped
  std::int32_t lastAccessTime = 0;  ///< Unix time, clamped
  std::int32_t lastWriteTime = 0;   ///< Unix time, clamped
  std::uint64_t size = 0;           ///< low 32 bits of the size
  std::basic_string<CharT> name;    ///< the entry's name alone, no directory
};

template <class CharT>
class NewPathT {
 public:
  /// The text type: std::string (ANSI code page) or std::wstring (UTF-16).
  using String = std::basic_string<CharT>;

  static const String NP_PATH_SEPARATOR;       ///< "\"
  static const String NP_SLASH;                ///< "/"
  static const String NP_DRIVE_SEPARATOR;      ///< ":"
  static const String NP_EXTENSION_SEPARATOR;  ///< "."
  static const String NP_CURRENT;              ///< "."
  static const String NP_SPACE;                ///< " "
  static const String NP_ROOT;                 ///< "\"
  static const String NP_PARENT;               ///< ".."
  static const String NP_UNC_ROOT;             ///< two backslashes
  static const String NP_FILE_SCHEME;          ///< "file:" and two backslashes
  /// Sorted, so that a character can be binary-searched.
  static const String NP_ALL_INVALID_PATH_CHAR;
  /// Refused in a server name under validation, with every unit below 32;
  /// sorted like NP_ALL_INVALID_PATH_CHAR.
  static const String NP_ALL_INVALID_COMPUTER_CHAR;
  /// How many device names NP_ALL_INVALID_PATH_NAME holds.
  static constexpr std::size_t kDeviceNameCount = 23;
  /// Sorted by InvalidPathNameLess; the device search depends on this order.
  static const String NP_ALL_INVALID_PATH_NAME[kDeviceNameCount];
  static const String NP_DEFAULT_FILTER;  ///< "*"
  /// A default-constructed filter: it passes every entry.
  static const AdvSearchOptions NP_DEFAULT_ADV_OPTIONS;

  /// An empty relative File path with nothing loaded.
  NewPathT();
  /// Set(text, type, validate) on an empty path: the same exceptions.
  explicit NewPathT(const String& text, PathType type = PathType::File, bool validate = true);
  /// Copies text, state word and cache: the copy answers the queries as the
  /// original did, without reading the file system again.
  ///@{
  NewPathT(const NewPathT& other);
  NewPathT& operator=(const NewPathT& other);
  ///@}
  /// A moved-from path is left as a default-constructed one.
  ///@{
  NewPathT(NewPathT&& other) noexcept;
  NewPathT& operator=(NewPathT&& other) noexcept;
  ///@}
  ~NewPathT();

  /// Set(text, Detect, true): the text must name something that exists.
  NewPathT& operator=(const String& text);

  /// Throws InvalidPathException, validated or not, on a bad drive letter and
  /// on a text that would resolve to one reading back as a drive (".\c:",
  /// "x\..\c:\y" would give "c:"); with validate also on a bad server name or
  /// segment. Validation judges the canonical result, so a segment that ".."
  /// removes is never refused ("C:\a*b\..\c" passes). With Detect,
  /// FileNotFoundException when the path does not exist. On a throw the
  /// object is unusable until the next successful Set.
  void Set(const String& text, PathType type, bool validate);

  /// Resolves "." and "..", trims the end and collapses backslashes; with
  /// makeAbsolute a relative path is first joined to the current directory
  /// (of its drive, for "C:x"). No validation; without makeAbsolute the cache
  /// is kept.
  void Canonicalize(bool makeAbsolute);
  /// The current directory, or that of the drive letter; InvalidPathException
  /// when the drive is not present.
  static NewPathT GetCurrentPath(const CharT& drive);
  /// Directory when the file system reports a directory, else File;
  /// FileNotFoundException when the path cannot be read.
  static PathType GetType(const String& path);

  /// A text prefix, ASCII case folded, strictly shorter; no separator needed
  /// after it, and the file system is not read:
  /// ~~~
  ///   "C:\ab" is a child of "C:\a"
  /// ~~~
  bool IsChild(const NewPathT& parent) const;
  /// Whether Directory() holds something matching pattern (a name or a wildcard).
  bool Contains(const String& pattern) const;

  /// A complete other path replaces this one; a relative one is joined to
  /// Directory(); one starting with a backslash keeps only this path's root
  /// (drive or server), or replaces a path that has none. The cache is
  /// forgotten and the type becomes other's. A relative join of 260 units or
  /// more throws InvalidPathException and leaves this path as it was; operator+
  /// does the same on a copy.
  ///@{
  NewPathT& operator+=(const NewPathT& other);
  NewPathT operator+(const NewPathT& other) const;
  ///@}

  /// n levels up, as a Directory; loads the properties of the result:
  /// ~~~
  ///   "C:\a\b\f.txt"  Up(2)  ->  "C:\a"
  /// ~~~
  void Up(unsigned int n);

  /// Parts of the text, cut from the text and the root length Set recorded;
  /// the file system is not read and nothing throws but allocation:
  /// ~~~
  ///   RawPath                    the normalised text:   "C:\a\b.txt", "C:\a" (Directory)
  ///   FullPath                   a Directory gets a backslash, a root or bare drive not:
  ///                                                     "C:\a\" (Directory), "C:\"
  ///   Root                       root with backslash:   "C:\" for "C:\a" and for "C:a";
  ///                                                     "" for a relative path without drive
  ///   Drive                      "C:" for "C:\a"; "" for a UNC or drive-less path
  ///   Name                       last segment:          "b.txt"; "" for a root
  ///   Extension                  from the last dot, dot included: ".txt";
  ///                                                     "" when the name has no dot
  ///   Directory                  up to the last backslash, kept: "C:\a\";
  ///                                                     a Directory path is its own: "C:\a\"
  ///   DirectoryWithoutBackslash  the same without it:   "C:\a"; a root keeps it: "C:\"
  /// ~~~
  ///@{
  const String& RawPath() const noexcept;
  String FullPath() const;
  String Root() const;
  String Drive() const;
  String Name() const;
  String Extension() const;
  String Directory() const;
  String DirectoryWithoutBackslash() const;
  ///@}

  /// The name (extension with its dot) replaced, after the same checks as a
  /// segment under validation (InvalidPathException, nothing changed). With
  /// rename the file is renamed on disk first (FileCannotMoveException,
  /// nothing changed); without, the cache is forgotten. The state word is
  /// kept. A drive-relative "C:x" keeps its name.
  void Name(const String& name, bool rename = false);
  /// The extension replaced (or added) by extension, given with its dot
  /// (".log"); "" removes it. The same checks, rename and cache rules as Name.
  void Extension(const String& extension, bool rename = false);

  /// The kind of path, from the state word Set built; no file system call:
  /// ~~~
  ///   IsAbsolute   starts at a root: "C:\x", "\x", "\\srv\x"   (IsRelative: the opposite)
  ///   IsRoot       nothing after the root: "C:\", "\", "\\srv\"
  ///   IsServer     a server alone: "\\srv\"
  ///   IsUNC        starts with two backslashes
  ///   HasDrive     starts with a drive letter: "C:\x", "C:x"
  /// ~~~
  ///@{
  bool IsAbsolute() const noexcept;
  bool IsRelative() const noexcept;
  bool IsRoot() const noexcept;
  bool IsServer() const noexcept;
  bool IsUNC() const noexcept;
  bool HasDrive() const noexcept;
  ///@}
  /// Names one place whatever the current drive and directory.
  bool IsComplete() const noexcept;
  /// The type as declared, or as read when parsed with Detect; the file
  /// system is not asked again.
  ///@{
  bool IsFile() const noexcept;
  bool IsDirectory() const noexcept;
  ///@}

  /// Folds A-Z only; callers compare case-insensitively by folding first.
  void ToLowerCase() noexcept;

  /// The texts compared exactly, case-sensitive: `"C:\A"` and `"c:\a"` differ.
  /// Type and cache are not compared.
  ///@{
  bool operator==(const String& text) const noexcept;
  bool operator==(const NewPathT& other) const noexcept;
  ///@}
  /// The texts by unsigned code unit, a prefix first.
  ///@{
  bool operator<(const String& text) const noexcept;
  bool operator<(const NewPathT& other) const noexcept;
  ///@}

  // ---- The property cache. A query on a missing path throws
  // FileNotFoundException; Exists() and PathExists() never throw.

  /// Fills the cache; for a declared File that is a directory (or the
  /// reverse) throws InvalidPathException. Always true.
  bool LoadProperties() const;
  /// Loads the cache if needed; whether the path existed when it was loaded.
  bool Exists() const;
  /// No object and no cache: whether the file system can read the text's attributes.
  static bool PathExists(const String& path);
  /// The cached Win32 attribute bits (low 16) that are in mask.
  unsigned int FileAttribute(unsigned int mask) const;
  /// Sets or clears the mask bits in the cache, writes the cached word to the
  /// file; false when the system refused (the cache keeps the new bits).
  bool FileAttribute(bool set, unsigned int mask);
  /// The cached size (its low 32 bits, see the top of this header).
  const std::uint64_t& Size() const;
  /// The cached last write time.
  const ORV::DateTime& LastModificationTime() const;
  /// The cached FILE_ATTRIBUTE_READONLY bit.
  bool IsReadOnly() const;
  bool IsHidden() const;      ///< the read-only bit: see the top of this header
  bool IsNotIndexed() const;  ///< the read-only bit
  bool IsReadable() const;    ///< false for every existing path
  bool IsWritable() const;    ///< false for every existing path
  /// Read now from the file system, not cached.
  ORV::DateTime FileTime(FileDate which) const;
  /// Bytes available to the caller on the volume of Directory(); 0 when unknown.
  std::uint64_t GetAvailableDiskSpace() const;

  // ---- Changing the file system.

  /// File: an empty file, its missing parent directories made first; an
  /// existing file is left as it is. Directory: the directory and its missing
  /// parents; FileExistException when a file stands there. Detect: nothing.
  /// FileCannotCreateException when the system refuses. A file standing
  /// where a parent directory should be fails with this path and error 183:
  /// ~~~
  ///   "C:\t\f.txt\sub\x"  ->  "C:\t\f.txt\sub\x", 183   (f.txt is a file)
  /// ~~~
  void Create();
  /// A file, or a directory with everything in it. Read-only attributes are
  /// cleared first (FileCannotSetAttributes, message 12, when that fails).
  /// FileCannotDeleteException when the path does not exist or the system
  /// refuses; a tree is removed depth first and the removal stops at the first
  /// entry that cannot go, leaving its parents. Junctions and other reparse
  /// points are removed, not followed.
  void Delete();
  /// Everything inside this directory; the directory itself stays.
  void DeleteContent();
  /// This file, or this directory with its content, to target (the new name,
  /// not the directory to put it in); missing parents of target are made.
  /// Without overwrite an existing target file makes it fail.
  /// FileCannotCopyException (message 3, this path and target); copying a
  /// directory into itself is refused the same way.
  void Copy(const NewPathT& target, bool overwrite = false) const;
  /// Everything inside this directory into the directory target (made when missing).
  void CopyContent(const NewPathT& target, bool overwrite = false) const;
  /// Moves or renames to target, making its missing parents; this path then
  /// names target, with its cache forgotten. FileCannotMoveException (message
  /// 7) when the system refuses (an existing target, another volume for a
  /// directory).
  void Move(const NewPathT& target);

  // ---- Listing.

  /// Appends to result (not cleared) the entries of Directory() whose
  /// lower-cased names match the lower-cased pattern and that pass options;
  /// with recursive, depth first and pre-order: a listed directory stands
  /// before its content, and directories that do not pass are still
  /// searched. A directory that is a reparse point (a junction, a symbolic
  /// link) is listed like any entry but never entered, so that a link back to
  /// an ancestor cannot make the walk endless. "." and ".." never appear.
  /// Each entry is built from the directory text and the entry's name, with
  /// its type (File or Directory) and its cache filled from the search. An
  /// unreadable directory adds nothing and throws nothing. For a server path (`"\\server"`) the entries
  /// are its shares (see GetServerShares), loaded and filtered the same way;
  /// recursive also lists inside each share that passes.
  void GetFileList(std::vector<NewPathT>& result, const String& pattern, bool recursive,
                   const AdvSearchOptions& options) const;

  // ---- Network.

  /// The server a path lives on: "srv" for `"\\srv\share\x"`, the server of a
  /// mapped network drive for `"X:\x"`; "" for a local path.
  /// CannotRetrieveServerException (message 10) when the drive's mapping
  /// cannot be read.
  String Server() const;
  /// Not on another machine: a drive that is not a network drive, or a UNC
  /// path naming this computer. A relative path is judged by the current
  /// directory.
  bool IsLocal() const;
  /// The UNC form: a mapped network drive's path as `"\\srv\share\..."`, a SUBST
  /// drive's path through its target; a UNC path, or a local path that no
  /// share reaches, is returned as it is, made absolute.
  /// CannotRetrieveServerException (message 10) when a network drive's
  /// mapping cannot be read.
  NewPathT MakeUNC() const;
  /// A "file:" URI of the absolute path, which Set reads back to the same
  /// path:
  /// ~~~
  ///   "C:\a b\x"      ->  "file:///C:/a b/x"
  ///   "\\srv\share"   ->  "file://srv/share"
  /// ~~~
  /// a Directory gets a trailing "/". Nothing is percent-encoded, because Set
  /// does not decode.
  String GetURI() const;
  /// Appends the disk shares of this UNC path's server, as Directory paths
  /// `"\\server\share"` (administrative shares such as "C$" left out).
  /// CannotRetrieveServerException (message 10) when the server cannot be asked.
  void GetServerShares(std::vector<NewPathT>& shares) const;
  /// This computer's NetBIOS name.
  static String ComputerName();

 private:
  friend struct NewPathTestAccess;  // the tests read the state word and the predicates

  static constexpr std::uint32_t kAttributes = 0xFFFFu;
  static constexpr std::uint32_t kExists = 1u << 16;
  static constexpr unsigned kTypeShift = 17;
  static constexpr std::uint32_t kTypeMask = 7u << kTypeShift;
  static constexpr std::uint32_t kAbsolute = 1u << 20;
  static constexpr std::uint32_t kRoot = 1u << 21;
  static constexpr std::uint32_t kUNC = 1u << 22;
  static constexpr std::uint32_t kDrive = 1u << 23;
  static constexpr std::uint32_t kServer = 1u << 24;
  static constexpr std::uint32_t kLoaded = 1u << 25;
  static constexpr unsigned kRootShift = 26;
  static constexpr std::uint32_t kRootMask = 0x3Fu << kRootShift;

  static constexpr std::size_t kMaxPath = 260;

  // Each passes one Win32 call on to the wrapper layer both path families
  // share; the caller reads the last error on its next statement.
  // What GetFileAttributesEx tells of a path, times as Unix times.
  struct Facts {
    std::uint32_t attributes;
    std::uint64_t size;
    long long creationTime;
    long long lastAccessTime;
    long long lastWriteTime;
  };
  static bool GetFileAttributesExWrp(const String& path, Facts* facts);
  static unsigned long GetFileAttributesWrp(const String& path);
  static void* CreateFileWrp(const String& path, unsigned long access, unsigned long share, unsigned long disposition,
                             unsigned long flags);
  static bool CopyFileWrp(const String& from, const String& to, bool failIfExists);
  static bool MoveFileWrp(const String& from, const String& to);
  static bool GetDiskFreeSpaceExWrp(const String& path, std::uint64_t* available);
  static void* FindFirstFileWrp(const String& pattern, Win32FindData<CharT>* entry);
  static bool FindNextFileWrp(void* find, Win32FindData<CharT>* entry);
  static bool SetFileAttributesWrp(const String& path, unsigned long attributes);
  static unsigned long WNetGetConnectionWrp(const String& local, String& remote);
  static unsigned long WNetGetUniversalNameWrp(const String& local, String& universal);
  static bool GetComputerNameWrp(CharT* buffer, unsigned long* size);
  static bool CreateDirectoryWrp(const String& path);
  static bool RemoveDirectoryWrp(const String& path);
  static bool DeleteFileWrp(const String& path);
  static unsigned long GetFullPathNameWrp(const CharT* path, unsigned long size, CharT* buffer);
  static unsigned long GetCurrentDirectoryWrp(unsigned long size, CharT* buffer);
  static unsigned long GetLogicalDrivesWrp();
  static unsigned int GetDriveTypeWrp(const String& root);
  static unsigned long NetWkstaGetInfoWrp(const String& server);
  // Disk shares only, administrative ones left out.
  static unsigned long NetShareEnumWrp(const String& server, std::vector<String>& names);
  static unsigned long QueryDosDeviceWrp(const String& device, CharT* target, unsigned long size);

  PathType Type() const noexcept { return static_cast<PathType>((m_state & kTypeMask) >> kTypeShift); }
  void SetType(PathType type) const noexcept;
  std::uint32_t StoredRootLength() const noexcept { return (m_state & kRootMask) >> kRootShift; }
  void StoreRootLength(std::size_t length) noexcept;
  // The stored root length, never beyond the text.
  std::size_t RootLength() const noexcept;
  std::size_t NameStart() const noexcept;

  static void CollapseSeparators(String& s, std::size_t root);
  // Dot segments, end trim and root flags, on the state word's kind of path.
  void ResolveDots(String& s, std::size_t root);
  // The end trim and root flags after the first walk over s left length
  // units; refused (a position in s, or all ones for none) is cleared when
  // the end is cut below it.
  void FinishDots(String& s, std::size_t length, std::size_t root, std::size_t& refused);
  void ResetProperties() const noexcept;
  // 0, or the Win32 error of a failed read.
  unsigned long Load() const;
  void LoadIfNeeded() const;
  // Loads, and throws FileNotFoundException (message 15 with the path, or
  // with no message) when the path does not exist.
  void RequireExists(bool withMessage) const;
  void ReplaceText(String text, bool rename);
  NewPathT Child(const String& directory, const Win32FindData<CharT>& entry) const;
  NewPathT MadeAbsolute() const;

  static void ForceCreateDirectory(const String& path);
  void CreateFileWithParents() const;
  void ClearReadOnly(const String& path, unsigned long attributes) const;
  void DeleteTree(const String& path, unsigned long attributes) const;
  void DeleteEntries(const String& directory) const;
  void CopyTree(const String& from, const String& to, bool overwrite) const;
  void CopyFileWithParents(const String& from, const String& to, bool overwrite) const;
  void ListDirectory(std::vector<NewPathT>& result, const ORV::WildCardT<CharT>& pattern, bool recursive,
                     const AdvSearchOptions& options) const;
  void ListShares(std::vector<NewPathT>& result, const ORV::WildCardT<CharT>& pattern, bool recursive,
                  const AdvSearchOptions& options) const;

  static bool InvalidPathChar(const CharT& c);
  static bool InvalidComputerNameChar(const CharT& c);
  static bool InvalidSegment(const CharT* begin, const CharT* end);
  static bool InvalidPathName(const CharT* begin, const CharT* end);
  static bool InvalidPathNameLess(const String& entry, const CharT* text);
  static bool InvalidPathNameEqual(const String& entry, const CharT* text);
  static bool IsDeviceName(const CharT* text);

  template <class C>
  friend ORV::BinaryStream& operator<<(ORV::BinaryStream& stream, const NewPathT<C>& path);
  template <class C>
  friend ORV::BinaryStream& operator>>(ORV::BinaryStream& stream, NewPathT<C>& path);

  // The cache may be filled by const queries.
  mutable std::uint64_t m_size;
  mutable ORV::DateTime m_time;
  String m_path;
  mutable std::uint32_t m_state;
};

/// The stream form: the size (8 bytes, little-endian), the modification time
/// (the core library's DateTime form), the raw path (BinaryStream_Put, form 16
/// narrow, 17 wide), the state word (4 bytes, little-endian). Reading takes
/// the four items back as written, without parsing or checking; a read cut
/// short throws ORV::Exception and leaves the path as it was.
///@{
template <class CharT>
ORV::BinaryStream& operator<<(ORV::BinaryStream& stream, const NewPathT<CharT>& path);
template <class CharT>
ORV::BinaryStream& operator>>(ORV::BinaryStream& stream, NewPathT<CharT>& path);
///@}

/// \cond
// Both widths are instantiated and exported by the library, not by its users.
extern template class ORVFILE_API NewPathT<char>;
extern template class ORVFILE_API NewPathT<wchar>;
extern template ORVFILE_API ORV::BinaryStream& operator<<(ORV::BinaryStream&, const NewPathT<char>&);
extern template ORVFILE_API ORV::BinaryStream& operator<<(ORV::BinaryStream&, const NewPathT<wchar>&);
extern template ORVFILE_API ORV::BinaryStream& operator>>(ORV::BinaryStream&, NewPathT<char>&);
extern template ORVFILE_API ORV::BinaryStream& operator>>(ORV::BinaryStream&, NewPathT<wchar>&);
/// \endcond

/// The narrow path, text in the ANSI code page.
using NewPath = NewPathT<char>;
/// The wide path, text in UTF-16.
using NewPathW = NewPathT<wchar>;

}  // namespace ORVFile
