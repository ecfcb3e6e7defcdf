// NewPathT: listing a directory, or a server's shares, through the filter.
// Included once, by ORVNewPath.cpp.

namespace ORVFile {

template <class CharT>
void NewPathT<CharT>::GetFileList(std::vector<NewPathT>& result, const String& pattern, bool recursive,
                                  const AdvSearchOptions& options) const {
  const ORV::WildCardT<CharT> wildcard(ORV::ToLower(pattern));
  if (IsServer())
    ListShares(result, wildcard, recursive, options);
  else
    ListDirectory(result, wildcard, recursive, options);
}

// The entry's path, built from the directory text without parsing it again:
// the directory is already canonical and a name holds no separator. Its cache
// comes from the search.
template <class CharT>
NewPathT<CharT> NewPathT<CharT>::Child(const String& directory, const Win32FindData<CharT>& entry) const {
  NewPathT child;
  child.m_path.reserve(directory.size() + entry.name.size());
  child.m_path.append(directory).append(entry.name);
  child.m_size = entry.size;
  child.m_time = ORV::DateTime(entry.lastWriteTime);
  const PathType type = IsDirectoryAttribute(entry.attributes) ? PathType::Directory : PathType::File;
  child.m_state = (m_state & (kAbsolute | kUNC | kDrive | kRootMask)) | (entry.attributes & kAttributes) | kExists |
                  kLoaded | (static_cast<std::uint32_t>(type) << kTypeShift);
  return child;
}

template <class CharT>
void NewPathT<CharT>::ListDirectory(std::vector<NewPathT>& result, const ORV::WildCardT<CharT>& pattern, bool recursive,
                                    const AdvSearchOptions& options) const {
  // "." lists the current directory, and its entries are plain names.
  const String directory = m_path == NP_CURRENT ? String() : Directory();
  Win32FindData<CharT> entry;
  const ORV::FindHandle find(FindFirstFileWrp(directory + NP_DEFAULT_FILTER, &entry));
  if (!find) return;
  String lowered;  // one buffer for every entry's folded name
  do {
    if (IsDotEntry(entry.name)) continue;
    const bool descend = recursive && IsRealDirectory(entry.attributes);
    lowered.assign(entry.name);
    lowered = ORV::ToLower(std::move(lowered));
    if (pattern.Match(lowered) && options.Match(entry)) {
      if (descend) {
        // A copy: the recursion grows result and may move what it holds.
        const NewPathT child = Child(directory, entry);
        result.push_back(child);
        child.ListDirectory(result, pattern, recursive, options);
      } else {
        result.push_back(Child(directory, entry));
      }
    } else if (descend) {
      Child(directory, entry).ListDirectory(result, pattern, recursive, options);
    }
  } while (FindNextFileWrp(find.Get(), &entry));
}

template <class CharT>
void NewPathT<CharT>::ListShares(std::vector<NewPathT>& result, const ORV::WildCardT<CharT>& pattern, bool recursive,
                                 const AdvSearchOptions& options) const {
  std::vector<String> names;
  const String server = Server();
  if (NetShareEnumWrp(server, names) != NERR_Success) return;
  for (const String& name : names) {
    const NewPathT share(NP_UNC_ROOT + server + NP_PATH_SEPARATOR + name, PathType::Directory, false);
    share.LoadProperties();
    if (!share.Exists()) continue;
    if (pattern.Match(ORV::ToLower(share.Name())) && options.Match(share)) result.push_back(share);
    if (recursive) share.ListDirectory(result, pattern, recursive, options);
  }
}

}  // namespace ORVFile
