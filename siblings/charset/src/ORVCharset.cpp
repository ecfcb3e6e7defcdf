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

// 1201 is refused although it names a code page: to Windows it is UTF-16
// big-endian, which MultiByteToWideChar does not convert.
bool IsInstalledCodePageWrp(CHARSET set) { return set != CHARSET_UTF16 && ::IsValidCodePage(set); }

std::string WideToLatin1(const std::wstring& text) {
  std::string result(text.size(), '\0');
  for (std::size_t i = 0; i < text.size(); ++i) result[i] = text[i] <= 0xFF ? static_cast<char>(text[i]) : '?';
  return result;
}

// UTF-8 takes no flags, also when it is the ANSI code page; the others are
// kept from best-fit look-alikes.
DWORD NoBestFitFlags(unsigned int codePage) {
  return codePage == CP_UTF8 || ::GetACP() == CP_UTF8 ? 0 : WC_NO_BEST_FIT_CHARS;
}

// Measured first, then converted: a unit may take up to three bytes.
std::string WideToCodePage(const std::wstring& text, unsigned int codePage, CHARSET to) {
  if (text.empty()) return std::string();
  const DWORD flags = NoBestFitFlags(codePage);
  if (text.size() > static_cast<std::size_t>(INT_MAX)) ThrowUnsupported(CHARSET_UTF16, to);
  const int length = static_cast<int>(text.size());
  const int bytes = ::WideCharToMultiByte(codePage, flags, text.data(), length, nullptr, 0, nullptr, nullptr);
  if (bytes <= 0) ThrowUnsupported(CHARSET_UTF16, to);
  std::string result(static_cast<std::size_t>(bytes), '\0');
  if (::WideCharToMultiByte(codePage, flags, text.data(), length, result.data(), bytes, nullptr, nullptr) != bytes)
    ThrowUnsupported(CHARSET_UTF16, to);
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
      if (!IsInstalledCodePageWrp(from)) ThrowUnsupported(from, to);
      return CodePageToWide(text, from, from);
  }
}

std::string ConvertFromWide(const std::wstring& text, CHARSET to, CHARSET from) {
  const bool known = to == CHARSET_ISO_8859_1 || to == CHARSET_UTF8 || to == CHARSET_ANSI;
  if (from != CHARSET_UTF16 || !known) ThrowUnsupported(from, to);
  if (to == CHARSET_ISO_8859_1) return WideToLatin1(text);
  return WideToCodePage(text, to == CHARSET_UTF8 ? CP_UTF8 : CP_ACP, to);
}

}  // namespace ORV
