/// \class ORV::BinaryStreamBuf
/// BinaryStreamBuf: the byte-buffer interface that every buffer of the ORV
/// family implements, so that parsers, loaders and BinaryStream read and write
/// one way whatever lies behind (memory, a file handle, a standard stream).
///
/// A buffer has one get position and one put position, both unsigned 32-bit
/// byte offsets; sizes are unsigned 32-bit too (4 GiB - 1 at most). Derived
/// classes implement the v-prefixed operations; callers use the non-virtual
/// wrappers, which also serve the look-ahead store described below. The v
/// operations stay public because one buffer may drive another directly (a
/// window onto a buffer seeks and reads its underlying buffer).
///
/// Buffers are single-threaded: one thread at a time per object. A buffer does
/// not own what it is given unless its class says so.
///
/// Look-ahead store. Peek() lets a reader see up to kLookAheadCapacity bytes
/// without consuming them. Those bytes are taken from the medium with vGet and
/// held here, so the medium's own get position (vTellG) runs ahead of the
/// caller's by LookAheadCount(); the wrappers hide the difference:
/// \code
///   medium "abcdef", Peek(3) -> "abc" held: vTellG() == 3, TellG() == 0,
///   Get(2) -> "ab" from the store, Get(3) -> "c" from the store + "de" via vGet.
/// \endcode
/// It fills only through Peek; Get, SafeGet and Copy empty it first, in order.
/// SeekG, Clear and ClearMemory drop it; ClearEnd moves the medium back to the
/// caller's position first when the buffer can seek. DropLookAhead() discards
/// it outright (the held bytes are then skipped). The held bytes are a
/// snapshot: a Put over them afterwards does not change what Get returns.
#pragma once

#include <cstdint>
#include <string>

#include "ORVBaseDefs.h"

namespace ORV {

class ORV_BASE_API BinaryStreamBuf {
 public:
  /// Where a seek offset counts from.
  enum Direction { Begin = 0, End = 1, Current = 2 };

  /// The capability byte, advisory: the wrappers do not enforce it, readers
  /// such as a parser test it. An output-only adapter passes CanSeek (2);
  /// every other buffer, input-only adapters included, CanGet | CanSeek (3).
  enum Capability : unsigned char {
    CanGet = 0x01,   // the get side (vGet, vTellG, vSeekG, vEndOfFile, vCopy) works
    CanSeek = 0x02,  // positions may be told and set
  };

  /// Copy counts of kAll mean "everything that is left".
  static constexpr std::uint32_t kAll = 0xFFFFFFFFu;
  /// The most bytes Peek can hold.
  static constexpr std::uint32_t kLookAheadCapacity = 16;

  /// capabilities: the Capability bits the derived buffer offers.
  explicit BinaryStreamBuf(unsigned char capabilities);
  BinaryStreamBuf(const BinaryStreamBuf&) = delete;
  BinaryStreamBuf& operator=(const BinaryStreamBuf&) = delete;
  virtual ~BinaryStreamBuf();

  // The virtual operations, in this order (their slot order is part of the
  // family's binary interface: do not reorder or insert).
  virtual std::uint32_t vPut(const void* data, std::uint32_t count) = 0;       ///< bytes taken
  virtual std::uint32_t vTellP() = 0;                                          ///< the put position
  virtual std::uint32_t vSeekP(std::int32_t offset, Direction direction) = 0;  ///< new put position
  virtual std::uint32_t vGet(void* dest, std::uint32_t count) = 0;             ///< bytes delivered, fewer at the end
  virtual std::uint32_t vTellG() = 0;  ///< the medium's get position (look-ahead not counted back)
  virtual std::uint32_t vSeekG(std::int32_t offset, Direction direction) = 0;  ///< new get position
  virtual void vFlush() = 0;                                                   ///< hands buffered bytes to the medium
  virtual void vClear() = 0;                                                   ///< size and both positions to 0
  virtual void vClearMemory() = 0;                                             ///< as vClear, and gives memory back
  virtual void vClearEnd() = 0;                                                ///< size becomes the put position
  virtual std::uint32_t vSize() = 0;                                           ///< bytes held
  virtual bool vEndOfFile() = 0;                                               ///< get position has reached the size
  ///@{
  /// Append up to count bytes read at the get position; return the bytes
  /// consumed. The defaults loop over vGet. For the UTF-16 form count is in
  /// bytes, units are little-endian and an odd last byte is consumed, counted
  /// and dropped. The buffer form puts into the other buffer with SafePut.
  virtual std::uint32_t vCopy(std::wstring& dest, std::uint32_t count);
  virtual std::uint32_t vCopy(std::string& dest, std::uint32_t count);
  virtual std::uint32_t vCopy(BinaryStreamBuf& dest, std::uint32_t count);
  ///@}

  /// The Capability bits given at construction.
  unsigned char Capabilities() const { return m_capabilities; }

