// Definitions shared by every header of ORVMem160NT, the memory-pool library.
#pragma once

#include "ORVBaseDefs.h"

#if defined(ORV_MEM_BUILD)
#define ORV_MEM_API __declspec(dllexport)
#else
#define ORV_MEM_API __declspec(dllimport)
#endif
