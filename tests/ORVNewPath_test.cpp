#include "win32.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <set>
#include <string>
#include <tuple>

#include "ORVFileException.h"
#include "ORVFileTestSupport.h"
#include "ORVNewPath.h"

namespace ORVFile {

// Reaches the state word.
struct NewPathTestAccess {
  template <class CharT>
  static unsigned State(const NewPathT<CharT>& p) {
    return p.m_state;
  }
};

}  // namespace ORVFile

namespace {

using ORVFile::InvalidPathException;
using ORVFile::NewPathT;
using ORVFile::PathType;
using Access = ORVFile::NewPathTestAccess;

template <class CharT>
using Str = std::basic_string<CharT>;

// ASCII rows serve both widths.
template <class CharT>
Str<CharT> S(const std::string& text) {
  Str<CharT> result;
  for (char c : text) result += static_cast<CharT>(static_cast<unsigned char>(c));
  return result;
}

template <class CharT>
bool Parses(NewPathT<CharT>& into, const Str<CharT>& text, PathType type, bool validate) {
  const std::string raised = orvtest::Catch([&] { into.Set(text, type, validate); }).type;
  EXPECT_TRUE(raised.empty() || raised == "InvalidPathException") << raised;
  return raised.empty();
}

template <class CharT>
class NewPathTest : public ::testing::Test {
 protected:
  using Path = NewPathT<CharT>;
  static Str<CharT> T(const std::string& text) { return S<CharT>(text); }
  static Path P(const std::string& text, PathType type = PathType::File) { return Path(T(text), type, false); }
  // Refused: the path exception, with no message description.
  static bool Refused(const std::string& text, bool validate) {
    const orvtest::Raised r = orvtest::Catch([&] { Path(T(text), PathType::File, validate); });
    return r.type == "InvalidPathException" && r.number == ~0u;
  }
};

using Widths = ::testing::Types<char, ORVFile::wchar>;
TYPED_TEST_SUITE(NewPathTest, Widths);

// The flags and accessors are checked against the text on generated texts
// below; these rows pin the texts themselves.
TYPED_TEST(NewPathTest, SetAndAppend) {
  using Path = typename TestFixture::Path;
  // "input|expected"
  for (const std::string row : {"|.", "C:/|C:\\", "\\..|\\", "//server/share/|\\\\server\\share",
                                "\\\\srv\\a\\..\\..|\\\\srv\\", "a\\..\\..\\b|..\\b", "file:///C:/x/y|C:\\x\\y",
                                "FILE://srv/share|\\\\srv\\share", "file:///|.", "\\x\\. |\\x"}) {
    const Path p = this->P(row.substr(0, row.find('|')));
    // Attributes unknown, not loaded, type File.
    EXPECT_TRUE(p.RawPath() == this->T(row.substr(row.find('|') + 1)) && (Access::State(p) & 0xFFFFFu) == 0xFFFFu)
        << row;
  }
  // Without validation a long server name wraps the 6-bit root length.
  const std::string longServer = "\\\\" + std::string(70, 's') + "\\x";
  EXPECT_TRUE(this->P(longServer).RawPath() == this->T(longServer) && Access::State(this->P(longServer)) >> 26 == 8u);
  // Defaults, and a moved-from path is a default one again.
  Path source = this->P("C:\\x"), moved(std::move(source));
  EXPECT_TRUE(Access::State(source) == 0xFFFFu && source.RawPath().empty() && moved.RawPath() == this->T("C:\\x"));

  // Refused always: a drive that is not a letter, and what would resolve to a text that reads back as a drive.
  for (const char* text : {"1:\\x", ".\\u:", "x\\..\\c:\\y"})
    EXPECT_TRUE(this->Refused(text, false) && this->Refused(text, true)) << text;
  // Device names in capitals are always found; in small or mixed letters only where the halving reaches them.
  for (const char* text : {"CON", "NUL.dat", "CLOCK$", "COM1", "LPT9", "con", "Con.txt", "lpt1", "lpt9.x"})
    EXPECT_TRUE(this->Refused(std::string("C:\\") + text, true)) << text;
  // What ".." removes is not validated.
  for (const char* text :
       {"aux", "clock$", "com1", "Com1", "CON1", "COM10", "LPT0", "CON\\x", "", "a*b\\CON.x\\..\\..", "x\\con.\\.. "})
    EXPECT_FALSE(this->Refused(std::string("C:\\") + text, true)) << text;

  // Append.
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
    const Path sum = this->P(left, leftType) + this->P(right, rightType);
    EXPECT_EQ(sum.RawPath(), this->T(expected)) << left << " + " << right;
    // The type comes from the right, the cache is reset, the root flag follows the text.
    EXPECT_EQ(Access::State(sum) & 0x2FFFFFu,
              (rightType == Dir ? 0x2FFFFu : 0xFFFFu) | (expected == "C:\\" ? 1u << 21 : 0));
  }
  // 259 units pass, 260 throw and leave the path as it was.
  const Path base = this->P("C:\\" + std::string(250, 'a'), Dir);
  Path p = base;
  EXPECT_EQ((Path(base) += this->P("bbbbb")).RawPath().size(), 259u);
  EXPECT_THROW(p += this->P("bbbbbb"), InvalidPathException);
  EXPECT_TRUE(Access::State(p) == Access::State(base) && p.RawPath() == base.RawPath());
}

