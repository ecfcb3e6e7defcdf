#include "win32.h"

#include <emmintrin.h>

#include <algorithm>
#include <climits>
#include <type_traits>
#include <utility>

#include "ORVCharset.h"
#include "ORVFileException.h"
#include "ORVHandle.h"
#include "ORVNewPath.h"
#include "ORVPathWrp.h"
#include "ORVRaise.h"
#include "ORVToLower.h"

namespace ORVFile {

namespace {

// The constants are ASCII, so one narrow literal serves both widths.
template <class CharT>
std::basic_string<CharT> Ascii(const char* text) {
  std::basic_string<CharT> result;
  for (; *text != '\0'; ++text) result += static_cast<CharT>(static_cast<unsigned char>(*text));
  return result;
}

template <class CharT>
constexpr CharT FoldAscii(CharT c) noexcept {
  return ORV::AsciiToLower(c);
}

template <class CharT>
constexpr bool IsAsciiLetter(CharT c) noexcept {
  const CharT folded = FoldAscii(c);
  return folded >= CharT('a') && folded <= CharT('z');
}

// Set accepts both separators and keeps only backslashes.
template <class CharT>
constexpr bool IsSeparator(CharT c) noexcept {
  return c == CharT('\\') || c == CharT('/');
}

template <class CharT>
constexpr CharT Unslashed(CharT c) noexcept {
  return c == CharT('/') ? CharT('\\') : c;
}

// The narrow tests are made on the signed character, the wide ones unsigned.
template <class CharT>
constexpr int Signed(CharT c) noexcept {
  if constexpr (sizeof(CharT) == 1)
    return static_cast<signed char>(c);
  else
    return static_cast<std::int16_t>(c);
}

template <class CharT>
constexpr bool BelowSpace(CharT c) noexcept {
  if constexpr (sizeof(CharT) == 1)
    return static_cast<signed char>(c) < 32;
  else
    return static_cast<std::uint16_t>(c) < 32;
}

constexpr char kInvalidPathChars[] = "\"*/:<>?\\|";
constexpr char kInvalidComputerChars[] = "\"+,/:;<=>?[\\]|";

// The answers of a rule on one unit, asked once for every ASCII unit, so that
// a scan pays one load per unit instead of a binary search. From 0x80 up the
// rules answer alike for every unit (every narrow byte is below 32 as a signed
// char, no wide unit is in an ASCII table), so 0x80 answers for them all.
template <class CharT>
class UnitRule {
 public:
  explicit UnitRule(bool (*rule)(const CharT&)) {
    for (unsigned unit = 0; unit <= kHigh; ++unit) m_refused[unit] = rule(static_cast<CharT>(unit));
  }
  bool operator()(CharT c) const noexcept {
    const auto unit = static_cast<std::make_unsigned_t<CharT>>(c);
    return m_refused[unit < kHigh ? unit : kHigh];
  }

 private:
  static constexpr unsigned kHigh = 0x80;
  bool m_refused[kHigh + 1];
};

// Sixteen bytes of a text (SSE2, which every x64 processor has), with '/'
// turned into '\', and one bit per unit for the separators and for the dots.
struct Block {
  __m128i units;
  unsigned separators;
  unsigned dots;
};

template <class CharT>
Block LoadBlock(const CharT* text) noexcept {
  __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
  const auto is = [&v](char c) {
    if constexpr (sizeof(CharT) == 1)
      return _mm_cmpeq_epi8(v, _mm_set1_epi8(c));
    else
      return _mm_cmpeq_epi16(v, _mm_set1_epi16(c));
  };
  const auto bits = [](__m128i mask) {
    if constexpr (sizeof(CharT) == 1)
      return static_cast<unsigned>(_mm_movemask_epi8(mask));
    else
      return static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(mask, _mm_setzero_si128())));
  };
  const __m128i flip = sizeof(CharT) == 1 ? _mm_set1_epi8('\\' ^ '/') : _mm_set1_epi16('\\' ^ '/');
  v = _mm_xor_si128(v, _mm_and_si128(is('/'), flip));
  return {v, bits(is('\\')), bits(is('.'))};
}

