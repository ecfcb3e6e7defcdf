#include "win32.h"

#include <gtest/gtest.h>

#include <string>

#include "ORVBaseException.h"
#include "ORVCharset.h"

using namespace ORV;

TEST(Charset, ConvertsByTheSetAndRefusesOtherPairs) {
  const struct {
    std::wstring wide;
    CHARSET set;
    std::string narrow;
  } fromWide[] = {
      {L"caf\x00E9\x0100", CHARSET_ISO_8859_1, "caf\xE9?"},
      {L"\x4E2D\xD83D\xDE00", CHARSET_UTF8, "\xE4\xB8\xAD\xF0\x9F\x98\x80"},
      {L"a\xD800z", CHARSET_UTF8, "a\xEF\xBF\xBDz"},  // a lone surrogate
      {std::wstring(L"a\0b", 3), CHARSET_UTF8, std::string("a\0b", 3)},
  };
  for (const auto& row : fromWide) EXPECT_EQ(ConvertFromWide(row.wide, row.set), row.narrow);
  // The ANSI code page never best-fits: a fullwidth backslash must not become a separator, nor U+0100 an "A".
  if (::GetACP() == 1252) {
    EXPECT_EQ(ConvertFromWide(L"caf\x00E9\x20AC\x0100", CHARSET_ANSI), "caf\xE9\x80?");
  }
  EXPECT_EQ(ConvertFromWide(L"a\xFF3C", CHARSET_ANSI).find('\\'), std::string::npos);
  EXPECT_EQ(ConvertToWide("\x82\x9C", static_cast<CHARSET>(437)), L"\x00E9\x00A3");
  EXPECT_EQ(ConvertToWide("\xC0\xF0", CHARSET_ISO_8859_1), L"\x00C0\x00F0");  // byte by byte, no code page
  // Not installed, or UTF-16 on the narrow side, or a pair that is not to or from UTF-16: refused even when empty.
  EXPECT_THROW(ConvertToWide("", static_cast<CHARSET>(12345)), Exception);
  EXPECT_THROW(ConvertToWide("ab", CHARSET_UTF16), Exception);
  EXPECT_THROW(ConvertToWide("ab", static_cast<CHARSET>(1252), static_cast<CHARSET>(1252)), Exception);
  EXPECT_THROW(ConvertFromWide(L"x", CHARSET_UTF8, CHARSET_UTF8), Exception);
}
