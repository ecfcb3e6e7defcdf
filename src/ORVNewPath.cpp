#include "win32.h"

#include <emmintrin.h>

#include <algorithm>
#include <climits>
#include <cstring>
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

// A block is sixteen bytes of a text (SSE2, which every x64 processor has).
template <class CharT>
constexpr std::size_t kBlockUnits = 16 / sizeof(CharT);

// The units of a step: a narrow block, or two wide ones.
constexpr std::size_t kStepUnits = 16;

constexpr std::size_t kNone = static_cast<std::size_t>(-1);

// The longest device name, "CLOCK$".
constexpr std::size_t kLongestDevice = 6;

// A block with '/' turned into '\', and one bit per unit for the separators,
// the dots and, when asked, the units a name may not hold (below 32, as
// InvalidPathChar tests it, or in its table, separators left out).
struct Block {
  __m128i units;
  unsigned separators;
  unsigned dots;
  unsigned invalid;
};

template <class CharT>
[[gnu::always_inline]] inline unsigned BitsOf(__m128i mask) noexcept {
  if constexpr (sizeof(CharT) == 1)
    return static_cast<unsigned>(_mm_movemask_epi8(mask));
  else
    return static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(mask, _mm_setzero_si128())));
}

template <class CharT>
[[gnu::always_inline]] inline __m128i Equal(__m128i v, char c) noexcept {
  if constexpr (sizeof(CharT) == 1)
    return _mm_cmpeq_epi8(v, _mm_set1_epi8(c));
  else
    return _mm_cmpeq_epi16(v, _mm_set1_epi16(c));
}

// Narrow units are signed here, so bytes from 0x80 are below 32; wide ones
// are unsigned.
template <class CharT>
[[gnu::always_inline]] inline __m128i BelowSpaces(__m128i v) noexcept {
  if constexpr (sizeof(CharT) == 1)
    return _mm_cmplt_epi8(v, _mm_set1_epi8(32));
  else
    return _mm_cmpeq_epi16(_mm_subs_epu16(v, _mm_set1_epi16(31)), _mm_setzero_si128());
}

// A compare that takes two units of a table at once: unit | bit is value
// for the units value and value ^ bit (bit 0: value alone).
struct UnitPair {
  char value;
  char bit;
};

template <std::size_t N>
struct UnitPairs {
  UnitPair pairs[N] = {};
  std::size_t count = 0;
};

// The units of kTable, separators left out (the walk takes them apart), paired
// where two differ in one bit.
template <const char* kTable>
constexpr auto PairedUnits() noexcept {
  constexpr std::size_t kLength = std::char_traits<char>::length(kTable);
  UnitPairs<kLength> result;
  bool taken[kLength] = {};
  for (std::size_t i = 0; i < kLength; ++i) taken[i] = IsSeparator(kTable[i]);
  for (std::size_t i = 0; i < kLength; ++i) {
    if (taken[i]) continue;
    char bit = 0;
    for (std::size_t j = i + 1; j < kLength && bit == 0; ++j) {
      const char differ = static_cast<char>(kTable[i] ^ kTable[j]);
      if (!taken[j] && (differ & (differ - 1)) == 0) {
        bit = differ;
        taken[j] = true;
      }
    }
    result.pairs[result.count++] = {static_cast<char>(kTable[i] | bit), bit};
  }
  return result;
}

template <class CharT>
[[gnu::always_inline]] inline __m128i WithBit(__m128i v, char bit) noexcept {
  if (bit == 0) return v;
  return v | (sizeof(CharT) == 1 ? _mm_set1_epi8(bit) : _mm_set1_epi16(bit));
}

template <class CharT, const char* kTable, std::size_t... I>
[[gnu::always_inline]] inline __m128i InTable(__m128i v, std::index_sequence<I...>) noexcept {
  constexpr auto kPairs = PairedUnits<kTable>();
  return (_mm_setzero_si128() | ... | Equal<CharT>(WithBit<CharT>(v, kPairs.pairs[I].bit), kPairs.pairs[I].value));
}

// The units of kTable in v, separators left out.
template <class CharT, const char* kTable>
[[gnu::always_inline]] inline __m128i InTable(__m128i v) noexcept {
  return InTable<CharT, kTable>(v, std::make_index_sequence<PairedUnits<kTable>().count>());
}

// The units below a space or in kTable, as InvalidPathChar and
// InvalidComputerNameChar test them, separators left out.
template <class CharT, const char* kTable>
[[gnu::always_inline]] inline __m128i RefusedUnits(__m128i v) noexcept {
  return BelowSpaces<CharT>(v) | InTable<CharT, kTable>(v);
}

