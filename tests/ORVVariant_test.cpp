#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <utility>

#include "ORVVariant.h"

using ORV::DateTime;
using ORV::Variant;

// One row per conversion rule; the type number is the tag a stream writes.
TEST(Variant, EachTypeAnswersEveryAccessor) {
  const struct Row {
    Variant value;
    unsigned type;
    long asLong;
    unsigned long asULong;
    double asDouble;
    const char* asString;
  } rows[] = {
      {Variant(), 0, 0, 0, 0.0, ""},
      {Variant(true), 1, 1, 1, 1.0, "1"},
      {Variant(static_cast<char>(-5)), 2, -5, 0xFFFFFFFB, -5.0, "-5"},
      {Variant(static_cast<short>(-30000)), 3, -30000, 0xFFFF8AD0, -30000.0, "-30000"},
      {Variant(INT_MIN), 4, INT_MIN, 0x80000000, INT_MIN, "-2147483648"},
      {Variant(-1L), 5, -1, 0xFFFFFFFF, -1.0, "-1"},
      {Variant(0.1f), 6, 0, 0, static_cast<double>(0.1f), "0.1"},
      {Variant(-2.75), 7, -2, 0, -2.75, "-2.75"},
      {Variant(static_cast<unsigned char>(200)), 8, 200, 200, 200.0, "200"},
      {Variant(static_cast<unsigned short>(65535)), 9, 65535, 65535, 65535.0, "65535"},
      {Variant(3000000000u), 10, -1294967296, 3000000000, 3e9, "3000000000"},
      {Variant(4294967295ul), 11, -1, 0xFFFFFFFF, 4294967295.0, "4294967295"},
      {Variant("-12abc"), 12, -12, 0xFFFFFFF4, -12.0, "-12abc"},
      {Variant(L"1.5e3\x20AC"), 13, 1, 1, 1500.0, "1.5e3?"},
      {Variant(DateTime(5000000000)), 14, 705032704, 705032704, 5e9, "5000000000"},
      {Variant(std::string("+7")), 15, 0, 0, 0.0, "+7"},
      {Variant(std::wstring(L" 12")), 16, 0, 0, 0.0, " 12"},
      // Reals are held to the range of the integer asked for; text out of range reads as 0.
      {Variant(-1e300), 7, LONG_MIN, 0, -1e300, "-1e+300"},
      {Variant(std::numeric_limits<double>::quiet_NaN()), 7, 0, 0, NAN, "nan"},
      {Variant(std::string("99999999999999999999")), 15, 0, 0, 1e20, "99999999999999999999"},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.asString);
    EXPECT_EQ(static_cast<unsigned>(r.value.Type()), r.type);
    EXPECT_TRUE(r.value.AsLong() == r.asLong && r.value.AsULong() == r.asULong);
    EXPECT_TRUE(r.value.AsDouble() == r.asDouble || (std::isnan(r.asDouble) && std::isnan(r.value.AsDouble())));
    EXPECT_EQ(r.value.AsString(), r.asString);
  }
  // Times are 64-bit: nothing is cut to 32 bits on the way.
  EXPECT_EQ(Variant(std::string("-5000000000")).AsDateTime(), DateTime(-5000000000));
  EXPECT_EQ(Variant(1e300).AsDateTime(), DateTime(LLONG_MAX));
  EXPECT_EQ(Variant(-0.9).AsDateTime(), DateTime(0));               // truncated toward zero
  EXPECT_EQ(Variant("\xE9").AsWString(), std::wstring(L"\x00E9"));  // one unit per byte
}

TEST(Variant, OwnsItsTextAndCopiesMovesAndAssignmentsKeepTypeAndValue) {
  char buffer[] = "report";
  const Variant narrow(buffer);
  std::strcpy(buffer, "XXXXXX");
  EXPECT_STREQ(narrow.AsCharP(), "report");
  EXPECT_TRUE(narrow.AsWCharP() == nullptr && Variant(1).AsCharP() == nullptr);
  Variant copy(narrow), assigned(1.5);
  EXPECT_NE(copy.AsCharP(), narrow.AsCharP()) << "its own text, not a shared pointer";
  assigned = copy;
  assigned = *&assigned;  // self-assignment, spelt so that Clang does not warn
  Variant moved(std::move(copy));
  EXPECT_TRUE(assigned == narrow && copy.IsEmpty() && moved == narrow);
  // Equal means same type and same value.
  EXPECT_TRUE(Variant(1.0f) != Variant(1.0) && Variant(1) != Variant(1L) && Variant("a") != Variant(std::string("a")));
  EXPECT_TRUE(Variant(0) != Variant() && Variant() == Variant());
}
