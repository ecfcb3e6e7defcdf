#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <typeinfo>
#include <vector>

#include "ORVBaseException.h"
#include "ORVBinaryStream.h"
#include "ORVBinaryStreamMemory.h"

using ORV::BinaryStream;
using ORV::BinaryStreamBuf;
using ORV::BinaryStreamMemory;
using Bytes = std::vector<unsigned char>;

namespace {

template <class T>
void RoundTripExtremes() {
  BinaryStreamMemory buf;
  BinaryStream stream(buf);
  const T values[] = {std::numeric_limits<T>::min(), std::numeric_limits<T>::max(), T(0), T(1), T(-1)};
  for (T v : values) stream << v;
  ASSERT_EQ(buf.Size(), sizeof(values));
  for (T expected : values) {
    T read{};
    stream >> read;
    EXPECT_EQ(read, expected) << typeid(T).name();
  }
  EXPECT_TRUE(buf.EndOfFile());
}

}  // namespace

TEST(BinaryStream, IntegersAreFixedWidthLittleEndian) {
  BinaryStreamMemory buf;
  BinaryStream stream(buf);
  stream << std::uint8_t{0xAB} << std::int16_t{-2} << std::uint16_t{0x1234} << std::numeric_limits<std::int32_t>::min()
         << 0xDEADBEEFu << std::int64_t{-1} << std::uint64_t{0x0102030405060708} << L'\x20AC';
  EXPECT_EQ(buf.Bytes(),
            (Bytes{0xAB, 0xFE, 0xFF, 0x34, 0x12, 0x00, 0x00, 0x00, 0x80, 0xEF, 0xBE, 0xAD, 0xDE, 0xFF, 0xFF, 0xFF,
                   0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x01, 0xAC, 0x20}));

  RoundTripExtremes<char>();
  RoundTripExtremes<signed char>();
  RoundTripExtremes<unsigned char>();
  RoundTripExtremes<short>();
  RoundTripExtremes<unsigned short>();
  RoundTripExtremes<wchar_t>();
  RoundTripExtremes<int>();
  RoundTripExtremes<unsigned>();
  RoundTripExtremes<long>();
  RoundTripExtremes<unsigned long>();
  RoundTripExtremes<long long>();
  RoundTripExtremes<unsigned long long>();
}

TEST(BinaryStream, StringsRoundTripInBothForms) {
  const std::string narrow[] = {"", "AB", std::string("a\0b\0", 4), "\x7F\x80\xFF\xE9",
                                std::string(200000, 'x') + "end"};
  const std::wstring wide[] = {L"", L"A\x20AC", std::wstring(L"\0z\0", 3), L"\xD801\xDC00 \xDC00\xD800 \xFFFF",
                               std::wstring(70000, L'\x4E2D') + L"\xD83D\xDE00"};
  BinaryStreamMemory buf;
  BinaryStream stream(buf);
  for (size_t i = 0; i < std::size(narrow); ++i) {
    BinaryStream_Put(stream, narrow[i], BinaryStream::NarrowString);
    BinaryStream_Put(stream, wide[i], BinaryStream::WideString);
  }
  for (size_t i = 0; i < std::size(narrow); ++i) {
    std::string n = "stale";
    std::wstring w = L"stale";
    BinaryStream_Get(stream, n, 16);
    BinaryStream_Get(stream, w, 17);
    EXPECT_EQ(n, narrow[i]) << "row " << i;
    EXPECT_EQ(w, wide[i]) << "row " << i;
  }
  EXPECT_TRUE(buf.EndOfFile());

  BinaryStreamMemory exact;
  BinaryStream out(exact);
  BinaryStream_Put(out, std::string("AB"), 16);
  BinaryStream_Put(out, std::wstring(L"A\x20AC"), 17);
  EXPECT_EQ(exact.Bytes(), (Bytes{2, 0, 0, 0, 0x41, 0x42, 2, 0, 0, 0, 0x41, 0x00, 0xAC, 0x20}));
}

TEST(BinaryStream, ShortOrMismatchedDataThrowsAndLeavesTargetAlone) {
  struct Row {
    Bytes data;
    int form;
  };
  const Row rows[] = {
      {{2, 0, 0}, 16},                      // length itself cut short
      {{5, 0, 0, 0, 'a', 'b', 'c'}, 16},    // body shorter than its length
      {{2, 0, 0, 0, 'a', 0, 'b'}, 17},      // odd byte where a 16-bit unit should be
      {{0xFF, 0xFF, 0xFF, 0xFF, 'a'}, 16},  // corrupt length: must fail, not allocate 4 GiB
      {{0xFF, 0xFF, 0xFF, 0xFF, 'a'}, 17},
  };
  for (size_t i = 0; i < std::size(rows); ++i) {
    BinaryStreamMemory buf(rows[i].data.data(), static_cast<std::uint32_t>(rows[i].data.size()));
    BinaryStream stream(buf);
    std::string n = "kept";
    std::wstring w = L"kept";
    if (rows[i].form == 16)
      EXPECT_THROW(BinaryStream_Get(stream, n, 16), ORV::Exception) << "row " << i;
    else
      EXPECT_THROW(BinaryStream_Get(stream, w, 17), ORV::Exception) << "row " << i;
    EXPECT_EQ(n, "kept");
    EXPECT_EQ(w, L"kept");
  }

  BinaryStreamMemory buf(Bytes{1, 2, 3}.data(), 3);
  BinaryStream stream(buf);
  std::uint32_t value = 7;
  try {
    stream >> value;
    FAIL() << "a 4-byte read of 3 bytes succeeded";
  } catch (const ORV::Exception& e) {
    EXPECT_NE(e.What().find(L"cut short"), std::wstring::npos) << e.What();
  }
  EXPECT_EQ(value, 7u);

  BinaryStreamMemory empty;
  BinaryStream out(empty);
  EXPECT_THROW(BinaryStream_Put(out, std::string("x"), 17), ORV::Exception);
  EXPECT_THROW(BinaryStream_Put(out, std::wstring(L"x"), 16), ORV::Exception);
  EXPECT_EQ(empty.Size(), 0u);
}

