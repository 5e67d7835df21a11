#include "zulib/runtime/mds.h"

#include <pthread.h>

#include <iterator>

void* MDS_PER_TASK_GLOBALS[PerTaskDataCount];

namespace {

unsigned long thisThread() { return static_cast<unsigned long>(pthread_self()); }

ZuThreadInfo* firstRecord() { return static_cast<ZuThreadInfo*>(MDS_PER_TASK_GLOBALS[PerTaskThreadList]); }

// Returns a deleted record of the list, or null with `last` on the last record. The last record is only
// tested if it is the first too: a deleted one is not reused until another follows it.
ZuThreadInfo* findDeleted(ZuThreadInfo* head, ZuThreadInfo*& last) {
  if (head->isDeleted()) return head;
  for (last = head; last->getNext(); last = last->getNext()) {
    if (last->isDeleted()) return last;
  }
  return nullptr;
}

// Returns the record of a thread, or a deleted one reused for it; null if a new one is needed, which goes
// after `last` (null: first on the list). The caller holds the lock.
ZuThreadInfo* findOrReuse(unsigned long id, ZuThreadInfo*& last) {
  if (ZuThreadInfo* info = findThreadInfo(id)) {
    info->incrementCount();
    return info;
  }
  last = nullptr;
  ZuThreadInfo* const head = firstRecord();
  ZuThreadInfo* const deleted = head ? findDeleted(head, last) : nullptr;
  if (deleted) deleted->initialize(id);
  return deleted;
}

void append(ZuThreadInfo* last, ZuThreadInfo* made) {
  if (last) {
    last->setNext(made);
  } else {
    MDS_PER_TASK_GLOBALS[PerTaskThreadList] = made;
  }
}

}  // namespace

ThreadListOwner::~ThreadListOwner() {
  const ZuCriticalSectionHolder lock(MDS_PERTHREAD_LOCK);
  ZuThreadInfo* record = firstRecord();
  ZuThreadInfo* lastKept = nullptr;
  MDS_PER_TASK_GLOBALS[PerTaskThreadList] = nullptr;
  while (record) {
    ZuThreadInfo* const next = record->getNext();
    if (record->isDeleted()) {
      delete record;
    } else {
      record->setNext(nullptr);
      append(lastKept, record);
      lastKept = record;
    }
    record = next;
  }
}

void ZuThreadInfo::initialize(unsigned long id) {
  for (void*& cell : data) cell = nullptr;
  threadId = id;
  count = 1;
}

void ZuThreadInfo::lockedDecrementCount() {
  const ZuCriticalSectionHolder lock(MDS_PERTHREAD_LOCK);
  decrementCount();
}

void mdsPerTaskInit() {}
void mdsPerTaskTerm() {}
int mdsIsTaskInit() { return 1; }

void* mdsGetPerTaskData(PerTaskData index) { return MDS_PER_TASK_GLOBALS[index]; }
void** mdsGetPerTaskDataAddress(PerTaskData index) { return &MDS_PER_TASK_GLOBALS[index]; }
void mdsSetPerTaskData(PerTaskData index, void* value) { MDS_PER_TASK_GLOBALS[index] = value; }
void mdsSetPerTaskData(PerTaskData index, const void* value) {
  MDS_PER_TASK_GLOBALS[index] = const_cast<void*>(value);
}

int mdsPerThreadInit() {
  const unsigned long id = thisThread();
  ZuThreadInfo* last = nullptr;
  {
    const ZuCriticalSectionHolder lock(MDS_PERTHREAD_LOCK);
    if (findOrReuse(id, last)) return 1;
  }
  // Allocated without the lock: an allocation that fails looks up the thread's error list through this list.
  auto* const made = new ZuThreadInfo(id);
  if (!made) return 0;
  const ZuCriticalSectionHolder lock(MDS_PERTHREAD_LOCK);
  if (findOrReuse(id, last)) {
    delete made;
  } else {
    append(last, made);
  }
  return 1;
}

void mdsPerThreadTerm() {
  const ZuCriticalSectionHolder lock(MDS_PERTHREAD_LOCK);
  if (ZuThreadInfo* info = findThreadInfo(thisThread())) info->decrementCount();
}

ZuThreadInfo* findThreadInfo(unsigned long id) {
  for (ZuThreadInfo* info = firstRecord(); info; info = info->getNext()) {
    if (info->isThread(id)) return info;
  }
  return nullptr;
}

ZuThreadInfo* getThreadInfo(unsigned long id) {
  const ZuCriticalSectionHolder lock(MDS_PERTHREAD_LOCK);
  return findThreadInfo(id);
}

ZuThreadInfo* getThreadInfo() { return getThreadInfo(thisThread()); }

void* mdsGetPerThreadData(PerThreadData index) {
  const ZuThreadInfo* const info = getThreadInfo();
  return info ? info->getThreadData(index) : nullptr;
}

void** mdsGetPerThreadDataAddress(PerThreadData index) {
  return getThreadInfo()->getThreadDataAddress(index);
}

void mdsSetPerThreadData(PerThreadData index, void* value) { getThreadInfo()->setThreadData(index, value); }

void BosLibMain() {}
