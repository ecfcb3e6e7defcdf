/// \class ORV::BinaryStreamMemory
/// BinaryStreamMemory: a growable in-memory BinaryStreamBuf over one
/// contiguous std::vector, with independent get and put positions. Meant for
/// small payloads, tests and building a record before it goes elsewhere;
/// growth may move the bytes, so Bytes() is only valid until the next Put.
///
/// Putting past the end grows the buffer; both seeks clamp the position to the
/// range 0 to size (so seeking never grows it):
///
///     size 10: vSeekG(-3, End) -> 7, vSeekG(5, End) -> 10, vSeekP(-4, Begin) -> 0.
///
/// The object owns its bytes. One thread at a time.
#pragma once

#include <cstdint>
#include <vector>

#include "ORVBaseDefs.h"
#include "ORVBinaryStreamBuf.h"

namespace ORV {

class ORV_BASE_API BinaryStreamMemory : public BinaryStreamBuf {
 public:
  /// Empty; get and put positions 0.
  BinaryStreamMemory();
  /// Starts holding a copy of size bytes at data; get and put positions 0.
  BinaryStreamMemory(const void* data, std::uint32_t size);
  ~BinaryStreamMemory() override;

  /// All the bytes held, whatever the positions; valid until the next Put.
  const std::vector<unsigned char>& Bytes() const { return m_bytes; }

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
  std::vector<unsigned char> m_bytes;
  std::uint32_t m_get = 0;
  std::uint32_t m_put = 0;
};

}  // namespace ORV
