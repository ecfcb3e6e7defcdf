#include "win32.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <tuple>
#include <utility>

#include "ORVDateTime.h"
#include "ORVVariant.h"
#include "ORVWildCard.h"

using ORV::DateTime;
using ORV::Variant;
using Fields = std::array<int, 6>;  // year, month from 0, day, hour, minute, second

namespace {

Fields FieldsOf(DateTime t) { return {t.Year(), t.Month(), t.Day(), t.Hour(), t.Minute(), t.Second()}; }
DateTime FromFields(const Fields& f) { return DateTime(f[0], f[1], f[2], f[3], f[4], f[5]); }

// Plain recursion over the definition: exponential, but plainly right.
bool Reference(const char* p, const char* t) {
  if (*p == '*') return Reference(p + 1, t) || (*t && Reference(p, t + 1));
  return *p ? *t && (*p == '?' || *p == *t) && Reference(p + 1, t + 1) : !*t;
}

}  // namespace

TEST(DateTime, AgreesWithTheSystemCalendarAndCarriesFieldsOver) {
  std::mt19937_64 random(20261122);
  std::uniform_int_distribution<long long> systemYears(-11644473600, 900000000000);  // 1601 to 30490
  std::uniform_int_distribution<long long> intYears(-60000000000000000, 60000000000000000);
  for (int i = 0; i < 4000; ++i) {
    const long long unix = systemYears(random);
    const unsigned long long ticks = ORV::UnixTimeToFileTime(unix) + random() % 10000000;  // part of a second
    const FILETIME ft{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
    SYSTEMTIME st{};
    ASSERT_TRUE(::FileTimeToSystemTime(&ft, &st)) << unix;
    EXPECT_EQ(FieldsOf(DateTime(unix)), (Fields{st.wYear, st.wMonth - 1, st.wDay, st.wHour, st.wMinute, st.wSecond}));
    EXPECT_EQ(ORV::FileTimeToUnixTime(ft.dwLowDateTime, ft.dwHighDateTime), unix) << "whole seconds, rounded down";
    const DateTime distant(intYears(random));  // negative years too
    const Fields f = FieldsOf(distant);
    EXPECT_EQ(FromFields(f), distant) << distant.UnixTime();
    // Fields carry over: 12 k months on is k years later; k days, hours, minutes and seconds on, k * 90061 seconds.
    const int k = static_cast<int>(random() % 2001) - 1000;
    EXPECT_EQ(FromFields({f[0] - k, f[1] + 12 * k, f[2] + k, f[3] + k, f[4] + k, f[5] + k}).UnixTime(),
              distant.UnixTime() + k * 90061LL);
  }
  // Outside what a FILETIME holds the conversion saturates at whole seconds.
  EXPECT_EQ(ORV::UnixTimeToFileTime(-11644473601), 0u);
  EXPECT_EQ(ORV::UnixTimeToFileTime(LLONG_MAX), ~0ULL / 10000000 * 10000000);

  // No overflow at the ends of either range (the checked build traps on one).
  EXPECT_LT(FromFields(Fields{INT_MIN, INT_MIN, INT_MIN, INT_MIN, INT_MIN, INT_MIN}),
            FromFields(Fields{1, 1, 1, 1, 1, 1}));
  EXPECT_TRUE(FieldsOf(DateTime(LLONG_MAX))[1] <= 11 && FieldsOf(DateTime(LLONG_MIN))[2] >= 1);
}

TEST(WildCard, MatchesAsDirDoesInBothWidths) {
  // A reference with one rule more: a pattern ending in ".*" also matches what its part before matches.
  std::mt19937 random(7);
  const auto randomString = [&random](const char* alphabet, int maxLength) {
    std::string s(std::uniform_int_distribution<int>(0, maxLength)(random), ' ');
    for (char& c : s) c = alphabet[std::uniform_int_distribution<size_t>(0, std::strlen(alphabet) - 1)(random)];
    return s;
  };
  for (int i = 0; i < 5000; ++i) {
    const std::string pattern = randomString("ab.*?", 8), text = randomString("abB.", 9);
    const bool dotStar = pattern.size() >= 2 && pattern.compare(pattern.size() - 2, 2, ".*") == 0;
    const bool expected = Reference(pattern.c_str(), text.c_str()) ||
                          (dotStar && Reference(pattern.substr(0, pattern.size() - 2).c_str(), text.c_str()));
    ASSERT_EQ(ORV::WildCard(pattern).Match(text), expected) << '"' << pattern << "\" \"" << text << '"';
    const std::wstring widePattern(pattern.begin(), pattern.end()), wideText(text.begin(), text.end());
    ASSERT_EQ(ORV::WildCardW(widePattern).Match(wideText), expected) << '"' << pattern << "\" \"" << text << '"';
  }
  // Many stars over a long near-miss: exponential backtracking would never end.
  const ORV::WildCard stars("*a*a*a*a*a*a*a*a*a*a*a*a*b");
  EXPECT_FALSE(stars.Match(std::string(5000, 'a')));
  EXPECT_TRUE(stars.Match(std::string(5000, 'a') + "b"));
}

// One row per conversion rule; the type number is the tag a stream writes.
TEST(Variant, EachTypeAnswersEveryAccessor) {
  const std::tuple<Variant, unsigned, long, unsigned long, double, const char*> rows[] = {
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
  for (const auto& [value, type, asLong, asULong, asDouble, asString] : rows) {
    EXPECT_EQ(std::make_tuple(static_cast<unsigned>(value.Type()), value.AsLong(), value.AsULong(), value.AsString()),
              std::make_tuple(type, asLong, asULong, std::string(asString)));
    EXPECT_TRUE(value.AsDouble() == asDouble || (std::isnan(asDouble) && std::isnan(value.AsDouble()))) << asString;
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
  assigned = *&(assigned = copy);  // self-assignment, spelt so that Clang does not warn
  Variant moved(std::move(copy));
  EXPECT_TRUE(assigned == narrow && copy.IsEmpty() && moved == narrow);
  // Equal means same type and same value.
  EXPECT_TRUE(Variant(1.0f) != Variant(1.0) && Variant(1) != Variant(1L) && Variant("a") != Variant(std::string("a")) &&
              Variant(0) != Variant() && Variant() == Variant());
}
