#include <gtest/gtest.h>

#include <random>
#include <string>

#include "ORVConfigFile.h"
#include "ORVConfigSeam.h"
#include "ORVFileTestSupport.h"
#include "ORVMemoryBuffer.h"

namespace {

using ORV::Config;
using ORVFile::ConfigFile;
using ORVFile::detail::ConfigLine;
using ORVFile::detail::ReadConfigLineForTesting;
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

using ConfigFileTest = orvtest::TempDirTest;

// Lines of any length (Boost's backtracking gave up on some 55,000 words),
// whose ends fall around the ends of the 64 KiB blocks a file is read in;
// saved, they fill more than one piece of the writing buffer.
TEST_F(ConfigFileTest, LinesOfAnyLengthWhereverTheBlocksEnd) {
  std::string words = "w";
  for (int i = 0; i < 70000; ++i) words += " w";
  for (int cut = -2; cut <= 2; ++cut) {
    const std::string value(65536 - 10 + cut, 'v');
    Put("long.ini", "[s]\n k = " + value + "\r\nj=1\n[" + words + "]\n; " + words + "\nw = " + words + " \t");
    ConfigFile store(P("long.ini"));
    EXPECT_EQ(Dump(store), L"[s]j=1|k=" + Widen(value) + L"|[" + Widen(words) + L"]w=" + Widen(words) + L"|");
    store.Save(P("long.ini"), false);
    EXPECT_EQ(Dump(ConfigFile(P("long.ini"))), Dump(store));
  }
  Remove("long.ini");
}

// A failure names the path, and records why: missing directory, a directory,
// a file held by another process (left as it was, neither truncated nor replaced).
TEST_F(ConfigFileTest, SourcesThatCannotBeReadOrHoldTheSameSectionTwice) {
  EXPECT_EQ(Dump(ConfigFile(P("new.ini"))), L"");  // a missing file is created empty
  EXPECT_EQ(Got("new.ini"), "");
  Remove("new.ini");
  Put("held.ini", "[a]\nk=1");
  const auto cannotOpen = [&](const std::string& name) { return Raises([&] { ConfigFile store(P(name)); }, name); };
  std::string raised = cannotOpen("no\\dir.ini") + "|" + cannotOpen("");
  orvtest::SeamGuard guard;
  orvtest::g_fakeError = ERROR_SHARING_VIOLATION;
  guard.Calls().CreateFileA = orvtest::Failing<decltype(guard.Calls().CreateFileA)>::Call;
  raised += "|" + cannotOpen("held.ini") + "|" + Got("held.ini");
  EXPECT_EQ(raised,
            "CannotOpenSourceException 0 3 named|CannotOpenSourceException 0 5 named|"
            "CannotOpenSourceException 0 32 named|[a]\nk=1");
  Remove("held.ini");
  // A buffer in UTF-8 is read from its start, whatever its read position.
  ORVFile::MemoryBuffer twice("[\xC3\xA9]\n[\xC3\x89]", 13);
  twice.SeekG(4, ORV::BinaryStreamBuf::Begin);
  const auto invalid = Catch([&] { ConfigFile store(twice, ORV::CHARSET_UTF8); });
  EXPECT_EQ(invalid.what + std::to_wstring(invalid.number), L"The configuration source is invalid.14");
}

// One file edited every way, saved through a symbolic link to it where one
// can be made: its layout, its defaults, its attributes; then the failures.
TEST_F(ConfigFileTest, SaveKeepsTheLayoutTheLinkAndTheAttributesOrLeavesTheFileAsItWas) {
  Config* defaults = new Config;
  defaults->SetValue(L"a", L"port", L"80");
  defaults->SetValue(L"ui", L"theme", L"dark");
  Put("real.ini",
      "\n; head\n\n\n[a]\n  k   = 1\nj=2\nK = 2\nport = 8080\n; about b\n  \n[b]\n; in b\nm=3\n[c]\nx=1\n; c\n");
  ConfigFile store(P("real.ini"), ORV::SmartPtrToConst<Config>(defaults));
  EXPECT_EQ(Dump(store), L"[a]j=2|k=1\n2|port=8080|[b]m=3|[c]x=1|[ui]theme*=dark|");
  EXPECT_EQ(store.GetValue(L"UI", L"THEME") + store.GetValue(L"x", L"y", L"?"), L"dark?");
  store.SetValue(L"A", L"K", L"x\r\n\ny");
  store.RemoveKey(L"a", L"j");
  store.RemoveKey(L"a", L"port");  // the default shows again, and is not written
  store.RemoveSection(L"b");       // its key lines go, its comments stay
  store.SetValue(L"c", L"z", L"\x4E2D");
  store.SetValue(L"c", L"n", L"p\nq");
  store.SetValue(L"m", L"e", L"\n");
  store.SetValue(L"c", L"x", L"");
  // Hidden may not stick: Wine keeps it in an extended attribute of the host file.
  ASSERT_TRUE(::SetFileAttributesA(P("real.ini").c_str(), FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM));
  const DWORD attributes = ::GetFileAttributesA(P("real.ini").c_str());
  // Windows makes links only with developer mode or elevation; Wine 8
  // answers TRUE and makes nothing, so there the save goes to the file itself.
  const bool linked = ::CreateSymbolicLinkA(P("link.ini").c_str(), P("real.ini").c_str(), 0) &&
                      ::GetFileAttributesA(P("link.ini").c_str()) != INVALID_FILE_ATTRIBUTES;
  store.Save(P(linked ? "link.ini" : "real.ini"), false);
  const std::string saved =
      "; head\r\n\r\n[a]\r\n  k   = x\r\n  k   = y\r\n; about b\r\n  \r\n; in b\r\n\r\n[c]\r\nx = \r\n; c\r\nn = "
      "p\r\nn = q\r\nz = ?\r\n\r\n[m]\r\ne = \r\n\r\n";
  EXPECT_EQ(Got("real.ini"), saved);
  EXPECT_EQ(::GetFileAttributesA(P("real.ini").c_str()), attributes);
  if (linked) {
    EXPECT_TRUE(::GetFileAttributesA(P("link.ini").c_str()) & FILE_ATTRIBUTE_REPARSE_POINT);
    Remove("link.ini");
  }
  EXPECT_FALSE(store.IsModified());

  store.SetValue(L"c", L"x", L"9");
  {
    orvtest::SeamGuard guard;
    orvtest::g_fakeError = ERROR_DISK_FULL;
    guard.Calls().WriteFile = orvtest::Failing<decltype(guard.Calls().WriteFile)>::Call;
    EXPECT_EQ(Catch([&] { store.Save(P("real.ini"), false); }).lastError, static_cast<unsigned>(ERROR_DISK_FULL));
  }
  ConfigFile unreadable(store);  // what the grammar could not read back is refused first
  unreadable.SetValue(L"a", L"my key", L"1");
  EXPECT_EQ(Catch([&] { unreadable.Save(P("real.ini"), false); }).type, "InvalidConfigException");
  ASSERT_TRUE(::SetFileAttributesA(P("real.ini").c_str(), FILE_ATTRIBUTE_READONLY));
  EXPECT_EQ(Catch([&] { store.Save(P("real.ini"), false); }).lastError, static_cast<unsigned>(ERROR_ACCESS_DENIED));
  EXPECT_EQ(Got("real.ini"), saved);
  EXPECT_TRUE(store.IsModified());

  Put("other.ini", "#x\n[c]\n");  // a line the grammar refuses does not stop a save: it goes
  store.Save(P("other.ini"), false);
  EXPECT_EQ(Got("other.ini").substr(0, 5), "[c]\r\n");
  Put("other.ini", "[c]\nx=h\nw=2\n[d]\ny=3\n");  // another writer's: merged, its keys kept
  store.Save(P("other.ini"), true);
  EXPECT_EQ(Got("other.ini"),
            "[c]\r\nx= 9\r\nw= 2\r\nn = p\r\nn = q\r\nz = ?\r\n\r\n[d]\r\ny= 3\r\n\r\n[a]\r\nk = x\r\nk = "
            "y\r\n\r\n[m]\r\ne = \r\n\r\n");
  Remove("other.ini");
  Remove("real.ini");
}

// --- Generated sources against a model: the format's rules over the three
// expressions' reading of each line.

// What a loader must give, or false for a source the format refuses; saved:
// what saving keeps of it, the empty lines of values dropped.
bool Parse(const std::wstring& source, Config::Map& model, bool saved) {
  Config::Keys* current = nullptr;
  for (std::size_t start = 0, end; start < source.size(); start = end + 1) {
    end = std::min(source.find_first_of(L"\r\n", start), source.size());
    const ConfigLine line = ReadConfigLineForTesting(source.substr(start, end - start));
    if (line.kind == ConfigLine::Kind::Section && !model.emplace(line.name, Config::Keys()).second) return false;
    if (line.kind == ConfigLine::Kind::Section) current = &model.find(line.name)->second;
    if (line.kind == ConfigLine::Kind::Invalid || (line.kind == ConfigLine::Kind::Key && !current)) return false;
    if (line.kind != ConfigLine::Kind::Key) continue;
    Config::String& value = current->emplace(line.name, Config::Value(L"\r", false)).first->second.first;  // new: "\r"
    value = value == L"\r"                ? Config::String(line.value)
            : saved && line.value.empty() ? value
                                          : value + L"\n" + Config::String(line.value);
    if (saved && !value.empty() && value.front() == L'\n') value.erase(0, 1);
  }
  return true;
}

// Lines of every kind, mostly of valid shapes around random units, so that
// whole sources of them are often valid too; the units: those that each
// expression treats apart, and some that no rule names (NUL, blanks of other
// scripts, line separators other than "\n" and "\r"). Every line end.
std::wstring RandomSource(std::mt19937& random) {
  const std::wstring_view units(L" \t[];=aZ09_.-#\0\f\v\x00A0\x3000\x2028\x0085\x00E9\x0080\x00FF", 23);
  const wchar_t* ends[] = {L"\n", L"\r", L"\r\n", L"\n\n"};
  const wchar_t* shapes[] = {L"k = ", L" K\t=", L" x.y=", L"\t; ", L"[", L"", L"k", L"[s] ", L" [S]", L"  "};
  std::wstring source = random() % 8 ? L"[s]" : L"";
  for (int n = random() % 8; n > 0; --n) {
    const std::size_t shape = random() % std::size(shapes);
    source += ends[random() % std::size(ends)] + std::wstring(shapes[shape]);
    for (int tail = shape > 6 ? 0 : random() % 10; tail > 0; --tail) source += units[random() % units.size()];
    if (shape == 4) source += L"]";
  }
  return source;
}

TEST_F(ConfigFileTest, GeneratedSourcesLoadAsTheModelSaysAndSurviveSaving) {
  std::mt19937 random(7);
  const int count = 10000 * orvtest::TestScale();
  int valid = 0;
  for (int i = 0; i < count; ++i) {
    const std::wstring units = RandomSource(random);
    const std::string source = ORV::ConvertFromWide(units, ORV::CHARSET_ISO_8859_1);
    Config::Map model, savedModel;
    const bool parsed = Parse(units, model, false) && Parse(units, savedModel, true);
    // A buffer of 16-bit units is read from its read position on.
    const std::wstring text = L"\n[" + units;
    ORVFile::MemoryBuffer buffer(reinterpret_cast<const char*>(text.data()),
                                 static_cast<std::uint32_t>(text.size() * 2));
    buffer.SeekG(4, ORV::BinaryStreamBuf::Begin);
    std::wstring loaded;
    const auto raised = Catch([&] { loaded = Dump(ConfigFile(buffer, ORV::CHARSET_UTF16)); });
    ASSERT_EQ(raised.type, parsed ? "" : "InvalidConfigException") << i << ": " << ::testing::PrintToString(source);
    if (!parsed) continue;
    ASSERT_EQ(loaded, Dump(model)) << i << ": " << ::testing::PrintToString(source);
    // Saving costs files written and moved: one in 32 of the sources a file can hold.
    if (++valid % 32 != 0 || units.find_first_of(L"\x3000\x2028") != std::wstring::npos) continue;

    Put("src.ini", source);
    ConfigFile store(P("src.ini"));
    ASSERT_EQ(Dump(store), Dump(model)) << i;
    store.Save(P("src.ini"), false);  // over its own layout
    ASSERT_EQ(Dump(ConfigFile(P("src.ini"))), Dump(savedModel)) << i;
    Remove("src.ini");
  }
  EXPECT_GT(valid, count / 10) << "too few valid sources";
}

}  // namespace
