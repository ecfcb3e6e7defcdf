// Whether the tests run under Wine. Where Wine differs from Windows, a test
// keeps the Windows expectation and skips only that assertion there.
#pragma once

#include "win32.h"

namespace orvtest {

inline bool UnderWine() { return ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr; }

}  // namespace orvtest
