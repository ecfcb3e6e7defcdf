// Path and WPath through one typed suite: the text rules as tables, then the
// cache and every file operation in a fresh directory under the temporary
// directory, which TearDown removes without recursion (a stray file or an
// open handle fails the test).
#include "win32.h"

#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "ORVFileException.h"
#include "ORVHandle.h"
#include "ORVPath.h"
#include "ORVUnderWine.h"
#include "ORVWPath.h"

namespace {

using ORVFile::BasePath;

using orvtest::UnderWine;

DWORD Attributes(const std::wstring& path) { return ::GetFileAttributesW(path.c_str()); }
bool Exists(const std::wstring& path) { return Attributes(path) != INVALID_FILE_ATTRIBUTES; }

// Opened without FILE_SHARE_DELETE, so that removing the file fails with 32.
ORV::Handle Hold(const std::wstring& path) {
  return ORV::Handle(::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                   OPEN_EXISTING, 0, nullptr));
}

template <class P>
class PathTest : public ::testing::Test {
 protected:
  using Char = typename P::String::value_type;
  using String = typename P::String;

  // The rows are ASCII; the temporary directory is too.
  static String T(const std::string& text) { return String(text.begin(), text.end()); }
  static std::wstring Wide(const String& text) { return std::wstring(text.begin(), text.end()); }
  static const char* SourceFile() { return sizeof(Char) == 1 ? "ORVPath.cpp" : "ORVWPath.cpp"; }

  void SetUp() override {
    wchar_t temp[MAX_PATH + 1];
    const DWORD length = ::GetTempPathW(MAX_PATH + 1, temp);
    static unsigned serial = 0;
    m_dir = std::wstring(temp, length) + L"orvpath-" + std::to_wstring(::GetCurrentProcessId()) + L"-" +
            std::to_wstring(::GetTickCount64()) + L"-" + std::to_wstring(++serial);
    ASSERT_TRUE(::CreateDirectoryW(m_dir.c_str(), nullptr)) << ::GetLastError();
  }
  void TearDown() override {
    EXPECT_TRUE(::RemoveDirectoryW(m_dir.c_str())) << "left behind or held open, error " << ::GetLastError();
  }

  std::wstring W(const std::string& name) const { return m_dir + L"\\" + std::wstring(name.begin(), name.end()); }
  String N(const std::string& name) const { return String(m_dir.begin(), m_dir.end()) + T("\\" + name); }
  // Names ending in "\" are directories, the others files holding "x".
  void Make(std::initializer_list<std::string> names) const {
    for (const std::string& name : names) {
      if (name.back() == '\\') {
        ASSERT_TRUE(::CreateDirectoryW(W(name).c_str(), nullptr)) << name;
        continue;
      }
      const ORV::Handle file(::CreateFileW(W(name).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr));
      DWORD written = 0;
      ASSERT_TRUE(::WriteFile(file.Get(), "x", 1, &written, nullptr)) << name;
    }
  }
  // Deepest first, as listed.
  void Remove(std::initializer_list<std::string> names) const {
    for (const std::string& name : names) {
      ::SetFileAttributesW(W(name).c_str(), FILE_ATTRIBUTE_NORMAL);
      EXPECT_TRUE(name.back() == '\\' ? ::RemoveDirectoryW(W(name).c_str()) : ::DeleteFileW(W(name).c_str())) << name;
    }
  }

  // f must throw E with catalogue message id, the Win32 error and the path
  // as first argument, naming this class's source file.
  template <class E>
  void ExpectThrows(const std::function<void()>& f, unsigned id, unsigned error, const String& path) const {
    try {
      f();
      ADD_FAILURE() << "nothing thrown, " << E::ClassName() << " expected";
    } catch (const E& e) {
      ASSERT_TRUE(e.Info());
      EXPECT_EQ(e.Info()->Number(), id);
      EXPECT_EQ(e.Info()->LastError(), error) << e.What();
      EXPECT_STREQ(e.Info()->SourceFile(), SourceFile());
      EXPECT_EQ(e.Info()->Arguments().at(0), Wide(path));
    }
  }

  std::wstring m_dir;
};

using Classes = ::testing::Types<ORVFile::Path, ORVFile::WPath>;
TYPED_TEST_SUITE(PathTest, Classes);

