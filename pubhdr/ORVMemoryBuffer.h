/// \class ORVFile::MemoryBuffer
/// MemoryBuffer: a growable BinaryStreamBuf held in fixed-size chunks, the
/// working store of the parser, of the disk buffer's window and of
/// configuration files.
///
/// Byte i lives in chunk i / ChunkSize() at offset i % ChunkSize(). Chunks are
/// never moved or resized: growth appends a chunk and only the array of chunk
/// pointers (the core library's FastVector, see ORVFastVector.h for its growth
/// rule) is reallocated, so no data byte is ever copied to grow. Clear keeps
/// the chunks for reuse; ClearMemory and ClearEnd free them.
///
/// Seeks clamp the get position to 0..size. The put seek is different, and
/// kept so: a target beyond the size first writes zeros *at the put position*
/// (overwriting from there when the put position is behind the end), then sets
/// the put position to the target without clamping:
/// ~~~
///   empty, SeekP(100, Begin)             ->  100 zeros, put position 100
///   "abcdef", put at 2, SeekP(8, Begin)  ->  "ab", 0, 0, "ef": size 6, put position 8
/// ~~~
/// In the second case the put position lies beyond the size. The bytes between
/// the size and such a put position read as zeros once they become part of the
/// buffer, by the next Put or ClearEnd (a choice of this class: chunks are
/// reused and would otherwise show stale bytes).
///
/// Copies into another buffer go through its vPut a piece at a time, a piece
/// never crossing a chunk; into an OCFileBuffer (found by a run-time type
/// test) a piece is at most 32768 bytes. A destination that takes less than a
/// piece ends the copy: the get position advances by what it took and that is
/// the result.
///
/// The object owns its chunks and frees them in its destructor. One thread at
/// a time. Positions and sizes are 32-bit: a Put takes only what keeps the
/// size below 4 GiB.
#pragma once

#include <cstdint>
#include <string>

#include "ORVBinaryStreamBuf.h"
#include "ORVFastVector.h"
#include "ORVFileDefs.h"

namespace ORVFile {

class OCFileBuffer;

class ORVFILE_API MemoryBuffer : public ORV::BinaryStreamBuf {
 public:
  static constexpr std::uint32_t kDefaultChunkSize = 1024;  ///< also what a chunk size of 0 means

  /// Empty, no chunk allocated yet; chunkSize is fixed for the buffer's life.
  explicit MemoryBuffer(std::uint32_t chunkSize = kDefaultChunkSize);
  /// As SetFromBuffer(data, length) on an empty buffer.
  MemoryBuffer(const void* data, std::uint32_t length, std::uint32_t chunkSize = kDefaultChunkSize);
  ~MemoryBuffer() override;

  /// Drops the look-ahead store, clears, then holds a copy of length bytes at
  /// data; a null data gives back all memory instead (length is ignored).
  void SetFromBuffer(const void* data, std::uint32_t length);
  /// Chunks held times the chunk size.
  std::uint32_t Capacity() const;
  /// The chunk size in bytes, never 0.
  std::uint32_t ChunkSize() const;
  /// Appends one chunk of ChunkSize() bytes.
  void AllocChunk();
  /// The two halves of vCopy into a buffer: pieces of at most 32768 bytes
  /// for a file adapter, whole chunk pieces for any other buffer. Both return
  /// the bytes dest took, by which the get position has advanced.
  ///@{
  std::uint32_t CopyTo(OCFileBuffer& dest, std::uint32_t count);
  std::uint32_t CopyTo(ORV::BinaryStreamBuf& dest, std::uint32_t count);
  ///@}

  std::uint32_t vPut(const void* data, std::uint32_t count) override;  ///< null data puts zeros
  std::uint32_t vTellP() override;
  std::uint32_t vSeekP(std::int32_t offset, Direction direction) override;
  std::uint32_t vGet(void* dest, std::uint32_t count) override;
  std::uint32_t vTellG() override;
  std::uint32_t vSeekG(std::int32_t offset, Direction direction) override;
  void vFlush() override;
  void vClear() override;
  void vClearMemory() override;
  void vClearEnd() override;  ///< keeps the chunks that hold the put position
  std::uint32_t vSize() override;
  bool vEndOfFile() override;
  /// Count is in bytes; each chunk piece of k bytes gives k / 2 units, so an
  /// odd byte at the end of a piece (odd chunk sizes) is consumed and dropped.
  std::uint32_t vCopy(std::wstring& dest, std::uint32_t count) override;
  std::uint32_t vCopy(std::string& dest, std::uint32_t count) override;
  std::uint32_t vCopy(ORV::BinaryStreamBuf& dest, std::uint32_t count) override;

 private:
  // Writes count bytes at position (zeros for null data), appending chunks
  // as needed; the size grows to cover them.
  void Store(std::uint32_t position, const unsigned char* data, std::uint32_t count);
  void FillGapToPut();
  void FreeChunksFrom(std::size_t index) noexcept;
  std::uint32_t PutPieces(ORV::BinaryStreamBuf& dest, std::uint32_t count, std::uint32_t maxPiece);
  // Hands the bytes from the get position to sink a chunk piece at a time;
  // sink returns how many it took, and a short take ends the walk.
  template <class Sink>
  std::uint32_t ReadPieces(std::uint32_t count, Sink sink);

  ORV::FastVector<unsigned char*> m_chunks;
  std::uint32_t m_chunkSize;
  std::uint32_t m_size = 0;
  std::uint32_t m_get = 0;
  std::uint32_t m_put = 0;
};

}  // namespace ORVFile
