// The parser against a plain reference tokenizer on random cases: small
// alphabets that include the bytes around the letters, keywords planted across
// block ends, reads cut short, sets large enough for the table lookup. Then
// what the reference does not model.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstring>
#include <functional>
#include <random>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "BufferModel.h"
#include "ORVBinaryStreamParser.h"
#include "ORVFileTestSupport.h"

namespace {

using ORV::BinaryStreamBuf;
using ORVFile::BinaryStreamParser;
using ORVFile::SharedMemoryBuffer;
using Cut = std::function<std::uint32_t(std::uint32_t)>;  // bytes a read delivers of the n it could

constexpr std::uint32_t kBlock = 4096;

// A memory buffer over a string whose reads deliver what `cut` allows, and
// that notes where each read ended since the last seek: the block ends.
class ShortReads : public model::MemModel {
 public:
  ShortReads(std::string text, Cut cut, unsigned char caps = CanGet | CanSeek)
      : MemModel(kBlock, caps), data(std::move(text)), m_cut(std::move(cut)) {
    bytes.assign(data.begin(), data.end());
  }
  const std::string data;
  std::vector<std::uint32_t> ends;

  std::uint32_t vGet(void* dest, std::uint32_t count) override {
    const std::uint32_t n = Model::vGet(dest, Left(count) == 0 ? 0 : m_cut(Left(count)));
    ends.push_back(get);
    return n;
  }
  std::uint32_t vSeekG(std::int32_t offset, Direction direction) override {
    ends.clear();
    return MemModel::vSeekG(offset, direction);
  }

 private:
  Cut m_cut;
};

unsigned char Fold(char c) { return static_cast<unsigned char>(std::tolower(static_cast<unsigned char>(c))); }

// Each fetch worked out byte by byte on the whole text the parser sees (nulls
// removed when ignored). It is told where the buffer's reads ended: the bytes
// of a partial keyword match kept over such an end are never recorded.
struct Reference {
  enum Kind { Keyword, InSet, NotInSet };  // a byte target is a keyword of one byte
  struct Into {
    std::string marker;
    bool strip, space;
  };
  const ShortReads* buf = nullptr;
  std::string s, record, into;
  bool cs = false, nulls = false, recording = false, hasInto = false;
  std::uint32_t origin = 0;
  std::size_t epoch = 0, cur = 0;
  std::vector<std::size_t> bounds, seen;
  char kw[kBlock + 1] = {}, un[129] = {};
  std::uint32_t kwLen = 0, unLen = 0;