TYPED_TEST(PathTest, NormalisesAndClassifies) {
  struct Row {
    std::string input, text;
    bool unc, drive, absolute;
  };
  const Row rows[] = {{"C:/dir//", "C:\\dir", false, true, true}, {"c:\\", "c:", false, true, true},
                      {"C:x", "C:x", false, true, true},          {"//srv/share/", "\\\\srv\\share", true, false, true},
                      {"\\dir\\", "\\dir", false, false, true},   {"\\", "", false, false, false},
                      {"ab:c", "ab:c", false, false, false}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.input);
    const TypeParam p(this->T(row.input));
    EXPECT_EQ(p.FullPath(), this->T(row.text));
    EXPECT_EQ(p.HasUNC(), row.unc);
    EXPECT_EQ(p.HasDrive(), row.drive);
    EXPECT_EQ(p.IsAbsolute(), row.absolute);
  }
  // Own separators apply at the next change of the text; a copy starts with the defaults.
  TypeParam slashed;
  slashed.PathSeparator('/');
  slashed = this->T("a\\b/");
  EXPECT_EQ(slashed.FullPath(), this->T("a/b"));
  EXPECT_EQ(TypeParam(slashed).FullPath(), this->T("a\\b"));
  // The other width goes through the ANSI code page.
  EXPECT_EQ(ORVFile::Path(std::wstring(L"C:/x")).FullPath(), "C:\\x");
  EXPECT_EQ(ORVFile::WPath(std::string("C:/x")).FullPath(), L"C:\\x");
  if (::GetACP() == 1252) {
    EXPECT_EQ(ORVFile::Path(L"caf\x00E9\x4E2D").FullPath(), "caf\xE9?");
    EXPECT_EQ(ORVFile::WPath("caf\xE9").FullPath(), L"caf\x00E9");
  }
}

TYPED_TEST(PathTest, SplitsAndChangesExtensions) {
  struct Split {
    std::string text, name, extension, directory;
  };
  const Split splits[] = {{"C:\\a\\b.txt", "b.txt", ".txt", "C:\\a\\"},
                          {"C:b.tar.gz", "b.tar.gz", ".gz", "C:"},
                          {"C:\\a.d\\.cfg", ".cfg", ".cfg", "C:\\a.d\\"},
                          {"\\\\srv\\sh\\n.", "n.", ".", "\\\\srv\\sh\\"},
                          {"", "", "", ""}};
  for (const Split& row : splits) {
    SCOPED_TRACE(row.text);
    const TypeParam p(this->T(row.text));
    EXPECT_EQ(p.FileName(), this->T(row.name));
    EXPECT_EQ(p.FileExtension(), this->T(row.extension));
    EXPECT_EQ(p.Directory(), this->T(row.directory));
  }
  struct Change {
    std::string text, extension;
    BasePath::ChangeExtensionMode mode;
    std::string expected;
  };
  const Change changes[] = {{"a\\b.txt", "log", BasePath::BP_REPLACE_EXTENSION, "a\\b.log"},
                            {"a\\b", ".log", BasePath::BP_REPLACE_EXTENSION, "a\\b.log"},
                            {"a\\b.txt", "", BasePath::BP_REPLACE_EXTENSION, "a\\b"},
                            {"a.d\\b", "", BasePath::BP_REPLACE_EXTENSION, "a.d\\b"},
                            {"a\\b.txt", "log", BasePath::BP_APPEND_EXTENSION, "a\\b.txt.log"},
                            {"a\\b.txt", "", BasePath::BP_APPEND_EXTENSION, "a\\b.txt"},
                            {"a\\b", "log", BasePath::BP_ADD_MISSING_EXTENSION, "a\\b.log"},
                            {"a\\b.txt", "log", BasePath::BP_ADD_MISSING_EXTENSION, "a\\b.txt"}};
  for (const Change& row : changes) {
    SCOPED_TRACE(row.text + " " + row.extension + " " + std::to_string(row.mode));
    TypeParam p(this->T(row.text));
    p.Extension(this->T(row.extension), row.mode);
    EXPECT_EQ(p.FullPath(), this->T(row.expected));
  }
}

