// Character sets and conversion of text between them.
//
// A CHARSET value is a Windows code-page number. CHARSET_UTF16 (1201) names
// the family's 16-bit form: UTF-16 code units held in a std::wstring in the
// machine's own order, whatever order the number meant elsewhere. Byte sets
// convert to it unit by unit:
//   CHARSET_ISO_8859_1  each byte is the unit of the same value ("\xE9" -> U+00E9), done here, exactly
//   CHARSET_UTF8        by MultiByteToWideChar; an invalid sequence becomes U+FFFD
//   CHARSET_ANSI        the process's ANSI code page, by MultiByteToWideChar
// Any other pair throws ORV::Exception naming the two values. The functions
// keep no state: call them from any thread.
#pragma once

#include <string>

#include "ORVCharsetDefs.h"

namespace ORV {

enum CHARSET : unsigned int {
  CHARSET_ANSI = 0,
  CHARSET_UTF16 = 1201,
  CHARSET_ISO_8859_1 = 28591,
  CHARSET_UTF8 = 65001,
};

/// text, in the byte set from, as the 16-bit form; to must be CHARSET_UTF16.
ORV_CHARSET_API std::wstring ConvertToWide(const std::string& text, CHARSET from, CHARSET to = CHARSET_UTF16);

}  // namespace ORV