template <class CharT>
[[gnu::always_inline]] inline __m128i TurnSlashes(__m128i v) noexcept {
  const __m128i flip = sizeof(CharT) == 1 ? _mm_set1_epi8('\\' ^ '/') : _mm_set1_epi16('\\' ^ '/');
  return _mm_xor_si128(v, _mm_and_si128(Equal<CharT>(v, '/'), flip));
}

// The bits of a block whose slashes are turned.
template <class CharT>
[[gnu::always_inline]] inline Block ClassifyBlock(__m128i v, bool validate) noexcept {
  const unsigned invalid = validate ? BitsOf<CharT>(RefusedUnits<CharT, kInvalidPathChars>(v)) : 0u;
  return {v, BitsOf<CharT>(Equal<CharT>(v, '\\')), BitsOf<CharT>(Equal<CharT>(v, '.')), invalid};
}

template <class CharT>
[[gnu::always_inline]] inline Block LoadBlock(const CharT* text, bool validate) noexcept {
  return ClassifyBlock<CharT>(TurnSlashes<CharT>(_mm_loadu_si128(reinterpret_cast<const __m128i*>(text))), validate);
}

// The last count units of a text, fewer than a block, padded with zeros, so
// that no load reads past the text. Fixed-size copies, which the compiler
// inlines.
template <class CharT>
Block LoadTail(const CharT* text, std::size_t count, bool validate) noexcept {
  alignas(16) unsigned char padded[16] = {};
  const auto* from = reinterpret_cast<const unsigned char*>(text);
  const std::size_t bytes = count * sizeof(CharT);
  const auto twice = [&](auto width) {
    std::memcpy(padded, from, width);
    std::memcpy(padded + bytes - width, from + bytes - width, width);
  };
  if (bytes >= 8)
    twice(std::integral_constant<std::size_t, 8>());
  else if (bytes >= 4)
    twice(std::integral_constant<std::size_t, 4>());
  else if (bytes >= 2)
    twice(std::integral_constant<std::size_t, 2>());
  else if (bytes == 1)
    padded[0] = from[0];
  return LoadBlock(reinterpret_cast<const CharT*>(padded), validate);
}

// The search can only answer true when a table name, letters folded, is
// followed in the text by "." or the end: so the name before them must be 3,
// 4 or 6 units long and start with one of the names' initials.
template <class CharT>
bool DeviceShaped(CharT initial, std::size_t length) noexcept {
  const CharT folded = FoldAscii(initial);
  return (length == 3 || length == 4 || length == 6) &&
         (folded == CharT('a') || folded == CharT('c') || folded == CharT('l') || folded == CharT('n') ||
          folded == CharT('p'));
}

// The position after the highest bit set in bits.
inline std::size_t AfterLastBit(unsigned bits) noexcept { return static_cast<std::size_t>(32 - __builtin_clz(bits)); }

// What validation learns on the walk: the first position written that
// refuses the path (an invalid unit, or the start of a segment that names a
// device). A cut at or before it takes every such position with it.
template <class CharT>
struct Refusals {
  bool (*namesDevice)(const CharT*);
  std::size_t first;

  void Note(std::size_t at) noexcept { first = std::min(first, at); }
  void CutAt(std::size_t length) noexcept { first = first >= length ? kNone : first; }

  // The run of a block just written at out + at, in the segment that starts
  // at segment unless the run holds a backslash. Only a dot can end a device
  // name inside the path (the name is read up to "." or the end of the text).
  void NoteRun(const Block& block, const CharT* out, std::size_t segment, std::size_t at, std::size_t run) noexcept {
    const unsigned inRun = (1u << run) - 1u;
    const unsigned invalid = block.invalid & inRun;
    if (invalid != 0) Note(at + static_cast<std::size_t>(__builtin_ctz(invalid)));
    for (unsigned dots = block.dots & inRun; dots != 0; dots &= dots - 1) {
      const unsigned bit = static_cast<unsigned>(__builtin_ctz(dots));
      const unsigned separatorsBefore = block.separators & ((1u << bit) - 1u);
      const std::size_t start = separatorsBefore != 0 ? at + AfterLastBit(separatorsBefore) : segment;
      if (DeviceShaped(out[start], at + bit - start) && namesDevice(out + start)) Note(start);
    }
  }
};

