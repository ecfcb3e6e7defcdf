// Definitions shared by every header of ORVMem160NT, the memory-pool library.
//
// The pool (ORVMemoryPool.h) serves the core library's Config, which keeps a
// loaded map in its blocks. ORVFile160NT does not import the module: the
// memory buffer's chunks are plain owned blocks of the global allocator; a
// pool in front of them would add a call per chunk and buy nothing, since
// chunks are never moved or resized.
#pragma once

#include "ORVBaseDefs.h"

#if defined(ORV_MEM_BUILD)
#define ORV_MEM_API __declspec(dllexport)
#else
#define ORV_MEM_API __declspec(dllimport)
#endif
