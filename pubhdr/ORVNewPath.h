// NewPathT: the library's path value, over char (ANSI code page) or wchar
// (UTF-16 units). It holds a normalised path text, a packed state word (kind
// of path, where its root ends, file or directory) and a small cache of file
// properties. One parser, Set, builds it; the accessors read the text and the
// root length Set recorded and never re-parse:
//
//   "C:/dir/./a/../name \"   ->  "C:\dir\name"
//   "file:///C:/x"           ->  "C:\x"
//   "\\server"               ->  "\\server\"  (UNC, root, server)
//
// Under validation the narrow class refuses every byte from 0x80 up in a
// name, the wide class only units below 32: intended, and kept.
//
// A path is a value: it owns everything it holds and shares nothing. It is not
// locked; a caller that shares one between threads must lock around it.
//
// The state word is written to streams as it stands, so its bit layout is a
// stored format: bits 0-15 attributes, 16 exists, 17-19 type, 20 absolute,
// 21 root, 22 UNC, 23 drive, 24 server, 25 loaded, 26-31 root length.
#pragma once

#include <cstdint>
#include <string>

#include "ORVDateTime.h"
#include "ORVFileDefs.h"

namespace ORVFile {

enum class PathType : std::uint32_t {
  File = 0,  // the default
  Directory = 1,
  // Read from the file system while parsing; the path must exist. The
  // property load is not there yet, so Set stores Detect as it stands.
  Detect = 2,
};

template <class CharT>
class NewPathT {
 public:
  using String = std::basic_string<CharT>;

  static const String NP_PATH_SEPARATOR;       // "\"
  static const String NP_SLASH;                // "/"
  static const String NP_DRIVE_SEPARATOR;      // ":"
  static const String NP_EXTENSION_SEPARATOR;  // "."
  static const String NP_CURRENT;              // "."
  static const String NP_SPACE;                // " "
  static const String NP_ROOT;                 // "\"
  static const String NP_PARENT;               // ".."
  static const String NP_UNC_ROOT;             // two backslashes
  static const String NP_FILE_SCHEME;          // "file:" and two backslashes
  // Sorted, so that a character can be binary-searched.
  static const String NP_ALL_INVALID_PATH_CHAR;
  static const String NP_ALL_INVALID_COMPUTER_CHAR;
  static constexpr std::size_t kDeviceNameCount = 23;
  // Sorted by InvalidPathNameLess; the device search depends on this order.
  static const String NP_ALL_INVALID_PATH_NAME[kDeviceNameCount];

  NewPathT();
  explicit NewPathT(const String& text, PathType type = PathType::File, bool validate = true);
  NewPathT(const NewPathT& other);
  NewPathT& operator=(const NewPathT& other);
  ~NewPathT();

  // Throws InvalidPathException on a bad drive letter, and with validate on a
  // bad server name or segment. On a throw the object is unusable until the
  // next successful Set.
  void Set(const String& text, PathType type, bool validate);

  // Resolves "." and "..", trims the end and collapses backslashes; with
  // makeAbsolute a relative path is first joined to the current directory
  // (of its drive, for "C:x"). No validation; without makeAbsolute the cache
  // is kept.
  void Canonicalize(bool makeAbsolute);
  // The current directory, or that of the drive letter; InvalidPathException
  // when the drive is not present.
  static NewPathT GetCurrentPath(const CharT& drive);

  // A text prefix, ASCII case folded, strictly shorter; no separator needed
  // after it: "C:\ab" is a child of "C:\a". The file system is not read.
  bool IsChild(const NewPathT& parent) const;

  // A complete other path replaces this one; a relative one is joined to
  // Directory(); one starting with "\" keeps only this path's root. A
  // relative join of 260 units or more throws InvalidPathException and
  // leaves this path as it was.
  NewPathT& operator+=(const NewPathT& other);
  NewPathT operator+(const NewPathT& other) const;

  const String& RawPath() const noexcept { return m_path; }
  String FullPath() const;
  String Root() const;
  String Drive() const;
  String Name() const;
  String Extension() const;
  String Directory() const;
  String DirectoryWithoutBackslash() const;

  bool IsAbsolute() const noexcept { return (m_state & kAbsolute) != 0; }
  bool IsRelative() const noexcept { return !IsAbsolute(); }
  bool IsRoot() const noexcept { return (m_state & kRoot) != 0; }
  bool IsServer() const noexcept { return (m_state & kServer) != 0; }
  bool IsUNC() const noexcept { return (m_state & kUNC) != 0; }
  bool HasDrive() const noexcept { return (m_state & kDrive) != 0; }
  // Names one place whatever the current drive and directory.
  bool IsComplete() const noexcept { return IsUNC() || (HasDrive() && IsAbsolute()); }
  bool IsFile() const noexcept { return Type() == PathType::File; }
  bool IsDirectory() const noexcept { return Type() == PathType::Directory; }

  // Folds A-Z only; callers compare case-insensitively by folding first.
  void ToLowerCase() noexcept;

  // Exact, case-sensitive: "C:\A" and "c:\a" differ.
  bool operator==(const String& text) const noexcept { return m_path == text; }
  bool operator==(const NewPathT& other) const noexcept { return m_path == other.m_path; }
  // By unsigned code unit, a prefix first.
  bool operator<(const String& text) const noexcept;
  bool operator<(const NewPathT& other) const noexcept { return *this < other.m_path; }

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

  // The one place each Win32 call is made, picking the A or W function by width.
  static unsigned long GetCurrentDirectoryWrp(unsigned long size, CharT* buffer);
  static unsigned long GetFullPathNameWrp(const CharT* path, unsigned long size, CharT* buffer);
  static unsigned long GetLogicalDrivesWrp();

  PathType Type() const noexcept { return static_cast<PathType>((m_state & kTypeMask) >> kTypeShift); }
  std::uint32_t StoredRootLength() const noexcept { return (m_state & kRootMask) >> kRootShift; }
  void StoreRootLength(std::size_t length) noexcept;
  // The stored root length, never beyond the text.
  std::size_t RootLength() const noexcept;

  static void CollapseSeparators(String& s, std::size_t root);
  // Dot segments, end trim and root flags, on the state word's kind of path.
  void ResolveDots(String& s, std::size_t root);
  void ResetCache() noexcept;

  static bool InvalidPathChar(const CharT& c);
  static bool InvalidComputerNameChar(const CharT& c);
  static bool InvalidSegment(const CharT* begin, const CharT* end);
  static bool InvalidPathName(const CharT* begin, const CharT* end);
  static bool InvalidPathNameLess(const String& entry, const CharT* text);
  static bool InvalidPathNameEqual(const String& entry, const CharT* text);
  static bool IsDeviceName(const CharT* text);

  std::uint64_t m_size;
  ORV::DateTime m_time;
  String m_path;
  std::uint32_t m_state;
};

extern template class ORVFILE_API NewPathT<char>;
extern template class ORVFILE_API NewPathT<wchar>;

using NewPath = NewPathT<char>;
using NewPathW = NewPathT<wchar>;

}  // namespace ORVFile