// A fixed count of lines, whatever the text's length: a loop over its lines
// ends where a predictor cannot guess, and a prefetch past the text is free.
template <class CharT>
void PrefetchHead(const CharT* text) noexcept {
  constexpr std::size_t kLine = 64;
  constexpr std::size_t kLines = sizeof(CharT) == 1 ? 2 : 4;  // about 120 units
  const char* const bytes = reinterpret_cast<const char*>(text);
  for (std::size_t line = 0; line < kLines; ++line) _mm_prefetch(bytes + line * kLine, _MM_HINT_T0);
}

// Whether the segments written before kept are all "..": a relative path
// keeps a ".." that follows only those.
template <class CharT>
bool OnlyParentsBefore(const CharT* out, std::size_t first, std::size_t kept) noexcept {
  const CharT dot = CharT('.');
  return kept == first || (kept - first >= 3 && out[kept - 2] == dot && out[kept - 3] == dot &&
                           (kept - 3 == first || out[kept - 4] == CharT('\\')));
}

// Whether the last segment of text, from first to length, is "." or "..".
template <class CharT>
bool EndsInDotSegment(const CharT* text, std::size_t first, std::size_t length) noexcept {
  const CharT dot = CharT('.');
  const auto startsSegment = [&](std::size_t at) { return at == first || text[at - 1] == CharT('\\'); };
  return length > first && text[length - 1] == dot &&
         (startsSegment(length - 1) || (length - 1 > first && text[length - 2] == dot && startsSegment(length - 2)));
}

// One pass over the segments of in from first to size, written to out at the
// same positions or lower: runs of backslashes collapse, "." goes with its
// backslash, ".." removes the segment before it but never crosses first, and
// a relative path keeps its leading "..". out is in (the walk never writes
// ahead of what it reads) or does not overlap it and has room for a block
// past size; then the units between dot segments and empty ones are copied
// a block at a time, and refusals, when given, learns what validation needs.
// Returns the length written.
template <class CharT>
std::size_t WalkSegments(const CharT* in, CharT* out, std::size_t first, std::size_t size, bool absolute,
                         Refusals<CharT>* refusals = nullptr) noexcept {
  constexpr std::size_t kBlock = kBlockUnits<CharT>;
  const CharT bs = CharT('\\');
  const CharT dot = CharT('.');
  const bool blocks = in != out;  // a block store would overwrite units not yet read
  std::size_t kept = first;
  std::size_t pos = first;
  bool atStart = true;          // the next unit starts a segment
  std::size_t segment = first;  // where the segment being written starts
  while (pos < size) {
    if (blocks) {
      const std::size_t left = size - pos;
      const Block block =
          left >= kBlock ? LoadBlock(in + pos, refusals != nullptr) : LoadTail(in + pos, left, refusals != nullptr);
      // Where a segment may be empty or a dot segment, the units are looked at one by one.
      const unsigned starts = (block.separators << 1) | static_cast<unsigned>(atStart);
      const unsigned events = ((block.separators | block.dots) & starts) | (left < kBlock ? 1u << left : 0u);
      const std::size_t run = events != 0 ? static_cast<std::size_t>(__builtin_ctz(events)) : kBlock;
      _mm_storeu_si128(reinterpret_cast<__m128i*>(out + kept), block.units);
      if (refusals != nullptr) refusals->NoteRun(block, out, segment, kept, run);
      const unsigned separators = block.separators & ((1u << run) - 1u);
      if (separators != 0) segment = kept + AfterLastBit(separators);
      kept += run;
      pos += run;
      if (run != 0) atStart = ((block.separators >> (run - 1)) & 1u) != 0;
      if (run == kBlock) continue;
      if (pos == size) break;
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
          segment = cut;
          if (refusals != nullptr) refusals->CutAt(kept);
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
    segment = atStart ? kept : segment;
    ++pos;
  }
  return kept;
}

// Texts shorter than this take the walk over bit masks below: a bit for
// each unit and one for the end fit in 128.
constexpr std::size_t kMaskedUnits = 127;

using Mask = unsigned __int128;

// Of bits, not 0. The half is selected, not branched to.
inline std::size_t LowestBit(Mask bits) noexcept {
  const auto low = static_cast<std::uint64_t>(bits), high = static_cast<std::uint64_t>(bits >> 64);
  return static_cast<std::size_t>(__builtin_ctzll(low != 0 ? low : high)) + (low != 0 ? 0 : 64);
}

inline std::size_t HighestBit(Mask bits) noexcept {
  const auto low = static_cast<std::uint64_t>(bits), high = static_cast<std::uint64_t>(bits >> 64);
  return 63 - static_cast<std::size_t>(__builtin_clzll(high != 0 ? high : low)) + (high != 0 ? 64 : 0);
}

// The units before end.
inline Mask Before(std::size_t end) noexcept { return (Mask(1) << end) - 1; }

template <class CharT>
[[gnu::always_inline]] inline void CopyBlock(CharT* to, const CharT* from) noexcept {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm_loadu_si128(reinterpret_cast<const __m128i*>(from)));
}

