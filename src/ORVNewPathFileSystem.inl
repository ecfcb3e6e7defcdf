// NewPathT: the property cache, and everything that reads or changes the
// file system: queries, creation, deletion, copy and move. Included once, by
// ORVNewPath.cpp.

namespace ORVFile {

namespace {

template <class CharT>
std::basic_string<CharT> JoinPath(const std::basic_string<CharT>& directory, const std::basic_string<CharT>& name) {
  if (directory.empty() || directory.back() == CharT('\\')) return directory + name;
  return directory + CharT('\\') + name;
}

// "C:\a\b" -> "C:\a"; a path without a backslash has no parent to make.
template <class CharT>
std::basic_string<CharT> ParentText(const std::basic_string<CharT>& path) {
  const std::size_t slash = path.rfind(CharT('\\'));
  if (slash == std::basic_string<CharT>::npos || slash == 0) return std::basic_string<CharT>();
  // "C:\x" -> "C:\", not "C:", which would name C:'s current directory.
  if (slash == 2 && path[1] == CharT(':')) return path.substr(0, 3);
  return path.substr(0, slash);
}

// Whether inner is outer or lies inside it, ASCII case folded.
template <class CharT>
bool IsSameOrInside(const std::basic_string<CharT>& inner, const std::basic_string<CharT>& outer) {
  if (inner.size() < outer.size()) return false;
  if (!std::equal(outer.begin(), outer.end(), inner.begin(),
                  [](CharT a, CharT b) { return FoldAscii(a) == FoldAscii(b); }))
    return false;
  return inner.size() == outer.size() || outer.back() == CharT('\\') || inner[outer.size()] == CharT('\\');
}

// NO_ERROR when the directory was made or one stands there already; else the
// error, 183 when a file stands there.
template <class CharT>
unsigned long MakeDirectory(const std::basic_string<CharT>& path) {
  if (detail::CreateDirectoryWrp(path)) return NO_ERROR;
  const unsigned long error = ::GetLastError();
  return error == ERROR_ALREADY_EXISTS && IsDirectoryAttribute(detail::GetFileAttributesWrp(path)) ? NO_ERROR : error;
}

// Makes path and its missing parents: up while the parent is missing, then
// down again, deepest last. A file in the chain ends the walk up, and the
// failure names what was asked for (reportAs) with that error, 183:
//   "C:\t\f.txt\sub\x"  ->  FileCannotCreateException, "C:\t\f.txt\sub\x", 183
// A directory that cannot be made on the way down is named itself; those
// made before it stay.
template <class CharT>
void MakeDirectories(const std::basic_string<CharT>& path, const std::basic_string<CharT>& reportAs) {
  using String = std::basic_string<CharT>;
  const unsigned long attributes = detail::GetFileAttributesWrp(path);
  if (attributes != INVALID_FILE_ATTRIBUTES && !IsDirectoryAttribute(attributes))
    detail::Raise<FileExistException>(ORVFILE_THROW_SITE, MSG_CREATE, ERROR_ALREADY_EXISTS, reportAs);
  unsigned long error = MakeDirectory(path);
  std::vector<String> cut;
  String made = path;
  while (error == ERROR_PATH_NOT_FOUND) {
    const std::size_t slash = made.rfind(CharT('\\'));
    if (slash == String::npos || slash == 0) break;
    cut.push_back(made.substr(slash));
    made.erase(slash);
    error = MakeDirectory(made);
  }
  if (error != NO_ERROR) detail::Raise<FileCannotCreateException>(ORVFILE_THROW_SITE, MSG_CREATE, error, reportAs);
  for (auto part = cut.rbegin(); part != cut.rend(); ++part) {
    made += *part;
    error = MakeDirectory(made);
    if (error != NO_ERROR) detail::Raise<FileCannotCreateException>(ORVFILE_THROW_SITE, MSG_CREATE, error, made);
  }
}

}  // namespace

// ---- The property cache.

template <class CharT>
unsigned long NewPathT<CharT>::Load() const {
  if (IsServer()) {
    SetType(PathType::Directory);
    m_state |= FILE_ATTRIBUTE_DIRECTORY;
    if (NetWkstaGetInfoWrp(Server()) == NERR_Success)
      m_state |= kExists;
    else
      m_state &= ~kExists;
    m_state |= kLoaded;
    return NO_ERROR;
  }
  Facts facts;
  if (!GetFileAttributesExWrp(m_path, &facts)) {
    const unsigned long error = ::GetLastError();
    m_state |= kLoaded;
    return error;
  }
  m_state = (m_state & ~kAttributes) | (facts.attributes & kAttributes) | kExists;
  m_size = facts.size & 0xFFFFFFFFu;
  m_time = ORV::DateTime(facts.lastWriteTime);
  const bool directory = IsDirectoryAttribute(facts.attributes);
  if (Type() != PathType::Detect && (Type() == PathType::Directory) != directory) ThrowInvalidPath();
  SetType(directory ? PathType::Directory : PathType::File);
  m_state |= kLoaded;
  return NO_ERROR;
}

template <class CharT>
bool NewPathT<CharT>::LoadProperties() const {
  Load();
  return true;
}

template <class CharT>
void NewPathT<CharT>::LoadIfNeeded() const {
  if ((m_state & kLoaded) == 0) Load();
}

template <class CharT>
void NewPathT<CharT>::RequireExists(bool withMessage) const {
  unsigned long error = ERROR_FILE_NOT_FOUND;
  if ((m_state & kLoaded) == 0) {
    const unsigned long loadError = Load();
    if (loadError != NO_ERROR) error = loadError;
  }
  if ((m_state & kExists) != 0) return;
  if (!withMessage) ThrowNotFoundWithoutMessage();
  detail::Raise<FileNotFoundException>(ORVFILE_THROW_SITE, MSG_GET_ATTRIBUTES, error, m_path);
}

template <class CharT>
bool NewPathT<CharT>::Exists() const {
  LoadIfNeeded();
  return (m_state & kExists) != 0;
}

template <class CharT>
bool NewPathT<CharT>::PathExists(const String& path) {
  return GetFileAttributesWrp(path) != INVALID_FILE_ATTRIBUTES;
}

template <class CharT>
unsigned int NewPathT<CharT>::FileAttribute(unsigned int mask) const {
  RequireExists(false);
  return (m_state & kAttributes) & mask;
}

template <class CharT>
bool NewPathT<CharT>::FileAttribute(bool set, unsigned int mask) {
  RequireExists(false);
  if (set)
    m_state |= mask & kAttributes;
  else
    m_state &= ~(mask & kAttributes);
  return SetFileAttributesWrp(m_path, m_state & kAttributes);
}

template <class CharT>
const std::uint64_t& NewPathT<CharT>::Size() const {
  RequireExists(true);
  return m_size;
}

template <class CharT>
const ORV::DateTime& NewPathT<CharT>::LastModificationTime() const {
  RequireExists(true);
  return m_time;
}

template <class CharT>
bool NewPathT<CharT>::IsReadOnly() const {
  RequireExists(true);
  return (m_state & FILE_ATTRIBUTE_READONLY) != 0;
}

template <class CharT>
bool NewPathT<CharT>::IsHidden() const {
  RequireExists(false);
  return (m_state & FILE_ATTRIBUTE_READONLY) != 0;
}

template <class CharT>
bool NewPathT<CharT>::IsNotIndexed() const {
  RequireExists(true);
  return (m_state & FILE_ATTRIBUTE_READONLY) != 0;
}

template <class CharT>
bool NewPathT<CharT>::IsReadable() const {
  RequireExists(true);
  return false;
}

template <class CharT>
bool NewPathT<CharT>::IsWritable() const {
  RequireExists(true);
  return false;
}

template <class CharT>
ORV::DateTime NewPathT<CharT>::FileTime(FileDate which) const {
  Facts facts;
  if (!GetFileAttributesExWrp(m_path, &facts))
    detail::RaiseLastError<FileNotFoundException>(ORVFILE_THROW_SITE, MSG_GET_ATTRIBUTES, m_path);
  switch (which) {
    case FileDate::Creation:
      return ORV::DateTime(facts.creationTime);
    case FileDate::LastAccess:
      return ORV::DateTime(facts.lastAccessTime);
    case FileDate::LastWrite:
      break;
  }
  return ORV::DateTime(facts.lastWriteTime);
}

template <class CharT>
std::uint64_t NewPathT<CharT>::GetAvailableDiskSpace() const {
  std::uint64_t available = 0;
  return GetDiskFreeSpaceExWrp(Directory(), &available) ? available : 0;
}

template <class CharT>
PathType NewPathT<CharT>::GetType(const String& path) {
  const unsigned long attributes = GetFileAttributesWrp(path);
  if (attributes == INVALID_FILE_ATTRIBUTES) {
    const unsigned long error = ::GetLastError();
    // Reported at the declaration's place in the header, where callers look.
    detail::Raise<FileNotFoundException>(detail::ThrowSite{"ORVNewPath.h", 1874}, MSG_GET_ATTRIBUTES, error, path);
  }
  return IsDirectoryAttribute(attributes) ? PathType::Directory : PathType::File;
}

template <class CharT>
bool NewPathT<CharT>::Contains(const String& pattern) const {
  Win32FindData<CharT> entry;
  const ORV::FindHandle find(FindFirstFileWrp(Directory() + pattern, &entry));
  return static_cast<bool>(find);
}

// ---- Setters and Up.

template <class CharT>
void NewPathT<CharT>::Name(const String& name, bool rename) {
  if (name.empty() || InvalidPathName(name.c_str(), name.c_str() + name.size())) ThrowInvalidPath();
  const std::size_t start = NameStart();
  ReplaceText(start >= StoredRootLength() ? m_path.substr(0, start) + name : m_path, rename);
}

template <class CharT>
void NewPathT<CharT>::Extension(const String& extension, bool rename) {
  if (InvalidPathName(extension.c_str(), extension.c_str() + extension.size())) ThrowInvalidPath();
  const std::size_t dot = m_path.rfind(CharT('.'));
  const bool hasExtension = dot != String::npos && dot >= NameStart();
  ReplaceText((hasExtension ? m_path.substr(0, dot) : m_path) + extension, rename);
}

template <class CharT>
std::size_t NewPathT<CharT>::NameStart() const noexcept {
  const std::size_t slash = m_path.rfind(CharT('\\'));
  return slash == String::npos ? 0 : slash + 1;
}

template <class CharT>
void NewPathT<CharT>::ReplaceText(String text, bool rename) {
  if (rename) {
    if (!MoveFileWrp(m_path, text))
      detail::RaiseLastError<FileCannotMoveException>(ORVFILE_THROW_SITE, MSG_MOVE, m_path, text);
  } else {
    ResetProperties();
  }
  m_path.swap(text);
}

template <class CharT>
void NewPathT<CharT>::Up(unsigned int n) {
  for (unsigned int i = 0; i < n; ++i) m_path += NP_PATH_SEPARATOR + NP_PARENT;
  SetType(PathType::Directory);
  Canonicalize(false);
  Load();
  if ((m_state & kExists) != 0) {
    m_size = 0;
    m_time = ORV::DateTime(0);
    m_state |= kAttributes;
    Load();
  }
}

// ---- Creation.

template <class CharT>
void NewPathT<CharT>::Create() {
  switch (Type()) {
    case PathType::File:
      CreateFileWithParents();
      break;
    case PathType::Directory:
      ForceCreateDirectory(m_path);
      break;
    case PathType::Detect:
      return;
  }
  m_state |= kExists;
}

template <class CharT>
void NewPathT<CharT>::CreateFileWithParents() const {
  for (int attempt = 0;; ++attempt) {
    ORV::Handle file(CreateFileWrp(m_path, 0, 0, CREATE_NEW, 0));
    if (file) return;
    const unsigned long error = ::GetLastError();
    if (error == ERROR_PATH_NOT_FOUND && attempt == 0) {
      MakeDirectories(DirectoryWithoutBackslash(), m_path);
      continue;
    }
    // Creating a file that is already there is no error; a directory there is.
    if (error == ERROR_FILE_EXISTS && attempt == 0) {
      const unsigned long attributes = GetFileAttributesWrp(m_path);
      if (attributes != INVALID_FILE_ATTRIBUTES && !IsDirectoryAttribute(attributes)) return;
    }
    detail::Raise<FileCannotCreateException>(ORVFILE_THROW_SITE, MSG_CREATE, error, m_path);
  }
}

template <class CharT>
void NewPathT<CharT>::ForceCreateDirectory(const String& path) {
  MakeDirectories(path, path);
}

// ---- Deletion.

template <class CharT>
void NewPathT<CharT>::Delete() {
  const unsigned long attributes = GetFileAttributesWrp(m_path);
  if (attributes == INVALID_FILE_ATTRIBUTES)
    detail::RaiseLastError<FileCannotDeleteException>(ORVFILE_THROW_SITE, MSG_DELETE, m_path);
  DeleteTree(m_path, attributes);
  ResetProperties();
}

template <class CharT>
void NewPathT<CharT>::DeleteContent() {
  const unsigned long attributes = GetFileAttributesWrp(m_path);
  if (attributes == INVALID_FILE_ATTRIBUTES)
    detail::RaiseLastError<FileCannotDeleteException>(ORVFILE_THROW_SITE, MSG_DELETE, m_path);
  if (!IsDirectoryAttribute(attributes))
    detail::Raise<FileCannotDeleteException>(ORVFILE_THROW_SITE, MSG_DELETE, ERROR_DIRECTORY, m_path);
  DeleteEntries(m_path);
  ResetProperties();
}

template <class CharT>
void NewPathT<CharT>::ClearReadOnly(const String& path, unsigned long attributes) const {
  if ((attributes & FILE_ATTRIBUTE_READONLY) == 0) return;
  if (!SetFileAttributesWrp(path, detail::Settable(attributes & ~static_cast<unsigned long>(FILE_ATTRIBUTE_READONLY))))
    detail::RaiseLastError<FileCannotSetAttributes>(ORVFILE_THROW_SITE, MSG_SET_ATTRIBUTES, path);
}

template <class CharT>
void NewPathT<CharT>::DeleteTree(const String& path, unsigned long attributes) const {
  if (IsRealDirectory(attributes)) DeleteEntries(path);
  ClearReadOnly(path, attributes);
  const bool removed = IsDirectoryAttribute(attributes) ? RemoveDirectoryWrp(path) : DeleteFileWrp(path);
  if (!removed) detail::RaiseLastError<FileCannotDeleteException>(ORVFILE_THROW_SITE, MSG_DELETE, path);
}

template <class CharT>
void NewPathT<CharT>::DeleteEntries(const String& directory) const {
  // Names first, removals after: the search is not disturbed by what goes.
  std::vector<std::pair<String, unsigned long>> entries;
  Win32FindData<CharT> entry;
  {
    const ORV::FindHandle find(FindFirstFileWrp(JoinPath(directory, NP_DEFAULT_FILTER), &entry));
    if (!find) return;
    do {
      if (!IsDotEntry(entry.name)) entries.emplace_back(JoinPath(directory, entry.name), entry.attributes);
    } while (FindNextFileWrp(find.Get(), &entry));
  }
  for (const auto& [path, attributes] : entries) DeleteTree(path, attributes);
}

// ---- Copy and move.

template <class CharT>
void NewPathT<CharT>::Copy(const NewPathT& target, bool overwrite) const {
  const unsigned long attributes = GetFileAttributesWrp(m_path);
  if (attributes == INVALID_FILE_ATTRIBUTES)
    detail::RaiseLastError<FileCannotCopyException>(ORVFILE_THROW_SITE, MSG_COPY, m_path, target.m_path);
  if (IsDirectoryAttribute(attributes))
    CopyContent(target, overwrite);
  else
    CopyFileWithParents(m_path, target.m_path, overwrite);
}

template <class CharT>
void NewPathT<CharT>::CopyContent(const NewPathT& target, bool overwrite) const {
  const unsigned long attributes = GetFileAttributesWrp(m_path);
  if (attributes == INVALID_FILE_ATTRIBUTES)
    detail::RaiseLastError<FileCannotCopyException>(ORVFILE_THROW_SITE, MSG_COPY, m_path, target.m_path);
  if (!IsDirectoryAttribute(attributes))
    detail::Raise<FileCannotCopyException>(ORVFILE_THROW_SITE, MSG_COPY, ERROR_DIRECTORY, m_path, target.m_path);
  // A copy into itself would never end.
  if (IsSameOrInside(target.MadeAbsolute().m_path, MadeAbsolute().m_path))
    detail::Raise<FileCannotCopyException>(ORVFILE_THROW_SITE, MSG_COPY, ERROR_INVALID_PARAMETER, m_path,
                                           target.m_path);
  CopyTree(m_path, target.m_path, overwrite);
}

template <class CharT>
void NewPathT<CharT>::CopyTree(const String& from, const String& to, bool overwrite) const {
  ForceCreateDirectory(to);
  Win32FindData<CharT> entry;
  const ORV::FindHandle find(FindFirstFileWrp(JoinPath(from, NP_DEFAULT_FILTER), &entry));
  if (!find) return;
  do {
    if (IsDotEntry(entry.name)) continue;
    const String source = JoinPath(from, entry.name);
    const String target = JoinPath(to, entry.name);
    if (IsRealDirectory(entry.attributes))
      CopyTree(source, target, overwrite);
    else if (IsDirectoryAttribute(entry.attributes))
      ForceCreateDirectory(target);
    else
      CopyFileWithParents(source, target, overwrite);
  } while (FindNextFileWrp(find.Get(), &entry));
}

template <class CharT>
void NewPathT<CharT>::CopyFileWithParents(const String& from, const String& to, bool overwrite) const {
  if (CopyFileWrp(from, to, !overwrite)) return;
  unsigned long error = ::GetLastError();
  if (error == ERROR_PATH_NOT_FOUND && !ParentText(to).empty()) {
    ForceCreateDirectory(ParentText(to));
    if (CopyFileWrp(from, to, !overwrite)) return;
    error = ::GetLastError();
  }
  detail::Raise<FileCannotCopyException>(ORVFILE_THROW_SITE, MSG_COPY, error, from, to);
}

template <class CharT>
void NewPathT<CharT>::Move(const NewPathT& target) {
  if (!MoveFileWrp(m_path, target.m_path)) {
    unsigned long error = ::GetLastError();
    const String parent = ParentText(target.m_path);
    if (error != ERROR_PATH_NOT_FOUND || parent.empty() || PathExists(parent))
      detail::Raise<FileCannotMoveException>(ORVFILE_THROW_SITE, MSG_MOVE, error, m_path, target.m_path);
    ForceCreateDirectory(parent);
    if (!MoveFileWrp(m_path, target.m_path))
      detail::RaiseLastError<FileCannotMoveException>(ORVFILE_THROW_SITE, MSG_MOVE, m_path, target.m_path);
  }
  const PathType type = Type();
  *this = target;
  SetType(type);
  ResetProperties();
}

}  // namespace ORVFile