// One bit per unit of the sixteen bytes that is not an ASCII letter or digit.
// The compares are signed: narrow bytes from 0x80 and wide units from 0x8000
// fall below every range.
template <class CharT>
unsigned OtherThanLettersAndDigits(const CharT* text) noexcept {
  const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
  const auto within = [](__m128i u, char low, char high) {
    if constexpr (sizeof(CharT) == 1)
      return _mm_and_si128(_mm_cmpgt_epi8(u, _mm_set1_epi8(static_cast<char>(low - 1))),
                           _mm_cmplt_epi8(u, _mm_set1_epi8(static_cast<char>(high + 1))));
    else
      return _mm_and_si128(_mm_cmpgt_epi16(u, _mm_set1_epi16(static_cast<short>(low - 1))),
                           _mm_cmplt_epi16(u, _mm_set1_epi16(static_cast<short>(high + 1))));
  };
  const __m128i lowered = _mm_or_si128(v, sizeof(CharT) == 1 ? _mm_set1_epi8(0x20) : _mm_set1_epi16(0x20));
  const __m128i plain = _mm_or_si128(within(v, '0', '9'), within(lowered, 'a', 'z'));
  if constexpr (sizeof(CharT) == 1)
    return ~static_cast<unsigned>(_mm_movemask_epi8(plain)) & 0xFFFFu;
  else
    return ~static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(plain, _mm_setzero_si128()))) & 0xFFu;
}

// Whether the segments written before kept are all "..": a relative path
// keeps a ".." that follows only those.
template <class CharT>
bool OnlyParentsBefore(const CharT* out, std::size_t first, std::size_t kept) noexcept {
  const CharT dot = CharT('.');
  return kept == first || (kept - first >= 3 && out[kept - 2] == dot && out[kept - 3] == dot &&
                           (kept - 3 == first || out[kept - 4] == CharT('\\')));
}

// One pass over the segments of in from first to size, written to out at the
// same positions or lower: runs of backslashes collapse, "." goes with its
// backslash, ".." removes the segment before it but never crosses first, and
// a relative path keeps its leading "..". out is in (the walk never writes
// ahead of what it reads) or does not overlap it; then the units between
// dot segments and empty ones are copied sixteen bytes at a time. Returns the
// length written.
template <class CharT>
std::size_t WalkSegments(const CharT* in, CharT* out, std::size_t first, std::size_t size, bool absolute) noexcept {
  constexpr std::size_t kBlock = 16 / sizeof(CharT);
  const CharT bs = CharT('\\');
  const CharT dot = CharT('.');
  const bool blocks = in != out;  // a block store would overwrite units not yet read
  std::size_t kept = first;
  std::size_t pos = first;
  bool atStart = true;  // the next unit starts a segment
  while (pos < size) {
    if (blocks && pos + kBlock <= size) {
      const Block block = LoadBlock(in + pos);
      // Where a segment may be empty or a dot segment, the units are looked at one by one.
      const unsigned starts = (block.separators << 1) | static_cast<unsigned>(atStart);
      const unsigned events = (block.separators | block.dots) & starts;
      const std::size_t run = events != 0 ? static_cast<std::size_t>(__builtin_ctz(events)) : kBlock;
      _mm_storeu_si128(reinterpret_cast<__m128i*>(out + kept), block.units);
      kept += run;
      pos += run;
      if (run != 0) atStart = ((block.separators >> (run - 1)) & 1u) != 0;
      if (run == kBlock) continue;
    }
    const CharT c = Unslashed(in[pos]);
    if (atStart && c == bs) {  // an empty segment
      ++pos;
      continue;
    }
    if (atStart && c == dot) {
      const CharT next = pos + 1 < size ? Unslashed(in[pos + 1]) : bs;
      if (next == bs) {
        pos += 2;  // "." and its backslash
        continue;
      }
      const CharT afterNext = pos + 2 < size ? Unslashed(in[pos + 2]) : bs;
      if (next == dot && afterNext == bs) {
        if (absolute || !OnlyParentsBefore(out, first, kept)) {
          std::size_t cut = first;
          for (std::size_t b = kept >= 2 ? kept - 1 : first; b-- > first;) {
            if (out[b] == bs) {
              cut = b + 1;
              break;
            }
          }
          kept = cut;
          pos += 3;  // ".." and its backslash
          continue;
        }
        out[kept++] = dot;
        out[kept++] = dot;
        pos += 2;
        atStart = false;
        continue;
      }
    }
    out[kept++] = c;
    atStart = c == bs;
    ++pos;
  }
  return kept;
}

// The search can only answer true when a table name, letters folded, is
// followed in the text by "." or the end: so the text must start with one of
// the names' initials and hold a run of 3, 4 or 6 units without "\" before
// its first "." or end. Most names fail this at once.
template <class CharT>
bool MayNameDevice(const CharT* text) noexcept {
  const CharT initial = FoldAscii(text[0]);
  if (initial != CharT('a') && initial != CharT('c') && initial != CharT('l') && initial != CharT('n') &&
      initial != CharT('p'))
    return false;
  std::size_t length = 1;
  while (length < 7 && text[length] != CharT('.') && text[length] != CharT(0) && text[length] != CharT('\\')) ++length;
  const CharT stop = text[length];
  return (stop == CharT('.') || stop == CharT(0)) && (length == 3 || length == 4 || length == 6);
}