TYPED_TEST(PathTest, DotDirectoriesComparisonsAndStreams) {
  const std::pair<std::string, bool> dots[] = {{".", true},    {"..", true},    {"..\\", true},
                                               {"C:..", true}, {"x\\..", true}, {"x/./", true},
                                               {"...", false}, {"x.", false},   {"", false}};
  for (const auto& [text, expected] : dots) EXPECT_EQ(TypeParam::IsDotDirectory(this->T(text)), expected) << text;

  const TypeParam a(this->T("a")), ab(this->T("ab")), upperB(this->T("B")), a2(this->T("a"));
  EXPECT_TRUE(a < ab && !(ab < a) && a < this->T("b"));
  EXPECT_TRUE(upperB < a);  // by byte, not by letter
  EXPECT_TRUE(a == a2 && a == this->T("a") && a != ab);
  TypeParam mixed(this->T("C:\\Dir\\\xC9X"));  // beyond ASCII nothing folds
  mixed.ToLowerCase();
  EXPECT_EQ(mixed.FullPath(), this->T("c:\\dir\\\xC9x"));

  std::basic_ostringstream<typename TestFixture::Char> out;
  out << TypeParam(this->T("C:/x/"));
  EXPECT_EQ(out.str(), this->T("C:\\x"));
  std::basic_istringstream<typename TestFixture::Char> in(this->T("  d:/y/ rest"));
  TypeParam read;
  in >> read;
  EXPECT_EQ(read.FullPath(), this->T("d:\\y"));
}

// ClearStat is protected: a caller that wants fresh answers derives.
template <class P>
struct Fresh : P {
  using BasePath::ClearStat;
  using P::P;
};

TYPED_TEST(PathTest, AttributeCache) {
  const Fresh<TypeParam> file(this->N("f"));
  EXPECT_FALSE(file.IsFile());
  this->Make({"f"});
  EXPECT_TRUE(file.IsFile());  // a missing path is asked again
  this->Remove({"f"});
  EXPECT_TRUE(file.IsValid());  // an existing one is believed until ClearStat
  file.ClearStat();
  EXPECT_FALSE(file.IsValid());

  this->Make({"d\\", "ro"});
  ASSERT_TRUE(::SetFileAttributesW(this->W("ro").c_str(), FILE_ATTRIBUTE_READONLY));
  const TypeParam dir(this->N("d")), readOnly(this->N("ro"));
  EXPECT_TRUE(dir.IsDirectory() && !dir.IsFile() && dir.IsWritable());
  EXPECT_TRUE(readOnly.IsReadable() && !readOnly.IsWritable() && !readOnly.IsHidden());
  readOnly.SetAttribute(BasePath::BP_READONLY, false);
  EXPECT_TRUE(readOnly.IsWritable());
  readOnly.SetAttribute(BasePath::BP_HIDDEN, true);
  if (!UnderWine()) {
    EXPECT_TRUE(readOnly.IsHidden());  // Wine keeps it in a host extended attribute, which not every file system takes
  }
  this->template ExpectThrows<ORVFile::FileCannotSetAttributes>(
      [&] { TypeParam(this->N("none")).SetAttribute(BasePath::BP_ARCHIVE, true); }, 12, ERROR_FILE_NOT_FOUND,
      this->N("none"));
  this->Remove({"ro", "d\\"});
}

TYPED_TEST(PathTest, ListsSortedWithoutDotEntries) {
  this->Make({"b.txt", "A.TXT", "_x", "c\\", "c\\inner"});
  std::vector<TypeParam> list(3);
  TypeParam(this->N("")).GetFileList(list);
  std::vector<typename TestFixture::String> names;
  for (const TypeParam& entry : list) names.push_back(entry.FileName());
  // NTFS order: "_" (0x5F) after the letters folded to upper case.
  EXPECT_EQ(names, (std::vector<typename TestFixture::String>{this->T("A.TXT"), this->T("b.txt"), this->T("c"),
                                                              this->T("_x")}));
  EXPECT_EQ(list.at(0).FullPath(), this->N("A.TXT"));
  this->Remove({"b.txt"});
  EXPECT_TRUE(list.at(1).IsFile() && list.at(2).IsDirectory());  // from the listing, not asked again

  TypeParam(this->N("")).GetFileList(this->T("*.txt"), list);
  EXPECT_EQ(list.size(), 1u);
  // A missing directory, a file, a pattern that matches nothing.
  for (const auto& [path, pattern] : {std::pair{"missing", "*"}, {"_x", "*"}, {"c", "*.none"}}) {
    TypeParam(this->N(path)).GetFileList(this->T(pattern), list);
    EXPECT_TRUE(list.empty()) << path;
  }
  this->Remove({"A.TXT", "_x", "c\\inner", "c\\"});
}

