// The file-system side of NewPathT in both widths, in the fresh directory of
// the shared fixture: the property cache, creation, deletion, copy and move,
// listing through AdvSearchOptions against a model, the stream form and the
// network texts.
#include "win32.h"

#include <winioctl.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <set>

#include "ORVAdvSearchOptions.h"
#include "ORVBinaryStream.h"
#include "ORVBinaryStreamMemory.h"
#include "ORVFileException.h"
#include "ORVFileTestSupport.h"
#include "ORVNewPath.h"
#include "ORVToLower.h"
#include "ORVUnderWine.h"

namespace {

using namespace ORVFile;
using ORV::DateTime;
using Bytes = std::vector<unsigned char>;

constexpr std::uint32_t kExists = 1u << 16, kLoaded = 1u << 25;

template <class Path>
Bytes Streamed(const Path& p) {
  ORV::BinaryStreamMemory buf;
  ORV::BinaryStream stream(buf);
  stream << p;
  return buf.Bytes();
}

// Exists and loaded, from the state word that ends the stream form (little-endian).
template <class Path>
std::uint32_t Cache(const Path& p) {
  const Bytes b = Streamed(p);
  return (b[b.size() - 2] | b[b.size() - 1] << 8) << 16 & (kExists | kLoaded);
}

// The last access and last write times both, as a Unix time.
void SetTimes(const std::string& path, long long unix) {
  const ORV::Handle h(::CreateFileA(path.c_str(), FILE_WRITE_ATTRIBUTES, 0, nullptr, OPEN_EXISTING, 0, nullptr));
  const unsigned long long t = ORV::UnixTimeToFileTime(unix);
  const FILETIME time{static_cast<DWORD>(t), static_cast<DWORD>(t >> 32)};
  ASSERT_TRUE(::SetFileTime(h.Get(), nullptr, &time, &time));
}

template <class CharT>
class NewPathFileSystemTest : public orvtest::TempDirTest {
 protected:
  using Path = NewPathT<CharT>;

