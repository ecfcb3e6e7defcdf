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

constexpr std::uint32_t A = 1u << 20;  // absolute
constexpr std::uint32_t R = 1u << 21;  // root
constexpr std::uint32_t U = 1u << 22;  // UNC
constexpr std::uint32_t D = 1u << 23;  // drive
constexpr std::uint32_t V = 1u << 24;  // server

template <class CharT>
class NewPathTest : public ::testing::Test {
 protected:
  using Path = NewPathT<CharT>;
  // ASCII rows serve both widths.
  static std::basic_string<CharT> T(const std::string& text) {
    std::basic_string<CharT> result;
    for (char c : text) result += static_cast<CharT>(static_cast<unsigned char>(c));
    return result;
  }
  static Path P(const std::string& text, PathType type = PathType::File) { return Path(T(text), type, false); }
};

using Widths = ::testing::Types<char, ORVFile::wchar>;
TYPED_TEST_SUITE(NewPathTest, Widths);

// The flags and root length the text alone cannot show; that no slash, empty
// or dot segment or trailing space survives, and that the accessors agree
// with the text, is checked on generated texts in ORVNewPath_random_test.cpp.
TYPED_TEST(NewPathTest, SetNormalises) {
  struct Row {
    std::string input, expected;
    std::uint32_t flags;
    unsigned rootLength;
  };
  const std::string server70(70, 's');
  const Row rows[] = {{"", ".", 0, 0},
                      {"C:", "C:", D, 2},
                      {"C:/", "C:\\", A | R | D, 2},
                      {"\\..", "\\", A | R, 0},
                      {"//server/share/", "\\\\server\\share", A | U, 8},
                      {"\\\\srv\\a\\..\\..", "\\\\srv\\", A | R | U | V, 5},
                      {"a\\..\\..\\b", "..\\b", 0, 0},
                      {"file:///C:/x/y", "C:\\x\\y", A | D, 2},
                      {"FILE://srv/share", "\\\\srv\\share", A | U, 5},
                      {"file:///", ".", 0, 0},
                      {"C:\\dir\\name \\", "C:\\dir\\name", A | D, 2},
                      // Without validation a long server name wraps the 6-bit root length.
                      {"\\\\" + server70 + "\\x", "\\\\" + server70 + "\\x", A | U, (2 + 70) % 64},
                      // Trimming the end lays bare a dot segment, which goes too.
                      {"\\x\\. ", "\\x", A, 0}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.input);
    const typename TestFixture::Path p = this->P(row.input);
    EXPECT_EQ(p.RawPath(), this->T(row.expected));
    EXPECT_EQ(Access::State(p) >> 20, (row.flags >> 20) | (row.rootLength << 6));
    EXPECT_EQ(Access::State(p) & 0xFFFFFu, 0xFFFFu);  // attributes unknown, not loaded, type File
  }
  // Defaults, and a moved-from path is a default one again.
  typename TestFixture::Path source = this->P("C:\\x"), moved(std::move(source));
  EXPECT_EQ(Access::State(source), 0x0000FFFFu);
  EXPECT_TRUE(source.RawPath().empty());
  EXPECT_EQ(moved.RawPath(), this->T("C:\\x"));
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
                      {"\\\\a+b\\s", false, true},
                      {"C:\\a*b", false, true},
                      {"C:\\dir\\con.txt", false, true},
                      {"C:\\CON\\x", false, false},
                      // Would resolve to a text that reads back as a drive.
                      {".\\u:", true, true},
                      {"x\\..\\c:\\y", true, true}};
  for (const Row& row : rows)
    for (const bool validate : {false, true}) {
      SCOPED_TRACE(row.input + (validate ? " validated" : ""));
      typename TestFixture::Path p;
      try {
        p.Set(this->T(row.input), PathType::File, validate);
        EXPECT_FALSE(validate ? row.validated : row.plain);
      } catch (const InvalidPathException& e) {
        EXPECT_TRUE(validate ? row.validated : row.plain);
        EXPECT_FALSE(e.Info());  // no message description
      }
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
  const Row rows[] = {
      {"C:\\a\\f.txt", F, "b", Dir, "C:\\a\\b", false},    // joined to Directory()
      {"C:\\a", Dir, "..\\..\\..", Dir, "C:\\", true},     // and canonicalised
      {"C:x", F, "y", F, "C:y", false},                    // a drive-relative directory
      {".", Dir, "..", Dir, "..", false},                  // leading ".." kept
      {"C:\\a", Dir, "\\\\s\\t", Dir, "\\\\s\\t", false},  // complete: replaces
      {"\\\\s\\t\\u", Dir, "\\z", F, "\\\\s\\z", false},   // keeps only this root
      {"x", Dir, "\\z", F, "\\z", false},                  // or replaces without one
      // cut, then walked in place past sixteen bytes
      {"C:\\a\\b", Dir, "..\\..\\abcdefghijklmnopqrstuvwxyz", F, "C:\\abcdefghijklmnopqrstuvwxyz", false}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.left + " + " + row.right);
    const Path left = this->P(row.left, row.leftType);
    const Path sum = left + this->P(row.right, row.rightType);
    EXPECT_EQ(sum.RawPath(), this->T(row.expected));
    EXPECT_EQ(sum.IsRoot(), row.root);
    EXPECT_EQ(sum.IsDirectory(), row.rightType == Dir);
    EXPECT_EQ(Access::State(sum) & 0x1FFFFu, 0xFFFFu);  // cache reset
  }
  // 259 units pass, 260 throw and leave the path as it was.
  const Path base = this->P("C:\\" + std::string(250, 'a'), Dir);
  Path p = base;
  EXPECT_EQ((p += this->P("bbbbb")).RawPath().size(), 259u);
  p = base;
  EXPECT_THROW(p += this->P("bbbbbb"), InvalidPathException);
  EXPECT_EQ(Access::State(p), Access::State(base));
  EXPECT_EQ(p.RawPath(), base.RawPath());
}

