// Definitions shared by every header of the base library ORVBase160NT:
// the export macro and the 16-bit text unit `wchar`.
#pragma once

#if defined(ORV_BASE_BUILD)
#define ORV_BASE_API __declspec(dllexport)
#else
#define ORV_BASE_API __declspec(dllimport)
#endif

/// The base, core, thread, charset and memory libraries of the family
/// (ORVBase160NT, ORV160NT, ORVThread160NT, ORVCharset160NT, ORVMem160NT).
namespace ORV {

/// The UTF-16 code unit of Windows: all wide text of the family is made of it.
using wchar = wchar_t;
static_assert(sizeof(wchar) == 2, "wchar must be the 16-bit wchar_t of Windows");

}  // namespace ORV
