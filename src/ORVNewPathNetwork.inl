// NewPathT: what a path says of the machine and the network it lives on: the
// absolute form, the server, whether it is local, the UNC form, the URI and a
// server's shares. Included once, by ORVNewPath.cpp.

namespace ORVFile {

template <class CharT>
NewPathT<CharT> NewPathT<CharT>::MadeAbsolute() const {
  NewPathT result(*this);
  if (IsComplete()) return result;
  if (IsAbsolute()) return GetCurrentPath(NP_CURRENT[0]) + result;  // "\x": the current drive's
  result.Canonicalize(true);
  return result;
}

template <class CharT>
typename NewPathT<CharT>::String NewPathT<CharT>::Server() const {
  if (IsUNC()) {
    const std::size_t root = RootLength();
    return root > 2 ? m_path.substr(2, root - 2) : String();
  }
  const NewPathT complete = MadeAbsolute();
  if (!complete.HasDrive()) return complete.IsUNC() ? complete.Server() : String();
  String remote;
  const unsigned long result = WNetGetConnectionWrp(complete.m_path.substr(0, 2), remote);
  switch (result) {
    case NO_ERROR:
    case ERROR_CONNECTION_UNAVAIL:  // a remembered connection still names its server
      break;
    case ERROR_NOT_CONNECTED:
    case ERROR_BAD_DEVICE:
    case ERROR_NO_NETWORK:
      return String();  // not a network drive
    default:
      detail::Raise<CannotRetrieveServerException>(ORVFILE_THROW_SITE, MSG_RETRIEVE_SERVER, result, m_path);
  }
  const NewPathT share(remote, PathType::Directory, false);
  return share.IsUNC() ? share.Server() : String();
}

template <class CharT>
typename NewPathT<CharT>::String NewPathT<CharT>::ComputerName() {
  CharT buffer[MAX_COMPUTERNAME_LENGTH + 1] = {};
  unsigned long size = MAX_COMPUTERNAME_LENGTH + 1;
  if (!GetComputerNameWrp(buffer, &size)) return String();
  return String(buffer, size);
}

template <class CharT>
bool NewPathT<CharT>::IsLocal() const {
  const NewPathT complete = MadeAbsolute();
  if (complete.IsUNC()) {
    const String server = ORV::ToLower(complete.Server());
    return server == ORV::ToLower(ComputerName()) || server == Ascii<CharT>("localhost") ||
           server == Ascii<CharT>("127.0.0.1") || server == NP_CURRENT;
  }
  return GetDriveTypeWrp(complete.Root()) != DRIVE_REMOTE;
}

template <class CharT>
NewPathT<CharT> NewPathT<CharT>::MakeUNC() const {
  NewPathT path = MadeAbsolute();
  // A SUBST drive names a directory of another drive: "\??\C:\dir".
  for (int depth = 0; depth < 8 && path.HasDrive(); ++depth) {
    CharT target[kMaxPath] = {};
    if (QueryDosDeviceWrp(path.m_path.substr(0, 2), target, kMaxPath) == 0) break;
    const String device(target);
    const String prefix = Ascii<CharT>("\\??\\");
    if (device.size() < prefix.size() + 3 || device.compare(0, prefix.size(), prefix) != 0 ||
        device[prefix.size() + 1] != CharT(':'))
      break;
    const NewPathT resolved(device.substr(prefix.size()) + path.m_path.substr(2), path.Type(), false);
    if (resolved == path) break;
    path = resolved;
  }
  if (!path.HasDrive() || GetDriveTypeWrp(path.Root()) != DRIVE_REMOTE) return path;
  String universal;
  const unsigned long result = WNetGetUniversalNameWrp(path.m_path, universal);
  if (result != NO_ERROR)
    detail::Raise<CannotRetrieveServerException>(ORVFILE_THROW_SITE, MSG_RETRIEVE_SERVER, result, m_path);
  return NewPathT(universal, path.Type(), false);
}

template <class CharT>
typename NewPathT<CharT>::String NewPathT<CharT>::GetURI() const {
  String text = MadeAbsolute().FullPath();
  std::replace(text.begin(), text.end(), CharT('\\'), CharT('/'));
  // "//srv/share" keeps its two slashes as the authority; "C:/x" gets an empty one.
  const bool unc = text.size() >= 2 && text[0] == CharT('/') && text[1] == CharT('/');
  return Ascii<CharT>(unc ? "file:" : "file:///") + text;
}

template <class CharT>
void NewPathT<CharT>::GetServerShares(std::vector<NewPathT>& shares) const {
  const String server = IsUNC() ? Server() : String();
  if (server.empty())
    detail::Raise<CannotRetrieveServerException>(ORVFILE_THROW_SITE, MSG_RETRIEVE_SERVER, ERROR_BAD_NETPATH, m_path);
  std::vector<String> names;
  const unsigned long result = NetShareEnumWrp(server, names);
  if (result != NERR_Success)
    detail::Raise<CannotRetrieveServerException>(ORVFILE_THROW_SITE, MSG_RETRIEVE_SERVER, result, m_path);
  for (const String& name : names)
    shares.emplace_back(NP_UNC_ROOT + server + NP_PATH_SEPARATOR + name, PathType::Directory, false);
}

}  // namespace ORVFile
