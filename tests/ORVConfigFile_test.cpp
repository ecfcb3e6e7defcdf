#include "win32.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <string>

#include "ORVConfigFile.h"
#include "ORVFileException.h"
#include "ORVFileMsg-I.h"
#include "ORVFileTestSupport.h"
#include "ORVMemoryBuffer.h"

namespace {

using ORV::Config;
using ORVFile::ConfigFile;
using orvtest::Catch;

// "[a]k=v|x*=1\n2|[b]": sections and keys in map order; "*" marks a default.
std::wstring Dump(const Config::Map& values) {
  std::wstring text;
  for (const auto& section : values) {
    text += L"[" + section.first + L"]";
    for (const auto& key : section.second)
      text += key.first + (key.second.second ? L"*=" : L"=") + key.second.first + L"|";
  }
  return text;
}
std::wstring Dump(const Config& store) { return Dump(store.Values()); }

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
};

// Blanks, comments, repeated keys, line ends, bad lines and units above 0x7F
// are the generated sources' (below); these are what the generator does not make.
TEST_F(ConfigFileTest, GrammarOfLines) {
  const std::pair<std::string, std::wstring> rows[] = {
      {"[s]\npath = a\npath =\nPATH=b", L"[s]path=a\n\nb|"},  // a value of several lines, one empty
      {"[caf\xC3\xA9]", L"[caf\x00C3\x00A9]"},                // bytes are units: UTF-8 stays two units
      {"\xEF\xBB\xBF[s]", L"<InvalidConfigException>"},       // a byte-order mark is no blank
      {"[s]\nk=" + std::string(70000, 'v'), L"[s]k=" + std::wstring(70000, L'v') + L"|"},
  };
  for (std::size_t i = 0; i < std::size(rows); ++i) EXPECT_EQ(Loaded(rows[i].first), rows[i].second) << "row " << i;
}

TEST_F(ConfigFileTest, LoaderFailures) {
  EXPECT_EQ(Dump(ConfigFile(P("new.ini"))), L"");  // a missing file is created empty
  EXPECT_EQ(Got("new.ini"), "");
  Remove("new.ini");
  const auto missing = Catch([&] { ConfigFile unreachable(P("no\\dir.ini")); });
  EXPECT_EQ(missing.type, "CannotOpenSourceException");
  EXPECT_EQ(missing.number, ORVFile::MSG_CANNOT_OPEN_CONFIG_SOURCE);
  EXPECT_EQ(missing.lastError, static_cast<unsigned>(ERROR_PATH_NOT_FOUND));
  EXPECT_EQ(missing.source, "ORVConfigFile.cpp");
  EXPECT_EQ(missing.what, L"It is impossible to open the configuration source " + Widen(P("no\\dir.ini")) + L".");
  // A directory is no file: access denied, and nothing is created.
  EXPECT_EQ(Catch([&] { ConfigFile directory(m_dir); }).lastError, static_cast<unsigned>(ERROR_ACCESS_DENIED));

  Put("held.ini", "[a]\nk=1");
  {
    orvtest::SeamGuard guard;
    orvtest::g_fakeError = ERROR_SHARING_VIOLATION;
    guard.Calls().CreateFileA = orvtest::Failing<decltype(guard.Calls().CreateFileA)>::Call;
    EXPECT_EQ(Catch([&] { ConfigFile held(P("held.ini")); }).lastError, static_cast<unsigned>(ERROR_SHARING_VIOLATION));
  }
  EXPECT_EQ(Got("held.ini"), "[a]\nk=1");  // neither truncated nor replaced
  Remove("held.ini");

  ORVFile::MemoryBuffer invalid("[a]\n[A]", 7);
  try {
    ConfigFile store(invalid, ORV::CHARSET_UTF8);
    ADD_FAILURE() << "loaded";
  } catch (const Config::InvalidConfigException& e) {
    EXPECT_EQ(e.What(), L"The configuration source is invalid.");
    EXPECT_EQ(e.Info()->Number(), ORVFile::MSG_INVALID_CONFIG_SOURCE);
    EXPECT_EQ(e.TypeName(), L"InvalidConfigException");
  }
}

