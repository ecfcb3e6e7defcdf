#include "ORVStaticMemoryBuffer.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "ORVBufferPieces.h"
#include "ORVCFileBuffer.h"
#include "ORVNotImplemented.h"

namespace ORVFile {

StaticMemoryBuffer::StaticMemoryBuffer(void* data, std::uint32_t size)
    : BinaryStreamBuf(CanGet | CanSeek),
      m_size(size),
      m_data(static_cast<const unsigned char*>(data)),
      m_const(false) {}

StaticMemoryBuffer::StaticMemoryBuffer(const void* data, std::uint32_t size)
    : BinaryStreamBuf(CanGet | CanSeek), m_size(size), m_data(static_cast<const unsigned char*>(data)), m_const(true) {}

StaticMemoryBuffer::~StaticMemoryBuffer() = default;

bool StaticMemoryBuffer::IsConst() const { return m_const; }

void StaticMemoryBuffer::ThrowIfConst(const char* text) const {
  if (m_const) throw NotImplemented(text);
}

std::uint32_t StaticMemoryBuffer::Seek(std::uint32_t position, std::int32_t offset, Direction direction) const {
  // An unknown direction gives 0 here, where the other buffers stay put.
  if (direction != Begin && direction != End && direction != Current) return 0;
  return ORV::SeekRange(0, m_size).EndCountsBack().Seek(position, offset, direction);
}

std::uint32_t StaticMemoryBuffer::Remaining(std::uint32_t count) const { return std::min(count, m_size - m_get); }

std::uint32_t StaticMemoryBuffer::vPut(const void* data, std::uint32_t count) {
  ThrowIfConst("StaticMemoryBuffer::Put: Buffer is const!");
  const std::uint32_t taken = std::min(count, m_size - m_put);
  // Not const, so the block came in through the writable constructor.
  if (taken > 0) std::memcpy(const_cast<unsigned char*>(m_data) + m_put, data, taken);
  m_put += taken;
  return taken;
}

std::uint32_t StaticMemoryBuffer::vTellP() {
  ThrowIfConst("StaticMemoryBuffer::TellP: Buffer is const!");
  return m_put;
}

std::uint32_t StaticMemoryBuffer::vSeekP(std::int32_t offset, Direction direction) {
  ThrowIfConst("StaticMemoryBuffer::SeekP: Buffer is const!");
  m_put = Seek(m_put, offset, direction);
  return m_put;
}

std::uint32_t StaticMemoryBuffer::vGet(void* dest, std::uint32_t count) {
  const std::uint32_t given = Remaining(count);
  if (given > 0) std::memcpy(dest, m_data + m_get, given);
  m_get += given;
  return given;
}

std::uint32_t StaticMemoryBuffer::vTellG() { return m_get; }

std::uint32_t StaticMemoryBuffer::vSeekG(std::int32_t offset, Direction direction) {
  m_get = Seek(m_get, offset, direction);
  return m_get;
}

void StaticMemoryBuffer::vFlush() {}

void StaticMemoryBuffer::vClear() { throw NotImplemented("StaticMemoryBuffer::Clear: Not implemented!"); }

void StaticMemoryBuffer::vClearMemory() { throw NotImplemented("StaticMemoryBuffer::ClearMemory: Not implemented!"); }

void StaticMemoryBuffer::vClearEnd() { throw NotImplemented("StaticMemoryBuffer::ClearEnd: Not implemented!"); }

std::uint32_t StaticMemoryBuffer::vSize() { return m_size; }

bool StaticMemoryBuffer::vEndOfFile() { return m_get >= m_size; }

std::uint32_t StaticMemoryBuffer::vCopy(std::wstring& dest, std::uint32_t count) {
  const std::uint32_t consumed = Remaining(count);
  // From twice the get position (see the header), cut to the bytes that exist there.
  const std::uint64_t from = std::uint64_t{m_get} * 2;
  const std::uint64_t present = from < m_size ? std::min<std::uint64_t>(consumed, m_size - from) : 0;
  for (std::uint64_t i = 0; i + 1 < present; i += 2)
    dest += static_cast<wchar>(m_data[from + i] | m_data[from + i + 1] << 8);
  m_get += consumed;
  return consumed;
}

std::uint32_t StaticMemoryBuffer::vCopy(std::string& dest, std::uint32_t count) {
  const std::uint32_t given = Remaining(count);
  dest.append(reinterpret_cast<const char*>(m_data + m_get), given);
  m_get += given;
  return given;
}

std::uint32_t StaticMemoryBuffer::vCopy(BinaryStreamBuf& dest, std::uint32_t count) {
  const std::uint32_t maxPiece =
      dynamic_cast<OCFileBuffer*>(&dest) != nullptr ? detail::kFilePiece : std::numeric_limits<std::uint32_t>::max();
  const std::uint32_t taken = detail::PutInPieces(dest, m_data + m_get, Remaining(count), maxPiece);
  m_get += taken;
  return taken;
}

}  // namespace ORVFile
