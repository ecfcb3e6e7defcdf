// Path and WPath through one typed suite: the text rules as tables, then the
// cache and the file operations in the shared fixture's fresh directory.
#include "win32.h"

#include <gtest/gtest.h>

#include "ORVFileException.h"
#include "ORVFileTestSupport.h"
#include "ORVPath.h"
#include "ORVWPath.h"

namespace {

using ORVFile::BasePath;

template <class PathClass>
class PathTest : public orvtest::TempDirTest {
 protected:
  using String = typename PathClass::String;

  // The rows and the temporary directory are ASCII: one text serves both widths.
  static String T(const std::string& text) { return String(text.begin(), text.end()); }
  PathClass At(const std::string& name) const { return PathClass(T(name.empty() ? m_dir : P(name))); }
  String N(const std::string& name) const { return T(P(name)); }
  // The tree, read-only files too, goes with the directory.
  void TearDown() override { EXPECT_NO_THROW(At("").RecursiveDelete(true)); }
};

using Classes = ::testing::Types<ORVFile::Path, ORVFile::WPath>;
TYPED_TEST_SUITE(PathTest, Classes);

TYPED_TEST(PathTest, TextRules) {
  // Input, text, HasUNC, HasDrive, IsAbsolute, FileName, FileExtension, Directory.
  const std::tuple<std::string, std::string, bool, bool, bool, std::string, std::string, std::string> rows[] = {
      {"C:/dir/b.txt//", "C:\\dir\\b.txt", false, true, true, "b.txt", ".txt", "C:\\dir\\"},
      {"C:b.tar.gz", "C:b.tar.gz", false, true, true, "b.tar.gz", ".gz", "C:"},
      {"//srv/sh/n.", "\\\\srv\\sh\\n.", true, false, true, "n.", ".", "\\\\srv\\sh\\"},
      {"\\a.d\\.cfg\\", "\\a.d\\.cfg", false, false, true, ".cfg", ".cfg", "\\a.d\\"},
      {"ab:c", "ab:c", false, false, false, "ab:c", "", ""}};
  for (const auto& [input, text, unc, drive, absolute, name, extension, directory] : rows) {
    const TypeParam p(this->T(input));
    EXPECT_EQ(std::tuple(p.FullPath(), p.HasUNC(), p.HasDrive(), p.IsAbsolute(), p.FileName(), p.FileExtension(),
                         p.Directory()),
              std::tuple(this->T(text), unc, drive, absolute, this->T(name), this->T(extension), this->T(directory)))
        << input;
  }
  // Mode, then the results on "a.d\b.txt" and "a.d\b".
  for (const auto& [mode, withExtension, without] :
       {std::tuple{BasePath::BP_REPLACE_EXTENSION, "a.d\\b.log", "a.d\\b.log"},
        {BasePath::BP_APPEND_EXTENSION, "a.d\\b.txt.log", "a.d\\b.log"},
        {BasePath::BP_ADD_MISSING_EXTENSION, "a.d\\b.txt", "a.d\\b.log"}}) {
    TypeParam changed(this->T("a.d\\b.txt")), bare(this->T("a.d\\b"));
    changed.Extension(this->T(".log"), mode), bare.Extension(this->T("log"), mode);
    EXPECT_EQ(std::pair(changed.FullPath(), bare.FullPath()), std::pair(this->T(withExtension), this->T(without)));
  }
  for (const auto& [text, dots] :
       {std::pair{"..\\", true}, {"C:..", true}, {"x/.", true}, {"...", false}, {"x.", false}})
    EXPECT_EQ(TypeParam::IsDotDirectory(this->T(text)), dots) << text;
  TypeParam a(this->T("a"));
  EXPECT_TRUE(a < this->T("ab") && TypeParam(this->T("B")) < a && !(a < a) && a == this->T("a") && a != this->T("A"));
  a = this->T("C:\\Dir\\\xC9X");
  a.ToLowerCase();
  EXPECT_EQ(a.FullPath(), this->T("c:\\dir\\\xC9x")) << "only ASCII folds";
  // The other width goes through the charset library, which maps nothing to a look-alike.
  EXPECT_EQ(ORVFile::Path(std::wstring(L"C:/a\xFF3C/b")).FullPath(), "C:\\a?\\b");
}

// Every way in takes the text the same, from either width; the server is the
// UNC one or this computer's name.
TYPED_TEST(PathTest, ConstructionAssignmentComparisonAndServer) {
  using Other = typename TypeParam::OtherString;
  const std::string text = "//srv/sh/x";
  const Other other(text.begin(), text.end());
  const typename TypeParam::String own = this->T(text), expected = this->T("\\\\srv\\sh\\x");
  TypeParam a(own.c_str()), b(other), c(other.c_str()), d(a), e, f, g, h;
  e = own.c_str(), f = other, g = other.c_str(), h = d;
  for (const TypeParam* p : {&a, &b, &c, &d, &e, &f, &g, &h})
    EXPECT_TRUE(*p == a && !(*p != a) && *p == expected && *p == expected.c_str() && !(*p != expected.c_str()) &&
                static_cast<const typename TypeParam::String&>(*p) == expected && !p->IsRelative());
  EXPECT_TRUE(a < this->T("\\\\t").c_str() && !(a < expected.c_str()) && TypeParam().FullPath().empty());
  EXPECT_EQ(a.GetServer(), this->T("srv"));
  char name[MAX_COMPUTERNAME_LENGTH + 1];
  DWORD size = sizeof name;
  ASSERT_TRUE(::GetComputerNameA(name, &size));
  EXPECT_EQ(TypeParam(this->T("C:\\x")).GetServer(), this->T(name));
  typename TypeParam::String unc = own;
  EXPECT_TRUE(!TypeParam(this->T("C:\\x")).FullPathAsUNC(unc) && unc == own) << "a fixed drive has no universal name";
}

TYPED_TEST(PathTest, AttributeCacheSizesAndTimes) {
  TypeParam file = this->At("f");
  EXPECT_FALSE(file.IsFile());
  this->Make({"f", "d\\", "ro"});
  EXPECT_TRUE(file.IsFile()) << "a missing path is asked again";
  this->Remove("f");
  EXPECT_TRUE(file.IsValid()) << "an existing one is believed until the text changes";
  file = this->N("f");
  EXPECT_FALSE(file.IsValid());
  ASSERT_TRUE(::SetFileAttributesA(this->P("ro").c_str(), FILE_ATTRIBUTE_READONLY));
  const TypeParam dir = this->At("d"), readOnly = this->At("ro");
  EXPECT_TRUE(dir.IsDirectory() && !dir.IsFile() && dir.IsWritable());
  EXPECT_TRUE(readOnly.IsReadable() && !readOnly.IsWritable() && !readOnly.IsHidden());
  readOnly.SetAttribute(BasePath::BP_READONLY, false);
  EXPECT_TRUE(readOnly.IsWritable());

  // A 5 GiB file last written at 2021-01-02 03:04:05 UTC, read back in local time.
  const unsigned long long stamp = ORV::UnixTimeToFileTime(1609556645);
  const FILETIME written{static_cast<DWORD>(stamp), static_cast<DWORD>(stamp >> 32)};
  {
    const ORV::Handle big(::CreateFileA(this->P("ro").c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(::SetFilePointerEx(big.Get(), LARGE_INTEGER{{0x40000000, 1}}, nullptr, FILE_BEGIN));
    ASSERT_TRUE(::SetEndOfFile(big.Get()) && ::SetFileTime(big.Get(), nullptr, nullptr, &written));
  }
  ULARGE_INTEGER size, space;
  unsigned long size32 = 0, space32 = 0, missing32 = 1;
  readOnly.GetSize(size), readOnly.GetSize(size32), this->At("none").GetSize(missing32);
  dir.GetAvailableDiskSpace(space), dir.GetAvailableDiskSpace(space32);
  EXPECT_EQ(std::tuple(size.QuadPart, size32, missing32), std::tuple(5ull << 30, 0xFFFFFFFFul, 0ul));
  EXPECT_EQ(space32, space.QuadPart > 0xFFFFFFFFu ? 0xFFFFFFFFul : space.QuadPart);
  TIME_ZONE_INFORMATION zone;
  const DWORD which = ::GetTimeZoneInformation(&zone);
  const long bias = zone.Bias + (which == TIME_ZONE_ID_DAYLIGHT ? zone.DaylightBias : zone.StandardBias);
  EXPECT_EQ(readOnly.GetLastModificationDate().UnixTime(), 1609556645 - bias * 60LL);
}

TYPED_TEST(PathTest, OperationsAndWhatTheirFailuresRecord) {
  this->Make({"src", "other", "a\\", "a\\f", "ro", "open", "t\\", "t\\s\\", "t\\s\\y", "t\\s\\z"});
  for (const char* ro : {"ro", "open"}) ASSERT_TRUE(::SetFileAttributesA(this->P(ro).c_str(), FILE_ATTRIBUTE_READONLY));
  const auto hold = [this](const char* name) {
    return ::CreateFileA(this->P(name).c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  };
  ORV::Handle open(hold("open")), z(hold("t\\s\\z"));
  // The operation, the path the message names, its number and the error; a refusal changes nothing.
  const std::tuple<std::function<void()>, std::string, unsigned, unsigned> rows[] = {
      {[&] { this->At("none").SetAttribute(BasePath::BP_ARCHIVE, true); }, "none", 12, ERROR_FILE_NOT_FOUND},
      {[&] { this->At("a\\f\\g\\h").Create(); }, "a\\f", 4, ERROR_ALREADY_EXISTS},
      {[&] { this->At("none").Delete(true); }, "none", 5, ERROR_FILE_NOT_FOUND},
      {[&] { this->At("ro").Delete(false); }, "ro", 5, ERROR_ACCESS_DENIED},
      {[&] { this->At("open").Delete(true); }, "open", 5, ERROR_SHARING_VIOLATION},
      {[&] { this->At("t").Delete(true); }, "t", 5, ERROR_DIR_NOT_EMPTY},
      {[&] { this->At("t").RecursiveDelete(true); }, "t\\s\\z", 5, ERROR_SHARING_VIOLATION},
      {[&] { this->At("src").Copy(this->N("other"), false); }, "src", 3, ERROR_FILE_EXISTS},
      {[&] { TypeParam::Move(this->N("src"), this->N("other")); }, "src", 7, ERROR_ALREADY_EXISTS},
      {[&] { this->At("none").Rename(this->N("x")); }, "none", 7, ERROR_FILE_NOT_FOUND},
      {[&] { this->At("none").GetLastModificationDate(); }, "none", 15, ERROR_FILE_NOT_FOUND}};
  const std::string source = sizeof(typename TestFixture::String::value_type) == 1 ? "ORVPath.cpp" : "ORVWPath.cpp";
  for (const auto& [operation, name, number, error] : rows) {
    const std::string path = this->P(name);
    const DWORD before = ::GetFileAttributesA(path.c_str());
    const orvtest::Raised r = orvtest::Catch(operation);
    const bool named = r.what.find(std::wstring(path.begin(), path.end())) != std::wstring::npos;
    EXPECT_EQ(std::tuple(r.number, r.lastError, r.source, named, ::GetFileAttributesA(path.c_str())),
              std::tuple(number, error, source, true, before))
        << name;
  }
  open.Reset(), z.Reset();
  EXPECT_FALSE(this->At("t\\s\\y").IsValid()) << "before z in the walk";

  this->At("a/b/c/").Create();
  this->At("a\\b").Create();
  this->At("ro").Delete(true);
  EXPECT_TRUE(this->At("a\\b\\c").IsDirectory() && !this->At("ro").IsValid());
  const TypeParam src = this->At("src");
  src.Copy(this->N("other"), true);
  src.Move(this->N("moved"));
  EXPECT_TRUE(src.FullPath() == this->N("src") && !src.IsValid()) << "Move keeps naming the old place";
  TypeParam renamed = this->At("moved");
  renamed.Rename(this->N("renamed"));
  EXPECT_TRUE(renamed.FullPath() == this->N("renamed") && renamed.IsFile());
}

}  // namespace