TYPED_TEST(PathTest, CreatesEveryLevel) {
  TypeParam(this->N("a/b/c/")).Create();
  EXPECT_EQ(Attributes(this->W("a\\b\\c")) & FILE_ATTRIBUTE_DIRECTORY, FILE_ATTRIBUTE_DIRECTORY);
  TypeParam(this->N("a\\b")).Create();  // there already
  this->Make({"a\\f"});
  this->template ExpectThrows<ORVFile::FileCannotCreateException>([&] { TypeParam(this->N("a\\f\\g\\h")).Create(); }, 4,
                                                                  ERROR_ALREADY_EXISTS, this->N("a\\f"));
  this->Remove({"a\\f", "a\\b\\c\\", "a\\b\\", "a\\"});
}

TYPED_TEST(PathTest, DeleteFailsAndLeavesTheFileSystemAsItWas) {
  this->Make({"ro", "open", "dir\\", "dir\\x"});
  ASSERT_TRUE(::SetFileAttributesW(this->W("ro").c_str(), FILE_ATTRIBUTE_READONLY));
  ORV::Handle held = Hold(this->W("open"));
  struct Row {
    std::string name;
    bool force;
    unsigned error;
  };
  const Row rows[] = {{"missing", true, ERROR_FILE_NOT_FOUND},
                      {"ro", false, ERROR_ACCESS_DENIED},
                      {"open", true, ERROR_SHARING_VIOLATION},
                      {"dir", true, ERROR_DIR_NOT_EMPTY}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const DWORD before = Attributes(this->W(row.name));
    this->template ExpectThrows<ORVFile::FileCannotDeleteException>(
        [&] { TypeParam(this->N(row.name)).Delete(row.force); }, 5, row.error, this->N(row.name));
    EXPECT_EQ(Attributes(this->W(row.name)), before);
  }
  // Forced, a read-only file held open still cannot go, and stays read-only.
  ASSERT_TRUE(::SetFileAttributesW(this->W("open").c_str(), FILE_ATTRIBUTE_READONLY));
  const DWORD readOnly = Attributes(this->W("open"));
  this->template ExpectThrows<ORVFile::FileCannotDeleteException>([&] { TypeParam(this->N("open")).Delete(true); }, 5,
                                                                  ERROR_SHARING_VIOLATION, this->N("open"));
  EXPECT_EQ(Attributes(this->W("open")), readOnly);
  held.Reset();

  TypeParam(this->N("ro")).Delete(true);
  TypeParam(this->N("dir\\x")).Delete(false);
  TypeParam(this->N("dir")).Delete(false);
  EXPECT_FALSE(Exists(this->W("ro")) || Exists(this->W("dir")));
  this->Remove({"open"});
}

TYPED_TEST(PathTest, RecursiveDeleteStopsAtWhatCannotGo) {
  this->Make({"t\\", "t\\s\\", "t\\s\\y", "t\\s\\z", "t\\x"});
  {
    const ORV::Handle held = Hold(this->W("t\\s\\z"));
    this->template ExpectThrows<ORVFile::FileCannotDeleteException>(
        [&] { TypeParam(this->N("t")).RecursiveDelete(true); }, 5, ERROR_SHARING_VIOLATION, this->N("t\\s\\z"));
  }
  EXPECT_FALSE(Exists(this->W("t\\s\\y")));  // before z in the walk
  EXPECT_TRUE(Exists(this->W("t\\s\\z")) && Exists(this->W("t\\x")));
  ASSERT_TRUE(::SetFileAttributesW(this->W("t\\x").c_str(), FILE_ATTRIBUTE_READONLY));
  this->template ExpectThrows<ORVFile::FileCannotDeleteException>(
      [&] { TypeParam(this->N("t")).RecursiveDelete(false); }, 5, ERROR_ACCESS_DENIED, this->N("t\\x"));
  TypeParam(this->N("t")).RecursiveDelete(true);
  EXPECT_FALSE(Exists(this->W("t")));
}