// The units CopyBlocks copies whatever the count: most runs.
constexpr std::size_t kCopiedUnits = 32;

// Copies count units, and up to kCopiedUnits more: both sides have room.
template <class CharT>
[[gnu::always_inline]] inline void CopyBlocks(CharT* to, const CharT* from, std::size_t count) noexcept {
  constexpr std::size_t kBlock = kBlockUnits<CharT>;
  for (std::size_t at = 0; at < kCopiedUnits; at += kBlock) CopyBlock(to + at, from + at);
  for (std::size_t at = kCopiedUnits; at < count; at += kStepUnits) {
    for (std::size_t block = 0; block < kStepUnits; block += kBlock) CopyBlock(to + at + block, from + at + block);
  }
}

constexpr char kDeviceInitials[] = "aclnp";

// Bytes that may start a device name: the initials of the table's names in
// either case.
[[gnu::always_inline]] inline unsigned DeviceInitials(__m128i bytes) noexcept {
  return BitsOf<char>(InTable<char, kDeviceInitials>(bytes | _mm_set1_epi8(0x20)));
}

// Wide units as bytes that every test of a name answers alike: ASCII units
// as they are, any other as 0x7F, which no test takes.
inline __m128i AsBytes(__m128i low, __m128i high) noexcept {
  // The unsigned minimum of v and 0x7F: v less what it has above 0x7F.
  const auto ascii = [](__m128i v) { return _mm_sub_epi16(v, _mm_subs_epu16(v, _mm_set1_epi16(0x7F))); };
  return _mm_packus_epi16(ascii(low), ascii(high));
}

// The units of a step as bytes, as the steps test them: one narrow block, or
// two wide ones as one block of bytes. load(at) gives the block at unit at.
template <class CharT, class Load>
[[gnu::always_inline]] inline __m128i StepBytes(const Load& load) noexcept {
  if constexpr (sizeof(CharT) == 1) {
    return load(0);
  } else {
    const __m128i low = load(0);
    return AsBytes(low, load(8));
  }
}

// The first step of a text count units long: the text itself, or a copy
// padded with zeros when it is shorter, so that no load reads past it.
template <class CharT>
class FirstStep {
 public:
  FirstStep(const CharT* text, std::size_t count) noexcept : m_units(count < kStepUnits ? m_padded : text) {
    for (std::size_t i = 0; count < kStepUnits && i < count; ++i) m_padded[i] = text[i];
  }
  FirstStep(const FirstStep&) = delete;
  FirstStep& operator=(const FirstStep&) = delete;
  const CharT* Units() const noexcept { return m_units; }

 private:
  CharT m_padded[kStepUnits] = {};
  const CharT* m_units;
};

// What the masks take from sixteen units: a bit for each.
struct StepBits {
  unsigned separators;
  unsigned dots;
  unsigned invalid;
  unsigned initials;
};

// Sixteen units of from with their slashes turned, stored to to, and their
// bits: one narrow block, or two wide ones tested as one block of bytes.
template <class CharT>
[[gnu::always_inline]] inline StepBits TakeStep(const CharT* from, CharT* to, bool validate) noexcept {
  const __m128i bytes = StepBytes<CharT>([&](std::size_t at) {
    const __m128i v = TurnSlashes<CharT>(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from + at)));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to + at), v);
    return v;
  });
  const Block block = ClassifyBlock<char>(bytes, validate);
  return {block.separators, block.dots, block.invalid, validate ? DeviceInitials(bytes) : 0u};
}

// A UNC server name: its length, and whether a unit no computer name may
// hold is in it (told only of names shorter than sixteen units: validation
// refuses longer ones for their length).
struct ServerName {
  std::size_t length;
  bool refusedUnit;
};

