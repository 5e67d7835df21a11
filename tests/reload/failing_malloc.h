// Makes the allocations of the calling thread fail, in whatever library they are made.

#ifndef ZULIB_TESTS_RELOAD_FAILING_MALLOC_H
#define ZULIB_TESTS_RELOAD_FAILING_MALLOC_H

#include <cstddef>

// One at a time in the process. Disarms at its end.
class FailingMalloc {
 public:
  // The n-th allocation from here on fails, or all from the n-th on.
  static FailingMalloc at(unsigned long n) { return {n, n}; }
  static FailingMalloc from(unsigned long n) { return {n, ~0UL}; }
  FailingMalloc(const FailingMalloc&) = delete;
  FailingMalloc& operator=(const FailingMalloc&) = delete;
  ~FailingMalloc();

  void stop();
  // An allocation has failed.
  bool triggered() const;

 private:
  FailingMalloc(unsigned long from, unsigned long to) { arm(from, to); }
  static void arm(unsigned long from, unsigned long to);
};

#endif
