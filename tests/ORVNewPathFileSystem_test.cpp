// The file-system side of NewPathT in both widths: the property cache,
// Detect, creation, deletion, copy and move, the renaming setters, listing
// through AdvSearchOptions, the stream form and the network queries on this
// machine. Each test works in a fresh directory under the temporary directory
// and removes what it made; TearDown then removes the directory without
// recursion, so a stray file or a handle left open fails the test.
#include "win32.h"

#include <winioctl.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "ORVAdvSearchOptions.h"
#include "ORVBaseException.h"
#include "ORVBinaryStream.h"
#include "ORVBinaryStreamMemory.h"
#include "ORVFileException.h"
#include "ORVHandle.h"
#include "ORVNewPath.h"
#include "ORVUnderWine.h"

namespace {

using namespace ORVFile;
using ORV::DateTime;
using Bytes = std::vector<unsigned char>;
template <class CharT>
using Str = std::basic_string<CharT>;

constexpr std::uint32_t kExists = 1u << 16;
constexpr std::uint32_t kLoaded = 1u << 25;
constexpr DWORD kMissing = INVALID_FILE_ATTRIBUTES;

// Every text here is ASCII, the temporary directory included, so one wide
// text serves both widths.
template <class CharT>
Str<CharT> S(const std::wstring& text) {
  Str<CharT> result;
  for (wchar_t c : text) result += static_cast<CharT>(c);
  return result;
}

using orvtest::UnderWine;

void Write(const std::wstring& path, const std::string& bytes) {
  const ORV::Handle file(::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
  DWORD written = 0;
  ASSERT_TRUE(::WriteFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr)) << path;
}

std::string Read(const std::wstring& path) {
  const ORV::Handle file(::CreateFileW(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
  char buffer[64];
  DWORD read = 0;
  if (!file || !::ReadFile(file.Get(), buffer, sizeof buffer, &read, nullptr)) return "<cannot read>";
  return std::string(buffer, read);
}

DWORD Attributes(const std::wstring& path) { return ::GetFileAttributesW(path.c_str()); }
bool IsDir(const std::wstring& path) { return Attributes(path) != kMissing && (Attributes(path) & 16) != 0; }
long long Unix(const FILETIME& t) { return ORV::FileTimeToUnixTime(t.dwLowDateTime, t.dwHighDateTime); }

// The creation, access and write times as Unix times; 0 leaves that one alone.
void SetTimes(const std::wstring& path, std::array<long long, 3> unix) {
  const ORV::Handle h(::CreateFileW(path.c_str(), FILE_WRITE_ATTRIBUTES, 0, nullptr, OPEN_EXISTING, 0, nullptr));
  FILETIME t[3];
  for (int i = 0; i < 3; ++i) {
    const unsigned long long ft = ORV::UnixTimeToFileTime(unix[i]);
    t[i] = {static_cast<DWORD>(ft), static_cast<DWORD>(ft >> 32)};
  }
  ASSERT_TRUE(::SetFileTime(h.Get(), unix[0] ? &t[0] : nullptr, unix[1] ? &t[1] : nullptr, unix[2] ? &t[2] : nullptr));
}

// Everything inside directory goes; false when anything stays.
bool RemoveContent(const std::wstring& directory) {
  std::vector<std::pair<std::wstring, bool>> entries;  // path, is a directory
  WIN32_FIND_DATAW data;
  if (const ORV::FindHandle find(::FindFirstFileW((directory + L"\\*").c_str(), &data)); find) {
    do {
      const std::wstring name = data.cFileName;
      if (name != L"." && name != L"..") entries.emplace_back(directory + L"\\" + name, data.dwFileAttributes & 16);
    } while (::FindNextFileW(find.Get(), &data));
  }
  bool ok = true;
  for (const auto& [path, dir] : entries) {
    ::SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
    ok = (dir ? RemoveContent(path) && ::RemoveDirectoryW(path.c_str()) : ::DeleteFileW(path.c_str())) && ok;
  }
  return ok;
}

template <class Path>
Bytes Streamed(const Path& p) {
  ORV::BinaryStreamMemory buf;
  ORV::BinaryStream stream(buf);
  stream << p;
  return buf.Bytes();
}

std::uint64_t LittleEndian(const Bytes& bytes, std::size_t at, std::size_t width) {
  std::uint64_t value = 0;
  for (std::size_t i = width; i-- > 0;) value = value << 8 | bytes.at(at + i);
  return value;
}

// The state word stands last in the stream form.
template <class Path>
std::uint32_t State(const Path& p) {
  const Bytes bytes = Streamed(p);
  return static_cast<std::uint32_t>(LittleEndian(bytes, bytes.size() - 4, 4));
}

// Expects f to throw E with catalogue message `message` (-1: the default,
// empty message) and every fragment in its text; gives the Win32 error recorded.
template <class E, class F>
unsigned ExpectThrows(F&& f, int message, std::initializer_list<std::wstring> fragments = {}) {
  try {
    f();
  } catch (const E& e) {
    EXPECT_EQ(e.Info() ? static_cast<int>(e.Info()->Number()) : -1, message) << e.What();
    EXPECT_TRUE(message >= 0 || e.What().empty()) << e.What();
    for (const std::wstring& fragment : fragments) EXPECT_NE(e.What().find(fragment), std::wstring::npos) << e.What();
    return e.Info() ? e.Info()->LastError() : 0;
  } catch (const ORV::BaseException& e) {
    ADD_FAILURE() << "another exception: " << e.TypeName() << " " << e.What();
    return 0;
  }
  ADD_FAILURE() << "nothing thrown, " << E::ClassName() << " expected";
  return 0;
}

template <class CharT>
class NewPathFileSystemTest : public ::testing::Test {
 protected:
  using Path = NewPathT<CharT>;

  void SetUp() override {
    wchar_t temp[MAX_PATH + 1];
    const DWORD length = ::GetTempPathW(MAX_PATH + 1, temp);
    static unsigned serial = 0;
    m_dir = std::wstring(temp, length) + L"orvfs-" + std::to_wstring(::GetCurrentProcessId()) + L"-" +
            std::to_wstring(++serial);
    ASSERT_TRUE(::CreateDirectoryW(m_dir.c_str(), nullptr)) << ::GetLastError();
  }
  void TearDown() override {
    // Only a test that failed half-way may leave something behind.
    if (this->HasFailure()) RemoveContent(m_dir);
    EXPECT_TRUE(::RemoveDirectoryW(m_dir.c_str())) << "left behind or held open, error " << ::GetLastError();
  }
  // The end of each test: what it made must go, which a handle left open prevents.
  void Clean() { EXPECT_TRUE(RemoveContent(m_dir)); }

  // Names ending in a backslash are directories, the others files holding "x".
  void Make(std::initializer_list<std::wstring> names) {
    for (const std::wstring& name : names) {
      if (name.back() != L'\\') Write(W(name), "x");
      EXPECT_TRUE(name.back() != L'\\' || ::CreateDirectoryW(W(name).c_str(), nullptr)) << name;
    }
  }
  std::wstring W(const std::wstring& name) const { return name.empty() ? m_dir : m_dir + L"\\" + name; }
  static Str<CharT> T(const std::wstring& text) { return S<CharT>(text); }
  Str<CharT> TP(const std::wstring& name) const { return T(W(name)); }
  Path P(const std::wstring& name, PathType type = PathType::File) const { return Path(TP(name), type, true); }
  Path D(const std::wstring& name) const { return P(name, PathType::Directory); }

  std::wstring m_dir;
};

using Widths = ::testing::Types<char, wchar>;
TYPED_TEST_SUITE(NewPathFileSystemTest, Widths);

TYPED_TEST(NewPathFileSystemTest, CacheLoadsLazilyAndKeepsItsAnswers) {
  using Path = typename TestFixture::Path;
  const std::wstring file = this->W(L"f.txt");
  Path p = this->P(L"f.txt");
  EXPECT_EQ(State(p) & (kLoaded | kExists | 0xFFFFu), 0xFFFFu) << "nothing read yet";
  EXPECT_FALSE(p.Exists());
  EXPECT_EQ(State(p) & (kLoaded | kExists), kLoaded);
  Write(file, "12345");
  EXPECT_FALSE(p.Exists()) << "a loaded answer is kept";
  EXPECT_TRUE(Path::PathExists(this->TP(L"f.txt")));
  p.Set(this->TP(L"f.txt"), PathType::File, true);
  EXPECT_EQ(p.Size(), 5u);
  EXPECT_EQ(p.FileAttribute(0xFFFFFFFFu), Attributes(file) & 0xFFFFu);
  Write(file, "1234567");
  EXPECT_EQ(p.Size(), 5u) << "a loaded size is kept";
  EXPECT_TRUE(p.LoadProperties());
  EXPECT_EQ(p.Size(), 7u);
  ASSERT_TRUE(::DeleteFileW(file.c_str()));
  EXPECT_TRUE(p.Exists());
  EXPECT_FALSE(Path::PathExists(this->TP(L"f.txt")));
  EXPECT_TRUE(p.LoadProperties());
  EXPECT_TRUE(p.Exists()) << "a failed load changes nothing";
  p = Path(this->TP(L"f.txt"), PathType::File, true);
  EXPECT_FALSE(p.Exists());

  // Only the low 32 bits of a size are kept. Sparse, so that 4 GiB cost no disk.
  if (const ORV::Handle big(::CreateFileW(this->W(L"big").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr));
      big) {
    DWORD returned = 0;
    ::DeviceIoControl(big.Get(), FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &returned, nullptr);
    LARGE_INTEGER end;
    end.QuadPart = (1LL << 32) + 1;
    ASSERT_TRUE(::SetFilePointerEx(big.Get(), end, nullptr, FILE_BEGIN) && ::SetEndOfFile(big.Get()));
  }
  EXPECT_EQ(this->P(L"big").Size(), 1u);

  // The volume's free space; none on a drive that is not there.
  EXPECT_GT(this->D(L"").GetAvailableDiskSpace(), 0u);
  wchar_t absent = L'Z';
  while (absent > L'C' && (::GetLogicalDrives() >> (absent - L'A') & 1u) != 0) --absent;
  ASSERT_GT(absent, L'C') << "every drive letter is in use";
  EXPECT_EQ(Path(this->T(std::wstring(1, absent) + L":\\x"), PathType::File, true).GetAvailableDiskSpace(), 0u);
  this->Clean();
}

TYPED_TEST(NewPathFileSystemTest, AttributeQueriesAnswerWithTheReadOnlyBit) {
  const std::wstring file = this->W(L"a.txt");
  this->Make({L"a.txt"});
  auto p = this->P(L"a.txt");
  // IsReadOnly, IsHidden, IsNotIndexed, IsReadable, IsWritable
  const auto answers = [&p] {
    return std::array{p.IsReadOnly(), p.IsHidden(), p.IsNotIndexed(), p.IsReadable(), p.IsWritable()};
  };
  EXPECT_EQ(answers(), (std::array{false, false, false, false, false}));
  EXPECT_TRUE(p.FileAttribute(true, FILE_ATTRIBUTE_READONLY));
  EXPECT_NE(Attributes(file) & FILE_ATTRIBUTE_READONLY, 0u) << "written to the disk";
  p.Set(this->TP(L"a.txt"), PathType::File, true);
  EXPECT_EQ(answers(), (std::array{true, true, true, false, false}));
  EXPECT_EQ(p.FileAttribute(FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_READONLY), 1u);
  EXPECT_TRUE(p.FileAttribute(false, FILE_ATTRIBUTE_READONLY));
  EXPECT_EQ(Attributes(file) & FILE_ATTRIBUTE_READONLY, 0u);
  // Hidden and not indexed but writable: the cache holds both bits, the queries read the read-only one.
  EXPECT_TRUE(p.FileAttribute(true, FILE_ATTRIBUTE_HIDDEN));
  p.FileAttribute(true, FILE_ATTRIBUTE_NOT_CONTENT_INDEXED);
  EXPECT_EQ(p.FileAttribute(0x2003u), 0x2002u);
  EXPECT_EQ(answers(), (std::array{false, false, false, false, false}));
  // Wine keeps the hidden bit in an extended attribute of the host file, so
  // it sticks only where the host file system takes those.
  if (!UnderWine()) {
    EXPECT_NE(Attributes(file) & FILE_ATTRIBUTE_HIDDEN, 0u);
  }
  this->Clean();
}

TYPED_TEST(NewPathFileSystemTest, QueriesOnAMissingPathThrow) {
  using Path = typename TestFixture::Path;
  const Str<TypeParam> missing = this->TP(L"none\\x.txt");
  // The query, and whether it gives message 15 with the path or the default, empty message.
  const std::pair<void (*)(Path&), bool> rows[] = {{[](Path& p) { p.Size(); }, true},
                                                   {[](Path& p) { p.LastModificationTime(); }, true},
                                                   {[](Path& p) { p.IsReadOnly(); }, true},
                                                   {[](Path& p) { p.IsWritable(); }, true},
                                                   {[](Path& p) { p.FileTime(FileDate::Creation); }, true},
                                                   {[](Path& p) { Path::GetType(p.RawPath()); }, true},
                                                   {[](Path& p) { p.IsHidden(); }, false},
                                                   {[](Path& p) { p.FileAttribute(1u); }, false},
                                                   {[](Path& p) { p.FileAttribute(true, 1u); }, false}};
  const std::wstring text = L"An error occurred while getting the file attributes for " + this->W(L"none\\x.txt");
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    Path p(missing, PathType::File, true);
    const unsigned error = ExpectThrows<FileNotFoundException>([&] { rows[i].first(p); }, rows[i].second ? 15 : -1,
                                                               {rows[i].second ? text : L""});
    EXPECT_EQ(error, rows[i].second ? ERROR_PATH_NOT_FOUND : 0u) << "row " << i;
  }
  EXPECT_FALSE(Path(missing, PathType::File, true).Exists());
}

TYPED_TEST(NewPathFileSystemTest, TypeComesFromTheDiskOrMustAgreeWithIt) {
  using Path = typename TestFixture::Path;
  this->Make({L"f", L"d\\"});
  for (const auto& [name, type] : {std::pair{L"f", PathType::File}, {L"d", PathType::Directory}}) {
    Path set, assigned;
    set.Set(this->TP(name), PathType::Detect, true);
    assigned = this->TP(name);
    for (const Path* p : {&set, &assigned}) {
      EXPECT_EQ(p->IsDirectory(), type == PathType::Directory) << name;
      EXPECT_EQ(p->IsFile(), type == PathType::File) << name;
      EXPECT_EQ(State(*p) & (kLoaded | kExists), kLoaded | kExists) << name;
    }
    EXPECT_EQ(Path::GetType(this->TP(name)), type) << name;
  }
  Path p;
  const std::wstring none = this->W(L"none");
  ExpectThrows<FileNotFoundException>([&] { p.Set(this->T(none), PathType::Detect, true); }, 15, {none});
  ExpectThrows<FileNotFoundException>([&] { p = this->T(none); }, 15, {none});
  // A declared type must agree with the disk at the first load.
  EXPECT_THROW(this->D(L"f").Size(), InvalidPathException);
  EXPECT_THROW(this->P(L"d").LoadProperties(), InvalidPathException);
  this->Clean();
}

TYPED_TEST(NewPathFileSystemTest, CreateMakesMissingParentsAndKeepsExistingFiles) {
  auto file = this->P(L"a\\b\\c.txt");
  file.Create();
  EXPECT_EQ(Read(this->W(L"a\\b\\c.txt")), "");
  EXPECT_EQ(State(file) & (kLoaded | kExists), kExists) << "Create sets exists without loading";
  Write(this->W(L"a\\b\\c.txt"), "kept");
  this->P(L"a\\b\\c.txt").Create();
  this->D(L"d\\e\\f").Create();
  this->D(L"d\\e\\f").Create();  // already there: no error
  EXPECT_TRUE(IsDir(this->W(L"d\\e\\f")));
  const std::wstring creating = L"An error occurred while creating the file ";
  ExpectThrows<FileExistException>([&] { this->D(L"a\\b\\c.txt").Create(); }, 4, {creating + this->W(L"a\\b\\c.txt")});
  ExpectThrows<FileCannotCreateException>([&] { this->P(L"d\\e").Create(); }, 4, {creating + this->W(L"d\\e")});
  EXPECT_EQ(Read(this->W(L"a\\b\\c.txt")), "kept");
  EXPECT_TRUE(IsDir(this->W(L"d\\e")));
  this->Clean();
}

TYPED_TEST(NewPathFileSystemTest, DeleteRemovesFilesAndTreesEvenReadOnly) {
  this->Make({L"plain", L"ro", L"t\\", L"t\\g", L"t\\sub\\", L"t\\sub\\f", L"d\\", L"d\\x", L"d\\y\\", L"d\\y\\z"});
  for (const wchar_t* ro : {L"ro", L"t\\sub\\f", L"t\\sub", L"t"})
    ASSERT_TRUE(::SetFileAttributesW(this->W(ro).c_str(), FILE_ATTRIBUTE_READONLY));
  for (const auto& [name, type] :
       {std::pair{L"plain", PathType::File}, {L"ro", PathType::File}, {L"t", PathType::Directory}}) {
    auto p = this->P(name, type);
    ASSERT_TRUE(p.Exists()) << name;
    p.Delete();
    EXPECT_EQ(Attributes(this->W(name)), kMissing) << name;
    EXPECT_FALSE(p.Exists()) << name << ": the cache is forgotten";
  }
  ExpectThrows<FileCannotDeleteException>([&] { this->P(L"plain").Delete(); }, 5,
                                          {L"An error occurred while deleting the file " + this->W(L"plain")});
  this->D(L"d").DeleteContent();
  EXPECT_TRUE(::RemoveDirectoryW(this->W(L"d").c_str())) << "kept, and empty: error " << ::GetLastError();

  // Held open without FILE_SHARE_DELETE: refused, and the file stays.
  this->Make({L"held"});
  {
    const ORV::Handle held(::CreateFileW(this->W(L"held").c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                         nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(held);
    EXPECT_EQ(ExpectThrows<FileCannotDeleteException>([&] { this->P(L"held").Delete(); }, 5),
              static_cast<unsigned>(ERROR_SHARING_VIOLATION));
  }
  EXPECT_EQ(Read(this->W(L"held")), "x");
  this->P(L"held").Delete();
  EXPECT_EQ(Attributes(this->W(L"held")), kMissing);
}

TYPED_TEST(NewPathFileSystemTest, CopyAndMoveMakeMissingParents) {
  Write(this->W(L"src.txt"), "one");
  const auto src = this->P(L"src.txt"), dst = this->P(L"x\\y\\dst.txt");
  src.Copy(dst);
  EXPECT_EQ(Read(this->W(L"x\\y\\dst.txt")), "one");
  Write(this->W(L"src.txt"), "two");
  ExpectThrows<FileCannotCopyException>(
      [&] { src.Copy(dst); }, 3,
      {L"An error occurred while copying the file " + this->W(L"src.txt") + L" into " + this->W(L"x\\y\\dst.txt")});
  EXPECT_EQ(Read(this->W(L"x\\y\\dst.txt")), "one");
  src.Copy(dst, true);
  EXPECT_EQ(Read(this->W(L"x\\y\\dst.txt")), "two");

  // A tree with an empty directory, whole or its content; never into itself.
  this->Make({L"tree\\", L"tree\\a", L"tree\\sub\\", L"tree\\sub\\b", L"tree\\empty\\"});
  const auto tree = this->D(L"tree");
  tree.Copy(this->D(L"c\\of\\tree"));
  tree.CopyContent(this->D(L"content"));
  for (const std::wstring copy : {L"c\\of\\tree", L"content"}) {
    EXPECT_EQ(Read(this->W(copy + L"\\a")) + Read(this->W(copy + L"\\sub\\b")), "xx") << copy;
    EXPECT_TRUE(IsDir(this->W(copy + L"\\empty"))) << copy;
  }
  for (const wchar_t* inside : {L"tree", L"tree\\inner", L"TREE\\sub\\x"})
    EXPECT_THROW(tree.Copy(this->D(inside), true), FileCannotCopyException) << inside;
  EXPECT_EQ(Attributes(this->W(L"tree\\inner")) & Attributes(this->W(L"tree\\sub\\x")), kMissing) << "neither made";

  auto moving = this->P(L"src.txt");
  moving.Move(this->P(L"m\\n\\moved.txt"));
  EXPECT_EQ(moving.RawPath(), this->TP(L"m\\n\\moved.txt"));
  EXPECT_EQ(moving.Size(), 3u);
  EXPECT_EQ(Attributes(this->W(L"src.txt")), kMissing);
  ExpectThrows<FileCannotMoveException>([&] { moving.Move(dst); }, 7,
                                        {this->W(L"m\\n\\moved.txt") + L" into " + this->W(L"x\\y\\dst.txt")});
  EXPECT_EQ(moving.RawPath(), this->TP(L"m\\n\\moved.txt"));
  EXPECT_EQ(Read(this->W(L"m\\n\\moved.txt")) + Read(this->W(L"x\\y\\dst.txt")), "twotwo");
  this->Clean();
}

TYPED_TEST(NewPathFileSystemTest, NameAndExtensionSettersRename) {
  Write(this->W(L"f.txt"), "f");
  Write(this->W(L"g.txt"), "g");
  auto p = this->P(L"f.txt");
  for (const wchar_t* bad : {L"a*b", L"a\\b", L"t\x1F", L"con.txt"}) {
    for (const bool rename : {false, true}) {
      EXPECT_THROW(p.Name(this->T(bad), rename), InvalidPathException) << bad;
      EXPECT_THROW(p.Extension(this->T(bad), rename), InvalidPathException) << bad;
    }
    EXPECT_EQ(p.RawPath(), this->TP(L"f.txt")) << bad;
  }
  // Without rename only the text changes, and the cache goes with the old name.
  ASSERT_TRUE(p.Exists());
  p.Name(this->T(L"h.txt"));
  EXPECT_FALSE(p.Exists());
  p.Extension(this->T(L".md"));
  EXPECT_EQ(p.RawPath(), this->TP(L"h.md"));
  EXPECT_EQ(Read(this->W(L"f.txt")), "f");

  auto r = this->P(L"f.txt");
  r.Name(this->T(L"renamed.txt"), true);
  EXPECT_EQ(r.RawPath(), this->TP(L"renamed.txt"));
  EXPECT_EQ(Attributes(this->W(L"f.txt")), kMissing);
  r.Extension(this->T(L".log"), true);
  EXPECT_EQ(r.RawPath(), this->TP(L"renamed.log"));
  Write(this->W(L"renamed.txt"), "x");
  ExpectThrows<FileCannotMoveException>([&] { r.Name(this->T(L"g.txt"), true); }, 7);
  ExpectThrows<FileCannotMoveException>([&] { r.Extension(this->T(L".txt"), true); }, 7);
  EXPECT_EQ(r.RawPath(), this->TP(L"renamed.log"));
  EXPECT_EQ(Read(this->W(L"renamed.log")) + Read(this->W(L"g.txt")) + Read(this->W(L"renamed.txt")), "fgx");
  this->Clean();
}

TYPED_TEST(NewPathFileSystemTest, UpContainsAndFileTimes) {
  this->Make({L"a\\", L"a\\b\\", L"a\\b\\f.txt"});
  // From, n, to, and whether the result exists.
  for (const auto& [from, n, to, exists] : {std::tuple{L"a\\b\\f.txt", 1u, L"a\\b", kExists},
                                            {L"a\\b\\f.txt", 2u, L"a", kExists},
                                            {L"a\\none\\x.txt", 1u, L"a\\none", 0u},
                                            {L"a\\b", 0u, L"a\\b", kExists}}) {
    auto p = this->P(from);
    p.Up(n);
    EXPECT_EQ(p.RawPath(), this->TP(to)) << from << " up " << n;
    EXPECT_TRUE(p.IsDirectory()) << from << " up " << n;
    EXPECT_EQ(State(p) & (kLoaded | kExists), kLoaded | exists) << from << " up " << n;
  }
  const auto dir = this->D(L"a\\b"), file = this->P(L"a\\b\\f.txt");
  for (const auto& [pattern, found] : {std::pair{L"f.txt", true}, {L"?.t*", true}, {L"*.md", false}}) {
    EXPECT_EQ(dir.Contains(this->T(pattern)), found) << "in the directory: " << pattern;
    EXPECT_EQ(file.Contains(this->T(pattern)), found) << "beside the file: " << pattern;
  }

  // FileTime reads the disk at each call; the cached time stays as loaded.
  const long long created = 978307200, accessed = 1000000000, written = 1100000000;
  SetTimes(this->W(L"a\\b\\f.txt"), {created, accessed, written});
  EXPECT_EQ(file.FileTime(FileDate::LastWrite).UnixTime(), written);
  EXPECT_EQ(file.FileTime(FileDate::LastAccess).UnixTime(), accessed);
  WIN32_FILE_ATTRIBUTE_DATA data;
  ASSERT_TRUE(::GetFileAttributesExW(this->W(L"a\\b\\f.txt").c_str(), GetFileExInfoStandard, &data));
  EXPECT_EQ(file.FileTime(FileDate::Creation).UnixTime(), Unix(data.ftCreationTime));
  // Wine keeps no creation time on this file system (it reports the last
  // write time), so SetFileTime cannot change it.
  if (!UnderWine()) {
    EXPECT_EQ(file.FileTime(FileDate::Creation).UnixTime(), created);
  }
  EXPECT_EQ(file.LastModificationTime().UnixTime(), written);
  SetTimes(this->W(L"a\\b\\f.txt"), {0, 0, written + 60});
  EXPECT_EQ(file.FileTime(FileDate::LastWrite).UnixTime(), written + 60);
  EXPECT_EQ(file.LastModificationTime().UnixTime(), written);
  this->Clean();
}

TYPED_TEST(NewPathFileSystemTest, GetFileListWalksPreOrderThroughTheFilter) {
  using Path = typename TestFixture::Path;
  using Names = std::vector<std::wstring>;
  // Below L; a size of -1 is a directory.
  const std::pair<std::wstring, int> tree[] = {{L"a.txt", 3},           {L"b.dat", 10},     {L"sub", -1},
                                               {L"zdir", -1},           {L"sub\\c.TXT", 1}, {L"sub\\deep", -1},
                                               {L"sub\\deep\\d.txt", 7}};
  this->Make({L"L\\"});
  for (const auto& [name, size] : tree)
    size < 0 ? this->Make({L"L\\" + name + L"\\"}) : Write(this->W(L"L\\" + name), std::string(size, 'x'));
  SetTimes(this->W(L"L\\b.dat"), {0, 0, 1000000000});
  const Path dir = this->D(L"L"), sentinel(this->T(L"C:\\sentinel"), PathType::File, true);
  const std::wstring base = this->W(L"L\\");

  // Lists, checks each entry, and gives the names below L, sorted.
  const auto list = [&](const wchar_t* pattern, bool recursive, const AdvSearchOptions& options) {
    std::vector<Path> result(1, sentinel);
    dir.GetFileList(result, this->T(pattern), recursive, options);
    EXPECT_EQ(result.front().RawPath(), sentinel.RawPath()) << "appended, not cleared";
    Names names;
    for (std::size_t i = 1; i < result.size(); ++i)
      names.emplace_back(result[i].RawPath().begin() + base.size(), result[i].RawPath().end());
    for (std::size_t i = 0; i < names.size(); ++i) {
      const Path& e = result[i + 1];
      const std::size_t slash = names[i].rfind(L'\\');
      const std::wstring parent = slash == std::wstring::npos ? L"" : names[i].substr(0, slash);
      SCOPED_TRACE(::testing::Message() << "entry " << i << ": " << names[i]);
      EXPECT_EQ(e.RawPath(), this->D(L"L\\" + parent).Directory() + this->T(names[i].substr(slash + 1)));
      const auto at = std::find(names.begin(), names.end(), parent);
      EXPECT_TRUE(at == names.end() || at < names.begin() + i) << "a directory stands before its content";
      const auto entry = std::find_if(std::begin(tree), std::end(tree), [&](auto& t) { return t.first == names[i]; });
      if (entry == std::end(tree)) {
        ADD_FAILURE() << "never '.' or '..', nothing from elsewhere";
        continue;
      }
      EXPECT_EQ(e.IsDirectory(), entry->second < 0);
      EXPECT_EQ(State(e) & (kLoaded | kExists), kLoaded | kExists) << "the cache comes from the search";
      EXPECT_EQ(e.FileAttribute(0xFFFFFFFFu), Attributes(base + names[i]) & 0xFFFFu);
      EXPECT_EQ(e.Size(), static_cast<std::uint64_t>(std::max(entry->second, 0)));
    }
    std::sort(names.begin(), names.end());
    return names;
  };
  AdvSearchOptions all, dirs, files, sized, dated;
  dirs.SetAttrib(16, 16);
  files.SetAttrib(16, 0);
  sized.SetSizeLimits(3, 7);
  dated.SetModifTimeLimits(DateTime(1000000000), DateTime(1000000000));
  const std::tuple<const wchar_t*, bool, const AdvSearchOptions&, Names> rows[] = {
      {L"*", true, all, {L"a.txt", L"b.dat", L"sub", L"sub\\c.TXT", L"sub\\deep", L"sub\\deep\\d.txt", L"zdir"}},
      {L"*", false, all, {L"a.txt", L"b.dat", L"sub", L"zdir"}},
      {L"*.TXT", true, all, {L"a.txt", L"sub\\c.TXT", L"sub\\deep\\d.txt"}},
      {L"d*", true, all, {L"sub\\deep", L"sub\\deep\\d.txt"}},
      {L"*", true, dirs, {L"sub", L"sub\\deep", L"zdir"}},
      {L"*", true, files, {L"a.txt", L"b.dat", L"sub\\c.TXT", L"sub\\deep\\d.txt"}},
      {L"*", true, sized, {L"a.txt", L"sub\\deep\\d.txt"}},
      {L"*", true, dated, {L"b.dat"}}};
  for (const auto& [pattern, recursive, options, expected] : rows)
    EXPECT_EQ(list(pattern, recursive, options), expected) << pattern << (recursive ? " recursive" : "");
  // A missing directory, and a file taken for one: nothing added, nothing thrown.
  for (const Path& nowhere : {this->D(L"L\\none"), this->D(L"L\\a.txt")}) {
    std::vector<Path> result(1, sentinel);
    nowhere.GetFileList(result, this->T(L"*"), true, AdvSearchOptions());
    EXPECT_EQ(result.size(), 1u);
  }
  this->Clean();
}

TYPED_TEST(NewPathFileSystemTest, AdvSearchOptionsBoundsAndMatch) {
  // Size bounds, attribute mask and value, then the modification, creation and access bounds.
  const auto read = [](const AdvSearchOptions& o) {
    std::uint64_t lower, upper;
    unsigned long mask, value;
    DateTime t[6];
    o.GetSizeLimits(lower, upper);
    o.GetAttrib(mask, value);
    o.GetModifTimeLimits(t[0], t[1]);
    o.GetCreationTimeLimits(t[2], t[3]);
    o.GetAccessTimeLimits(t[4], t[5]);
    std::vector<long long> all{static_cast<long long>(lower), static_cast<long long>(upper), mask, value};
    for (const DateTime& time : t) all.push_back(time.UnixTime());
    return all;
  };
  const AdvSearchOptions defaults;
  EXPECT_EQ(read(defaults), (std::vector<long long>{0, -1, 0, 0, 0, 2147397247, 0, 2147397247, 0, 2147397247}));
  AdvSearchOptions copy(defaults);
  EXPECT_TRUE(copy == defaults);
  copy.SetAttrib(16, 0);
  EXPECT_FALSE(copy == defaults) << "only the mask differs";
  copy.SetSizeLimits(7, 9);
  copy.SetModifTimeLimits(DateTime(1), DateTime(2));
  copy.SetCreationTimeLimits(DateTime(3), DateTime(4));
  copy.SetAccessTimeLimits(DateTime(-(1LL << 40)), DateTime(1LL << 40));  // clamped to 32 bits
  EXPECT_EQ(read(copy), (std::vector<long long>{7, 9, 16, 0, 1, 2, 3, 4, INT32_MIN, INT32_MAX}));

  AdvSearchOptions none, upTo4G, just10, from11, dirs;
  upTo4G.SetSizeLimits(0, 1ull << 32);
  just10.SetSizeLimits(10, 10);
  from11.SetSizeLimits(11, 20);
  dirs.SetAttrib(16, 16);
  constexpr std::int32_t t = 1000000000, end = 2147397247;
  struct Row {
    std::uint64_t size;
    std::int32_t created, accessed, written;
    const AdvSearchOptions& options;
    bool passes;
  };
  const Row rows[] = {
      {10, 0, 0, 0, none, true},        {10, end, end, end, none, true},  {10, t, t, end + 1, none, false},
      {10, end + 1, t, t, none, false}, {10, t, end + 1, t, none, false}, {(1ull << 32) + 10, t, t, t, upTo4G, false},
      {10, t, t, t, just10, true},      {10, t, t, t, from11, false},     {10, t, t, t, dirs, false}};
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    Win32FindData<TypeParam> r;
    r.attributes = FILE_ATTRIBUTE_ARCHIVE;
    r.size = rows[i].size;
    r.creationTime = rows[i].created;
    r.lastAccessTime = rows[i].accessed;
    r.lastWriteTime = rows[i].written;
    r.name = this->T(L"x");
    EXPECT_EQ(rows[i].options.Match(r), rows[i].passes) << "row " << i;
  }

  ExpectThrows<FileNotFoundException>([&] { defaults.Match(this->P(L"none")); }, 15, {this->W(L"none")});
  Write(this->W(L"m.txt"), "abc");
  EXPECT_TRUE(defaults.Match(this->P(L"m.txt")));
  copy = defaults;
  copy.SetSizeLimits(4, 9);
  EXPECT_FALSE(copy.Match(this->P(L"m.txt"))) << "3 bytes";
  this->Clean();
}

TYPED_TEST(NewPathFileSystemTest, StreamFormRoundTripsAndShortDataChangesNothing) {
  using Path = typename TestFixture::Path;
  constexpr std::size_t unit = sizeof(TypeParam);
  Write(this->W(L"s.txt"), "12345");
  const Path loaded = this->P(L"s.txt");
  ASSERT_EQ(loaded.Size(), 5u);
  const Path paths[] = {loaded, this->D(L""), Path(this->T(L"\\\\srv"), PathType::File, true), Path()};
  for (std::size_t i = 0; i < std::size(paths); ++i) {
    SCOPED_TRACE(::testing::Message() << "row " << i);
    const Path& p = paths[i];
    const Bytes bytes = Streamed(p);
    const std::size_t units = p.RawPath().size(), end = 20 + units * unit;
    ASSERT_EQ(bytes.size(), end + 4);
    // Size, time, the text's count and units, the state word: all little-endian.
    EXPECT_EQ(LittleEndian(bytes, 0, 8), i == 0 ? 5u : 0u);
    EXPECT_EQ(static_cast<long long>(LittleEndian(bytes, 8, 8)), i == 0 ? loaded.LastModificationTime().UnixTime() : 0);
    EXPECT_EQ(LittleEndian(bytes, 16, 4), units);
    Str<TypeParam> text;
    for (std::size_t u = 0; u < units; ++u) text += static_cast<TypeParam>(LittleEndian(bytes, 20 + u * unit, unit));
    EXPECT_EQ(text, p.RawPath());
    const std::uint64_t state = LittleEndian(bytes, end, 4);
    EXPECT_EQ(state & 0x01FE0000u, (p.IsDirectory() ? 1u << 17 : 0u) | (p.IsAbsolute() ? 1u << 20 : 0u) |
                                       (p.IsRoot() ? 1u << 21 : 0u) | (p.IsUNC() ? 1u << 22 : 0u) |
                                       (p.HasDrive() ? 1u << 23 : 0u) | (p.IsServer() ? 1u << 24 : 0u));
    EXPECT_EQ(state & (kLoaded | kExists | 0xFFFFu),
              i == 0 ? kLoaded | kExists | (Attributes(this->W(L"s.txt")) & 0xFFFFu) : 0xFFFFu);

    ORV::BinaryStreamMemory buf(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    ORV::BinaryStream stream(buf);
    Path back(this->T(L"C:\\other"), PathType::Directory, true);
    stream >> back;
    EXPECT_EQ(back.RawPath(), p.RawPath());
    EXPECT_EQ(Streamed(back), bytes) << "all four items taken back";
  }
  ASSERT_TRUE(::DeleteFileW(this->W(L"s.txt").c_str()));
  const Bytes full = Streamed(loaded);
  for (std::uint32_t cut = 0; cut < full.size(); ++cut) {
    ORV::BinaryStreamMemory buf(full.data(), cut);
    ORV::BinaryStream stream(buf);
    Path target(this->T(L"C:\\keep"), PathType::Directory, true);
    const Bytes before = Streamed(target);
    EXPECT_THROW(stream >> target, ORV::Exception) << "cut at " << cut;
    EXPECT_EQ(Streamed(target), before) << "cut at " << cut;
  }
}

TYPED_TEST(NewPathFileSystemTest, NetworkQueriesOnThisMachine) {
  using Path = typename TestFixture::Path;
  const auto path = [this](const std::wstring& text, PathType type = PathType::File) {
    return Path(this->T(text), type, true);
  };
  wchar_t name[MAX_COMPUTERNAME_LENGTH + 1];
  DWORD length = MAX_COMPUTERNAME_LENGTH + 1;
  ASSERT_TRUE(::GetComputerNameW(name, &length));
  const std::wstring computer(name, length);
  EXPECT_EQ(Path::ComputerName(), this->T(computer));
  for (const auto& [text, server] : {std::pair{L"\\\\srv\\share\\x", L"srv"}, {L"\\\\srv", L"srv"}, {L"C:\\x", L""}})
    EXPECT_EQ(path(text).Server(), this->T(server)) << text;
  for (const auto& [text, local] : {std::pair<std::wstring, bool>{L"C:\\x", true},
                                    {L"\\\\" + computer + L"\\share", true},
                                    {L"\\\\elsewhere\\share", false}})
    EXPECT_EQ(path(text).IsLocal(), local) << text;

  wchar_t current[MAX_PATH];
  std::wstring cwd(current, ::GetCurrentDirectoryW(MAX_PATH, current));
  if (cwd.back() == L'\\') cwd.pop_back();
  std::wstring cwdURI = cwd;
  std::replace(cwdURI.begin(), cwdURI.end(), L'\\', L'/');
  // Text, type, URI, and the path the URI reads back as.
  const std::tuple<std::wstring, PathType, std::wstring, std::wstring> rows[] = {
      {L"C:\\a b\\x", PathType::File, L"file:///C:/a b/x", L"C:\\a b\\x"},
      {L"C:\\a", PathType::Directory, L"file:///C:/a/", L"C:\\a"},
      {L"C:\\", PathType::Directory, L"file:///C:/", L"C:\\"},
      {L"\\\\srv\\share", PathType::File, L"file://srv/share", L"\\\\srv\\share"},
      {L"x", PathType::File, L"file:///" + cwdURI + L"/x", cwd + L"\\x"}};
  for (const auto& [text, type, uri, back] : rows) {
    const Path p = path(text, type);
    EXPECT_EQ(p.GetURI(), this->T(uri)) << text;
    EXPECT_EQ(Path(p.GetURI(), type, true).RawPath(), this->T(back)) << text;
  }
  // Nothing here is reached through a share: the UNC form is the absolute path.
  for (const std::wstring text : {L"C:\\x\\y", L"\\\\srv\\share\\x", L"x"})
    EXPECT_EQ(path(text).MakeUNC().RawPath(), this->T(text == L"x" ? cwd + L"\\x" : text)) << text;
}

}  // namespace
