#include "win32.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "ORVConfigFile.h"
#include "ORVFileException.h"
#include "ORVFileMsg-I.h"
#include "ORVFileTestSupport.h"
#include "ORVMemoryBuffer.h"

namespace {

using ORV::Config;
using ORVFile::ConfigFile;
using orvtest::Catch;

// "[a]k=v|x=1\n2|[b]": every section with its keys, in map order; "*" marks a default.
std::wstring Dump(const Config& store) {
  std::wstring text;
  for (const auto& section : store.Values()) {
    text += L"[" + section.first + L"]";
    for (const auto& key : section.second)
      text += key.first + (key.second.second ? L"*=" : L"=") + key.second.first + L"|";
  }
  return text;
}

std::wstring Widen(const std::string& bytes) { return ORV::ConvertToWide(bytes, ORV::CHARSET_ISO_8859_1); }

class ConfigFileTest : public orvtest::TempDirTest {
 protected:
  // "<InvalidConfigException>" when the file does not load.
  std::wstring Loaded(const std::string& bytes) {
    Put("in.ini", bytes);
    std::wstring result;
    const auto raised = Catch([&] { result = Dump(ConfigFile(P("in.ini"))); });
    Remove("in.ini");
    return raised.type.empty() ? result : L"<" + Widen(raised.type) + L">";
  }

  // The bytes that saving gives after edit has changed the store loaded from before.
  std::string Saved(const std::string& before, const std::function<void(ConfigFile&)>& edit) {
    Put("s.ini", before);
    ConfigFile store(P("s.ini"));
    edit(store);
    store.Save(P("s.ini"), false);
    const std::string after = Got("s.ini");
    Remove("s.ini");
    return after;
  }
};

TEST_F(ConfigFileTest, GrammarOfLines) {
  struct Row {
    std::string source;
    std::wstring loaded;
  };
  const Row rows[] = {
      {"", L""},
      {"[s]\nkey=value", L"[s]key=value|"},
      {"[s]\n  key   =   a  b  ", L"[s]key=a  b|"},
      {"[s]\nkey =", L"[s]key=|"},
      {"[s]\n\tk\t=\tv;not a comment\t", L"[s]k=v;not a comment|"},
      {"[s]\nk==v=", L"[s]k==v=|"},
      {"[s]\npath = a\npath = b\nPATH=c", L"[s]path=a\nb\nc|"},
      {"[s]\nk = a\nk =\nk = b", L"[s]k=a\n\nb|"},
      {"; note\n[s]\n  ; indented note\n\t\n", L"[s]"},
      {"  [ a [b] ]\t\n[c]", L"[ a [b] ][c]"},
      {"[Main]\nx=1\n[net]\n[MAIN]", L"<InvalidConfigException>"},
      {"x = 1\n[s]", L"<InvalidConfigException>"},
      {"[s]\nmy-key = 1", L"<InvalidConfigException>"},
      {"[s]\nmy key = 1", L"<InvalidConfigException>"},
      {"[s]\n# hash", L"<InvalidConfigException>"},
      {"[s]\nno equals sign", L"<InvalidConfigException>"},
      {"[s]\n= 1", L"<InvalidConfigException>"},
      {"[]", L"<InvalidConfigException>"},
      {"[s] x", L"<InvalidConfigException>"},
      {"[s]\nk = 1\n[t", L"<InvalidConfigException>"},
      {"[s]\r\nk = 1\r\n\r\n[t]\rj=2\r", L"[s]k=1|[t]j=2|"},
      // Blank is space and tab alone: U+00A0, "\v" and "\f" are ordinary units.
      {"[s]\nk = a\xA0", L"[s]k=a\xA0|"},
      {"\xA0[s]", L"<InvalidConfigException>"},
      {"[s]\nk = \x0B\x0C", L"[s]k=\x0B\x0C|"},
      // Bytes are units: UTF-8 stays two units, a byte-order mark is no blank.
      {"[caf\xC3\xA9]\nk = \xE9\x80", L"[caf\x00C3\x00A9]k=\x00E9\x0080|"},
      {"\xEF\xBB\xBF[s]", L"<InvalidConfigException>"},
      {"[s]\n" + std::string(70000, 'k') + "=" + std::string(70000, 'v'),
       L"[s]" + std::wstring(70000, L'k') + L"=" + std::wstring(70000, L'v') + L"|"},
  };
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE(::testing::Message() << "row " << i);
    EXPECT_EQ(Loaded(rows[i].source), rows[i].loaded);
  }
}