// The exceptions of Set carry no message.
[[noreturn]] void ThrowInvalidPath() {
  throw InvalidPathException(SmartPtr<MessageInfo>(), InvalidPathException::ClassName());
}

[[noreturn]] void ThrowNotFoundWithoutMessage() {
  throw FileNotFoundException(SmartPtr<MessageInfo>(), FileNotFoundException::ClassName());
}

std::int32_t ClampToInt32(long long value) noexcept {
  return static_cast<std::int32_t>(std::clamp<long long>(value, INT32_MIN, INT32_MAX));
}

long long UnixTime(const FILETIME& time) noexcept {
  return ORV::FileTimeToUnixTime(time.dwLowDateTime, time.dwHighDateTime);
}

// Both widths' find records have the same layout but for the name.
template <class CharT, class Record>
void Convert(const Record& from, Win32FindData<CharT>& to) {
  to.attributes = from.dwFileAttributes;
  to.creationTime = ClampToInt32(UnixTime(from.ftCreationTime));
  to.lastAccessTime = ClampToInt32(UnixTime(from.ftLastAccessTime));
  to.lastWriteTime = ClampToInt32(UnixTime(from.ftLastWriteTime));
  to.size = from.nFileSizeLow;  // the high half is dropped, as in the path's cache
  to.name.assign(from.cFileName);
}

template <class CharT>
bool IsDotEntry(const std::basic_string<CharT>& name) noexcept {
  return (name.size() == 1 && name[0] == CharT('.')) ||
         (name.size() == 2 && name[0] == CharT('.') && name[1] == CharT('.'));
}

using detail::IsDirectoryAttribute;
using detail::IsRealDirectory;

}  // namespace

template <class CharT>
const typename NewPathT<CharT>::String NewPathT<CharT>::NP_PATH_SEPARATOR = Ascii<CharT>("\\");
template <class CharT>
const typename NewPathT<CharT>::String NewPathT<CharT>::NP_SLASH = Ascii<CharT>("/");
template <class CharT>
const typename NewPathT<CharT>::String NewPathT<CharT>::NP_DRIVE_SEPARATOR = Ascii<CharT>(":");
template <class CharT>
const typename NewPathT<CharT>::String NewPathT<CharT>::NP_EXTENSION_SEPARATOR = Ascii<CharT>(".");
template <class CharT>
const typename NewPathT<CharT>::String NewPathT<CharT>::NP_CURRENT = Ascii<CharT>(".");
template <class CharT>
const typename NewPathT<CharT>::String NewPathT<CharT>::NP_SPACE = Ascii<CharT>(" ");
template <class CharT>
const typename NewPathT<CharT>::String NewPathT<CharT>::NP_ROOT = Ascii<CharT>("\\");
template <class CharT>
const typename NewPathT<CharT>::String NewPathT<CharT>::NP_PARENT = Ascii<CharT>("..");
template <class CharT>
const typename NewPathT<CharT>::String NewPathT<CharT>::NP_UNC_ROOT = Ascii<CharT>("\\\\");
template <class CharT>
const typename NewPathT<CharT>::String NewPathT<CharT>::NP_FILE_SCHEME = Ascii<CharT>("file:\\\\");
template <class CharT>
const typename NewPathT<CharT>::String NewPathT<CharT>::NP_ALL_INVALID_PATH_CHAR = Ascii<CharT>(kInvalidPathChars);
template <class CharT>
const typename NewPathT<CharT>::String NewPathT<CharT>::NP_ALL_INVALID_COMPUTER_CHAR =
    Ascii<CharT>(kInvalidComputerChars);
template <class CharT>
const typename NewPathT<CharT>::String NewPathT<CharT>::NP_DEFAULT_FILTER = Ascii<CharT>("*");
template <class CharT>
const AdvSearchOptions NewPathT<CharT>::NP_DEFAULT_ADV_OPTIONS;
template <class CharT>
const typename NewPathT<CharT>::String NewPathT<CharT>::NP_ALL_INVALID_PATH_NAME[kDeviceNameCount] = {
    Ascii<CharT>("AUX"),  Ascii<CharT>("CLOCK$"), Ascii<CharT>("COM1"), Ascii<CharT>("COM2"), Ascii<CharT>("COM3"),
    Ascii<CharT>("COM4"), Ascii<CharT>("COM5"),   Ascii<CharT>("COM6"), Ascii<CharT>("COM7"), Ascii<CharT>("COM8"),
    Ascii<CharT>("COM9"), Ascii<CharT>("CON"),    Ascii<CharT>("LPT1"), Ascii<CharT>("LPT2"), Ascii<CharT>("LPT3"),
    Ascii<CharT>("LPT4"), Ascii<CharT>("LPT5"),   Ascii<CharT>("LPT6"), Ascii<CharT>("LPT7"), Ascii<CharT>("LPT8"),
    Ascii<CharT>("LPT9"), Ascii<CharT>("NUL"),    Ascii<CharT>("PRN")};

