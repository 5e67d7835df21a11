// The lock of one application's call on a handle, recursive for one thread.
//
// A call pays for it one atomic exchange and some plain loads and stores: the lock is free most of the time,
// and it is given back by a plain store. That store could be seen by a waiter only after the waiter has gone
// to sleep, so waiters sleep for a bounded time.
//
// A lock is never destroyed while the process runs (handles/register.h), so a thread may still look at one
// whose handle another thread has destroyed.

#ifndef ZUODBC_HANDLES_ENTRYLOCK_H
#define ZUODBC_HANDLES_ENTRYLOCK_H

#include <pthread.h>

#include <atomic>

namespace dm {

class EntryLock {
 public:
  void lock() noexcept {
    const pthread_t self = pthread_self();
    if (owner.load(std::memory_order_relaxed) == self) {
      ++depth;
      return;
    }
    if (!take()) [[unlikely]]
      wait();
    owner.store(self, std::memory_order_relaxed);
  }

  bool tryLock() noexcept {
    const pthread_t self = pthread_self();
    if (owner.load(std::memory_order_relaxed) == self) {
      ++depth;
      return true;
    }
    if (!take()) return false;
    owner.store(self, std::memory_order_relaxed);
    return true;
  }

  void unlock() noexcept {
    if (depth != 0) {
      --depth;
      return;
    }
    owner.store(pthread_t{}, std::memory_order_relaxed);
    held.store(0, std::memory_order_release);
    std::atomic_signal_fence(std::memory_order_seq_cst);  // the compiler keeps the order of store and load
    if (waiters.load(std::memory_order_relaxed) != 0) [[unlikely]]
      wake();
  }

 private:
  bool take() noexcept {
    int expected = 0;
    return held.compare_exchange_strong(expected, 1, std::memory_order_acquire, std::memory_order_relaxed);
  }
  void wait() noexcept;
  void wake() noexcept;

  std::atomic<int> held{0};
  std::atomic<int> waiters{0};
  std::atomic<pthread_t> owner{};
  unsigned depth = 0;  // of the owner's further calls
};

}  // namespace dm

#endif
