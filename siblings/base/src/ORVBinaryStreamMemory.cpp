#include "ORVBinaryStreamMemory.h"

#include <algorithm>
#include <cstring>

namespace ORV {

BinaryStreamMemory::BinaryStreamMemory() : BinaryStreamBuf(CanGet | CanSeek) {}

BinaryStreamMemory::BinaryStreamMemory(const void* data, std::uint32_t size)
    : BinaryStreamBuf(CanGet | CanSeek),
      m_bytes(static_cast<const unsigned char*>(data), static_cast<const unsigned char*>(data) + size) {}

BinaryStreamMemory::~BinaryStreamMemory() = default;

std::uint32_t BinaryStreamMemory::vPut(const void* data, std::uint32_t count) {
  // Sizes are 32-bit: take only what keeps the size below 4 GiB.
  const std::uint32_t taken = std::min(count, 0xFFFFFFFFu - m_put);
  if (taken == 0) return 0;
  if (m_bytes.size() < std::size_t{m_put} + taken) m_bytes.resize(std::size_t{m_put} + taken);
  std::memcpy(m_bytes.data() + m_put, data, taken);
  m_put += taken;
  return taken;
}

std::uint32_t BinaryStreamMemory::vTellP() { return m_put; }

std::uint32_t BinaryStreamMemory::vSeekP(std::int32_t offset, Direction direction) {
  return m_put = SeekRange(0, vSize()).Seek(m_put, offset, direction);
}

std::uint32_t BinaryStreamMemory::vGet(void* dest, std::uint32_t count) {
  const std::uint32_t given = std::min(count, vSize() - std::min(m_get, vSize()));
  if (given == 0) return 0;
  std::memcpy(dest, m_bytes.data() + m_get, given);
  m_get += given;
  return given;
}

std::uint32_t BinaryStreamMemory::vTellG() { return m_get; }

std::uint32_t BinaryStreamMemory::vSeekG(std::int32_t offset, Direction direction) {
  return m_get = SeekRange(0, vSize()).Seek(m_get, offset, direction);
}

void BinaryStreamMemory::vFlush() {}

void BinaryStreamMemory::vClear() {
  m_bytes.clear();
  m_get = m_put = 0;
}

void BinaryStreamMemory::vClearMemory() {
  std::vector<unsigned char>().swap(m_bytes);
  m_get = m_put = 0;
}

void BinaryStreamMemory::vClearEnd() {
  m_bytes.resize(m_put);
  m_get = std::min(m_get, m_put);
}

std::uint32_t BinaryStreamMemory::vSize() { return static_cast<std::uint32_t>(m_bytes.size()); }

bool BinaryStreamMemory::vEndOfFile() { return m_get >= vSize(); }

}  // namespace ORV
