// The parser against a plain reference tokenizer over 100,000 random cases
// (small alphabets, keywords of 1 to 10 bytes planted across block ends,
// reads cut short), then hand-worked rows for the rules the reference follows.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstring>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "ORVBinaryStream.h"
#include "ORVBinaryStreamParser.h"
#include "ORVMemoryBuffer.h"

namespace {

using ORV::BinaryStreamBuf;
using ORVFile::BinaryStreamParser;
using ORVFile::MemoryBuffer;
using ORVFile::SharedMemoryBuffer;
using Cut = std::function<std::uint32_t(std::uint32_t)>;  // bytes a read delivers of the n it could

constexpr std::uint32_t kBlock = 4096;
constexpr int kCases = 100000;

// A read-only buffer over a string whose reads deliver what `cut` allows, and
// that notes where each read ended since the last seek: the block ends.
class ShortReads : public BinaryStreamBuf {
 public:
  ShortReads(std::string data, Cut cut, unsigned char caps = CanGet | CanSeek)
      : BinaryStreamBuf(caps), m_data(std::move(data)), m_cut(std::move(cut)) {}
  const std::string& Data() const { return m_data; }
  std::vector<std::uint32_t> ends;

  std::uint32_t vGet(void* dest, std::uint32_t count) override {
    EXPECT_LE(count, kBlock) << "reads are of one block at most";
    const std::uint32_t left = std::min<std::uint32_t>(count, static_cast<std::uint32_t>(m_data.size()) - m_pos);
    const std::uint32_t n = left == 0 ? 0 : m_cut(left);
    std::memcpy(dest, m_data.data() + m_pos, n);
    ends.push_back(m_pos += n);
    return n;
  }
  std::uint32_t vSeekG(std::int32_t offset, Direction direction) override {
    const std::int64_t base = direction == Begin ? 0 : direction == End ? std::int64_t(m_data.size()) : m_pos;
    m_pos = static_cast<std::uint32_t>(std::clamp<std::int64_t>(base + offset, 0, std::int64_t(m_data.size())));
    ends.clear();
    return m_pos;
  }
  std::uint32_t vTellG() override { return m_pos; }
  std::uint32_t vSize() override { return static_cast<std::uint32_t>(m_data.size()); }
  bool vEndOfFile() override { return m_pos >= m_data.size(); }
  std::uint32_t vPut(const void*, std::uint32_t) override { return 0; }
  std::uint32_t vTellP() override { return 0; }
  std::uint32_t vSeekP(std::int32_t, Direction) override { return 0; }
  void vFlush() override {}
  void vClear() override {}
  void vClearMemory() override {}
  void vClearEnd() override {}

 private:
  std::string m_data;
  Cut m_cut;
  std::uint32_t m_pos = 0;
};

unsigned char Fold(char c) { return static_cast<unsigned char>(std::tolower(static_cast<unsigned char>(c))); }

// The reference: each fetch is worked out byte by byte on the whole text the
// parser sees (nulls removed when ignored). It is told where the buffer's
// reads ended, because bytes of a partial keyword match kept over such an end
// are never recorded.
struct Reference {
  enum Kind { Keyword, InSet, NotInSet };  // a byte target is a keyword of one byte
  struct Into {
    std::string marker;
    bool strip, space;
  };

  const ShortReads* buf = nullptr;
  std::string data, s, record, into;
  bool cs, nulls, recording = false, hasInto = false;
  std::uint32_t origin = 0;
  std::size_t epoch = 0, cur = 0;
  std::vector<std::size_t> bounds, seen;
  char kw[kBlock + 1] = {}, un[129] = {};
  std::uint32_t kwLen = 0, unLen = 0;

