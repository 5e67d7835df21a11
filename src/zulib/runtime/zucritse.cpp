#include "zulib/runtime/zucritse.h"

ZuCriticalSection::ZuCriticalSection(unsigned disabled) : disabled(disabled) {
  pthread_mutex_init(&mutex, nullptr);
}

ZuCriticalSection::~ZuCriticalSection() {
  // Unlocking a mutex that is not held is undefined; a failed try shows that it is held.
  static_cast<void>(pthread_mutex_trylock(&mutex));
  pthread_mutex_unlock(&mutex);
  pthread_mutex_destroy(&mutex);
}

void ZuCriticalSection::enter() {
  if (!disabled) pthread_mutex_lock(&mutex);
}

void ZuCriticalSection::leave() {
  if (!disabled) pthread_mutex_unlock(&mutex);
}

void zuDisableStaticCriticalSections() {}
