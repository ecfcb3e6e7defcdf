#include "win32.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <type_traits>
#include <utility>

#include "ORVFileException.h"
#include "ORVNewPath.h"

namespace ORVFile {

// Reaches the state word and the private predicates.
struct NewPathTestAccess {
  template <class CharT>
  static std::uint32_t State(const NewPathT<CharT>& p) {
    return p.m_state;
  }
  template <class CharT>
  static bool InvalidPathChar(CharT c) {
    return NewPathT<CharT>::InvalidPathChar(c);
  }
  template <class CharT>
  static bool InvalidComputerNameChar(CharT c) {
    return NewPathT<CharT>::InvalidComputerNameChar(c);
  }
  template <class CharT>
  static bool InvalidSegment(CharT c) {
    return NewPathT<CharT>::InvalidSegment(&c, &c + 1);
  }
  template <class CharT>
  static bool IsDeviceName(const std::basic_string<CharT>& text) {
    return NewPathT<CharT>::IsDeviceName(text.c_str());
  }
};

}  // namespace ORVFile

namespace {

using ORVFile::InvalidPathException;
using ORVFile::NewPathT;
using ORVFile::PathType;
using Access = ORVFile::NewPathTestAccess;

// ASCII rows serve both widths.
template <class CharT>
std::basic_string<CharT> S(const std::string& text) {
  std::basic_string<CharT> result;
  for (char c : text) result += static_cast<CharT>(static_cast<unsigned char>(c));
  return result;
}

constexpr std::uint32_t A = 1u << 20;  // absolute
constexpr std::uint32_t R = 1u << 21;  // root
constexpr std::uint32_t U = 1u << 22;  // UNC
constexpr std::uint32_t D = 1u << 23;  // drive
constexpr std::uint32_t V = 1u << 24;  // server
constexpr std::uint32_t kFlags = A | R | U | D | V;

template <class CharT>
class NewPathTest : public ::testing::Test {
 protected:
  using Path = NewPathT<CharT>;
  static std::basic_string<CharT> T(const std::string& text) { return S<CharT>(text); }
};

using Widths = ::testing::Types<char, ORVFile::wchar>;
TYPED_TEST_SUITE(NewPathTest, Widths);

TYPED_TEST(NewPathTest, DefaultAndCopy) {
  using Path = typename TestFixture::Path;
  EXPECT_EQ(Access::State(Path()), 0x0000FFFFu);
  EXPECT_TRUE(Path().RawPath().empty());
  const Path dir(this->T("C:\\x"), PathType::Directory, false);
  Path source(dir), moved(std::move(source)), moveAssigned;
  moveAssigned = std::move(moved);
  EXPECT_EQ(moveAssigned.RawPath(), dir.RawPath());
  EXPECT_EQ(Access::State(moveAssigned), Access::State(dir));
  // Moved-from paths are default ones again.
  for (const Path* p : {&source, &moved}) EXPECT_EQ(Access::State(*p), p->RawPath().empty() ? 0x0000FFFFu : 0u);
}

TYPED_TEST(NewPathTest, SetNormalises) {
  struct Row {
    std::string input, expected;
    std::uint32_t flags;
    unsigned rootLength;
  };
  const std::string server70(70, 's');
  // One row per rule; that no slash, empty or dot segment or trailing space
  // survives is checked on generated texts in ORVNewPath_random_test.cpp.
  const Row rows[] = {{"", ".", 0, 0},
                      {"C:", "C:", D, 2},
                      {"C:/", "C:\\", A | R | D, 2},
                      {"C:x", "C:x", D, 2},
                      {"\\..", "\\", A | R, 0},
                      {"\\\\server", "\\\\server\\", A | R | U | V, 8},
                      {"//server/share/", "\\\\server\\share", A | U, 8},
                      {"\\\\srv\\a\\..\\..", "\\\\srv\\", A | R | U | V, 5},
                      {"a\\..\\..\\b", "..\\b", 0, 0},
                      {"C:\\..\\x", "C:\\x", A | D, 2},
                      {".\\a\\.\\b\\", "a\\b", 0, 0},
                      {"file:///C:/x/y", "C:\\x\\y", A | D, 2},
                      {"FILE://srv/share", "\\\\srv\\share", A | U, 5},
                      {"file:///", ".", 0, 0},
                      {"C:\\dir\\name \\", "C:\\dir\\name", A | D, 2},
                      {"C:\\dir\\name.", "C:\\dir\\name.", A | D, 2},
                      {"*?", "*?", 0, 0},
                      // Without validation a long server name wraps the 6-bit root length.
                      {"\\\\" + server70 + "\\x", "\\\\" + server70 + "\\x", A | U, (2 + 70) % 64},
                      // Only spaces for a server: the end trim stops at the root.
                      {"\\\\   \\.", "\\\\   \\", A | R | U | V, 5},
                      // Trimming the end lays bare a dot segment, which goes too.
                      {"\\x\\. ", "\\x", A, 0},
                      {"x\\.. ", ".", 0, 0}};
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE(::testing::Message() << "row " << i << ": " << rows[i].input);
    const typename TestFixture::Path p(this->T(rows[i].input), PathType::File, false);
    EXPECT_EQ(p.RawPath(), this->T(rows[i].expected));
    EXPECT_EQ(Access::State(p) & kFlags, rows[i].flags);
    EXPECT_EQ(Access::State(p) >> 26, rows[i].rootLength);
    EXPECT_EQ(Access::State(p) & 0x3FFFFu, 0xFFFFu);  // attributes unknown, not loaded, type File
    const std::uint32_t f = rows[i].flags;
    EXPECT_EQ(p.IsRelative(), (f & A) == 0);
    EXPECT_EQ(p.IsComplete(), (f & U) != 0 || (f & (D | A)) == (D | A));
    // Canonicalising a parsed path changes nothing, unless the root was eaten.
    typename TestFixture::Path again = p;
    again.Canonicalize(false);
    if (rows[i].rootLength < p.RawPath().size()) {
      EXPECT_EQ(again.RawPath(), p.RawPath());
    }
    EXPECT_EQ(Access::State(again), Access::State(p));
  }
}