template <class CharT>
NewPathT<CharT>::NewPathT() : m_size(0), m_time(0), m_path(), m_state(kAttributes) {}

template <class CharT>
NewPathT<CharT>::NewPathT(const String& text, PathType type, bool validate) : NewPathT() {
  Set(text, type, validate);
}

template <class CharT>
NewPathT<CharT>::NewPathT(const NewPathT& other) = default;

template <class CharT>
NewPathT<CharT>& NewPathT<CharT>::operator=(const NewPathT& other) = default;

template <class CharT>
NewPathT<CharT>::NewPathT(NewPathT&& other) noexcept
    : m_size(std::exchange(other.m_size, 0)),
      m_time(std::exchange(other.m_time, ORV::DateTime(0))),
      m_path(std::move(other.m_path)),
      m_state(std::exchange(other.m_state, kAttributes)) {
  other.m_path.clear();
}

template <class CharT>
NewPathT<CharT>& NewPathT<CharT>::operator=(NewPathT&& other) noexcept {
  if (this != &other) {
    m_size = std::exchange(other.m_size, 0);
    m_time = std::exchange(other.m_time, ORV::DateTime(0));
    m_path = std::move(other.m_path);
    other.m_path.clear();
    m_state = std::exchange(other.m_state, kAttributes);
  }
  return *this;
}

template <class CharT>
NewPathT<CharT>::~NewPathT() = default;

template <class CharT>
NewPathT<CharT>& NewPathT<CharT>::operator=(const String& text) {
  Set(text, PathType::Detect, true);
  return *this;
}

template <class CharT>
void NewPathT<CharT>::SetType(PathType type) const noexcept {
  m_state = (m_state & ~kTypeMask) | (static_cast<std::uint32_t>(type) << kTypeShift);
}

template <class CharT>
void NewPathT<CharT>::StoreRootLength(std::size_t length) noexcept {
  // A 6-bit field: only validation keeps a server name short enough.
  m_state = (m_state & ~kRootMask) | ((static_cast<std::uint32_t>(length) & 0x3Fu) << kRootShift);
}

template <class CharT>
std::size_t NewPathT<CharT>::RootLength() const noexcept {
  return std::min<std::size_t>(StoredRootLength(), m_path.size());
}

