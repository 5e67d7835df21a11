// The allocators of the program, which the libraries that it opens use as well, and the loader for the
// thread-local storage of those libraries.

#include "tests/reload/failing_malloc.h"

#include <pthread.h>

#include <atomic>

extern "C" {
// Of the sanitizers' runtime where there is one, of the C library otherwise.
__attribute__((weak)) void* __interceptor_malloc(std::size_t size);
__attribute__((weak)) void* __interceptor_calloc(std::size_t count, std::size_t size);
__attribute__((weak)) void* __interceptor_realloc(void* block, std::size_t size);
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
}

namespace {

constinit std::atomic<bool> armed = false;
constinit std::atomic<bool> fired = false;
pthread_t victim;
unsigned long made;
unsigned long first;
unsigned long last;

bool failsNow() {
  if (!armed.load(std::memory_order_acquire) || !pthread_equal(victim, pthread_self())) return false;
  ++made;
  if (made < first || made > last) return false;
  fired = true;
  return true;
}

}  // namespace

void FailingMalloc::arm(unsigned long from, unsigned long to) {
  victim = pthread_self();
  made = 0;
  first = from;
  last = to;
  fired = false;
  armed.store(true, std::memory_order_release);
}

FailingMalloc::~FailingMalloc() { stop(); }
void FailingMalloc::stop() { armed.store(false, std::memory_order_release); }
bool FailingMalloc::triggered() const { return fired; }

// Visible to the libraries, also if a compiler hides what it does not know to be the C library's.
#pragma GCC visibility push(default)
extern "C" {
void* malloc(std::size_t size) {
  if (failsNow()) return nullptr;
  return __interceptor_malloc ? __interceptor_malloc(size) : __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) {
  if (failsNow()) return nullptr;
  return __interceptor_calloc ? __interceptor_calloc(count, size) : __libc_calloc(count, size);
}

void* realloc(void* block, std::size_t size) {
  if (failsNow()) return nullptr;
  return __interceptor_realloc ? __interceptor_realloc(block, size) : __libc_realloc(block, size);
}
}
#pragma GCC visibility pop