  void Restart(std::size_t from, std::uint32_t offset) {
    epoch = from;
    s.assign(data, from);
    if (nulls) s.erase(std::remove(s.begin(), s.end(), '\0'), s.end());
    origin = offset;
    cur = 0;
    std::fill(std::begin(kw), std::end(kw), 0);
    std::fill(std::begin(un), std::end(un), 0);
    kwLen = unLen = 0;
  }
  void SeeReads() {
    if (seen.empty()) {  // seen[i]: the bytes of data[0, i) that the parser sees
      seen.push_back(0);
      for (char c : data) seen.push_back(seen.back() + (!nulls || c != '\0'));
    }
    bounds.clear();
    for (std::uint32_t end : buf->ends) bounds.push_back(seen[end] - seen[epoch]);
  }
  bool First(char a, char b) const { return cs ? a == b : Fold(a) == Fold(b); }
  bool Prefix(const std::string& k, std::size_t at, std::size_t n) const {
    for (std::size_t j = 0; j < n; ++j)
      if (j == 0 ? !First(s[at], k[0]) : Fold(s[at + j]) != Fold(k[j])) return false;
    return true;
  }
  bool Stops(Kind kind, const std::string& t, std::size_t i) const {
    if (kind == Keyword) return i + t.size() <= s.size() && Prefix(t, i, t.size());
    const bool in = std::any_of(t.begin(), t.end(), [&](char c) { return First(s[i], c); });
    return kind == InSet ? in : !in;
  }
  void AppendKeyword(const std::string& chunk) {
    const std::size_t fit = std::min<std::size_t>(chunk.size(), kBlock - kwLen);
    for (std::size_t i = 0; i < fit; ++i) kw[kwLen++] = chunk[i];
    kw[kwLen] = 0;
    if (fit > 0 && unLen > 0) unLen = un[0] = 0;
    if (fit == chunk.size()) return;
    const std::string tail = chunk.substr(chunk.size() - std::min<std::size_t>(chunk.size(), 128));
    const std::size_t m = tail.size();
    std::size_t at = 0;
    if (unLen > 0 && m < 128 && unLen + m <= 128) {
      at = unLen;
    } else if (unLen > 0 && m < 128) {
      std::copy(un + m, un + 128, un);  // the whole area moves, whatever the held length
      at = 128 - m;
    }
    std::copy(tail.begin(), tail.end(), un + at);
    un[unLen = static_cast<std::uint32_t>(at + m)] = 0;
  }
  // Records [from, to) less the bytes in `skip`, one piece per block.
  void Pass(std::size_t from, std::size_t to, const std::vector<bool>& skip, bool keep, const Into* target) {
    std::vector<std::string> pieces(1);
    auto next = std::upper_bound(bounds.begin(), bounds.end(), from);
    for (std::size_t x = from; x < to; ++x) {
      if (next != bounds.end() && *next <= x) {
        while (next != bounds.end() && *next <= x) ++next;
        if (!pieces.back().empty()) pieces.emplace_back();
      }
      if (skip.empty() || !skip[x]) pieces.back() += s[x];
    }
    std::string all;
    for (const std::string& piece : pieces) {
      if (keep && !piece.empty()) AppendKeyword(piece);
      if (recording) record += piece;
      all += piece;
    }
    if (target) WriteInto(all, *target);
  }
  void WriteInto(std::string r, const Into& t) {
    if (t.strip) r.erase(std::remove(r.begin(), r.end(), '\0'), r.end());
    std::size_t at = 0;
    const std::string marker = t.marker.c_str();  // a C string: it ends at the first 0 byte
    if (!marker.empty()) {
      auto it = std::search(r.begin(), r.end(), marker.begin(), marker.end(),
                            [&](char a, char b) { return cs ? a == b : Fold(a) == Fold(b); });
      if (it == r.end()) return;
      at = it - r.begin();
    }
    const std::string out = (t.space && at > 0 ? " " : "") + r.substr(at);
    if (!out.empty()) hasInto = true, into += out;
  }
  bool FetchData(Kind kind, const std::string& t, bool keep, const Into* target = nullptr) {
    SeeReads();
    record.clear();
    kwLen = kw[0] = 0;
    if (kind == Keyword && t.empty()) return cur < s.size();
    std::size_t stop = cur;
    while (stop < s.size() && !Stops(kind, t, stop)) ++stop;
    const bool found = stop < s.size();
    const std::size_t width = kind == Keyword ? t.size() : 1;
    std::vector<bool> skip(width < 2 ? 0 : s.size() + 1);
    const std::size_t limit = found ? stop + width : s.size() + 1;
    for (std::size_t b : bounds) {
      if (skip.empty() || b <= cur || b >= limit) continue;
      for (std::size_t r = std::max(cur, b + 1 > width ? b + 1 - width : 0); r < b; ++r)
        if (Prefix(t, r, b - r)) {
          std::fill(skip.begin() + r, skip.begin() + b, true);
          break;
        }
    }
    Pass(cur, found ? stop : s.size(), skip, keep, target);
    cur = found ? stop + width - 1 : s.size();
    return found;
  }
  bool Beyond(const std::string& k, bool keep, const Into* target = nullptr) {
    return FetchData(Keyword, k, keep, target) && Fetch(1, false, true);
  }
  bool Fetch(std::size_t n, bool keep, bool clear) {
    SeeReads();
    if (cur == s.size()) return false;
    if (keep) kwLen = kw[0] = 0;
    if (clear) record.clear();
    const std::size_t to = std::min(s.size(), cur + n);
    Pass(cur, to, {}, keep, nullptr);
    const bool whole = to - cur == n;
    cur = to;
    return whole;
  }
};

// What a test compares after each step, in one text: the offset, the keyword
// buffer and unsaved data (their terminating NUL included), the record buffer
// and what `into` gained since `intoFrom`.
std::string State(BinaryStreamParser& p, const SharedMemoryBuffer& into, std::size_t intoFrom) {
  std::string state = std::to_string(p.GetCurrentStreamOffset()) + " keyword " +
                      std::string(p.GetKeywordBuffer(), p.GetKeywordLen() + 1) + " unsaved " +
                      std::string(p.GetUnsavedData(), p.GetUnsavedDataLen() + 1) + " record " +
                      std::to_string(p.GetRecordFetchingSize()) + " ";
  p.GetRecordFetchingContent(state, 0, 0);
  state += " into " + (into ? std::to_string(into->Size()) : "none") + " ";
  if (into) into->SeekG(static_cast<std::int32_t>(intoFrom), BinaryStreamBuf::Begin), into->Copy(state);
  return state;
}

std::string State(const Reference& m, std::size_t intoFrom) {
  return std::to_string(static_cast<std::uint32_t>(m.origin + m.cur)) + " keyword " + std::string(m.kw, m.kwLen + 1) +
         " unsaved " + std::string(m.un, m.unLen + 1) + " record " + std::to_string(m.record.size()) + " " + m.record +
         " into " + (m.hasInto ? std::to_string(m.into.size()) : "none") + " " + m.into.substr(intoFrom);
}

// splitmix64: a fast engine, so that making 100,000 texts costs little next to checking them.
class Engine {
 public:
  explicit Engine(std::uint64_t seed) : m_state(seed) {}
  std::uint64_t operator()() {
    std::uint64_t z = (m_state += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
  }

 private:
  std::uint64_t m_state;
};

class RandomCase {
 public:
  explicit RandomCase(std::uint32_t seed) : m_rng(seed), m_cuts(~std::uint64_t{seed}) {}
  std::uint32_t Below(std::uint64_t n) { return static_cast<std::uint32_t>((m_rng() >> 32) * n >> 32); }
  bool OneIn(std::uint32_t n) { return Below(n) == 0; }
  std::string Text(const std::string& alphabet, std::size_t n) {
    std::string text(n, ' ');
    for (char& c : text) c = alphabet[Below(alphabet.size())];
    return Swapped(text);
  }
  // Letters in random case, one random bit each.
  std::string Swapped(std::string text) {
    std::uint64_t bits = 0;
    for (std::size_t i = 0; i < text.size(); ++i, bits >>= 1) {
      if (i % 64 == 0) bits = m_rng();
      if ((bits & 1) != 0 && std::isalpha(static_cast<unsigned char>(text[i]))) text[i] ^= 0x20;
    }
    return text;
  }
  // Full reads, any count, one to three bytes, or now and then a short one.
  Cut Cuts() {
    const std::uint32_t mode = Below(4);
    return [this, mode](std::uint32_t n) -> std::uint32_t {
      const std::uint32_t any = 1 + static_cast<std::uint32_t>(m_cuts() % n);
      return mode == 0 ? n : mode == 1 ? any : mode == 2 ? std::min(any, 3u) : m_cuts() % 4 ? n : any;
    };
  }

