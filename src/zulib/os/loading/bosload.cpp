#include "zulib/os/loading/bosload.h"

#include <dlfcn.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "zulib/errors/zuerror.h"
#include "zulib/os/files/bospath.h"
#include "zulib/os/internal/pathtext.h"
#include "zulib/os/internal/tracing.h"
#include "zulib/runtime/ram.h"
#include "zulib/runtime/zumessages.h"
#include "zulib/text/strcopy.h"
#include "zulib/text/strtrim.h"

namespace {

constexpr unsigned long TRACE_LOCATION = 2;
constexpr unsigned long TRACE_LOADING = 4;
constexpr char versionMark[] = "22";
constexpr char libraryEnding[] = ".so";
constexpr unsigned long longestEnding = sizeof versionMark - 1 + sizeof libraryEnding - 1;

const unsigned char* bytes(const char* text) { return reinterpret_cast<const unsigned char*>(text); }
const char* chars(const unsigned char* text) { return reinterpret_cast<const char*>(text); }

// Directories as appendPath strings them together.
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

  // Null when there are no directories, or no memory for them.
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

// True when the name, in the directory of `length` bytes, is a file whose path fits.
bool isThere(zuos::PathText& path, const char* dir, size_t length, const char* between,
             const unsigned char* name) {
  path.clear();
  path.append(dir, length).endWithSlash();
  path.append(between).append(name);
  if (!path.fits()) return false;
  if (zuos::traced(TRACE_LOCATION)) std::printf("LocateFile: %s\n", path.text());
  return bosfattr(path.name()) & bosAttrFile;
}

bool findAlong(zuos::PathText& path, const unsigned char* list, const unsigned char* name, bool alsoAbove) {
  for (const char* dir = chars(list); *dir;) {
    size_t length = std::strcspn(dir, ":");
    if (length && isThere(path, dir, length, "", name)) return true;
    if (length && alsoAbove && isThere(path, dir, length, "../", name)) return true;
    dir += length + (dir[length] == ':');
  }
  return false;
}

void* loadFrom(const unsigned char* path) {
  void* library = dlopen(chars(path), RTLD_NOW);
  if (library) return library;
  const char* words = dlerror();
  if (!words) words = "";
  addError(ZU_MSG_LIBRARY_NOT_LOADED) << path << words;
  if (zuos::traced(TRACE_LOADING)) {
    std::printf("Unable to open Shared Library:%s\n", chars(path));
    std::printf("Loader Error: %s\n", words);
  }
  return nullptr;
}

}  // namespace

unsigned char* appendPath(unsigned char* list, const unsigned char* dir) {
  if (!dir) return list;
  unsigned long before = list ? strLen(list) : 0;
  unsigned long added = strLen(dir);
  auto* longer = static_cast<unsigned char*>(ramAlloc(before + added + 2));
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
  zuos::PathText path(name);
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

void bosdllname(unsigned char* name) { std::strcat(reinterpret_cast<char*>(name), versionMark); }

void* bosLoadLibrary(const unsigned char* name, int addVersion) {
  unsigned char library[bosPathSize];
  unsigned long length = strRightTrim(name, strLen(name), zuCPLocale);
  if (length + longestEnding >= bosPathSize) {
    bosMapError(ENAMETOOLONG, name);
    return nullptr;
  }
  strCopy(library, name, length);
  if (addVersion) bosdllname(library);
  char* text = reinterpret_cast<char*>(library);
  if (!std::strstr(text, libraryEnding)) std::strcat(text, libraryEnding);
  const bool trace = zuos::traced(TRACE_LOADING);
  if (trace) std::printf("LoadLibrary: Searching for %s.\n", text);
  unsigned char path[bosPathSize];
  if (bosLocateFile(path, library, bosLocateLibrary | bosLocateLoadPath) != 0) {
    if (trace) std::printf("Unable to open Shared Library: %s\n", text);
    return nullptr;
  }
  if (trace) std::printf("LoadLibrary: Found library %s.\n", chars(path));
  return loadFrom(path);
}

void* bosLoadLibrary(const unsigned short* name, int addVersion) {
  const zuos::NarrowName narrow(name);
  return narrow.converts() && narrow.text() ? bosLoadLibrary(narrow.text(), addVersion) : nullptr;
}