TYPED_TEST(NewPathTest, CanonicalizeCompareChildAndFold) {
  using Path = typename TestFixture::Path;
  const Path current = Path::GetCurrentPath(TypeParam('.'));
  Path p = this->P("x");
  p.Canonicalize(true);
  EXPECT_TRUE(current.IsDirectory() && current.IsComplete() && p.RawPath() == current.Directory() + this->T("x"));
  // A drive that is missing, or not a letter, is refused.
  const unsigned missing = __builtin_ctz(~::GetLogicalDrives());
  ASSERT_LT(missing, 26u);
  EXPECT_THROW(Path::GetCurrentPath(static_cast<TypeParam>('A' + missing)), InvalidPathException);
  EXPECT_THROW(Path::GetCurrentPath(TypeParam('1')), InvalidPathException);

  const Path upper = this->P("C:\\A"), lower = this->P("c:\\a");
  EXPECT_TRUE(!(upper == lower) && upper < lower && !(lower < upper));
  EXPECT_TRUE(this->P("C:\\\x7F") < this->P("C:\\\x80"));  // unsigned units
  // Folded, strictly longer, no separator needed.
  EXPECT_TRUE(this->P("C:\\a\\b").IsChild(upper) && this->P("C:\\ab").IsChild(lower) && !lower.IsChild(lower));
  p = this->P("C:\\DIR\\Name\xC4.TXT");
  p.ToLowerCase();
  EXPECT_EQ(p.RawPath(), this->T("c:\\dir\\name\xC4.txt"));  // only A-Z fold
}

// Set over generated texts, heavy in what trips a path parser: roots and
// schemes, runs of separators and dots, device names, long server names,
// zeros and units outside ASCII. Each text must parse or throw
// InvalidPathException; what parses must be normalised, agree with its own
// accessors, and parse back to the same path.

template <class CharT>
struct TextSource {
  Str<CharT> Next() {
    Str<CharT> s = Start();
    const unsigned band = Below(10), length = Below(band < 6 ? 24 : band < 9 ? 100 : 401);
    while (s.size() < length) s += Token();
    return s;
  }

  static constexpr const char* kLetters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
  unsigned Below(std::size_t n) { return std::uniform_int_distribution<unsigned>(0, unsigned(n) - 1)(rng_); }
  Str<CharT> Pick(std::initializer_list<const char*> texts) { return S<CharT>(texts.begin()[Below(texts.size())]); }
  Str<CharT> Run(const char* set, std::size_t n) {
    Str<CharT> run;
    while (run.size() < n)
      run += static_cast<unsigned char>(Below(8) ? set[Below(std::strlen(set))] : " .+$_"[Below(5)]);
    return run;
  }