TYPED_TEST(NewPathTest, CanonicalizeToAbsolute) {
  using Path = typename TestFixture::Path;
  using CharT = TypeParam;
  const Path current = Path::GetCurrentPath(CharT('.'));
  EXPECT_TRUE(current.IsDirectory() && current.IsComplete());
  Path p = this->P("x");
  p.Canonicalize(true);
  EXPECT_EQ(p.RawPath(), current.Directory() + this->T("x"));
  // A drive that is missing, or not a letter, is refused.
  const DWORD drives = ::GetLogicalDrives();
  for (unsigned bit = 0; bit < 26; ++bit)
    if (((drives >> bit) & 1u) == 0) {
      EXPECT_THROW(Path::GetCurrentPath(static_cast<CharT>('A' + bit)), InvalidPathException);
      break;
    }
  EXPECT_THROW(Path::GetCurrentPath(CharT('1')), InvalidPathException);
}

TYPED_TEST(NewPathTest, CompareChildAndFold) {
  using Path = typename TestFixture::Path;
  const Path upper = this->P("C:\\A"), lower = this->P("c:\\a");
  EXPECT_FALSE(upper == lower);
  EXPECT_TRUE(upper < lower && !(lower < upper));
  EXPECT_TRUE(this->P("C:\\\x7F") < this->P("C:\\\x80"));  // unsigned units
  EXPECT_TRUE(this->P("C:\\a\\b").IsChild(upper));         // folded, strictly longer
  EXPECT_TRUE(this->P("C:\\ab").IsChild(lower));           // no separator needed
  EXPECT_FALSE(lower.IsChild(lower));
  Path p = this->P("C:\\DIR\\Name\xC4.TXT");
  p.ToLowerCase();
  EXPECT_EQ(p.RawPath(), this->T("c:\\dir\\name\xC4.txt"));  // only A-Z fold
}

TYPED_TEST(NewPathTest, DeviceNames) {
  // Capitals are always found; small or mixed letters only where the halving reaches them.
  for (const char* text : {"CON", "NUL.dat", "CLOCK$", "COM1", "LPT9", "con", "Con.txt", "lpt1", "lpt9.x"})
    EXPECT_TRUE(Access::IsDeviceName(this->T(text))) << text;
  for (const char* text : {"aux", "clock$", "com1", "Com1", "CON1", "COM10", "LPT0", "CON\\x", ""})
    EXPECT_FALSE(Access::IsDeviceName(this->T(text))) << text;
}

TYPED_TEST(NewPathTest, InvalidCharacters) {
  using CharT = TypeParam;
  using Unit = std::make_unsigned_t<CharT>;
  const std::string path = "\"*/:<>?\\|", computer = "\"+,/:;<=>?[\\]|";
  // Narrow bytes from 0x80 are refused, wide units above 31 by the tables alone.
  for (unsigned u = 0; u <= std::numeric_limits<Unit>::max(); ++u) {
    const bool below = u < 32 || (sizeof(CharT) == 1 && u >= 0x80);
    const char c = static_cast<char>(u < 0x80 ? u : 0);
    ASSERT_EQ(Access::InvalidPathChar(static_cast<CharT>(u)), below || path.find(c) != std::string::npos) << u;
    ASSERT_EQ(Access::InvalidComputerNameChar(static_cast<CharT>(u)), below || computer.find(c) != std::string::npos)
        << u;
  }
  // Validation refuses exactly those units in a name, wherever the scan meets them.
  typename TestFixture::Path p;
  for (unsigned u = 1; u < 0x100; ++u)
    for (const std::size_t at : {0, 17, 40}) {
      std::basic_string<CharT> name = this->T(std::string(48, 'n'));
      name[at] = static_cast<CharT>(u);
      bool refused = false;
      try {
        p.Set(this->T("C:\\") + name, PathType::File, true);
      } catch (const InvalidPathException&) {
        refused = true;
      }
      ASSERT_EQ(refused, u != '\\' && u != '/' && Access::InvalidPathChar(static_cast<CharT>(u))) << u << " at " << at;
    }
}

}  // namespace
