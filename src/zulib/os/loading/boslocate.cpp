#include "zulib/os/loading/boslocate.h"

#include <stdlib.h>

#include <cstdio>
#include <cstring>

#include "zulib/os/files/bosattr.h"
#include "zulib/os/files/bospath.h"
#include "zulib/os/internal/pathtext.h"
#include "zulib/os/internal/tracing.h"
#include "zulib/runtime/ram.h"
#include "zulib/text/strcopy.h"

using zuos::bytes;
using zuos::chars;
using zuos::PathText;
using zuos::traced;

namespace {

// A list of directories, as appendPath makes it.
class PathList {
 public:
  PathList() = default;
  PathList(const PathList&) = delete;
  PathList& operator=(const PathList&) = delete;
  ~PathList() { free(list); }

  void add(const unsigned char* dir) {
    if (failed || !dir) return;
    list = appendPath(list, dir);
    failed = !list;
  }
  void addVariable(const char* name) { add(bytes(secure_getenv(name))); }

  // Null if there are no directories, or if an allocation failed.
  const unsigned char* text() const { return list; }

 private:
  unsigned char* list = nullptr;
  bool failed = false;
};

void addDirectories(PathList& list, unsigned long flags) {
  if (flags & bosLocateCurrent) {
    unsigned char current[bosPathSize];
    if (bosgtcwd(current, 0) == 0) list.add(current);
  }
  if (flags & bosLocateHome) list.addVariable("HOME");
  if (flags & bosLocateLibrary) {
    list.addVariable("ZU");
    list.addVariable("ZULIB");
  }
  if (flags & bosLocateLoadPath) {
    list.addVariable("LD_LIBRARY_PATH");
    list.addVariable("LD_RUN_PATH");
    list.add(bytes("/usr/local/lib"));
  }
  if (flags & bosLocateCommandPath) list.addVariable("PATH");
}

// Sets `path` to the name in the directory of `length` bytes; true if that is a file whose path fits.
bool isThere(PathText& path, const char* dir, size_t length, const char* between, const unsigned char* name) {
  path.clear();
  path.append(dir, length).endWithSlash();
  path.append(between).append(name);
  if (!path.fits()) return false;
  if (traced(zuos::kTraceLocation)) std::printf("LocateFile: %s\n", path.text());
  return bosfattr(path.name()) & bosAttrFile;
}

bool findAlong(PathText& path, const unsigned char* list, const unsigned char* name, bool alsoAbove) {
  for (const char* dir = chars(list); *dir;) {
    const size_t length = std::strcspn(dir, ":");
    if (length && isThere(path, dir, length, "", name)) return true;
    if (length && alsoAbove && isThere(path, dir, length, "../", name)) return true;
    dir += length + (dir[length] == ':');
  }
  return false;
}

}  // namespace

unsigned char* appendPath(unsigned char* list, const unsigned char* dir) {
  if (!dir) return list;
  const unsigned long before = list ? strLen(list) : 0;
  const unsigned long added = strLen(dir);
  auto* const longer = static_cast<unsigned char*>(ramAlloc(before + added + 2));
  if (longer) {
    if (before) memCopy(longer, list, before);
    memCopy(longer + before, dir, added);
    longer[before + added] = ':';
    longer[before + added + 1] = 0;
  }
  free(list);
  return longer;
}

int bosLocateFile(unsigned char* out, const unsigned char* name, unsigned long flags) {
  PathText path(name);
  bool found = path.fits() && (bosfattr(name) & bosAttrFile);
  if (!found) {
    PathList list;
    addDirectories(list, flags);
    found = list.text() && findAlong(path, list.text(), name, flags & bosLocateLoadPath);
  }
  if (!found) path.clear();
  if (out) path.copyTo(out);
  return found ? 0 : 1;
}
