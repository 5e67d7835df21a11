// CLObject, the base of the cursors and of SqlParser: class identification, and allocation with the C
// library's malloc. A failed `new` sets the thread's out-of-memory mark and throws CMemoryException.

#ifndef ZULIB_CURSOR_INTERNAL_CLOBJECT_H
#define ZULIB_CURSOR_INTERNAL_CLOBJECT_H

#include <cstddef>
#include <cstdlib>
#include <memory>

#include "zulib/cursor/internal/exception.h"
#include "zulib/runtime/ram.h"

class CLObject {
 public:
  CLObject() = default;
  CLObject(const CLObject&) = delete;
  CLObject& operator=(const CLObject&) = delete;

  virtual const char* classOf() const { return nullptr; }
  virtual bool IsKindOf(const char*) const { return false; }
  virtual ~CLObject() = default;

  static void* operator new(std::size_t size);
  static void operator delete(void* block) noexcept;
};

// `size` bytes, zero-filled, to be freed with `free`. Throws CMemoryException.
void* clAllocZ(std::size_t size);

// Resizes a block to `size` bytes. Throws CMemoryException with the block unchanged.
void* clResize(void* block, std::size_t size);

// Owns such a block for a scope.
struct ClFree {
  void operator()(void* block) const { std::free(block); }
};
template <class T>
using ClBlock = std::unique_ptr<T, ClFree>;

#endif
