#include <gtest/gtest.h>

#include <cstdint>
#include <iterator>
#include <string>
#include <vector>

#include "ORVBaseException.h"
#include "ORVBinaryStreamMemory.h"
#include "ORVFileTestSupport.h"
#include "ORVVariantStream.h"

using ORV::BinaryStream;
using ORV::BinaryStreamMemory;
using ORV::DateTime;
using ORV::Variant;
using Bytes = std::vector<unsigned char>;

namespace {

Bytes Written(const Variant& value) {
  BinaryStreamMemory buf;
  BinaryStream stream(buf);
  stream << value;
  return buf.Bytes();
}

}  // namespace

// Each type's tag and fixed form, read back through the look-ahead store into
// a variant of another type. An unknown tag is consumed alone and read as
// nothing; data cut short throws the base library's exception. Either way the
// target keeps its value.
TEST(VariantStream, EachTypeHasItsTagAndFixedFormAndRoundTrips) {
  const Variant stale(std::wstring(L"stale"));
  const struct Row {
    Variant value;  // empty: bytes read only
    Bytes bytes;
    Variant back;  // what reading gives, when not the value itself
  } rows[] = {
      {Variant(true), {1, 1}, {}},
      {Variant(static_cast<char>(-2)), {2, 0xFE}, {}},
      {Variant(static_cast<short>(-2)), {3, 0xFE, 0xFF}, {}},
      {Variant(0x12345678), {4, 0x78, 0x56, 0x34, 0x12}, {}},
      {Variant(-2L), {5, 0xFE, 0xFF, 0xFF, 0xFF}, {}},
      {Variant(1.5f), {6, 0x00, 0x00, 0xC0, 0x3F}, {}},
      {Variant(1.5), {7, 0, 0, 0, 0, 0, 0, 0xF8, 0x3F}, {}},
      {Variant(static_cast<unsigned char>(0xAB)), {8, 0xAB}, {}},
      {Variant(static_cast<unsigned short>(0xABCD)), {9, 0xCD, 0xAB}, {}},
      {Variant(0xDEADBEEFu), {10, 0xEF, 0xBE, 0xAD, 0xDE}, {}},
      {Variant(0xFFFFFFFFul), {11, 0xFF, 0xFF, 0xFF, 0xFF}, {}},
      {Variant("AB"), {12, 2, 0, 0, 0, 'A', 'B'}, {}},
      {Variant(L"A\x20AC"), {13, 2, 0, 0, 0, 'A', 0, 0xAC, 0x20}, {}},
      {Variant(DateTime(-1)), {14, 0xFF, 0xFF, 0xFF, 0xFF}, {}},
      {Variant(std::string("x\0y", 3)), {15, 3, 0, 0, 0, 'x', 0, 'y'}, {}},
      {Variant(std::wstring(L"")), {16, 0, 0, 0, 0}, {}},
      // Only the low 32 bits of a time are stored.
      {Variant(DateTime(5000000000)), {14, 0x00, 0xF2, 0x05, 0x2A}, Variant(DateTime(705032704))},
      {Variant(), {0}, stale},
      {Variant(), {17}, stale},
      {Variant(), {0x7F}, stale},
      {Variant(), {0x80}, stale},
      {Variant(), {0xFF}, stale},
      {Variant(), {}, stale},
      {Variant(), {5, 1, 2}, stale},
      {Variant(), {7, 1, 2, 3, 4, 5, 6, 7}, stale},
      {Variant(), {12, 3, 0, 0, 0, 'a'}, stale},
      {Variant(), {16, 1, 0, 0, 0, 'a'}, stale},
  };
  for (size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE(i);
    const Row& r = rows[i];
    EXPECT_EQ(r.value.IsEmpty() ? r.bytes : Written(r.value), r.bytes);
    BinaryStreamMemory buf(r.bytes.data(), static_cast<std::uint32_t>(r.bytes.size()));
    BinaryStream stream(buf);
    unsigned char ahead[3];
    buf.Peek(ahead, 3);  // reading goes through the look-ahead store
    Variant read(stale);
    const std::string raised = orvtest::Catch([&] { stream >> read; }).type;
    EXPECT_EQ(raised, r.value.IsEmpty() && r.bytes.size() != 1 ? "ORV::Exception" : "");
    EXPECT_EQ(read, r.back.IsEmpty() ? r.value : r.back);
    EXPECT_TRUE(buf.EndOfFile());
  }
  EXPECT_EQ(Written(Variant()), Bytes{0});
  EXPECT_EQ(Written(Variant(false)), (Bytes{1, 0}));
}
