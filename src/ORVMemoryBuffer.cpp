#include "ORVMemoryBuffer.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>

#include "ORVBufferPieces.h"
#include "ORVCFileBuffer.h"

namespace ORVFile {
MemoryBuffer::MemoryBuffer(std::uint32_t chunkSize)
    : BinaryStreamBuf(CanGet | CanSeek), m_chunkSize(chunkSize == 0 ? kDefaultChunkSize : chunkSize) {}

MemoryBuffer::MemoryBuffer(const void* data, std::uint32_t length, std::uint32_t chunkSize) : MemoryBuffer(chunkSize) {
  SetFromBuffer(data, length);
}

MemoryBuffer::~MemoryBuffer() { FreeChunksFrom(0); }

void MemoryBuffer::SetFromBuffer(const void* data, std::uint32_t length) {
  DropLookAhead();
  vClear();
  if (data != nullptr) {
    vPut(data, length);
  } else {
    vClearMemory();
  }
}

std::uint32_t MemoryBuffer::Capacity() const { return static_cast<std::uint32_t>(m_chunks.Size()) * m_chunkSize; }

std::uint32_t MemoryBuffer::ChunkSize() const { return m_chunkSize; }

void MemoryBuffer::AllocChunk() {
  std::unique_ptr<unsigned char[]> chunk(new unsigned char[m_chunkSize]);
  m_chunks.PushBack(chunk.get());
  static_cast<void>(chunk.release());  // the array owns it now
}

void MemoryBuffer::FreeChunksFrom(std::size_t index) noexcept {
  for (std::size_t i = index; i < m_chunks.Size(); ++i) delete[] m_chunks[i];
  m_chunks.Truncate(std::min(index, m_chunks.Size()));
}

void MemoryBuffer::Store(std::uint32_t position, const unsigned char* data, std::uint32_t count) {
  while (count > 0) {
    const std::size_t index = position / m_chunkSize;
    const std::uint32_t offset = position % m_chunkSize;
    // Callers never leave a hole, so the position is at most one chunk past the last.
    if (index == m_chunks.Size()) AllocChunk();
    const std::uint32_t piece = std::min(count, m_chunkSize - offset);
    if (data != nullptr) {
      std::memcpy(m_chunks[index] + offset, data, piece);
      data += piece;
    } else {
      std::memset(m_chunks[index] + offset, 0, piece);
    }
    position += piece;
    count -= piece;
    m_size = std::max(m_size, position);
  }
}

void MemoryBuffer::FillGapToPut() {
  if (m_put > m_size) Store(m_size, nullptr, m_put - m_size);
}

std::uint32_t MemoryBuffer::vPut(const void* data, std::uint32_t count) {
  if (count == 0) return 0;
  FillGapToPut();
  const std::uint32_t taken = std::min(count, std::numeric_limits<std::uint32_t>::max() - m_put);
  Store(m_put, static_cast<const unsigned char*>(data), taken);
  m_put += taken;
  return taken;
}

std::uint32_t MemoryBuffer::vTellP() { return m_put; }

std::uint32_t MemoryBuffer::vSeekP(std::int32_t offset, Direction direction) {
  const std::uint32_t target = ORV::SeekRange(0, m_size).PastLast().Seek(m_put, offset, direction);
  // The zeros go at the put position, not at the end: see the header.
  if (target > m_size) vPut(nullptr, target - m_size);
  return m_put = target;
}

template <class Sink>
std::uint32_t MemoryBuffer::ReadPieces(std::uint32_t count, Sink sink) {
  const std::uint32_t wanted = std::min(count, m_size - std::min(m_get, m_size));
  std::uint32_t done = 0;
  while (done < wanted) {
    const std::uint32_t offset = m_get % m_chunkSize;
    const std::uint32_t piece = std::min(wanted - done, m_chunkSize - offset);
    const std::uint32_t taken = sink(m_chunks[m_get / m_chunkSize] + offset, piece);
    m_get += taken;
    done += taken;
    if (taken < piece) break;
  }
  return done;
}

std::uint32_t MemoryBuffer::vGet(void* dest, std::uint32_t count) {
  auto* out = static_cast<unsigned char*>(dest);
  return ReadPieces(count, [&out](const unsigned char* piece, std::uint32_t length) {
    std::memcpy(out, piece, length);
    out += length;
    return length;
  });
}

std::uint32_t MemoryBuffer::vTellG() { return m_get; }

std::uint32_t MemoryBuffer::vSeekG(std::int32_t offset, Direction direction) {
  return m_get = ORV::SeekRange(0, m_size).Seek(m_get, offset, direction);
}

void MemoryBuffer::vFlush() {}

void MemoryBuffer::vClear() { m_size = m_get = m_put = 0; }

void MemoryBuffer::vClearMemory() {
  FreeChunksFrom(0);
  vClear();
}

void MemoryBuffer::vClearEnd() {
  FillGapToPut();
  FreeChunksFrom(m_put / m_chunkSize + (m_put % m_chunkSize != 0 ? 1 : 0));
  m_size = m_put;
}

std::uint32_t MemoryBuffer::vSize() { return m_size; }

bool MemoryBuffer::vEndOfFile() { return m_get >= m_size; }

std::uint32_t MemoryBuffer::vCopy(std::wstring& dest, std::uint32_t count) {
  return ReadPieces(count, [&dest](const unsigned char* piece, std::uint32_t length) {
    for (std::uint32_t i = 0; i + 1 < length; i += 2) dest += static_cast<wchar>(piece[i] | piece[i + 1] << 8);
    return length;
  });
}

std::uint32_t MemoryBuffer::vCopy(std::string& dest, std::uint32_t count) {
  return ReadPieces(count, [&dest](const unsigned char* piece, std::uint32_t length) {
    dest.append(reinterpret_cast<const char*>(piece), length);
    return length;
  });
}

std::uint32_t MemoryBuffer::vCopy(BinaryStreamBuf& dest, std::uint32_t count) {
  if (auto* file = dynamic_cast<OCFileBuffer*>(&dest)) return CopyTo(*file, count);
  return CopyTo(dest, count);
}

std::uint32_t MemoryBuffer::CopyTo(OCFileBuffer& dest, std::uint32_t count) {
  return PutPieces(dest, count, detail::kFilePiece);
}

std::uint32_t MemoryBuffer::CopyTo(BinaryStreamBuf& dest, std::uint32_t count) {
  return PutPieces(dest, count, m_chunkSize);
}

std::uint32_t MemoryBuffer::PutPieces(BinaryStreamBuf& dest, std::uint32_t count, std::uint32_t maxPiece) {
  return ReadPieces(count, [&dest, maxPiece](const unsigned char* piece, std::uint32_t length) {
    return detail::PutInPieces(dest, piece, length, maxPiece);
  });
}

}  // namespace ORVFile