  // Roots and schemes mean something only at the start; servers of 62 units
  // and more wrap the root length.
  Str<CharT> Start() {
    const unsigned kind = Below(30);
    if (kind < 8) return Str<CharT>();
    if (kind < 14) return Run(kLetters, 1) + Pick({":", ":\\", ":/"});
    if (kind < 22) return Pick({"\\\\", "//", "\\/"}) + Run(kLetters, Below(18));
    if (kind < 23) return S<CharT>("\\\\") + Run(kLetters, Below(301));
    if (kind < 26) return Pick({"file:", "FILE://", "file:///", "File:\\\\", "file:\\\\\\", "fIlE:////"});
    return Pick({"\\", "/", ".\\", "..\\"});
  }

  Str<CharT> Token() {
    const unsigned kind = Below(100);
    if (kind < 14) return Run(kLetters, 1 + Below(8));
    // Narrow: any byte from 0x80; wide: unpaired surrogates or anything from 0x80.
    if (kind < 18)
      return Str<CharT>(1, CharT(sizeof(CharT) > 1 && Below(2) ? 0xD800 + Below(0x800)
                                                               : 0x80 + Below(sizeof(CharT) == 1 ? 0x80 : 0xFF80)));
    if (kind < 21) return Str<CharT>(1, static_cast<CharT>(Below(2) ? 0 : Below(128)));  // zeros and all of ASCII
    if (kind < 22) return S<CharT>("\\\\") + Run(kLetters, Below(20));  // only a leading server is a root
    if (kind < 40) return Pick({"\\", "/", "\\\\", "//\\", "\\/\\/"});
    if (kind < 56) return Pick({".", ".", "..", "..", "...", ".....", "file:", "FILE://", "x:", "C:/"});
    return Pick({":",    " ",      "  ",   "CON",   "con", "Aux", "LPT1", "lpt9", "nul.txt", "PRN",
                 "COM1", "CLOCK$", "CON.", "COM10", "*",   "?",   "<",    ">",    "|",       "\"",
                 "+",    ",",      ";",    "=",     "[",   "]",   "$",    "~"});
  }

  std::mt19937 rng_{0x5EED1u};  // a fixed seed: the same texts on every run
};

// Every public observer: two paths that agree on these are the same path.
template <class CharT>
auto Observe(const NewPathT<CharT>& p) {
  return std::make_tuple(p.RawPath(), p.IsAbsolute(), p.IsRoot(), p.IsServer(), p.IsUNC(), p.HasDrive(), p.IsFile(),
                         p.IsDirectory(), p.IsComplete(), p.Root(), p.Drive(), p.Name(), p.Extension(), p.Directory(),
                         p.DirectoryWithoutBackslash(), p.FullPath());
}