 private:
  Engine m_rng;
  Engine m_cuts;
};

// Data over a few bytes, the keyword planted at random and across every block
// end, a third of those behind a false start that ends at the block end.
std::string MakeData(RandomCase& rnd, const std::string& alphabet, const std::string& keyword) {
  std::string data = rnd.Text(alphabet, rnd.OneIn(5) ? rnd.Below(12500) : rnd.Below(600));
  auto plant = [&](std::size_t at, const std::string& text) {
    if (at + text.size() <= data.size()) data.replace(at, text.size(), rnd.Swapped(text));
  };
  for (std::size_t end = kBlock; end < data.size(); end += kBlock) {
    const std::size_t back = 1 + rnd.Below(keyword.size());
    plant(end - back, rnd.OneIn(3) ? keyword.substr(0, back) + keyword : keyword);
  }
  for (std::uint32_t n = rnd.Below(4); n > 0 && !data.empty(); --n) plant(rnd.Below(data.size()), keyword);
  return data;
}

std::string Printed(const std::string& text) { return ::testing::PrintToString(text); }  // escaped

::testing::AssertionResult RunCase(std::uint32_t seed) {
  RandomCase rnd(seed);
  static const std::string pool("aAbB\n ,;x\0\xE9", 11);
  std::string alphabet;
  for (std::uint32_t n = 1 + rnd.Below(5); n > 0; --n) alphabet += pool[rnd.Below(pool.size())];
  const std::string keyword = rnd.Text(alphabet, 1 + rnd.Below(10));
  const bool positionable = !rnd.OneIn(8);
  ShortReads buf(MakeData(rnd, alphabet, keyword), rnd.Cuts(), positionable ? 3 : 1);
  Reference m;
  m.buf = &buf;
  m.data = buf.Data();
  m.cs = rnd.OneIn(2);
  m.nulls = rnd.OneIn(3);
  m.Restart(0, 0);
  BinaryStreamParser p(buf, m.cs);
  p.IgnoreNulls(m.nulls);
  SharedMemoryBuffer into;
  std::size_t intoChecked = 0;  // `into` only grows: what was compared is not copied again
  for (int step = 0; step < 30; ++step) {
    const std::string k = rnd.OneIn(3) ? rnd.Text(alphabet, 1 + rnd.Below(10)) : keyword;
    const std::string set = rnd.Text(alphabet + "\t", rnd.Below(4));
    const Reference::Into to{rnd.OneIn(3) ? rnd.Text(alphabet, 1 + rnd.Below(3)) : "", rnd.OneIn(2), rnd.OneIn(2)};
    const char* marker = to.marker.empty() ? nullptr : to.marker.c_str();
    const bool outs = rnd.OneIn(2), kept = outs || rnd.OneIn(2);  // the string-out forms keep
    std::string out = "old";
    bool got = true, expected = true;
    const std::uint32_t op = rnd.Below(13);
    switch (op) {
      case 0:
        got = outs ? p.FetchTo(k[0], out) : p.FetchTo(k[0], kept);
        expected = m.FetchData(Reference::Keyword, k.substr(0, 1), kept);
        break;
      case 1:
        got = outs ? p.FetchBeyond(k, out) : p.FetchBeyond(k, kept), expected = m.Beyond(k, kept);
        break;
      case 2:
        got = outs ? p.FetchUntil(set, out) : p.FetchUntil(set, kept);
        expected = m.FetchData(Reference::InSet, set, kept);
        break;
      case 3:
        got = outs ? p.FetchUntilNot(set, out) : p.FetchUntilNot(set, kept);
        expected = m.FetchData(Reference::NotInSet, set, kept);
        break;
      case 4:
        got = p.FetchIntoTo(into, k, marker, to.strip, to.space);
        expected = m.FetchData(Reference::Keyword, k, false, &to);
        break;
      case 5:
        got = p.FetchIntoBeyond(into, k, marker, to.strip, to.space), expected = m.Beyond(k, false, &to);
        break;
      case 6:
        got = p.FetchIntoUntil(into, set, marker, to.strip, to.space);
        expected = m.FetchData(set.size() == 1 ? Reference::Keyword : Reference::InSet, set, false, &to);
        break;
      case 7:
        got = p.FetchIntoUntilNot(into, set, marker, to.strip, to.space);
        expected = m.FetchData(Reference::NotInSet, set, false, &to);
        break;
      case 8: {
        const std::uint32_t n = rnd.OneIn(3) ? rnd.Below(5000) : rnd.Below(50);
        got = p.Fetch(n, kept, outs), expected = m.Fetch(n, kept, outs);
        break;
      }
      case 9:
        got = p.GetCurrentChar() == (m.cur < m.s.size() ? static_cast<unsigned char>(m.s[m.cur]) : 0);
        break;
      case 10:
        if (outs) {
          p.SetRecordFetching(m.recording = kept);
          p.ClearFetchingBuffer();
          m.record.clear();
        } else if (kept) {
          p.SetKeywordBuffer(k.c_str(), 0);
          m.kwLen = static_cast<std::uint32_t>(std::strlen(k.c_str()));
          std::memcpy(m.kw, k.c_str(), m.kwLen + 1);
        } else {
          p.SetCaseSensitive(m.cs = !m.cs);
          into.Reset(), m.into.clear(), m.hasInto = false, intoChecked = 0;
        }
        break;
      case 11:
        p.Reset(), m.Restart(0, 0);
        break;
      default: {
        const std::uint32_t offset = rnd.OneIn(4) ? kBlock * rnd.Below(4) : rnd.Below(m.data.size() + 10);
        std::uint32_t base = positionable ? offset - offset % kBlock : 0, rest = offset - base;
        if (positionable && rest == 0) base -= kBlock, rest = kBlock;
        got = p.Seek(offset);
        m.Restart(std::clamp<std::int64_t>(static_cast<std::int32_t>(base), 0, m.data.size()), base);
        expected = m.Fetch(rest, false, true);
      }
    }
    const std::string wanted = outs && expected && op <= 3 ? std::string(m.kw, m.kwLen) : "old";
    const std::string state = State(p, into, intoChecked), reference = State(m, intoChecked);
    if (got != expected || out != wanted || state != reference)
      return ::testing::AssertionFailure()
             << "seed " << seed << " step " << step << " op " << op << ": " << got << " " << Printed(out) << " "
             << Printed(state) << "\n expected " << expected << " " << Printed(wanted) << " " << Printed(reference);
    intoChecked = m.into.size();
  }
  return ::testing::AssertionSuccess();
}

}  // namespace

TEST(BinaryStreamParser, MatchesTheReferenceOnRandomCases) {
  int failures = 0;
  for (std::uint32_t seed = 1; seed <= kCases && failures < 3; ++seed) {
    const ::testing::AssertionResult result = RunCase(seed);
    EXPECT_TRUE(result);
    failures += !result;
  }
}

namespace {

std::string Pattern(std::size_t n) {
  std::string text(n, ' ');
  for (std::size_t i = 0; i < n; ++i) text[i] = static_cast<char>('a' + i % 26);
  return text;
}

Cut Reads(std::uint32_t size) {
  return [size](std::uint32_t n) { return std::min(n, size); };
}

enum class Call { To, Beyond, BeyondKept, Until, UntilNot, FetchKept };

// The string out of a call, or the keyword buffer for the calls that have none.
bool Apply(BinaryStreamParser& p, Call call, const std::string& arg, std::string& out) {
  bool found = false;
  switch (call) {
    case Call::To:
      return p.FetchTo(arg[0], out);
    case Call::Beyond:
      return p.FetchBeyond(arg, out);
    case Call::Until:
      return p.FetchUntil(arg, out);
    case Call::UntilNot:
      return p.FetchUntilNot(arg, out);
    case Call::BeyondKept:
      found = p.FetchBeyond(arg, true);
      break;
    case Call::FetchKept:
      found = p.Fetch(static_cast<std::uint32_t>(std::stoul(arg)), true, false);
      break;
  }
  out = p.GetKeywordBuffer();
  return found;
}

}  // namespace

TEST(BinaryStreamParser, FetchesStopAndKeepAsTheTableSays) {
  const struct {
    const char* text;
    bool caseSensitive;
    Call call;
    const char* arg;
    bool found;
    const char* out;
    std::uint32_t offset;
  } rows[] = {
      {"xxaBab", true, Call::Beyond, "ab", true, "xx", 4},    // the keyword's tail folds case
      {"xxAbab", true, Call::Beyond, "ab", true, "xxAb", 6},  // its first byte does not
      {"xxAbab", false, Call::Beyond, "AB", true, "xx", 4},
      {"xxa", true, Call::Beyond, "ab", false, "old", 3},     // out untouched, offset at the end
      {"xxa", true, Call::BeyondKept, "ab", false, "xx", 3},  // a partial match at the end is not kept
      {"key = v", true, Call::To, "=", true, "key ", 4},
      {"ABC", false, Call::To, "b", true, "A", 1},
      {" \t x", true, Call::UntilNot, " \t", true, " \t ", 3},
      {"AbA,", false, Call::UntilNot, "a", true, "A", 1},
      {"abC", false, Call::Until, "xc", true, "ab", 2},
      {"abc", true, Call::Beyond, "", true, "", 1},  // an empty keyword is where the cursor is
      {"", true, Call::Beyond, "", false, "old", 0},
      {"abc", true, Call::UntilNot, "", true, "", 0},
      {"abc", true, Call::Until, "", false, "old", 3},
      {"abcdef", true, Call::FetchKept, "4", true, "abcd", 4},
      {"abcdef", true, Call::FetchKept, "9", false, "abcdef", 6},
      {"abcdef", true, Call::FetchKept, "0", true, "", 0},
  };
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    const auto& row = rows[i];
    MemoryBuffer buf(row.text, static_cast<std::uint32_t>(std::strlen(row.text)));
    ORV::BinaryStream stream(buf);
    BinaryStreamParser p(stream, row.caseSensitive);
    std::string out = "old";
    EXPECT_EQ(Apply(p, row.call, row.arg, out), row.found) << "row " << i;
    EXPECT_EQ(out, row.out) << "row " << i;
    EXPECT_EQ(p.GetCurrentStreamOffset(), row.offset) << "row " << i;
  }
}