  void Restart(std::size_t from, std::uint32_t offset) {
    s.assign(buf->data, epoch = from);
    if (nulls) s.erase(std::remove(s.begin(), s.end(), '\0'), s.end());
    seen.assign(1, 0);  // seen[i]: the bytes of data[0, i) that the parser sees
    for (char c : buf->data) seen.push_back(seen.back() + (!nulls || c != '\0'));
    origin = offset;
    cur = 0;
    std::fill(std::begin(kw), std::end(kw), 0), std::fill(std::begin(un), std::end(un), 0);
    kwLen = unLen = 0;
  }
  void SeeReads() {
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
    return std::any_of(t.begin(), t.end(), [&](char c) { return First(s[i], c); }) == (kind == InSet);
  }
  // The unsaved data is a 128-byte area: a tail that does not fit behind what
  // it holds moves the whole area left first, stale bytes and all.
  void AppendKeyword(const std::string& chunk) {
    const std::size_t fit = std::min<std::size_t>(chunk.size(), kBlock - kwLen);
    for (std::size_t i = 0; i < fit; ++i) kw[kwLen++] = chunk[i];
    kw[kwLen] = 0;
    if (fit > 0 && unLen > 0) unLen = un[0] = 0;
    if (fit == chunk.size()) return;
    const std::size_t m = std::min<std::size_t>(chunk.size(), 128);
    std::size_t at = unLen > 0 && m < 128 ? unLen : 0;
    if (at + m > 128) std::copy(un + m, un + 128, un), at = 128 - m;
    std::copy(chunk.end() - m, chunk.end(), un + at);
    un[unLen = static_cast<std::uint32_t>(at + m)] = 0;
  }
  // Records [from, to) less the bytes in `skip`, one piece per block.
  void Pass(std::size_t from, std::size_t to, const std::vector<bool>& skip, bool keep, const Into* target) {
    std::string all;
    for (std::size_t i = std::upper_bound(bounds.begin(), bounds.end(), from) - bounds.begin(); from < to; ++i) {
      std::string piece;
      for (const std::size_t stop = i < bounds.size() ? std::min(bounds[i], to) : to; from < stop; ++from)
        if (skip.empty() || !skip[from]) piece += s[from];
      if (keep && !piece.empty()) AppendKeyword(piece);
      all += piece;
    }
    if (recording) record += all;
    if (target) WriteInto(all, *target);
  }
  void WriteInto(std::string r, const Into& t) {
    if (t.strip) r.erase(std::remove(r.begin(), r.end(), '\0'), r.end());
    const std::string marker = t.marker.c_str();  // a C string: it ends at the first 0 byte
    auto it = std::search(r.begin(), r.end(), marker.begin(), marker.end(),
                          [&](char a, char b) { return cs ? a == b : Fold(a) == Fold(b); });
    if (it == r.end() && !marker.empty()) return;
    const std::string out = (t.space && it != r.begin() ? " " : "") + std::string(it, r.end());
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
    for (std::size_t b : bounds) {  // a partial match running into a read end
      if (skip.empty() || b <= cur || b >= (found ? stop + width : s.size() + 1)) continue;
      std::size_t r = std::max(cur, b + 1 > width ? b + 1 - width : 0);
      while (r < b && !Prefix(t, r, b - r)) ++r;
      std::fill(skip.begin() + r, skip.begin() + b, true);
    }
    Pass(cur, found ? stop : s.size(), skip, keep, target);
    cur = found ? stop + width - 1 : s.size();
    return found;
  }
  bool Fetch(std::size_t n, bool keep, bool clear) {
    SeeReads();
    if (cur == s.size()) return false;
    if (keep) kwLen = kw[0] = 0;
    if (clear) record.clear();
    const std::size_t from = cur;
    Pass(from, cur = std::min(s.size(), from + n), {}, keep, nullptr);
    return cur - from == n;
  }
};

// What a test compares after each step, in one text: the offset, the keyword
// buffer and unsaved data (their terminating NUL included), the record buffer
// (its size, and its content from `from`, `len` bytes or all for 0) and what
// `into` gained since `intoFrom`.

std::string State(BinaryStreamParser& p, const SharedMemoryBuffer& into, std::size_t intoFrom, std::uint32_t from,
                  std::uint32_t len) {
  std::string state = std::to_string(p.GetCurrentStreamOffset()) + " keyword " +
                      std::string(p.GetKeywordBuffer(), p.GetKeywordLen() + 1) + " unsaved " +
                      std::string(p.GetUnsavedData(), p.GetUnsavedDataLen() + 1) + " record " +
                      std::to_string(p.GetRecordFetchingSize()) + " ";
  p.GetRecordFetchingContent(state, from, len);
  state += " into " + (into ? std::to_string(into->Size()) : "none") + " ";
  if (into) into->SeekG(static_cast<std::int32_t>(intoFrom), BinaryStreamBuf::Begin), into->Copy(state);
  return state;
}

std::string State(const Reference& m, std::size_t intoFrom, std::uint32_t from, std::uint32_t len) {
  const std::string record = from < m.record.size() ? m.record.substr(from, len ? len : -1) : "";
  return std::to_string(static_cast<std::uint32_t>(m.origin + m.cur)) + " keyword " + std::string(m.kw, m.kwLen + 1) +
         " unsaved " + std::string(m.un, m.unLen + 1) + " record " + std::to_string(m.record.size()) + " " + record +
         " into " + (m.hasInto ? std::to_string(m.into.size()) : "none") + " " + m.into.substr(intoFrom);
}

struct RandomCase {
  std::mt19937_64 rng, cuts;
  std::uint32_t Below(std::uint64_t n) { return static_cast<std::uint32_t>((rng() >> 32) * n >> 32); }
  bool OneIn(std::uint32_t n) { return Below(n) == 0; }
  // n bytes of the alphabet after `text`, letters in random case.
  std::string Text(const std::string& alphabet, std::size_t n, std::string text = {}) {
    while (text.size() < n) text += alphabet[Below(alphabet.size())];
    for (char& c : text)
      if (std::isalpha(static_cast<unsigned char>(c)) && OneIn(2)) c ^= 0x20;
    return text;
  }
  // Full reads, any count, one to three bytes, or now and then a short one.
  Cut Cuts() {
    const std::uint32_t mode = Below(4);
    return [this, mode](std::uint32_t n) -> std::uint32_t {
      const std::uint32_t any = 1 + static_cast<std::uint32_t>(cuts() % n);
      return mode == 0 ? n : mode == 1 ? any : mode == 2 ? std::min(any, 3u) : cuts() % 4 ? n : any;
    };
  }
  // Random text with the keyword planted where it ends at a block end, or a
  // false start of it right before.
  std::string Data(const std::string& alphabet, const std::string& keyword) {
    std::string data = Text(alphabet, OneIn(5) ? Below(12500) : Below(600));
    auto plant = [&](std::size_t at, const std::string& text) {
      if (at < data.size() && text.size() <= data.size() - at) data.replace(at, text.size(), Text({}, 0, text));
    };
    for (std::size_t end = kBlock; end < data.size(); end += kBlock) {
      const std::size_t back = 1 + Below(keyword.size());
      plant(end - back, OneIn(3) ? keyword.substr(0, back) + keyword : keyword);
    }
    for (std::uint32_t n = Below(4); n > 0 && !data.empty(); --n) plant(Below(data.size()), keyword);
    return data;
  }
};

::testing::AssertionResult RunCase(std::uint32_t seed) {
  RandomCase rnd{std::mt19937_64(seed), std::mt19937_64(~std::uint64_t{seed})};
  // Beside the letters, the bytes next to them that must not fold, and a non-ASCII pair.
  static const std::string pool("aAbB\n ,;x\0\xE9@[\\`{\xC9", 17), wide("0123456789ghijklm");
  std::string alphabet;
  for (std::uint32_t n = 1 + rnd.Below(5); n > 0; --n) alphabet += pool[rnd.Below(pool.size())];
  // Now and then a keyword longer than a block, kept over refills in an area of its own.
  const std::string keyword = rnd.Text(alphabet, rnd.OneIn(300) ? 4098 + rnd.Below(300) : 1 + rnd.Below(10));
  const bool positionable = !rnd.OneIn(8);
  ShortReads buf(rnd.Data(alphabet, keyword), rnd.Cuts(), positionable ? 3 : 1);
  char ahead[16];  // the parser starts at the buffer's start, whatever was read or peeked before
  buf.Get(ahead, rnd.Below(4)), buf.Peek(ahead, rnd.Below(17));
  Reference m;
  m.buf = &buf, m.cs = rnd.OneIn(2), m.nulls = rnd.OneIn(3);
  m.Restart(0, 0);
  BinaryStreamParser p(buf, m.cs);
  p.IgnoreNulls(m.nulls);
  SharedMemoryBuffer into;
  std::size_t intoChecked = 0;  // `into` only grows: what was compared is not copied again
  std::string k, set, out;
  Reference::Into to;
  bool outs = false, kept = false;
  const char* marker = nullptr;
  const std::function<bool()> fetches[] = {
      [&] { return outs ? p.FetchTo(k.c_str()[0], out) : p.FetchTo(k.c_str()[0], kept); },
      [&] { return outs ? p.FetchBeyond(k, out) : p.FetchBeyond(k, kept); },
      [&] { return outs ? p.FetchUntil(set, out) : p.FetchUntil(set, kept); },
      [&] { return outs ? p.FetchUntilNot(set, out) : p.FetchUntilNot(set, kept); },
      [&] { return p.FetchIntoTo(into, k, marker, to.strip, to.space); },
      [&] { return p.FetchIntoBeyond(into, k, marker, to.strip, to.space); },
      [&] { return p.FetchIntoUntil(into, set, marker, to.strip, to.space); },
      [&] { return p.FetchIntoUntilNot(into, set, marker, to.strip, to.space); }};
  for (int step = 0; step < 30; ++step) {
    k = rnd.OneIn(3) ? rnd.Text(alphabet, rnd.Below(11)) : keyword;
    // More than sixteen distinct bytes take the table lookup.
    set = (rnd.OneIn(4) ? wide : "") + rnd.Text(alphabet + "\t", rnd.Below(4));
    to = {rnd.OneIn(3) ? rnd.Text(alphabet, 1 + rnd.Below(3)) : "", rnd.OneIn(2), rnd.OneIn(2)};
    marker = to.marker.empty() ? nullptr : to.marker.c_str();
    outs = rnd.OneIn(2), kept = outs || rnd.OneIn(2);  // the string-out forms keep
    out = "old";
    bool got = true, expected = true;
    const std::uint32_t op = rnd.Below(13), form = op % 4;  // to, beyond, until, until-not
    if (op < 8) {
      got = fetches[op]();
      const std::string target = op == 0 ? std::string(1, k.c_str()[0]) : form < 2 ? k : set;
      // A one-byte FetchIntoUntil is taken as FetchIntoTo.
      const auto kind = form < 2 || (op == 6 && set.size() == 1) ? m.Keyword : form == 2 ? m.InSet : m.NotInSet;
      expected =
          m.FetchData(kind, target, op < 4 && kept, op < 4 ? nullptr : &to) && (form != 1 || m.Fetch(1, false, true));
    } else if (op == 8) {
      const std::uint32_t n = rnd.OneIn(3) ? rnd.Below(5000) : rnd.Below(50);
      got = p.Fetch(n, kept, outs), expected = m.Fetch(n, kept, outs);
    } else if (op == 9) {
      got = p.GetCurrentChar() == (m.cur < m.s.size() ? static_cast<unsigned char>(m.s[m.cur]) : 0);
    } else if (op == 10 && outs) {
      p.SetRecordFetching(m.recording = kept);
      p.ClearFetchingBuffer();
      m.record.clear();
    } else if (op == 10 && kept) {
      const char* text = rnd.OneIn(2) ? k.c_str() : buf.data.c_str();  // cut at 4096 bytes
      p.SetKeywordBuffer(text, 0);
      m.kwLen = static_cast<std::uint32_t>(std::min<std::size_t>(std::strlen(text), kBlock));
      std::copy(text, text + m.kwLen, m.kw), m.kw[m.kwLen] = 0;
    } else if (op == 10) {
      p.SetCaseSensitive(m.cs = !m.cs);
      into.Reset(), m.into.clear(), m.hasInto = false, intoChecked = 0;
    } else if (op == 11) {
      p.Reset(), m.Restart(0, 0);
    } else {
      const std::uint32_t offset = rnd.OneIn(4) ? kBlock * rnd.Below(4) : rnd.Below(buf.data.size() + 10);
      std::uint32_t base = positionable ? offset - offset % kBlock : 0, rest = offset - base;
      if (positionable && rest == 0) base -= kBlock, rest = kBlock;
      got = p.Seek(offset);
      m.Restart(std::clamp<std::int64_t>(static_cast<std::int32_t>(base), 0, buf.data.size()), base);
      expected = m.Fetch(rest, false, true);
    }
    const std::string wanted = outs && expected && op <= 3 ? std::string(m.kw, m.kwLen) : "old";
    // Record content from anywhere, 2^31 and beyond included.
    const std::uint32_t from = rnd.OneIn(2) ? 0 : rnd.OneIn(2) ? rnd.Below(30) : 0x7FFFFFFFu + rnd.Below(3);
    const std::uint32_t len = rnd.OneIn(2) ? 0 : rnd.Below(30);
    const std::string state = State(p, into, intoChecked, from, len), reference = State(m, intoChecked, from, len);
    if (std::tie(got, out, state) != std::tie(expected, wanted, reference))
      return ::testing::AssertionFailure() << "seed " << seed << " step " << step << " op " << op << ": "
                                           << ::testing::PrintToString(std::tie(got, out, state)) << "\n expected "
                                           << ::testing::PrintToString(std::tie(expected, wanted, reference));
    intoChecked = m.into.size();
  }
  return ::testing::AssertionSuccess();
}

}  // namespace

