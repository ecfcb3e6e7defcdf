/// \class ORVFile::StaticMemoryBuffer
/// StaticMemoryBuffer: a BinaryStreamBuf over a block of memory that the
/// caller owns, writable in place or read-only. Nothing is allocated, the size
/// never changes, and the caller's block must outlive the buffer.
///
/// Built from a writable pointer it takes Puts up to the end of the block (a
/// Put of 10 bytes into 8 left takes 8). Built from a read-only pointer it is
/// const: Put, TellP and SeekP throw, reading and get seeks work. Clear,
/// ClearMemory and ClearEnd are not supported. These failures are standard
/// exceptions carrying the exact texts
/// ~~~
///   "StaticMemoryBuffer::Put: Buffer is const!"      (also TellP, SeekP)
///   "StaticMemoryBuffer::Clear: Not implemented!"    (also ClearMemory, ClearEnd)
/// ~~~
///
/// Seeks clamp to 0..size. Unlike MemoryBuffer, an End offset counts
/// backwards: SeekG(10, End) on 50 bytes gives 40; an unknown direction gives 0.
///
/// The UTF-16 copy is kept as the family has always had it: Copy(wstring, k)
/// consumes k bytes from the get position but takes its units from byte offset
/// twice the get position, so the copy is only aligned with the get position
/// at 0:
/// ~~~
///   "aAbBcCdD", get 2, Copy(wstring, 4)  ->  units "cC", "dD"; get position 6
/// ~~~
/// It never reads outside the caller's block: only the bytes that exist from
/// the doubled offset are used, so when that offset lies at or past the end
/// nothing is appended, while the get position still advances by k and k is
/// the result.
///
/// Copies into another buffer are one vPut, or pieces of at most 32768 bytes
/// into an OCFileBuffer; the get position advances by what the destination
/// took. One thread at a time.
#pragma once

#include <cstdint>
#include <string>

#include "ORVBinaryStreamBuf.h"
#include "ORVFileDefs.h"

namespace ORVFile {

class ORVFILE_API StaticMemoryBuffer : public ORV::BinaryStreamBuf {
 public:
  /// Writable in place.
  StaticMemoryBuffer(void* data, std::uint32_t size);
  /// Const: read-only.
  StaticMemoryBuffer(const void* data, std::uint32_t size);
  ~StaticMemoryBuffer() override;

  /// Built from a read-only pointer: the put side throws (see above).
  bool IsConst() const;

  std::uint32_t vPut(const void* data, std::uint32_t count) override;
  std::uint32_t vTellP() override;
  std::uint32_t vSeekP(std::int32_t offset, Direction direction) override;
  std::uint32_t vGet(void* dest, std::uint32_t count) override;
  std::uint32_t vTellG() override;
  std::uint32_t vSeekG(std::int32_t offset, Direction direction) override;
  void vFlush() override;
  void vClear() override;
  void vClearMemory() override;
  void vClearEnd() override;
  std::uint32_t vSize() override;
  bool vEndOfFile() override;
  std::uint32_t vCopy(std::wstring& dest, std::uint32_t count) override;
  std::uint32_t vCopy(std::string& dest, std::uint32_t count) override;
  std::uint32_t vCopy(ORV::BinaryStreamBuf& dest, std::uint32_t count) override;

 private:
  void ThrowIfConst(const char* text) const;
  std::uint32_t Seek(std::uint32_t position, std::int32_t offset, Direction direction) const;
  std::uint32_t Remaining(std::uint32_t count) const;  // at most count, from the get position

  std::uint32_t m_size;
  std::uint32_t m_get = 0;
  std::uint32_t m_put = 0;
  const unsigned char* m_data;  // written through only when not const
  bool m_const;
};

}  // namespace ORVFile