TEST(BinaryStreamParser, KeywordsAreFoundWhereverTheBlocksEnd) {
  const std::string x4094(4094, 'x');
  const struct {
    std::string text, keyword;
    std::uint32_t readSize;
    bool found;
    std::uint32_t offset;  // after FetchBeyond
    std::uint32_t kept;    // bytes recorded in the keyword buffer
  } rows[] = {
      {x4094 + "abcd!", "abcd", kBlock, true, 4098, 4094},  // the part in the first block is not recorded
      {x4094 + "xaaab", "aab", kBlock, true, 4099, 4095},   // failed at the block end, keyword at the next start
      {x4094 + "abaabab", "abab", kBlock, true, 4101, 4095},
      {"abcdefgabcdefghij!", "abcdefghij", 3, true, 17, 1},  // a false start over three reads, then four
      {"aaaaaaaaaaaaaaaaab", "aaab", 1, true, 18, 0},
      {Pattern(4999) + "!" + Pattern(5000), Pattern(5000), 1000, true, 10000, 1000},
      {Pattern(8999) + "!" + Pattern(9000), Pattern(9000), kBlock, true, 18000, 808},  // kept beyond one block
      {x4094 + "ab", "abc", kBlock, false, 4096, 4094},
  };
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    const auto& row = rows[i];
    ShortReads buf(row.text, Reads(row.readSize));
    BinaryStreamParser p(buf, true);
    EXPECT_EQ(p.FetchBeyond(row.keyword, true), row.found) << "row " << i;
    EXPECT_EQ(p.GetCurrentStreamOffset(), row.offset) << "row " << i;
    EXPECT_EQ(p.GetKeywordLen(), row.kept) << "row " << i;
  }
  MemoryBuffer buf((x4094 + "abcd!").data(), 4099);
  BinaryStreamParser p(buf, true);
  SharedMemoryBuffer into;
  ASSERT_TRUE(p.FetchIntoTo(into, "abcd"));
  EXPECT_EQ(p.GetCurrentChar(), 'd') << "the cursor rests on the keyword's last byte";
}