template <class CharT>
void NewPathT<CharT>::Set(const String& text, PathType type, bool validate) {
  // 1, 3. Type; cache reset; absolute until the text proves relative. Every
  // other flag is rebuilt below.
  m_state = ((static_cast<std::uint32_t>(type) & 7u) << kTypeShift) | kAttributes | kAbsolute;
  m_size = 0;
  m_time = ORV::DateTime(0);

  // 2. The result is written straight into the path's own buffer (no
  // allocation once it has held a text this long); it is never longer than
  // the text. Slashes become backslashes as units are copied.
  if (&text == &m_path) {
    Set(String(text), type, validate);  // the walk writes where it reads
    return;
  }
  String& s = m_path;
  std::size_t size = text.size();
  s.resize(size);
  CharT* const out = &s[0];
  const CharT* in = text.data();

  // 4. "file:\\\C:\x" loses eight units, "file:\\srv\x" only "file:".
  const String& scheme = NP_FILE_SCHEME;
  if (size >= scheme.size() &&
      std::equal(scheme.begin(), scheme.end(), in, [](CharT a, CharT b) { return a == FoldAscii(Unslashed(b)); })) {
    if (size == scheme.size() + 1 && IsSeparator(in[scheme.size()])) {
      in = NP_CURRENT.data();
      size = NP_CURRENT.size();
    } else {
      const std::size_t skipped =
          size > scheme.size() && IsSeparator(in[scheme.size()]) ? scheme.size() + 1 : scheme.size() - 2;
      in += skipped;
      size -= skipped;
    }
  }

  // 5. Drive, UNC or neither.
  std::size_t root = 0;
  if (size >= 2 && in[1] == CharT(':')) {
    if (!IsAsciiLetter(in[0])) ThrowInvalidPath();
    m_state |= kDrive;
    root = 2;
    if (size < 3 || !IsSeparator(in[2])) m_state &= ~kAbsolute;  // "C:x"
  } else if (size < 2) {
    if (size == 0 || !IsSeparator(in[0])) m_state &= ~kAbsolute;
  } else if (IsSeparator(in[0]) && IsSeparator(in[1])) {
    m_state |= kUNC;
    root = 2;
  } else if (!IsSeparator(in[0])) {
    m_state &= ~kAbsolute;
  }

  // 6, 7. The root becomes "\\server". Trailing backslashes need no removal
  // first: they cannot move where the server name ends, and the end trim
  // below takes them.
  if ((m_state & kUNC) != 0) {
    std::size_t end = root;
    while (end < size && !IsSeparator(in[end])) ++end;
    if (validate) {
      static const UnitRule<CharT> refused(&InvalidComputerNameChar);
      if (end - root < 1 || end - root > 15 || std::any_of(in + root, in + end, [](CharT c) { return refused(c); }))
        ThrowInvalidPath();
    }
    StoreRootLength(end);
    root = StoredRootLength();
  } else {
    StoreRootLength(root);
  }

  // 8, 9. The root is copied as it stands, with the backslash that follows it
  // in an absolute path; one walk copies the rest, collapsing separators and
  // resolving dot segments.
  const bool absolute = (m_state & kAbsolute) != 0;
  const std::size_t first = absolute && root < size ? root + 1 : root;
  for (std::size_t i = 0; i < first; ++i) out[i] = Unslashed(in[i]);
  FinishDots(s, WalkSegments(in, out, first, size, absolute), root);
  // ".\u:" resolves to "u:", which would read back as a drive: refused.
  if ((m_state & kDrive) == 0 && s.size() >= 2 && s[1] == CharT(':')) ThrowInvalidPath();

  // 11. Segments after the root.
  if (validate && s.size() > root && InvalidSegments(s, absolute ? root + 1 : root)) ThrowInvalidPath();

  // 12. The load turns Detect into File or Directory.
  if (type == PathType::Detect) {
    const unsigned long error = Load();
    if ((m_state & kExists) == 0)
      detail::Raise<FileNotFoundException>(ORVFILE_THROW_SITE, MSG_GET_ATTRIBUTES, error, m_path);
  }
}

template <class CharT>
void NewPathT<CharT>::CollapseSeparators(String& s, std::size_t root) {
  const CharT bs = CharT('\\');
  std::size_t kept = root;  // in place: the text only shrinks
  for (std::size_t i = root; i < s.size(); ++i) {
    if (s[i] == bs && kept > root && s[kept - 1] == bs) continue;
    s[kept++] = s[i];
  }
  if (kept < s.size()) s.resize(kept);
}

template <class CharT>
void NewPathT<CharT>::ResolveDots(String& s, std::size_t root) {
  const bool absolute = (m_state & kAbsolute) != 0;
  const std::size_t first = absolute ? root + 1 : root;
  FinishDots(s, s.size() > root ? WalkSegments(s.data(), &s[0], first, s.size(), absolute) : s.size(), root);
}

// After the first walk over s: "a\..\..\b" -> "..\b", "C:\..\x" -> "C:\x". A
// name cannot end in a space, so the end loses its spaces and backslashes:
// "C:\dir\name \" -> "C:\dir\name". The trim never cuts into the root, and
// when it lays bare a dot segment ("\x\. " -> "\x\.") the walk runs again, so
// that the result is canonical.
template <class CharT>
void NewPathT<CharT>::FinishDots(String& s, std::size_t length, std::size_t root) {
  const CharT bs = CharT('\\');
  const bool absolute = (m_state & kAbsolute) != 0;
  const std::size_t first = absolute ? root + 1 : root;
  CharT* const text = &s[0];
  while (length > 0) {
    const std::size_t untrimmed = length;
    while (length > root && (text[length - 1] == bs || text[length - 1] == CharT(' '))) --length;
    if (length == untrimmed || length <= root) break;
    length = WalkSegments(text, text, first, length, absolute);
  }
  s.resize(length);
  if (s.empty() && !absolute) s = NP_CURRENT;

  // Roots keep their backslash: "C:\", "\", "\\server\". The flags are
  // recomputed so that a path appended to a root stops being one.
  m_state &= ~(kRoot | kServer);
  if (s.size() <= root && absolute) {
    m_state |= kRoot;
    if ((m_state & kUNC) != 0) m_state |= kServer;
    s += bs;
  }
}