TYPED_TEST(NewPathTest, SetRefuses) {
  // {text, refused without validation, refused with it}
  struct Row {
    std::string input;
    bool plain, validated;
  };
  const Row rows[] = {{"1:\\x", true, true},
                      {"\\\\sixteen-chars-xy\\s", false, true},
                      {"\\\\fifteen-chars-x\\s", false, false},
                      {"\\\\\\x", false, true},
                      {"C:\\a*b", false, true},
                      {"C:\\dir\\con.txt", false, true},
                      {"C:\\CON\\x", false, false},
                      // Would resolve to a text that reads back as a drive.
                      {".\\u:", true, true}};
  for (std::size_t i = 0; i < std::size(rows); ++i)
    for (const bool validate : {false, true}) {
      SCOPED_TRACE(::testing::Message() << "row " << i << ": " << rows[i].input << " validate " << validate);
      typename TestFixture::Path p;
      try {
        p.Set(this->T(rows[i].input), PathType::File, validate);
        EXPECT_FALSE(validate ? rows[i].validated : rows[i].plain);
      } catch (const InvalidPathException& e) {
        EXPECT_TRUE(validate ? rows[i].validated : rows[i].plain);
        EXPECT_FALSE(e.Info());  // no message description
      }
    }
}

TYPED_TEST(NewPathTest, Components) {
  struct Row {
    std::string input;
    PathType type;
    std::string full, root, drive, name, extension, directory, directoryWithout;
  };
  const PathType F = PathType::File, Dir = PathType::Directory;
  // A few worked rows, one per kind of root; the random test checks the
  // accessors against the text on generated paths.
  const Row rows[] = {{"C:x.txt", F, "C:x.txt", "C:\\", "C:", "x.txt", ".txt", "C:", "C:"},
                      {"C:", Dir, "C:", "C:\\", "C:", "", "", "C:", "C:"},
                      {"\\\\srv\\share\\x", Dir, "\\\\srv\\share\\x\\", "\\\\srv\\", "", "x", "", "\\\\srv\\share\\x\\",
                       "\\\\srv\\share\\x"},
                      {"\\\\srv", Dir, "\\\\srv\\", "\\\\srv\\", "", "", "", "\\\\srv\\", "\\\\srv\\"},
                      {"\\x", F, "\\x", "\\", "", "x", "", "\\", "\\"},
                      {"a.b\\c", F, "a.b\\c", "", "", "c", "", "a.b\\", "a.b"}};
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE(::testing::Message() << "row " << i << ": " << rows[i].input);
    const typename TestFixture::Path p(this->T(rows[i].input), rows[i].type, false);
    EXPECT_EQ(p.FullPath(), this->T(rows[i].full));
    EXPECT_EQ(p.Root(), this->T(rows[i].root));
    EXPECT_EQ(p.Drive(), this->T(rows[i].drive));
    EXPECT_EQ(p.Name(), this->T(rows[i].name));
    EXPECT_EQ(p.Extension(), this->T(rows[i].extension));
    EXPECT_EQ(p.Directory(), this->T(rows[i].directory));
    EXPECT_EQ(p.DirectoryWithoutBackslash(), this->T(rows[i].directoryWithout));
  }
}

