// Byte searches and short copies of the parser, sixteen bytes at a time with
// SSE2 (always present on x86-64). Wine's memchr runs at less than half the
// speed of a compare loop written here, and the parser needs the same loop for
// byte pairs, small sets and the ends of a keyword; Wine's memcpy costs more
// than a 40-byte token is worth.
//
// A matcher says which positions stop a search: Lanes(p) gives one bit for
// each of the sixteen positions p..p+15, Test(p) the answer for position p.
// A matcher may read beyond p (the keyword matcher reads its last byte); the
// caller bounds the positions so that every read stays inside its data.
#pragma once

#include <emmintrin.h>

#include <cstdint>
#include <cstring>

#include "ORVToLower.h"

namespace ORVFile::detail {

constexpr unsigned char FoldCase(unsigned char c) noexcept { return ORV::AsciiToLower(c); }

/// 'a' <-> 'A'; every byte that is not an ASCII letter is its own partner.
constexpr unsigned char CasePartner(unsigned char c) noexcept {
  if (c >= 'a' && c <= 'z') return static_cast<unsigned char>(c - ('a' - 'A'));
  return ORV::AsciiToLower(c);
}

inline __m128i Load16(const unsigned char* p) noexcept { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }

inline int EqualLanes(__m128i data, __m128i value) noexcept { return _mm_movemask_epi8(_mm_cmpeq_epi8(data, value)); }

/// First position in [from, to) that the matcher stops at, or to. Reads
/// positions from to - 16 on at most (never before 0), through the matcher.
template <class Match>
[[gnu::always_inline]] inline std::uint32_t FindFirst(const unsigned char* data, std::uint32_t from, std::uint32_t to,
                                                      const Match& match) {
  std::uint32_t i = from;
  // Sixty-four positions a round: a token of up to that length ends in the first round, which keeps the
  // loop's exit branch predictable on short, varied tokens (lines of 20 to 60 bytes).
  for (; to - i >= 64; i += 64) {
    const std::uint64_t lanes = static_cast<std::uint64_t>(static_cast<unsigned>(match.Lanes(data + i))) |
                                static_cast<std::uint64_t>(static_cast<unsigned>(match.Lanes(data + i + 16))) << 16 |
                                static_cast<std::uint64_t>(static_cast<unsigned>(match.Lanes(data + i + 32))) << 32 |
                                static_cast<std::uint64_t>(static_cast<unsigned>(match.Lanes(data + i + 48))) << 48;
    if (lanes != 0) return i + static_cast<std::uint32_t>(__builtin_ctzll(lanes));
  }
  for (; to - i >= 16; i += 16) {
    const int lanes = match.Lanes(data + i);
    if (lanes != 0) return i + static_cast<std::uint32_t>(__builtin_ctz(static_cast<unsigned>(lanes)));
  }
  if (i == to) return to;
  if (to >= 16) {
    // One overlapping load ends the range; the lanes before i were tested already or lie before from.
    const unsigned lanes = static_cast<unsigned>(match.Lanes(data + to - 16)) >> (i - (to - 16));
    return lanes != 0 ? i + static_cast<std::uint32_t>(__builtin_ctz(lanes)) : to;
  }
  for (; i < to; ++i)
    if (match.Test(data + i)) return i;
  return to;
}

/// One byte value.
class ByteIs {
 public:
  explicit ByteIs(unsigned char c) noexcept : m_c(c), m_v(_mm_set1_epi8(static_cast<char>(c))) {}
  int Lanes(const unsigned char* p) const noexcept { return EqualLanes(Load16(p), m_v); }
  bool Test(const unsigned char* p) const noexcept { return *p == m_c; }

 private:
  unsigned char m_c;
  __m128i m_v;
};

/// Either of two byte values (a letter and its partner).
class ByteIsEither {
 public:
  ByteIsEither(unsigned char a, unsigned char b) noexcept
      : m_a(a), m_b(b), m_va(_mm_set1_epi8(static_cast<char>(a))), m_vb(_mm_set1_epi8(static_cast<char>(b))) {}
  int Lanes(const unsigned char* p) const noexcept {
    const __m128i data = Load16(p);
    return _mm_movemask_epi8(_mm_or_si128(_mm_cmpeq_epi8(data, m_va), _mm_cmpeq_epi8(data, m_vb)));
  }
  bool Test(const unsigned char* p) const noexcept { return *p == m_a || *p == m_b; }

 private:
  unsigned char m_a;
  unsigned char m_b;
  __m128i m_va;
  __m128i m_vb;
};

/// Any byte of a set: compared value by value up to kVectorLimit distinct
/// values, looked up in a table beyond.
class ByteInSet {
 public:
  static constexpr unsigned kVectorLimit = 16;

