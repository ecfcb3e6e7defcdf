/// \class ORV::WNoCase
/// WNoCase: the family's case-insensitive ordering of wide texts, for the keys
/// of ordered containers (the core library's Config maps sections and keys
/// with it):
///
/// \code
///   std::map<std::wstring, int, ORV::WNoCase> m;   m[L"Main"] and m[L"MAIN"] are one entry
/// \endcode
///
/// Texts are compared unit by unit after folding each unit with ToLower (as
/// Windows folds case, see ORVToLower.h), then by length:
/// \code
///   "a" < "AB" < "b" < "ba"
///   "_" < "a"    (0x5F against 0x61; an upper-case fold would put "_" after "A")
/// \endcode
/// The order is a strict weak order, so it is a valid map comparison, and two
/// texts are equivalent exactly when ToLower gives the same text for both.
///
/// It compares views, and is transparent: a map keyed by std::wstring finds a
/// std::wstring_view or a literal without building a std::wstring for it.
/// Header-only by design: a map calls it a dozen times per lookup, so the
/// common case (units equal, or both ASCII) stays inline; other units go to
/// the base library's ToLower. Stateless: share one object between threads.
#pragma once

#include <algorithm>
#include <string_view>

#include "ORVBaseDefs.h"
#include "ORVToLower.h"

namespace ORV {

struct WNoCase {
  /// Lets ordered containers look up views and literals.
  using is_transparent = void;

  /// The unit as ToLower folds it (ASCII inline).
  static wchar Fold(wchar unit) { return unit < 0x80 ? AsciiToLower(unit) : ToLower(unit); }

  /// True when left orders before right, case folded.
  bool operator()(std::wstring_view left, std::wstring_view right) const {
    const std::size_t common = std::min(left.size(), right.size());
    for (std::size_t i = 0; i < common; ++i) {
      if (left[i] == right[i]) continue;
      const wchar a = Fold(left[i]), b = Fold(right[i]);
      if (a != b) return a < b;
    }
    return left.size() < right.size();
  }
};

}  // namespace ORV
