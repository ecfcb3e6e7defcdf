#include "ORVSubBinaryStreamBuf.h"

#include <algorithm>

#include "ORVNotImplemented.h"

namespace ORVFile {

SubBinaryStreamBuf::SubBinaryStreamBuf(std::uint32_t start, std::uint32_t end, ORV::BinaryStreamBuf& underlying)
    : BinaryStreamBuf(CanGet | CanSeek), m_start(start), m_end(end), m_underlying(underlying) {
  if (m_start == 0) m_underlying.DropLookAhead();
  m_underlying.vSeekG(static_cast<std::int32_t>(m_start), Begin);
}

SubBinaryStreamBuf::~SubBinaryStreamBuf() = default;

ORV::SeekRange SubBinaryStreamBuf::Window() const { return ORV::SeekRange(m_start, m_end).EndCountsBack(); }

std::uint32_t SubBinaryStreamBuf::vPut(const void* data, std::uint32_t count) { return m_underlying.vPut(data, count); }

std::uint32_t SubBinaryStreamBuf::vTellP() { return m_underlying.vTellP() - m_start; }

std::uint32_t SubBinaryStreamBuf::vSeekP(std::int32_t offset, Direction direction) {
  const std::uint32_t target = Window().Seek(m_underlying.vTellP(), offset, direction);
  return m_underlying.vSeekP(static_cast<std::int32_t>(target), Begin) - m_start;
}

std::uint32_t SubBinaryStreamBuf::vGet(void* dest, std::uint32_t count) {
  const std::int64_t left = std::int64_t{LookAheadCount()} + vSize() - vTellG();
  return m_underlying.Get(dest, static_cast<std::uint32_t>(std::clamp<std::int64_t>(left, 0, count)));
}

std::uint32_t SubBinaryStreamBuf::vTellG() { return m_underlying.vTellG() - m_underlying.LookAheadCount() - m_start; }

std::uint32_t SubBinaryStreamBuf::vSeekG(std::int32_t offset, Direction direction) {
  const std::int64_t current = std::int64_t{m_underlying.vTellG()} - m_underlying.LookAheadCount();
  const std::uint32_t target = Window().Seek(current, offset, direction);
  if (target == 0) m_underlying.DropLookAhead();
  return m_underlying.vSeekG(static_cast<std::int32_t>(target), Begin) - m_start;
}

void SubBinaryStreamBuf::vFlush() { m_underlying.vFlush(); }

void SubBinaryStreamBuf::vClear() { throw NotImplemented("SubBinaryStreamBuf::Clear: Not implemented!"); }

void SubBinaryStreamBuf::vClearMemory() { throw NotImplemented("SubBinaryStreamBuf::ClearMemory: Not implemented!"); }

void SubBinaryStreamBuf::vClearEnd() { throw NotImplemented("SubBinaryStreamBuf::ClearEnd: Not implemented!"); }

std::uint32_t SubBinaryStreamBuf::vSize() { return m_end - m_start; }

bool SubBinaryStreamBuf::vEndOfFile() { return m_start + (vTellG() - LookAheadCount()) >= m_end; }

}  // namespace ORVFile
