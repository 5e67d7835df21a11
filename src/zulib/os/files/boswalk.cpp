#include "zulib/os/files/boswalk.h"

#include <dirent.h>
#include <mntent.h>
#include <sys/stat.h>

#include "zulib/os/internal/pathtext.h"
#include "zulib/runtime/ram.h"

struct BosDirectoryWalk {
  DIR* directory;
};

namespace {

bool isVisibleDirectory(DIR* directory, const char* name) {
  struct stat facts;
  return name[0] != '.' && fstatat(dirfd(directory), name, &facts, 0) == 0 && S_ISDIR(facts.st_mode);
}

template <class Walk>
Walk* begin() {
  return static_cast<Walk*>(ramAllocZ(sizeof(Walk)));
}

template <class Walk>
void end(Walk** handle) {
  free(*handle);
  *handle = nullptr;
}

}  // namespace

int bosGetDirectoryNames(BosDirectoryWalk** handle, unsigned char* out) {
  *out = 0;
  if (!*handle) {
    *handle = begin<BosDirectoryWalk>();
    if (!*handle) return 1;
    (*handle)->directory = opendir(".");
  }
  DIR* directory = (*handle)->directory;
  // Each walk has a stream of its own, so walks of other threads do not disturb it.
  while (const dirent* entry = directory ? readdir(directory) : nullptr) {
    if (!isVisibleDirectory(directory, entry->d_name)) continue;
    zuos::PathText().append(entry->d_name).copyTo(out);
    return 0;
  }
  if (directory) closedir(directory);
  end(handle);
  return 0;
}

int bosGetFileSystems(BosFileSystemWalk** handle, unsigned char* out) {
  constexpr int kLineSize = 4096;
  *out = 0;
  if (!*handle) {
    *handle = begin<BosFileSystemWalk>();
    if (!*handle) return 1;
  }
  FILE* table = (*handle)->table;
  char line[kLineSize];
  mntent entry;
  while (table && getmntent_r(table, &entry, line, kLineSize)) {
    const zuos::PathText directory(reinterpret_cast<const unsigned char*>(entry.mnt_dir));
    if (!directory.fits()) continue;
    directory.copyTo(out);
    return 0;
  }
  end(handle);
  return 0;
}