  /// Up to count bytes, look-ahead first; fewer only at the end of the data.
  std::uint32_t Get(void* dest, std::uint32_t count);
  /// Exactly count bytes, or throws ORV::Exception (the bytes that were
  /// there are consumed all the same).
  void SafeGet(void* dest, std::uint32_t count);
  /// vPut: returns the bytes taken.
  std::uint32_t Put(const void* data, std::uint32_t count) { return vPut(data, count); }
  /// Exactly count bytes, or throws ORV::Exception.
  void SafePut(const void* data, std::uint32_t count);
  ///@{
  /// vCopy after the look-ahead store: appends up to count bytes (kAll: all
  /// that is left) to dest and returns the bytes consumed.
  std::uint32_t Copy(std::wstring& dest, std::uint32_t count = kAll);
  std::uint32_t Copy(std::string& dest, std::uint32_t count = kAll);
  std::uint32_t Copy(BinaryStreamBuf& dest, std::uint32_t count = kAll);
  ///@}

  /// The caller's get position: the medium's less what the store holds.
  std::uint32_t TellG() { return vTellG() - m_lookAheadCount; }
  /// Relative moves count from TellG(); the store is dropped.
  std::uint32_t SeekG(std::int32_t offset, Direction direction);
  /// The put position.
  std::uint32_t TellP() { return vTellP(); }
  /// Moves the put position; returns the new one.
  std::uint32_t SeekP(std::int32_t offset, Direction direction) { return vSeekP(offset, direction); }
  /// Bytes held by the medium.
  std::uint32_t Size() { return vSize(); }
  /// True when the store is empty and the medium's get position is at its size.
  bool EndOfFile() { return m_lookAheadCount == 0 && vEndOfFile(); }
  /// vFlush.
  void Flush() { vFlush(); }
  /// Drops the store, then size and both positions to 0.
  void Clear();
  /// As Clear, and the medium gives its memory back.
  void ClearMemory();
  /// Size becomes the put position (the medium first moved back to the
  /// caller's get position when it can seek).
  void ClearEnd();

  /// Copies up to min(count, kLookAheadCapacity) of the next bytes to dest
  /// without consuming them; returns how many there were.
  std::uint32_t Peek(void* dest, std::uint32_t count);
  /// Bytes held in the look-ahead store.
  std::uint32_t LookAheadCount() const { return m_lookAheadCount; }
  /// Empties the store; the held bytes are skipped.
  void DropLookAhead() { m_lookAheadBegin = m_lookAheadCount = 0; }

 private:
  std::uint32_t TakeLookAhead(void* dest, std::uint32_t count);
  bool TopUpLookAhead(std::uint32_t wanted);

  unsigned char m_capabilities;
  unsigned char m_lookAheadBegin = 0;
  unsigned char m_lookAheadCount = 0;
  unsigned char m_lookAhead[kLookAheadCapacity] = {};
};

/// The seek arithmetic every buffer of the family shares: where an offset
/// counted from Begin, End or the current position lands, kept within the
/// range a buffer allows. Begin counts from `first`, End from `last`,
/// Current from the position given; the result is clamped to first..last:
/// \code
///   SeekRange(0, 50).Seek(7, 10, End)                   -> 50  (size + 10, clamped)
///   SeekRange(0, 50).Seek(7, -60, Current)              -> 0
///   SeekRange(0, 50).EndCountsBack().Seek(7, 10, End)   -> 40  (size - 10)
///   SeekRange(8, 20).EndCountsBack().Seek(9, 3, Begin)  -> 11  (a window onto 8..19)
///   SeekRange(0, 50).PastLast().Seek(7, 60, Current)    -> 67  (a put side that grows)
/// \endcode
/// A direction outside the three leaves the position as given, clamped.
class ORV_BASE_API SeekRange {
 public:
  /// Positions first..last; End offsets are added to last (size + offset).
  SeekRange(std::uint32_t first, std::uint32_t last) : m_first(first), m_last(last) {}
  /// End offsets count backwards from last (last - offset), as a buffer over
  /// the caller's memory and a window onto another buffer read them.
  SeekRange& EndCountsBack() {
    m_endBack = true;
    return *this;
  }
  /// Positions beyond last are allowed, up to 4 GiB - 1: a put side that grows.
  SeekRange& PastLast() {
    m_pastLast = true;
    return *this;
  }
  /// The position an offset from direction reaches from position. The
  /// position given may lie outside the range, below 0 too (a window's
  /// underlying get position less a look-ahead held from before a seek).
  std::uint32_t Seek(std::int64_t position, std::int32_t offset, BinaryStreamBuf::Direction direction) const;

 private:
  std::uint32_t m_first;
  std::uint32_t m_last;
  bool m_endBack = false;
  bool m_pastLast = false;
};

}  // namespace ORV