// The server name at the start of text, count units long at most. Nearly
// every name ends within sixteen units: those are read as one step, so that
// no loop ends where a predictor cannot guess.
template <class CharT>
ServerName ReadServerName(const CharT* text, std::size_t count) noexcept {
  const FirstStep<CharT> first(text, count);
  const __m128i bytes = StepBytes<CharT>(
      [&](std::size_t at) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(first.Units() + at)); });
  const unsigned ends =
      BitsOf<char>(Equal<char>(bytes, '\\') | Equal<char>(bytes, '/')) | 1u << std::min(count, kStepUnits);
  std::size_t length = static_cast<std::size_t>(__builtin_ctz(ends));
  if (length == kStepUnits) {
    while (length < count && !IsSeparator(text[length])) ++length;
    return {length, false};
  }
  const unsigned refused = BitsOf<char>(RefusedUnits<char, kInvalidComputerChars>(bytes)) & ((1u << length) - 1);
  return {length, refused != 0};
}

// Where a text's separators (the end counting as one), dots, units no name
// may hold and device initials are. Kept apart from the text's copy, so that
// the compiler can hold the masks in registers.
struct TextMasks {
  Mask separators;
  Mask dots;
  Mask invalid;
  Mask initials;
};

// The units a text shorter than kMaskedUnits takes in units: its own with
// their slashes turned, then kCopiedUnits zeros.
constexpr std::size_t kTakenUnits = kMaskedUnits + 1 + kCopiedUnits;

// A short text's masks as 64-bit halves, built a step at a time: a mask read
// back whole from narrower stores would wait for them to reach the cache.
struct MaskHalves {
  std::uint64_t separators[2] = {};
  std::uint64_t dots[2] = {};
  std::uint64_t invalid[2] = {};
  std::uint64_t initials[2] = {};

  // Puts bits at step K, less their lowest dropped, which belong to units
  // before the step. A place known when compiling costs a shift and an or
  // a mask.
  template <std::size_t K>
  [[gnu::always_inline]] void Place(const StepBits& bits, unsigned dropped) noexcept {
    constexpr std::size_t half = K * kStepUnits / 64, shift = K * kStepUnits % 64;
    separators[half] |= std::uint64_t{bits.separators >> dropped} << shift;
    dots[half] |= std::uint64_t{bits.dots >> dropped} << shift;
    invalid[half] |= std::uint64_t{bits.invalid >> dropped} << shift;
    initials[half] |= std::uint64_t{bits.initials >> dropped} << shift;
  }

  TextMasks Joined() const noexcept {
    const auto joined = [](const std::uint64_t(&mask)[2]) { return Mask(mask[1]) << 64 | mask[0]; };
    return {joined(separators), joined(dots), joined(invalid), joined(initials)};
  }
};

// Step K of a text shorter than kMaskedUnits, copied into units with its
// bits placed in halves, when the text holds it whole; else the units left,
// read as a step that ends with the text (what it repeats, it sets alike),
// and the end as a separator. Returns whether a step may follow.
template <std::size_t K, class CharT>
[[gnu::always_inline]] inline bool TakeStepAt(const CharT* text, std::size_t size, CharT* units, bool validate,
                                              MaskHalves& halves) noexcept {
  constexpr std::size_t at = K * kStepUnits;
  if (size >= at + kStepUnits) {
    halves.Place<K>(TakeStep(text + at, units + at, validate), 0);
    return true;
  }
  const std::size_t left = size - at;
  if constexpr (K == 0) {
    const FirstStep<CharT> start(text, size);
    StepBits bits = TakeStep(start.Units(), units, validate);
    bits.invalid &= (1u << size) - 1;  // the padding's zeros are no units of the text
    halves.Place<0>(bits, 0);
  } else {
    const std::size_t last = size - kStepUnits;
    halves.Place<K>(TakeStep(text + last, units + last, validate), static_cast<unsigned>(kStepUnits - left));
  }
  halves.separators[at / 64] |= std::uint64_t{1} << (at % 64 + left);
  return false;
}

template <class CharT, std::size_t... K>
[[gnu::always_inline]] inline TextMasks TakeSteps(const CharT* text, std::size_t size, CharT* units, bool validate,
                                                  std::index_sequence<K...>) noexcept {
  MaskHalves halves;
  static_cast<void>((TakeStepAt<K>(text, size, units, validate, halves) && ...));
  return halves.Joined();
}

