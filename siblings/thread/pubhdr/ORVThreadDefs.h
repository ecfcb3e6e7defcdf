// Definitions shared by every header of ORVThread160NT, the thread library: named threads, events, critical sections.
#pragma once

#include "ORVBaseDefs.h"

#if defined(ORV_THREAD_BUILD)
#define ORV_THREAD_API __declspec(dllexport)
#else
#define ORV_THREAD_API __declspec(dllimport)
#endif