TEST(BinaryStreamMemory, SeeksClampAndPositionsAreIndependent) {
  BinaryStreamMemory buf;
  buf.SafePut("0123456789", 10);
  struct Row {
    std::int32_t offset;
    BinaryStreamBuf::Direction direction;
    std::uint32_t expected;
  };
  const Row rows[] = {{4, BinaryStreamBuf::Begin, 4},   {-3, BinaryStreamBuf::End, 7},
                      {5, BinaryStreamBuf::End, 10},    {-20, BinaryStreamBuf::Current, 0},
                      {2, BinaryStreamBuf::Current, 2}, {-1, BinaryStreamBuf::Begin, 0}};
  for (size_t i = 0; i < std::size(rows); ++i) {
    EXPECT_EQ(buf.SeekG(rows[i].offset, rows[i].direction), rows[i].expected) << "row " << i;
    EXPECT_EQ(buf.SeekP(rows[i].offset, rows[i].direction), rows[i].expected) << "row " << i;
  }
  EXPECT_EQ(buf.Size(), 10u);  // seeking never grows

  buf.SeekG(8, BinaryStreamBuf::Begin);
  buf.SeekP(3, BinaryStreamBuf::Begin);
  buf.SafePut("ab", 2);
  char got[4] = {};
  EXPECT_EQ(buf.Get(got, 4), 2u);  // only two bytes left from 8
  EXPECT_EQ(std::string(got, 2), "89");
  buf.ClearEnd();
  EXPECT_EQ(buf.Size(), 5u);
  EXPECT_EQ(buf.TellG(), 5u);
  EXPECT_EQ(std::string(buf.Bytes().begin(), buf.Bytes().end()), "012ab");
  EXPECT_THROW(buf.SafeGet(got, 1), ORV::Exception);
  buf.ClearMemory();
  EXPECT_EQ(buf.Size() + buf.TellG() + buf.TellP(), 0u);
  EXPECT_EQ(buf.Capabilities(), BinaryStreamBuf::CanGet | BinaryStreamBuf::CanSeek);
}

TEST(BinaryStreamBuf, LookAheadIsHiddenFromCallers) {
  BinaryStreamMemory buf;
  buf.SafePut("abcdefgh", 8);
  char got[16] = {};
  EXPECT_EQ(buf.Peek(got, 3), 3u);
  EXPECT_EQ(std::string(got, 3), "abc");
  EXPECT_EQ(buf.LookAheadCount(), 3u);
  EXPECT_EQ(buf.vTellG(), 3u);
  EXPECT_EQ(buf.TellG(), 0u);
  EXPECT_EQ(buf.Get(got, 2), 2u);
  EXPECT_EQ(buf.Get(got + 2, 3), 3u);  // one byte from the store, two from the medium
  EXPECT_EQ(std::string(got, 5), "abcde");
  EXPECT_EQ(buf.Peek(got, 100), 3u);  // capped by the data, not by the request
  EXPECT_FALSE(buf.EndOfFile());      // the medium is at its end, the caller is not
  EXPECT_EQ(buf.SeekG(-1, BinaryStreamBuf::Current), 4u);
  EXPECT_EQ(buf.LookAheadCount(), 0u);

  std::string narrow;
  buf.Peek(got, 2);
  EXPECT_EQ(buf.Copy(narrow), 4u);
  EXPECT_EQ(narrow, "efgh");
  EXPECT_TRUE(buf.EndOfFile());

  // UTF-16 copies join a unit across store and medium; an odd last byte is counted and dropped.
  BinaryStreamMemory units;
  units.SafePut("A\0B\0C", 5);
  units.Peek(got, 1);
  std::wstring wide;
  EXPECT_EQ(units.Copy(wide), 5u);
  EXPECT_EQ(wide, L"AB");

  BinaryStreamMemory target;
  units.SeekG(0, BinaryStreamBuf::Begin);
  units.Peek(got, 3);
  EXPECT_EQ(units.Copy(target, 4), 4u);
  EXPECT_EQ(target.Bytes(), (Bytes{'A', 0, 'B', 0}));

  // Truncating at the put position must not leave bytes of the cut part in the store.
  units.SeekG(1, BinaryStreamBuf::Begin);
  units.SeekP(2, BinaryStreamBuf::Begin);
  units.Peek(got, 4);
  units.ClearEnd();
  EXPECT_EQ(units.Get(got, 4), 1u);
  EXPECT_TRUE(units.EndOfFile());
}

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

TEST(BinaryStreamBuf, ReadersGoOnAcrossShortPieces) {
  BinaryStreamMemory source;
  BinaryStream out(source);
  BinaryStream_Put(out, std::wstring(L"\xD801\xDC00xyz"), 17);
  out << std::uint64_t{0x1122334455667788};
  Trickle trickle(source.Bytes().data(), source.Size());
  BinaryStream in(trickle);
  std::wstring text;
  std::uint64_t value = 0;
  BinaryStream_Get(in, text, 17) >> value;
  EXPECT_EQ(text, L"\xD801\xDC00xyz");
  EXPECT_EQ(value, 0x1122334455667788u);

  trickle.SeekG(4, BinaryStreamBuf::Begin);
  std::wstring copied;
  EXPECT_EQ(trickle.Copy(copied, 10), 10u);
  EXPECT_EQ(copied, L"\xD801\xDC00xyz");
}
