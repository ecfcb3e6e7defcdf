/// \class ORVFile::BinaryStreamParser
/// BinaryStreamParser: a forward-only tokenising reader over any
/// BinaryStreamBuf. It reads the buffer in blocks of 4096 bytes into a block of
/// its own and moves a cursor through it: to a byte or a keyword, beyond a
/// keyword, until a byte of a set, until a byte that is not in a set, or by a
/// count. What a fetch passes over can be kept in the keyword buffer (4096
/// bytes, the overflow tail in the 128-byte unsaved data), in the record buffer
/// (record fetching) and in a caller's shared MemoryBuffer (the FetchInto forms).
///
/// ~~~
///   MemoryBuffer text("key = value\nnext", 16);
///   BinaryStreamParser parser(text, false);
///   std::string key;
///   parser.FetchTo('=', key);          // key == "key ", cursor on '='
///   parser.Fetch(1, false, false);     // step over it
///   parser.FetchUntilNot(" ", false);  // cursor on 'v'
///   parser.FetchTo('\n', key);         // key == "value"
/// ~~~
///
/// Fetches return false when the data ends before the target, with what they
/// passed over kept as on success and the cursor at the end of the data. The
/// target itself is never consumed: the cursor rests on the byte found, or on
/// the LAST byte of a keyword (so that FetchBeyond's one-byte step lands just
/// past it). Case folding is ASCII only. A keyword's first byte is compared as
/// the case flag says, its other bytes always case-insensitively:
/// ~~~
///   case-sensitive parser, FetchBeyond("ab")   finds "aB", skips "Ab".
/// ~~~
///
/// Decisions taken where the design left the choice:
/// - Keywords across blocks. A keyword is found wherever the blocks end and
///   however few bytes each read delivers. When a possible match runs into the
///   block end, its bytes (at most the keyword length - 1) are kept in front of
///   the next 4096-byte read and the search resumes AT that match, so a failed
///   match still lets a keyword start inside it or at the next block's first
///   byte. A keyword longer than 4096 bytes keeps its partial match in a heap
///   area while it lasts; all others allocate nothing.
/// - What is recorded. Every byte a fetch passes over goes to the keyword
///   buffer (when kept), the record buffer (when on) and `into`, except the
///   bytes of a partial match that had to be kept over a refill: those are
///   never recorded, whether the match then succeeds or fails (the first byte
///   of the next block, where such a failed match is noticed, is recorded like
///   any other byte passed over). A fetch that ends inside a partial match at
///   the end of the data does not record that partial match either.
/// - Keyword appends happen once per block passed over (the block part of the
///   bytes passed), so the unsaved data follows the shift rule at each block:
///   when held and a tail of m < 128 bytes does not fit behind it, the whole
///   128-byte area moves left by m (stale bytes of the area included) first.
/// - A failed fetch leaves GetCurrentStreamOffset() at the end of the data.
/// - An empty keyword is found at once where the cursor stands (false only at
///   the end of the data); an empty set stops FetchUntilNot at once and never
///   stops FetchUntil.
/// - The marker of the FetchInto forms is looked for in the whole sequence of
///   bytes the call records (after stripNulls), across block ends, until this
///   call has written something, also when `into` already holds data: output
///   begins at the marker's first occurrence, preceded by one space when
///   spaceAfterSkip is set and bytes were dropped; without an occurrence
///   nothing is written. A one-byte FetchIntoUntil is thus exactly FetchIntoTo.
/// - A new `into` buffer gets a chunk size of n + 1 for its first write of n
///   bytes, at most 4096, and at least 128 while the target is still ahead.
/// - Each fetch empties the record buffer with Clear (its chunks are kept for
///   the next fetch); ClearFetchingBuffer and SetRecordFetching(false) free
///   them. After FetchBeyond it holds only the byte stepped over (the
///   keyword's last byte), as the final Fetch(1, false, true) clears it.
/// - GetRecordFetchingContent appends to `out`, as the buffer copy does.
/// - Seek(offset) on a buffer with both capability bits (CanGet | CanSeek)
///   seeks the buffer to the 4096-byte multiple below offset and fetches the
///   rest; an exact multiple fetches the whole block below it instead:
///   ~~~
///   Seek(8192) -> buffer at 4096, Fetch(4096); offset reads 8192.
///   Seek(0)    -> buffer at 4294963200 (the signed seek offset -4096),
///                 Fetch(4096). A MemoryBuffer clamps that seek to its start,
///                 so the cursor lands on byte 4096 and the offset wraps to
///                 0; with less than 4096 bytes Seek returns false. Use
///                 Reset() to go back to the start.
///   ~~~
///   Other buffers are read again from the start. Seek returns the Fetch's
///   result.
/// - Fetch(0, ...) answers whether a byte is left, and changes nothing else
///   but the emptying that keep and clearRecord ask for.
/// - With IgnoreNulls on, 0 bytes are removed as blocks are read: they are
///   never seen, matched or counted in the offsets.
/// - A buffer whose Get delivers nothing counts as ended even when it does not
///   say so (a medium that would otherwise keep the parser spinning).
///
/// Ownership and threads: the parser borrows the buffer (it must outlive the
/// parser and is read only through it while the parser is in use) and shares
/// the record buffer and `into` buffers through counted handles. One thread at
/// a time. It makes no system calls of its own: failures come from the
/// underlying buffer and pass through unchanged.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "ORVBinaryStream.h"
#include "ORVBinaryStreamBuf.h"
#include "ORVFileDefs.h"
#include "ORVMemoryBuffer.h"
#include "ORVRefCount.h"