// Copies text, shorter than kMaskedUnits, into units (kTakenUnits) and
// returns its masks (the last two only when validating). The steps are
// unrolled, so that each knows its place in the masks.
template <class CharT>
TextMasks TakeText(const CharT* text, std::size_t size, CharT* units, bool validate) noexcept {
  constexpr std::size_t kSteps = (kMaskedUnits + kStepUnits - 1) / kStepUnits;
  const TextMasks masks = TakeSteps(text, size, units, validate, std::make_index_sequence<kSteps>());
  for (std::size_t pad = 0; pad < kCopiedUnits; pad += kBlockUnits<CharT>)
    _mm_storeu_si128(reinterpret_cast<__m128i*>(units + size + pad), _mm_setzero_si128());
  return masks;
}

// Whether validation could refuse a segment of the text: one holds a unit no
// name may hold, or names a device before a dot. The general walk then finds
// out whether that segment is kept.
template <class CharT>
bool MayRefuse(const CharT* units, const TextMasks& text, Mask starts, std::size_t first,
               bool (*namesDevice)(const CharT*)) noexcept {
  if ((text.invalid >> first) != 0) return true;  // it holds nothing past the text
  // Where the name of each segment ends, at its first dot or separator: one
  // added to the lowest unit of a run of name units carries to the unit
  // after the run. Names of 3, 4 or 6 units that end at a dot are shaped.
  const Mask inName = ~(text.separators | text.dots);
  const Mask named = starts & inName;
  const Mask endsAtDot = (inName + named) & ~inName & text.dots;
  const Mask shaped = (endsAtDot >> 3) | (endsAtDot >> 4) | (endsAtDot >> 6);
  for (Mask candidates = named & text.initials & shaped; candidates != 0; candidates &= candidates - 1) {
    if (namesDevice(units + LowestBit(candidates))) return true;
  }
  return false;
}

// WalkSegments for a text shorter than kMaskedUnits, into out (with room for
// kCopiedUnits past the text), without refusals: kNone when validation
// (asked by giving namesDevice) could refuse a segment. It works on the
// masks: the runs of plain segments between empty and dot segments are
// copied whole, and the separators written are a mask too, so that ".."
// finds the segment it removes without walking back.
template <class CharT>
std::size_t WalkMasked(const CharT* units, const TextMasks& text, CharT* out, std::size_t first, std::size_t size,
                       bool absolute, bool (*namesDevice)(const CharT*)) noexcept {
  const CharT dot = CharT('.');
  const Mask separators = text.separators;
  // The unit after the end is a start too, harmlessly: it is no separator,
  // dot or initial.
  const Mask firstBit = Mask(1) << first;
  const Mask starts = ((separators << 1) & ~(firstBit - 1)) | firstBit;
  if (namesDevice != nullptr && MayRefuse(units, text, starts, first, namesDevice)) return kNone;

  const Mask parents = starts & text.dots & (text.dots >> 1) & (separators >> 2);
  Mask events = (starts & (separators | (text.dots & (separators >> 1)))) | parents;
  CopyBlocks(out, units, first);
  Mask written = 0;  // the separators in out below kept; above it, anything
  std::size_t kept = first;
  std::size_t from = first;  // the first unit not yet taken
  while (events != 0) {
    const std::size_t at = LowestBit(events);
    events &= events - 1;
    CopyBlocks(out + kept, units + from, at - from);
    const Mask below = Before(kept);
    written = (written & below) | ((separators >> (from - kept)) & ~below);
    kept += at - from;
    const bool parent = (units[at] == dot) & (units[at + 1] == dot);
    from = at + 1 + (units[at] == dot) + parent;  // past the segment and its separator
    // Whether ".." cuts back to the separator before the last segment written
    // (written holds nothing below first) or, in a relative path, is kept.
    // Both outcomes are worked out for every event and one is selected: a
    // branch on the kind of event is what a predictor cannot guess, and its
    // misses would discard the loads under way.
    const bool cut = parent & (absolute || !OnlyParentsBefore(out, first, kept));
    const Mask before = written & Before(std::max(kept, first + 1) - 1);
    const std::size_t cutTo = std::max(HighestBit(before << 1 | 1), first);  // after that separator
    from = (parent & !cut) ? at : from;                                      // a kept ".." starts the next run
    kept = cut ? cutTo : kept;
  }
  if (from < size) {
    CopyBlocks(out + kept, units + from, size - from);
    kept += size - from;
  }
  return kept;
}

