// The Win32 and runtime calls of both path families (NewPathT, and Path and
// WPath), one wrapper each, the narrow or wide function picked by width. A
// wrapper does nothing after its call that could change the thread's last
// error, so the caller reads it on its next statement. A wrapper whose call
// reports that its buffer is too small grows the buffer and asks again.
#pragma once

#include "win32.h"

#include <direct.h>
#include <io.h>
#include <lm.h>
#include <winnetwk.h>

#include <cstdint>
#include <cstdlib>
#include <stdio.h>
#include <string>
#include <type_traits>
#include <vector>

#include "ORVCharset.h"

namespace ORVFile::detail {

template <class CharT>
using Text = std::basic_string<CharT>;

// The narrow function for char, the wide one for wchar.
template <class CharT, class Narrow, class Wide>
constexpr auto ByWidth(Narrow narrow, Wide wide) {
  if constexpr (sizeof(CharT) == 1)
    return narrow;
  else
    return wide;
}

// Text of the other width through the charset library, which never maps a
// character the ANSI code page lacks to a look-alike: U+FF3C (fullwidth
// backslash) becomes "?", not a separator.
template <class CharT>
Text<CharT> FromWide(const std::wstring& text) {
  if constexpr (sizeof(CharT) == 1)
    return ORV::ConvertFromWide(text, ORV::CHARSET_ANSI);
  else
    return text;
}

template <class CharT>
std::wstring ToWide(const Text<CharT>& text) {
  if constexpr (sizeof(CharT) == 1)
    return ORV::ConvertToWide(text, ORV::CHARSET_ANSI);
  else
    return text;
}

inline bool IsDirectoryAttribute(unsigned long attributes) noexcept {
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// Junctions and symbolic links to directories are neither entered nor copied
// through: one could lead back to an ancestor, or out of the tree.
inline bool IsRealDirectory(unsigned long attributes) noexcept {
  return IsDirectoryAttribute(attributes) && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0;
}

// The bits SetFileAttributes takes; none at all is spelt FILE_ATTRIBUTE_NORMAL.
inline unsigned long Settable(unsigned long word) noexcept {
  constexpr unsigned long kSettable = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM |
                                      FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_TEMPORARY | FILE_ATTRIBUTE_OFFLINE |
                                      FILE_ATTRIBUTE_NOT_CONTENT_INDEXED;
  const unsigned long settable = word & kSettable;
  return settable != 0 ? settable : FILE_ATTRIBUTE_NORMAL;
}

// ---- Attributes, files and directories.

template <class CharT>
unsigned long GetFileAttributesWrp(const Text<CharT>& path) {
  return ByWidth<CharT>(::GetFileAttributesA, ::GetFileAttributesW)(path.c_str());
}

template <class CharT>
bool GetFileAttributesExWrp(const Text<CharT>& path, WIN32_FILE_ATTRIBUTE_DATA* data) {
  return ByWidth<CharT>(::GetFileAttributesExA, ::GetFileAttributesExW)(path.c_str(), GetFileExInfoStandard, data) !=
         FALSE;
}

inline std::uint64_t SizeOf(const WIN32_FILE_ATTRIBUTE_DATA& data) noexcept {
  return (static_cast<std::uint64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
}

template <class CharT>
bool SetFileAttributesWrp(const Text<CharT>& path, unsigned long attributes) {
  return ByWidth<CharT>(::SetFileAttributesA, ::SetFileAttributesW)(path.c_str(), attributes) != FALSE;
}

template <class CharT>
HANDLE CreateFileWrp(const Text<CharT>& path, unsigned long access, unsigned long share, unsigned long disposition,
                     unsigned long flags) {
  return ByWidth<CharT>(::CreateFileA, ::CreateFileW)(path.c_str(), access, share, nullptr, disposition, flags,
                                                      nullptr);
}

template <class CharT>
bool CreateDirectoryWrp(const Text<CharT>& path) {
  return ByWidth<CharT>(::CreateDirectoryA, ::CreateDirectoryW)(path.c_str(), nullptr) != FALSE;
}

template <class CharT>
bool RemoveDirectoryWrp(const Text<CharT>& path) {
  return ByWidth<CharT>(::RemoveDirectoryA, ::RemoveDirectoryW)(path.c_str()) != FALSE;
}

template <class CharT>
bool DeleteFileWrp(const Text<CharT>& path) {
  return ByWidth<CharT>(::DeleteFileA, ::DeleteFileW)(path.c_str()) != FALSE;
}

template <class CharT>
bool CopyFileWrp(const Text<CharT>& from, const Text<CharT>& to, bool failIfExists) {
  return ByWidth<CharT>(::CopyFileA, ::CopyFileW)(from.c_str(), to.c_str(), failIfExists) != FALSE;
}

template <class CharT>
bool MoveFileWrp(const Text<CharT>& from, const Text<CharT>& to) {
  return ByWidth<CharT>(::MoveFileA, ::MoveFileW)(from.c_str(), to.c_str()) != FALSE;
}

template <class CharT>
bool GetDiskFreeSpaceExWrp(const Text<CharT>& directory, std::uint64_t* available) {
  ULARGE_INTEGER free;
  if (!ByWidth<CharT>(::GetDiskFreeSpaceExA, ::GetDiskFreeSpaceExW)(directory.c_str(), &free, nullptr, nullptr))
    return false;
  *available = free.QuadPart;
  return true;
}

// ---- Directory searches: the system's and the runtime's.

template <class CharT>
using FindRecord = std::conditional_t<sizeof(CharT) == 1, WIN32_FIND_DATAA, WIN32_FIND_DATAW>;

template <class CharT>
HANDLE FindFirstFileWrp(const Text<CharT>& pattern, FindRecord<CharT>* data) {
  return ByWidth<CharT>(::FindFirstFileA, ::FindFirstFileW)(pattern.c_str(), data);
}

template <class CharT>
bool FindNextFileWrp(HANDLE find, FindRecord<CharT>* data) {
  return ByWidth<CharT>(::FindNextFileA, ::FindNextFileW)(find, data) != FALSE;
}

// The runtime's find record, 64-bit size and times; the name is a CharT array.
template <class CharT>
using FindData = std::conditional_t<sizeof(CharT) == 1, __finddata64_t, _wfinddata64_t>;

template <class CharT>
std::intptr_t FindFirstWrp(const Text<CharT>& pattern, FindData<CharT>* data) {
  return ByWidth<CharT>(::_findfirst64, ::_wfindfirst64)(pattern.c_str(), data);
}

template <class CharT>
int FindNextWrp(std::intptr_t find, FindData<CharT>* data) {
  return ByWidth<CharT>(::_findnext64, ::_wfindnext64)(find, data);
}

// Owns a runtime find handle; closing keeps the caller's last error.
class RuntimeFind {
 public:
  explicit RuntimeFind(std::intptr_t find) noexcept : m_find(find) {}
  RuntimeFind(const RuntimeFind&) = delete;
  RuntimeFind& operator=(const RuntimeFind&) = delete;
  ~RuntimeFind() {
    if (!*this) return;
    const DWORD error = ::GetLastError();
    ::_findclose(m_find);
    ::SetLastError(error);
  }

  explicit operator bool() const noexcept { return m_find != -1; }
  std::intptr_t Get() const noexcept { return m_find; }

 private:
  std::intptr_t m_find;
};

// ---- The runtime's file calls.

template <class CharT>
int MkdirWrp(const Text<CharT>& path) {
  return ByWidth<CharT>(::_mkdir, ::_wmkdir)(path.c_str());
}

template <class CharT>
int RmdirWrp(const Text<CharT>& path) {
  return ByWidth<CharT>(::_rmdir, ::_wrmdir)(path.c_str());
}

template <class CharT>
int UnlinkWrp(const Text<CharT>& path) {
  return ByWidth<CharT>(::_unlink, ::_wunlink)(path.c_str());
}

template <class CharT>
int RenameWrp(const Text<CharT>& from, const Text<CharT>& to) {
  return ByWidth<CharT>(::rename, ::_wrename)(from.c_str(), to.c_str());
}

template <class CharT>
struct PathParts {
  Text<CharT> drive, directory, name, extension;
};

// Each part's buffer can hold the whole text, so _splitpath_s never cuts.
template <class CharT>
int SplitPathWrp(const Text<CharT>& path, PathParts<CharT>* parts) {
  const std::size_t size = path.size() + 3;  // a drive needs three even in a shorter text
  std::vector<CharT> buffer(4 * size);
  CharT* const drive = buffer.data();
  CharT* const directory = drive + size;
  CharT* const name = directory + size;
  CharT* const extension = name + size;
  // The secure forms have array overloads in C++, so they are named, not passed.
  errno_t result;
  if constexpr (sizeof(CharT) == 1)
    result = ::_splitpath_s(path.c_str(), drive, size, directory, size, name, size, extension, size);
  else
    result = ::_wsplitpath_s(path.c_str(), drive, size, directory, size, name, size, extension, size);
  if (result != 0) return result;
  *parts = {drive, directory, name, extension};
  return 0;
}

// ---- Times.

inline bool FileTimeToLocalFileTimeWrp(const FILETIME& time, FILETIME* local) {
  return ::FileTimeToLocalFileTime(&time, local) != FALSE;
}

inline bool FileTimeToSystemTimeWrp(const FILETIME& time, SYSTEMTIME* fields) {
  return ::FileTimeToSystemTime(&time, fields) != FALSE;
}

// ---- The machine, its drives and the network.

template <class CharT>
bool GetComputerNameWrp(CharT* buffer, unsigned long* size) {
  return ByWidth<CharT>(::GetComputerNameA, ::GetComputerNameW)(buffer, size) != FALSE;
}

template <class CharT>
unsigned long GetFullPathNameWrp(const CharT* path, unsigned long size, CharT* buffer) {
  return ByWidth<CharT>(::GetFullPathNameA, ::GetFullPathNameW)(path, size, buffer, nullptr);
}

template <class CharT>
unsigned long GetCurrentDirectoryWrp(unsigned long size, CharT* buffer) {
  return ByWidth<CharT>(::GetCurrentDirectoryA, ::GetCurrentDirectoryW)(size, buffer);
}

inline unsigned long GetLogicalDrivesWrp() { return ::GetLogicalDrives(); }

template <class CharT>
unsigned int GetDriveTypeWrp(const Text<CharT>& root) {
  return ByWidth<CharT>(::GetDriveTypeA, ::GetDriveTypeW)(root.c_str());
}

template <class CharT>
unsigned long QueryDosDeviceWrp(const Text<CharT>& device, CharT* target, unsigned long size) {
  return ByWidth<CharT>(::QueryDosDeviceA, ::QueryDosDeviceW)(device.c_str(), target, size);
}

// NO_ERROR or the call's error; remote is resized to the connection's name.
template <class CharT>
unsigned long WNetGetConnectionWrp(const Text<CharT>& local, Text<CharT>& remote) {
  std::vector<CharT> buffer(MAX_PATH);
  DWORD result = ERROR_MORE_DATA;
  for (int attempt = 0; attempt < 2 && result == ERROR_MORE_DATA; ++attempt) {
    DWORD length = static_cast<DWORD>(buffer.size());
    result = ByWidth<CharT>(::WNetGetConnectionA, ::WNetGetConnectionW)(local.c_str(), buffer.data(), &length);
    if (result == ERROR_MORE_DATA) buffer.resize(length + 1);
  }
  if (result == NO_ERROR || result == ERROR_CONNECTION_UNAVAIL) remote = buffer.data();
  return result;
}

// NO_ERROR or the call's error. The record points into the buffer it heads.
template <class CharT>
unsigned long WNetGetUniversalNameWrp(const Text<CharT>& local, Text<CharT>& universal) {
  using Info = std::conditional_t<sizeof(CharT) == 1, UNIVERSAL_NAME_INFOA, UNIVERSAL_NAME_INFOW>;
  std::vector<Info> buffer(64);
  DWORD result = ERROR_MORE_DATA;
  for (int attempt = 0; attempt < 2 && result == ERROR_MORE_DATA; ++attempt) {
    DWORD size = static_cast<DWORD>(buffer.size() * sizeof(Info));
    result = ByWidth<CharT>(::WNetGetUniversalNameA, ::WNetGetUniversalNameW)(local.c_str(), UNIVERSAL_NAME_INFO_LEVEL,
                                                                              buffer.data(), &size);
    if (result == ERROR_MORE_DATA) buffer.resize(size / sizeof(Info) + 1);
  }
  if (result == NO_ERROR) universal = buffer.front().lpUniversalName;
  return result;
}

// Owns a buffer the network calls allocated.
class NetBuffer {
 public:
  NetBuffer() = default;
  NetBuffer(const NetBuffer&) = delete;
  NetBuffer& operator=(const NetBuffer&) = delete;
  ~NetBuffer() {
    if (m_buffer == nullptr) return;
    const DWORD error = ::GetLastError();
    ::NetApiBufferFree(m_buffer);
    ::SetLastError(error);
  }
  LPBYTE* Out() noexcept { return &m_buffer; }
  template <class T>
  const T* As() const noexcept {
    return reinterpret_cast<const T*>(m_buffer);
  }

 private:
  LPBYTE m_buffer = nullptr;
};

// The workstation query exists in UTF-16 only: a narrow server name goes
// through the charset library, byte for unit.
template <class CharT>
unsigned long NetWkstaGetInfoWrp(const Text<CharT>& server) {
  std::wstring name;
  if constexpr (sizeof(CharT) == 1)
    name = ORV::ConvertToWide(server, ORV::CHARSET_ISO_8859_1);
  else
    name = server;
  NetBuffer info;
  return ::NetWkstaGetInfo(name.data(), 100, info.Out());
}

// Disk shares only, administrative ones left out; every share in one call.
template <class CharT>
unsigned long NetShareEnumWrp(const Text<CharT>& server, std::vector<Text<CharT>>& names) {
  std::wstring name = ToWide(server);
  NetBuffer buffer;
  DWORD read = 0;
  DWORD total = 0;
  const NET_API_STATUS status =
      ::NetShareEnum(name.data(), 1, buffer.Out(), MAX_PREFERRED_LENGTH, &read, &total, nullptr);
  if (status != NERR_Success) return status;
  const auto* shares = buffer.As<SHARE_INFO_1>();
  for (DWORD i = 0; i < read; ++i) {
    const DWORD type = shares[i].shi1_type;
    // The low byte is the kind of share; MinGW lacks STYPE_MASK.
    if ((type & 0xFFu) == STYPE_DISKTREE && (type & STYPE_SPECIAL) == 0)
      names.push_back(FromWide<CharT>(shares[i].shi1_netname));
  }
  return status;
}

}  // namespace ORVFile::detail
