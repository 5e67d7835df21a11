// bosFileOpen: the name is made or mapped first, then the file is opened, then locked.

#include <fcntl.h>
#include <stdlib.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <initializer_list>

#include "zulib/errors/zuerror.h"
#include "zulib/os/files/bosfile.h"
#include "zulib/os/internal/pathtext.h"
#include "zulib/os/internal/tracing.h"
#include "zulib/os/loading/bosload.h"

using zuos::PathText;
using zuos::TRACE_FILE_OPEN;
using zuos::traced;

namespace {

constexpr mode_t PERMISSIONS = 0666;

// What a special name stands for.
struct SpecialName {
  const char* name;
  const char* variables[2];  // of the environment; the first that is set counts
  bool ignoresCase;
  bool variableWins;  // else it is a fallback for a file that is not there
};

constexpr SpecialName SPECIAL_NAMES[] = {
    {"ODBC.INI", {"ODBCINI", "ODBC_INI"}, true, true},
    {".odbc.ini", {"ODBCINI", "ODBC_INI"}, true, true},
    {"ODBCINST.INI", {"ODBCINST", "ODBCINSTINI"}, true, true},
    {".odbcinst.ini", {"ODBCINST", "ODBCINSTINI"}, true, true},
    {".zulib.ini", {"ZULIB_INI", nullptr}, false, false},
    {".system.defaults", {"ZU_SYSTEM_INI", nullptr}, false, false},
};

const SpecialName* findSpecialName(const char* name) {
  for (const SpecialName& special : SPECIAL_NAMES) {
    if ((special.ignoresCase ? strcasecmp : strcmp)(name, special.name) == 0) return &special;
  }
  return nullptr;
}

const char* valueOf(const SpecialName& special) {
  for (const char* variable : special.variables) {
    const char* value = variable ? secure_getenv(variable) : nullptr;
    if (value) return value;
  }
  return nullptr;
}

bool isDirectory(const char* path) {
  struct stat facts;
  return stat(path, &facts) == 0 && S_ISDIR(facts.st_mode);
}

// Handle 0 is no handle: a descriptor of 0, which a process without standard input gets, is moved up.
int aboveZero(int descriptor) {
  if (descriptor != 0) return descriptor;
  const int moved = fcntl(descriptor, F_DUPFD_CLOEXEC, 1);
  const int reason = errno;
  close(descriptor);
  errno = reason;
  return moved;
}

// Locks of all openers are on the same byte.
bool lock(int handle, short kind) {
  struct flock range = {};
  range.l_type = kind;
  range.l_whence = SEEK_SET;
  range.l_start = 1;
  range.l_len = 1;
  return fcntl(handle, F_SETLK, &range) == 0;
}

class Opening {
 public:
  Opening(const unsigned char* name, unsigned long mode) : path(name), mode(mode) {}

  // The steps; each answers false with `errno` set.
  bool run();

  int handle = 0;
  PathText path;           // what is opened
  bool isPathNew = false;  // the caller's name is not the path

 private:
  bool makeTemporary();
  bool mapSpecial();
  bool applyEnvironment(const SpecialName& special);
  bool create();
  bool handOutNew(int made);
  bool openExisting();
  bool locate();
  bool takeLock();
  bool wants(unsigned long bit) const { return (mode & bit) != 0; }

