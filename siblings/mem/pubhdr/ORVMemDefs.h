// Definitions shared by every header of ORVMem160NT, the memory-pool library.
//
// Why the module exists while it exports nothing: it is one of the family's
// six modules, built and installed with the others, so that an application
// built against the family finds the full module set and can link it (the
// family's pool, MemoryPool::New and MemoryPool::Delete, belongs here when an
// application needs it). ORVFile160NT does not import it: no operation of the
// file library asks for pooled memory. The memory buffer's chunks are plain
// owned blocks of the global allocator; a pool in front of them would add a
// call per chunk and buy nothing, since chunks are never moved or resized.
#pragma once

#include "ORVBaseDefs.h"

#if defined(ORV_MEM_BUILD)
#define ORV_MEM_API __declspec(dllexport)
#else
#define ORV_MEM_API __declspec(dllimport)
#endif
