#include "win32.h"

#include "ORVToLower.h"

namespace ORV {

char ToLower(char unit) {
  ::CharLowerBuffA(&unit, 1);
  return unit;
}

wchar ToLower(wchar unit) {
  ::CharLowerBuffW(&unit, 1);
  return unit;
}

std::string ToLower(std::string text) {
  if (!text.empty()) ::CharLowerBuffA(text.data(), static_cast<DWORD>(text.size()));
  return text;
}

std::wstring ToLower(std::wstring text) {
  if (!text.empty()) ::CharLowerBuffW(text.data(), static_cast<DWORD>(text.size()));
  return text;
}

}  // namespace ORV
