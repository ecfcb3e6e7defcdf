#include "ORVMemoryPool.h"

#include <mutex>
#include <new>

namespace ORV {

namespace {

// A fixed stack: pushing never allocates, so Delete cannot fail.
struct FreeBlocks {
  std::mutex lock;
  void* blocks[MemoryPool::MAX_CACHED_BLOCKS] = {};
  std::size_t count = 0;

  void* Pop() {
    const std::lock_guard<std::mutex> hold(lock);
    return count == 0 ? nullptr : blocks[--count];
  }
  bool Push(void* block) {
    const std::lock_guard<std::mutex> hold(lock);
    if (count == MemoryPool::MAX_CACHED_BLOCKS) return false;
    blocks[count++] = block;
    return true;
  }
  // The blocks still cached go back when the module unloads.
  ~FreeBlocks() {
    while (count != 0) ::operator delete(blocks[--count]);
  }
};

FreeBlocks& Cache() {
  static FreeBlocks cache;
  return cache;
}

}  // namespace

void* MemoryPool::New(std::size_t size) {
  if (size == BLOCK_SIZE)
    if (void* block = Cache().Pop()) return block;
  return ::operator new(size);
}

void MemoryPool::Delete(void* block, std::size_t size) noexcept {
  if (block == nullptr) return;
  if (size == BLOCK_SIZE && Cache().Push(block)) return;
  ::operator delete(block);
}

}  // namespace ORV