template <class CharT>
void NewPathT<CharT>::Canonicalize(bool makeAbsolute) {
  const std::size_t root = RootLength();
  CollapseSeparators(m_path, root);
  if (makeAbsolute && IsRelative()) {
    if (!HasDrive()) {
      *this = GetCurrentPath(NP_CURRENT[0]) + *this;
    } else {
      const NewPathT rest(m_path.substr(root), Type(), false);
      *this = GetCurrentPath(m_path[0]) + rest;
    }
    return;
  }
  ResolveDots(m_path, root);
}

template <class CharT>
NewPathT<CharT>& NewPathT<CharT>::operator+=(const NewPathT& other) {
  if (other.IsComplete()) {
    *this = other;
    return *this;
  }
  if (other.m_path.empty() || other.m_path[0] != CharT('\\')) {
    String saved = Directory() + other.m_path;
    saved.swap(m_path);
    Canonicalize(false);
    if (m_path.size() >= kMaxPath) {
      m_path.swap(saved);
      ThrowInvalidPath();
    }
  } else if (!HasDrive() && !IsUNC()) {
    *this = other;
    return *this;
  } else {
    // Keep this root, take everything after it from the other: "C:\a" + "\b" -> "C:\b".
    m_path = m_path.substr(0, RootLength()) + other.m_path;
    m_state |= kAbsolute;
    m_state &= ~(kRoot | kServer);
    if (m_path.size() == RootLength() + 1) {  // the other was "\" alone
      m_state |= kRoot;
      if (IsUNC()) m_state |= kServer;
    }
  }
  ResetProperties();
  m_state = (m_state & ~kTypeMask) | (other.m_state & kTypeMask);
  return *this;
}

template <class CharT>
NewPathT<CharT> NewPathT<CharT>::operator+(const NewPathT& other) const {
  NewPathT result(*this);
  result += other;
  return result;
}

template <class CharT>
void NewPathT<CharT>::ResetProperties() const noexcept {
  m_size = 0;
  m_time = ORV::DateTime(0);
  m_state = (m_state & ~(kExists | kLoaded)) | kAttributes;
}

template <class CharT>
NewPathT<CharT> NewPathT<CharT>::GetCurrentPath(const CharT& drive) {
  CharT buffer[kMaxPath] = {};
  unsigned long length = 0;
  if (drive == NP_CURRENT[0]) {
    length = GetCurrentDirectoryWrp(kMaxPath, buffer);
  } else {
    const CharT letter = FoldAscii(drive);
    const bool present = letter >= CharT('a') && letter <= CharT('z') &&
                         ((GetLogicalDrivesWrp() >> static_cast<unsigned>(letter - CharT('a'))) & 1u) != 0;
    if (!present) ThrowInvalidPath();
    // "d:" alone names that drive's current directory.
    const CharT driveText[] = {letter, CharT(':'), CharT(0)};
    length = GetFullPathNameWrp(driveText, kMaxPath, buffer);
  }
  // 0 is a failure, more than the buffer a directory it cannot hold.
  if (length == 0 || length >= kMaxPath) ThrowInvalidPath();
  NewPathT result;
  result.Set(String(buffer, length), PathType::Directory, false);
  result.m_state |= kExists;
  return result;
}

// Out of line, so that the DLL exports them: an inline member of an
// exported template is not, and a build that does not inline it would find
// no definition.
template <class CharT>
const typename NewPathT<CharT>::String& NewPathT<CharT>::RawPath() const noexcept {
  return m_path;
}

template <class CharT>
bool NewPathT<CharT>::IsAbsolute() const noexcept {
  return (m_state & kAbsolute) != 0;
}

template <class CharT>
bool NewPathT<CharT>::IsRelative() const noexcept {
  return !IsAbsolute();
}

template <class CharT>
bool NewPathT<CharT>::IsRoot() const noexcept {
  return (m_state & kRoot) != 0;
}

template <class CharT>
bool NewPathT<CharT>::IsServer() const noexcept {
  return (m_state & kServer) != 0;
}

template <class CharT>
bool NewPathT<CharT>::IsUNC() const noexcept {
  return (m_state & kUNC) != 0;
}

template <class CharT>
bool NewPathT<CharT>::HasDrive() const noexcept {
  return (m_state & kDrive) != 0;
}

template <class CharT>
bool NewPathT<CharT>::IsComplete() const noexcept {
  return IsUNC() || (HasDrive() && IsAbsolute());
}

template <class CharT>
bool NewPathT<CharT>::IsFile() const noexcept {
  return Type() == PathType::File;
}

template <class CharT>
bool NewPathT<CharT>::IsDirectory() const noexcept {
  return Type() == PathType::Directory;
}

