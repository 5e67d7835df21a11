#include "zulib/cursor/internal/clobject.h"

void* CLObject::operator new(std::size_t size) {
  void* const block = ramAlloc(size);
  if (!block) throw CMemoryException();
  return block;
}

void CLObject::operator delete(void* block) noexcept { std::free(block); }

void* clAllocZ(std::size_t size) {
  void* const block = ramAllocZ(size);
  if (!block) throw CMemoryException();
  return block;
}

void* clResize(void* block, std::size_t size) {
  if (ramResize(&block, size) != 0) throw CMemoryException();
  return block;
}
