// ZuCriticalSection, the one lock kind that the floor of the library needs, and the global locks of
// this kind, which exist from library load to unload.
//
// The mutex is not recursive: a thread that enters twice without leaving deadlocks.

#ifndef ZULIB_RUNTIME_ZUCRITSE_H
#define ZULIB_RUNTIME_ZUCRITSE_H

#include <pthread.h>

#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zuobject.h"

class ZU_API ZuCriticalSection : public ZuObject {
 public:
  // With `disabled` not 0, `enter` and `leave` do nothing.
  explicit ZuCriticalSection(unsigned disabled);
  ZuCriticalSection(const ZuCriticalSection&) = delete;
  ZuCriticalSection& operator=(const ZuCriticalSection&) = delete;

  // Unlocks first, so a section may be destroyed by the thread that holds it.
  ~ZuCriticalSection() override;

  void enter();
  void leave();
  bool isDisabled() const { return disabled != 0; }

 private:
  unsigned disabled;
  pthread_mutex_t mutex;
};

// Holds a critical section for the life of a scope.
class ZuCriticalSectionHolder {
 public:
  explicit ZuCriticalSectionHolder(ZuCriticalSection& section) : section(section) { section.enter(); }
  ZuCriticalSectionHolder(const ZuCriticalSectionHolder&) = delete;
  ZuCriticalSectionHolder& operator=(const ZuCriticalSectionHolder&) = delete;
  ~ZuCriticalSectionHolder() { section.leave(); }

 private:
  ZuCriticalSection& section;
};

// A public object of the library that nothing here takes: the allocators rely on the C library's own
// thread safety.
extern ZU_API ZuCriticalSection RAM_LOCK;

// Serialises `atomicThreadExchange`.
extern ZU_API ZuCriticalSection ExchangeThreadLock;

// Serialises all work of the cursor library, driver calls included. Taken before any lock of the driver
// manager's handles.
extern ZU_API ZuCriticalSection CursorLibrarySingleThreadLock;

// Has nothing to disable here; kept for callers that are built for every platform.
ZU_API void zuDisableStaticCriticalSections();

#endif
