// ZuObject, the root of the library's classes.
//
// It holds no data. Its `operator new` is `ramAlloc`, so `new` on any ZuObject returns null if the allocation
// fails, and marks the calling thread's error list; nothing is thrown, the constructor is not run, and every
// caller must test.
//
// Thread safety: an object belongs to one thread at a time unless its class says otherwise.

#ifndef ZULIB_RUNTIME_ZUOBJECT_H
#define ZULIB_RUNTIME_ZUOBJECT_H

#include <cstddef>
#include <cstdlib>

#include "zulib/runtime/ram.h"
#include "zulib/runtime/zuapi.h"

class ZU_API ZuObject {
 public:
  ZuObject() = default;
  ZuObject(const ZuObject&) {}
  ZuObject& operator=(const ZuObject&) { return *this; }
  virtual ~ZuObject();

  // Below 0, 0 or above 0 as this object sorts before, with or after `other`. Root objects are all equal.
  virtual int compare(const ZuObject* other) const;

  // Null if the allocation fails; the out-of-memory state of the thread is then marked.
  static void* operator new(std::size_t size) noexcept { return ramAlloc(size); }
  static void* operator new(std::size_t, void* place) noexcept { return place; }
  static void operator delete(void* block) noexcept { std::free(block); }
};

#endif
