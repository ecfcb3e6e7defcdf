// The family's case folding.
#pragma once

#include <string>

#include "ORVBaseDefs.h"

namespace ORV {

/// ASCII-only case folding: 'A'..'Z' become 'a'..'z', every other unit stays.
/// For rules that fold only ASCII whatever the code page (the C locale's
/// _strnicmp, case-blind byte matching); inline, so hot loops pay no call.
template <class Unit>
constexpr Unit AsciiToLower(Unit unit) noexcept {
  return unit >= Unit('A') && unit <= Unit('Z') ? static_cast<Unit>(unit + (Unit('a') - Unit('A'))) : unit;
}

///@{
/// The family's case folding, unit by unit, as Windows folds case
/// (CharLowerBuff): wide text by the system's Unicode tables, narrow text in
/// the ANSI code page. A unit that has no lower-case form stays as it is.
ORV_BASE_API char ToLower(char unit);
ORV_BASE_API wchar ToLower(wchar unit);
ORV_BASE_API std::string ToLower(std::string text);
ORV_BASE_API std::wstring ToLower(std::wstring text);
///@}

}  // namespace ORV
