// Allocation of the cursor library's objects and buffers: the allocators of the floor, with their null
// answer turned into a CMemoryException.

#include "zulib/cursor/rows/clobject.h"

void* CLObject::operator new(std::size_t size) {
  void* block = ramAlloc(size);
  if (!block) throw CMemoryException();
  return block;
}

void CLObject::operator delete(void* block) noexcept { std::free(block); }

void* clAllocZ(std::size_t size) {
  void* block = ramAllocZ(size);
  if (!block) throw CMemoryException();
  return block;
}

void* clResize(void* block, std::size_t size) {
  if (ramResize(&block, size) != 0) throw CMemoryException();
  return block;
}