// The walk of in, from first, written into s with the root before first as
// it stands; returns its length. refused: the first position written that
// validation (asked by giving namesDevice) refuses, or kNone.
template <class CharT>
std::size_t WalkInto(std::basic_string<CharT>& s, const CharT* in, std::size_t size, std::size_t first, bool absolute,
                     bool (*namesDevice)(const CharT*), std::size_t& refused) {
  if (size < kMaskedUnits) {
    alignas(16) CharT units[kTakenUnits];
    const TextMasks masks = TakeText(in, size, units, namesDevice != nullptr);
    std::size_t length = kNone;
    s.resize_and_overwrite(size + kCopiedUnits, [&](CharT* out, std::size_t) {
      length = WalkMasked(units, masks, out, first, size, absolute, namesDevice);
      return length != kNone ? length : 0;
    });
    if (length != kNone) {
      refused = kNone;
      return length;
    }
  }
  s.resize(size + kBlockUnits<CharT>);  // room for the walk's last block store
  CharT* const out = &s[0];
  for (std::size_t i = 0; i < first; ++i) out[i] = Unslashed(in[i]);
  Refusals<CharT> refusals{namesDevice, kNone};
  const std::size_t length = WalkSegments(in, out, first, size, absolute, namesDevice != nullptr ? &refusals : nullptr);
  refused = refusals.first;
  return length;
}

constexpr std::uint64_t Packed(const char* name) noexcept {
  std::uint64_t packed = 0;
  for (; *name != '\0'; ++name) packed = packed << 8 | static_cast<unsigned char>(*name);
  return packed;
}

// Whether name, length units with letters folded packed one to a byte (the
// first highest, as Packed), is a name of the table. Nothing branches on the
// name: most names a predictor cannot guess.
inline bool PackedDeviceName(std::uint64_t name, std::size_t length) noexcept {
  constexpr std::uint64_t kAux = Packed("aux"), kCon = Packed("con"), kNul = Packed("nul"), kPrn = Packed("prn"),
                          kCom = Packed("com"), kLpt = Packed("lpt"), kClock = Packed("clock$");
  const std::uint64_t digit = name & 0xFF, stem = name >> 8;
  const bool three = (length == 3) & ((name == kAux) | (name == kCon) | (name == kNul) | (name == kPrn));
  const bool four = (length == 4) & ((stem == kCom) | (stem == kLpt)) & (digit >= '1') & (digit <= '9');
  const bool six = (length == 6) & (name == kClock);
  return three | four | six;
}

// Whether the name of length units at text, letters folded, is a name of the
// table: the search can find no other.
template <class CharT>
bool FoldsToDeviceName(const CharT* text, std::size_t length) noexcept {
  std::uint64_t packed = 0;
  for (std::size_t i = 0; i < length; ++i) {
    const auto unit = static_cast<std::make_unsigned_t<CharT>>(FoldAscii(text[i]));
    if (unit > 0x7F) return false;
    packed = packed << 8 | unit;
  }
  return PackedDeviceName(packed, length);
}

constexpr std::uint64_t kEachByte = 0x0101010101010101ull;

// The high bit of each byte of bytes that is c.
inline std::uint64_t BytesEqual(std::uint64_t bytes, unsigned char c) noexcept {
  const std::uint64_t x = bytes ^ (kEachByte * c);
  const std::uint64_t low7 = kEachByte * 0x7F;
  return ~(((x & low7) + low7) | x) & (kEachByte * 0x80);
}

// Each byte's letter folded as FoldAscii folds it.
inline std::uint64_t FoldBytes(std::uint64_t bytes) noexcept {
  const std::uint64_t low7 = bytes & (kEachByte * 0x7F);
  const std::uint64_t fromA = low7 + kEachByte * (0x80 - 'A');
  const std::uint64_t pastZ = low7 + kEachByte * (0x80 - 'Z' - 1);
  return bytes | ((fromA & ~pastZ & ~bytes & (kEachByte * 0x80)) >> 2);
}

// The last eight units before end as bytes, the last one highest: ASCII
// units as they are, any other as 0x7F, which no device name holds. When
// fewer than eight units follow first, backslashes stand before them.
template <class CharT>
std::uint64_t LastEightUnits(const CharT* text, std::size_t first, std::size_t end) noexcept {
  if (end - first < 8) {
    std::uint64_t bytes = kEachByte * '\\';
    for (std::size_t at = first; at < end; ++at) {
      const auto unit = static_cast<std::make_unsigned_t<CharT>>(text[at]);
      bytes = bytes >> 8 | std::uint64_t{unit > 0x7F ? 0x7Fu : unit} << 56;
    }
    return bytes;
  }
  if constexpr (sizeof(CharT) == 1) {
    std::uint64_t bytes;
    std::memcpy(&bytes, text + end - 8, sizeof bytes);
    return bytes;
  } else {
    const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + end - 8));
    return static_cast<std::uint64_t>(_mm_cvtsi128_si64(AsBytes(units, _mm_setzero_si128())));
  }
}