TEST(BinaryStreamParser, OverflowRecordAndIntoBuffers) {
  const std::string text = Pattern(4200) + ";";
  MemoryBuffer whole(text.data(), 4201);
  BinaryStreamParser p(whole, true);
  ASSERT_TRUE(p.FetchTo(';', true));
  EXPECT_EQ(std::string(p.GetKeywordBuffer(), p.GetKeywordLen()), text.substr(0, kBlock));
  EXPECT_EQ(std::string(p.GetUnsavedData(), p.GetUnsavedDataLen()), text.substr(kBlock, 104)) << "the second block";
  // In reads of 100 bytes, 4000-4099 fill the keyword buffer and go whole to the unsaved data; 4100-4199 do not
  // fit behind them, so the whole 128-byte area moves left by 100 first, stale bytes and all.
  ShortReads pieces(text, Reads(100));
  BinaryStreamParser q(pieces, true);
  ASSERT_TRUE(q.FetchTo(';', true));
  EXPECT_EQ(std::string(q.GetUnsavedData(), q.GetUnsavedDataLen()), std::string(28, '\0') + text.substr(4100, 100));
  q.SetKeywordBuffer(text.c_str(), 0);
  EXPECT_EQ(q.GetKeywordLen(), kBlock);
  EXPECT_EQ(q.GetUnsavedDataLen(), 128u) << "SetKeywordBuffer leaves the unsaved data";

  MemoryBuffer csv("one,two,three;", 14);
  BinaryStreamParser r(csv, true);
  std::string content = "x";
  r.GetRecordFetchingContent(content, 0, 0);
  r.SetRecordFetching(true);
  ASSERT_TRUE(r.FetchTo(';', false));
  r.GetRecordFetchingContent(content, 4, 3);
  MemoryBuffer copy;
  r.GetRecordFetchingContent(copy, 8, 0);
  EXPECT_EQ(content, "xtwo") << "nothing while there is no record buffer, then appended";
  EXPECT_EQ(copy.Size(), 5u);
  r.Reset();
  ASSERT_TRUE(r.FetchBeyond("two", false));
  EXPECT_EQ(r.GetRecordFetchingSize(), 1u) << "the closing Fetch(1, false, true) leaves the byte it stepped over";

  // A new `into` buffer's chunk size: its first write plus one, 128 at least while the target is ahead.
  const struct {
    std::string text;
    std::uint32_t readSize, chunk;
  } rows[] = {{"junk<a>body;", kBlock, 12}, {"0123456789<a>;", 10, 128}, {Pattern(5000) + "<a>;", kBlock, 4096}};
  for (const auto& row : rows) {
    ShortReads buf(row.text, Reads(row.readSize));
    BinaryStreamParser s(buf, false);
    SharedMemoryBuffer into;
    ASSERT_TRUE(s.FetchIntoTo(into, ";"));
    EXPECT_EQ(into->ChunkSize(), row.chunk) << row.text.size();
  }
  MemoryBuffer marked("zz<A>q;", 7);
  BinaryStreamParser s(marked, false);
  SharedMemoryBuffer into(new ORV::RefCount<MemoryBuffer>());
  into->SafePut("old", 3);
  ASSERT_TRUE(s.FetchIntoTo(into, ";", "<a>", false, true));
  std::string held;
  into->Copy(held);
  EXPECT_EQ(held, "old <A>q") << "the marker applies to a buffer that already holds data";
}

