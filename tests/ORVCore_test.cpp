#include "win32.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cstring>
#include <random>
#include <string>

#include "ORVDateTime.h"
#include "ORVWildCard.h"

using ORV::DateTime;
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
