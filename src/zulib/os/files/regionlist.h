// The ranges of files that threads of this process hold (bosregion.h).

#ifndef ZULIB_OS_FILES_REGIONLIST_H
#define ZULIB_OS_FILES_REGIONLIST_H

#include <sys/types.h>

#include "zulib/runtime/zucritse.h"

namespace zuos {

// A range of one file; a length of 0 reaches to the end.
struct Region {
  ino_t inode;
  dev_t device;
  long long offset;
  long long length;

  bool isSameFile(const Region& other) const { return inode == other.inode && device == other.device; }
  bool operator==(const Region& other) const {
    return isSameFile(other) && offset == other.offset && length == other.length;
  }
};

// One list for the process, made at load. At unload the records that are left are freed; the system's locks
// stay until their files are closed.
class RegionList {
 public:
  RegionList() = default;
  RegionList(const RegionList&) = delete;
  RegionList& operator=(const RegionList&) = delete;
  ~RegionList();

  enum class Result { Held, Conflict, NoMemory };
  Result add(unsigned long thread, const Region& region);
  void remove(unsigned long thread, const Region& region);

  unsigned long getCount() const { return count; }

 private:
  struct Record;
  Record* findConflictOrSame(unsigned long thread, const Region& region) const;

  ZuCriticalSection lock{0};
  Record* first = nullptr;
  unsigned long count = 0;  // records in the list
};

}  // namespace zuos

extern zuos::RegionList REGION_LOCKS;

#endif
