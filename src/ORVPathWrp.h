// The Win32 and runtime calls of Path and WPath, one wrapper each, the narrow
// or wide function picked by width. A wrapper does nothing after its call
// that could change the thread's last error, so the caller reads it on its
// next statement. Included by ORVPathCommon.h only.
#pragma once

#include "win32.h"

#include <direct.h>
#include <io.h>
#include <winnetwk.h>

#include <cstdint>
#include <cstdlib>
#include <stdio.h>
#include <string>
#include <type_traits>
#include <vector>

namespace ORVFile::detail {

template <class CharT>
using Text = std::basic_string<CharT>;

// The runtime's find record, 64-bit size and times; the name is a CharT array.
template <class CharT>
using FindData = std::conditional_t<sizeof(CharT) == 1, __finddata64_t, _wfinddata64_t>;

// The narrow function for char, the wide one for wchar.
template <class CharT, class Narrow, class Wide>
constexpr auto ByWidth(Narrow narrow, Wide wide) {
  if constexpr (sizeof(CharT) == 1)
    return narrow;
  else
    return wide;
}

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

template <class CharT>
unsigned long GetFileAttributesWrp(const Text<CharT>& path) {
  return ByWidth<CharT>(::GetFileAttributesA, ::GetFileAttributesW)(path.c_str());
}

struct FileFacts {
  std::uint64_t size;
  FILETIME lastWrite;
};

template <class CharT>
bool GetFileAttributesExWrp(const Text<CharT>& path, FileFacts* facts) {
  WIN32_FILE_ATTRIBUTE_DATA data;
  if (!ByWidth<CharT>(::GetFileAttributesExA, ::GetFileAttributesExW)(path.c_str(), GetFileExInfoStandard, &data))
    return false;
  facts->size = (static_cast<std::uint64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
  facts->lastWrite = data.ftLastWriteTime;
  return true;
}

template <class CharT>
bool SetFileAttributesWrp(const Text<CharT>& path, unsigned long attributes) {
  return ByWidth<CharT>(::SetFileAttributesA, ::SetFileAttributesW)(path.c_str(), attributes) != FALSE;
}

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

template <class CharT>
bool GetComputerNameWrp(Text<CharT>& name) {
  CharT buffer[MAX_COMPUTERNAME_LENGTH + 1] = {};
  DWORD size = MAX_COMPUTERNAME_LENGTH + 1;
  if (!ByWidth<CharT>(::GetComputerNameA, ::GetComputerNameW)(buffer, &size)) return false;
  name.assign(buffer, size);
  return true;
}

// NO_ERROR or the call's error. The record points into the buffer it heads;
// the buffer grows once when the system asks for more.
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

inline bool FileTimeToLocalFileTimeWrp(const FILETIME& time, FILETIME* local) {
  return ::FileTimeToLocalFileTime(&time, local) != FALSE;
}

inline bool FileTimeToSystemTimeWrp(const FILETIME& time, SYSTEMTIME* fields) {
  return ::FileTimeToSystemTime(&time, fields) != FALSE;
}

}  // namespace ORVFile::detail