TEST(BinaryStreamParser, NullsSeekResetAndTheBuffersPosition) {
  MemoryBuffer zeros(std::string(5000, '\0').data(), 5000);
  BinaryStreamParser none(zeros, true);
  none.IgnoreNulls(true);
  EXPECT_FALSE(none.FetchUntilNot("x", false) || none.Fetch(1, false, false));
  EXPECT_EQ(none.GetCurrentChar(), 0);

  const std::string text = Pattern(10000);
  MemoryBuffer buf(text.data(), 10000);
  buf.SeekG(50, BinaryStreamBuf::Begin);
  char peeked[4];
  buf.Peek(peeked, 4);
  BinaryStreamParser p(buf, true);
  EXPECT_EQ(p.GetCurrentChar(), 'a') << "the parser starts at the buffer's start";
  // Seek(0) aims at 4294963200, which the buffer clamps to its start: one block on, the offset wraps to 0.
  const std::uint32_t rows[][3] = {{8192, 8192, 8192}, {5000, 5000, 5000}, {4096, 4096, 4096}, {0, 0, 4096}};
  for (const auto& row : rows) {
    EXPECT_TRUE(p.Seek(row[0])) << row[0];
    EXPECT_EQ(p.GetCurrentStreamOffset(), row[1]) << row[0];
    EXPECT_EQ(p.GetCurrentChar(), static_cast<unsigned char>(text[row[2]])) << row[0];
  }
  MemoryBuffer small(text.data(), 100);
  BinaryStreamParser q(small, true);
  EXPECT_FALSE(q.Seek(0));
  EXPECT_EQ(q.GetCurrentStreamOffset(), 4294963200u + 100);
  q.Reset();
  EXPECT_EQ(q.GetCurrentChar(), 'a');

  ShortReads forward(text, Reads(700), BinaryStreamBuf::CanGet);
  BinaryStreamParser r(forward, true);
  EXPECT_TRUE(r.Seek(5000)) << "a buffer that cannot be positioned is read again from the start";
  EXPECT_EQ(r.GetCurrentChar(), static_cast<unsigned char>(text[5000]));
  ShortReads stuck(text, [](std::uint32_t) { return 0u; });
  BinaryStreamParser t(stuck, true);
  EXPECT_FALSE(t.FetchTo('z', true)) << "a read that delivers nothing ends the data, whatever EndOfFile says";
  ShortReads failing(text, [](std::uint32_t) -> std::uint32_t { throw std::runtime_error("medium lost"); });
  BinaryStreamParser s(failing, true);
  EXPECT_THROW(s.FetchTo('z', true), std::runtime_error);
}
