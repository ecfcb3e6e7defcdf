/// \class ORV::MemoryPool
/// MemoryPool: the family's cache of large blocks, for stores that allocate
/// many small objects at once and free them all together (the core library's
/// Config keeps a loaded map in such blocks):
///
/// \code
///   void* block = ORV::MemoryPool::New(ORV::MemoryPool::BLOCK_SIZE);
///   ...
///   ORV::MemoryPool::Delete(block, ORV::MemoryPool::BLOCK_SIZE);
/// \endcode
///
/// Blocks of BLOCK_SIZE bytes that are given back stay in the pool, up to
/// MAX_CACHED_BLOCKS of them (16 MiB), and serve the next New without asking
/// the system: the heap of Windows, and Wine's even more, returns large free
/// ranges to the system, so that a store built again touches fresh pages,
/// whose faults cost more than building it. Other sizes go straight to the
/// global allocator. Blocks are aligned for any fundamental type.
///
/// Threads: New and Delete may be called from any thread (one lock, held for
/// a push or a pop). New throws std::bad_alloc when memory runs out.
#pragma once

#include <cstddef>

#include "ORVMemDefs.h"

namespace ORV {

class ORV_MEM_API MemoryPool {
 public:
  /// The size of the blocks the pool keeps: 256 KiB.
  static constexpr std::size_t BLOCK_SIZE = 256 * 1024;
  /// At most this many free blocks are kept.
  static constexpr std::size_t MAX_CACHED_BLOCKS = 64;

  /// size bytes, from the pool when size is BLOCK_SIZE and a block is free.
  static void* New(std::size_t size);
  /// Gives back what New(size) returned; size must be the same.
  static void Delete(void* block, std::size_t size) noexcept;
};

}  // namespace ORV
