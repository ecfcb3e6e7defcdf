// Definitions shared by every header of ORV160NT, the core library: configuration store, variants, dates, wildcards.
#pragma once

#include "ORVBaseDefs.h"

#if defined(ORV_CORE_BUILD)
#define ORV_CORE_API __declspec(dllexport)
#else
#define ORV_CORE_API __declspec(dllimport)
#endif
