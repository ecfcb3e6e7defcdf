#include "win32.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <tuple>
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
  static bool Refused(const std::basic_string<CharT>& text, bool validate) {
    try {
      Path(text, PathType::File, validate);
      return false;
    } catch (const InvalidPathException&) {
      return true;
    }
  }
  static bool Refused(const char* text, bool validate) { return Refused(T(text), validate); }
};

using Widths = ::testing::Types<char, ORVFile::wchar>;
TYPED_TEST_SUITE(NewPathTest, Widths);

// The flags and accessors are checked against the text on generated texts
// in ORVNewPath_random_test.cpp; these rows pin the texts themselves.
TYPED_TEST(NewPathTest, SetNormalises) {
  const std::string server70 = "\\\\" + std::string(70, 's') + "\\x";
  // "input|expected"
  for (const std::string row : {"|.", "C:/|C:\\", "\\..|\\", "//server/share/|\\\\server\\share",
                                "\\\\srv\\a\\..\\..|\\\\srv\\", "a\\..\\..\\b|..\\b", "file:///C:/x/y|C:\\x\\y",
                                "FILE://srv/share|\\\\srv\\share", "file:///|.", "\\x\\. |\\x"}) {
    SCOPED_TRACE(row);
    const typename TestFixture::Path p = this->P(row.substr(0, row.find('|')));
    EXPECT_EQ(p.RawPath(), this->T(row.substr(row.find('|') + 1)));
    EXPECT_EQ(Access::State(p) & 0xFFFFFu, 0xFFFFu);  // attributes unknown, not loaded, type File
  }
  // Without validation a long server name wraps the 6-bit root length.
  EXPECT_EQ(this->P(server70).RawPath(), this->T(server70));
  EXPECT_EQ(Access::State(this->P(server70)) >> 26, (2u + 70u) % 64u);
  // Defaults, and a moved-from path is a default one again.
  typename TestFixture::Path source = this->P("C:\\x"), moved(std::move(source));
  EXPECT_EQ(Access::State(source), 0x0000FFFFu);
  EXPECT_TRUE(source.RawPath().empty());
  EXPECT_EQ(moved.RawPath(), this->T("C:\\x"));
}

TYPED_TEST(NewPathTest, SetRefuses) {
  // Refused always: a drive that is not a letter, and what would resolve to a text that reads back as a drive.
  for (const char* text : {"1:\\x", ".\\u:", "x\\..\\c:\\y"})
    EXPECT_TRUE(this->Refused(text, false) && this->Refused(text, true)) << text;
  for (const char* text : {"\\\\sixteen-chars-xy\\s", "\\\\a+b\\s", "C:\\a*b", "C:\\dir\\con.txt"})
    EXPECT_TRUE(!this->Refused(text, false) && this->Refused(text, true)) << text;
  for (const char* text : {"\\\\fifteen-chars-x\\s", "C:\\CON\\x"}) EXPECT_FALSE(this->Refused(text, true)) << text;
  try {
    this->P("1:\\x");
  } catch (const InvalidPathException& e) {
    EXPECT_FALSE(e.Info());  // no message description
  }
}

TYPED_TEST(NewPathTest, Append) {
  using Path = typename TestFixture::Path;
  const PathType F = PathType::File, Dir = PathType::Directory;
  const std::tuple<std::string, PathType, std::string, PathType, std::string> rows[] = {
      {"C:\\a\\f.txt", F, "b", Dir, "C:\\a\\b"},    // joined to Directory()
      {"C:\\a", Dir, "..\\..\\..", Dir, "C:\\"},    // and canonicalised
      {"C:x", F, "y", F, "C:y"},                    // a drive-relative directory
      {".", Dir, "..", Dir, ".."},                  // leading ".." kept
      {"C:\\a", Dir, "\\\\s\\t", Dir, "\\\\s\\t"},  // complete: replaces
      {"\\\\s\\t\\u", Dir, "\\z", F, "\\\\s\\z"},   // keeps only this root
      {"x", Dir, "\\z", F, "\\z"},                  // or replaces without one
      // cut, then walked in place past sixteen bytes
      {"C:\\a\\b", Dir, "..\\..\\abcdefghijklmnopqrstuvwxyz", F, "C:\\abcdefghijklmnopqrstuvwxyz"}};
  for (const auto& [left, leftType, right, rightType, expected] : rows) {
    SCOPED_TRACE(left + " + " + right);
    const Path sum = this->P(left, leftType) + this->P(right, rightType);
    EXPECT_EQ(sum.RawPath(), this->T(expected));
    EXPECT_EQ(sum.IsRoot(), expected == "C:\\");
    EXPECT_EQ(sum.IsDirectory(), rightType == Dir);
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
  // Narrow bytes from 0x80 are refused, wide units above 31 by the tables alone.
  const auto refused = [](unsigned u, const char* table) {
    return u < 32 || (sizeof(CharT) == 1 && u >= 0x80) || (u < 0x80 && std::strchr(table, static_cast<int>(u)));
  };
  for (unsigned u = 0; u <= std::numeric_limits<std::make_unsigned_t<CharT>>::max(); ++u)
    ASSERT_EQ(Access::InvalidComputerNameChar(static_cast<CharT>(u)), refused(u, "\"+,/:;<=>?[\\]|")) << u;
  // Validation refuses exactly those units in a name, wherever the scan meets them.
  for (unsigned u = 1; u < 0x100; ++u)
    for (const std::size_t at : {0, 17, 40}) {
      std::basic_string<CharT> name = this->T(std::string(48, 'n'));
      name[at] = static_cast<CharT>(u);
      ASSERT_EQ(this->Refused(this->T("C:\\") + name, true), u != '\\' && u != '/' && refused(u, "\"*:<>?|"))
          << u << " at " << at;
    }
}

}  // namespace
