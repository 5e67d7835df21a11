// The profile files that the process has open, each once: callers share a cache and count their references.
//
// The task has one list, in its own cell, made on first use and deleted with its caches when the library is
// unloaded. A list owns its caches; a cache is deleted when its last reference is given back.
//
// Thread use: any thread. The list's semaphore is taken before that of a cache.

#ifndef ZULIB_OS_ZUINILIST_H
#define ZULIB_OS_ZUINILIST_H

#include "zulib/collections/zuarray.h"
#include "zulib/os/profiles/zuinicache.h"
#include "zulib/runtime/mds.h"
#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zuobject.h"
#include "zulib/runtime/zusemaph.h"

// The task's cell that holds the list.
constexpr PerTaskData PerTaskIniList = static_cast<PerTaskData>(12);

class ZU_API ZuIniFileCacheList : public ZuObject {
 public:
  ZuIniFileCacheList();
  ZuIniFileCacheList(const ZuIniFileCacheList&) = delete;
  ZuIniFileCacheList& operator=(const ZuIniFileCacheList&) = delete;
  ~ZuIniFileCacheList() override;

  // The cache of the file that `name` stands for (special names are mapped), with one more reference; or
  // null, with the error recorded. `flag` has no meaning here.
  ZuIniFileCache* open(const unsigned char* name, int flag = 0);

  // Gives a reference back. Null, and a cache that is not on the list, are ignored.
  void close(ZuIniFileCache* cache);

  // Takes a cache off the list, whatever its references; it belongs to the caller then.
  void remove(ZuIniFileCache* cache);

 private:
  ZuIniFileCache* findOpen(const unsigned char* path);
  ZuIniFileCache* openNew(const unsigned char* name);
  long indexOf(const ZuIniFileCache* cache) const;

  ZuSemaphore semaphore;
  ZuArray caches;  // ZuIniFileCache, owned
};

// The task's list, null before its first use; and the storing of one, which replaces nothing: the list that
// was there stays the caller's to delete.
ZU_API ZuIniFileCacheList* bosGetPTaskIniList();
ZU_API void bosPutPTaskIniList(ZuIniFileCacheList* list);

#endif