TYPED_TEST(NewPathTest, Append) {
  using Path = typename TestFixture::Path;
  const PathType F = PathType::File, Dir = PathType::Directory;
  struct Row {
    std::string left;
    PathType leftType;
    std::string right;
    PathType rightType;
    std::string expected;
    bool root;
  };
  const Row rows[] = {// Relative: joined to Directory() and canonicalised.
                      {"C:\\a", Dir, "b", F, "C:\\a\\b", false},
                      {"C:\\a\\f.txt", F, "b", Dir, "C:\\a\\b", false},
                      {"C:\\a", Dir, "..\\b", F, "C:\\b", false},
                      {"C:\\a", Dir, "..\\..\\..", Dir, "C:\\", true},
                      {"C:x", F, "y", F, "C:y", false},
                      {".", Dir, "..", Dir, "..", false},
                      // Complete: replaces.
                      {"C:\\a", Dir, "\\\\s\\t", Dir, "\\\\s\\t", false},
                      // From a root: keeps only this path's root, or replaces when it has none.
                      {"C:\\a\\b", Dir, "\\z", F, "C:\\z", false},
                      {"\\\\s\\t\\u", Dir, "\\z", F, "\\\\s\\z", false},
                      {"x", Dir, "\\z", F, "\\z", false}};
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE(::testing::Message() << "row " << i << ": " << rows[i].left << " + " << rows[i].right);
    const Path left(this->T(rows[i].left), rows[i].leftType, false);
    const Path right(this->T(rows[i].right), rows[i].rightType, false);
    const Path sum = left + right;
    EXPECT_EQ(sum.RawPath(), this->T(rows[i].expected));
    EXPECT_EQ(sum.IsRoot(), rows[i].root);
    EXPECT_EQ(sum.IsDirectory(), rows[i].rightType == Dir);
    EXPECT_EQ(Access::State(sum) & 0x1FFFFu, 0xFFFFu);  // cache reset
    Path joined = left;
    EXPECT_EQ((joined += right).RawPath(), sum.RawPath());
  }
}

TYPED_TEST(NewPathTest, AppendStopsAt260) {
  using Path = typename TestFixture::Path;
  const Path base(this->T("C:\\" + std::string(250, 'a')), PathType::Directory, false);
  Path p = base;
  EXPECT_EQ((p += Path(this->T("bbbbb"), PathType::File, false)).RawPath().size(), 259u);
  p = base;
  const Path tooLong(this->T("bbbbbb"), PathType::File, false);
  EXPECT_THROW((void)(base + tooLong), InvalidPathException);
  EXPECT_THROW(p += tooLong, InvalidPathException);
  EXPECT_EQ(p.RawPath(), base.RawPath());
  EXPECT_EQ(Access::State(p), Access::State(base));
}

TYPED_TEST(NewPathTest, CanonicalizeToAbsolute) {
  using Path = typename TestFixture::Path;
  using CharT = TypeParam;
  const Path current = Path::GetCurrentPath(CharT('.'));
  EXPECT_TRUE(current.IsDirectory() && current.IsComplete());
  EXPECT_EQ(Access::State(current) & (1u << 16), 1u << 16);  // exists
  Path p(this->T("x"), PathType::File, false);
  p.Canonicalize(true);
  EXPECT_EQ(p.RawPath(), current.Directory() + this->T("x"));
  EXPECT_TRUE(p.IsFile());

  // A drive that is missing, or not a letter, is refused.
  const DWORD drives = ::GetLogicalDrives();
  for (unsigned bit = 0; bit < 26; ++bit)
    if (((drives >> bit) & 1u) == 0) {
      EXPECT_THROW(Path::GetCurrentPath(static_cast<CharT>('A' + bit)), InvalidPathException);
      break;
    }
  EXPECT_THROW(Path::GetCurrentPath(CharT('1')), InvalidPathException);
}

