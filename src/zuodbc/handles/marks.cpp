#include "zuodbc/handles/marks.h"

#include <sched.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace dm {
namespace {

// A thread that holds a mark owns one slot of its group, or of a later group when its own is full. The owners
// of a group lie in one cache line, and what says how far to look in another.
constexpr unsigned kSlotsInGroup = 8;
constexpr unsigned kGroups = 64;

struct alignas(64) Owners {
  std::atomic<pthread_t> threads[kSlotsInGroup];
};

struct Group {
  std::atomic<unsigned> used;    // no slot from here on has ever had an owner
  std::atomic<unsigned> strays;  // threads of this group with a slot in another
};

constinit Owners owners[kGroups]{};
constinit Group groups[kGroups]{};
constinit ThreadMarks slots[kGroups * kSlotsInGroup]{};

// Threads' identities are addresses, which differ in their middle bits.
unsigned groupOf(pthread_t thread) {
  return static_cast<unsigned>((static_cast<uint64_t>(thread) * 0x9E3779B97F4A7C15u) >> 58);
}
static_assert(kGroups == 1u << (64 - 58));

ThreadMarks* findIn(unsigned group, pthread_t self) {
  const unsigned used = groups[group].used.load(std::memory_order_relaxed);
  for (unsigned slot = 0; slot < used; ++slot) {
    if (owners[group].threads[slot].load(std::memory_order_relaxed) == self)
      return &slots[group * kSlotsInGroup + slot];
  }
  return nullptr;
}

// The marks of the calling thread, or null if it holds none.
ThreadMarks* findMarks(pthread_t self) {
  const unsigned home = groupOf(self);
  ThreadMarks* found = findIn(home, self);
  if (found || groups[home].strays.load(std::memory_order_relaxed) == 0) return found;
  for (unsigned step = 1; step < kGroups && !found; ++step) found = findIn((home + step) % kGroups, self);
  return found;
}

void raiseUsed(std::atomic<unsigned>& used, unsigned least) {
  unsigned now = used.load(std::memory_order_relaxed);
  while (now < least && !used.compare_exchange_weak(now, least, std::memory_order_relaxed)) {
  }
}

ThreadMarks* claimIn(unsigned group, pthread_t self) {
  for (unsigned slot = 0; slot < kSlotsInGroup; ++slot) {
    pthread_t none{};
    auto& owner = owners[group].threads[slot];
    if (owner.load(std::memory_order_relaxed) == none &&
        owner.compare_exchange_strong(none, self, std::memory_order_acquire, std::memory_order_relaxed)) {
      raiseUsed(groups[group].used, slot + 1);
      return &slots[group * kSlotsInGroup + slot];
    }
  }
  return nullptr;
}

// Waits for a slot while hundreds of threads hold marks; each holds its own for one driver call only.
ThreadMarks& claimMarks(pthread_t self) {
  const unsigned home = groupOf(self);
  if (ThreadMarks* marks = claimIn(home, self)) return *marks;
  groups[home].strays.fetch_add(1, std::memory_order_relaxed);
  for (unsigned step = 1;; ++step) {
    if (step % kGroups == 0) sched_yield();
    ThreadMarks* marks = claimIn((home + step) % kGroups, self);
    if (!marks) continue;
    marks->isStray = true;
    return *marks;
  }
}

void releaseMarks(ThreadMarks& marks, pthread_t self) {
  if (marks.isStray) groups[groupOf(self)].strays.fetch_sub(1, std::memory_order_relaxed);
  marks.isStray = false;
  const auto slot = static_cast<unsigned>(&marks - slots);
  owners[slot / kSlotsInGroup].threads[slot % kSlotsInGroup].store(pthread_t{}, std::memory_order_release);
}

ThreadMarks& setMark(const DMHandle* handle) {
  const pthread_t self = pthread_self();
  ThreadMarks* found = findMarks(self);
  ThreadMarks& marks = found ? *found : claimMarks(self);
  for (unsigned i = 0; i < marks.count; ++i) {
    if (marks.marks[i].handle == handle) {
      ++marks.marks[i].depth;
      return marks;
    }
  }
  if (marks.count == ThreadMarks::kCapacity) {
    // Without its mark a call would go back into the cursor library without end.
    std::fputs("zuodbc: re-entrance marks are nested too deeply\n", stderr);
    std::abort();
  }
  marks.marks[marks.count++] = {handle, 1};
  return marks;
}

void takeBackMark(const DMHandle* handle) {
  const pthread_t self = pthread_self();
  ThreadMarks* marks = findMarks(self);
  if (!marks) return;
  for (unsigned i = marks->count; i-- != 0;) {
    ThreadMarks::Mark& mark = marks->marks[i];
    if (mark.handle != handle) continue;
    if (mark.depth > 1) {
      --mark.depth;
      return;
    }
    // The last mark set is mostly the first taken back; it is not copied onto itself, since the copy would
    // wait for the depth that was stored a moment ago.
    if (i != --marks->count) mark = marks->marks[marks->count];
    if (marks->count == 0) releaseMarks(*marks, self);
    return;
  }
}

void mark(const DMHandle* handle, int on) {
  if (on) {
    setMark(handle);
  } else {
    takeBackMark(handle);
  }
}

}  // namespace

namespace {
const char kLibrary = 0;
}
const DMHandle* const kLibraryMark = reinterpret_cast<const DMHandle*>(&kLibrary);

InLibrary::InLibrary(DMStmt* stmt) noexcept : marks(setMark(kLibraryMark)), outer(marks.onBehalf) {
  if (!outer) marks.onBehalf = stmt;
}
InLibrary::~InLibrary() {
  marks.onBehalf = outer;
  takeBackMark(kLibraryMark);
}

const ThreadMarks* marksOfThread() noexcept { return findMarks(pthread_self()); }

}  // namespace dm

void DMConn::CursorLibLockDbc(int on) { dm::mark(this, on); }
void DMDesc::CursorLibLockDesc(int on) { dm::mark(this, on); }
void DMStmt::CursorLibLockStmt(int on) { dm::mark(this, on); }
