// Path and WPath through one typed suite: the text rules as tables, then the
// cache and the file operations in the shared fixture's fresh directory.
#include "win32.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "ORVFileException.h"
#include "ORVFileTestSupport.h"
#include "ORVPath.h"
#include "ORVWPath.h"

namespace {

using ORVFile::BasePath;

// ClearStat is protected: a caller that wants fresh answers derives.
template <class P>
struct Fresh : P {
  using BasePath::ClearStat;
  using P::P;
};

template <class PathClass>
class PathTest : public orvtest::TempDirTest {
 protected:
  using String = typename PathClass::String;

  // The rows and the temporary directory are ASCII: one text serves both widths.
  static String T(const std::string& text) { return String(text.begin(), text.end()); }
  PathClass At(const std::string& name) const { return PathClass(T(name.empty() ? m_dir : P(name))); }
  // The message, the error, whether the text names name, and the source file f raises with.
  template <class F>
  std::tuple<unsigned, unsigned, bool, std::string> Raised(F&& f, const std::string& name) const {
    const orvtest::Raised r = orvtest::Catch(f);
    const std::string path = P(name);
    return {r.number, r.lastError, r.what.find(std::wstring(path.begin(), path.end())) != std::wstring::npos, r.source};
  }
  static std::tuple<unsigned, unsigned, bool, std::string> Expected(unsigned number, unsigned error) {
    return {number, error, true, sizeof(typename String::value_type) == 1 ? "ORVPath.cpp" : "ORVWPath.cpp"};
  }
  void Clean() const {
    std::vector<PathClass> entries;
    At("").GetFileList(entries);
    for (const PathClass& entry : entries) entry.RecursiveDelete(true);
  }
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
      {"\\", "", false, false, false, "", "", ""},
      {"ab:c", "ab:c", false, false, false, "ab:c", "", ""}};
  for (const auto& [input, text, unc, drive, absolute, name, extension, directory] : rows) {
    const TypeParam p(this->T(input));
    EXPECT_EQ(std::tuple(p.FullPath(), p.HasUNC(), p.HasDrive(), p.IsAbsolute(), p.FileName(), p.FileExtension(),
                         p.Directory()),
              std::tuple(this->T(text), unc, drive, absolute, this->T(name), this->T(extension), this->T(directory)))
        << input;
  }
  // Text, extension, mode, result.
  const std::tuple<std::string, std::string, BasePath::ChangeExtensionMode, std::string> changes[] = {
      {"a\\b.txt", "log", BasePath::BP_REPLACE_EXTENSION, "a\\b.log"},
      {"a.d\\b", ".log", BasePath::BP_REPLACE_EXTENSION, "a.d\\b.log"},
      {"a\\b.txt", "", BasePath::BP_REPLACE_EXTENSION, "a\\b"},
      {"a\\b.txt", "log", BasePath::BP_APPEND_EXTENSION, "a\\b.txt.log"},
      {"a\\b", "log", BasePath::BP_ADD_MISSING_EXTENSION, "a\\b.log"},
      {"a\\b.txt", "log", BasePath::BP_ADD_MISSING_EXTENSION, "a\\b.txt"}};
  for (const auto& [text, extension, mode, expected] : changes) {
    TypeParam p(this->T(text));
    p.Extension(this->T(extension), mode);
    EXPECT_EQ(p.FullPath(), this->T(expected)) << text << " " << mode;
  }
  for (const auto& [text, dots] :
       {std::pair{"..\\", true}, {"C:..", true}, {"x/.", true}, {"...", false}, {"x.", false}})
    EXPECT_EQ(TypeParam::IsDotDirectory(this->T(text)), dots) << text;
  const TypeParam a(this->T("a"));
  EXPECT_TRUE(a < this->T("ab") && TypeParam(this->T("B")) < a && !(a < a) && a == this->T("a") && a != this->T("A"));
  TypeParam mixed(this->T("C:\\Dir\\\xC9X"));
  mixed.ToLowerCase();
  EXPECT_EQ(mixed.FullPath(), this->T("c:\\dir\\\xC9x")) << "only ASCII folds";
  // The other width goes through the charset library, which maps nothing to a look-alike.
  EXPECT_EQ(ORVFile::Path(std::wstring(L"C:/a\xFF3C"
                                       L"b"))
                .FullPath(),
            "C:\\a?b");
}

