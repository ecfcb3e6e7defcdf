#include <gtest/gtest.h>

#include <string>

#include "ORVToLower.h"

using ORV::ToLower;

TEST(ToLower, FoldsUnitByUnitAsWindowsDoes) {
  EXPECT_EQ(ToLower(std::string("C:\\Dir\\NAME.TXT 09_[]")), "c:\\dir\\name.txt 09_[]");
  EXPECT_EQ(ToLower(std::wstring(L"C:\\Dir\\NAME.TXT")), L"c:\\dir\\name.txt");
  EXPECT_EQ(ToLower(L'\x00C9'), L'\x00E9');                            // E acute
  EXPECT_EQ(ToLower(L'\x0394'), L'\x03B4');                            // Greek delta
  EXPECT_EQ(ToLower(L'\x0416'), L'\x0436');                            // Cyrillic zhe
  EXPECT_EQ(ToLower(L'\x00DF'), L'\x00DF');                            // sharp s has no single lower unit
  EXPECT_EQ(ToLower(std::wstring(L"\xD801\xDC00")), L"\xD801\xDC00");  // a surrogate pair is not folded as a pair
  EXPECT_EQ(ToLower('A'), 'a');
  EXPECT_EQ(ToLower('['), '[');
  EXPECT_EQ(ToLower(std::string()), "");

  const std::wstring mixed = L"ABC\x00C0\x0391xyz";
  std::wstring unitByUnit;
  for (wchar_t c : mixed) unitByUnit += ToLower(c);
  EXPECT_EQ(ToLower(mixed), unitByUnit);
}