// The first broken invariant of a parsed path, or nothing.
template <class CharT>
std::string Broken(const NewPathT<CharT>& p) {
  const CharT bs = CharT('\\');
  const Str<CharT>& raw = p.RawPath();
  const std::size_t n = raw.size();
  if (n == 0 || raw.back() == CharT(' ') || raw.find(CharT('/')) != Str<CharT>::npos) return "empty, slash, end space";
  const Str<CharT> full = p.FullPath(), name = p.Name(), dir = p.Directory(), dirw = p.DirectoryWithoutBackslash();
  // The root as the text shows it.
  const bool hasDrive = n >= 2 && raw[1] == CharT(':'), unc = n >= 2 && raw[0] == bs && raw[1] == bs;
  if (p.HasDrive() != hasDrive || p.IsUNC() != unc || (hasDrive && unsigned((raw[0] | 0x20) - 'a') >= 26))
    return "drive";
  const std::size_t root = hasDrive ? 2 : unc ? std::min(raw.find(bs, 2), n) : 0;
  const bool absolute = raw[0] == bs || (p.HasDrive() && n > 2 && raw[2] == bs);
  if (p.IsAbsolute() != absolute || (absolute && (root >= n || raw[root] != bs))) return "absolute flag or root";
  if (p.IsRoot() != (absolute && n == root + 1) || p.IsServer() != (p.IsRoot() && p.IsUNC())) return "root or server";

  // Segments after the root: none empty, no ".", ".." only leading a relative path.
  bool leading = !absolute;
  for (std::size_t pos = absolute ? root + 1 : root; pos < n;) {
    const std::size_t end = std::min(raw.find(bs, pos), n);
    const Str<CharT> segment = raw.substr(pos, end - pos);
    if (segment.empty() || end + 1 == n) return "empty segment (doubled or trailing backslash)";
    if ((segment == S<CharT>(".") && n > 1) || (segment == S<CharT>("..") && !leading)) return "dots";
    leading = leading && segment == S<CharT>("..");
    pos = end + 1;
  }

  const bool bareDrive = p.HasDrive() && n == 2;
  if (p.IsFile() == p.IsDirectory()) return "neither or both of file and directory";
  if (full != (p.IsDirectory() && raw.back() != bs && !bareDrive ? raw + bs : raw)) return "FullPath";
  if (p.Drive() != (p.HasDrive() ? raw.substr(0, 2) : Str<CharT>())) return "Drive";
  if (p.Root() != (absolute ? raw.substr(0, root + 1) : p.HasDrive() ? p.Drive() + bs : Str<CharT>())) return "Root";
  // The name is the whole last segment, the extension its part from the last dot.
  const std::size_t before = n - name.size();
  if (name.find(bs) != Str<CharT>::npos || (before > 0 && raw[before - 1] != bs && !(p.HasDrive() && before == 2)))
    return "Name is not the last segment";
  if (name.empty() != (p.IsRoot() || bareDrive)) return "Name empty or not";
  if (p.Extension() != name.substr(std::min(name.rfind(CharT('.')), name.size()))) return "Extension";
  // A directory is its own Directory; a file's is what precedes its name, without the backslash unless a root.
  const bool trimmed = !(absolute && dir.size() == root + 1) && !dir.empty() && dir.back() == bs;
  if (p.IsDirectory() ? dir != full || dirw != raw : dir + name != raw || dirw != dir.substr(0, dir.size() - trimmed))
    return "Directory or DirectoryWithoutBackslash";
  return std::string();
}

// What validation must do with a path the plain parse gave: refuse it (a
// unit no name may hold, for narrow paths every byte from 0x80; a server name
// that is empty, longer than 15 or holds what a computer name cannot; a device
// name in capitals before a dot or as the last name, the one form always
// found), pass it (none of these, and no name that folds to a device), or
// either (a device name in small letters, found as the search's halving goes).
enum class Verdict { kPass, kEither, kRefuse };

template <class CharT>
std::pair<Verdict, std::string> Validation(const NewPathT<CharT>& p) {
  const CharT bs = CharT('\\');
  const Str<CharT>& raw = p.RawPath();
  const std::size_t root = p.HasDrive() ? 2 : p.IsUNC() ? std::min(raw.find(bs, 2), raw.size()) : 0;
  if (p.IsUNC() && (root < 3 || root > 17)) return {Verdict::kRefuse, "server name length"};
  for (std::size_t i = p.IsUNC() ? 2 : root; i < raw.size(); ++i) {
    const auto u = static_cast<unsigned>(static_cast<std::make_unsigned_t<CharT>>(raw[i]));
    if (u < 32 || (sizeof(CharT) == 1 && u >= 0x80) ||
        (u < 0x80 && u != '\\' && std::strchr(i < root ? "\"+,/:;<=>?[\\]|" : "\"*/:<>?|", int(u))))
      return {Verdict::kRefuse, i < root ? "unit in a server name" : "unit in a name"};
  }
  std::set<std::string> devices = {"AUX", "CLOCK$", "CON", "NUL", "PRN"};
  for (const char digit : std::string("123456789")) devices.insert({{'C', 'O', 'M', digit}, {'L', 'P', 'T', digit}});
  Verdict verdict = Verdict::kPass;
  for (std::size_t pos = p.IsAbsolute() ? root + 1 : root; pos < raw.size();) {
    const std::size_t end = std::min(raw.find(bs, pos), raw.size()), dot = std::min(raw.find(CharT('.'), pos), end);
    std::string name, upper;  // units outside ASCII stand as '?', which no device name holds
    for (std::size_t i = pos; i < dot; ++i)
      name += static_cast<unsigned>(raw[i]) < 0x80 ? static_cast<char>(raw[i]) : '?';
    for (const char c : name) upper += static_cast<char>(c >= 'a' && c <= 'z' ? c - 32 : c);
    if ((dot < end || end == raw.size()) && devices.count(upper) != 0) {
      if (name == upper) return {Verdict::kRefuse, "device name"};
      verdict = Verdict::kEither;
    }
    pos = end + 1;
  }
  return {verdict, std::string()};
}

