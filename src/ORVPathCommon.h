// BasicPath's definitions, shared by Path (ORVPath.cpp builds BasicPath<char,
// Path>) and WPath (ORVWPath.cpp builds BasicPath<wchar, WPath>). Exceptions
// name the file of their class, whichever file holds the code.
#pragma once

#include "win32.h"

#include <algorithm>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "ORVBasePath.h"
#include "ORVFileException.h"
#include "ORVPathWrp.h"
#include "ORVRaise.h"

namespace ORVFile::detail {

template <class CharT>
inline constexpr const char* kPathSourceFile = sizeof(CharT) == 1 ? "ORVPath.cpp" : "ORVWPath.cpp";

#define ORV_PATH_SITE \
  (::ORVFile::detail::ThrowSite{::ORVFile::detail::kPathSourceFile<CharT>, static_cast<unsigned int>(__LINE__)})

template <class CharT>
constexpr CharT Unit(char c) noexcept {
  return static_cast<CharT>(static_cast<unsigned char>(c));
}

template <class CharT>
Text<CharT> TextOf(const CharT* text) {
  return text != nullptr ? Text<CharT>(text) : Text<CharT>();
}

// Text of the other width, through the ANSI code page.
template <class CharT, class OtherChar>
Text<CharT> InWidth(const Text<OtherChar>& text) {
  if constexpr (sizeof(CharT) == 1)
    return FromWide<CharT>(text);
  else
    return ToWide(text);
}

template <class CharT>
CharT FoldUpper(CharT c) noexcept {
  return (c >= CharT('a') && c <= CharT('z')) ? static_cast<CharT>(c - CharT('a') + CharT('A')) : c;
}

// The order NTFS gives ASCII names; texts equal but for case by unit value,
// so that the order is total.
template <class CharT>
bool NameLess(const Text<CharT>& a, const Text<CharT>& b, std::size_t from) {
  const auto folded = [](CharT x, CharT y) {
    using Unsigned = std::make_unsigned_t<CharT>;
    return static_cast<Unsigned>(FoldUpper(x)) < static_cast<Unsigned>(FoldUpper(y));
  };
  if (std::lexicographical_compare(a.begin() + from, a.end(), b.begin() + from, b.end(), folded)) return true;
  if (std::lexicographical_compare(b.begin() + from, b.end(), a.begin() + from, a.end(), folded)) return false;
  return a.compare(from, Text<CharT>::npos, b, from, Text<CharT>::npos) < 0;
}

template <class CharT>
bool IsDotName(const CharT* name) noexcept {
  return name[0] == CharT('.') && (name[1] == CharT('\0') || (name[1] == CharT('.') && name[2] == CharT('\0')));
}

// What a listing fails with when nothing matches or the directory is not there.
inline bool IsNothingToList(unsigned long error) noexcept {
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND || error == ERROR_NO_MORE_FILES;
}

// The 32-bit form of a 64-bit query: 0xFFFFFFFF when the count does not fit.
template <class Query>
unsigned long Clamped32(Query query) {
  ULARGE_INTEGER value;
  query(value);
  return value.QuadPart > 0xFFFFFFFFu ? 0xFFFFFFFFul : static_cast<unsigned long>(value.QuadPart);
}

template <class E, class CharT>
unsigned long AttributesOrRaise(const Text<CharT>& path, MessageId id) {
  const unsigned long attributes = GetFileAttributesWrp(path);
  if (attributes == INVALID_FILE_ATTRIBUTES) RaiseLastError<E>(ORV_PATH_SITE, id, path);
  return attributes;
}

template <class CharT>
void SetAttributesOrRaise(const Text<CharT>& path, unsigned long word) {
  if (!SetFileAttributesWrp(path, Settable(word)))
    RaiseLastError<FileCannotSetAttributes>(ORV_PATH_SITE, MSG_SET_ATTRIBUTES, path);
}

// After a failure, so its own result does not matter: the error is read.
template <class CharT>
void RestoreAttributes(const Text<CharT>& path, unsigned long word) {
  static_cast<void>(SetFileAttributesWrp(path, Settable(word)));
}

// Read-only first, then hidden; a refusal puts the word back as it was.
template <class CharT>
void ClearForDelete(const Text<CharT>& path, unsigned long attributes) {
  unsigned long word = attributes;
  for (const unsigned long bit : {FILE_ATTRIBUTE_READONLY, FILE_ATTRIBUTE_HIDDEN}) {
    if ((word & bit) == 0) continue;
    word &= ~bit;
    if (!SetFileAttributesWrp(path, Settable(word))) {
      const unsigned long error = ::GetLastError();
      RestoreAttributes(path, attributes);
      Raise<FileCannotSetAttributes>(ORV_PATH_SITE, MSG_SET_ATTRIBUTES, error, path);
    }
  }
}

template <class CharT>
void CreateLevel(const Text<CharT>& level) {
  const unsigned long attributes = GetFileAttributesWrp(level);
  if (attributes == INVALID_FILE_ATTRIBUTES) {
    if (MkdirWrp(level) != 0) RaiseLastError<FileCannotCreateException>(ORV_PATH_SITE, MSG_CREATE, level);
  } else if ((attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
    Raise<FileCannotCreateException>(ORV_PATH_SITE, MSG_CREATE, ERROR_ALREADY_EXISTS, level);
  }
}

}  // namespace ORVFile::detail

namespace ORVFile {

// ---- Construction and assignment.

template <class CharT, class Self>
BasicPath<CharT, Self>::BasicPath() = default;

template <class CharT, class Self>
BasicPath<CharT, Self>::BasicPath(const CharT* text) {
  SetText(detail::TextOf(text));
}

template <class CharT, class Self>
BasicPath<CharT, Self>::BasicPath(const String& text) {
  SetText(text);
}

template <class CharT, class Self>
BasicPath<CharT, Self>::BasicPath(const OtherChar* text) {
  SetText(detail::InWidth<CharT>(detail::TextOf(text)));
}

template <class CharT, class Self>
BasicPath<CharT, Self>::BasicPath(const OtherString& text) {
  SetText(detail::InWidth<CharT>(text));
}

template <class CharT, class Self>
BasicPath<CharT, Self>::BasicPath(const BasicPath& other) : BasePath() {
  SetText(other.m_text);
}

template <class CharT, class Self>
BasicPath<CharT, Self>::BasicPath(BasicPath&& other) noexcept : BasePath(other), m_text(std::move(other.m_text)) {}

template <class CharT, class Self>
Self& BasicPath<CharT, Self>::operator=(const BasicPath& other) {
  SetText(other.m_text);
  return static_cast<Self&>(*this);
}

template <class CharT, class Self>
Self& BasicPath<CharT, Self>::operator=(BasicPath&& other) noexcept {
  BasePath::operator=(other);
  m_text = std::move(other.m_text);
  return static_cast<Self&>(*this);
}

template <class CharT, class Self>
Self& BasicPath<CharT, Self>::operator=(const CharT* text) {
  SetText(detail::TextOf(text));
  return static_cast<Self&>(*this);
}

template <class CharT, class Self>
Self& BasicPath<CharT, Self>::operator=(const String& text) {
  SetText(text);
  return static_cast<Self&>(*this);
}

template <class CharT, class Self>
Self& BasicPath<CharT, Self>::operator=(const OtherChar* text) {
  SetText(detail::InWidth<CharT>(detail::TextOf(text)));
  return static_cast<Self&>(*this);
}

template <class CharT, class Self>
Self& BasicPath<CharT, Self>::operator=(const OtherString& text) {
  SetText(detail::InWidth<CharT>(text));
  return static_cast<Self&>(*this);
}

template <class CharT, class Self>
BasicPath<CharT, Self>::~BasicPath() = default;

template <class CharT, class Self>
void BasicPath<CharT, Self>::SetText(String text) {
  m_text = std::move(text);
  const CharT separator = detail::Unit<CharT>(PathSeparator());
  for (CharT& c : m_text)
    if (c == CharT('\\') || c == CharT('/')) c = separator;
  while (!m_text.empty() && m_text.back() == separator) m_text.pop_back();
  ClearStat();
}

template <class CharT, class Self>
unsigned long BasicPath<CharT, Self>::GetStatInfo() const {
  return detail::GetFileAttributesWrp(m_text);
}

// ---- The text.

template <class CharT, class Self>
const typename BasicPath<CharT, Self>::String& BasicPath<CharT, Self>::FullPath() const {
  return m_text;
}

template <class CharT, class Self>
BasicPath<CharT, Self>::operator const String&() const {
  return m_text;
}

template <class CharT, class Self>
bool BasicPath<CharT, Self>::HasUNC() const {
  const CharT separator = detail::Unit<CharT>(PathSeparator());
  return m_text.size() >= 2 && m_text[0] == separator && m_text[1] == separator;
}

template <class CharT, class Self>
bool BasicPath<CharT, Self>::HasDrive() const {
  return m_text.find(detail::Unit<CharT>(DriveSeparator())) == 1;
}

template <class CharT, class Self>
bool BasicPath<CharT, Self>::IsAbsolute() const {
  return HasDrive() || HasUNC() || m_text.find(detail::Unit<CharT>(PathSeparator())) == 0;
}

template <class CharT, class Self>
bool BasicPath<CharT, Self>::IsRelative() const {
  return !IsAbsolute();
}

template <class CharT, class Self>
typename BasicPath<CharT, Self>::String BasicPath<CharT, Self>::FileName() const {
  detail::PathParts<CharT> parts;
  return detail::SplitPathWrp(m_text, &parts) == 0 ? parts.name + parts.extension : String();
}

template <class CharT, class Self>
typename BasicPath<CharT, Self>::String BasicPath<CharT, Self>::FileExtension() const {
  detail::PathParts<CharT> parts;
  return detail::SplitPathWrp(m_text, &parts) == 0 ? parts.extension : String();
}

template <class CharT, class Self>
typename BasicPath<CharT, Self>::String BasicPath<CharT, Self>::Directory() const {
  detail::PathParts<CharT> parts;
  return detail::SplitPathWrp(m_text, &parts) == 0 ? parts.drive + parts.directory : String();
}

template <class CharT, class Self>
void BasicPath<CharT, Self>::Extension(const String& extension, ChangeExtensionMode mode) {
  const CharT dot = detail::Unit<CharT>(ExtensionSeparator());
  const String added = !extension.empty() && extension[0] == dot ? extension.substr(1) : extension;
  const std::size_t current = FileExtension().size();
  String text = m_text;
  switch (mode) {
    case BP_REPLACE_EXTENSION:
      text.resize(text.size() - current);
      break;
    case BP_APPEND_EXTENSION:
      break;
    case BP_ADD_MISSING_EXTENSION:
      if (current != 0) return;
      break;
  }
  if (!added.empty()) text.append(1, dot).append(added);
  SetText(std::move(text));
}

template <class CharT, class Self>
typename BasicPath<CharT, Self>::String BasicPath<CharT, Self>::GetServer() const {
  if (HasUNC()) {
    const std::size_t end = m_text.find(detail::Unit<CharT>(PathSeparator()), 2);
    return m_text.substr(2, end == String::npos ? String::npos : end - 2);
  }
  CharT name[MAX_COMPUTERNAME_LENGTH + 1] = {};
  unsigned long size = MAX_COMPUTERNAME_LENGTH + 1;
  if (!detail::GetComputerNameWrp(name, &size))
    detail::RaiseLastError<CannotRetrieveServerException>(ORV_PATH_SITE, MSG_RETRIEVE_SERVER, m_text);
  return String(name, size);
}

template <class CharT, class Self>
bool BasicPath<CharT, Self>::FullPathAsUNC(String& unc) const {
  String universal;
  if (detail::WNetGetUniversalNameWrp(m_text, universal) != NO_ERROR) return false;
  unc = std::move(universal);
  return true;
}

template <class CharT, class Self>
bool BasicPath<CharT, Self>::IsDotDirectory(const String& text) {
  const auto isSeparator = [](CharT c) { return c == CharT('/') || c == CharT('\\'); };
  std::size_t end = text.size();
  if (end > 0 && isSeparator(text[end - 1])) --end;
  std::size_t dots = 0;
  while (dots < 3 && dots < end && text[end - 1 - dots] == CharT('.')) ++dots;
  if (dots == 0 || dots == 3) return false;
  const std::size_t before = end - dots;
  return before == 0 || isSeparator(text[before - 1]) || text[before - 1] == CharT(':');
}

template <class CharT, class Self>
bool BasicPath<CharT, Self>::operator==(const BasicPath& other) const {
  return m_text == other.m_text;
}

template <class CharT, class Self>
bool BasicPath<CharT, Self>::operator==(const String& text) const {
  return m_text == text;
}

template <class CharT, class Self>
bool BasicPath<CharT, Self>::operator==(const CharT* text) const {
  return m_text == detail::TextOf(text);
}

template <class CharT, class Self>
bool BasicPath<CharT, Self>::operator!=(const BasicPath& other) const {
  return !(*this == other);
}

template <class CharT, class Self>
bool BasicPath<CharT, Self>::operator!=(const String& text) const {
  return !(*this == text);
}

template <class CharT, class Self>
bool BasicPath<CharT, Self>::operator!=(const CharT* text) const {
  return !(*this == text);
}

// The string's compare orders by unsigned unit (memcmp, wmemcmp of unsigned
// 16-bit units), a prefix first.
template <class CharT, class Self>
bool BasicPath<CharT, Self>::operator<(const BasicPath& other) const {
  return m_text.compare(other.m_text) < 0;
}

template <class CharT, class Self>
bool BasicPath<CharT, Self>::operator<(const String& text) const {
  return m_text.compare(text) < 0;
}

template <class CharT, class Self>
bool BasicPath<CharT, Self>::operator<(const CharT* text) const {
  return m_text.compare(detail::TextOf(text)) < 0;
}

template <class CharT, class Self>
void BasicPath<CharT, Self>::ToLowerCase() {
  for (CharT& c : m_text)
    if (c >= CharT('A') && c <= CharT('Z')) c = static_cast<CharT>(c - CharT('A') + CharT('a'));
}

// ---- Listing.

template <class CharT, class Self>
void BasicPath<CharT, Self>::GetFileList(std::vector<Self>& list) const {
  GetFileList(String(1, CharT('*')), list);
}

// Built aside and swapped in, so that a failure leaves list as it was.
template <class CharT, class Self>
void BasicPath<CharT, Self>::GetFileList(const String& pattern, std::vector<Self>& list) const {
  std::vector<Self> entries;
  const String directory = m_text.empty() ? String() : m_text + detail::Unit<CharT>(PathSeparator());
  detail::FindData<CharT> data;
  const detail::RuntimeFind find(detail::FindFirstWrp(directory + pattern, &data));
  if (find) {
    do {
      if (!detail::IsDotName(data.name)) entries.push_back(Child(directory, data.name, data.attrib));
    } while (detail::FindNextWrp<CharT>(find.Get(), &data) == 0);
    const unsigned long error = ::GetLastError();
    if (error != ERROR_NO_MORE_FILES)
      detail::Raise<FileNotFoundException>(ORV_PATH_SITE, MSG_GET_ATTRIBUTES, error, m_text);
  } else {
    const unsigned long error = ::GetLastError();
    // Listing a file fails with ERROR_DIRECTORY on Windows, ERROR_INVALID_NAME under Wine.
    ClearStat();
    if (!detail::IsNothingToList(error) && IsDirectory())
      detail::Raise<FileNotFoundException>(ORV_PATH_SITE, MSG_GET_ATTRIBUTES, error, m_text);
  }
  const std::size_t nameStart = directory.size();
  std::sort(entries.begin(), entries.end(), [nameStart](const Self& a, const Self& b) {
    return detail::NameLess(a.FullPath(), b.FullPath(), nameStart);
  });
  list.swap(entries);
}

template <class CharT, class Self>
Self BasicPath<CharT, Self>::Child(const String& directory, const CharT* name, unsigned long attributes) const {
  Self child;
  child.PathSeparator(PathSeparator());
  child.DriveSeparator(DriveSeparator());
  child.ExtensionSeparator(ExtensionSeparator());
  String& text = static_cast<BasicPath&>(child).m_text;
  text.reserve(directory.size() + std::char_traits<CharT>::length(name));
  text.append(directory).append(name);
  child.SetStat(attributes);
  return child;
}

// ---- Creating and removing.

template <class CharT, class Self>
std::size_t BasicPath<CharT, Self>::FirstLevel() const {
  const CharT separator = detail::Unit<CharT>(PathSeparator());
  if (HasUNC()) {
    const std::size_t server = m_text.find(separator, 2);
    const std::size_t share = server == String::npos ? String::npos : m_text.find(separator, server + 1);
    return share == String::npos ? m_text.size() : share + 1;
  }
  if (HasDrive()) return m_text.size() > 2 && m_text[2] == separator ? 3 : 2;
  return !m_text.empty() && m_text[0] == separator ? 1 : 0;
}

template <class CharT, class Self>
void BasicPath<CharT, Self>::Create() {
  const CharT separator = detail::Unit<CharT>(PathSeparator());
  const std::size_t first = FirstLevel();
  for (std::size_t end = m_text.find(separator, first); end != String::npos; end = m_text.find(separator, end + 1))
    detail::CreateLevel(m_text.substr(0, end));
  if (m_text.size() > first) detail::CreateLevel(m_text);
  ClearStat();
}

template <class CharT, class Self>
void BasicPath<CharT, Self>::Delete(bool force) const {
  ClearStat();
  const unsigned long attributes = detail::AttributesOrRaise<FileCannotDeleteException>(m_text, MSG_DELETE);
  if (force) detail::ClearForDelete(m_text, attributes);
  const bool directory = (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
  if ((directory ? detail::RmdirWrp(m_text) : detail::UnlinkWrp(m_text)) != 0) {
    const unsigned long error = ::GetLastError();
    if (force) detail::RestoreAttributes(m_text, attributes);
    detail::Raise<FileCannotDeleteException>(ORV_PATH_SITE, MSG_DELETE, error, m_text);
  }
}

template <class CharT, class Self>
void BasicPath<CharT, Self>::RecursiveDelete(bool force) const {
  if (detail::IsRealDirectory(GetStat())) {
    std::vector<Self> entries;
    GetFileList(entries);
    for (const Self& entry : entries) entry.RecursiveDelete(force);
  }
  Delete(force);
}

// ---- Copying and moving.

template <class CharT, class Self>
void BasicPath<CharT, Self>::Copy(const String& destination, bool overwrite) const {
  if (!detail::CopyFileWrp(m_text, destination, !overwrite))
    detail::RaiseLastError<FileCannotCopyException>(ORV_PATH_SITE, MSG_COPY, m_text, destination);
}

template <class CharT, class Self>
void BasicPath<CharT, Self>::Move(const String& destination) const {
  Move(m_text, destination);
  ClearStat();
}

template <class CharT, class Self>
void BasicPath<CharT, Self>::Move(const String& source, const String& destination) {
  if (!detail::MoveFileWrp(source, destination))
    detail::RaiseLastError<FileCannotMoveException>(ORV_PATH_SITE, MSG_MOVE, source, destination);
}

template <class CharT, class Self>
void BasicPath<CharT, Self>::Rename(const String& newName) {
  Rename(m_text, newName);
  SetText(newName);
}

template <class CharT, class Self>
void BasicPath<CharT, Self>::Rename(const String& source, const String& newName) {
  if (detail::RenameWrp(source, newName) != 0)
    detail::RaiseLastError<FileCannotMoveException>(ORV_PATH_SITE, MSG_MOVE, source, newName);
}

// ---- Sizes, times and attributes.

// The trailing separator is what GetDiskFreeSpaceEx asks of a share, and
// turns "C:" into the drive's root.
template <class CharT, class Self>
void BasicPath<CharT, Self>::GetAvailableDiskSpace(ULARGE_INTEGER& bytes) const {
  std::uint64_t available = 0;
  const String directory = m_text + detail::Unit<CharT>(PathSeparator());
  bytes.QuadPart = detail::GetDiskFreeSpaceExWrp(directory, &available) ? available : 0;
}

template <class CharT, class Self>
void BasicPath<CharT, Self>::GetAvailableDiskSpace(unsigned long& bytes) const {
  bytes = detail::Clamped32([this](ULARGE_INTEGER& available) { GetAvailableDiskSpace(available); });
}

template <class CharT, class Self>
void BasicPath<CharT, Self>::GetSize(ULARGE_INTEGER& size) const {
  WIN32_FILE_ATTRIBUTE_DATA data;
  const bool known = IsValid() && detail::GetFileAttributesExWrp(m_text, &data);
  size.QuadPart = known ? detail::SizeOf(data) : 0;
}

template <class CharT, class Self>
void BasicPath<CharT, Self>::GetSize(unsigned long& size) const {
  size = detail::Clamped32([this](ULARGE_INTEGER& bytes) { GetSize(bytes); });
}

template <class CharT, class Self>
ORV::DateTime BasicPath<CharT, Self>::GetLastModificationDate() const {
  WIN32_FILE_ATTRIBUTE_DATA data;
  if (!detail::GetFileAttributesExWrp(m_text, &data))
    detail::RaiseLastError<FileNotFoundException>(ORV_PATH_SITE, MSG_GET_ATTRIBUTES, m_text);
  FILETIME local;
  SYSTEMTIME t;
  if (!detail::FileTimeToLocalFileTimeWrp(data.ftLastWriteTime, &local) || !detail::FileTimeToSystemTimeWrp(local, &t))
    detail::RaiseLastError<FileNotFoundException>(ORV_PATH_SITE, MSG_GET_ATTRIBUTES, m_text);
  return ORV::DateTime(t.wYear, t.wMonth - 1, t.wDay, t.wHour, t.wMinute, t.wSecond);
}

template <class CharT, class Self>
void BasicPath<CharT, Self>::SetAttribute(FileAttributes attribute, bool on) const {
  ClearStat();
  const unsigned long word = detail::AttributesOrRaise<FileCannotSetAttributes>(m_text, MSG_SET_ATTRIBUTES);
  detail::SetAttributesOrRaise(m_text, on ? word | attribute : word & ~static_cast<unsigned long>(attribute));
}

}  // namespace ORVFile
