/// \file
/// Character sets and conversion of text between them.
///
/// A CHARSET value is a Windows code-page number. CHARSET_UTF16 (1201) names
/// the family's 16-bit form: UTF-16 code units held in a std::wstring in the
/// machine's own order, whatever order the number meant elsewhere. Byte sets
/// convert to it unit by unit:
/// \code
///   CHARSET_ISO_8859_1  each byte is the unit of the same value ("\xE9" -> U+00E9), done here, exactly
///   CHARSET_UTF8        by MultiByteToWideChar; an invalid sequence becomes U+FFFD
///   CHARSET_ANSI        the process's ANSI code page, by MultiByteToWideChar
///   any other value     a code page the system has installed (IsValidCodePage), by
///                       MultiByteToWideChar: "\x80" in 1252 is U+20AC, "\x82" in 437 U+00E9
/// \endcode
/// Anything else (a target other than CHARSET_UTF16, a code page not installed)
/// throws ORV::Exception naming the two values. The functions
/// keep no state: call them from any thread.
///
/// ConvertFromWide goes the other way, from the 16-bit form to a byte set:
/// \code
///   CHARSET_ISO_8859_1  each unit up to U+00FF becomes the byte of that value, any other unit "?"
///   CHARSET_UTF8        by WideCharToMultiByte; a lone surrogate becomes U+FFFD (EF BF BD)
///   CHARSET_ANSI        by WideCharToMultiByte; a character the code page lacks becomes
///                       its default character ("?" in the Windows code pages), never a
///                       best-fit look-alike: U+FF3C (fullwidth backslash) must not turn
///                       into a path separator
/// \endcode
#pragma once

#include <string>

#include "ORVCharsetDefs.h"

namespace ORV {

/// A character set: a Windows code-page number, or one of these.
enum CHARSET : unsigned int {
  CHARSET_ANSI = 0,            ///< the process's ANSI code page
  CHARSET_UTF16 = 1201,        ///< the 16-bit form: UTF-16 in std::wstring, machine order
  CHARSET_ISO_8859_1 = 28591,  ///< Latin-1: byte and unit of the same value
  CHARSET_UTF8 = 65001,        ///< UTF-8
};

/// text, in the byte set from, as the 16-bit form; to must be CHARSET_UTF16.
ORV_CHARSET_API std::wstring ConvertToWide(const std::string& text, CHARSET from, CHARSET to = CHARSET_UTF16);
/// text, in the 16-bit form, as the byte set to; from must be CHARSET_UTF16.
ORV_CHARSET_API std::string ConvertFromWide(const std::wstring& text, CHARSET to, CHARSET from = CHARSET_UTF16);

}  // namespace ORV
