#include "zuodbc/handles/entrylock.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <ctime>

namespace dm {
namespace {

constexpr timespec kLongestSleep{0, 10'000'000};

long futex(std::atomic<int>& word, int operation, int value, const timespec* timeout) noexcept {
  static_assert(sizeof word == sizeof(int));
  return syscall(SYS_futex, &word, operation, value, timeout, nullptr, 0);
}

}  // namespace

void EntryLock::wait() noexcept {
  waiters.fetch_add(1);
  while (!take()) futex(held, FUTEX_WAIT_PRIVATE, 1, &kLongestSleep);
  waiters.fetch_sub(1);
}

void EntryLock::wake() noexcept { futex(held, FUTEX_WAKE_PRIVATE, 1, nullptr); }

}  // namespace dm