TEST_F(ConfigFileTest, BufferSourcesInTheirCharacterSets) {
  const std::wstring utf16 = L"xx[s]\nk=\x4E2D\r\n";
  const struct {
    std::string bytes;
    unsigned charset;
    std::int32_t readFrom;
    std::wstring loaded;
  } rows[] = {
      {"[s]\nk=caf\xC3\xA9", ORV::CHARSET_UTF8, 0, L"[s]k=caf\x00E9|"},
      {"[s]\nk=\x80", 1252, 0, L"[s]k=\x20AC|"},
      // The 16-bit form is read from the read position, the others from the start.
      {std::string(reinterpret_cast<const char*>(utf16.data()), utf16.size() * 2), ORV::CHARSET_UTF16, 4,
       L"[s]k=\x4E2D|"},
      {"[s]\nk=1", ORV::CHARSET_UTF8, 3, L"[s]k=1|"},
  };
  for (const auto& row : rows) {
    ORVFile::MemoryBuffer source(row.bytes.data(), static_cast<std::uint32_t>(row.bytes.size()));
    source.SeekG(row.readFrom, ORV::BinaryStreamBuf::Begin);
    EXPECT_EQ(Dump(ConfigFile(source, static_cast<ORV::CHARSET>(row.charset))), row.loaded);
  }
}

TEST_F(ConfigFileTest, SaveKeepsTheLayout) {
  const struct {
    std::string before;
    std::function<void(ConfigFile&)> edit;
    std::string after;
  } rows[] = {
      {"\n; head\n\n\n[a]\n  x   = 1\n; in a\n  \n[b]\ny=2\n\n", [](ConfigFile&) {},
       "; head\r\n\r\n[a]\r\n  x   = 1\r\n; in a\r\n  \r\n\r\n[b]\r\ny= 2\r\n"},
      {"[a]\nk = 1\nz = 0\nK = 2", [](ConfigFile& c) { c.SetValue(L"A", L"K", L"x\r\n\ny"); },
       "[a]\r\nk = x\r\nk = y\r\nz = 0\r\n"},
      {"[a]\nk=1\nj=2\n; about b\n[b]\n; in b\nm=3",
       [](ConfigFile& c) {
         c.RemoveKey(L"a", L"j");
         c.RemoveSection(L"b");
       },
       "[a]\r\nk= 1\r\n; about b\r\n; in b\r\n"},
      {"[a]\nk=1\n; tail of a\n[b]\nj=2",
       [](ConfigFile& c) {
         c.SetValue(L"a", L"z", L"\x4E2D");
         c.SetValue(L"a", L"n", L"p\nq");
         c.SetValue(L"m", L"e", L"\n");
         c.SetValue(L"a", L"k", L"");
       },
       "[a]\r\nk = \r\n; tail of a\r\nn = p\r\nn = q\r\nz = ?\r\n\r\n[b]\r\nj= 2\r\n\r\n[m]\r\ne = \r\n\r\n"},
  };
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    Put("s.ini", rows[i].before);
    ConfigFile store(P("s.ini"));
    rows[i].edit(store);
    store.Save(P("s.ini"), false);
    EXPECT_EQ(Got("s.ini"), rows[i].after) << "row " << i;
    Remove("s.ini");
  }
}

