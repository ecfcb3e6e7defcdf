#include <gtest/gtest.h>

#include <string>

#include "ORVToLower.h"

TEST(ToLower, FoldsUnitByUnitAsWindowsDoesAndAsciiOnlyWhenAsked) {
  EXPECT_EQ(ORV::ToLower(std::string("C:\\Dir\\NAME.TXT 09_[]@`{")), "c:\\dir\\name.txt 09_[]@`{");
  // E acute, Greek delta, Cyrillic zhe; sharp s has no single lower unit; a surrogate pair is not folded as a pair.
  EXPECT_EQ(ORV::ToLower(std::wstring(L"AZ\x00C9\x0394\x0416\x00DF\xD801\xDC00")),
            L"az\x00E9\x03B4\x0436\x00DF\xD801\xDC00");
  for (int c = 0; c < 256; ++c)
    EXPECT_EQ(ORV::AsciiToLower(static_cast<unsigned char>(c)), c >= 'A' && c <= 'Z' ? c + 32 : c) << c;
}
