#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "ORVBinaryStreamBufWrapper.h"
#include "ORVBinaryStreamMemory.h"

using ORV::BinaryStreamBuf;
using ORV::BinaryStreamBufWrapper;
using ORV::BinaryStreamMemory;

namespace {

std::string Text(const BinaryStreamMemory& buf) { return std::string(buf.Bytes().begin(), buf.Bytes().end()); }

// A sink that only takes bytes, as an output adapter: its capability byte must show through the wrapper.
class Sink : public BinaryStreamBuf {
 public:
  Sink() : BinaryStreamBuf(CanSeek) {}
  std::uint32_t vPut(const void*, std::uint32_t count) override { return count; }
  std::uint32_t vTellP() override { return 0; }
  std::uint32_t vSeekP(std::int32_t, Direction) override { return 0; }
  std::uint32_t vGet(void*, std::uint32_t) override { return 0; }
  std::uint32_t vTellG() override { return 0; }
  std::uint32_t vSeekG(std::int32_t, Direction) override { return 0; }
  void vFlush() override {}
  void vClear() override {}
  void vClearMemory() override {}
  void vClearEnd() override {}
  std::uint32_t vSize() override { return 0; }
  bool vEndOfFile() override { return true; }
};

}  // namespace

TEST(BinaryStreamBufWrapper, OperationsReachTheWrappedBuffer) {
  BinaryStreamMemory inner("0123456789", 10);
  inner.SeekP(3, BinaryStreamBuf::Begin);
  inner.SeekG(7, BinaryStreamBuf::Begin);
  {
    BinaryStreamBufWrapper wrapper(inner);
    EXPECT_EQ(&wrapper.Wrapped(), &inner);
    EXPECT_EQ(wrapper.Capabilities(), inner.Capabilities());
    EXPECT_EQ(wrapper.TellP(), 3u);
    EXPECT_EQ(wrapper.TellG(), 7u);
    EXPECT_EQ(wrapper.Size(), 10u);

    wrapper.SafePut("ab", 2);  // at the put position, which moves on; the get position stays
    EXPECT_EQ(Text(inner), "012ab56789");
    EXPECT_EQ(inner.TellP(), 5u);
    EXPECT_EQ(wrapper.SeekP(-1, BinaryStreamBuf::End), 9u);
    EXPECT_EQ(inner.TellP(), 9u);
    EXPECT_EQ(wrapper.SeekG(-4, BinaryStreamBuf::Current), 3u);
    EXPECT_EQ(inner.TellG(), 3u);

    std::string narrow;
    std::wstring wide;
    BinaryStreamMemory other;
    EXPECT_EQ(wrapper.Copy(narrow, 2), 2u);
    EXPECT_EQ(wrapper.Copy(wide, 2), 2u);
    EXPECT_EQ(wrapper.Copy(other, 2), 2u);
    EXPECT_EQ(narrow, "ab");
    EXPECT_EQ(wide, std::wstring(1, static_cast<wchar_t>('5' | '6' << 8)));
    EXPECT_EQ(Text(other), "78");
    EXPECT_FALSE(wrapper.EndOfFile());

    wrapper.Flush();
    wrapper.ClearEnd();
    EXPECT_EQ(Text(inner), "012ab5678");
    EXPECT_TRUE(wrapper.EndOfFile());
    wrapper.Clear();
    EXPECT_EQ(inner.Size() + inner.TellG() + inner.TellP(), 0u);
    inner.SafePut("xy", 2);
    wrapper.ClearMemory();
    EXPECT_EQ(inner.Size(), 0u);
  }
  inner.SafePut("still usable", 12);  // the wrapper did not own it
  EXPECT_EQ(inner.Size(), 12u);

  Sink sink;
  EXPECT_EQ(BinaryStreamBufWrapper(sink).Capabilities(), BinaryStreamBuf::CanSeek);
}