template <class CharT>
bool NewPathT<CharT>::operator==(const String& text) const noexcept {
  return m_path == text;
}

template <class CharT>
bool NewPathT<CharT>::operator==(const NewPathT& other) const noexcept {
  return m_path == other.m_path;
}

template <class CharT>
bool NewPathT<CharT>::operator<(const NewPathT& other) const noexcept {
  return *this < other.m_path;
}

template <class CharT>
typename NewPathT<CharT>::String NewPathT<CharT>::FullPath() const {
  String result = m_path;
  const bool bareDrive = m_path.size() == StoredRootLength() && HasDrive();
  if (IsDirectory() && !IsRoot() && !bareDrive) result += CharT('\\');
  return result;
}

template <class CharT>
typename NewPathT<CharT>::String NewPathT<CharT>::Root() const {
  const std::size_t length = std::min(RootLength() + (IsAbsolute() ? 1 : 0), m_path.size());
  String result = m_path.substr(0, length);
  if (HasDrive() && !IsAbsolute()) result += CharT('\\');
  return result;
}

template <class CharT>
typename NewPathT<CharT>::String NewPathT<CharT>::Drive() const {
  return IsUNC() ? String() : m_path.substr(0, RootLength());
}

template <class CharT>
typename NewPathT<CharT>::String NewPathT<CharT>::Name() const {
  const std::size_t root = RootLength();
  const std::size_t slash = m_path.rfind(CharT('\\'));
  if (slash == String::npos || slash < root) return m_path.substr(root);
  return m_path.substr(slash + 1);
}

template <class CharT>
typename NewPathT<CharT>::String NewPathT<CharT>::Extension() const {
  const std::size_t dot = m_path.rfind(CharT('.'));
  if (dot == String::npos) return String();
  if (m_path.find(CharT('\\'), dot) != String::npos) return String();
  return m_path.substr(dot);
}

template <class CharT>
typename NewPathT<CharT>::String NewPathT<CharT>::Directory() const {
  // A directory is its own directory, so that joining to it and searching in
  // it work: "D:\w" + "x" -> "D:\w\x".
  if (IsDirectory()) return FullPath();
  const std::size_t root = RootLength();
  const std::size_t slash = m_path.rfind(CharT('\\'));
  if (slash == String::npos || slash < root) return m_path.substr(0, root);  // "C:x" -> "C:"
  return m_path.substr(0, slash + 1);
}

template <class CharT>
typename NewPathT<CharT>::String NewPathT<CharT>::DirectoryWithoutBackslash() const {
  if (IsDirectory()) return m_path;
  const std::size_t root = RootLength();
  const std::size_t slash = m_path.rfind(CharT('\\'));
  if (slash == String::npos || slash < root) return m_path.substr(0, root);
  // "C:" would name the current directory of C:, not its root.
  if (slash == root && IsAbsolute()) return m_path.substr(0, slash + 1);
  return m_path.substr(0, slash);
}

template <class CharT>
bool NewPathT<CharT>::IsChild(const NewPathT& parent) const {
  const String& prefix = parent.m_path;
  return prefix.size() < m_path.size() && std::equal(prefix.begin(), prefix.end(), m_path.begin(),
                                                     [](CharT a, CharT b) { return FoldAscii(a) == FoldAscii(b); });
}

template <class CharT>
void NewPathT<CharT>::ToLowerCase() noexcept {
  for (CharT& c : m_path) c = FoldAscii(c);
}

template <class CharT>
bool NewPathT<CharT>::operator<(const String& text) const noexcept {
  using Unit = std::make_unsigned_t<CharT>;
  return std::lexicographical_compare(m_path.begin(), m_path.end(), text.begin(), text.end(),
                                      [](CharT a, CharT b) { return static_cast<Unit>(a) < static_cast<Unit>(b); });
}

// The tables are sorted by the units' own order, so a binary search serves both widths.
template <class String>
bool InSortedTable(const String& table, typename String::value_type c) {
  const auto it = std::lower_bound(table.begin(), table.end(), c);
  return it != table.end() && *it == c;
}

