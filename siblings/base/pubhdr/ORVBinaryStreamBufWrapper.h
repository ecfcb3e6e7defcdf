/// \class ORV::BinaryStreamBufWrapper
/// BinaryStreamBufWrapper: a BinaryStreamBuf that passes every operation on to
/// another buffer, the base of buffers that watch or decorate a stream of
/// bytes (progress reporting, counting) without storing any themselves.
/// A subclass overrides only the operations it adds to; the rest go through.
///
/// The wrapped buffer is borrowed, held by reference and never owned: it must
/// outlive the wrapper, and destroying the wrapper leaves it as it is. The
/// wrapper takes the wrapped buffer's capability byte.
///
/// Every v operation calls the wrapped buffer's public counterpart (vGet calls
/// Get, vTellG calls TellG, vSeekG calls SeekG, ...), not its v operation, so
/// that bytes the wrapped buffer already holds in its look-ahead store come
/// first and its positions are those its own callers see:
///
///     wrapped "abcd", wrapped.Peek(2), then wrapper.Get(3) -> "abc" (not "cd").
///
/// The wrapper has a look-ahead store of its own, filled by Peek on the
/// wrapper; it then runs ahead of the wrapped buffer's caller position like
/// any other medium.
///
/// One thread at a time, the wrapped buffer included.
#pragma once

#include <cstdint>
#include <string>

#include "ORVBaseDefs.h"
#include "ORVBinaryStreamBuf.h"

namespace ORV {

class ORV_BASE_API BinaryStreamBufWrapper : public BinaryStreamBuf {
 public:
  /// Borrows wrapped, which must outlive the wrapper.
  explicit BinaryStreamBufWrapper(BinaryStreamBuf& wrapped);
  /// Wraps another wrapper (buffers are not copied: without this overload the
  /// deleted copy constructor would be the better match for a wrapper lvalue).
  explicit BinaryStreamBufWrapper(BinaryStreamBufWrapper& wrapped);
  ~BinaryStreamBufWrapper() override;

  /// The buffer every operation goes to.
  BinaryStreamBuf& Wrapped() const;

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
  std::uint32_t vCopy(BinaryStreamBuf& dest, std::uint32_t count) override;

 private:
  BinaryStreamBuf& m_wrapped;
};

}  // namespace ORV
