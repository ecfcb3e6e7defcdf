#include "win32.h"

#include <utility>

#include "ORVWildCard.h"

namespace ORV {
namespace {

// Greedy: a `*` first takes nothing; on a mismatch the last `*` takes one
// more unit and matching resumes after it. Earlier stars never need to give
// back, since the last one can absorb whatever they would have.
template <class CharT>
bool MatchRange(const CharT* pattern, size_t patternLength, const std::basic_string<CharT>& text) {
  const CharT star = static_cast<CharT>('*');
  const CharT any = static_cast<CharT>('?');
  size_t p = 0, t = 0;
  size_t afterStar = 0, starText = 0;
  bool haveStar = false;
  while (t < text.size()) {
    if (p < patternLength && pattern[p] == star) {
      haveStar = true;
      afterStar = ++p;
      starText = t;
    } else if (p < patternLength && (pattern[p] == any || pattern[p] == text[t])) {
      ++p;
      ++t;
    } else if (haveStar) {
      p = afterStar;
      t = ++starText;
    } else {
      return false;
    }
  }
  while (p < patternLength && pattern[p] == star) ++p;
  return p == patternLength;
}

}  // namespace

template <class CharT>
WildCardT<CharT>::WildCardT(String pattern) : m_pattern(std::move(pattern)) {}

template <class CharT>
bool WildCardT<CharT>::Match(const String& text) const {
  const size_t length = m_pattern.size();
  if (MatchRange(m_pattern.data(), length, text)) return true;
  // "name.*" also matches "name", as FindFirstFile has it.
  const bool endsInDotStar = length >= 2 && m_pattern[length - 2] == static_cast<CharT>('.') &&
                             m_pattern[length - 1] == static_cast<CharT>('*');
  return endsInDotStar && MatchRange(m_pattern.data(), length - 2, text);
}

// Exported through the extern declarations in the header.
template class WildCardT<char>;
template class WildCardT<wchar>;

}  // namespace ORV
