// The lock that may be taken on one thread and given back on another, and the atomic exchanges.
//
// ZuSemaphore is binary: it is made free, and one holder at a time passes. A cell of type ZuSemaphore*
// that starts as null can have its semaphore made on first use (`zuSemaphoreEnter(&cell)`). Such a cell
// holds 0 (never made), 1 (being made), 2 (destroyed: the library's end has passed) or the semaphore.
// The marks let code run during the library's own start and end, when there is no semaphore to use: it
// continues without mutual exclusion. The owner of the cell deletes the semaphore.
//
// Thread safety: any thread, except for the constructors and destructors.

#ifndef ZULIB_RUNTIME_ZUSEMAPH_H
#define ZULIB_RUNTIME_ZUSEMAPH_H

#include <semaphore.h>

#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zuobject.h"

// A POSIX semaphore with a count of 1, private to the process. Each operation returns 1 if its call fails,
// else 0.
class ZU_API ZuPosixSemaphore : public ZuObject {
 public:
  int init();
  int destroy();
  int wait();  // a signal does not end the wait
  int post();

 private:
  sem_t semaphore;
};

class ZU_API ZuSemaphore : public ZuObject {
 public:
  // `slot` is the cell that will hold this semaphore and `previous` what the cell held. Only a semaphore
  // that is remade after the library's end (2) keeps the cell, to mark its own end in it.
  ZuSemaphore(ZuSemaphore** slot, ZuSemaphore* previous);
  ZuSemaphore(const ZuSemaphore&) = delete;
  ZuSemaphore& operator=(const ZuSemaphore&) = delete;
  ~ZuSemaphore() override;

  // Enter and Get wait, Exit and Free post. 0, or 1 if the call fails.
  int SemaphoreEnter() { return semaphore.wait(); }
  int SemaphoreExit() { return semaphore.post(); }
  int SemaphoreGet() { return semaphore.wait(); }
  int SemaphoreFree() { return semaphore.post(); }

  // Makes and ends the system's semaphore under this one; the constructor and the destructor call them.
  int bosSemaphoreAlloc() { return semaphore.init(); }
  int bosSemaphoreFree() { return semaphore.destroy(); }

  // Lets go of the cell, so that the destructor does not write to it.
  void forgetSlot() { slot = nullptr; }

 private:
  ZuPosixSemaphore semaphore;
  ZuSemaphore** slot;
};

// Holds a semaphore for the life of a scope.
class ZuSemaphoreHolder {
 public:
  explicit ZuSemaphoreHolder(ZuSemaphore& semaphore) : semaphore(semaphore) { semaphore.SemaphoreEnter(); }
  ZuSemaphoreHolder(const ZuSemaphoreHolder&) = delete;
  ZuSemaphoreHolder& operator=(const ZuSemaphoreHolder&) = delete;
  ~ZuSemaphoreHolder() { semaphore.SemaphoreExit(); }

 private:
  ZuSemaphore& semaphore;
};

ZU_API void zuSemaphoreEnter(ZuSemaphore* semaphore);
ZU_API void zuSemaphoreExit(ZuSemaphore* semaphore);

// The same on a cell whose semaphore is made on first use. Does not lock while the cell holds a mark, or if
// the allocation of the semaphore fails.
ZU_API void zuSemaphoreEnter(ZuSemaphore** cell);
ZU_API void zuSemaphoreExit(ZuSemaphore** cell);

// Stores `value` in `*cell` and returns the old value, under ExchangeThreadLock; the second form is for a
// cell that tasks share, under ExchangeTaskLock.
ZU_API unsigned long atomicThreadExchange(unsigned long* cell, unsigned long value);
ZU_API unsigned long atomicTaskExchange(unsigned long* cell, unsigned long value);

// Serialises `atomicTaskExchange`.
extern ZU_API ZuSemaphore ExchangeTaskLock;

#endif
