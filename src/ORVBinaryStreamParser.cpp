#include "ORVBinaryStreamParser.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "ORVByteScan.h"

namespace ORVFile {
namespace {

using detail::ByteInSet;
using detail::ByteIs;
using detail::ByteIsEither;
using detail::CasePartner;
using detail::CopyBytes;
using detail::EqualFolded;
using detail::FindFirst;
using detail::FoldCase;
using detail::KeywordEnds;
using detail::Not;

constexpr std::uint32_t kRecordChunk = 1024;
// A new `into` buffer for a first write of n bytes gets min(n + 1, kIntoChunkMax), at least
// kIntoChunkAhead while the target is still ahead (more writes will follow).
constexpr std::uint32_t kIntoChunkMax = 4096;
constexpr std::uint32_t kIntoChunkAhead = 128;

const unsigned char* Bytes(const std::string& text) { return reinterpret_cast<const unsigned char*>(text.data()); }

std::uint32_t Length(const std::string& text) { return static_cast<std::uint32_t>(text.size()); }

std::uint32_t RemoveNulls(unsigned char* data, std::uint32_t n) {
  return static_cast<std::uint32_t>(std::remove(data, data + n, 0) - data);
}

// out becomes the n bytes at data. Growing it writes no zeros first, as
// resize would (through the runtime's memset), and assign would copy through
// the runtime's memcpy, dearer under Wine than CopyBytes.
void AssignBytes(std::string& out, const void* data, std::uint32_t n) {
  out.resize_and_overwrite(n, [&](char* to, std::size_t) {
    CopyBytes(to, data, n);
    return n;
  });
}

// Calls use with the matcher of byte c: the byte itself, or it and its case
// partner on a case-insensitive parser.
template <class Use>
[[gnu::always_inline]] inline bool WithByteMatch(unsigned char c, bool caseSensitive, const Use& use) {
  const unsigned char partner = CasePartner(c);
  if (caseSensitive || partner == c) return use(ByteIs(c));
  return use(ByteIsEither(c, partner));
}

std::uint32_t IntoChunkSize(std::uint32_t n, bool found) {
  const std::uint32_t size = n < kIntoChunkMax ? n + 1 : kIntoChunkMax;
  return !found && size < kIntoChunkAhead ? kIntoChunkAhead : size;
}

// What a keyword search found in a block: a whole keyword at `at`, the start
// of one that runs past the block end at `at`, or nothing (at == the block length).
struct KeywordHit {
  std::uint32_t at;
  bool whole;
};

template <class First>
KeywordHit FindKeyword(const unsigned char* block, std::uint32_t from, std::uint32_t length, const std::string& keyword,
                       const First& first, const KeywordEnds<First>& ends) {
  const unsigned char* k = Bytes(keyword);
  const std::uint32_t size = Length(keyword);
  if (length >= size) {
    // Starts with the whole keyword inside the block: filtered on both ends, sixteen starts per compare.
    const std::uint32_t wholeEnd = length - size + 1;
    for (std::uint32_t i = from; i < wholeEnd; ++i) {
      i = FindFirst(block, i, wholeEnd, ends);
      if (i == wholeEnd) break;
      if (EqualFolded(block + i + 1, k + 1, size - 2)) return {i, true};
    }
    from = std::max(from, wholeEnd);
  }
  // Starts whose keyword would run past the block end: the part that is there must match.
  for (std::uint32_t i = from; i < length; ++i) {
    i = FindFirst(block, i, length, first);
    if (i == length) break;
    if (EqualFolded(block + i + 1, k + 1, length - i - 1)) return {i, false};
  }
  return {length, false};
}

template <class Out>
void CopyRecord(const SharedMemoryBuffer& record, Out& out, std::uint32_t offset, std::uint32_t len) {
  if (!record || offset >= record->Size()) return;
  // The seek takes a signed offset: a position of 2^31 or more is reached in two steps.
  const std::uint32_t first = std::min<std::uint32_t>(offset, INT32_MAX);
  record->SeekG(static_cast<std::int32_t>(first), ORV::BinaryStreamBuf::Begin);
  record->SeekG(static_cast<std::int32_t>(offset - first), ORV::BinaryStreamBuf::Current);
  record->Copy(out, len == 0 ? ORV::BinaryStreamBuf::kAll : len);
}

}  // namespace

// The `into` side of a FetchInto call: the bytes the call records, in order,
// from the marker's first occurrence on. The marker may straddle two blocks,
// so the last marker length - 1 bytes looked at are held until it is found.
class BinaryStreamParser::IntoWriter {
 public:
  IntoWriter(SharedMemoryBuffer& into, const char* marker, bool caseSensitive, bool stripNulls, bool spaceAfterSkip)
      : m_into(into),
        m_marker(reinterpret_cast<const unsigned char*>(marker)),
        m_markerLen(marker != nullptr ? static_cast<std::uint32_t>(std::strlen(marker)) : 0),
        m_caseSensitive(caseSensitive),
        m_stripNulls(stripNulls),
        m_spaceAfterSkip(spaceAfterSkip),
        m_writing(m_markerLen == 0) {}

