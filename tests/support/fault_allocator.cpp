// The wrapped allocators, and the count that decides which call fails.

#include "tests/support/fault_allocator.h"

#include <cstdlib>
#include <limits>
#include <new>

#include "gtest/gtest.h"

namespace {

constexpr std::size_t kNever = std::numeric_limits<std::size_t>::max();

// Constant-initialised, so that the first touch on a thread allocates nothing.
struct Faults {
  bool armed = false;
  bool fired = false;
  int paused = 0;
  std::size_t made = 0;
  std::size_t first = kNever;
  std::size_t last = kNever;

  bool nextFails() {
    if (!armed || paused != 0) return false;
    ++made;
    if (made < first || made > last) return false;
    fired = true;
    return true;
  }
};

constinit thread_local Faults faults;

void arm(std::size_t first, std::size_t last) {
  faults.fired = false;
  faults.made = 0;
  faults.first = first;
  faults.last = last;
  faults.armed = true;
}

}  // namespace

extern "C" {
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* block, std::size_t size);

void* __wrap_malloc(std::size_t size) { return faults.nextFails() ? nullptr : __real_malloc(size); }

void* __wrap_calloc(std::size_t count, std::size_t size) {
  return faults.nextFails() ? nullptr : __real_calloc(count, size);
}

void* __wrap_realloc(void* block, std::size_t size) {
  return faults.nextFails() ? nullptr : __real_realloc(block, size);
}
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return __wrap_malloc(size ? size : 1);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return __wrap_malloc(size ? size : 1);
}

void* operator new(std::size_t size) {
  void* block = __wrap_malloc(size ? size : 1);
  if (!block) throw std::bad_alloc();
  return block;
}

void* operator new[](std::size_t size) { return operator new(size); }

void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { std::free(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { std::free(block); }

FaultAllocator::FaultAllocator() { arm(kNever, kNever); }
FaultAllocator::~FaultAllocator() { faults.armed = false; }
void FaultAllocator::failAt(std::size_t n) { arm(n, n); }
void FaultAllocator::failFrom(std::size_t n) { arm(n, kNever); }
void FaultAllocator::stop() { faults.first = kNever; }
bool FaultAllocator::triggered() const { return faults.fired; }
std::size_t FaultAllocator::count() const { return faults.made; }

FaultPause::FaultPause() { ++faults.paused; }
FaultPause::~FaultPause() { --faults.paused; }

std::size_t sweepAllocations(const std::function<bool(FaultAllocator&)>& scenario) {
  constexpr std::size_t kNoEnd = 100000;
  for (std::size_t n = 1; n <= kNoEnd; ++n) {
    FaultAllocator armed;
    armed.failAt(n);
    const bool passed = scenario(armed);
    const FaultPause quiet;
    if (!armed.triggered()) {
      EXPECT_TRUE(passed) << "the scenario fails although every allocation succeeded";
      EXPECT_GT(n, 1u) << "the scenario allocates nothing";
      return n - 1;
    }
    if (testing::Test::HasFailure()) {
      ADD_FAILURE() << "with allocation " << n << " failing";
      return n;
    }
  }
  ADD_FAILURE() << "the scenario still met a failure at allocation " << kNoEnd;
  return kNoEnd;
}

std::size_t sweepAllocations(const std::function<bool()>& scenario) {
  return sweepAllocations([&](FaultAllocator&) { return scenario(); });
}
