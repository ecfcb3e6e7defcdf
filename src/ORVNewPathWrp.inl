// NewPathT's private wrappers: each passes its call on to the one wrapper
// layer both path families share (ORVPathWrp.h), turning the system's records
// into the template's. Included once, by ORVNewPath.cpp. Nothing after a call
// changes the thread's last error, so the caller reads it on its next
// statement.

namespace ORVFile {

template <class CharT>
bool NewPathT<CharT>::GetFileAttributesExWrp(const String& path, Facts* facts) {
  WIN32_FILE_ATTRIBUTE_DATA data;
  if (!detail::GetFileAttributesExWrp(path, &data)) return false;
  facts->attributes = data.dwFileAttributes;
  facts->size = detail::SizeOf(data);
  facts->creationTime = UnixTime(data.ftCreationTime);
  facts->lastAccessTime = UnixTime(data.ftLastAccessTime);
  facts->lastWriteTime = UnixTime(data.ftLastWriteTime);
  return true;
}

template <class CharT>
unsigned long NewPathT<CharT>::GetFileAttributesWrp(const String& path) {
  return detail::GetFileAttributesWrp(path);
}

template <class CharT>
void* NewPathT<CharT>::CreateFileWrp(const String& path, unsigned long access, unsigned long share,
                                     unsigned long disposition, unsigned long flags) {
  return detail::CreateFileWrp(path, access, share, disposition, flags);
}

template <class CharT>
bool NewPathT<CharT>::CopyFileWrp(const String& from, const String& to, bool failIfExists) {
  return detail::CopyFileWrp(from, to, failIfExists);
}

template <class CharT>
bool NewPathT<CharT>::MoveFileWrp(const String& from, const String& to) {
  return detail::MoveFileWrp(from, to);
}

template <class CharT>
bool NewPathT<CharT>::GetDiskFreeSpaceExWrp(const String& path, std::uint64_t* available) {
  return detail::GetDiskFreeSpaceExWrp(path, available);
}

// The record is converted whatever the result; the conversion allocates, so
// the call's error is put back afterwards.
template <class CharT>
void* NewPathT<CharT>::FindFirstFileWrp(const String& pattern, Win32FindData<CharT>* entry) {
  detail::FindRecord<CharT> data{};
  const HANDLE find = detail::FindFirstFileWrp(pattern, &data);
  const DWORD error = ::GetLastError();
  Convert(data, *entry);
  ::SetLastError(error);
  return find;
}

template <class CharT>
bool NewPathT<CharT>::FindNextFileWrp(void* find, Win32FindData<CharT>* entry) {
  detail::FindRecord<CharT> data{};
  const bool ok = detail::FindNextFileWrp<CharT>(find, &data);
  const DWORD error = ::GetLastError();
  Convert(data, *entry);
  ::SetLastError(error);
  return ok;
}

template <class CharT>
bool NewPathT<CharT>::SetFileAttributesWrp(const String& path, unsigned long attributes) {
  return detail::SetFileAttributesWrp(path, attributes);
}

template <class CharT>
unsigned long NewPathT<CharT>::WNetGetConnectionWrp(const String& local, String& remote) {
  return detail::WNetGetConnectionWrp(local, remote);
}

template <class CharT>
unsigned long NewPathT<CharT>::WNetGetUniversalNameWrp(const String& local, String& universal) {
  return detail::WNetGetUniversalNameWrp(local, universal);
}

template <class CharT>
bool NewPathT<CharT>::GetComputerNameWrp(CharT* buffer, unsigned long* size) {
  return detail::GetComputerNameWrp(buffer, size);
}

template <class CharT>
bool NewPathT<CharT>::CreateDirectoryWrp(const String& path) {
  return detail::CreateDirectoryWrp(path);
}

template <class CharT>
bool NewPathT<CharT>::RemoveDirectoryWrp(const String& path) {
  return detail::RemoveDirectoryWrp(path);
}

template <class CharT>
bool NewPathT<CharT>::DeleteFileWrp(const String& path) {
  return detail::DeleteFileWrp(path);
}

template <class CharT>
unsigned long NewPathT<CharT>::GetFullPathNameWrp(const CharT* path, unsigned long size, CharT* buffer) {
  return detail::GetFullPathNameWrp(path, size, buffer);
}

template <class CharT>
unsigned long NewPathT<CharT>::GetCurrentDirectoryWrp(unsigned long size, CharT* buffer) {
  return detail::GetCurrentDirectoryWrp(size, buffer);
}

template <class CharT>
unsigned long NewPathT<CharT>::GetLogicalDrivesWrp() {
  return detail::GetLogicalDrivesWrp();
}

template <class CharT>
unsigned int NewPathT<CharT>::GetDriveTypeWrp(const String& root) {
  return detail::GetDriveTypeWrp(root);
}

template <class CharT>
unsigned long NewPathT<CharT>::NetWkstaGetInfoWrp(const String& server) {
  return detail::NetWkstaGetInfoWrp(server);
}

template <class CharT>
unsigned long NewPathT<CharT>::NetShareEnumWrp(const String& server, std::vector<String>& names) {
  return detail::NetShareEnumWrp(server, names);
}

template <class CharT>
unsigned long NewPathT<CharT>::QueryDosDeviceWrp(const String& device, CharT* target, unsigned long size) {
  return detail::QueryDosDeviceWrp(device, target, size);
}

}  // namespace ORVFile
