#include "zulib/os/profiles/zuinilist.h"

#include <atomic>
#include <cerrno>
#include <cstring>

#include "zulib/os/profiles/internal/zuinifile.h"
#include "zulib/os/profiles/internal/zuinitrace.h"
#include "zulib/runtime/zumessages.h"

using zuini::chars;
using zuini::NewErrors;
using zuini::SemaphoreHolder;

namespace {

// Deletes the task's list when the library is unloaded. A cell of the task outlives it, and is then empty.
class TaskListOwner {
 public:
  constexpr TaskListOwner() = default;
  TaskListOwner(const TaskListOwner&) = delete;
  TaskListOwner& operator=(const TaskListOwner&) = delete;
  ~TaskListOwner() {
    ZuIniFileCacheList* list = bosGetPTaskIniList();
    bosPutPTaskIniList(nullptr);
    delete list;
  }
};

constinit TaskListOwner taskListOwner;

// The true path of a file, in `path`; a name that is too long is none.
bool resolve(const unsigned char* name, unsigned char* path) {
  const unsigned long n = std::strlen(chars(name));
  if (n >= bosPathSize) {
    bosMapError(ENAMETOOLONG, static_cast<const unsigned char*>(nullptr));
    return false;
  }
  std::memcpy(path, name, n + 1);
  NewErrors errors;
  int handle = 0;
  if (!bosFileOpen(path, bosOpenMapSpecial | bosOpenResolveOnly, &handle)) return true;
  const unsigned short number = errors.number();
  if (!zuini::mayBeMissing(name) || (number != 0 && number != ZU_MSG_FILE_NOT_FOUND)) return false;
  errors.clear();
  *path = 0;  // the path of no file
  return true;
}

}  // namespace

ZuIniFileCacheList* bosGetPTaskIniList() {
  return static_cast<ZuIniFileCacheList*>(std::atomic_ref(*mdsGetPerTaskDataAddress(PerTaskIniList)).load());
}

void bosPutPTaskIniList(ZuIniFileCacheList* list) {
  std::atomic_ref(*mdsGetPerTaskDataAddress(PerTaskIniList)).store(list);
}

ZuIniFileCacheList::ZuIniFileCacheList() : semaphore(nullptr, nullptr) {}

ZuIniFileCacheList::~ZuIniFileCacheList() {
  SemaphoreHolder hold(semaphore);
  caches.deleteContents();
}

long ZuIniFileCacheList::indexOf(const ZuIniFileCache* cache) const {
  for (unsigned long i = 0; i < caches.getCount(); ++i) {
    if (caches.at(i) == cache) return static_cast<long>(i);
  }
  return -1;
}

ZuIniFileCache* ZuIniFileCacheList::findOpen(const unsigned char* path) {
  for (unsigned long i = 0; i < caches.getCount(); ++i) {
    auto* cache = static_cast<ZuIniFileCache*>(caches.at(i));
    if (cache->isThisFile(path)) return cache;
  }
  return nullptr;
}

ZuIniFileCache* ZuIniFileCacheList::openNew(const unsigned char* name) {
  auto* cache = new ZuIniFileCache;
  if (!cache) return nullptr;
  if (cache->bosZuIniOpen(name) || caches.add(cache)) {
    delete cache;
    return nullptr;
  }
  return cache;
}

ZuIniFileCache* ZuIniFileCacheList::open(const unsigned char* name, int) {
  unsigned char path[bosPathSize];
  if (!name || !resolve(name, path)) return nullptr;
  SemaphoreHolder hold(semaphore);
  if (ZuIniFileCache* cache = findOpen(path)) {
    cache->incrementUseCount();
    return cache;
  }
  return openNew(name);
}

void ZuIniFileCacheList::close(ZuIniFileCache* cache) {
  if (!cache) return;
  SemaphoreHolder hold(semaphore);
  const long index = indexOf(cache);
  if (index < 0 || cache->decrementUseCount() > 0) return;
  caches.deleteAtIndex(static_cast<unsigned long>(index));
}

void ZuIniFileCacheList::remove(ZuIniFileCache* cache) {
  SemaphoreHolder hold(semaphore);
  const long index = indexOf(cache);
  if (index >= 0) caches.removeAtIndex(static_cast<unsigned long>(index));
}