TEST(BinaryStreamBufWrapper, WrappedLookAheadComesFirst) {
  BinaryStreamMemory inner("abcdefgh", 8);
  char got[8] = {};
  inner.Peek(got, 2);  // "ab" now held by inner, its medium at 2
  BinaryStreamBufWrapper wrapper(inner);
  EXPECT_EQ(wrapper.TellG(), 0u);
  EXPECT_EQ(wrapper.Get(got, 3), 3u);
  EXPECT_EQ(std::string(got, 3), "abc");

  inner.Peek(got, 4);                                         // "defg"
  EXPECT_EQ(wrapper.SeekG(1, BinaryStreamBuf::Current), 4u);  // from the caller's 3, not the medium's 7
  std::string rest;
  EXPECT_EQ(wrapper.Copy(rest), 4u);
  EXPECT_EQ(rest, "efgh");
  EXPECT_TRUE(wrapper.EndOfFile());

  // The wrapper's own store runs ahead of the wrapped buffer's caller position.
  wrapper.SeekG(0, BinaryStreamBuf::Begin);
  EXPECT_EQ(wrapper.Peek(got, 5), 5u);
  EXPECT_EQ(inner.TellG(), 5u);
  EXPECT_EQ(wrapper.TellG(), 0u);
  EXPECT_EQ(wrapper.Get(got, 8), 8u);
  EXPECT_EQ(std::string(got, 8), "abcdefgh");

  // Truncating through the wrapper must not leave cut bytes in the wrapped store.
  inner.SeekG(0, BinaryStreamBuf::Begin);
  inner.SeekP(2, BinaryStreamBuf::Begin);
  inner.Peek(got, 4);
  wrapper.ClearEnd();
  EXPECT_EQ(wrapper.Get(got, 8), 2u);
  EXPECT_EQ(std::string(got, 2), "ab");
}

// Two wrappers over a memory buffer must behave as the memory buffer alone,
// whatever mix of peeks, reads, writes, seeks and truncations reaches them
// (peeks into the medium itself are left out: its store is a snapshot that a
// later Put does not update, which the plain buffer would not share).
TEST(BinaryStreamBufWrapper, StackedWrappersMatchPlainBufferOnRandomOperations) {
  BinaryStreamMemory model;
  BinaryStreamMemory medium;
  BinaryStreamBufWrapper inner(medium);
  BinaryStreamBufWrapper outer(inner);
  BinaryStreamBuf* const sides[] = {&model, &outer};

  std::mt19937 random(20261122);
  auto pick = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
  const std::string alphabet = "abcdefghijklmnopqrstuvwxyz0123456789";
  for (int step = 0; step < 20000; ++step) {
    SCOPED_TRACE(step);
    const int op = pick(8);
    const bool truncate = pick(4) == 0;  // ClearEnd now and then, or the data rarely grows
    const int n = pick(24);
    const int offset = pick(40) - 20;
    const auto direction = static_cast<BinaryStreamBuf::Direction>(pick(3));
    const std::string data = alphabet.substr(static_cast<size_t>(pick(10)), static_cast<size_t>(n));
    std::string result[2];
    for (int side = 0; side < 2; ++side) {
      BinaryStreamBuf& buf = *sides[side];
      char bytes[32] = {};
      std::wstring wide;
      switch (op) {
        case 0:
          result[side] = std::string(bytes, buf.Get(bytes, static_cast<std::uint32_t>(n)));
          break;
        case 1:
          result[side] = std::string(bytes, buf.Peek(bytes, static_cast<std::uint32_t>(n)));
          break;
        case 2:
          buf.SafePut(data.data(), static_cast<std::uint32_t>(data.size()));
          break;
        case 3:
          result[side] = std::to_string(buf.SeekG(offset, direction));
          break;
        case 4:
          result[side] = std::to_string(buf.SeekP(offset, direction));
          break;
        case 5:
          if (truncate) buf.ClearEnd();
          break;
        case 6:
          buf.Copy(result[side], static_cast<std::uint32_t>(n));
          break;
        default:
          buf.Copy(wide, static_cast<std::uint32_t>(n));
          result[side] = std::string(wide.begin(), wide.end());
          break;
      }
      result[side] += " " + std::to_string(buf.TellG()) + " " + std::to_string(buf.TellP()) + " " +
                      std::to_string(buf.Size()) + " " + std::to_string(buf.EndOfFile());
    }
    ASSERT_EQ(result[1], result[0]) << "operation " << op << " n " << n;
  }
}