namespace ORVFile {

/// A MemoryBuffer shared through counted handles: the record buffer and the
/// target of the FetchInto forms.
using SharedMemoryBuffer = SmartPtr<ORV::RefCount<MemoryBuffer>>;

class ORVFILE_API BinaryStreamParser {
 public:
  /// The bytes of one read, of the keyword buffer and of the unsaved data.
  ///@{
  static constexpr std::uint32_t BSP_BLOCK_SIZE = 4096;
  static constexpr std::uint32_t BSP_KEYWORD_SIZE = 4096;
  static constexpr std::uint32_t BSP_UNSAVED_SIZE = 128;
  ///@}

  /// Both start at the beginning of the buffer (a stream's: its buffer),
  /// whatever was read before: the buffer's look-ahead store is dropped and
  /// its get position set to 0. Nothing is read until the first fetch.
  ///@{
  BinaryStreamParser(ORV::BinaryStreamBuf& buf, bool caseSensitive);
  BinaryStreamParser(ORV::BinaryStream& stream, bool caseSensitive);
  ///@}
  BinaryStreamParser(const BinaryStreamParser&) = delete;
  BinaryStreamParser& operator=(const BinaryStreamParser&) = delete;
  ~BinaryStreamParser();

  /// The case flag, read by each fetch as it starts: off, bytes and sets
  /// match either ASCII case; on, exactly (a keyword's other bytes: see the
  /// top of this header).
  ///@{
  void SetCaseSensitive(bool on);
  bool IsCaseSensitive() const;
  ///@}
  /// Applies to the blocks read from now on.
  void IgnoreNulls(bool on);

  /// Back to the start of the buffer; keyword buffer and unsaved data zeroed.
  /// The flags and the record buffer are kept.
  void Reset();
  /// See the header comment for the block arithmetic; returns Fetch's result.
  bool Seek(std::uint32_t offset);
  /// The byte under the cursor (reading the next block when needed), 0 at the end.
  unsigned char GetCurrentChar();
  /// Bytes the cursor has moved past since the start, the last Seek or Reset.
  std::uint32_t GetCurrentStreamOffset() const;

  /// The cursor moves: FetchTo onto the byte c, FetchBeyond just past keyword,
  /// FetchUntil onto the first byte in set, FetchUntilNot onto the first byte
  /// not in set. False when the data ends first (the cursor then at its end).
  /// Each fetch empties the keyword buffer first; with keep it receives the
  /// bytes passed over (the overflow in the unsaved data). The out forms keep
  /// and, on success only, copy the keyword buffer to out; on failure out is
  /// untouched. With record fetching on, the record buffer gets them too.
  ///@{
  bool FetchTo(unsigned char c, bool keep);
  bool FetchTo(unsigned char c, std::string& out);
  bool FetchBeyond(const std::string& keyword, bool keep);
  bool FetchBeyond(const std::string& keyword, std::string& out);
  bool FetchUntil(const std::string& set, bool keep);
  bool FetchUntil(const std::string& set, std::string& out);
  bool FetchUntilNot(const std::string& set, bool keep);
  bool FetchUntilNot(const std::string& set, std::string& out);
  ///@}

  /// FetchTo (onto keyword), FetchBeyond, FetchUntil and FetchUntilNot, but
  /// the bytes passed over go to `into` (created when it holds none), from
  /// the first marker on when a marker is given; stripNulls leaves out 0
  /// bytes. The keyword buffer is emptied and not filled. Same results.
  ///@{
  bool FetchIntoTo(SharedMemoryBuffer& into, const std::string& keyword, const char* marker = nullptr,
                   bool stripNulls = false, bool spaceAfterSkip = false);
  bool FetchIntoBeyond(SharedMemoryBuffer& into, const std::string& keyword, const char* marker = nullptr,
                       bool stripNulls = false, bool spaceAfterSkip = false);
  bool FetchIntoUntil(SharedMemoryBuffer& into, const std::string& set, const char* marker = nullptr,
                      bool stripNulls = false, bool spaceAfterSkip = false);
  bool FetchIntoUntilNot(SharedMemoryBuffer& into, const std::string& set, const char* marker = nullptr,
                         bool stripNulls = false, bool spaceAfterSkip = false);
  ///@}

