#include "zulib/os/files/bosregion.h"

#include <fcntl.h>
#include <pthread.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <cerrno>

#include "zulib/os/files/bosfile.h"
#include "zulib/os/files/regionlist.h"

using zuos::Region;
using zuos::RegionList;

struct RegionList::Record {
  unsigned long thread;
  Region region;
  unsigned long references;
  Record* previous;
  Record* next;
};

namespace {

const unsigned char* const kNoName = nullptr;

int failWith(int reason) {
  // The system may give either number for a lock that somebody else holds.
  bosMapError(reason == EACCES ? EAGAIN : reason, kNoName);
  return 1;
}

bool contains(const Region& region, long long position) {
  return position >= region.offset && (region.length == 0 || position - region.offset < region.length);
}

bool overlap(const Region& held, const Region& wanted) {
  if (contains(wanted, held.offset)) return true;
  if (held.length == 0) return held.offset <= wanted.offset;
  return contains(wanted, held.offset + held.length - 1);
}

}  // namespace

RegionList::~RegionList() {
  while (Record* record = first) {
    first = record->next;
    free(record);
  }
}

// The first record that settles the matter: one of another thread that overlaps, or the same range of the
// same thread.
RegionList::Record* RegionList::findConflictOrSame(unsigned long thread, const Region& region) const {
  for (Record* record = first; record; record = record->next) {
    if (!record->region.isSameFile(region) || !overlap(record->region, region)) continue;
    if (record->thread != thread || record->region == region) return record;
  }
  return nullptr;
}

RegionList::Result RegionList::add(unsigned long thread, const Region& region) {
  const ZuCriticalSectionHolder held(lock);
  if (Record* record = findConflictOrSame(thread, region)) {
    if (record->thread != thread) return Result::Conflict;
    ++record->references;
    return Result::Held;
  }
  // Not by `ramAlloc`: the error of a lock without memory is 1503, not the out-of-memory record.
  auto* record = static_cast<Record*>(malloc(sizeof(Record)));
  if (!record) return Result::NoMemory;
  *record = {thread, region, 1, nullptr, first};
  if (first) first->previous = record;
  first = record;
  ++count;
  return Result::Held;
}

void RegionList::remove(unsigned long thread, const Region& region) {
  const ZuCriticalSectionHolder held(lock);
  Record* record = first;
  while (record && (record->thread != thread || !(record->region == region))) record = record->next;
  if (!record || --record->references > 0) return;
  (record->previous ? record->previous->next : first) = record->next;
  if (record->next) record->next->previous = record->previous;
  free(record);
  --count;
}

int bosRegionLock(int handle, int unlock, long long offset, long long length) {
  if (handle == 0) return 0;
  if (length < 0) return failWith(EINVAL);
  struct flock range = {};
  range.l_type = unlock ? F_UNLCK : F_WRLCK;
  range.l_whence = SEEK_SET;
  range.l_start = offset;
  range.l_len = length;
  if (fcntl(handle, F_SETLK, &range) != 0) return failWith(errno);
  struct stat facts;
  if (fstat(handle, &facts) != 0) return failWith(errno);
  const Region region = {facts.st_ino, facts.st_dev, offset, length};
  const auto thread = static_cast<unsigned long>(pthread_self());
  if (unlock) {
    REGION_LOCKS.remove(thread, region);
    return 0;
  }
  switch (REGION_LOCKS.add(thread, region)) {
    case RegionList::Result::Held: return 0;
    case RegionList::Result::Conflict: return failWith(EAGAIN);
    default: return failWith(ENOMEM);
  }
}
