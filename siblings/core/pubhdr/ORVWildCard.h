/// \class ORV::WildCardT
/// WildCardT: a file-name pattern with the wildcards of `dir`, matched against
/// whole names. `*` matches any run of units, the empty one included; `?`
/// matches exactly one unit; every other unit matches only itself, case and
/// all (callers that want case-insensitive matching pass ToLower of both).
///
/// As FindFirstFile does, a pattern that ends in ".*" also matches the names
/// that lack that dot and what follows it, so "*.*" matches every name:
/// \code
///   "*.*"   matches  "readme", "a.txt", ".profile"
///   "a*.*"  matches  "abc"  but not  "xa"
///   "*.txt" matches  "a.b.txt"  but not  "a.txt.bak"
/// \endcode
/// Unlike FindFirstFile, `?` never matches nothing at the end of a name, and
/// "*." matches only names that end in a dot.
///
/// Matching takes time in proportion to the pattern's length times the name's
/// at worst (no backtracking beyond the last `*`) and reads nothing outside
/// the name. A pattern is immutable once built: share it between threads.
#pragma once

#include <string>

#include "ORVCoreDefs.h"

namespace ORV {

template <class CharT>
class WildCardT {
 public:
  /// The text type of patterns and names.
  using String = std::basic_string<CharT>;

  /// Keeps pattern as given.
  explicit WildCardT(String pattern);

  /// The pattern as given.
  const String& Pattern() const noexcept { return m_pattern; }
  /// True when the whole of text matches the pattern.
  [[nodiscard]] bool Match(const String& text) const;

 private:
  String m_pattern;
};

extern template class ORV_CORE_API WildCardT<char>;
extern template class ORV_CORE_API WildCardT<wchar>;

/// A pattern over narrow names.
using WildCard = WildCardT<char>;
/// A pattern over UTF-16 names.
using WildCardW = WildCardT<wchar>;

}  // namespace ORV
