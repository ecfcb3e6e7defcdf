/// \class ORVFile::SubBinaryStreamBuf
/// SubBinaryStreamBuf: a window onto the bytes start up to (not including) end
/// of another buffer, so that a reader can be handed one record of a larger
/// stream. It borrows the underlying buffer, which must outlive it, and moves
/// that buffer's positions: use one or the other at a time. One thread.
///
/// Positions are relative to start and seeks keep them inside the window:
/// ~~~
///   window 10..20: SeekG(3, Begin) -> 3 (underlying at 13), SeekG(3, End) -> 7
///   (End counts backwards from end), SeekG(-50, Current) -> 0, SeekG(50, Begin) -> 10.
/// ~~~
/// A target below 1 becomes 0 before it is raised to start; a resulting target
/// of 0 (a window from 0) also drops the underlying buffer's look-ahead store.
/// The put seek follows the same rules on the put position, but counts a
/// Current move from the underlying put position as it stands and leaves the
/// look-ahead store alone: that store belongs to the get side. An unknown
/// direction is a Current move of 0.
///
/// The get side counts the look-ahead stores into its arithmetic as the
/// family's readers expect:
/// ~~~
///   TellG  = underlying get position - underlying look-ahead count - start
///   Get(n) reads min(n, own look-ahead count + size - TellG) through the
///          underlying's public Get (which serves its look-ahead store first)
///   EndOfFile: start + (TellG - own look-ahead count) >= end
/// ~~~
/// While this buffer's own store holds bytes, a read may therefore run that
/// many bytes past end. Puts go straight to the underlying buffer at its put
/// position, with no range test. Clear, ClearMemory and ClearEnd throw the
/// standard exception with "SubBinaryStreamBuf::Clear: Not implemented!" (and
/// ClearMemory, ClearEnd). Underlying positions must stay below 2 GiB: they
/// are reached with a seek from Begin.
#pragma once

#include <cstdint>

#include "ORVBinaryStreamBuf.h"
#include "ORVFileDefs.h"

namespace ORVFile {

class ORVFILE_API SubBinaryStreamBuf : public ORV::BinaryStreamBuf {
 public:
  /// Seeks the underlying get position to start; a window from 0 first drops
  /// the underlying's look-ahead store.
  SubBinaryStreamBuf(std::uint32_t start, std::uint32_t end, ORV::BinaryStreamBuf& underlying);
  ~SubBinaryStreamBuf() override;

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

 private:
  // The window's rule for an underlying position: below 1 is 0, then into start..end.
  ORV::SeekRange Window() const;  // start..end, End counting backwards from end

  std::uint32_t m_start;
  std::uint32_t m_end;
  ORV::BinaryStreamBuf& m_underlying;
};

}  // namespace ORVFile
