// The Win32 calls of NewPathT, one wrapper each, the A or W function picked
// by width. Included once, by ORVNewPath.cpp. A wrapper does nothing after
// its call that could change the thread's last error, so the caller reads it
// on its next statement.

namespace ORVFile {

template <class CharT>
bool NewPathT<CharT>::GetFileAttributesExWrp(const String& path, Facts* facts) {
  WIN32_FILE_ATTRIBUTE_DATA data;
  BOOL ok;
  if constexpr (sizeof(CharT) == 1)
    ok = ::GetFileAttributesExA(path.c_str(), GetFileExInfoStandard, &data);
  else
    ok = ::GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data);
  if (!ok) return false;
  facts->attributes = data.dwFileAttributes;
  facts->size = (static_cast<std::uint64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
  facts->creationTime = UnixTime(data.ftCreationTime);
  facts->lastAccessTime = UnixTime(data.ftLastAccessTime);
  facts->lastWriteTime = UnixTime(data.ftLastWriteTime);
  return true;
}

template <class CharT>
unsigned long NewPathT<CharT>::GetFileAttributesWrp(const String& path) {
  if constexpr (sizeof(CharT) == 1)
    return ::GetFileAttributesA(path.c_str());
  else
    return ::GetFileAttributesW(path.c_str());
}

template <class CharT>
void* NewPathT<CharT>::CreateFileWrp(const String& path, unsigned long access, unsigned long share,
                                     unsigned long disposition, unsigned long flags) {
  if constexpr (sizeof(CharT) == 1)
    return ::CreateFileA(path.c_str(), access, share, nullptr, disposition, flags, nullptr);
  else
    return ::CreateFileW(path.c_str(), access, share, nullptr, disposition, flags, nullptr);
}

template <class CharT>
bool NewPathT<CharT>::CopyFileWrp(const String& from, const String& to, bool failIfExists) {
  if constexpr (sizeof(CharT) == 1)
    return ::CopyFileA(from.c_str(), to.c_str(), failIfExists) != FALSE;
  else
    return ::CopyFileW(from.c_str(), to.c_str(), failIfExists) != FALSE;
}

template <class CharT>
bool NewPathT<CharT>::MoveFileWrp(const String& from, const String& to) {
  if constexpr (sizeof(CharT) == 1)
    return ::MoveFileA(from.c_str(), to.c_str()) != FALSE;
  else
    return ::MoveFileW(from.c_str(), to.c_str()) != FALSE;
}

template <class CharT>
bool NewPathT<CharT>::GetDiskFreeSpaceExWrp(const String& path, std::uint64_t* available) {
  ULARGE_INTEGER free;
  BOOL ok;
  if constexpr (sizeof(CharT) == 1)
    ok = ::GetDiskFreeSpaceExA(path.c_str(), &free, nullptr, nullptr);
  else
    ok = ::GetDiskFreeSpaceExW(path.c_str(), &free, nullptr, nullptr);
  if (ok) *available = free.QuadPart;
  return ok != FALSE;
}

// The record is converted whatever the result; the conversion allocates, so
// the call's error is put back afterwards.
template <class CharT>
void* NewPathT<CharT>::FindFirstFileWrp(const String& pattern, Win32FindData<CharT>* entry) {
  HANDLE find;
  DWORD error;
  if constexpr (sizeof(CharT) == 1) {
    WIN32_FIND_DATAA data{};
    find = ::FindFirstFileA(pattern.c_str(), &data);
    error = ::GetLastError();
    Convert(data, *entry);
  } else {
    WIN32_FIND_DATAW data{};
    find = ::FindFirstFileW(pattern.c_str(), &data);
    error = ::GetLastError();
    Convert(data, *entry);
  }
  ::SetLastError(error);
  return find;
}

template <class CharT>
bool NewPathT<CharT>::FindNextFileWrp(void* find, Win32FindData<CharT>* entry) {
  BOOL ok;
  DWORD error;
  if constexpr (sizeof(CharT) == 1) {
    WIN32_FIND_DATAA data{};
    ok = ::FindNextFileA(find, &data);
    error = ::GetLastError();
    Convert(data, *entry);
  } else {
    WIN32_FIND_DATAW data{};
    ok = ::FindNextFileW(find, &data);
    error = ::GetLastError();
    Convert(data, *entry);
  }
  ::SetLastError(error);
  return ok != FALSE;
}

template <class CharT>
bool NewPathT<CharT>::SetFileAttributesWrp(const String& path, unsigned long attributes) {
  if constexpr (sizeof(CharT) == 1)
    return ::SetFileAttributesA(path.c_str(), attributes) != FALSE;
  else
    return ::SetFileAttributesW(path.c_str(), attributes) != FALSE;
}

template <class CharT>
unsigned long NewPathT<CharT>::WNetGetConnectionWrp(const String& local, CharT* remote, unsigned long* length) {
  if constexpr (sizeof(CharT) == 1)
    return ::WNetGetConnectionA(local.c_str(), remote, length);
  else
    return ::WNetGetConnectionW(local.c_str(), remote, length);
}

template <class CharT>
unsigned long NewPathT<CharT>::WNetGetUniversalNameWrp(const String& local, String& universal) {
  // The record holds a pointer into the buffer it heads.
  alignas(void*) char buffer[sizeof(void*) + 1024 * sizeof(CharT)];
  DWORD size = sizeof buffer;
  DWORD result;
  if constexpr (sizeof(CharT) == 1) {
    result = ::WNetGetUniversalNameA(local.c_str(), UNIVERSAL_NAME_INFO_LEVEL, buffer, &size);
    if (result == NO_ERROR) universal = reinterpret_cast<UNIVERSAL_NAME_INFOA*>(buffer)->lpUniversalName;
  } else {
    result = ::WNetGetUniversalNameW(local.c_str(), UNIVERSAL_NAME_INFO_LEVEL, buffer, &size);
    if (result == NO_ERROR) universal = reinterpret_cast<UNIVERSAL_NAME_INFOW*>(buffer)->lpUniversalName;
  }
  return result;
}

template <class CharT>
bool NewPathT<CharT>::GetComputerNameWrp(CharT* buffer, unsigned long* size) {
  if constexpr (sizeof(CharT) == 1)
    return ::GetComputerNameA(buffer, size) != FALSE;
  else
    return ::GetComputerNameW(buffer, size) != FALSE;
}

template <class CharT>
bool NewPathT<CharT>::CreateDirectoryWrp(const String& path) {
  if constexpr (sizeof(CharT) == 1)
    return ::CreateDirectoryA(path.c_str(), nullptr) != FALSE;
  else
    return ::CreateDirectoryW(path.c_str(), nullptr) != FALSE;
}

template <class CharT>
bool NewPathT<CharT>::RemoveDirectoryWrp(const String& path) {
  if constexpr (sizeof(CharT) == 1)
    return ::RemoveDirectoryA(path.c_str()) != FALSE;
  else
    return ::RemoveDirectoryW(path.c_str()) != FALSE;
}

template <class CharT>
bool NewPathT<CharT>::DeleteFileWrp(const String& path) {
  if constexpr (sizeof(CharT) == 1)
    return ::DeleteFileA(path.c_str()) != FALSE;
  else
    return ::DeleteFileW(path.c_str()) != FALSE;
}

template <class CharT>
unsigned long NewPathT<CharT>::GetFullPathNameWrp(const CharT* path, unsigned long size, CharT* buffer) {
  if constexpr (sizeof(CharT) == 1)
    return ::GetFullPathNameA(path, size, buffer, nullptr);
  else
    return ::GetFullPathNameW(path, size, buffer, nullptr);
}

template <class CharT>
unsigned long NewPathT<CharT>::GetCurrentDirectoryWrp(unsigned long size, CharT* buffer) {
  if constexpr (sizeof(CharT) == 1)
    return ::GetCurrentDirectoryA(size, buffer);
  else
    return ::GetCurrentDirectoryW(size, buffer);
}

template <class CharT>
unsigned long NewPathT<CharT>::GetLogicalDrivesWrp() {
  return ::GetLogicalDrives();
}

template <class CharT>
unsigned int NewPathT<CharT>::GetDriveTypeWrp(const String& root) {
  if constexpr (sizeof(CharT) == 1)
    return ::GetDriveTypeA(root.c_str());
  else
    return ::GetDriveTypeW(root.c_str());
}

// The workstation query exists in UTF-16 only: a narrow server name goes
// through the charset library, byte for unit.
template <class CharT>
unsigned long NewPathT<CharT>::NetWkstaGetInfoWrp(const String& server) {
  std::wstring name;
  if constexpr (sizeof(CharT) == 1)
    name = ORV::ConvertToWide(server, ORV::CHARSET_ISO_8859_1, ORV::CHARSET_UTF16);
  else
    name = server;
  LPBYTE info = nullptr;
  const NET_API_STATUS status = ::NetWkstaGetInfo(name.data(), 100, &info);
  if (info != nullptr) ::NetApiBufferFree(info);
  return status;
}

template <class CharT>
unsigned long NewPathT<CharT>::NetShareEnumWrp(const String& server, std::vector<String>& names) {
  std::wstring name;
  if constexpr (sizeof(CharT) == 1)
    name = ORV::ConvertToWide(server, ORV::CHARSET_ANSI, ORV::CHARSET_UTF16);
  else
    name = server;
  LPBYTE buffer = nullptr;
  DWORD read = 0;
  DWORD total = 0;
  const NET_API_STATUS status = ::NetShareEnum(name.data(), 1, &buffer, MAX_PREFERRED_LENGTH, &read, &total, nullptr);
  if (status == NERR_Success && buffer != nullptr) {
    const auto* shares = reinterpret_cast<const SHARE_INFO_1*>(buffer);
    for (DWORD i = 0; i < read; ++i) {
      const DWORD type = shares[i].shi1_type;
      // The low byte is the kind of share; MinGW lacks STYPE_MASK.
      if ((type & 0xFFu) == STYPE_DISKTREE && (type & STYPE_SPECIAL) == 0)
        names.push_back(FromWide<CharT>(shares[i].shi1_netname));
    }
  }
  if (buffer != nullptr) ::NetApiBufferFree(buffer);
  return status;
}

template <class CharT>
unsigned long NewPathT<CharT>::QueryDosDeviceWrp(const String& device, CharT* target, unsigned long size) {
  if constexpr (sizeof(CharT) == 1)
    return ::QueryDosDeviceA(device.c_str(), target, size);
  else
    return ::QueryDosDeviceW(device.c_str(), target, size);
}

}  // namespace ORVFile