TEST_F(ConfigFileTest, LoadedStoreAndItsExceptions) {
  Put("c.ini", "[Main]\nPort = 80\n");
  const ConfigFile store(P("c.ini"));
  EXPECT_EQ(store.GetValue(L"MAIN", L"port"), L"80");
  EXPECT_EQ(store.Values().begin()->first, L"Main");
  EXPECT_EQ(store.Path(), P("c.ini"));
  EXPECT_FALSE(store.IsModified());
  Remove("c.ini");

  // A missing file is created empty.
  EXPECT_EQ(Dump(ConfigFile(P("new.ini"))), L"");
  EXPECT_EQ(Got("new.ini"), "");
  Remove("new.ini");

  const auto missing = Catch([&] { ConfigFile unreachable(P("no\\such\\dir.ini")); });
  EXPECT_EQ(missing.type, "CannotOpenSourceException");
  EXPECT_EQ(missing.number, ORVFile::MSG_CANNOT_OPEN_CONFIG_SOURCE);
  EXPECT_EQ(missing.lastError, static_cast<unsigned>(ERROR_PATH_NOT_FOUND));
  EXPECT_EQ(missing.source, "ORVConfigFile.cpp");
  EXPECT_EQ(missing.what, L"It is impossible to open the configuration source " + Widen(P("no\\such\\dir.ini")) + L".");
  // A directory is no file: access denied, and nothing is created or truncated.
  EXPECT_EQ(Catch([&] { ConfigFile directory(m_dir); }).lastError, static_cast<unsigned>(ERROR_ACCESS_DENIED));

  Put("bad.ini", "[a]\n[A]\n");
  try {
    ConfigFile invalid(P("bad.ini"));
    ADD_FAILURE() << "loaded";
  } catch (const Config::ConfigException& e) {
    EXPECT_EQ(e.TypeName(), L"InvalidConfigException");
    EXPECT_EQ(e.What(), L"The configuration source is invalid.");
    EXPECT_EQ(e.Info()->Number(), ORVFile::MSG_INVALID_CONFIG_SOURCE);
    EXPECT_NE(dynamic_cast<const Config::InvalidConfigException*>(&e), nullptr);
    EXPECT_EQ(dynamic_cast<const ORVFile::FileException*>(&e), nullptr);
    // The family's copy rule: a copy keeps the text alone.
    const Config::InvalidConfigException copy(static_cast<const Config::InvalidConfigException&>(e));
    EXPECT_EQ(copy.What(), e.What());
    EXPECT_EQ(copy.TypeName(), L"");
    EXPECT_FALSE(copy.Info());
  }
  EXPECT_EQ(Got("bad.ini"), "[a]\n[A]\n");
  Remove("bad.ini");
}

TEST_F(ConfigFileTest, SharingViolationOnReadIsReportedAndNothingIsCreated) {
  Put("held.ini", "[a]\nk=1");
  orvtest::SeamGuard guard;
  orvtest::g_fakeError = ERROR_SHARING_VIOLATION;
  guard.Calls().CreateFileA = orvtest::Failing<decltype(guard.Calls().CreateFileA)>::Call;
  const auto raised = Catch([&] { ConfigFile held(P("held.ini")); });
  EXPECT_EQ(raised.type, "CannotOpenSourceException");
  EXPECT_EQ(raised.lastError, static_cast<unsigned>(ERROR_SHARING_VIOLATION));
  EXPECT_EQ(Got("held.ini"), "[a]\nk=1");
  Remove("held.ini");
}