TYPED_TEST(PathTest, CopiesMovesAndRenames) {
  this->Make({"src", "other"});
  const TypeParam src(this->N("src"));
  src.Copy(this->N("copy"), false);
  EXPECT_TRUE(Exists(this->W("copy")));
  auto copyOnto = [&](bool overwrite) { src.Copy(this->N("other"), overwrite); };
  this->template ExpectThrows<ORVFile::FileCannotCopyException>([&] { copyOnto(false); }, 3, ERROR_FILE_EXISTS,
                                                                this->N("src"));
  copyOnto(true);
  this->template ExpectThrows<ORVFile::FileCannotCopyException>(
      [&] { TypeParam(this->N("none")).Copy(this->N("x"), true); }, 3, ERROR_FILE_NOT_FOUND, this->N("none"));

  src.Move(this->N("moved"));
  EXPECT_EQ(src.FullPath(), this->N("src"));  // Move keeps naming the old place
  EXPECT_FALSE(src.IsValid());
  this->template ExpectThrows<ORVFile::FileCannotMoveException>(
      [&] { TypeParam::Move(this->N("moved"), this->N("other")); }, 7, ERROR_ALREADY_EXISTS, this->N("moved"));

  {
    const ORV::Handle held = Hold(this->W("other"));
    this->template ExpectThrows<ORVFile::FileCannotMoveException>(
        [&] { TypeParam::Rename(this->N("other"), this->N("x")); }, 7, ERROR_SHARING_VIOLATION, this->N("other"));
  }
  EXPECT_TRUE(Exists(this->W("other")));

  TypeParam renamed(this->N("moved"));
  renamed.Rename(this->N("renamed"));
  EXPECT_EQ(renamed.FullPath(), this->N("renamed"));
  EXPECT_TRUE(renamed.IsFile());
  TypeParam::Rename(this->N("renamed"), this->N("back"));
  this->template ExpectThrows<ORVFile::FileCannotMoveException>([&] { renamed.Rename(this->N("again")); }, 7,
                                                                ERROR_FILE_NOT_FOUND, this->N("renamed"));
  EXPECT_EQ(renamed.FullPath(), this->N("renamed"));
  this->Remove({"back", "copy", "other"});
}

TYPED_TEST(PathTest, SizesSpaceTimesAndServer) {
  // A 5 GiB file last written 2021-01-02 03:04:05 UTC.
  const long long utc = 1609556645;
  const unsigned long long stamp = ORV::UnixTimeToFileTime(utc);
  const FILETIME written{static_cast<DWORD>(stamp), static_cast<DWORD>(stamp >> 32)};
  this->Make({"big"});
  {
    const ORV::Handle file(::CreateFileW(this->W("big").c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(::SetFilePointerEx(file.Get(), LARGE_INTEGER{{0x40000000, 1}}, nullptr, FILE_BEGIN));
    ASSERT_TRUE(::SetEndOfFile(file.Get()) && ::SetFileTime(file.Get(), nullptr, nullptr, &written));
  }
  const TypeParam big(this->N("big")), missing(this->N("missing")), dir(this->N(""));
  ULARGE_INTEGER size;
  unsigned long size32 = 1;
  big.GetSize(size);
  big.GetSize(size32);
  EXPECT_EQ(size.QuadPart, 5ull << 30);
  EXPECT_EQ(size32, 0xFFFFFFFFul);
  missing.GetSize(size);
  EXPECT_EQ(size.QuadPart, 0u);
  dir.GetAvailableDiskSpace(size);
  dir.GetAvailableDiskSpace(size32);
  EXPECT_GT(size.QuadPart, 0u);
  if (size.QuadPart > 0xFFFFFFFFu) {
    EXPECT_EQ(size32, 0xFFFFFFFFul);
  }
  missing.GetAvailableDiskSpace(size);
  EXPECT_EQ(size.QuadPart, 0u);

  // Local time at the zone's bias of now, as FileTimeToLocalFileTime applies it.
  TIME_ZONE_INFORMATION zone;
  const DWORD which = ::GetTimeZoneInformation(&zone);
  const long bias = zone.Bias + (which == TIME_ZONE_ID_DAYLIGHT ? zone.DaylightBias : zone.StandardBias);
  EXPECT_EQ(big.GetLastModificationDate().UnixTime(), utc - bias * 60LL);
  this->template ExpectThrows<ORVFile::FileNotFoundException>([&] { missing.GetLastModificationDate(); }, 15,
                                                              ERROR_FILE_NOT_FOUND, this->N("missing"));

  wchar_t computer[MAX_COMPUTERNAME_LENGTH + 1];
  DWORD length = MAX_COMPUTERNAME_LENGTH + 1;
  ASSERT_TRUE(::GetComputerNameW(computer, &length));
  EXPECT_EQ(this->Wide(dir.GetServer()), std::wstring(computer, length));
  EXPECT_EQ(TypeParam(this->T("//srv/share/x")).GetServer(), this->T("srv"));
  typename TestFixture::String unc = this->T("kept");
  EXPECT_FALSE(dir.FullPathAsUNC(unc));  // a local drive has no universal name
  EXPECT_EQ(unc, this->T("kept"));
  this->Remove({"big"});
}

}  // namespace
