// CLObject, the base of the cursors and the analyser: class identification, and allocation by the C
// library's malloc. `new` throws CMemoryException when memory is gone, after the thread's out-of-memory
// mark is set.

#ifndef ZULIB_CURSOR_INTERNAL_CLOBJECT_H
#define ZULIB_CURSOR_INTERNAL_CLOBJECT_H

#include <cstddef>
#include <cstdlib>
#include <memory>

#include "zulib/cursor/entry/exception.h"
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

// `size` bytes, zero-filled; throws CMemoryException when memory is gone. Released with `free`.
void* clAllocZ(std::size_t size);

// The same block with `size` bytes, or CMemoryException with the block as it was.
void* clResize(void* block, std::size_t size);

// Owns one such block for a scope.
struct ClFree {
  void operator()(void* block) const { std::free(block); }
};
template <class T>
using ClBlock = std::unique_ptr<T, ClFree>;

#endif
