// Makes allocations fail on demand, to walk every out-of-memory path of the library.
//
// The test programs are linked with --wrap for malloc, calloc and realloc, and with an operator new that
// goes the same way. So what the linked-in objects allocate is counted, and what system libraries
// allocate by malloc is not. Tests and fixtures are linked in as well: what a scenario allocates for itself
// while a failure is armed counts too, unless it does so under a FaultPause.
//
// Thread use: a FaultAllocator counts and fails the allocations of the thread that made it only.

#ifndef ZULIB_TESTS_SUPPORT_FAULT_ALLOCATOR_H
#define ZULIB_TESTS_SUPPORT_FAULT_ALLOCATOR_H

#include <cstddef>
#include <functional>

// Arms the failures of this thread; disarms them at its end. One at a time per thread.
class FaultAllocator {
 public:
  FaultAllocator();
  FaultAllocator(const FaultAllocator&) = delete;
  FaultAllocator& operator=(const FaultAllocator&) = delete;
  ~FaultAllocator();

  // Only the n-th allocation from here on fails; n counts from 1.
  void failAt(std::size_t n);

  // The n-th allocation from here on and all later ones fail.
  void failFrom(std::size_t n);

  // No allocation fails any more; counting goes on.
  void stop();

  // An allocation has failed since the last failAt or failFrom.
  bool triggered() const;

  // Allocations since the last failAt or failFrom, failed ones counted too.
  std::size_t count() const;
};

// While one lives, its thread's allocations neither count nor fail.
class FaultPause {
 public:
  FaultPause();
  FaultPause(const FaultPause&) = delete;
  FaultPause& operator=(const FaultPause&) = delete;
  ~FaultPause();
};

// Runs `scenario` with its 1st, its 2nd, its 3rd ... allocation failing, until a run meets no failure.
// `scenario` answers whether all its work succeeded, which the last run must; its own expectations say what
// a run with a failure must look like. Records a test failure when there was nothing to fail, or no end.
// Answers how many allocations were made to fail.
std::size_t sweepAllocations(const std::function<bool(FaultAllocator&)>& scenario);
std::size_t sweepAllocations(const std::function<bool()>& scenario);

#endif