TYPED_TEST(NewPathTest, SetOnGeneratedTexts) {
  using Path = NewPathT<TypeParam>;
  const int texts = 40000 * orvtest::TestScale();
  TextSource<TypeParam> source;
  Path reused;                   // a Set must not depend on what the object held before
  std::set<std::string> faults;  // each kind of fault is reported once
  int validAccepted = 0;
  for (int index = 0; index < texts; ++index) {
    const auto text = source.Next();
    Path plain, checked, directory, again;
    const auto fault = [&](const std::string& kind, const Path& got) {
      if (faults.insert(kind).second)
        ADD_FAILURE() << kind << ": " << testing::PrintToString(std::pair(text, got.RawPath()));
    };
    const bool parsed = Parses(plain, text, PathType::File, false);
    const bool passed = Parses(checked, text, PathType::File, true);
    validAccepted += passed;
    if (passed && !parsed) fault("validation passed what the plain parse refused", checked);
    // The stored root length has six bits, so without validation a server name of 62 units or more wraps it;
    // the parse of such a text need only not crash. Any such run in a text counts here as a server name.
    const auto notSeparator = [](TypeParam c, TypeParam) { return c != TypeParam('\\') && c != TypeParam('/'); };
    if (!parsed || std::search_n(text.begin(), text.end(), 62, TypeParam(), notSeparator) != text.end()) continue;
    if (!Parses(directory, text, PathType::Directory, false) || directory.RawPath() != plain.RawPath())
      fault("File and Directory parse differently", directory);
    for (const Path* p : {&plain, &directory})
      if (const std::string broken = Broken(*p); !broken.empty()) fault(broken, *p);
    if (!Parses(again, plain.RawPath(), PathType::File, false) || Observe(again) != Observe(plain))
      fault("its own text parses differently", plain);
    if (Parses(reused, text, PathType::File, false) && Observe(reused) != Observe(plain))
      fault("a reused object parses differently", reused);
    // Validation only refuses, never changes, and what it passed it passes again.
    const auto [verdict, reason] = Validation(plain);
    if (passed && verdict == Verdict::kRefuse) fault("validation passed a " + reason, plain);
    if (!passed && verdict == Verdict::kPass) fault("validation refused a valid path", plain);
    if (passed && (Observe(checked) != Observe(plain) || !Parses(again, plain.RawPath(), PathType::File, true)))
      fault("validation changed the result, or refuses it", checked);
  }
  // The texts must reach both outcomes often, or they test little.
  EXPECT_TRUE(validAccepted > texts / 10 && validAccepted < texts - texts / 10) << validAccepted;
}

// Texts under 127 units take a walk of their own; the same text made longer
// by a segment that ".." removes takes the general one and must give the
// same path, or the same refusal.
TYPED_TEST(NewPathTest, ShortAndLongTextsWalkAlike) {
  using Path = NewPathT<TypeParam>;
  TextSource<TypeParam> source;
  const std::string roots[] = {"a\\", "C:a\\", "C:\\", "\\a\\", "\\\\srv\\", "//srv/"};
  const Str<TypeParam> detour = S<TypeParam>(std::string(130, 'q') + "\\..\\");
  for (int index = 0; index < 20000 * orvtest::TestScale(); ++index) {
    const Str<TypeParam> root = S<TypeParam>(roots[index % std::size(roots)]);
    const std::size_t length = root.size() + source.Below(127 - root.size());
    Str<TypeParam> text = root;
    while (text.size() < length) text += source.Token();
    text.resize(length);
    for (const bool validate : {false, true}) {
      Path p, q;
      const bool parsed = Parses(p, text, PathType::File, validate);
      EXPECT_TRUE(parsed == Parses(q, root + detour + text.substr(root.size()), PathType::File, validate) &&
                  (!parsed || Observe(p) == Observe(q)))
          << testing::PrintToString(text) << (validate ? " validated" : "");
    }
  }
}

}  // namespace