  /// The next n recorded bytes (0 bytes are stripped in place when asked);
  /// found: the fetch's target lies right behind them.
  void Write(unsigned char* data, std::uint32_t n, bool found) {
    if (m_stripNulls) n = RemoveNulls(data, n);
    if (n == 0) return;
    if (m_writing) return Emit(data, n, found);
    std::string window = m_held;
    window.append(reinterpret_cast<const char*>(data), std::min(n, m_markerLen - 1));
    const std::size_t inWindow = FindMarker(Bytes(window), window.size());
    if (inWindow < m_held.size()) {
      // The marker began in bytes held from before: they are written from it on.
      StartAt(m_seen - m_held.size() + inWindow);
      std::string first = m_held.substr(inWindow);
      first.append(reinterpret_cast<const char*>(data), n);
      return Emit(Bytes(first), Length(first), found);
    }
    const std::size_t at = FindMarker(data, n);
    if (at == n) return Hold(data, n);
    StartAt(m_seen + at);
    Emit(data + at, static_cast<std::uint32_t>(n - at), found);
  }

 private:
  std::size_t FindMarker(const unsigned char* data, std::size_t n) const {
    const bool caseSensitive = m_caseSensitive;
    auto same = [caseSensitive](unsigned char a, unsigned char b) {
      return caseSensitive ? a == b : FoldCase(a) == FoldCase(b);
    };
    return static_cast<std::size_t>(std::search(data, data + n, m_marker, m_marker + m_markerLen, same) - data);
  }

  void Hold(const unsigned char* data, std::uint32_t n) {
    const std::uint32_t keep = m_markerLen - 1;
    m_seen += n;
    if (n >= keep) {
      m_held.assign(reinterpret_cast<const char*>(data + n - keep), keep);
    } else {
      m_held.append(reinterpret_cast<const char*>(data), n);
      if (m_held.size() > keep) m_held.erase(0, m_held.size() - keep);
    }
  }

  void StartAt(std::uint64_t dropped) {
    m_writing = true;
    m_spacePending = m_spaceAfterSkip && dropped > 0;
  }

  void Emit(const unsigned char* data, std::uint32_t n, bool found) {
    if (!m_into) m_into = SharedMemoryBuffer(new ORV::RefCount<MemoryBuffer>(IntoChunkSize(n, found)));
    if (m_spacePending) m_into->SafePut(" ", 1);
    m_spacePending = false;
    m_into->SafePut(data, n);
  }

  SharedMemoryBuffer& m_into;
  const unsigned char* m_marker;
  std::uint32_t m_markerLen;
  bool m_caseSensitive;
  bool m_stripNulls;
  bool m_spaceAfterSkip;
  bool m_writing;  // the marker was found (at once without one)
  bool m_spacePending = false;
  std::uint64_t m_seen = 0;  // bytes looked at before the marker
  std::string m_held;        // the last m_markerLen - 1 of them
};

// Where the bytes a fetch passes over go. Ranges are block indexes; the
// front of the block that holds a partial match kept over a refill is cut off.
class BinaryStreamParser::Recorder {
 public:
  Recorder(BinaryStreamParser& parser, bool keep, IntoWriter* into) : m_parser(parser), m_keep(keep), m_into(into) {}

  /// False when nothing takes the bytes: the fetch then skips Take.
  bool Active() const { return m_keep || m_parser.m_recordFetching || m_into != nullptr; }

  void Take(std::uint32_t from, std::uint32_t to, bool found) {
    from = std::max(from, m_parser.m_unrecorded);
    if (from >= to) return;
    unsigned char* data = m_parser.m_block + from;
    const std::uint32_t n = to - from;
    if (m_keep) m_parser.KeywordSafeAppend(data, n);
    if (m_parser.m_recordFetching) m_parser.StoreFetchedData(data, n);
    if (m_into != nullptr) m_into->Write(data, n, found);
  }

