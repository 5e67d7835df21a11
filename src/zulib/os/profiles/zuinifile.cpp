#include "zulib/os/profiles/internal/zuinifile.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "zulib/os/profiles/internal/zuinitrace.h"
#include "zulib/runtime/ram.h"
#include "zulib/runtime/zumessages.h"
#include "zulib/text/strcompare.h"

namespace zuini {
namespace {

const unsigned char* bytes(const char* text) { return reinterpret_cast<const unsigned char*>(text); }

// What `bosFileOpen` was made to know of the files of other systems. It is ignored.
constexpr char CREATOR[] = "ZUK?";
constexpr char TYPE[] = "TEXT";

// A file that can be read but not written: by its mode, or by the file system that it lies on.
bool isWriteDenied(unsigned short error) {
  return error == ZU_MSG_NOT_PERMITTED || error == ZU_MSG_ACCESS_DENIED ||
         error == ZU_MSG_SHARING_VIOLATION || error == ZU_MSG_READ_ONLY_DISK;
}

}  // namespace

bool mayBeMissing(const unsigned char* name) {
  if (strEqualCi(name, bytes("ODBCINST.INI")) || strEqualCi(name, bytes(".odbcinst.ini"))) return true;
  const char* variable = secure_getenv("ODBCINST");
  return variable && std::strcmp(variable, chars(name)) == 0;
}

FileReader::~FileReader() {
  if (handle > 0) bosFileClose(handle);
  std::free(text);
}

unsigned char* FileReader::giveText() {
  unsigned char* given = text;
  text = nullptr;
  return given;
}

FileReader::Outcome FileReader::run(const unsigned char* name) {
  if (isTraced(TRACE_OPEN)) std::printf("ZuIniOpen: File:%s \n", chars(name));
  if (!open(name)) return isAbsent ? absent : failed;
  return read() ? loaded : failed;
}

bool FileReader::open(const unsigned char* name) {
  const unsigned long nameLength = std::strlen(chars(name));
  if (nameLength >= bosPathSize) {
    bosMapError(ENAMETOOLONG, static_cast<const unsigned char*>(nullptr));
    return false;
  }
  const bool excused = mayBeMissing(name);
  mode = bosOpenMapSpecial | bosOpenCreateIfMissing | bosOpenReadWrite;
  for (;;) {
    NewErrors errors;
    std::memcpy(path, name, nameLength + 1);
    if (!bosFileOpen(path, mode, &handle, CREATOR, TYPE)) return true;
    handle = 0;
    if (!(excused ? tryAgainWithout(errors) : tryAgain(errors))) return false;
  }
}

// After a failure: true when a lesser mode is worth a try.
bool FileReader::tryAgain(NewErrors& errors) {
  const bool wantedToWrite = (mode & bosOpenReadWrite) != 0;
  if (!errors.areThere()) {
    mode &= ~static_cast<unsigned long>(bosOpenReadWrite | bosOpenCreateIfMissing);
    return wantedToWrite && !errors.isOutOfMemory();
  }
  if (wantedToWrite && isWriteDenied(errors.number())) {
    mode &= ~static_cast<unsigned long>(bosOpenReadWrite);
    errors.clear();
    return true;
  }
  errors.makeWarning();
  return false;
}

// The same for a file that may be missing. Without a record nobody can tell why it cannot be read, and it is
// taken to be missing.
bool FileReader::tryAgainWithout(NewErrors& errors) {
  if ((mode & bosOpenReadWrite) != 0) {
    mode &= ~static_cast<unsigned long>(bosOpenReadWrite | bosOpenCreateIfMissing);
    errors.clear();
    return true;
  }
  isAbsent = errors.number() == ZU_MSG_FILE_NOT_FOUND || (!errors.areThere() && !errors.isOutOfMemory());
  if (isAbsent) errors.clear();
  return false;
}

// Date and size are those of the opened file, whatever has taken its name since. They are taken before the
// text is read: a change in between makes the next request read again.
bool FileReader::read() {
  const std::time_t now = std::time(nullptr);
  struct stat facts;
  if (fstat(handle, &facts) != 0 || S_ISDIR(facts.st_mode)) {
    bosMapError(S_ISDIR(facts.st_mode) ? EISDIR : errno, path);
    return false;
  }
  const auto fileSize = static_cast<unsigned long>(facts.st_size);
  if (!fill(fileSize)) return false;
  if (facts.st_mtime < now) {
    date = static_cast<unsigned long>(facts.st_mtime);
    size = fileSize;
  }
  bosFileClose(handle);
  handle = 0;
  if (isTraced(TRACE_OPEN))
    std::printf("ZuIniOpen: File:%s FileSize %d\n", chars(path), static_cast<int>(fileSize));
  return true;
}

bool FileReader::fill(unsigned long fileSize) {
  text = static_cast<unsigned char*>(ramAlloc(fileSize + 1));
  if (!text) return false;
  while (length < fileSize) {
    unsigned long got = 0;
    bosFileRead(handle, static_cast<long long>(length), text + length, fileSize - length, &got);
    if (got > fileSize - length) {  // -1: it could not be read
      bosMapError(errno, path);
      return false;
    }
    if (got == 0) break;
    length += got;
  }
  text[length] = 0;
  return true;
}

}  // namespace zuini