TEST_F(ConfigFileTest, BufferSourcesInTheirCharacterSets) {
  struct Row {
    std::string bytes;
    ORV::CHARSET charset;
    std::int32_t readFrom;
    std::wstring loaded;
  };
  const std::wstring utf16 = L"xx[s]\nk=\x4E2D\r\n";
  const std::string utf16Bytes(reinterpret_cast<const char*>(utf16.data()), utf16.size() * 2);
  const Row rows[] = {
      {"[s]\nk=caf\xC3\xA9", ORV::CHARSET_UTF8, 0, L"[s]k=caf\x00E9|"},
      {"[s]\nk=caf\xC3\xA9", ORV::CHARSET_ISO_8859_1, 0, L"[s]k=caf\x00C3\x00A9|"},
      {"[s]\nk=\x80", static_cast<ORV::CHARSET>(1252), 0, L"[s]k=\x20AC|"},
      // The 16-bit form is read from the read position, the others from the start.
      {utf16Bytes, ORV::CHARSET_UTF16, 4, L"[s]k=\x4E2D|"},
      {"[s]\nk=1", ORV::CHARSET_UTF8, 3, L"[s]k=1|"},
  };
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE(::testing::Message() << "row " << i);
    ORVFile::MemoryBuffer source(rows[i].bytes.data(), static_cast<std::uint32_t>(rows[i].bytes.size()));
    source.SeekG(rows[i].readFrom, ORV::BinaryStreamBuf::Begin);
    const ConfigFile store(source, rows[i].charset);
    EXPECT_EQ(Dump(store), rows[i].loaded);
    EXPECT_EQ(store.Path(), "");
  }
  ORVFile::MemoryBuffer invalid("k=1", 3);
  EXPECT_EQ(Catch([&] { ConfigFile store(invalid, ORV::CHARSET_UTF8); }).type, "InvalidConfigException");
  ORVFile::MemoryBuffer unknownSet("[s]", 3);
  EXPECT_THROW(ConfigFile(unknownSet, static_cast<ORV::CHARSET>(12345)), ORV::Exception);
}