TYPED_TEST(PathTest, AttributeCache) {
  const Fresh<TypeParam> file(this->T(this->P("f")));
  EXPECT_FALSE(file.IsFile());
  this->Make({"f", "d\\", "ro"});
  EXPECT_TRUE(file.IsFile()) << "a missing path is asked again";
  this->Remove("f");
  EXPECT_TRUE(file.IsValid()) << "an existing one is believed until ClearStat";
  file.ClearStat();
  EXPECT_FALSE(file.IsValid());
  ASSERT_TRUE(::SetFileAttributesA(this->P("ro").c_str(), FILE_ATTRIBUTE_READONLY));
  const TypeParam dir = this->At("d"), readOnly = this->At("ro");
  EXPECT_TRUE(dir.IsDirectory() && !dir.IsFile() && dir.IsWritable());
  EXPECT_TRUE(readOnly.IsReadable() && !readOnly.IsWritable() && !readOnly.IsHidden());
  readOnly.SetAttribute(BasePath::BP_READONLY, false);
  EXPECT_TRUE(readOnly.IsWritable());
  EXPECT_EQ(this->Raised([&] { this->At("none").SetAttribute(BasePath::BP_ARCHIVE, true); }, "none"),
            this->Expected(12, ERROR_FILE_NOT_FOUND));
  this->Clean();
}