  /// The set's bytes, and with foldCase their case partners too.
  ByteInSet(const unsigned char* bytes, std::uint32_t count, bool foldCase) noexcept {
    for (std::uint32_t i = 0; i < count; ++i) {
      Add(bytes[i]);
      if (foldCase) Add(CasePartner(bytes[i]));
    }
  }
  int Lanes(const unsigned char* p) const noexcept {
    if (m_count > kVectorLimit) return TableLanes(p);
    const __m128i data = Load16(p);
    __m128i any = _mm_setzero_si128();
    for (unsigned i = 0; i < m_count; ++i) any = _mm_or_si128(any, _mm_cmpeq_epi8(data, m_values[i]));
    return _mm_movemask_epi8(any);
  }
  bool Test(const unsigned char* p) const noexcept { return m_member[*p]; }

 private:
  void Add(unsigned char c) noexcept {
    if (m_member[c]) return;
    m_member[c] = true;
    if (m_count < kVectorLimit) m_values[m_count] = _mm_set1_epi8(static_cast<char>(c));
    ++m_count;
  }
  int TableLanes(const unsigned char* p) const noexcept {
    int lanes = 0;
    for (int i = 0; i < 16; ++i) lanes |= static_cast<int>(m_member[p[i]]) << i;
    return lanes;
  }

  bool m_member[256] = {};
  __m128i m_values[kVectorLimit];
  unsigned m_count = 0;
};

/// The positions another matcher does not stop at.
template <class Match>
class Not {
 public:
  explicit Not(const Match& match) noexcept : m_match(match) {}
  int Lanes(const unsigned char* p) const noexcept { return ~m_match.Lanes(p) & 0xFFFF; }
  bool Test(const unsigned char* p) const noexcept { return !m_match.Test(p); }

 private:
  Match m_match;
};

/// Positions where a keyword of length >= 2 may start: its first byte as
/// First says, its last byte (at p + length - 1) in either case. Callers test
/// the bytes between with EqualFolded.
template <class First>
class KeywordEnds {
 public:
  KeywordEnds(const First& first, unsigned char last, std::uint32_t length) noexcept
      : m_first(first), m_last(FoldCase(last), CasePartner(FoldCase(last))), m_lastAt(length - 1) {}
  int Lanes(const unsigned char* p) const noexcept { return m_first.Lanes(p) & m_last.Lanes(p + m_lastAt); }
  bool Test(const unsigned char* p) const noexcept { return m_first.Test(p) && m_last.Test(p + m_lastAt); }

 private:
  First m_first;
  ByteIsEither m_last;
  std::uint32_t m_lastAt;
};

/// memcpy for tokens: short copies stay inline as a few overlapping moves,
/// long ones go to the runtime. Sizes of 16 to 64 bytes, the usual token,
/// take one path whatever the size, so that varied lengths cost no
/// mispredicted branch: four moves at 0, min(16, n - 16), max(0, n - 32) and
/// n - 16, which cover [0, n) and never write beyond it.
///   n = 40: 0, 16, 8, 24      n = 20: 0, 4, 0, 4      n = 64: 0, 16, 32, 48
inline void CopyBytes(void* dest, const void* src, std::uint32_t n) noexcept {
  auto* d = static_cast<unsigned char*>(dest);
  const auto* s = static_cast<const unsigned char*>(src);
  if (n - 16 <= 48) {
    const std::uint32_t second = n - 16 < 16 ? n - 16 : 16;
    const std::uint32_t third = n > 32 ? n - 32 : 0;
    const __m128i a = Load16(s);
    const __m128i b = Load16(s + second);
    const __m128i c = Load16(s + third);
    const __m128i e = Load16(s + n - 16);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d), a);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d + second), b);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d + third), c);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d + n - 16), e);
  } else if (n > 64) {
    std::memcpy(d, s, n);
  } else if (n >= 8) {
    std::uint64_t head, tail;  // fixed-size memcpy compiles to plain moves
    std::memcpy(&head, s, 8);
    std::memcpy(&tail, s + n - 8, 8);
    std::memcpy(d, &head, 8);
    std::memcpy(d + n - 8, &tail, 8);
  } else {
    for (std::uint32_t i = 0; i < n; ++i) d[i] = s[i];
  }
}

inline bool EqualFolded(const unsigned char* a, const unsigned char* b, std::uint32_t n) noexcept {
  for (std::uint32_t i = 0; i < n; ++i)
    if (FoldCase(a[i]) != FoldCase(b[i])) return false;
  return true;
}

}  // namespace ORVFile::detail
