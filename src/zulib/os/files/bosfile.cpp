#include "zulib/os/files/bosfile.h"

#include <fcntl.h>
#include <stdlib.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <initializer_list>

#include "zulib/errors/zuerror.h"
#include "zulib/os/internal/pathtext.h"
#include "zulib/os/internal/tracing.h"
#include "zulib/os/loading/boslocate.h"
#include "zulib/runtime/ram.h"
#include "zulib/runtime/zumessages.h"

using zuos::chars;
using zuos::kTraceFileOpen;
using zuos::NarrowName;
using zuos::PathText;
using zuos::traced;

namespace {

constexpr long long kCurrentPosition = -1;

constexpr const unsigned char* kNoName = nullptr;

// The result of an operation: 0, or 1 with the error of `errno` recorded.
int resultOf(bool succeeded, const unsigned char* name = kNoName) {
  if (succeeded) return 0;
  bosMapError(errno, name);
  return 1;
}

bool seekUnlessCurrent(int handle, long long offset) {
  return offset == kCurrentPosition || lseek64(handle, offset, SEEK_SET) >= 0;
}

// Records an error of an open file, with the path by which the system knows it; empty when it knows none.
void addErrorOfOpenFile(unsigned short number, int handle) {
  char link[32];
  std::snprintf(link, sizeof link, "/proc/self/fd/%d", handle);
  char path[bosPathSize];
  const ssize_t length = readlink(link, path, sizeof path - 1);
  path[length > 0 ? length : 0] = 0;
  addError(number) << path;
}

// bosFileOpen: the name is made or mapped first, then the file is opened, then locked.

constexpr mode_t kPermissions = 0666;

// The file that a special name means.
struct SpecialName {
  const char* name;
  const char* variables[2];  // of the environment; the first that is set counts
  bool ignoresCase;
  bool variableWins;  // else it is a fallback for a missing file
};

constexpr SpecialName kSpecialNames[] = {
    {"ODBC.INI", {"ODBCINI", "ODBC_INI"}, true, true},
    {".odbc.ini", {"ODBCINI", "ODBC_INI"}, true, true},
    {"ODBCINST.INI", {"ODBCINST", "ODBCINSTINI"}, true, true},
    {".odbcinst.ini", {"ODBCINST", "ODBCINSTINI"}, true, true},
    {".zulib.ini", {"ZULIB_INI", nullptr}, false, false},
    {".system.defaults", {"ZU_SYSTEM_INI", nullptr}, false, false},
};

const SpecialName* findSpecialName(const char* name) {
  for (const SpecialName& special : kSpecialNames) {
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

  // Returns false with `errno` set, as every step does.
  bool run();

  int handle = 0;
  PathText path;           // what is opened
  bool isPathNew = false;  // the caller's name is not the path

 private:
  bool makeTemporary();
  bool mapSpecial();
  bool applyEnvironment(const SpecialName& special);
  bool create();
  bool returnNew(int made);
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

// Name and file are created in one step, so that nobody can put another file there in between.
bool Opening::makeTemporary() {
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
  if (traced(kTraceFileOpen)) std::printf("bosfopen: Temp File %s ", path.text());
  isPathNew = true;
  return returnNew(made);
}

bool Opening::mapSpecial() {
  const SpecialName* special = findSpecialName(path.text());
  if (!special) return true;
  mode |= bosOpenIsSpecial;
  if (traced(kTraceFileOpen)) std::printf("bosfopen: Replacing %s ", path.text());
  const PathText plain = path;
  if (const char* home = secure_getenv("HOME")) path.set(home).append("/").append(plain.text());
  if (!path.fits() || !applyEnvironment(*special)) return false;
  if (traced(kTraceFileOpen)) std::printf("with %s\n", path.text());
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
  const int opened = aboveZero(open(path.text(), flags, kPermissions));
  if (opened < 0) return false;
  return returnNew(opened);
}

// A created file is returned with its read lock or without it; the write lock is not tried.
bool Opening::returnNew(int made) {
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
    handle = aboveZero(open(target->text(), flags, kPermissions));
    if (handle > 0) return takeLock();
    handle = 0;
    if (!locate()) return false;
    target = &located;
  }
}

// Searches "PATH", once. A search that finds nothing leaves the `errno` of the open.
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

// `told` receives the true path, unless it is null.
int openFile(const unsigned char* name, unsigned long mode, int* handle, unsigned char* told) {
  // For a temporary file the caller's buffer holds no name yet.
  if (mode & bosOpenTemporary) name = zuos::bytes("");
  if (traced(kTraceFileOpen)) std::printf("bosfopen - File:%s\n", chars(name));
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
  const NarrowName narrow(name);
  return narrow.converts() ? bosFileOpen(narrow.text(), mode, handle) : 1;
}

ZuFileHandle::~ZuFileHandle() {
  if (closes) bosFileClose(handle);
  if (deletes && name) bosFileDelete(name);
}

int bosFileClose(int handle) {
  if (handle < 1) return 0;
  return resultOf(close(handle) == 0);
}

int bosFileRead(int handle, long long offset, void* buffer, unsigned long n, unsigned long* got) {
  // After a failed seek the read would be at another place than the caller asked for.
  const bool placed = seekUnlessCurrent(handle, offset);
  *got = static_cast<unsigned long>(placed ? read(handle, buffer, n) : -1);
  return 0;
}

int bosFileWrite(int handle, long long offset, const void* buffer, unsigned long n) {
  if (!seekUnlessCurrent(handle, offset)) return resultOf(false);
  const ssize_t written = write(handle, buffer, n);
  if (written < 0) {
    addErrorOfOpenFile(errno == ENOSPC || errno == EDQUOT ? ZU_MSG_DISK_FULL : ZU_MSG_FILE_IO, handle);
    return 1;
  }
  // Kept in 16 bits: callers write less than 65536 bytes at a time and rely on the failure if they do not.
  const auto count = static_cast<std::uint16_t>(written);
  if (count == n) return 0;
  addErrorOfOpenFile(count == 0 ? ZU_MSG_DISK_FULL : ZU_MSG_FILE_IO, handle);
  return 1;
}

int bosFileWrite(int handle, long long offset, const unsigned short* text, unsigned long n, int toUtf8) {
  if (!toUtf8) return bosFileWrite(handle, offset, text, n);
  AFPU8 terminated;
  terminated = static_cast<unsigned char*>(ramAlloc((n + 1) * sizeof *text));
  AFPU8 bytes;
  bytes = static_cast<unsigned char*>(ramAlloc(4 * n + 1));
  if (!terminated || !bytes) return 1;
  auto* units = reinterpret_cast<unsigned short*>(static_cast<unsigned char*>(terminated));
  strCopy(units, text, n);
  const long length = zuGetUTF8StrFromUTF16Str(units, bytes, 4 * n + 1);
  if (length < 0) {
    bosMapError(EILSEQ, kNoName);
    return 1;
  }
  return bosFileWrite(handle, offset, static_cast<unsigned char*>(bytes), static_cast<unsigned long>(length));
}

int bosFileSeek(int handle, long long offset, int whence) {
  return resultOf(lseek64(handle, offset, whence) >= 0);
}

int bosFileSize(int handle, long long size) { return ftruncate(handle, size) == 0 ? 0 : 1; }

int bosFileTruncate(int handle, long long size) { return resultOf(ftruncate(handle, size) == 0); }

int bosFileTruncate(const unsigned char* name, long long size) {
  return resultOf(truncate(chars(name), size) == 0, name);
}

int bosFileDateSize(const unsigned char* name, unsigned long* date, unsigned long* size) {
  struct stat facts;
  if (stat(chars(name), &facts) != 0) return 1;
  *date = static_cast<unsigned long>(facts.st_mtime);
  *size = static_cast<unsigned long>(facts.st_size);
  return 0;
}

int bosFileDelete(const unsigned char* name) {
  if (unlink(chars(name)) == 0 || errno == ENOENT) return 0;
  addError(ZU_MSG_FILE_NOT_DELETED) << name;
  return 1;
}

int bosFileDelete(const unsigned short* name) {
  const NarrowName narrow(name);
  return narrow.converts() ? bosFileDelete(narrow.text()) : 1;
}

int bosrname(const unsigned char* oldName, const unsigned char* newName) {
  // A link fails where a rename would replace the target.
  if (link(chars(oldName), chars(newName)) == 0) {
    if (unlink(chars(oldName)) == 0) return 0;
    unlink(chars(newName));
  }
  addError(ZU_MSG_FILE_NOT_RENAMED) << oldName << newName;
  return 1;
}

int bosrname(const unsigned short* oldName, const unsigned short* newName) {
  const NarrowName from(oldName);
  const NarrowName to(newName);
  return from.converts() && to.converts() ? bosrname(from.text(), to.text()) : 1;
}