  // The rows and the temporary directory are ASCII: one text serves both widths.
  static std::basic_string<CharT> T(const std::string& text) { return {text.begin(), text.end()}; }
  Path At(const std::string& name, PathType type = PathType::File) const {
    return Path(T(name.empty() ? m_dir : P(name)), type, true);
  }
  // What a test made goes, through the class's own removal, before the directory must go empty.
  void TearDown() override {
    At("", PathType::Directory).DeleteContent();
    TempDirTest::TearDown();
  }
};

using Widths = ::testing::Types<char, wchar>;
TYPED_TEST_SUITE(NewPathFileSystemTest, Widths);

TYPED_TEST(NewPathFileSystemTest, CacheLoadsOnceAndKeepsItsAnswers) {
  using Path = typename TestFixture::Path;
  Path p = this->At("f");
  EXPECT_TRUE(Cache(p) == 0 && !p.Exists() && Cache(p) == kLoaded) << "nothing read until asked";
  this->Put("f", "12345");
  EXPECT_TRUE(!p.Exists() && Path::PathExists(p.RawPath())) << "a loaded answer is kept";
  EXPECT_TRUE(p.LoadProperties());
  this->Put("f", "1234567");
  EXPECT_EQ(p.Size(), 5u) << "a loaded size is kept";
  this->Remove("f");
  EXPECT_TRUE(p.LoadProperties() && p.Exists() && p.Size() == 5u) << "a failed load changes nothing";
  // Only the low 32 bits of a size are kept. Sparse, so that 4 GiB cost no disk.
  if (const ORV::Handle big(::CreateFileA(this->P("big").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr));
      big) {
    DWORD returned = 0;
    ::DeviceIoControl(big.Get(), FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &returned, nullptr);
    ASSERT_TRUE(::SetFilePointerEx(big.Get(), LARGE_INTEGER{{1, 1}}, nullptr, FILE_BEGIN) && ::SetEndOfFile(big.Get()));
  }
  EXPECT_EQ(this->At("big").Size(), 1u);
  EXPECT_EQ(Path(this->T("B:\\x"), PathType::File, true).GetAvailableDiskSpace(), 0u) << "no drive B: here";

  // The type comes from the disk, or must agree with it.
  this->Make({"d\\"});
  p.Set(this->T(this->P("d")), PathType::Detect, true);
  EXPECT_TRUE(p.IsDirectory() && Cache(p) == (kLoaded | kExists));
  EXPECT_THROW(this->At("big", PathType::Directory).Size(), InvalidPathException);
  EXPECT_THROW(this->At("d").LoadProperties(), InvalidPathException);
  // FileTime reads the disk at each call; the cached time stays as loaded.
  const Path file = this->At("d\\t.txt");
  this->Put("d\\t.txt", "");
  SetTimes(this->P("d\\t.txt"), 1000000000);
  EXPECT_EQ(file.LastModificationTime().UnixTime(), 1000000000);
  SetTimes(this->P("d\\t.txt"), 1000000060);
  EXPECT_EQ(file.FileTime(FileDate::LastAccess).UnixTime(), 1000000060);
  EXPECT_EQ(file.LastModificationTime().UnixTime(), 1000000000);
  EXPECT_TRUE(file.Contains(this->T("?.t*")) && !file.Contains(this->T("*.md")));
}

TYPED_TEST(NewPathFileSystemTest, AttributeQueriesAndMissingPaths) {
  using Path = typename TestFixture::Path;
  this->Make({"a"});
  Path p = this->At("a");
  EXPECT_TRUE(p.FileAttribute(true, FILE_ATTRIBUTE_READONLY));
  EXPECT_NE(::GetFileAttributesA(this->P("a").c_str()) & FILE_ATTRIBUTE_READONLY, 0u) << "written to the disk";
  // IsHidden and IsNotIndexed answer with the read-only bit; IsReadable and IsWritable with false.
  EXPECT_EQ((std::array{p.IsReadOnly(), p.IsHidden(), p.IsNotIndexed(), p.IsReadable(), p.IsWritable()}),
            (std::array{true, true, true, false, false}));
  EXPECT_TRUE(p.FileAttribute(false, FILE_ATTRIBUTE_READONLY));
  p.FileAttribute(true, FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_NOT_CONTENT_INDEXED);
  EXPECT_TRUE(p.FileAttribute(0x2003u) == 0x2002u && !p.IsHidden() && !p.IsNotIndexed());

  // Each query on a missing path: message 15 naming it with error 3, or the default, empty message.
  const std::pair<void (*)(const Path&), const char*> rows[] = {
      {[](const Path& q) { q.Size(); }, "15 3 named"},
      {[](const Path& q) { q.IsWritable(); }, "15 3 named"},
      {[](const Path& q) { q.FileTime(FileDate::Creation); }, "15 3 named"},
      {[](const Path& q) { Path::GetType(q.RawPath()); }, "15 3 named"},
      {[](const Path& q) { AdvSearchOptions().Match(q); }, "15 3 named"},
      {[](const Path& q) { q.IsHidden(); }, "-1 0"},
      {[](const Path& q) { Path(q).FileAttribute(true, 1u); }, "-1 0"}};
  for (const auto& [query, raised] : rows)
    EXPECT_EQ(this->Raises([&, query = query] { query(this->At("none\\x")); }, "none\\x"),
              std::string("FileNotFoundException ") + raised);
}

TYPED_TEST(NewPathFileSystemTest, CreateMakesMissingParentsAndNamesWhatFails) {
  auto file = this->At("a\\b\\c");
  file.Create();
  EXPECT_EQ(Cache(file), kExists) << "exists, without loading";
  this->Put("a\\b\\c", "kept");
  this->At("a\\b\\c").Create();
  this->At("d\\e", PathType::Directory).Create();
  this->At("d\\e", PathType::Directory).Create();
  // What stands in the way, by the path asked for: the class and the error; the text names that path.
  for (const auto& [name, type, raised] : {std::tuple{"a\\b\\c", PathType::Directory, "FileExistException 4 183"},
                                           {"d\\e", PathType::File, "FileCannotCreateException 4 80"},
                                           {"a\\b\\c\\x", PathType::File, "FileExistException 4 183"},
                                           {"a\\b\\c\\x\\y", PathType::File, "FileCannotCreateException 4 183"},
                                           {"a\\b\\c\\x\\y", PathType::Directory, "FileCannotCreateException 4 183"}})
    EXPECT_EQ(this->Raises([&, name = name, type = type] { this->At(name, type).Create(); }, name + std::string(".")),
              std::string(raised) + " named");
  EXPECT_EQ(this->Got("a\\b\\c") + std::to_string(::GetFileAttributesA(this->P("d\\e").c_str())), "kept16");
}

TYPED_TEST(NewPathFileSystemTest, DeleteAndCopyAndMove) {
  this->Make({"ro", "t\\", "t\\sub\\", "t\\sub\\f", "held"});
  for (const char* ro : {"ro", "t\\sub\\f", "t\\sub"})
    ::SetFileAttributesA(this->P(ro).c_str(), FILE_ATTRIBUTE_READONLY);
  for (auto p : {this->At("ro"), this->At("t", PathType::Directory)}) {
    EXPECT_TRUE(p.Exists());
    p.Delete();
    EXPECT_FALSE(p.Exists() || p.PathExists(p.RawPath())) << "gone, even read-only, and the cache forgotten";
  }
  {
    const ORV::Handle held(
        ::CreateFileA(this->P("held").c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
    EXPECT_EQ(this->Raises([&] { this->At("held").Delete(); }, "held."), "FileCannotDeleteException 5 32 named");
  }
  const auto src = this->At("held"), dst = this->At("x\\y\\dst");
  src.Copy(dst);
  EXPECT_EQ(this->Raises([&] { src.Copy(dst); }, "held"), "FileCannotCopyException 3 80 named") << "no overwrite";
  src.Copy(dst, true);
  this->Make({"tree\\", "tree\\sub\\", "tree\\sub\\b", "tree\\empty\\"});
  const auto tree = this->At("tree", PathType::Directory);
  tree.Copy(this->At("c\\of", PathType::Directory));
  tree.CopyContent(this->At("content", PathType::Directory));
  for (const std::string to : {"c\\of", "content"})
    EXPECT_EQ(this->Got(to + "\\sub\\b") + std::to_string(::GetFileAttributesA(this->P(to + "\\empty").c_str())),
              "x16");
  EXPECT_THROW(tree.Copy(this->At("TREE\\sub\\x", PathType::Directory), true), FileCannotCopyException)
      << "into itself";

  auto moving = this->At("held");
  moving.Move(this->At("m\\n\\moved"));
  EXPECT_THROW(moving.Move(dst), FileCannotMoveException);
  moving.Extension(this->T(".log"), true);
  moving.Name(this->T("other"));
  EXPECT_TRUE(this->Got("m\\n\\moved.log") == "x" && !moving.Exists()) << "renamed only when asked";
}

// The listing against a model of the tree: each filter keeps what its rule says, a listed
// directory stands before its content, and each entry's cache comes from the search. A
// directory link is listed but not entered: one back to an ancestor would never end.
TYPED_TEST(NewPathFileSystemTest, GetFileListMatchesTheModel) {
  using Entries = std::multiset<std::pair<std::string, int>>;  // name ("\" ends a directory), size
  Entries tree = {{"a.txt", 3},      {"b.dat", 10},      {"sub\\", 0},           {"zdir\\", 0},
                  {"sub\\c.TXT", 1}, {"sub\\deep\\", 0}, {"sub\\deep\\d.txt", 7}};
  for (const auto& [name, size] : tree)
    name.back() == '\\' ? this->Make({name}) : this->Put(name, std::string(size, 'x'));
  SetTimes(this->P("b.dat"), 1000000000);
  // A link back to the top, unprivileged where developer mode allows it. Wine 8 makes none (its
  // CreateSymbolicLink answers TRUE and makes nothing; junctions fail with 50): Windows only, then.
  ::CreateSymbolicLinkA(this->P("up").c_str(), this->m_dir.c_str(), SYMBOLIC_LINK_FLAG_DIRECTORY | 2);
  const DWORD link = ::GetFileAttributesA(this->P("up").c_str());
  if (link != INVALID_FILE_ATTRIBUTES && (link & FILE_ATTRIBUTE_REPARSE_POINT) != 0) tree.emplace("up\\", 0);
  AdvSearchOptions all, dirs, files, sized, dated;
  dirs.SetAttrib(16, 16);
  files.SetAttrib(16, 0);
  sized.SetSizeLimits(3, 7);
  dated.SetModifTimeLimits(DateTime(1000000000), DateTime(1000000000));
  using Keeps = bool (*)(const std::string&, int);
  const std::tuple<const char*, bool, const AdvSearchOptions&, Keeps> rows[] = {
      {"*", true, all, [](const std::string&, int) { return true; }},
      {"*", false, all, [](const std::string& n, int) { return n.find('\\') >= n.size() - 1; }},
      {"*.TXT", true, all, [](const std::string& n, int) { return ORV::ToLower(n).find(".txt") != std::string::npos; }},
      {"*", true, dirs, [](const std::string& n, int) { return n.back() == '\\'; }},
      {"*", true, files, [](const std::string& n, int) { return n.back() != '\\'; }},
      {"*", true, sized, [](const std::string&, int size) { return size >= 3 && size <= 7; }},
      {"*", true, dated, [](const std::string& n, int) { return n == "b.dat"; }}};
  for (const auto& [pattern, recursive, options, keeps] : rows) {
    std::vector<typename TestFixture::Path> result(1);
    this->At("", PathType::Directory).GetFileList(result, this->T(pattern), recursive, options);
    EXPECT_TRUE(result.front().RawPath().empty()) << "appended, not cleared";
    Entries got, expected;
    for (auto p = result.begin() + 1; p != result.end(); ++p) {
      const std::string name(p->RawPath().begin() + this->m_dir.size() + 1, p->RawPath().end());
      got.emplace(name + (p->IsDirectory() ? "\\" : ""), static_cast<int>(p->Size()));
      const auto directory = p->RawPath().substr(0, p->RawPath().rfind(TypeParam('\\')));
      const auto parent = std::find_if(result.begin(), result.end(), [&](auto& q) { return q.RawPath() == directory; });
      EXPECT_TRUE(parent < p || parent == result.end()) << name << ": after its directory";
      EXPECT_EQ(Cache(*p), kExists | kLoaded) << name;
    }
    for (const auto& [name, size] : tree)
      if (keeps(name, size)) expected.emplace(name, size);
    EXPECT_EQ(got, expected) << pattern << (recursive ? " recursive" : "");
  }
  std::vector<typename TestFixture::Path> none;
  for (const char* nowhere : {"none", "a.txt"})
    this->At(nowhere, PathType::Directory).GetFileList(none, this->T("*"), true, all);
  EXPECT_TRUE(none.empty()) << "nothing to list, nothing thrown";
}

TYPED_TEST(NewPathFileSystemTest, AdvSearchOptionsTimeLimitsAndEquality) {
  AdvSearchOptions defaults, mask;
  mask.SetAttrib(16, 0);
  EXPECT_TRUE(AdvSearchOptions(defaults) == defaults && !(mask == defaults)) << "only the mask differs";
  constexpr std::int32_t t = 1000000000, end = 2147397247;
  for (const auto& [created, accessed, written, passes] : {std::tuple{0, 0, 0, true},
                                                           {end, end, end, true},
                                                           {t, t, end + 1, false},
                                                           {end + 1, t, t, false},
                                                           {t, end + 1, t, false}})
    EXPECT_EQ(defaults.Match(Win32FindData<TypeParam>{32, created, accessed, written, 10, this->T("x")}), passes);
  this->Put("m", "abc");
  mask.SetSizeLimits(4, 20);
  EXPECT_TRUE(defaults.Match(this->At("m")) && !mask.Match(this->At("m")));
  // Each pair of bounds reads back as held: clamped to 32 bits.
  for (const auto& [set, get] :
       {std::pair{&AdvSearchOptions::SetModifTimeLimits, &AdvSearchOptions::GetModifTimeLimits},
        {&AdvSearchOptions::SetCreationTimeLimits, &AdvSearchOptions::GetCreationTimeLimits},
        {&AdvSearchOptions::SetAccessTimeLimits, &AdvSearchOptions::GetAccessTimeLimits}}) {
    DateTime lower, upper;
    (mask.*set)(DateTime(-(1LL << 40)), DateTime(1LL << 40));
    (mask.*get)(lower, upper);
    EXPECT_TRUE(lower.UnixTime() == INT32_MIN && upper.UnixTime() == INT32_MAX);
  }
  std::uint64_t lower = 0, upper = 0;
  unsigned long attributeMask = 0, attributeValue = 0;
  mask.GetSizeLimits(lower, upper);
  mask.GetAttrib(attributeMask, attributeValue);
  EXPECT_TRUE(lower == 4 && upper == 20 && attributeMask == 16 && attributeValue == 0 && (defaults = mask) == mask);
}

TYPED_TEST(NewPathFileSystemTest, StreamFormRoundTripsAndShortDataChangesNothing) {
  using Path = typename TestFixture::Path;
  this->Put("s", "12345");
  const Path loaded = this->At("s");
  ASSERT_TRUE(loaded.LoadProperties());
  const Bytes full = Streamed(loaded);
  // Size (8, little-endian), time (8), the text's count (4) and units, the state word (4).
  EXPECT_EQ(full.size() + full[0], 24 + loaded.RawPath().size() * sizeof(TypeParam) + 5);
  for (std::uint32_t cut = 0; cut <= full.size(); ++cut) {
    ORV::BinaryStreamMemory buf(full.data(), cut);
    ORV::BinaryStream stream(buf);
    Path target(this->T("C:\\keep"), PathType::Directory, true);
    const Bytes before = Streamed(target);
    EXPECT_EQ(orvtest::Catch([&] { stream >> target; }).type.empty(), cut == full.size()) << "cut at " << cut;
    EXPECT_EQ(Streamed(target), cut < full.size() ? before : full) << "cut at " << cut;
  }
}

TYPED_TEST(NewPathFileSystemTest, NetworkTexts) {
  using Path = typename TestFixture::Path;
  // Text, type, URI; the URI reads back as the path, and nothing here is reached through a share.
  for (const auto& [text, type, uri] : {std::tuple{"C:\\a b\\x", PathType::File, "file:///C:/a b/x"},
                                        {"C:\\a", PathType::Directory, "file:///C:/a/"},
                                        {"\\\\srv\\share", PathType::File, "file://srv/share"}}) {
    const Path p(this->T(text), type, true);
    EXPECT_TRUE(p.GetURI() == this->T(uri) && Path(this->T(uri), type, true) == p && p.MakeUNC() == p) << text;
  }
  // The machine itself, by any of its names, is local; another server is not.
  const auto server = [](const std::basic_string<TypeParam>& name) {
    return Path(Path::NP_UNC_ROOT + name + Path::NP_PATH_SEPARATOR + TestFixture::T("share"), PathType::File, true);
  };
  const std::basic_string<TypeParam> self = Path::ComputerName();
  for (const char* other : {"", "LocalHost", "127.0.0.1", "no-such-server"})
    EXPECT_EQ(server(*other ? this->T(other) : self).IsLocal(), *other != 'n') << other;
  EXPECT_EQ(server(this->T("srv")).Server(), this->T("srv"));
  const Path local = this->At("x");
  for (const Path& p : {local, Path(this->T("rel"), PathType::File, true), Path(this->T("\\r"), PathType::File, true)})
    EXPECT_TRUE(p.IsLocal() && p.Server().empty()) << "a fixed drive names no server";
  std::vector<Path> shares;
  EXPECT_EQ(orvtest::Catch([&] { local.GetServerShares(shares); }).type, "CannotRetrieveServerException");
  // A server's listing is its shares, each one that exists; a failing query lists nothing.
  const Path machine(Path::NP_UNC_ROOT + self + Path::NP_PATH_SEPARATOR, PathType::Directory, true);
  const orvtest::Raised asked = orvtest::Catch([&] { machine.GetServerShares(shares); });
  std::vector<Path> listed;
  machine.GetFileList(listed, this->T("*"), false, AdvSearchOptions());
  EXPECT_TRUE(machine.IsServer() && machine.Exists() && listed.size() == shares.size());
  if (orvtest::UnderWine())
    EXPECT_EQ(asked.lastError, 50u) << "Wine's NetShareEnum answers ERROR_NOT_SUPPORTED";
  else
    EXPECT_EQ(asked.type, "");
}

}  // namespace
