#include <gtest/gtest.h>

#include <iterator>
#include <random>
#include <string>

#include "ORVToLower.h"
#include "ORVWNoCase.h"

TEST(ToLower, FoldsUnitByUnitAsWindowsDoesAndAsciiOnlyWhenAsked) {
  EXPECT_EQ(ORV::ToLower(std::string("C:\\Dir\\NAME.TXT 09_[]@`{")), "c:\\dir\\name.txt 09_[]@`{");
  // E acute, Greek delta, Cyrillic zhe; sharp s has no single lower unit; a surrogate pair is not folded as a pair.
  EXPECT_EQ(ORV::ToLower(std::wstring(L"AZ\x00C9\x0394\x0416\x00DF\xD801\xDC00")),
            L"az\x00E9\x03B4\x0436\x00DF\xD801\xDC00");
  for (int c = 0; c < 256; ++c)
    EXPECT_EQ(ORV::AsciiToLower(static_cast<unsigned char>(c)), c >= 'A' && c <= 'Z' ? c + 32 : c) << c;
}

// The order must be the plain comparison of the folded texts ("_" < "a" <
// "AB" < "b"), or a map would lose entries or find the wrong ones. An
// upper-case fold would put "_" after "A".
TEST(WNoCase, AgreesWithComparingFoldedTexts) {
  const wchar_t units[] = {L'a', L'A', L'b', L'B', L'_', L'[', L'\x00C9', L'\x00E9', L'\x0394', L'\x03B4', L'\x00FF'};
  std::mt19937 random(5);
  const auto text = [&] {
    std::wstring result;
    for (int n = random() % 5; n > 0; --n) result += units[random() % std::size(units)];
    return result;
  };
  for (int i = 0; i < 20000; ++i) {
    const std::wstring left = text(), right = text();
    ASSERT_EQ(ORV::WNoCase()(left, right), ORV::ToLower(left) < ORV::ToLower(right))
        << ::testing::PrintToString(left) << " " << ::testing::PrintToString(right);
  }
}