TEST_F(ConfigFileTest, DefaultsAndMerge) {
  Config* defaults = new Config;
  defaults->SetValue(L"net", L"port", L"80");
  defaults->SetValue(L"ui", L"theme", L"dark");
  const ORV::SmartPtrToConst<Config> shared(defaults);
  Put("d.ini", "[net]\nport = 8080\nhost=h\n");
  ConfigFile store(P("d.ini"), shared);
  EXPECT_EQ(Dump(store), L"[net]host=h|port=8080|[ui]theme*=dark|");
  // The default shows again; a section of defaults alone is not written.
  store.RemoveKey(L"net", L"port");
  store.Save(P("d.ini"), false);
  EXPECT_EQ(Got("d.ini"), "[net]\r\nhost= h\r\n");
  EXPECT_EQ(Dump(ConfigFile(P("d.ini"), shared)), Dump(store));

  store.SetValue(L"net", L"host", L"9");
  Put("d.ini", "[net]\nhost=h\nother=2\n[b]\nx=3\n");  // another writer meanwhile
  store.Save(P("d.ini"), true);
  EXPECT_EQ(Got("d.ini"), "[net]\r\nhost= 9\r\nother= 2\r\n\r\n[b]\r\nx= 3\r\n");
  Put("d.ini", "[a]\n[a]\n");
  EXPECT_EQ(Catch([&] { store.Save(P("d.ini"), true); }).type, "InvalidConfigException");
  EXPECT_EQ(Got("d.ini"), "[a]\n[a]\n");
  Remove("d.ini");
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
    EXPECT_EQ(full.lastError, static_cast<unsigned>(ERROR_DISK_FULL));
  }
  EXPECT_EQ(Catch([&] { store.Save(m_dir, false); }).lastError, static_cast<unsigned>(ERROR_ACCESS_DENIED));
  // What the grammar could not read back is refused before the file is touched.
  ConfigFile unreadable(store);
  unreadable.SetValue(L"a", L"my key", L"1");
  EXPECT_EQ(Catch([&] { unreadable.Save(P("keep.ini"), false); }).type, "InvalidConfigException");
  EXPECT_EQ(Got("keep.ini"), original);
  EXPECT_TRUE(store.IsModified());

  // Windows refuses to move a file over a read-only one; Wine 8 replaces it.
  ASSERT_TRUE(::SetFileAttributesA(P("keep.ini").c_str(), FILE_ATTRIBUTE_READONLY));
  const auto readOnly = Catch([&] { store.Save(P("keep.ini"), false); });
  if (!orvtest::UnderWine()) {
    EXPECT_EQ(readOnly.lastError, static_cast<unsigned>(ERROR_ACCESS_DENIED));
    EXPECT_EQ(Got("keep.ini"), original);
  }
  Remove("keep.ini");
}

// --- Generated sources against a plain parser of the format's rules.

