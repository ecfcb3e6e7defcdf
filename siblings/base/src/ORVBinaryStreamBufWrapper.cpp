#include "ORVBinaryStreamBufWrapper.h"

namespace ORV {

BinaryStreamBufWrapper::BinaryStreamBufWrapper(BinaryStreamBuf& wrapped)
    : BinaryStreamBuf(wrapped.Capabilities()), m_wrapped(wrapped) {}

BinaryStreamBufWrapper::BinaryStreamBufWrapper(BinaryStreamBufWrapper& wrapped)
    : BinaryStreamBufWrapper(static_cast<BinaryStreamBuf&>(wrapped)) {}

BinaryStreamBufWrapper::~BinaryStreamBufWrapper() = default;

BinaryStreamBuf& BinaryStreamBufWrapper::Wrapped() const { return m_wrapped; }

std::uint32_t BinaryStreamBufWrapper::vPut(const void* data, std::uint32_t count) { return m_wrapped.Put(data, count); }

std::uint32_t BinaryStreamBufWrapper::vTellP() { return m_wrapped.TellP(); }

std::uint32_t BinaryStreamBufWrapper::vSeekP(std::int32_t offset, Direction direction) {
  return m_wrapped.SeekP(offset, direction);
}

std::uint32_t BinaryStreamBufWrapper::vGet(void* dest, std::uint32_t count) { return m_wrapped.Get(dest, count); }

std::uint32_t BinaryStreamBufWrapper::vTellG() { return m_wrapped.TellG(); }

std::uint32_t BinaryStreamBufWrapper::vSeekG(std::int32_t offset, Direction direction) {
  return m_wrapped.SeekG(offset, direction);
}

void BinaryStreamBufWrapper::vFlush() { m_wrapped.Flush(); }

void BinaryStreamBufWrapper::vClear() { m_wrapped.Clear(); }

void BinaryStreamBufWrapper::vClearMemory() { m_wrapped.ClearMemory(); }

void BinaryStreamBufWrapper::vClearEnd() { m_wrapped.ClearEnd(); }

std::uint32_t BinaryStreamBufWrapper::vSize() { return m_wrapped.Size(); }

bool BinaryStreamBufWrapper::vEndOfFile() { return m_wrapped.EndOfFile(); }

std::uint32_t BinaryStreamBufWrapper::vCopy(std::wstring& dest, std::uint32_t count) {
  return m_wrapped.Copy(dest, count);
}

std::uint32_t BinaryStreamBufWrapper::vCopy(std::string& dest, std::uint32_t count) {
  return m_wrapped.Copy(dest, count);
}

std::uint32_t BinaryStreamBufWrapper::vCopy(BinaryStreamBuf& dest, std::uint32_t count) {
  return m_wrapped.Copy(dest, count);
}

}  // namespace ORV
