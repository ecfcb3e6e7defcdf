#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>

#include "ORVBinaryStreamBufWrapper.h"
#include "ORVBinaryStreamMemory.h"

using ORV::BinaryStreamBuf;
using ORV::BinaryStreamBufWrapper;
using ORV::BinaryStreamMemory;

TEST(BinaryStreamBufWrapper, WrappedLookAheadComesFirstAndIsNeverStale) {
  BinaryStreamMemory inner("abcdefgh", 8);
  char got[8] = {};
  inner.Peek(got, 2);  // "ab" held by inner, its medium at 2
  BinaryStreamBufWrapper wrapper(inner);
  EXPECT_EQ(&wrapper.Wrapped(), &inner);
  EXPECT_EQ(wrapper.TellG(), 0u);
  EXPECT_EQ(wrapper.Get(got, 3), 3u);
  EXPECT_EQ(std::string(got, 3), "abc");
  inner.Peek(got, 4);                                         // "defg"
  EXPECT_EQ(wrapper.SeekG(1, BinaryStreamBuf::Current), 4u);  // from the caller's 3, not the medium's 7
  std::string rest;
  EXPECT_EQ(wrapper.Copy(rest), 4u);
  EXPECT_EQ(rest, "efgh");

  // Truncating through the wrapper must not leave cut bytes in the wrapped store.
  wrapper.SeekG(-8, BinaryStreamBuf::End);
  inner.Peek(got, 4);
  wrapper.SeekP(2, BinaryStreamBuf::Begin);
  wrapper.ClearEnd();
  EXPECT_EQ(wrapper.Get(got, 8) + wrapper.Size(), 4u);  // "ab" read, and nothing beyond it kept
}

// Two wrappers over a memory buffer must behave as the memory buffer alone,
// whatever mix of peeks, reads, writes, seeks and truncations reaches them
// (peeks into the medium itself are left out: its store is a snapshot that a
// later Put does not update, which the plain buffer would not share).
TEST(BinaryStreamBufWrapper, StackedWrappersMatchPlainBufferOnRandomOperations) {
  BinaryStreamMemory model, medium;
  BinaryStreamBufWrapper inner(medium);
  BinaryStreamBufWrapper outer(inner);
  BinaryStreamBuf* const sides[] = {&model, &outer};

  std::mt19937 random(20261122);
  auto pick = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
  for (int step = 0; step < 20000; ++step) {
    const int op = pick(8), offset = pick(40) - 20;
    const auto n = static_cast<std::uint32_t>(pick(24));
    const bool rare = pick(4) == 0;  // ClearEnd now and then, or the data rarely grows
    const auto direction = static_cast<BinaryStreamBuf::Direction>(pick(3));
    const std::string data = std::string("abcdefghijklmnopqrstuvwxyz0123456789").substr(pick(10), n);
    std::string result[2];
    for (int side = 0; side < 2; ++side) {
      BinaryStreamBuf& buf = *sides[side];
      char bytes[32] = {};
      std::wstring wide;
      switch (op) {
        case 0:
          result[side] = std::string(bytes, buf.Get(bytes, n));
          break;
        case 1:
          result[side] = std::string(bytes, buf.Peek(bytes, n));
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
          if (rare) buf.ClearEnd();
          break;
        case 6:
          buf.Copy(result[side], n);
          break;
        default:
          buf.Copy(wide, n);
          result[side] = std::string(wide.begin(), wide.end());
      }
      result[side] += " " + std::to_string(buf.TellG()) + " " + std::to_string(buf.TellP()) + " " +
                      std::to_string(buf.Size()) + " " + std::to_string(buf.EndOfFile());
    }
    ASSERT_EQ(result[1], result[0]) << "step " << step << " operation " << op << " n " << n;
  }
}
