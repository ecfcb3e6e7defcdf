#include "win32.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <type_traits>
#include <utility>

#include "ORVCFile.h"
#include "ORVConfigFile.h"
#include "ORVConfigGrammar.h"
#include "ORVConfigSeam.h"
#include "ORVFileException.h"
#include "ORVHandle.h"
#include "ORVRaise.h"

namespace ORVFile {

namespace {

using ORV::Config;

using Kind = detail::ConfigLine::Kind;

// The grammar's units are ASCII: the same tests serve a file's bytes and
// 16-bit text (a byte from 0x80 up is negative as a char, and matches none).
template <class Unit>
bool IsBlank(Unit unit) {
  return unit == ' ' || unit == '\t';
}

template <class Unit>
bool IsKeyUnit(Unit unit) {
  return (unit >= 'A' && unit <= 'Z') || (unit >= 'a' && unit <= 'z') || (unit >= '0' && unit <= '9') || unit == '_' ||
         unit == '.';
}

template <class Unit>
struct ScannedLine {
  Kind kind;
  std::basic_string_view<Unit> name, value;
};

// A line read as the three expressions read it (ORVConfigGrammar.h), without
// running them: at most one can match, the first unit that is not a blank
// tells which, and each is simple enough to follow by hand. Unlike Boost's
// backtracking, this never gives up on a long value of many words.
//   "  [a [b] ] "     -> Section "a [b] "   (the name runs to the last "]")
//   " k.1 =  a  b "   -> Key "k.1", "a  b"
//   "", "  ; x = 1"   -> Blank
template <class Unit>
ScannedLine<Unit> Scan(std::basic_string_view<Unit> line) {
  std::size_t first = 0, end = line.size();
  while (first < end && IsBlank(line[first])) ++first;
  while (end > first && IsBlank(line[end - 1])) --end;
  if (first == end || line[first] == ';') return {Kind::Blank, {}, {}};
  if (line[first] == '[') {
    if (end - first < 3 || line[end - 1] != ']') return {Kind::Invalid, {}, {}};
    return {Kind::Section, line.substr(first + 1, end - first - 2), {}};
  }
  std::size_t keyEnd = first;
  while (keyEnd < end && IsKeyUnit(line[keyEnd])) ++keyEnd;
  std::size_t equals = keyEnd;
  while (equals < end && IsBlank(line[equals])) ++equals;
  if (keyEnd == first || equals == end || line[equals] != '=') return {Kind::Invalid, {}, {}};
  std::size_t value = equals + 1;
  while (value < end && IsBlank(line[value])) ++value;
  return {Kind::Key, line.substr(first, keyEnd - first), line.substr(value, end - value)};
}

// Calls visit with each non-empty piece between separators, a view into text:
// "\na\r\nb\n" -> "a", "b".
template <class Unit, class Visit>
void ForEachPiece(std::basic_string_view<Unit> text, bool atReturnToo, Visit&& visit) {
  const Unit* start = text.data();
  const Unit* const end = start + text.size();
  for (const Unit* at = start; at != end; ++at) {
    if (*at != '\n' && !(atReturnToo && *at == '\r')) continue;
    if (at != start) visit(std::basic_string_view<Unit>(start, static_cast<std::size_t>(at - start)));
    start = at + 1;
  }
  if (start != end) visit(std::basic_string_view<Unit>(start, static_cast<std::size_t>(end - start)));
}

// Each unit as it stands; a file's byte becomes the unit of the same value,
// the format's reading of a file ("\xE9" -> U+00E9).
template <class Unit>
auto UnitValues(std::basic_string_view<Unit> text) {
  using Value = std::conditional_t<std::is_same_v<Unit, char>, unsigned char, Unit>;
  return reinterpret_cast<const Value*>(text.data());
}

// As the runtime's text mode writes 16-bit text with the default conversion:
// one byte per unit ("?" above U+00FF, as ISO-8859-1 has no other), "\n" as
// CR LF.
void AppendText(std::string& bytes, std::wstring_view text) {
  for (const wchar_t unit : text) {
    if (unit == L'\n') bytes += '\r';
    bytes += unit <= 0xFF ? static_cast<char>(unit) : '?';
  }
}

// The lines of one key: prefix (bytes) and a piece of the value for each
// piece, or, when the value has none, name + " = " + the value as it stands.
void AppendKeyLines(std::string& bytes, std::string_view prefix, std::wstring_view name, std::wstring_view value,
                    bool atReturnToo) {
  bool anyPiece = false;
  ForEachPiece(value, atReturnToo, [&](std::wstring_view piece) {
    AppendText(bytes.append(prefix), piece);
    bytes += "\r\n";
    anyPiece = true;
  });
  if (anyPiece) return;
  AppendText(bytes, name);
  AppendText(bytes += " = ", value);
  bytes += "\r\n";
}

[[noreturn]] void RaiseInvalid(const detail::ThrowSite& site) {
  detail::Raise<Config::InvalidConfigException>(site, MSG_INVALID_CONFIG_SOURCE, 0);
}

[[noreturn]] void RaiseCannotOpen(const detail::ThrowSite& site, unsigned long error, const std::string& path) {
  detail::Raise<Config::CannotOpenSourceException>(site, MSG_CANNOT_OPEN_CONFIG_SOURCE, error, path);
}

unsigned long ErrorOf(const FileException& failure) { return failure.Info() ? failure.Info()->LastError() : 0; }

// --- The file system. Each wrapper makes one call and reads its error at once.

/// CREATE_NEW: an existing file is never truncated. A failure shows in the
/// read that follows.
void CreateIfMissingWrp(const std::string& path) noexcept {
  const ORV::Handle file(
      ::CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
}

bool IsFileWrp(const std::string& path) {
  const DWORD attributes = ::GetFileAttributesA(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY);
}

/// The directory part of path made absolute: "a.ini" -> "C:\cwd\". A path
/// that ends in a separator names no file: ERROR_INVALID_NAME.
unsigned long DirectoryOfWrp(const std::string& path, std::string& directory) {
  char full[MAX_PATH];
  char* name = nullptr;
  const DWORD length = ::GetFullPathNameA(path.c_str(), MAX_PATH, full, &name);
  if (length == 0) return ::GetLastError();
  if (length >= MAX_PATH || name == nullptr) return ERROR_INVALID_NAME;
  directory.assign(full, name);
  return ERROR_SUCCESS;
}

/// Creates a new empty file with a unique name in directory.
unsigned long TempFileNameWrp(const std::string& directory, std::string& name) {
  char unique[MAX_PATH];
  if (::GetTempFileNameA(directory.c_str(), "cfg", 0, unique) == 0) return ::GetLastError();
  name = unique;
  return ERROR_SUCCESS;
}

/// Reads no data: enough to ask where the file lies.
ORV::Handle OpenForQueryWrp(const std::string& path, unsigned long& error) {
  ORV::Handle file(::CreateFileA(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                 OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
  error = file ? ERROR_SUCCESS : ::GetLastError();
  return file;
}

/// The file's own path, through any symbolic link: "\\?\C:\real\app.ini".
// A MAX_PATH buffer first; a longer path is asked again with the size the
// system gave (which then counts the terminating null).
unsigned long FinalPathWrp(const ORV::Handle& file, std::string& path) {
  std::string final(MAX_PATH, '\0');
  for (;;) {
    const DWORD length = ::GetFinalPathNameByHandleA(file.Get(), final.data(), static_cast<DWORD>(final.size()),
                                                     FILE_NAME_NORMALIZED | VOLUME_NAME_DOS);
    if (length == 0) return ::GetLastError();
    if (length < final.size()) {
      final.resize(length);
      path.swap(final);
      return ERROR_SUCCESS;
    }
    final.assign(length, '\0');
  }
}

unsigned long AttributesWrp(const std::string& path, DWORD& attributes) {
  attributes = ::GetFileAttributesA(path.c_str());
  return attributes == INVALID_FILE_ATTRIBUTES ? ::GetLastError() : ERROR_SUCCESS;
}

unsigned long SetAttributesWrp(const std::string& path, DWORD attributes) {
  return ::SetFileAttributesA(path.c_str(), attributes) ? ERROR_SUCCESS : ::GetLastError();
}

unsigned long ReplaceWrp(const std::string& from, const std::string& to) {
  if (::MoveFileExA(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) return ERROR_SUCCESS;
  return ::GetLastError();
}

void DeleteFileWrp(const std::string& path) noexcept { ::DeleteFileA(path.c_str()); }

// What a save writes over: the file that path finally names, so that a save
// through a symbolic link rewrites the file it points to and the link stays.
// The file exists: the save has just read it or created it.
std::string SaveTarget(const std::string& path) {
  unsigned long error = ERROR_SUCCESS;
  const ORV::Handle file = OpenForQueryWrp(path, error);
  std::string target;
  if (error == ERROR_SUCCESS) error = FinalPathWrp(file, target);
  if (error != ERROR_SUCCESS) RaiseCannotOpen(ORVFILE_THROW_SITE, error, path);
  return target;
}

// A new file beside the target that replaces it on Replace; until then the
// destructor deletes it, so a failed save leaves nothing behind.
class TemporaryFile {
 public:
  TemporaryFile(const std::string& target, const std::string& reported) : m_target(target), m_reported(reported) {
    std::string directory;
    unsigned long error = DirectoryOfWrp(target, directory);
    if (error == ERROR_SUCCESS) error = TempFileNameWrp(directory, m_name);
    Check(error);
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() {
    if (!m_name.empty()) DeleteFileWrp(m_name);
  }

  const std::string& Name() const { return m_name; }

  // The new file takes the target's attributes. Windows refuses to move
  // over a read-only file and Wine 8 does not: the refusal is made here, the
  // same on both.
  void Replace() {
    DWORD attributes = 0;
    unsigned long error = AttributesWrp(m_target, attributes);
    if (error == ERROR_SUCCESS && (attributes & FILE_ATTRIBUTE_READONLY)) error = ERROR_ACCESS_DENIED;
    const DWORD kept =
        FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_NOT_CONTENT_INDEXED;
    if (error == ERROR_SUCCESS && (attributes & kept) != 0) error = SetAttributesWrp(m_name, attributes & kept);
    if (error == ERROR_SUCCESS) error = ReplaceWrp(m_name, m_target);
    Check(error);
    m_name.clear();
  }

 private:
  void Check(unsigned long error) const {
    if (error != ERROR_SUCCESS) RaiseCannotOpen(ORVFILE_THROW_SITE, error, m_reported);
  }

  std::string m_target, m_reported, m_name;
};

// Through the file handle, so that its fault table reaches these calls too.
// Missing: created first. Present but unreadable: the second open says why.
std::uint32_t OpenOrCreate(CFile& file, const std::string& path) {
  try {
    return file.Open(OpenMode::OpenRead);
  } catch (const FileException&) {
    CreateIfMissingWrp(path);
  }
  return file.Open(OpenMode::OpenRead);
}

// The lines of one block of a file. carry holds the start of a line cut by
// the end of the block before, and takes the line this block's end cuts.
template <class Visit>
void FeedBlock(std::string_view block, std::string& carry, Visit& visit) {
  const std::size_t last = block.find_last_of("\r\n");
  if (last == std::string_view::npos) {
    carry.append(block);
    return;
  }
  std::size_t start = 0;
  if (!carry.empty()) {
    start = block.find_first_of("\r\n");
    visit(std::string_view(carry.append(block.substr(0, start))));
  }
  ForEachPiece(block.substr(start, last + 1 - start), true, visit);
  carry.assign(block.substr(last + 1));
}

// Calls opened once the file is open (made when missing), then visit with
// each line of the file, each byte one unit. Read in blocks: a load keeps the
// store in memory, never a copy of the whole file as well (fresh pages are
// what loading costs most under Wine).
template <class Opened, class Visit>
void ForEachFileLine(const std::string& path, Opened&& opened, Visit&& visit) {
  constexpr std::uint32_t kBlock = 64 * 1024;
  std::string carry;
  try {
    CFile file(path, FileHint::SequentialScan);
    const std::uint32_t size = OpenOrCreate(file, path);
    opened();
    std::string block(std::min(size, kBlock), '\0');
    for (std::uint32_t left = size; left != 0;) {
      const std::uint32_t length = std::min(left, kBlock);
      file.Read(block.data(), 1, length, true);
      left -= length;
      FeedBlock(std::string_view(block.data(), length), carry, visit);
    }
    file.Close();
  } catch (const FileException& failure) {
    RaiseCannotOpen(ORVFILE_THROW_SITE, ErrorOf(failure), path);
  }
  if (!carry.empty()) visit(std::string_view(carry));
}

std::wstring ReadSource(ORV::BinaryStreamBuf& source, ORV::CHARSET charset) {
  if (charset == ORV::CHARSET_UTF16) {
    std::wstring units;
    units.reserve(source.Size() / 2);
    source.Copy(units);
    return units;
  }
  source.SeekG(0, ORV::BinaryStreamBuf::Begin);
  std::string bytes;
  bytes.reserve(source.Size());
  source.Copy(bytes);
  return ORV::ConvertToWide(bytes, charset);
}

bool IsKey(std::wstring_view name) {
  for (const wchar_t unit : name)
    if (!IsKeyUnit(unit)) return false;
  return !name.empty();
}

// The values a save still has to write, in the store's (WNoCase) order:
// pointers to its entries (the store outlives the save), each section and
// key written once, then done. Keys that show a default (the flag that
// Config::FindDefaults reads) are left out, and so is a section that holds
// nothing but defaults.
class Pending {
 public:
  using Key = Config::Keys::value_type;
  struct Section {
    const Config::Map::value_type* entry;
    std::size_t first, last;  // its keys, [first, last)
  };

  explicit Pending(const Config& store) {
    std::size_t count = 0;
    for (const auto& section : store.Values()) count += section.second.size();
    m_keys.reserve(count);
    for (const auto& section : store.Values()) {
      const std::size_t first = m_keys.size();
      bool anyDefault = false;
      for (const auto& key : section.second) {
        anyDefault = anyDefault || key.second.second;
        if (!key.second.second) m_keys.push_back(&key);
      }
      if (!anyDefault || m_keys.size() != first) m_sections.push_back({&section, first, m_keys.size()});
    }
    m_sectionDone.resize(m_sections.size());
    m_keyDone.resize(m_keys.size());
  }

  std::size_t Sections() const { return m_sections.size(); }
  std::wstring_view SectionName(std::size_t section) const { return m_sections[section].entry->first; }
  bool SectionDone(std::size_t section) const { return m_sectionDone[section]; }
  std::size_t FirstKey(std::size_t section) const { return m_sections[section].first; }
  std::size_t EndKey(std::size_t section) const { return m_sections[section].last; }
  const Key& KeyAt(std::size_t key) const { return *m_keys[key]; }
  bool KeyDone(std::size_t key) const { return m_keyDone[key]; }
  void DoneSection(std::size_t section) { m_sectionDone[section] = true; }
  void DoneKey(std::size_t key) { m_keyDone[key] = true; }

  static constexpr std::size_t kNone = ~std::size_t(0);
  /// kNone when absent or done.
  std::size_t FindSection(std::wstring_view name) const {
    const std::size_t found = Find(0, m_sections.size(), name, [&](std::size_t i) { return SectionName(i); });
    return found == kNone || SectionDone(found) ? kNone : found;
  }
  std::size_t FindKey(std::size_t section, std::wstring_view name) const {
    const std::size_t found = Find(FirstKey(section), EndKey(section), name,
                                   [&](std::size_t i) { return std::wstring_view(KeyAt(i).first); });
    return found == kNone || KeyDone(found) ? kNone : found;
  }

  // What the grammar could not read back: see the header.
  void CheckSavable() const {
    for (std::size_t s = 0; s < Sections(); ++s)
      if (SectionName(s).empty() || SectionName(s).find_first_of(L"\r\n") != std::wstring_view::npos)
        RaiseInvalid(ORVFILE_THROW_SITE);
    for (const Key* key : m_keys)
      if (!IsKey(key->first)) RaiseInvalid(ORVFILE_THROW_SITE);
  }

 private:
  // Binary search over [first, last) in WNoCase order.
  template <class NameOf>
  static std::size_t Find(std::size_t first, std::size_t end, std::wstring_view name, NameOf nameOf) {
    const ORV::WNoCase less;
    std::size_t last = end;
    while (first < last) {
      const std::size_t middle = first + (last - first) / 2;
      if (less(nameOf(middle), name))
        first = middle + 1;
      else
        last = middle;
    }
    return first < end && !less(name, nameOf(first)) ? first : kNone;
  }

  std::vector<Section> m_sections;
  std::vector<const Key*> m_keys;
  std::vector<bool> m_sectionDone, m_keyDone;
};

// The lines of the keys of section not yet written, in the store's order.
void OutputValues(Pending& values, std::size_t section, std::string& bytes) {
  std::string prefix;
  for (std::size_t key = values.FirstKey(section); key != values.EndKey(section); ++key) {
    if (values.KeyDone(key)) continue;
    const auto& [name, value] = values.KeyAt(key);
    prefix.clear();
    AppendText(prefix, name);
    AppendKeyLines(bytes, prefix += " = ", name, value.first, true);
  }
  values.DoneSection(section);
}

// Builds the store's values line by line, as the format says, every node
// and text in the map's arena.
class MapBuilder {
 public:
  explicit MapBuilder(Config::Map& values) : m_values(values) {}

  template <class Unit>
  void operator()(std::basic_string_view<Unit> units) {
    const ScannedLine<Unit> line = Scan(units);
    switch (line.kind) {
      case Kind::Section: {
        const auto inserted = m_values.emplace(Text(line.name), Config::Keys(m_values.get_allocator()));
        if (!inserted.second) RaiseInvalid(ORVFILE_THROW_SITE);
        m_current = &inserted.first->second;
        break;
      }
      case Kind::Key: {
        if (m_current == nullptr) RaiseInvalid(ORVFILE_THROW_SITE);
        // A repeated key adds a line to its value.
        const auto inserted = m_current->emplace(Text(line.name), Config::Value(Text(line.value), false));
        if (!inserted.second)
          (inserted.first->second.first += L'\n')
              .append(UnitValues(line.value), UnitValues(line.value) + line.value.size());
        break;
      }
      case Kind::Blank:
        break;
      case Kind::Invalid:
        RaiseInvalid(ORVFILE_THROW_SITE);
    }
  }

 private:
  template <class Unit>
  Config::String Text(std::basic_string_view<Unit> units) const {
    return Config::String(UnitValues(units), UnitValues(units) + units.size(), m_values.get_allocator());
  }

  Config::Map& m_values;
  Config::Keys* m_current = nullptr;
};

void LoadFile(const std::string& path, Config::Map& values) {
  MapBuilder builder(values);
  ForEachFileLine(
      path, [] {}, builder);
}

void LoadText(std::wstring_view text, Config::Map& values) {
  MapBuilder builder(values);
  ForEachPiece(text, true, builder);
}

// The new content of a save, written in pieces to a temporary file beside
// the target (see TemporaryFile) through one buffer of 256 KiB: a buffer of
// the whole file would touch fresh pages, which cost more than the writes.
class NewFile {
 public:
  explicit NewFile(const std::string& path) : m_path(path) {}

  // Once the present file is open, or made: the target exists. The
  // temporary file exists and is empty: OPEN_ALWAYS, no truncating open.
  void Open() {
    m_temporary.emplace(SaveTarget(m_path), m_path);
    m_file.emplace(m_temporary->Name());
    AsCannotOpen([this] { m_file->Open(OpenMode::ReadWrite); });
    m_bytes.reserve(kPiece + kPiece / 4);
  }
  std::string& Bytes() { return m_bytes; }
  bool Empty() const { return m_written == 0 && m_bytes.empty(); }
  void WriteIfFull() {
    if (m_bytes.size() >= kPiece) AsCannotOpen([this] { Write(); });
  }
  // The data reaches the disk before the name moves over the old file.
  void Commit() {
    AsCannotOpen([this] {
      Write();
      m_file->Flush();
      m_file->Close();
    });
    m_temporary->Replace();
  }

 private:
  static constexpr std::size_t kPiece = 256 * 1024;

  // A save fails with the store's exception only, whichever write fails.
  template <class Work>
  void AsCannotOpen(Work&& work) {
    try {
      work();
    } catch (const FileException& failure) {
      RaiseCannotOpen(ORVFILE_THROW_SITE, ErrorOf(failure), m_path);
    }
  }

  void Write() {
    if (!m_bytes.empty()) m_file->Write(m_bytes.data(), 1, static_cast<std::uint32_t>(m_bytes.size()));
    m_written += m_bytes.size();
    m_bytes.clear();
  }

  const std::string& m_path;
  std::optional<TemporaryFile> m_temporary;  // before m_file: the file is closed before it is deleted
  std::optional<CFile> m_file;
  std::string m_bytes;
  std::size_t m_written = 0;
};

// The file at path rewritten with values, its layout kept, line by line:
// the file's own bytes go through as they are.
void SaveToFile(const std::string& path, Pending& values) {
  NewFile out(path);
  std::string& bytes = out.Bytes();
  std::size_t current = Pending::kNone;
  std::wstring name;  // a name of the file, each byte one unit
  const auto find = [&](std::string_view units, auto&& finder) {
    name.assign(UnitValues(units), UnitValues(units) + units.size());
    return finder(std::wstring_view(name));
  };
  // Every kept section header comes after one empty line, except at the start.
  const auto openSection = [&] {
    if (!out.Empty()) bytes += "\r\n";
  };
  const auto closeSection = [&] {
    if (current != Pending::kNone) OutputValues(values, current, bytes);
    current = Pending::kNone;
  };
  std::string prefix;
  ForEachFileLine(
      path, [&] { out.Open(); },
      [&](std::string_view text) {
        const auto line = Scan(text);
        switch (line.kind) {
          case Kind::Section:
            closeSection();
            current = find(line.name, [&](std::wstring_view n) { return values.FindSection(n); });
            if (current == Pending::kNone) break;
            openSection();
            bytes.append(text) += "\r\n";
            break;
          case Kind::Key: {
            if (current == Pending::kNone) break;
            const std::size_t key = find(line.name, [&](std::wstring_view n) { return values.FindKey(current, n); });
            if (key == Pending::kNone) break;
            // "  port   = 80" -> "  port   = 81": the text before "=" stays.
            prefix.assign(text.substr(0, text.find('='))) += "= ";
            AppendKeyLines(bytes, prefix, values.KeyAt(key).first, values.KeyAt(key).second.first, false);
            values.DoneKey(key);
            break;
          }
          case Kind::Blank:
            bytes.append(text) += "\r\n";
            break;
          case Kind::Invalid:
            break;
        }
        out.WriteIfFull();
      });
  closeSection();
  for (std::size_t section = 0; section < values.Sections(); ++section) {
    if (values.SectionDone(section)) continue;
    openSection();
    AppendText(bytes += '[', values.SectionName(section));
    bytes += "]\r\n";
    OutputValues(values, section, bytes);
    out.WriteIfFull();
  }
  out.Commit();
}

}  // namespace

ConfigFile::ConfigFile() = default;

ConfigFile::ConfigFile(const std::string& path, ORV::SmartPtrToConst<Config> defaults) : m_path(path) {
  LoadFile(path, NewValues());
  if (defaults) LoadDefault(defaults->Values());
  SetReference();
}

ConfigFile::ConfigFile(ORV::BinaryStreamBuf& source, const ORV::CHARSET& charset) {
  LoadText(ReadSource(source, charset), NewValues());
  SetReference();
}

ConfigFile::ConfigFile(const Config& other) : Config(other) {}

ConfigFile::ConfigFile(const ConfigFile& other) = default;

ConfigFile& ConfigFile::operator=(const ConfigFile& other) {
  std::string path(other.m_path);
  Config::operator=(other);
  m_path.swap(path);
  return *this;
}

ConfigFile::~ConfigFile() = default;

const std::string& ConfigFile::Path() const { return m_path; }

// The store written is a copy (which shares the values, see Config), so
// that the views into it stay valid whatever the merge builds.
void ConfigFile::Save(const std::string& path, bool merge) {
  const Config store = merge && IsFileWrp(path) ? MergedWithFile(path) : Config(*this);
  Pending values(store);
  values.CheckSavable();
  SaveToFile(path, values);
  SetReference();
}

Config ConfigFile::MergedWithFile(const std::string& path) const {
  ConfigFile merged;
  LoadFile(path, merged.NewValues());
  merged.SetReference();
  merged.LoadDefault(Defaults());
  merged.Merge(Values());
  return merged;
}

namespace detail {

namespace {

// The reference the scanner follows: every expression in the format's order,
// as the loader of the format describes it.
ConfigLine ByExpressions(std::wstring_view line) {
  static const ConfigGrammar grammar;
  boost::match_results<const wchar_t*> match;
  const auto matches = [&](const ConfigExpression& expression) {
    return boost::regex_match(line.data(), line.data() + line.size(), match, expression);
  };
  const auto group = [&](int n) { return std::wstring(match[n].first, match[n].second); };
  if (matches(grammar.section)) return {Kind::Section, group(1), {}};
  if (matches(grammar.key)) return {Kind::Key, group(1), group(2)};
  return {matches(grammar.blank) ? Kind::Blank : Kind::Invalid, {}, {}};
}

}  // namespace

ConfigLine ReadConfigLineForTesting(std::wstring_view line) {
  try {
    return ByExpressions(line);
  } catch (const std::runtime_error&) {
    RaiseInvalid(ORVFILE_THROW_SITE);  // boost::regex_error: its stack ran out
  }
}

}  // namespace detail

}  // namespace ORVFile