// The length of the name that ends bytes (as LastEightUnits gives them) when
// it folds to a table name, else 0.
inline std::size_t DeviceNameAtEnd(std::uint64_t bytes) noexcept {
  // No separator, or one in the lowest byte: seven units or more, no name's length.
  const unsigned separator = static_cast<unsigned>(63 - __builtin_clzll(BytesEqual(bytes, '\\') | 1u)) / 8;
  const unsigned length = 7 - separator;
  const std::uint64_t name = FoldBytes(__builtin_bswap64(bytes) & ((std::uint64_t{1} << (8 * length)) - 1));
  return PackedDeviceName(name, length) ? length : 0;
}

// Most names fail this at once.
template <class CharT>
bool MayNameDevice(const CharT* text) noexcept {
  std::size_t length = 1;
  while (length <= kLongestDevice && text[length] != CharT('.') && text[length] != CharT(0) &&
         text[length] != CharT('\\'))
    ++length;
  const CharT stop = text[length];
  return (stop == CharT('.') || stop == CharT(0)) && DeviceShaped(text[0], length) && FoldsToDeviceName(text, length);
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

  // 2. The result goes into the path's own buffer (no allocation once it has
  // held a text this long); it is never longer than the text. Slashes become
  // backslashes as units are copied.
  if (&text == &m_path) {
    Set(String(text), type, validate);  // the walks write into the buffer they would read
    return;
  }
  String& s = m_path;
  std::size_t size = text.size();
  // The text is most likely not in the cache: its first lines are fetched
  // while the root is read.
  PrefetchHead(text.data());
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
    const ServerName server = ReadServerName(in + root, size - root);
    if (validate && (server.length < 1 || server.length > 15 || server.refusedUnit)) ThrowInvalidPath();
    StoreRootLength(root + server.length);
    root = StoredRootLength();
  } else {
    StoreRootLength(root);
  }

  // 8, 9. The root is copied as it stands, with the backslash that follows it
  // in an absolute path; one walk copies the rest, collapsing separators and
  // resolving dot segments.
  const bool absolute = (m_state & kAbsolute) != 0;
  const std::size_t first = absolute && root < size ? root + 1 : root;
  // 11. Validation of the segments after the root learns on the walk what it
  // needs of all but the last segment, which it reads once the text is final.
  std::size_t refused = kNone;
  FinishDots(s, WalkInto(s, in, size, first, absolute, validate ? &IsDeviceName : nullptr, refused), root, refused);
  // ".\u:" resolves to "u:", which would read back as a drive: refused.
  if ((m_state & kDrive) == 0 && s.size() >= 2 && s[1] == CharT(':')) ThrowInvalidPath();
  if (validate && s.size() > root) {
    const std::size_t device = DeviceNameAtEnd(LastEightUnits(s.c_str(), absolute ? root + 1 : root, s.size()));
    if (refused != kNone || (device != 0 && IsDeviceName(s.c_str() + s.size() - device))) ThrowInvalidPath();
  }

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
  std::size_t refused = kNone;
  FinishDots(s, s.size() > root ? WalkSegments(s.data(), &s[0], first, s.size(), absolute) : s.size(), root, refused);
}

// After the first walk over s: "a\..\..\b" -> "..\b", "C:\..\x" -> "C:\x". A
// name cannot end in a space, so the end loses its spaces and backslashes:
// "C:\dir\name \" -> "C:\dir\name". The trim never cuts into the root, and
// when it lays bare a dot segment ("\x\. " -> "\x\.") the walk runs again, so
// that the result is canonical; the walk leaves everything before that
// segment as it is, so a refusal found before the end still stands.
template <class CharT>
void NewPathT<CharT>::FinishDots(String& s, std::size_t length, std::size_t root, std::size_t& refused) {
  const CharT bs = CharT('\\');
  const bool absolute = (m_state & kAbsolute) != 0;
  const std::size_t first = absolute ? root + 1 : root;
  CharT* const text = &s[0];
  while (length > 0) {
    const std::size_t untrimmed = length;
    while (length > root && (text[length - 1] == bs || text[length - 1] == CharT(' '))) --length;
    if (length == untrimmed || length <= root || !EndsInDotSegment(text, first, length)) break;
    length = WalkSegments(text, text, first, length, absolute);
  }
  s.resize(length);
  if (refused >= length) refused = kNone;
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