// What a loader must give, or false for a source the format refuses.
bool Parse(const std::wstring& source, Config::Map& model) {
  const auto trim = [](std::wstring text) {
    text.erase(0, text.find_first_not_of(L" \t"));
    return text.erase(text.find_last_not_of(L" \t") + 1);
  };
  Config::Keys* current = nullptr;
  std::wstring line;
  for (std::size_t i = 0; i <= source.size(); ++i) {
    if (i < source.size() && source[i] != L'\n' && source[i] != L'\r') {
      line += source[i];
      continue;
    }
    const std::wstring body = trim(line);
    line.clear();
    if (body.empty() || body[0] == L';') continue;
    if (body[0] == L'[' && body.back() == L']' && body.size() > 2) {
      const auto inserted = model.emplace(body.substr(1, body.size() - 2), Config::Keys());
      if (!inserted.second) return false;
      current = &inserted.first->second;
      continue;
    }
    const std::size_t keyEnd =
        body.find_first_not_of(L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_.");
    const std::size_t equals = body.find_first_not_of(L" \t", keyEnd);
    if (!current || keyEnd == 0 || keyEnd == std::wstring::npos || body[equals] != L'=') return false;
    const std::wstring value = trim(body.substr(equals + 1));
    const auto inserted = current->emplace(body.substr(0, keyEnd), Config::Value(value, false));
    if (!inserted.second) inserted.first->second.first += L"\n" + value;
  }
  return true;
}

// What saving keeps of a value: its lines without the empty ones.
Config::Map WithoutEmptyLines(Config::Map model) {
  for (auto& section : model)
    for (auto& key : section.second) {
      std::wstring& value = key.second.first;
      for (std::size_t at; (at = value.find(L"\n\n")) != std::wstring::npos;) value.erase(at, 1);
      if (!value.empty() && value.front() == L'\n') value.erase(0, 1);
      if (!value.empty() && value.back() == L'\n') value.pop_back();
    }
  return model;
}

// Valid and invalid lines mixed, every line end, long values, tabs, brackets
// inside names, bytes above 0x7F; about one source in twenty is valid.
std::string Generate(std::mt19937& random) {
  const auto pick = [&](int low, int high) { return std::uniform_int_distribution<int>(low, high)(random); };
  const auto from = [&](std::initializer_list<const char*> pool) {
    return pool.begin()[pick(0, int(pool.size()) - 1)];
  };
  const auto blanks = [&] { return std::string(pick(0, 2), pick(0, 2) ? ' ' : '\t'); };
  const auto word = [&](int longest) {
    static const char kUnits[] = "aZ09_.;=[]#-\xA0\xE9\x80\xFF\x0B\x01";
    std::string text;
    for (int n = pick(1, longest); n > 0; --n) text += kUnits[pick(0, sizeof kUnits - 2)];
    return text;
  };
  const auto value = [&] {
    std::string text = pick(0, 40) ? "" : std::string(pick(300, 3000), 'v');
    for (int n = pick(0, 3); n > 0; --n) text += (text.empty() ? "" : blanks() + " ") + word(5);
    return text;
  };
  const auto section = [&] {
    return blanks() + "[" +
           (pick(0, 2) ? from({"s", "S", "net", "a b", " x ", "[in]", "x]y", "\xE9", "\xC9"}) : word(4)) + "]" +
           blanks();
  };
  std::string source;
  for (int i = 0, lines = pick(4, 22); i < lines; ++i) {
    const int kind = i == 0 && pick(0, 7) ? 0 : pick(0, 11);
    if (kind < 2) source += section();
    if (kind == 2) source += blanks() + ";" + value();
    if (kind == 3) source += blanks();
    if (kind >= 4 && kind <= 6) source += from({"#x", "[x", "= v", "\xA0k=1", "[]", "[s] x", "words", "[a]]b"});
    if (kind > 6)
      source += blanks() + from({"a", "A", "b", "key", "KEY", "x.y", "_1", "Z9", "my-key", "k y"}) + blanks() + "=" +
                blanks() + value() + blanks();
    if (i + 1 < lines || pick(0, 2)) source += from({"\n", "\r", "\r\n", "\n\n", "\r\n\r\n"});
  }
  return source;
}

TEST_F(ConfigFileTest, GeneratedSourcesLoadAsTheFormatSaysAndSurviveSaving) {
  std::mt19937 random(7);
  int valid = 0;
  for (int i = 0; i < 50000; ++i) {
    const std::string source = Generate(random);
    Config::Map model;
    const bool parsed = Parse(Widen(source), model);
    ORVFile::MemoryBuffer buffer(source.data(), static_cast<std::uint32_t>(source.size()));
    std::wstring loaded;
    const auto raised = Catch([&] { loaded = Dump(ConfigFile(buffer, ORV::CHARSET_ISO_8859_1)); });
    ASSERT_EQ(raised.type, parsed ? "" : "InvalidConfigException") << i << ": " << ::testing::PrintToString(source);
    if (!parsed) continue;
    ++valid;
    ASSERT_EQ(loaded, Dump(model)) << i << ": " << ::testing::PrintToString(source);

    Put("src.ini", source);
    ConfigFile store(P("src.ini"));
    store.Save(P("new.ini"), false);
    ASSERT_EQ(Dump(ConfigFile(P("new.ini"))), Dump(WithoutEmptyLines(model))) << i;
    store.Save(P("src.ini"), false);
    const std::string once = Got("src.ini");
    store.Save(P("src.ini"), false);
    ASSERT_EQ(Got("src.ini"), once) << i;
    Remove("new.ini");
    Remove("src.ini");
  }
  EXPECT_GT(valid, 1500) << "too few valid sources to test saving";
}

}  // namespace
