#include "ORVBinaryStreamBuf.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <string>

#include "ORVBaseException.h"

namespace ORV {
namespace {

constexpr std::uint32_t kBlock = 4096;

[[noreturn]] void ThrowShort(const wchar* operation, std::uint32_t asked, std::uint32_t done) {
  throw Exception(std::wstring(operation) + L": asked for " + std::to_wstring(asked) + L" bytes, only " +
                      std::to_wstring(done) + L" were there",
                  "ORV::Exception");
}

// Reads up to count bytes at the get position in blocks and hands each block to sink.
template <class Sink>
std::uint32_t PumpBlocks(BinaryStreamBuf& source, std::uint32_t count, Sink sink) {
  unsigned char block[kBlock];
  std::uint32_t done = 0;
  while (done < count) {
    const std::uint32_t got = source.vGet(block, std::min(count - done, kBlock));
    if (got == 0) break;
    sink(block, got);
    done += got;
  }
  return done;
}

}  // namespace

BinaryStreamBuf::BinaryStreamBuf(unsigned char capabilities) : m_capabilities(capabilities) {}

BinaryStreamBuf::~BinaryStreamBuf() = default;

std::uint32_t BinaryStreamBuf::vCopy(std::wstring& dest, std::uint32_t count) {
  unsigned char block[kBlock];
  std::uint32_t done = 0;
  while (done < count) {
    // Even requests keep units whole across blocks; an odd count is only ever the last request.
    const std::uint32_t asked = std::min(count - done, kBlock);
    std::uint32_t got = vGet(block, asked);
    // A medium may stop a piece mid-unit (a pipe); fetch the unit's other half before deciding it ended.
    if (got % 2 != 0 && got < asked) got += vGet(block + got, 1);
    for (std::uint32_t i = 0; i + 1 < got; i += 2) dest += static_cast<wchar>(block[i] | block[i + 1] << 8);
    done += got;
    if (got == 0 || got % 2 != 0) break;
  }
  return done;
}

std::uint32_t BinaryStreamBuf::vCopy(std::string& dest, std::uint32_t count) {
  return PumpBlocks(*this, count, [&](const unsigned char* block, std::uint32_t got) {
    dest.append(reinterpret_cast<const char*>(block), got);
  });
}

std::uint32_t BinaryStreamBuf::vCopy(BinaryStreamBuf& dest, std::uint32_t count) {
  return PumpBlocks(*this, count, [&](const unsigned char* block, std::uint32_t got) { dest.SafePut(block, got); });
}

std::uint32_t BinaryStreamBuf::TakeLookAhead(void* dest, std::uint32_t count) {
  const std::uint32_t taken = std::min<std::uint32_t>(count, m_lookAheadCount);
  if (taken == 0) return 0;
  std::memcpy(dest, m_lookAhead + m_lookAheadBegin, taken);
  m_lookAheadBegin = static_cast<unsigned char>(m_lookAheadBegin + taken);
  m_lookAheadCount = static_cast<unsigned char>(m_lookAheadCount - taken);
  if (m_lookAheadCount == 0) m_lookAheadBegin = 0;
  return taken;
}

bool BinaryStreamBuf::TopUpLookAhead(std::uint32_t wanted) {
  wanted = std::min(wanted, kLookAheadCapacity);
  if (m_lookAheadCount >= wanted) return true;
  if (m_lookAheadBegin != 0) {
    std::memmove(m_lookAhead, m_lookAhead + m_lookAheadBegin, m_lookAheadCount);
    m_lookAheadBegin = 0;
  }
  while (m_lookAheadCount < wanted) {
    const std::uint32_t got = vGet(m_lookAhead + m_lookAheadCount, wanted - m_lookAheadCount);
    if (got == 0) return false;
    m_lookAheadCount = static_cast<unsigned char>(m_lookAheadCount + got);
  }
  return true;
}

std::uint32_t BinaryStreamBuf::Get(void* dest, std::uint32_t count) {
  const std::uint32_t fromStore = TakeLookAhead(dest, count);
  if (fromStore == count) return count;
  return fromStore + vGet(static_cast<unsigned char*>(dest) + fromStore, count - fromStore);
}

void BinaryStreamBuf::SafeGet(void* dest, std::uint32_t count) {
  std::uint32_t done = Get(dest, count);
  // A medium may deliver in pieces (a pipe, a window onto another buffer); only nothing more means the end.
  while (done < count) {
    const std::uint32_t got = vGet(static_cast<unsigned char*>(dest) + done, count - done);
    if (got == 0) ThrowShort(L"BinaryStreamBuf::SafeGet", count, done);
    done += got;
  }
}

void BinaryStreamBuf::SafePut(const void* data, std::uint32_t count) {
  std::uint32_t done = 0;
  while (done < count) {
    const std::uint32_t taken = vPut(static_cast<const unsigned char*>(data) + done, count - done);
    if (taken == 0) ThrowShort(L"BinaryStreamBuf::SafePut", count, done);
    done += taken;
  }
}

std::uint32_t BinaryStreamBuf::Copy(std::wstring& dest, std::uint32_t count) {
  std::uint32_t done = 0;
  while (m_lookAheadCount > 0 && count - done >= 2) {
    if (m_lookAheadCount == 1 && !TopUpLookAhead(2)) break;
    unsigned char unit[2];
    done += TakeLookAhead(unit, 2);
    dest += static_cast<wchar>(unit[0] | unit[1] << 8);
  }
  if (m_lookAheadCount > 0) {
    // One byte is left of the store and either the count or the data ends here: an odd last byte.
    if (done < count) {
      unsigned char odd;
      done += TakeLookAhead(&odd, 1);
    }
    return done;
  }
  return done < count ? done + vCopy(dest, count - done) : done;
}

std::uint32_t BinaryStreamBuf::Copy(std::string& dest, std::uint32_t count) {
  char held[kLookAheadCapacity];
  const std::uint32_t fromStore = TakeLookAhead(held, count);
  dest.append(held, fromStore);
  return fromStore < count ? fromStore + vCopy(dest, count - fromStore) : fromStore;
}

std::uint32_t BinaryStreamBuf::Copy(BinaryStreamBuf& dest, std::uint32_t count) {
  unsigned char held[kLookAheadCapacity];
  const std::uint32_t fromStore = TakeLookAhead(held, count);
  dest.SafePut(held, fromStore);
  return fromStore < count ? fromStore + vCopy(dest, count - fromStore) : fromStore;
}

std::uint32_t BinaryStreamBuf::SeekG(std::int32_t offset, Direction direction) {
  const std::int32_t held = m_lookAheadCount;
  DropLookAhead();
  if (direction != Current || held == 0) return vSeekG(offset, direction);
  // The medium is `held` bytes ahead of the caller; fold that into the move unless it would overflow.
  if (offset >= INT32_MIN + held) return vSeekG(offset - held, Current);
  vSeekG(-held, Current);
  return vSeekG(offset, Current);
}

void BinaryStreamBuf::Clear() {
  DropLookAhead();
  vClear();
}

void BinaryStreamBuf::ClearMemory() {
  DropLookAhead();
  vClearMemory();
}

void BinaryStreamBuf::ClearEnd() {
  // Truncating may cut away what the store holds; the medium must resume where the caller stands.
  if (m_lookAheadCount > 0 && (m_capabilities & CanSeek) != 0) SeekG(0, Current);
  DropLookAhead();
  vClearEnd();
}

std::uint32_t BinaryStreamBuf::Peek(void* dest, std::uint32_t count) {
  TopUpLookAhead(count);
  const std::uint32_t shown = std::min<std::uint32_t>(count, m_lookAheadCount);
  if (shown > 0) std::memcpy(dest, m_lookAhead + m_lookAheadBegin, shown);
  return shown;
}

std::uint32_t SeekRange::Seek(std::int64_t position, std::int32_t offset, BinaryStreamBuf::Direction direction) const {
  std::int64_t target = position;
  switch (direction) {
    case BinaryStreamBuf::Begin:
      target = std::int64_t{m_first} + offset;
      break;
    case BinaryStreamBuf::End:
      target = m_endBack ? std::int64_t{m_last} - offset : std::int64_t{m_last} + offset;
      break;
    case BinaryStreamBuf::Current:
      target = position + offset;
      break;
  }
  const std::int64_t highest = m_pastLast ? std::int64_t{UINT32_MAX} : m_last;
  // Not std::clamp: a window whose first lies beyond its last gives last, not undefined behaviour.
  return static_cast<std::uint32_t>(std::min(std::max(target, std::int64_t{m_first}), highest));
}

}  // namespace ORV
