#include "win32.h"

#include "ORVCharset.h"

#include <climits>

#include "ORVBaseException.h"

namespace ORV {

namespace {

[[noreturn]] void ThrowUnsupported(CHARSET from, CHARSET to) {
  throw Exception(L"No conversion from character set " + std::to_wstring(from) + L" to " + std::to_wstring(to) + L".");
}

std::wstring Latin1ToWide(const std::string& text) {
  std::wstring result(text.size(), L'\0');
  for (std::size_t i = 0; i < text.size(); ++i) result[i] = static_cast<unsigned char>(text[i]);
  return result;
}

std::wstring CodePageToWide(const std::string& text, unsigned int codePage, CHARSET from) {
  if (text.empty()) return std::wstring();
  if (text.size() > static_cast<std::size_t>(INT_MAX)) ThrowUnsupported(from, CHARSET_UTF16);
  const int length = static_cast<int>(text.size());
  // Never more units than bytes in these sets.
  std::wstring result(text.size(), L'\0');
  const int units = ::MultiByteToWideChar(codePage, 0, text.data(), length, result.data(), length);
  if (units <= 0) ThrowUnsupported(from, CHARSET_UTF16);
  result.resize(static_cast<std::size_t>(units));
  return result;
}

}  // namespace

std::wstring ConvertToWide(const std::string& text, CHARSET from, CHARSET to) {
  if (to != CHARSET_UTF16) ThrowUnsupported(from, to);
  switch (from) {
    case CHARSET_ISO_8859_1:
      return Latin1ToWide(text);
    case CHARSET_UTF8:
      return CodePageToWide(text, CP_UTF8, from);
    case CHARSET_ANSI:
      return CodePageToWide(text, CP_ACP, from);
    default:
      ThrowUnsupported(from, to);
  }
}

}  // namespace ORV
