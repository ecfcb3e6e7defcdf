// The one place that includes <windows.h>, with the settings every module of
// the family is built with. Include it first.
#pragma once

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
// Windows 10: SetThreadDescription and the other calls the family relies on.
#undef _WIN32_WINNT
#define _WIN32_WINNT 0x0A00

#include <windows.h>