  /// Moves the cursor by exactly n bytes; false when the data ends first.
  /// keep empties the keyword buffer first and fills it; clearRecord empties
  /// the record buffer first.
  bool Fetch(std::uint32_t n, bool keep, bool clearRecord);

  /// NUL-terminated; up to BSP_KEYWORD_SIZE bytes. The pointer lasts as long
  /// as the parser; the contents change with the next fetch, Reset or
  /// SetKeywordBuffer.
  const char* GetKeywordBuffer() const;
  /// The bytes in the keyword buffer, the terminating NUL not counted.
  std::uint32_t GetKeywordLen() const;
  /// The tail that did not fit in the keyword buffer; up to BSP_UNSAVED_SIZE bytes.
  const char* GetUnsavedData() const;
  /// The bytes in the unsaved data.
  std::uint32_t GetUnsavedDataLen() const;
  /// len 0 means strlen(text); clamped to BSP_KEYWORD_SIZE. The unsaved data stays.
  void SetKeywordBuffer(const char* text, std::uint32_t len);

  /// On: from the next fetch, each fetch empties the record buffer and
  /// records there every byte it passes over. Off: stops recording and, when
  /// the record buffer holds bytes, frees its memory.
  void SetRecordFetching(bool on);
  /// Empties the record buffer and frees its memory when it holds bytes;
  /// recording stays as it is.
  void ClearFetchingBuffer();
  /// The bytes in the record buffer; 0 when there is none.
  std::uint32_t GetRecordFetchingSize() const;
  /// Appends len bytes of the record buffer from offset (all the rest for len
  /// 0) to out; does nothing while there is no record buffer or when offset
  /// lies at or past its end.
  ///@{
  void GetRecordFetchingContent(MemoryBuffer& out, std::uint32_t offset, std::uint32_t len);
  void GetRecordFetchingContent(std::string& out, std::uint32_t offset, std::uint32_t len);
  ///@}

 private:
  enum FetchMode { FetchModeTo = 0, FetchModeUntilNot = 1, FetchModeUntil = 2 };
  class IntoWriter;
  class Recorder;

  // Fetch primitives: the cursor moves, what it passes over goes to rec.
  void BeginFetch();
  // The common cases, with nothing recorded: a search inside the block and a
  // step inside it. Anything else goes on in the general forms.
  template <class Match>
  bool SkipTo(const Match& match);
  template <class Match>
  bool KeepInBlock(const Match& match, std::string& out);
  bool FetchSteps(std::uint32_t n, bool keep, bool clearRecord);
  bool FetchByte(unsigned char c, Recorder& rec);
  bool FetchData(const std::string& target, FetchMode mode, Recorder& rec);
  bool FetchKept(const std::string& target, FetchMode mode, bool keep);  // the keyword buffer only
  template <class Match>
  bool ScanTo(const Match& match, Recorder& rec);
  template <class First>
  bool ScanToKeyword(const std::string& keyword, const First& first, Recorder& rec);
  bool FetchInto(SharedMemoryBuffer& into, const std::string& target, FetchMode mode, const char* marker,
                 bool stripNulls, bool spaceAfterSkip);
  bool CopyKeywordOnSuccess(bool found, std::string& out) const;

  // Blocks.
  bool Refill();
  bool CarryAndRead(std::uint32_t from);
  bool ReadBehind(std::uint32_t kept);
  void UseLongArea(std::uint32_t from, std::uint32_t carried);
  void UseOwnArea();  // the member area again, the long one freed
  void ResetState();

  // Sinks.
  void ClearKeywordBuffer();
  void KeywordSafeAppend(const unsigned char* data, std::uint32_t n);
  void KeepUnsaved(const unsigned char* data, std::uint32_t n);  // the overflow of an append
  void StoreFetchedData(const unsigned char* data, std::uint32_t n);
  void ClearRecord();

  ORV::BinaryStreamBuf& m_buf;
  SharedMemoryBuffer m_record;
  unsigned char* m_block;           // m_area, or m_longArea while a long partial match is kept
  std::uint32_t m_areaSize;         // bytes at m_block
  std::uint32_t m_pos = 0;          // the cursor, an index into m_block
  std::uint32_t m_blockLen = 0;     // valid bytes at m_block (kept partial match + last read)
  std::uint32_t m_blockOffset = 0;  // stream offset of m_block[0]
  std::uint32_t m_unrecorded = 0;   // bytes at the front of m_block kept over a refill: never recorded
  std::uint32_t m_keywordLen = 0;
  std::uint32_t m_unsavedLen = 0;
  bool m_caseSensitive;
  bool m_recordFetching = false;
  bool m_ignoreNulls = false;
  std::unique_ptr<unsigned char[]> m_longArea;
  char m_keyword[BSP_KEYWORD_SIZE + 1] = {};
  char m_unsaved[BSP_UNSAVED_SIZE + 1] = {};
  // A block read behind a kept partial match of up to BSP_BLOCK_SIZE bytes.
  unsigned char m_area[2 * BSP_BLOCK_SIZE];
};

}  // namespace ORVFile