TYPED_TEST(NewPathTest, IsChild) {
  using Path = typename TestFixture::Path;
  struct Row {
    std::string child, parent;
    bool expected;
  };
  const Row rows[] = {{"C:\\a\\b", "c:\\A", true},
                      {"C:\\ab", "C:\\a", true},
                      {"C:\\a", "C:\\a", false},
                      {"C:\\a", "C:\\a\\b", false},
                      {"D:\\a\\b", "C:\\a", false}};
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE(::testing::Message() << "row " << i << ": " << rows[i].child << " under " << rows[i].parent);
    const Path child(this->T(rows[i].child), PathType::File, false);
    const Path parent(this->T(rows[i].parent), PathType::Directory, false);
    EXPECT_EQ(child.IsChild(parent), rows[i].expected);
  }
  EXPECT_TRUE(Path(this->T("x"), PathType::File, false).IsChild(Path()));  // an empty parent holds everything longer
}

TYPED_TEST(NewPathTest, CompareAndFold) {
  using Path = typename TestFixture::Path;
  struct Row {
    std::string a, b;
    bool equal, less;
  };
  const Row rows[] = {
      {"C:\\A", "c:\\a", false, true},    {"c:\\a", "C:\\A", false, false},      {"C:\\a", "C:\\a", true, false},
      {"C:\\a", "C:\\a\\b", false, true}, {"C:\\\x7F", "C:\\\x80", false, true},  // unsigned units
  };
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE(::testing::Message() << "row " << i << ": " << rows[i].a << " " << rows[i].b);
    const Path a(this->T(rows[i].a), PathType::File, false), b(this->T(rows[i].b), PathType::File, false);
    EXPECT_EQ(a == b, rows[i].equal);
    EXPECT_EQ(a == b.RawPath(), rows[i].equal);
    EXPECT_EQ(a < b, rows[i].less);
    EXPECT_EQ(a < b.RawPath(), rows[i].less);
  }

  Path p(this->T("C:\\DIR\\Name\xC4.TXT"), PathType::File, false);
  const std::uint32_t state = Access::State(p);
  p.ToLowerCase();
  EXPECT_EQ(p.RawPath(), this->T("c:\\dir\\name\xC4.txt"));  // only A-Z fold
  EXPECT_EQ(Access::State(p), state);
}

TYPED_TEST(NewPathTest, DeviceNames) {
  // Capitals are always found; small or mixed letters only where the halving reaches them.
  const std::string devices[] = {"CON", "NUL.dat", "CLOCK$", "COM1", "LPT9", "con", "Con.txt", "lpt1", "lpt9.x"};
  const std::string others[] = {"aux", "clock$", "com1", "Com1", "CON1", "COM10", "LPT0", "CON\\x", ""};
  for (const std::string& text : devices) EXPECT_TRUE(Access::IsDeviceName(this->T(text))) << text;
  for (const std::string& text : others) EXPECT_FALSE(Access::IsDeviceName(this->T(text))) << text;
}

TYPED_TEST(NewPathTest, InvalidCharacters) {
  using CharT = TypeParam;
  constexpr bool narrow = sizeof(CharT) == 1;
  struct Row {
    std::string chars;
    bool path, computer;
  };
  // Narrow bytes from 0x80 are invalid, wide units above 31 are judged by the table alone.
  const Row rows[] = {{"a -.$", false, false}, {std::string("\x1F\x01\0", 3), true, true},
                      {"*", true, false},      {"\"/:<>?\\|", true, true},
                      {"+,;=[]", false, true}, {"\x80\xE9", narrow, narrow}};
  for (std::size_t i = 0; i < std::size(rows); ++i)
    for (char c : rows[i].chars) {
      SCOPED_TRACE(::testing::Message() << "row " << i << ": " << int(c));
      const CharT unit = static_cast<CharT>(static_cast<unsigned char>(c));
      EXPECT_EQ(Access::InvalidPathChar(unit), rows[i].path);
      EXPECT_EQ(Access::InvalidComputerNameChar(unit), rows[i].computer);
    }
  // The segment scan uses its own table: it must agree with the sorted one on every unit.
  using Unit = std::make_unsigned_t<CharT>;
  for (unsigned u = 0; u <= std::numeric_limits<Unit>::max(); ++u)
    ASSERT_EQ(Access::InvalidSegment(static_cast<CharT>(u)), Access::InvalidPathChar(static_cast<CharT>(u))) << u;
  typename TestFixture::Path p(this->T("C:\\caf\xE9"), PathType::File, false);
  EXPECT_EQ(p.RawPath(), this->T("C:\\caf\xE9"));
  if (narrow) {
    EXPECT_THROW(p.Set(this->T("C:\\caf\xE9"), PathType::File, true), InvalidPathException);
  } else {
    EXPECT_NO_THROW(p.Set(this->T("C:\\caf\xE9"), PathType::File, true));
  }
}

}  // namespace
