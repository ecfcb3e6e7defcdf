#include "win32.h"

#include <gtest/gtest.h>

#include <string>

#include "ORVBaseException.h"
#include "ORVCharset.h"

namespace {

using ORV::CHARSET;
using ORV::ConvertFromWide;
using ORV::ConvertToWide;

TEST(Charset, ConvertFromWideByTargetSet) {
  struct Row {
    std::wstring text;
    CHARSET to;
    std::string expected;
  };
  const Row rows[] = {
      {L"", ORV::CHARSET_UTF8, ""},
      {L"C:\\dir\\a.txt", ORV::CHARSET_ANSI, "C:\\dir\\a.txt"},
      {L"caf\x00E9", ORV::CHARSET_ISO_8859_1, "caf\xE9"},
      {L"\x0100\x4E2D", ORV::CHARSET_ISO_8859_1, "??"},
      {L"caf\x00E9", ORV::CHARSET_UTF8, "caf\xC3\xA9"},
      {L"\x4E2D\xD83D\xDE00", ORV::CHARSET_UTF8, "\xE4\xB8\xAD\xF0\x9F\x98\x80"},
      {L"a\xD800z", ORV::CHARSET_UTF8, "a\xEF\xBF\xBDz"},  // a lone surrogate
      {std::wstring(L"a\0b", 3), ORV::CHARSET_UTF8, std::string("a\0b", 3)},
  };
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE(::testing::Message() << "row " << i);
    EXPECT_EQ(ConvertFromWide(rows[i].text, rows[i].to), rows[i].expected);
  }
}

TEST(Charset, AnsiCodePageNeverBestFits) {
  // Rows for Western code page 1252, the default of an English Windows and of Wine here.
  if (::GetACP() == 1252) {
    EXPECT_EQ(ConvertFromWide(L"caf\x00E9\x20AC", ORV::CHARSET_ANSI), "caf\xE9\x80");
    EXPECT_EQ(ConvertFromWide(L"\x4E2D", ORV::CHARSET_ANSI), "?");
    EXPECT_EQ(ConvertFromWide(L"\x0100", ORV::CHARSET_ANSI), "?");  // best fit would give "A"
  }
  // A fullwidth backslash must not become a separator, whatever the code page.
  EXPECT_EQ(ConvertFromWide(L"a\xFF3C"
                            L"b",
                            ORV::CHARSET_ANSI)
                .find('\\'),
            std::string::npos);
  const std::wstring ascii = L"\\\\server\\share\\~x y.z";
  EXPECT_EQ(ConvertToWide(ConvertFromWide(ascii, ORV::CHARSET_ANSI), ORV::CHARSET_ANSI), ascii);
}

TEST(Charset, ConvertToWideFromInstalledCodePages) {
  struct Row {
    std::string text;
    unsigned int codePage;
    std::wstring expected;
  };
  const Row rows[] = {
      {"\x80 \xE9", 1252, L"\x20AC \x00E9"},
      {"\x82\x9C", 437, L"\x00E9\x00A3"},
      {"\xC0\xF0", 1251, L"\x0410\x0440"},
      {"", 850, L""},
  };
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE(::testing::Message() << "row " << i);
    EXPECT_EQ(ConvertToWide(rows[i].text, static_cast<CHARSET>(rows[i].codePage)), rows[i].expected);
  }
  // Not installed, or UTF-16, which MultiByteToWideChar does not take: refused even when empty.
  EXPECT_THROW(ConvertToWide("", static_cast<CHARSET>(12345)), ORV::Exception);
  EXPECT_THROW(ConvertToWide("ab", ORV::CHARSET_UTF16), ORV::Exception);
  EXPECT_THROW(ConvertToWide("ab", static_cast<CHARSET>(1252), static_cast<CHARSET>(1252)), ORV::Exception);
}

TEST(Charset, RefusesOtherPairs) {
  EXPECT_THROW(ConvertFromWide(L"x", ORV::CHARSET_UTF16), ORV::Exception);
  EXPECT_THROW(ConvertFromWide(L"x", ORV::CHARSET_UTF8, ORV::CHARSET_UTF8), ORV::Exception);
  EXPECT_THROW(ConvertFromWide(L"x", static_cast<CHARSET>(437)), ORV::Exception);
}

}  // namespace
