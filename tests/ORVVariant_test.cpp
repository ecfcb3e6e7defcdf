#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>
#include <string>
#include <utility>

#include "ORVVariant.h"

using ORV::DateTime;
using ORV::Variant;
using ORV::VariantTraits;
using ORV::VariantType;

TEST(Variant, EachTypeHasItsTraitsAndAnswersEveryAccessor) {
  const struct Row {
    Variant value;
    const VariantTraits* traits;
    unsigned type;
    long asLong;
    unsigned long asULong;
    double asDouble;
    const char* asString;
  } rows[] = {
      {Variant(), nullptr, 0, 0, 0, 0.0, ""},
      {Variant(true), &ORV::g_VariantTraitsBoolType, 1, 1, 1, 1.0, "1"},
      {Variant(static_cast<char>(-5)), &ORV::g_VariantTraitsCharType, 2, -5, 0xFFFFFFFB, -5.0, "-5"},
      {Variant(static_cast<short>(-30000)), &ORV::g_VariantTraitsShortType, 3, -30000, 0xFFFF8AD0, -30000.0, "-30000"},
      {Variant(INT_MIN), &ORV::g_VariantTraitsIntType, 4, INT_MIN, 0x80000000, INT_MIN, "-2147483648"},
      {Variant(-1L), &ORV::g_VariantTraitsLongType, 5, -1, 0xFFFFFFFF, -1.0, "-1"},
      {Variant(0.1f), &ORV::g_VariantTraitsFloatType, 6, 0, 0, static_cast<double>(0.1f), "0.1"},
      {Variant(-2.75), &ORV::g_VariantTraitsDoubleType, 7, -2, 0, -2.75, "-2.75"},
      {Variant(static_cast<unsigned char>(200)), &ORV::g_VariantTraitsUCharType, 8, 200, 200, 200.0, "200"},
      {Variant(static_cast<unsigned short>(65535)), &ORV::g_VariantTraitsUShortType, 9, 65535, 65535, 65535.0, "65535"},
      {Variant(3000000000u), &ORV::g_VariantTraitsUIntType, 10, -1294967296, 3000000000, 3e9, "3000000000"},
      {Variant(4294967295ul), &ORV::g_VariantTraitsULongType, 11, -1, 0xFFFFFFFF, 4294967295.0, "4294967295"},
      {Variant("-12abc"), &ORV::g_VariantTraitsCharPType, 12, -12, 0xFFFFFFF4, -12.0, "-12abc"},
      {Variant(L"1.5e3\x20AC"), &ORV::g_VariantTraitsWCharPType, 13, 1, 1, 1500.0, "1.5e3?"},
      {Variant(DateTime(5000000000)), &ORV::g_VariantTraitsDateTimeType, 14, 705032704, 705032704, 5e9, "5000000000"},
      {Variant(std::string("4294967295")), &ORV::g_VariantTraitsStringType, 15, -1, 0xFFFFFFFF, 4294967295.0,
       "4294967295"},
      {Variant(std::wstring(L" 12")), &ORV::g_VariantTraitsWStringType, 16, 0, 0, 0.0, " 12"},
      // Reals are held to the range of the integer asked for; text out of range reads as 0.
      {Variant(1e300), &ORV::g_VariantTraitsDoubleType, 7, LONG_MAX, ULONG_MAX, 1e300, "1e+300"},
      {Variant(-1e300), &ORV::g_VariantTraitsDoubleType, 7, LONG_MIN, 0, -1e300, "-1e+300"},
      {Variant(std::numeric_limits<double>::quiet_NaN()), &ORV::g_VariantTraitsDoubleType, 7, 0, 0, NAN, "nan"},
      {Variant(std::string("99999999999999999999")), &ORV::g_VariantTraitsStringType, 15, 0, 0, 1e20,
       "99999999999999999999"},
      {Variant(std::string("+7")), &ORV::g_VariantTraitsStringType, 15, 0, 0, 0.0, "+7"},
  };
  for (size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE(i);
    const Row& r = rows[i];
    EXPECT_EQ(r.value.Traits(), r.traits);
    EXPECT_EQ(r.value.IsEmpty(), r.traits == nullptr);
    EXPECT_EQ(static_cast<unsigned>(r.value.Type()), r.type);
    EXPECT_EQ(r.traits ? static_cast<unsigned>(r.traits->Type()) : 0u, r.type);
    EXPECT_EQ(r.value.AsLong(), r.asLong);
    EXPECT_EQ(r.value.AsULong(), r.asULong);
    EXPECT_TRUE(r.value.AsDouble() == r.asDouble || (std::isnan(r.asDouble) && std::isnan(r.value.AsDouble())));
    EXPECT_EQ(r.value.AsString(), r.asString);
    const std::string narrow = r.asString;
    EXPECT_EQ(r.value.AsWString(), r.type == 13 || r.type == 16 ? std::wstring(r.value.AsWCharP())
                                                                : std::wstring(narrow.begin(), narrow.end()));
  }
  // Times are 64-bit: nothing is cut to 32 bits on the way.
  EXPECT_EQ(Variant(DateTime(5000000000)).AsDateTime(), DateTime(5000000000));
  EXPECT_EQ(Variant(4294967295ul).AsDateTime(), DateTime(4294967295));
  EXPECT_EQ(Variant(std::string("-5000000000")).AsDateTime(), DateTime(-5000000000));
  EXPECT_EQ(Variant(1e300).AsDateTime(), DateTime(LLONG_MAX));
  EXPECT_EQ(Variant(-0.9).AsDateTime(), DateTime(0));  // truncated toward zero
  EXPECT_EQ(Variant().AsDateTime(), DateTime(0));
  EXPECT_EQ(Variant(L"\x00E9\x0100").AsString(), std::string("\xE9?"));  // one byte per unit
  EXPECT_EQ(Variant("\xE9").AsWString(), std::wstring(L"\x00E9"));
}

TEST(Variant, OwnsItsTextAndCopiesMovesAndAssignmentsKeepTypeAndValue) {
  char buffer[] = "report";
  const Variant narrow(buffer), wide(L"report");
  std::strcpy(buffer, "XXXXXX");
  EXPECT_STREQ(narrow.AsCharP(), "report");
  EXPECT_STREQ(Variant(static_cast<const char*>(nullptr)).AsCharP(), "");
  EXPECT_TRUE(narrow.AsWCharP() == nullptr && wide.AsCharP() == nullptr && Variant(1).AsCharP() == nullptr);
  EXPECT_STREQ(Variant(std::wstring(L"w")).AsWCharP(), L"w");

  Variant copy(narrow);
  EXPECT_NE(copy.AsCharP(), narrow.AsCharP());  // its own text, not a shared pointer
  Variant assigned(1.5);
  assigned = copy;
  assigned = *&assigned;  // self-assignment, spelt so that Clang does not warn
  EXPECT_EQ(assigned, narrow);
  Variant moved(std::move(copy));
  EXPECT_TRUE(copy.IsEmpty() && moved == narrow);
  copy = std::move(moved);
  EXPECT_TRUE(moved.IsEmpty() && copy == narrow);

  // Equal means same type and same value.
  EXPECT_NE(Variant(1.0f), Variant(1.0));
  EXPECT_NE(Variant(1), Variant(1L));
  EXPECT_NE(Variant("a"), Variant(std::string("a")));
  EXPECT_NE(Variant(0), Variant());
  EXPECT_EQ(Variant(), Variant());
}