TEST_F(ConfigFileTest, SaveKeepsTheLayout) {
  struct Row {
    const char* what;
    std::string before;
    std::function<void(ConfigFile&)> edit;
    std::string after;
  };
  const auto nothing = [](ConfigFile&) {};
  const Row rows[] = {
      {"unchanged: blank lines normalised, comments and blank-only lines kept",
       "\n; head\n\n\n[a]\n  x   = 1\n; inside\n  \n\n[b]\ny=2\n\n", nothing,
       "; head\r\n\r\n[a]\r\n  x   = 1\r\n; inside\r\n  \r\n\r\n[b]\r\ny= 2\r\n"},
      {"changed value keeps the text before =", "[a]\n  port   = 80",
       [](ConfigFile& c) { c.SetValue(L"A", L"PORT", L"81"); }, "[a]\r\n  port   = 81\r\n"},
      {"lines in place of the first occurrence, later ones dropped", "[a]\nk = 1\nz = 0\nK = 2",
       [](ConfigFile& c) { c.SetValue(L"a", L"k", L"x\r\n\ny"); }, "[a]\r\nk = x\r\nk = y\r\nz = 0\r\n"},
      {"removed key", "[a]\nk = 1\nj = 2", [](ConfigFile& c) { c.RemoveKey(L"a", L"j"); }, "[a]\r\nk = 1\r\n"},
      {"removed section: key lines go, comments stay", "[a]\nk=1\n; about b\n[b]\n; in b\nj=2\n[c]\nm=3",
       [](ConfigFile& c) { c.RemoveSection(L"b"); }, "[a]\r\nk= 1\r\n; about b\r\n; in b\r\n\r\n[c]\r\nm= 3\r\n"},
      {"new keys at the end of their section, in map order", "[a]\nk=1\n; tail of a\n[b]\nj=2",
       [](ConfigFile& c) {
         c.SetValue(L"a", L"z", L"v");
         c.SetValue(L"a", L"n", L"p\nq");
       },
       "[a]\r\nk= 1\r\n; tail of a\r\nn = p\r\nn = q\r\nz = v\r\n\r\n[b]\r\nj= 2\r\n"},
      {"new sections at the end, in map order", "[a]\nk=1",
       [](ConfigFile& c) {
         c.SetValue(L"z", L"q", L"1");
         c.AddSection(L"m");
       },
       "[a]\r\nk= 1\r\n\r\n[m]\r\n\r\n[z]\r\nq = 1\r\n"},
      {"empty values", "[a]\nk=1",
       [](ConfigFile& c) {
         c.SetValue(L"a", L"k", L"");
         c.SetValue(L"a", L"e", L"\n");
       },
       "[a]\r\nk = \r\ne = \r\n\r\n"},
      {"units above U+00FF", "[a]\nk=1", [](ConfigFile& c) { c.SetValue(L"a", L"k", L"\x4E2D\x00E9"); },
       "[a]\r\nk= ?\xE9\r\n"},
      {"everything removed", "; only\n[a]\nk=1", [](ConfigFile& c) { c.RemoveSection(L"a"); }, "; only\r\n"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(Saved(row.before, row.edit), row.after);
  }
}

TEST_F(ConfigFileTest, SaveOverAnotherFileDropsItsInvalidLinesAndDeletedSections) {
  Put("mine.ini", "[a]\nk=1\n");
  Put("theirs.ini", "#junk\n[a]\nk = 0\nkey-x = 1\n[gone]\nq=1\n; kept\n");
  ConfigFile(P("mine.ini")).Save(P("theirs.ini"), false);
  EXPECT_EQ(Got("theirs.ini"), "[a]\r\nk = 1\r\n; kept\r\n");
  Remove("mine.ini");
  Remove("theirs.ini");
}

TEST_F(ConfigFileTest, DefaultsAreShownButNotWritten) {
  Config* defaults = new Config;
  defaults->SetValue(L"net", L"port", L"80");
  defaults->SetValue(L"net", L"host", L"localhost");
  defaults->SetValue(L"ui", L"theme", L"dark");
  const ORV::SmartPtrToConst<Config> shared(defaults);

  Put("d.ini", "[net]\nport = 8080\n");
  ConfigFile store(P("d.ini"), shared);
  EXPECT_EQ(Dump(store), L"[net]host*=localhost|port=8080|[ui]theme*=dark|");
  EXPECT_FALSE(store.IsModified());

  store.Save(P("d.ini"), false);
  EXPECT_EQ(Got("d.ini"), "[net]\r\nport = 8080\r\n");

  // Removing the value brings the default back; a section of defaults alone is not written.
  store.RemoveKey(L"net", L"port");
  EXPECT_TRUE(store.IsModified());
  store.Save(P("d.ini"), false);
  EXPECT_FALSE(store.IsModified());
  EXPECT_EQ(Got("d.ini"), "");
  EXPECT_EQ(Dump(ConfigFile(P("d.ini"), shared)), Dump(store));
  Remove("d.ini");
}

TEST_F(ConfigFileTest, SaveWithMergeKeepsWhatOnlyTheFileHas) {
  Put("m.ini", "[a]\nk=1\n");
  ConfigFile store(P("m.ini"));
  store.SetValue(L"a", L"k", L"9");
  Put("m.ini", "[a]\nk=1\nother=2\n[b]\nx=3\n");  // another writer meanwhile
  store.Save(P("m.ini"), true);
  EXPECT_EQ(Got("m.ini"), "[a]\r\nk= 9\r\nother= 2\r\n\r\n[b]\r\nx= 3\r\n");
  store.Save(P("m.ini"), false);
  EXPECT_EQ(Got("m.ini"), "[a]\r\nk= 9\r\n");

  Put("m.ini", "[a]\n[a]\n");
  EXPECT_EQ(Catch([&] { store.Save(P("m.ini"), true); }).type, "InvalidConfigException");
  EXPECT_EQ(Got("m.ini"), "[a]\n[a]\n");
  Remove("m.ini");

  store.Save(P("fresh.ini"), true);
  EXPECT_EQ(Got("fresh.ini"), "[a]\r\nk = 9\r\n");
  Remove("fresh.ini");
}

TEST_F(ConfigFileTest, FailedSaveLeavesTheOldFile) {
  const std::string original = "; settings\n[a]\nk=1\n";
  Put("keep.ini", original);
  ConfigFile store(P("keep.ini"));
  store.SetValue(L"a", L"k", L"2");
  {
    orvtest::SeamGuard guard;
    orvtest::g_fakeError = ERROR_DISK_FULL;
    guard.Calls().WriteFile = orvtest::Failing<decltype(guard.Calls().WriteFile)>::Call;
    const auto full = Catch([&] { store.Save(P("keep.ini"), false); });
    EXPECT_EQ(full.type, "CannotOpenSourceException");
    EXPECT_EQ(full.number, ORVFile::MSG_CANNOT_OPEN_CONFIG_SOURCE);
    EXPECT_EQ(full.lastError, static_cast<unsigned>(ERROR_DISK_FULL));
  }
  EXPECT_EQ(Got("keep.ini"), original);
  EXPECT_TRUE(store.IsModified());

  EXPECT_EQ(Catch([&] { store.Save(m_dir, false); }).lastError, static_cast<unsigned>(ERROR_ACCESS_DENIED));
  EXPECT_EQ(Catch([&] { store.Save(P("no\\dir.ini"), false); }).lastError, static_cast<unsigned>(ERROR_PATH_NOT_FOUND));

  // What the grammar could not read back is refused before the file is touched.
  ConfigFile unreadable(store);
  unreadable.SetValue(L"a", L"my key", L"1");
  EXPECT_EQ(Catch([&] { unreadable.Save(P("keep.ini"), false); }).type, "InvalidConfigException");
  unreadable = store;
  unreadable.SetValue(L"line\nbreak", L"k", L"1");
  EXPECT_EQ(Catch([&] { unreadable.Save(P("keep.ini"), false); }).type, "InvalidConfigException");
  EXPECT_EQ(Got("keep.ini"), original);

  // Windows refuses to move a file over a read-only one; Wine 8 replaces it.
  ASSERT_TRUE(::SetFileAttributesA(P("keep.ini").c_str(), FILE_ATTRIBUTE_READONLY));
  const auto readOnly = Catch([&] { store.Save(P("keep.ini"), false); });
  if (!orvtest::UnderWine()) {
    EXPECT_EQ(readOnly.type, "CannotOpenSourceException");
    EXPECT_EQ(readOnly.lastError, static_cast<unsigned>(ERROR_ACCESS_DENIED));
    EXPECT_EQ(Got("keep.ini"), original);
  }
  Remove("keep.ini");
}

TEST_F(ConfigFileTest, CopiesAndReferenceCopy) {
  Put("r.ini", "[a]\nk=1\n");
  ConfigFile loaded(P("r.ini"));
  loaded.SetValue(L"a", L"k", L"2");
  const ConfigFile copy(loaded);
  EXPECT_EQ(copy.Path(), P("r.ini"));
  EXPECT_EQ(Dump(copy), Dump(loaded));
  EXPECT_TRUE(copy.IsModified());

  ConfigFile assigned;
  assigned = loaded;
  EXPECT_EQ(assigned.Path(), P("r.ini"));
  EXPECT_EQ(Dump(assigned), L"[a]k=2|");

  const ConfigFile fromStore(static_cast<const Config&>(loaded));
  EXPECT_EQ(fromStore.Path(), "");
  EXPECT_EQ(Dump(fromStore), L"[a]k=2|");
  Remove("r.ini");
}

// --- Generated sources, checked against a plain parser of the format.

// What a loader must give: the sections and keys in WNoCase order, or
// nothing for a source the format refuses. Written from the format's rules,
// without regular expressions.
struct Model {
  using Keys = std::map<std::wstring, std::wstring, ORV::WNoCase>;
  bool valid = true;
  std::map<std::wstring, Keys, ORV::WNoCase> sections;
};

bool IsBlank(wchar_t unit) { return unit == L' ' || unit == L'\t'; }

std::wstring Trim(const std::wstring& text) {
  std::size_t first = 0, last = text.size();
  while (first < last && IsBlank(text[first])) ++first;
  while (last > first && IsBlank(text[last - 1])) --last;
  return text.substr(first, last - first);
}

Model Parse(const std::wstring& source) {
  Model model;
  Model::Keys* current = nullptr;
  std::wstring line;
  for (std::size_t i = 0; i <= source.size(); ++i) {
    if (i < source.size() && source[i] != L'\n' && source[i] != L'\r') {
      line += source[i];
      continue;
    }
    const std::wstring body = Trim(line);
    line.clear();
    if (body.empty() || body[0] == L';') continue;
    if (body[0] == L'[' && body.back() == L']' && body.size() > 2) {
      const auto inserted = model.sections.emplace(body.substr(1, body.size() - 2), Model::Keys());
      if (!inserted.second) return Model{false, {}};
      current = &inserted.first->second;
      continue;
    }
    const std::size_t keyEnd =
        body.find_first_not_of(L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_.");
    const std::size_t equals = keyEnd == std::wstring::npos ? keyEnd : body.find_first_not_of(L" \t", keyEnd);
    if (current == nullptr || keyEnd == 0 || equals == std::wstring::npos || body[equals] != L'=')
      return Model{false, {}};
    const std::wstring key = body.substr(0, keyEnd), value = Trim(body.substr(equals + 1));
    const auto inserted = current->emplace(key, value);
    if (!inserted.second) inserted.first->second += L"\n" + value;
  }
  return model;
}

std::wstring Dump(const Model& model) {
  std::wstring text;
  for (const auto& section : model.sections) {
    text += L"[" + section.first + L"]";
    for (const auto& key : section.second) text += key.first + L"=" + key.second + L"|";
  }
  return text;
}

// What saving keeps of a value: its lines without the empty ones.
Model WithoutEmptyLines(Model model) {
  for (auto& section : model.sections)
    for (auto& key : section.second) {
      std::wstring kept;
      std::size_t start = 0;
      for (std::size_t end = 0; end != std::wstring::npos; start = end + 1) {
        end = key.second.find(L'\n', start);
        const std::wstring piece = key.second.substr(start, end == std::wstring::npos ? end : end - start);
        if (!piece.empty()) kept += (kept.empty() ? L"" : L"\n") + piece;
      }
      key.second = kept;
    }
  return model;
}

// Sources of valid and invalid lines mixed, with every line end, long lines,
// tabs, brackets inside names and bytes above 0x7F.
class SourceGenerator {
 public:
  explicit SourceGenerator(unsigned seed) : m_random(seed) {}

  std::string Next() {
    std::string source;
    // About one source in twenty is valid: each costs three saves on disk.
    const int lines = Pick(4, 22);
    for (int i = 0; i < lines; ++i) {
      source += i == 0 && !OneIn(8) ? SectionLine() : Line();
      if (i + 1 < lines || !OneIn(3)) source += LineEnd();
    }
    return source;
  }

 private:
  int Pick(int low, int high) { return std::uniform_int_distribution<int>(low, high)(m_random); }
  bool OneIn(int n) { return Pick(1, n) == 1; }
  template <std::size_t N>
  const char* From(const char* const (&pool)[N]) {
    return pool[Pick(0, static_cast<int>(N) - 1)];
  }

  std::string LineEnd() { return From({"\n", "\r", "\r\n", "\n\n", "\r\n\r\n"}); }
  std::string Blanks() {
    std::string blanks;
    for (int n = Pick(0, 2); n > 0; --n) blanks += OneIn(3) ? '\t' : ' ';
    return blanks;
  }
  // Units of names and values: no blank, no line end.
  std::string Word(int longest) {
    static const char kUnits[] = "aZ09_.;=[]#-\xA0\xE9\x80\xFF\x0B\x01";
    std::string word;
    for (int n = Pick(1, longest); n > 0; --n) word += kUnits[Pick(0, static_cast<int>(sizeof kUnits) - 2)];
    return word;
  }
  std::string Value() {
    if (OneIn(40)) return std::string(static_cast<std::size_t>(Pick(300, 3000)), 'v') + " " + Word(3);
    std::string value;
    for (int n = Pick(0, 3); n > 0; --n) value += (value.empty() ? "" : Blanks() + " ") + Word(5);
    return value;
  }
  std::string Key() {
    if (OneIn(3)) {
      std::string key;
      for (int n = Pick(1, 4); n > 0; --n) key += "aZ9_."[Pick(0, 4)];
      return key;
    }
    return From({"a", "A", "b", "key", "KEY", "x.y", "_1", "k9", "my-key", "k y"});
  }
  std::string SectionLine() {
    const std::string name =
        OneIn(3) ? Word(4) : From({"s", "S", "net", "Net", "a b", " x ", "[in]", "x]y", "\xE9", "\xC9"});
    return Blanks() + "[" + name + "]" + Blanks();
  }
  std::string Line() {
    switch (Pick(0, 11)) {
      case 0:
      case 1:
        return SectionLine();
      case 2:
        return Blanks() + ";" + Value();
      case 3:
        return Blanks();
      case 4:
      case 5:
      case 6:
        return From({"#x", "[x", "= v", "\xA0k=1", "[]", "[s] x", "just words", "[a]]b"});
      default:
        return Blanks() + Key() + Blanks() + "=" + Blanks() + Value() + Blanks();
    }
  }

  std::mt19937 m_random;
};

TEST_F(ConfigFileTest, GeneratedSourcesLoadAsTheFormatSaysAndSurviveSaving) {
  SourceGenerator generator(7);
  int valid = 0;
  for (int i = 0; i < 50000; ++i) {
    const std::string source = generator.Next();
    const Model model = Parse(Widen(source));
    ORVFile::MemoryBuffer buffer(source.data(), static_cast<std::uint32_t>(source.size()));
    std::wstring loaded;
    const auto raised = Catch([&] { loaded = Dump(ConfigFile(buffer, ORV::CHARSET_ISO_8859_1)); });
    ASSERT_EQ(raised.type, model.valid ? "" : "InvalidConfigException")
        << "source " << i << ": " << ::testing::PrintToString(source);
    if (!model.valid) continue;
    ++valid;
    ASSERT_EQ(loaded, Dump(model)) << "source " << i << ": " << ::testing::PrintToString(source);

    Put("src.ini", source);
    ConfigFile store(P("src.ini"));
    store.Save(P("new.ini"), false);
    ASSERT_EQ(Dump(ConfigFile(P("new.ini"))), Dump(WithoutEmptyLines(model))) << "source " << i;
    store.Save(P("src.ini"), false);
    const std::string once = Got("src.ini");
    store.Save(P("src.ini"), false);
    ASSERT_EQ(Got("src.ini"), once) << "source " << i;
    Remove("new.ini");
    Remove("src.ini");
  }
  EXPECT_GT(valid, 1500) << "too few valid sources to test saving";
}

}  // namespace