TEST(BinaryStreamParser, MatchesTheReferenceOnRandomCases) {
  const int cases = 5000 * orvtest::TestScale();
  for (int seed = 1, failures = 0; seed <= cases && failures < 3; ++seed) {
    const ::testing::AssertionResult result = RunCase(static_cast<std::uint32_t>(seed));
    EXPECT_TRUE(result);
    failures += !result;
  }
}

TEST(BinaryStreamParser, IntoChunksAndSourcesThatStopOrFail) {
  // A new `into` buffer's chunk size: its first write plus one, 128 at least while the target is ahead.
  for (const auto& [text, reads, chunk] : {std::tuple<std::string, std::uint32_t, std::uint32_t>{"junk;", kBlock, 5},
                                           {std::string(10, 'x') + ";", 10, 128},
                                           {std::string(5000, 'x') + ";", kBlock, kBlock}}) {
    ShortReads buf(text, [reads = reads](std::uint32_t n) { return std::min(n, reads); });
    BinaryStreamParser s(buf, false);
    SharedMemoryBuffer into;
    ASSERT_TRUE(s.FetchIntoTo(into, ";"));
    EXPECT_EQ(into->ChunkSize(), chunk) << text.size();
  }

  ShortReads stuck("abc", [](std::uint32_t) { return 0u; });
  BinaryStreamParser t(stuck, true);
  EXPECT_FALSE(t.FetchTo('z', true)) << "a read that delivers nothing ends the data, whatever EndOfFile says";
  // A source that fails while a partial keyword waits for the next read: the exception passes unchanged, and the
  // parser finds the keyword once the source works again.
  bool fail = true;
  ShortReads failing(std::string(4094, 'x') + "abcd!", [&fail](std::uint32_t n) -> std::uint32_t {
    if (n < kBlock && fail) throw std::runtime_error("medium lost");
    return n;
  });
  BinaryStreamParser u(failing, true);
  EXPECT_THROW(u.FetchBeyond("abcd", true), std::runtime_error);
  fail = false;
  EXPECT_TRUE(u.FetchBeyond("abcd", true));
  EXPECT_TRUE(u.GetCurrentStreamOffset() == 4098u && u.GetCurrentChar() == '!');
}
