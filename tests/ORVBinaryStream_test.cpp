// BinaryStream's fixed forms, read back across short pieces, the seek
// arithmetic every buffer shares, and the look-ahead store that the base
// wrappers keep in front of any medium.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include "ORVBaseException.h"
#include "ORVBinaryStream.h"
#include "ORVBinaryStreamMemory.h"

using ORV::BinaryStream;
using ORV::BinaryStreamBuf;
using ORV::BinaryStreamMemory;
using Bytes = std::vector<unsigned char>;

namespace {

// A medium that hands out at most three bytes a call, as a pipe may: odd pieces split 16-bit units.
class Trickle : public BinaryStreamMemory {
 public:
  using BinaryStreamMemory::BinaryStreamMemory;
  std::uint32_t vGet(void* dest, std::uint32_t count) override {
    return BinaryStreamMemory::vGet(dest, std::min(count, 3u));
  }
};

}  // namespace

TEST(BinaryStream, FixedWidthLittleEndianFormsRoundTripAcrossShortPieces) {
  BinaryStreamMemory buf;
  BinaryStream stream(buf);
  // The form must match the text; the refused text leaves no byte (the bytes below start with 0xAB).
  EXPECT_THROW(BinaryStream_Put(stream, std::string("x"), 17), ORV::Exception);
  stream << std::uint8_t{0xAB} << std::int16_t{-2} << std::numeric_limits<std::int32_t>::min()
         << std::uint64_t{0x0102030405060708} << L'\x20AC';
  BinaryStream_Put(stream, std::string("AB"), BinaryStream::NarrowString);
  BinaryStream_Put(stream, std::wstring(L"A\x20AC"), BinaryStream::WideString);
  EXPECT_EQ(buf.Bytes(), (Bytes{0xAB, 0xFE, 0xFF, 0, 0, 0,    0x80, 8, 7, 6, 5, 4,    3, 2,    1,   0xAC,
                                0x20, 2,    0,    0, 0, 0x41, 0x42, 2, 0, 0, 0, 0x41, 0, 0xAC, 0x20}));
  const std::string narrow = std::string(200000, 'x') + std::string("\0\xFF", 2);
  const std::wstring wide = std::wstring(70000, L'\x4E2D') + L"\xD83D\xDE00" + std::wstring(L"\0\xDC00", 2);
  BinaryStream_Put(stream, narrow, 16);
  BinaryStream_Put(stream, wide, 17);
  Trickle trickle(buf.Bytes().data(), buf.Size());
  BinaryStream in(trickle);
  std::tuple<std::uint8_t, std::int16_t, std::int32_t, std::uint64_t, wchar_t> got{};
  auto& [u8, i16, i32, u64, w] = got;
  std::string n, n2;
  std::wstring wd, wd2, copied;
  in >> u8 >> i16 >> i32 >> u64 >> w;
  BinaryStream_Get(BinaryStream_Get(BinaryStream_Get(BinaryStream_Get(in, n, 16), wd, 17), n2, 16), wd2, 17);
  EXPECT_EQ(got, std::make_tuple(std::uint8_t{0xAB}, std::int16_t{-2}, std::numeric_limits<std::int32_t>::min(),
                                 std::uint64_t{0x0102030405060708}, L'\x20AC'));
  EXPECT_EQ(n + "|" + n2, "AB|" + narrow);
  EXPECT_EQ(wd + L"|" + wd2, L"A\x20AC|" + wide);
  EXPECT_TRUE(trickle.EndOfFile());
  trickle.SeekG(27, BinaryStreamBuf::Begin);  // the units of "A\x20AC", split 3 + 1
  EXPECT_TRUE(trickle.Copy(copied, 4) == 4 && copied == L"A\x20AC");
}

// Cut short or mismatched: the base exception, the target left as it was.
TEST(BinaryStream, ShortOrMismatchedDataThrowsAndLeavesTheTargetAlone) {
  const std::pair<Bytes, int> rows[] = {
      {{2, 0, 0}, 16},                      // the length itself cut short
      {{5, 0, 0, 0, 'a', 'b', 'c'}, 16},    // a body shorter than its length
      {{2, 0, 0, 0, 'a', 0, 'b'}, 17},      // an odd byte where a unit should be
      {{0xFF, 0xFF, 0xFF, 0xFF, 'a'}, 17},  // a corrupt length: fail, never allocate 8 GiB
      {{1, 2, 3}, 4},                       // a 4-byte integer from 3 bytes
  };
  for (const auto& [data, form] : rows) {
    BinaryStreamMemory buf(data.data(), static_cast<std::uint32_t>(data.size()));
    BinaryStream stream(buf);
    std::string n = "kept";
    std::wstring w = L"kept";
    std::uint32_t value = 7;
    EXPECT_THROW(form == 16   ? (void)BinaryStream_Get(stream, n, 16)
                 : form == 17 ? (void)BinaryStream_Get(stream, w, 17)
                              : (void)(stream >> value),
                 ORV::Exception)
        << form;
    EXPECT_EQ(n + std::string(w.begin(), w.end()) + std::to_string(value), "keptkept7");
  }
}

TEST(BinaryStreamBuf, SeekArithmeticAndALookAheadHiddenFromCallers) {
  // The buffers' models cover the directions and clamps; past the last and an inverted window no model reaches.
  EXPECT_EQ(ORV::SeekRange(0, 50).PastLast().Seek(7, 0x7FFFFFFF, BinaryStreamBuf::End), 0x80000031u);
  EXPECT_EQ(ORV::SeekRange(30, 20).Seek(25, 0, BinaryStreamBuf::Current), 20u);
  BinaryStreamMemory buf("abcdefgh", 8);
  char got[16] = {};
  EXPECT_EQ(buf.Peek(got, 3), 3u);
  EXPECT_EQ(buf.vTellG() * 10 + buf.TellG(), 30u);
  EXPECT_EQ(buf.Get(got, 2) + buf.Get(got + 2, 3), 5u);  // one byte from the store, two from the medium
  EXPECT_EQ(std::string(got, 5), "abcde");
  // Capped by the data, not by the request; the medium is at its end, the caller is not.
  EXPECT_TRUE(buf.Peek(got, 100) == 3 && !buf.EndOfFile());
  EXPECT_TRUE(buf.SeekG(-1, BinaryStreamBuf::Current) == 4 && buf.LookAheadCount() == 0);
  // UTF-16 copies join a unit across store and medium; an odd last byte is counted and dropped.
  BinaryStreamMemory units("A\0B\0C", 5);
  units.Peek(got, 1);
  std::wstring wide;
  EXPECT_TRUE(units.Copy(wide) == 5 && wide == L"AB");
  // Truncating at the put position must not leave bytes of the cut part in the store.
  units.SeekG(1, BinaryStreamBuf::Begin), units.SeekP(2, BinaryStreamBuf::Begin), units.Peek(got, 4);
  units.ClearEnd();
  EXPECT_EQ(units.Get(got, 4), 1u);
}