  unsigned long mode;
  PathText located;  // the path that the search found, once it was tried
};

bool Opening::run() {
  if (!wants(bosOpenTemporary) && !path.fits()) return false;
  if (wants(bosOpenTemporary)) return makeTemporary();
  if (wants(bosOpenMapSpecial) && !mapSpecial()) return false;
  return wants(bosOpenCreate) ? create() : openExisting();
}

// The name and the file are made in one, so that nobody can put another file there in between.
bool Opening::makeTemporary() {
  path.clear();
  for (const char* variable : {"TMPDIR", "ZU_TMPDIR"}) {
    const char* directory = secure_getenv(variable);
    if (directory && isDirectory(directory)) {
      path.append(directory);
      break;
    }
  }
  if (path.fits() && path.size() == 0) path.set("/tmp");
  path.endWithSlash();
  path.append("zuXXXXXX");
  if (!path.fits()) return false;
  const int made = aboveZero(mkostemp(path.text(), O_CLOEXEC));
  if (made < 0) return false;
  if (traced(TRACE_FILE_OPEN)) std::printf("bosfopen: Temp File %s ", path.text());
  isPathNew = true;
  return handOutNew(made);
}

bool Opening::mapSpecial() {
  const SpecialName* special = findSpecialName(path.text());
  if (!special) return true;
  mode |= bosOpenIsSpecial;
  if (traced(TRACE_FILE_OPEN)) std::printf("bosfopen: Replacing %s ", path.text());
  const PathText plain = path;
  if (const char* home = secure_getenv("HOME")) path.set(home).append("/").append(plain.text());
  if (!path.fits() || !applyEnvironment(*special)) return false;
  if (traced(TRACE_FILE_OPEN)) std::printf("with %s\n", path.text());
  isPathNew = true;
  return true;
}

bool Opening::applyEnvironment(const SpecialName& special) {
  const char* value = valueOf(special);
  if (!special.variableWins) {
    if (value && !bosexist(path.name())) path.set(value);
    return path.fits();
  }
  if (value) path.set(value);
  if (!path.fits()) return false;
  const int attributes = bosfattr(path.name());
  if (attributes & bosAttrDirectory) errno = EISDIR;
  return (attributes & (bosAttrDirectory | bosAttrNotFound | bosAttrUnknown)) == 0;
}

bool Opening::create() {
  int flags = O_RDWR | O_CREAT | O_CLOEXEC;
  if (wants(bosOpenExclusive)) flags |= O_EXCL;
  errno = 0;
  const int opened = aboveZero(open(path.text(), flags, PERMISSIONS));
  if (opened < 0) return false;
  return handOutNew(opened);
}

// A file that was to be made is handed out with its read lock or without it; the write lock is not tried.
bool Opening::handOutNew(int made) {
  handle = made;
  mode &= ~static_cast<unsigned long>(bosOpenWriteLock);
  takeLock();
  return true;
}

bool Opening::openExisting() {
  const PathText* target = &path;
  for (;;) {
    int flags = (wants(bosOpenReadWrite) ? O_RDWR : O_RDONLY) | O_CLOEXEC;
    if (wants(bosOpenCreateIfMissing) && !bosexist(target->name())) flags |= O_CREAT;
    errno = 0;
    if (wants(bosOpenResolveOnly)) return true;
    handle = aboveZero(open(target->text(), flags, PERMISSIONS));
    if (handle > 0) return takeLock();
    handle = 0;
    if (!locate()) return false;
    target = &located;
  }
}

// Looks along "PATH", once. A search that finds nothing leaves the reason of the open.
bool Opening::locate() {
  if (!wants(bosOpenLocate)) return false;
  mode &= ~static_cast<unsigned long>(bosOpenLocate);
  const int reason = errno;
  unsigned char found[bosPathSize] = "";
  const bool isFound = bosLocateFile(found, path.name(), bosLocateCommandPath) == 0 && *found;
  if (isFound) located.set(found);
  errno = reason;
  return isFound;
}

// A file that cannot be locked is closed again.
bool Opening::takeLock() {
  short kind = 0;
  if (wants(bosOpenWriteLock) && wants(bosOpenReadWrite)) {
    kind = F_WRLCK;
  } else if (wants(bosOpenReadLock) && !wants(bosOpenNoReadLock)) {
    kind = F_RDLCK;
  } else {
    return true;
  }
  return lock(handle, kind);
}

// `told` is null when the caller does not ask for the true path.
int openFile(const unsigned char* name, unsigned long mode, int* handle, unsigned char* told) {
  if (traced(TRACE_FILE_OPEN)) std::printf("bosfopen - File:%s\n", reinterpret_cast<const char*>(name));
  Opening opening(name, mode);
  if (!opening.run()) {
    const int reason = errno;
    if (opening.handle > 0) close(opening.handle);
    if (ZuErrorKeeper::getErrorList())
      bosMapError(reason, opening.path.size() > 0 ? opening.path.name() : name);
    return 1;
  }
  if (opening.isPathNew && told) opening.path.copyTo(told);
  *handle = opening.handle;
  return 0;
}

}  // namespace

int bosFileOpen(unsigned char* name, unsigned long mode, int* handle) {
  return openFile(name, mode, handle, name);
}

int bosFileOpen(const unsigned char* name, unsigned long mode, int* handle) {
  return openFile(name, mode, handle, nullptr);
}

int bosFileOpen(unsigned char* name, unsigned long mode, int* handle, const char*, const char*) {
  return bosFileOpen(name, mode, handle);
}

int bosFileOpen(const unsigned short* name, unsigned long mode, int* handle) {
  const zuos::NarrowName narrow(name);
  return narrow.converts() ? bosFileOpen(narrow.text(), mode, handle) : 1;
}