// InvalidPathName on every segment from first, in one pass. A device name is
// read up to the end of the whole text, as the search reads it: "C:\CON\x"
// passes, "C:\dir\CON" and "C:\CON.txt\x" do not. So only a segment with a dot
// or the last one can name a device, and the search runs only there. Letters
// and digits pass every rule here and make up most of a name: they are
// skipped sixteen bytes at a time, the other units are asked one by one.
template <class CharT>
bool NewPathT<CharT>::InvalidSegments(const String& s, std::size_t first) {
  static const UnitRule<CharT> refused(&InvalidPathChar);
  constexpr std::size_t kBlock = 16 / sizeof(CharT);
  const CharT bs = CharT('\\');
  const CharT* const text = s.c_str();
  const std::size_t size = s.size();
  bool invalid = false;
  std::size_t segment = first;
  const auto deviceAt = [&](std::size_t pos) {
    const CharT c = text[pos];
    invalid |= refused(c) & (c != bs);
    if (c == CharT('.') && IsDeviceName(text + segment)) return true;
    segment = c == bs ? pos + 1 : segment;
    return false;
  };
  std::size_t pos = first;
  for (; pos + kBlock <= size; pos += kBlock) {
    for (unsigned others = OtherThanLettersAndDigits(text + pos); others != 0; others &= others - 1)
      if (deviceAt(pos + static_cast<std::size_t>(__builtin_ctz(others)))) return true;
  }
  for (; pos < size; ++pos)
    if (deviceAt(pos)) return true;
  return invalid || (segment < size && IsDeviceName(text + segment));
}

template <class CharT>
bool NewPathT<CharT>::InvalidPathChar(const CharT& c) {
  return BelowSpace(c) || InSortedTable(NP_ALL_INVALID_PATH_CHAR, c);
}

template <class CharT>
bool NewPathT<CharT>::InvalidComputerNameChar(const CharT& c) {
  return BelowSpace(c) || InSortedTable(NP_ALL_INVALID_COMPUTER_CHAR, c);
}

template <class CharT>
bool NewPathT<CharT>::InvalidSegment(const CharT* begin, const CharT* end) {
  return std::any_of(begin, end, [](CharT c) { return InvalidPathChar(c); });
}

template <class CharT>
bool NewPathT<CharT>::InvalidPathName(const CharT* begin, const CharT* end) {
  return InvalidSegment(begin, end) || IsDeviceName(begin);
}

// Folds while walking equal units but compares the first differing units
// unfolded; with the halving below this finds "con" but not "aux". Kept so.
template <class CharT>
bool NewPathT<CharT>::InvalidPathNameLess(const String& entry, const CharT* text) {
  std::size_t i = 0;
  // The entry holds no zero, so the walk stops at the text's terminator at the latest.
  while (i < entry.size() && FoldAscii(entry[i]) == FoldAscii(text[i])) ++i;
  if (i < entry.size()) return Signed(entry[i]) < Signed(text[i]);
  const CharT next = text[i];
  return next != CharT('.') && next != CharT(0) && Signed(next) > 0;
}

template <class CharT>
bool NewPathT<CharT>::InvalidPathNameEqual(const String& entry, const CharT* text) {
  std::size_t i = 0;
  while (i < entry.size() && FoldAscii(entry[i]) == FoldAscii(text[i])) ++i;
  return i == entry.size() && (text[i] == CharT('.') || text[i] == CharT(0));
}

template <class CharT>
bool NewPathT<CharT>::IsDeviceName(const CharT* text) {
  if (!MayNameDevice(text)) return false;
  std::size_t first = 0;
  std::size_t count = kDeviceNameCount;
  while (count > 0) {
    const std::size_t half = count / 2;
    if (InvalidPathNameLess(NP_ALL_INVALID_PATH_NAME[first + half], text)) {
      first += half + 1;
      count -= half + 1;
    } else {
      count = half;
    }
  }
  return first < kDeviceNameCount && InvalidPathNameEqual(NP_ALL_INVALID_PATH_NAME[first], text);
}

}  // namespace ORVFile

#include "ORVNewPathFileSystem.inl"
#include "ORVNewPathListing.inl"
#include "ORVNewPathNetwork.inl"
#include "ORVNewPathStream.inl"
#include "ORVNewPathWrp.inl"

namespace ORVFile {

// The export already comes from the extern declarations in the header; GCC
// reports the repeated attribute as ignored, which is harmless here.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wattributes"
template class ORVFILE_API NewPathT<char>;
template class ORVFILE_API NewPathT<wchar>;
template ORVFILE_API ORV::BinaryStream& operator<<(ORV::BinaryStream&, const NewPathT<char>&);
template ORVFILE_API ORV::BinaryStream& operator<<(ORV::BinaryStream&, const NewPathT<wchar>&);
template ORVFILE_API ORV::BinaryStream& operator>>(ORV::BinaryStream&, NewPathT<char>&);
template ORVFILE_API ORV::BinaryStream& operator>>(ORV::BinaryStream&, NewPathT<wchar>&);
#pragma GCC diagnostic pop

}  // namespace ORVFile