 private:
  BinaryStreamParser& m_parser;
  bool m_keep;
  IntoWriter* m_into;
};

BinaryStreamParser::BinaryStreamParser(ORV::BinaryStreamBuf& buf, bool caseSensitive)
    : m_buf(buf), m_block(m_area), m_areaSize(sizeof m_area), m_caseSensitive(caseSensitive) {
  m_buf.SeekG(0, ORV::BinaryStreamBuf::Begin);  // drops the look-ahead store as well
}

BinaryStreamParser::BinaryStreamParser(ORV::BinaryStream& stream, bool caseSensitive)
    : BinaryStreamParser(stream.Buf(), caseSensitive) {}

BinaryStreamParser::~BinaryStreamParser() = default;

void BinaryStreamParser::SetCaseSensitive(bool on) { m_caseSensitive = on; }

bool BinaryStreamParser::IsCaseSensitive() const { return m_caseSensitive; }

void BinaryStreamParser::IgnoreNulls(bool on) { m_ignoreNulls = on; }

void BinaryStreamParser::UseOwnArea() {
  m_block = m_area;
  m_areaSize = sizeof m_area;
  m_longArea.reset();
}

void BinaryStreamParser::ResetState() {
  UseOwnArea();
  m_pos = m_blockLen = m_blockOffset = m_unrecorded = 0;
  std::memset(m_keyword, 0, sizeof m_keyword);
  std::memset(m_unsaved, 0, sizeof m_unsaved);
  m_keywordLen = m_unsavedLen = 0;
}

void BinaryStreamParser::Reset() {
  ResetState();
  m_buf.SeekG(0, ORV::BinaryStreamBuf::Begin);
}

bool BinaryStreamParser::Seek(std::uint32_t offset) {
  constexpr unsigned char kPositionable = ORV::BinaryStreamBuf::CanGet | ORV::BinaryStreamBuf::CanSeek;
  ResetState();
  if ((m_buf.Capabilities() & kPositionable) != kPositionable) {
    m_buf.SeekG(0, ORV::BinaryStreamBuf::Begin);
    return Fetch(offset, false, true);
  }
  std::uint32_t base = offset - offset % BSP_BLOCK_SIZE;
  std::uint32_t rest = offset - base;
  if (rest == 0) {
    base -= BSP_BLOCK_SIZE;  // Seek(0) wraps to 4294963200: see the header
    rest = BSP_BLOCK_SIZE;
  }
  m_buf.SeekG(static_cast<std::int32_t>(base), ORV::BinaryStreamBuf::Begin);
  m_blockOffset = base;
  return Fetch(rest, false, true);
}

unsigned char BinaryStreamParser::GetCurrentChar() {
  if (m_pos == m_blockLen && !Refill()) return 0;
  return m_block[m_pos];
}

std::uint32_t BinaryStreamParser::GetCurrentStreamOffset() const { return m_blockOffset + m_pos; }

bool BinaryStreamParser::ReadBehind(std::uint32_t kept) {
  m_blockLen = kept;
  unsigned char* const dest = m_block + kept;
  while (!m_buf.EndOfFile()) {
    std::uint32_t got = m_buf.Get(dest, BSP_BLOCK_SIZE);
    if (got == 0) return false;  // a medium that delivers nothing has ended, whatever it says
    if (m_ignoreNulls) got = RemoveNulls(dest, got);
    if (got > 0) {
      m_blockLen = kept + got;
      return true;
    }
  }
  return false;
}

bool BinaryStreamParser::Refill() {
  m_blockOffset += m_blockLen;
  UseOwnArea();
  m_pos = m_unrecorded = 0;
  return ReadBehind(0);
}

bool BinaryStreamParser::CarryAndRead(std::uint32_t from) {
  const std::uint32_t carried = m_blockLen - from;
  m_blockOffset += from;
  if (carried + BSP_BLOCK_SIZE > m_areaSize) {
    UseLongArea(from, carried);
  } else {
    std::memmove(m_block, m_block + from, carried);
  }
  m_pos = 0;
  m_unrecorded = carried;
  return ReadBehind(carried);
}

void BinaryStreamParser::UseLongArea(std::uint32_t from, std::uint32_t carried) {
  // Doubling keeps a very long keyword's copies linear in its length.
  const std::uint32_t size = std::max(carried + BSP_BLOCK_SIZE, 2 * m_areaSize);
  std::unique_ptr<unsigned char[]> area(new unsigned char[size]);
  std::memcpy(area.get(), m_block + from, carried);
  m_longArea = std::move(area);
  m_block = m_longArea.get();
  m_areaSize = size;
}

void BinaryStreamParser::ClearKeywordBuffer() {
  m_keywordLen = 0;
  m_keyword[0] = '\0';
}

void BinaryStreamParser::KeywordSafeAppend(const unsigned char* data, std::uint32_t n) {
  const std::uint32_t fit = std::min(n, BSP_KEYWORD_SIZE - m_keywordLen);
  if (fit > 0) {
    CopyBytes(m_keyword + m_keywordLen, data, fit);
    m_keywordLen += fit;
    m_keyword[m_keywordLen] = '\0';
    if (m_unsavedLen > 0) {
      m_unsavedLen = 0;
      m_unsaved[0] = '\0';
    }
  }
  if (fit < n) KeepUnsaved(data, n);
}

void BinaryStreamParser::KeepUnsaved(const unsigned char* data, std::uint32_t n) {
  // The last m bytes of the append (some of which may also have fitted) are kept:
  //   held 100, m 50 -> the area's bytes 50..127 move to the front, the 50 go behind them.
  const std::uint32_t m = std::min(n, BSP_UNSAVED_SIZE);
  std::uint32_t at = 0;
  if (m_unsavedLen > 0 && m < BSP_UNSAVED_SIZE) {
    if (m_unsavedLen + m <= BSP_UNSAVED_SIZE) {
      at = m_unsavedLen;
    } else {
      at = BSP_UNSAVED_SIZE - m;
      std::memmove(m_unsaved, m_unsaved + m, at);
    }
  }
  std::memcpy(m_unsaved + at, data + n - m, m);
  m_unsavedLen = at + m;
  m_unsaved[m_unsavedLen] = '\0';
}

void BinaryStreamParser::StoreFetchedData(const unsigned char* data, std::uint32_t n) {
  if (!m_record) m_record = SharedMemoryBuffer(new ORV::RefCount<MemoryBuffer>(kRecordChunk));
  m_record->SafePut(data, n);
}

void BinaryStreamParser::ClearRecord() {
  if (m_record && m_record->Size() > 0) m_record->Clear();
}

void BinaryStreamParser::BeginFetch() {
  ClearRecord();
  ClearKeywordBuffer();
}

template <class Match>
[[gnu::noinline]] bool BinaryStreamParser::ScanTo(const Match& match, Recorder& rec) {
  const bool recording = rec.Active();
  for (;;) {
    if (m_pos == m_blockLen && !Refill()) return false;
    const std::uint32_t start = m_pos;
    m_pos = FindFirst(m_block, start, m_blockLen, match);
    const bool found = m_pos < m_blockLen;
    if (recording) rec.Take(start, m_pos, found);
    if (found) return true;
  }
}

template <class First>
bool BinaryStreamParser::ScanToKeyword(const std::string& keyword, const First& first, Recorder& rec) {
  const KeywordEnds<First> ends(first, Bytes(keyword)[keyword.size() - 1], Length(keyword));
  const bool recording = rec.Active();
  for (;;) {
    if (m_pos == m_blockLen && !Refill()) return false;
    const std::uint32_t start = m_pos;
    const KeywordHit hit = FindKeyword(m_block, start, m_blockLen, keyword, first, ends);
    if (recording) rec.Take(start, hit.at, hit.whole);
    if (hit.whole) {
      m_pos = hit.at + Length(keyword) - 1;
      return true;
    }
    if (hit.at == m_blockLen) {
      m_pos = m_blockLen;
      continue;
    }
    // A match that runs into the block end is kept in front of the next read and looked at again from its start.
    if (!CarryAndRead(hit.at)) {
      m_pos = m_blockLen;
      return false;
    }
  }
}

// While record fetching is off the record buffer is empty (it starts so and
// SetRecordFetching(false) empties it), so a fetch has nothing to clear there.
// Without keep the cursor only moves: one search when the byte is in the block.
template <class Match>
[[gnu::always_inline]] inline bool BinaryStreamParser::SkipTo(const Match& match) {
  ClearKeywordBuffer();
  const std::uint32_t end = m_blockLen;
  if (m_pos != end) {
    m_pos = FindFirst(m_block, m_pos, end, match);
    if (m_pos != end) return true;
  }
  Recorder none(*this, false, nullptr);
  return ScanTo(match, none);
}

// FetchTo(c, out) with record fetching off, when the byte is in the block:
// the bytes go from the block to `out` and to the keyword buffer, which ends
// as the general form leaves it. False (nothing changed) when the byte is not
// in the block.
template <class Match>
[[gnu::always_inline]] inline bool BinaryStreamParser::KeepInBlock(const Match& match, std::string& out) {
  const std::uint32_t start = m_pos;
  const std::uint32_t end = m_blockLen;
  if (start == end) return false;
  const std::uint32_t at = FindFirst(m_block, start, end, match);
  if (at == end) return false;
  m_pos = at;
  // A block holds at most BSP_BLOCK_SIZE bytes that may be recorded: they all fit in the emptied keyword buffer.
  const std::uint32_t from = std::max(start, m_unrecorded);
  const std::uint32_t n = at > from ? at - from : 0;
  const unsigned char* data = m_block + from;
  CopyBytes(m_keyword, data, n);
  m_keyword[n] = '\0';
  m_keywordLen = n;
  if (n > 0 && m_unsavedLen > 0) {
    m_unsavedLen = 0;
    m_unsaved[0] = '\0';
  }
  AssignBytes(out, data, n);
  return true;
}

bool BinaryStreamParser::FetchByte(unsigned char c, Recorder& rec) {
  BeginFetch();
  return WithByteMatch(c, m_caseSensitive, [&](const auto& match) { return ScanTo(match, rec); });
}

bool BinaryStreamParser::FetchData(const std::string& target, FetchMode mode, Recorder& rec) {
  if (mode == FetchModeTo && target.size() == 1) return FetchByte(Bytes(target)[0], rec);
  BeginFetch();
  if (mode == FetchModeTo) {
    if (target.empty()) return m_pos < m_blockLen || Refill();
    const unsigned char c = Bytes(target)[0];
    const unsigned char partner = CasePartner(c);
    if (m_caseSensitive || partner == c) return ScanToKeyword(target, ByteIs(c), rec);
    return ScanToKeyword(target, ByteIsEither(c, partner), rec);
  }
  const ByteInSet set(Bytes(target), Length(target), !m_caseSensitive);
  if (mode == FetchModeUntil) return ScanTo(set, rec);
  return ScanTo(Not<ByteInSet>(set), rec);
}

bool BinaryStreamParser::CopyKeywordOnSuccess(bool found, std::string& out) const {
  if (found) {
    AssignBytes(out, m_keyword, m_keywordLen);
  }
  return found;
}

bool BinaryStreamParser::FetchTo(unsigned char c, bool keep) {
  if (!keep && !m_recordFetching) {
    return WithByteMatch(c, m_caseSensitive, [this](const auto& match) { return SkipTo(match); });
  }
  Recorder rec(*this, keep, nullptr);
  return FetchByte(c, rec);
}

bool BinaryStreamParser::FetchTo(unsigned char c, std::string& out) {
  if (!m_recordFetching &&
      WithByteMatch(c, m_caseSensitive, [&](const auto& match) { return KeepInBlock(match, out); })) {
    return true;
  }
  return CopyKeywordOnSuccess(FetchTo(c, true), out);
}

bool BinaryStreamParser::FetchKept(const std::string& target, FetchMode mode, bool keep) {
  Recorder rec(*this, keep, nullptr);
  return FetchData(target, mode, rec);
}

bool BinaryStreamParser::FetchBeyond(const std::string& keyword, bool keep) {
  return FetchKept(keyword, FetchModeTo, keep) && Fetch(1, false, true);
}

bool BinaryStreamParser::FetchBeyond(const std::string& keyword, std::string& out) {
  return CopyKeywordOnSuccess(FetchBeyond(keyword, true), out);
}

bool BinaryStreamParser::FetchUntil(const std::string& set, bool keep) { return FetchKept(set, FetchModeUntil, keep); }

bool BinaryStreamParser::FetchUntil(const std::string& set, std::string& out) {
  return CopyKeywordOnSuccess(FetchUntil(set, true), out);
}

bool BinaryStreamParser::FetchUntilNot(const std::string& set, bool keep) {
  return FetchKept(set, FetchModeUntilNot, keep);
}

bool BinaryStreamParser::FetchUntilNot(const std::string& set, std::string& out) {
  return CopyKeywordOnSuccess(FetchUntilNot(set, true), out);
}

bool BinaryStreamParser::FetchInto(SharedMemoryBuffer& into, const std::string& target, FetchMode mode,
                                   const char* marker, bool stripNulls, bool spaceAfterSkip) {
  IntoWriter writer(into, marker, m_caseSensitive, stripNulls, spaceAfterSkip);
  Recorder rec(*this, false, &writer);
  return FetchData(target, mode, rec);
}

bool BinaryStreamParser::FetchIntoTo(SharedMemoryBuffer& into, const std::string& keyword, const char* marker,
                                     bool stripNulls, bool spaceAfterSkip) {
  return FetchInto(into, keyword, FetchModeTo, marker, stripNulls, spaceAfterSkip);
}

bool BinaryStreamParser::FetchIntoBeyond(SharedMemoryBuffer& into, const std::string& keyword, const char* marker,
                                         bool stripNulls, bool spaceAfterSkip) {
  return FetchInto(into, keyword, FetchModeTo, marker, stripNulls, spaceAfterSkip) && Fetch(1, false, true);
}

bool BinaryStreamParser::FetchIntoUntil(SharedMemoryBuffer& into, const std::string& set, const char* marker,
                                        bool stripNulls, bool spaceAfterSkip) {
  const FetchMode mode = set.size() == 1 ? FetchModeTo : FetchModeUntil;
  return FetchInto(into, set, mode, marker, stripNulls, spaceAfterSkip);
}

bool BinaryStreamParser::FetchIntoUntilNot(SharedMemoryBuffer& into, const std::string& set, const char* marker,
                                           bool stripNulls, bool spaceAfterSkip) {
  return FetchInto(into, set, FetchModeUntilNot, marker, stripNulls, spaceAfterSkip);
}

bool BinaryStreamParser::Fetch(std::uint32_t n, bool keep, bool clearRecord) {
  // A step inside the block with nothing to keep, record or clear (see SkipTo).
  if (!keep && !m_recordFetching && m_pos != m_blockLen && n <= m_blockLen - m_pos) {
    m_pos += n;
    return true;
  }
  return FetchSteps(n, keep, clearRecord);
}

[[gnu::noinline]] bool BinaryStreamParser::FetchSteps(std::uint32_t n, bool keep, bool clearRecord) {
  if (m_pos == m_blockLen && !Refill()) return false;
  if (keep) ClearKeywordBuffer();
  if (clearRecord) ClearRecord();
  Recorder rec(*this, keep, nullptr);
  const bool recording = rec.Active();
  for (;;) {
    const std::uint32_t chunk = std::min(n, m_blockLen - m_pos);
    if (recording) rec.Take(m_pos, m_pos + chunk, false);
    m_pos += chunk;
    n -= chunk;
    if (n == 0) return true;
    if (!Refill()) return false;
  }
}

const char* BinaryStreamParser::GetKeywordBuffer() const { return m_keyword; }

std::uint32_t BinaryStreamParser::GetKeywordLen() const { return m_keywordLen; }

const char* BinaryStreamParser::GetUnsavedData() const { return m_unsaved; }

std::uint32_t BinaryStreamParser::GetUnsavedDataLen() const { return m_unsavedLen; }

void BinaryStreamParser::SetKeywordBuffer(const char* text, std::uint32_t len) {
  if (text == nullptr) {
    len = 0;
  } else if (len == 0) {
    len = static_cast<std::uint32_t>(std::strlen(text));
  }
  len = std::min(len, BSP_KEYWORD_SIZE);
  if (len > 0) std::memcpy(m_keyword, text, len);
  m_keyword[len] = '\0';
  m_keywordLen = len;
}

void BinaryStreamParser::SetRecordFetching(bool on) {
  m_recordFetching = on;
  if (!on) ClearFetchingBuffer();
}

void BinaryStreamParser::ClearFetchingBuffer() {
  if (m_record && m_record->Size() > 0) m_record->ClearMemory();
}

std::uint32_t BinaryStreamParser::GetRecordFetchingSize() const { return m_record ? m_record->Size() : 0; }

void BinaryStreamParser::GetRecordFetchingContent(MemoryBuffer& out, std::uint32_t offset, std::uint32_t len) {
  CopyRecord(m_record, out, offset, len);
}

void BinaryStreamParser::GetRecordFetchingContent(std::string& out, std::uint32_t offset, std::uint32_t len) {
  CopyRecord(m_record, out, offset, len);
}

}  // namespace ORVFile
