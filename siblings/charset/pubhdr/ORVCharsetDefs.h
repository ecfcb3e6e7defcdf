// Definitions shared by every header of ORVCharset160NT, the character-set library: conversions between character sets.
#pragma once

#include "ORVBaseDefs.h"

#if defined(ORV_CHARSET_BUILD)
#define ORV_CHARSET_API __declspec(dllexport)
#else
#define ORV_CHARSET_API __declspec(dllimport)
#endif
