#include "zulib/runtime/zusemaph.h"

#include <atomic>
#include <cerrno>
#include <cstdint>

#include "zulib/runtime/zucritse.h"

namespace {

// The marks in a cell without a semaphore; null is a semaphore that was never made.
constexpr uintptr_t kBeingMade = 1;
constexpr uintptr_t kDestroyed = 2;

uintptr_t mark(const ZuSemaphore* value) { return reinterpret_cast<uintptr_t>(value); }
bool isSemaphore(const ZuSemaphore* value) { return mark(value) > kDestroyed; }

// Fills an empty cell. The semaphore is published when it is ready, so a second thread neither passes the
// lock while the first makes the semaphore nor adds another: it uses the first one. Returns the cell's new
// value.
ZuSemaphore* makeInCell(ZuSemaphore** cell, ZuSemaphore* previous) {
  auto* const made = new ZuSemaphore(cell, previous);
  if (!made) return previous;
  if (std::atomic_ref(*cell).compare_exchange_strong(previous, made)) return made;
  made->forgetSlot();
  delete made;
  return previous;
}

}  // namespace

int ZuPosixSemaphore::init() { return sem_init(&semaphore, 0, 1) != 0; }
int ZuPosixSemaphore::destroy() { return sem_destroy(&semaphore) != 0; }
int ZuPosixSemaphore::post() { return sem_post(&semaphore) != 0; }

int ZuPosixSemaphore::wait() {
  int failed;
  do {
    failed = sem_wait(&semaphore);
  } while (failed && errno == EINTR);
  return failed != 0;
}

ZuSemaphore::ZuSemaphore(ZuSemaphore** slot, ZuSemaphore* previous)
    : slot(mark(previous) == kDestroyed ? slot : nullptr) {
  bosSemaphoreAlloc();
}

ZuSemaphore::~ZuSemaphore() {
  bosSemaphoreFree();
  if (slot) *slot = reinterpret_cast<ZuSemaphore*>(kDestroyed);
}

void zuSemaphoreEnter(ZuSemaphore* semaphore) { semaphore->SemaphoreEnter(); }
void zuSemaphoreExit(ZuSemaphore* semaphore) { semaphore->SemaphoreExit(); }

void zuSemaphoreEnter(ZuSemaphore** cell) {
  ZuSemaphore* held = std::atomic_ref(*cell).load();
  if (!isSemaphore(held) && mark(held) != kBeingMade) held = makeInCell(cell, held);
  if (isSemaphore(held)) held->SemaphoreEnter();
}

void zuSemaphoreExit(ZuSemaphore** cell) {
  ZuSemaphore* held = std::atomic_ref(*cell).load();
  if (isSemaphore(held)) held->SemaphoreExit();
}

unsigned long atomicThreadExchange(unsigned long* cell, unsigned long value) {
  const ZuCriticalSectionHolder lock(ExchangeThreadLock);
  const unsigned long old = *cell;
  *cell = value;
  return old;
}

unsigned long atomicTaskExchange(unsigned long* cell, unsigned long value) {
  ExchangeTaskLock.SemaphoreEnter();
  const unsigned long old = *cell;
  *cell = value;
  ExchangeTaskLock.SemaphoreExit();
  return old;
}