TYPED_TEST(PathTest, CreateAndDelete) {
  this->At("a/b/c/").Create();
  EXPECT_TRUE(this->At("a\\b\\c").IsDirectory());
  this->At("a\\b").Create();
  this->Make({"a\\f", "ro", "open", "t\\", "t\\s\\", "t\\s\\y", "t\\s\\z"});
  EXPECT_EQ(this->Raised([&] { this->At("a\\f\\g\\h").Create(); }, "a\\f"), this->Expected(4, ERROR_ALREADY_EXISTS));
  ASSERT_TRUE(::SetFileAttributesA(this->P("ro").c_str(), FILE_ATTRIBUTE_READONLY));
  {
    const ORV::Handle held(
        ::CreateFileA(this->P("open").c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
    // Name, force, error; each refused removal leaves the attributes as they were.
    for (const auto& [name, force, error] : {std::tuple{"missing", true, ERROR_FILE_NOT_FOUND},
                                             {"ro", false, ERROR_ACCESS_DENIED},
                                             {"open", true, ERROR_SHARING_VIOLATION},
                                             {"t", true, ERROR_DIR_NOT_EMPTY}}) {
      const DWORD before = ::GetFileAttributesA(this->P(name).c_str());
      EXPECT_EQ(this->Raised([&] { this->At(name).Delete(force); }, name), this->Expected(5, error)) << name;
      EXPECT_EQ(::GetFileAttributesA(this->P(name).c_str()), before) << name;
    }
    const ORV::Handle z(
        ::CreateFileA(this->P("t\\s\\z").c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
    EXPECT_EQ(this->Raised([&] { this->At("t").RecursiveDelete(true); }, "t\\s\\z"),
              this->Expected(5, ERROR_SHARING_VIOLATION));
  }
  EXPECT_FALSE(this->At("t\\s\\y").IsValid()) << "before z in the walk";
  this->At("ro").Delete(true);
  this->At("t").RecursiveDelete(false);
  EXPECT_FALSE(this->At("ro").IsValid() || this->At("t").IsValid());
  this->Clean();
}

TYPED_TEST(PathTest, CopiesMovesAndRenames) {
  this->Make({"src", "other"});
  const TypeParam src = this->At("src");
  EXPECT_EQ(this->Raised([&] { src.Copy(this->T(this->P("other")), false); }, "src"),
            this->Expected(3, ERROR_FILE_EXISTS));
  src.Copy(this->T(this->P("other")), true);
  src.Move(this->T(this->P("moved")));
  EXPECT_TRUE(src.FullPath() == this->T(this->P("src")) && !src.IsValid()) << "Move keeps naming the old place";
  EXPECT_EQ(this->Raised([&] { TypeParam::Move(this->T(this->P("moved")), this->T(this->P("other"))); }, "moved"),
            this->Expected(7, ERROR_ALREADY_EXISTS));
  TypeParam renamed = this->At("moved");
  renamed.Rename(this->T(this->P("renamed")));
  EXPECT_TRUE(renamed.FullPath() == this->T(this->P("renamed")) && renamed.IsFile());
  EXPECT_EQ(this->Raised([&] { this->At("none").Rename(this->T(this->P("x"))); }, "none"),
            this->Expected(7, ERROR_FILE_NOT_FOUND));
  this->Clean();
}

TYPED_TEST(PathTest, SizesSpaceTimesAndServer) {
  // A 5 GiB file last written 2021-01-02 03:04:05 UTC.
  const unsigned long long stamp = ORV::UnixTimeToFileTime(1609556645);
  const FILETIME written{static_cast<DWORD>(stamp), static_cast<DWORD>(stamp >> 32)};
  this->Make({"big"});
  {
    const ORV::Handle file(::CreateFileA(this->P("big").c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(::SetFilePointerEx(file.Get(), LARGE_INTEGER{{0x40000000, 1}}, nullptr, FILE_BEGIN));
    ASSERT_TRUE(::SetEndOfFile(file.Get()) && ::SetFileTime(file.Get(), nullptr, nullptr, &written));
  }
  ULARGE_INTEGER size, space;
  unsigned long size32 = 0, space32 = 0, missing32 = 1;
  this->At("big").GetSize(size);
  this->At("big").GetSize(size32);
  this->At("").GetAvailableDiskSpace(space);
  this->At("").GetAvailableDiskSpace(space32);
  this->At("none").GetSize(missing32);
  EXPECT_EQ(std::tuple(size.QuadPart, size32, missing32), std::tuple(5ull << 30, 0xFFFFFFFFul, 0ul));
  EXPECT_EQ(space32, space.QuadPart > 0xFFFFFFFFu ? 0xFFFFFFFFul : space.QuadPart);
  // Local time at the zone's bias of now, as FileTimeToLocalFileTime applies it.
  TIME_ZONE_INFORMATION zone;
  const DWORD which = ::GetTimeZoneInformation(&zone);
  const long bias = zone.Bias + (which == TIME_ZONE_ID_DAYLIGHT ? zone.DaylightBias : zone.StandardBias);
  EXPECT_EQ(this->At("big").GetLastModificationDate().UnixTime(), 1609556645 - bias * 60LL);
  EXPECT_EQ(this->Raised([&] { this->At("none").GetLastModificationDate(); }, "none"),
            this->Expected(15, ERROR_FILE_NOT_FOUND));

  char computer[MAX_COMPUTERNAME_LENGTH + 1];
  DWORD length = MAX_COMPUTERNAME_LENGTH + 1;
  ASSERT_TRUE(::GetComputerNameA(computer, &length));
  EXPECT_EQ(this->At("").GetServer(), this->T(computer));
  EXPECT_EQ(TypeParam(this->T("//srv/share/x")).GetServer(), this->T("srv"));
  typename TestFixture::String unc = this->T("kept");
  EXPECT_TRUE(!this->At("").FullPathAsUNC(unc) && unc == this->T("kept")) << "a local drive has no universal name";
  this->Clean();
}

}  // namespace
