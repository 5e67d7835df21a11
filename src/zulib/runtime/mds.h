// Process-wide and per-thread storage: two tables of pointer cells.
//
// A task is the process; its cells are assigned by index to the subsystems that use them. A thread's
// cells are in a ZuThreadInfo, which `mdsPerThreadInit` finds or makes and `mdsPerThreadTerm` gives back.
// The two count, so a driver may enter and leave many times on one thread. A record whose count is 0 is
// deleted: it stays on the list, and the next new thread may reuse it. Records are freed only when
// the library is unloaded, or the process exits, and then only those that no thread uses.
//
// Thread safety: any thread. The list, and the counts in it, are guarded by MDS_PERTHREAD_LOCK, which is not
// recursive; a thread's cells are touched by that thread alone and need no lock.

#ifndef ZULIB_RUNTIME_MDS_H
#define ZULIB_RUNTIME_MDS_H

#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zucritse.h"
#include "zulib/runtime/zuobject.h"

// Index of a cell of the task.
enum PerTaskData : unsigned short {
  PerTaskPagePool = 4,     // the vm_info
  PerTaskIniList = 12,     // the ZuIniFileCacheList
  PerTaskThreadList = 13,  // the first ZuThreadInfo
  PerTaskDataCount = 32,
};

// Index of a cell of a thread.
enum PerThreadData : unsigned short {
  PerThreadErrorList = 0,  // the thread's current ZuErrorList
  PerThreadDataCount = 6,
};

class ZU_API ZuThreadInfo : public ZuObject {
 public:
  explicit ZuThreadInfo(unsigned long id) { initialize(id); }

  // Makes the record a new one of thread `id`: empty cells, count 1. The list's link is unchanged.
  void initialize(unsigned long id);

  void* getThreadData(PerThreadData index) const { return data[index]; }
  void** getThreadDataAddress(PerThreadData index) { return &data[index]; }
  void setThreadData(PerThreadData index, void* value) { data[index] = value; }

  // Live, and of thread `id`.
  bool isThread(unsigned long id) const { return count != 0 && threadId == id; }
  bool isDeleted() const { return count == 0; }

  // The caller holds MDS_PERTHREAD_LOCK. The count stops at 0.
  void incrementCount() { ++count; }
  void decrementCount() {
    if (count) --count;
  }

  // `decrementCount` under the lock.
  void lockedDecrementCount();

  ZuThreadInfo* getNext() const { return next; }
  void setNext(ZuThreadInfo* info) { next = info; }

 private:
  ZuThreadInfo* next = nullptr;
  unsigned long threadId;
  void* data[PerThreadDataCount];
  unsigned long count;
};

// The cells of the task.
extern ZU_API void* MDS_PER_TASK_GLOBALS[PerTaskDataCount];

// Guards the list of ZuThreadInfo.
extern ZU_API ZuCriticalSection MDS_PERTHREAD_LOCK;

// A task needs no preparation: the first two do nothing, the third always returns 1.
ZU_API void mdsPerTaskInit();
ZU_API void mdsPerTaskTerm();
ZU_API int mdsIsTaskInit();

ZU_API void* mdsGetPerTaskData(PerTaskData index);
ZU_API void** mdsGetPerTaskDataAddress(PerTaskData index);
ZU_API void mdsSetPerTaskData(PerTaskData index, void* value);
ZU_API void mdsSetPerTaskData(PerTaskData index, const void* value);

// Enters the library on the calling thread. Non-zero if the thread has a record, 0 if the allocation of one
// fails.
ZU_API int mdsPerThreadInit();

// Undoes one `mdsPerThreadInit`; does nothing on a thread without a record.
ZU_API void mdsPerThreadTerm();

// The live record of a thread, the calling one by default, or null. `findThreadInfo` is for a caller that
// holds MDS_PERTHREAD_LOCK.
ZU_API ZuThreadInfo* getThreadInfo(unsigned long id);
ZU_API ZuThreadInfo* getThreadInfo();
ZU_API ZuThreadInfo* findThreadInfo(unsigned long id);

// A cell of the calling thread; null when the thread has no record.
ZU_API void* mdsGetPerThreadData(PerThreadData index);

// The address of a cell of the calling thread, which must have a record.
ZU_API void** mdsGetPerThreadDataAddress(PerThreadData index);

// Stores in a cell of the calling thread, which must have a record.
ZU_API void mdsSetPerThreadData(PerThreadData index, void* value);

// For platforms whose loader calls a function at load and unload. Does nothing here.
ZU_API void BosLibMain();

// Frees the list's records at unload. Records in use stay on the list: at exit other threads may still run,
// and use them. The list stays in order, so a program whose own end comes later may still enter the library.
class ThreadListOwner {
 public:
  ThreadListOwner() = default;
  ThreadListOwner(const ThreadListOwner&) = delete;
  ThreadListOwner& operator=(const ThreadListOwner&) = delete;
  ~ThreadListOwner();
};

#endif
