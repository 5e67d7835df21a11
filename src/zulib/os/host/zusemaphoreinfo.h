// The table of the process's System V semaphore sets, and the array type that tasks share.
//
// Thread safety: one thread at a time; the global instance is touched at library load and unload.

#ifndef ZULIB_OS_HOST_ZUSEMAPHOREINFO_H
#define ZULIB_OS_HOST_ZUSEMAPHOREINFO_H

#include "zulib/collections/zuarray.h"
#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zuobject.h"
#include "zulib/runtime/zusemaph.h"

// An array that tasks share. On this platform no task sees another's memory, so the semaphore around each
// operation does nothing.
class ZU_API SemArray : public ZuArray {
 public:
  [[nodiscard]] int add(ZuObject* object);
  [[nodiscard]] int addAtIndex(ZuObject* object, unsigned long index);
  void deleteContents();
  void deleteAtIndex(unsigned long index);
  void removeAtIndex(unsigned long index);
  unsigned long getCount() const;
  ZuObject* at(unsigned long index) const;

 private:
  class Held;

  void GetSemaphore() const {}
  void FreeSemaphore() const {}
};

// The process's System V semaphore sets, and the semaphores that were handed to it. POSIX semaphores need
// no set, so here the table of sets stays empty.
class ZU_API ZuSemaphoreInfo : public ZuObject {
 public:
  ZuSemaphoreInfo() = default;
  ZuSemaphoreInfo(const ZuSemaphoreInfo&) = delete;
  ZuSemaphoreInfo& operator=(const ZuSemaphoreInfo&) = delete;

  // Removes the sets from the system and deletes the semaphores.
  ~ZuSemaphoreInfo() override;

  // Removes the sets from the system.
  void removeSets() const;

  unsigned short getNumberOfSets() const { return numberOfSets; }

  // 1 if a set has room for a semaphore, else 0.
  int availableSemaphore() const;

  // Takes ownership of the semaphore, unless an allocation fails. Returns the number of the last set: -1,
  // since there is none here.
  int allocateSemaphore(ZuSemaphore* semaphore);

  // Gives ownership of the semaphore back to the caller.
  void remove(ZuSemaphore* semaphore);

 private:
  struct Set {
    unsigned short capacity;
    unsigned short used;
    long id;  // from semget
  };

  Set sets[12] = {};
  unsigned short numberOfSets = 0;
  SemArray semaphores;
};

extern ZU_API ZuSemaphoreInfo BOS_ZUSEMAPHORE_INFO;

#endif
