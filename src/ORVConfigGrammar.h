// The grammar of configuration files (see ORVConfigFile.h): the three
// expressions that a whole line must match, in the form Boost.Regex compiles
// them. ConfigFile reads lines with a scanner that follows them by hand; the
// test seam (ORVConfigSeam.h) gives tests their reading as the reference.
// Internal to the library: include after win32.h, with BOOST_REGEX_STANDALONE defined
// (orv_use_boost_regex in CMake).
//
// The format's [[:blank:]] is space and tab. Boost's class asks the user's
// locale, which adds U+00A0, U+3000 and "\v": "k = a\xA0" would lose its
// last unit on one machine and keep it on another. ConfigFormatTraits gives
// the class its meaning back; everything else is Boost's default traits.
// A compiled expression is immutable: share it between threads.
#pragma once

#include <boost/regex.hpp>

#include <cstddef>
#include <string_view>

namespace ORVFile::detail {

class ConfigFormatTraits : public boost::regex_traits<wchar_t> {
 public:
  // A bit that none of the base's classes uses.
  static constexpr char_class_type kBlank = 0x10000000u;

  char_class_type lookup_classname(const wchar_t* first, const wchar_t* last) const {
    if (std::wstring_view(first, static_cast<std::size_t>(last - first)) == L"blank") return kBlank;
    return boost::regex_traits<wchar_t>::lookup_classname(first, last);
  }
  bool isctype(wchar_t unit, char_class_type classes) const {
    if ((classes & kBlank) && (unit == L' ' || unit == L'\t')) return true;
    return boost::regex_traits<wchar_t>::isctype(unit, classes & ~kBlank);
  }
};

using ConfigExpression = boost::basic_regex<wchar_t, ConfigFormatTraits>;

struct ConfigGrammar {
  ConfigExpression section{L"[[:blank:]]*\\[(.+)\\][[:blank:]]*$"};
  ConfigExpression key{
      L"[[:blank:]]*([A-Za-z0-9_.]+)[[:blank:]]*=[[:blank:]]*([^[:blank:]]+(?:[[:blank:]]+[^[:blank:]]+)*|$)[[:blank:]]"
      L"*"
      L"$"};
  ConfigExpression blank{L"[[:blank:]]*$|[[:blank:]]*;.*$"};
};

}  // namespace ORVFile::detail
