#include "win32.h"

#include "ORVToLower.h"

namespace ORV {
namespace {

// ASCII folds without a system call; other units go one at a time, so that a
// surrogate pair is never folded as a pair.
template <class Unit>
Unit FoldUnit(Unit unit, DWORD(WINAPI* lowerBuffer)(Unit*, DWORD)) {
  if (static_cast<unsigned>(unit) < 0x80) return AsciiToLower(unit);
  lowerBuffer(&unit, 1);
  return unit;
}

}  // namespace

char ToLower(char unit) { return FoldUnit<char>(unit, ::CharLowerBuffA); }

wchar ToLower(wchar unit) { return FoldUnit<wchar>(unit, ::CharLowerBuffW); }

std::string ToLower(std::string text) {
  for (char& unit : text) unit = ToLower(unit);
  return text;
}

std::wstring ToLower(std::wstring text) {
  for (wchar& unit : text) unit = ToLower(unit);
  return text;
}

}  // namespace ORV
