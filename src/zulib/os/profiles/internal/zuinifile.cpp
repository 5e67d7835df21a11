#include "zulib/os/profiles/internal/zuinifile.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <initializer_list>

#include "zulib/os/internal/pathtext.h"
#include "zulib/os/internal/tracing.h"
#include "zulib/runtime/ram.h"
#include "zulib/runtime/zumessages.h"
#include "zulib/text/strcompare.h"

using zuos::bytes;
using zuos::chars;
using zuos::PathText;

namespace zuini {
namespace {

// What `bosFileOpen` was made to know of the files of other systems. It ignores both.
constexpr char kCreator[] = "ZUK?";
constexpr char kType[] = "TEXT";

bool isOneOf(int reason, std::initializer_list<int> reasons) {
  for (const int each : reasons) {
    if (reason == each) return true;
  }
  return false;
}

// The file can be read but not written, because of its mode or of the file system.
bool isWriteDenied(unsigned short error) {
  return error == ZU_MSG_NOT_PERMITTED || error == ZU_MSG_ACCESS_DENIED ||
         error == ZU_MSG_SHARING_VIOLATION || error == ZU_MSG_READ_ONLY_DISK;
}

// A failure that may be due to the advisory lock of `bosFileOpen`.
bool isLockRefused(unsigned short error) {
  return error == ZU_MSG_FILE_IN_USE || error == ZU_MSG_ACCESS_DENIED || error == ZU_MSG_SHARING_VIOLATION;
}

unsigned long without(unsigned long mode, unsigned long bits) { return mode & ~bits; }

}  // namespace

bool mayBeMissing(const unsigned char* name) {
  if (strEqualCi(name, bytes("ODBCINST.INI")) || strEqualCi(name, bytes(".odbcinst.ini"))) return true;
  const char* const variable = secure_getenv("ODBCINST");
  return variable && std::strcmp(variable, chars(name)) == 0;
}

FileText::~FileText() { free(text); }

unsigned char* FileText::give() {
  unsigned char* const given = text;
  text = nullptr;
  length = 0;
  return given;
}

// Date and size are taken from the open file, whatever has got its name since, and before the text is read: a
// change in between makes the next request read again.
int FileText::read(int handle, const unsigned char* path) {
  const std::time_t now = std::time(nullptr);
  struct stat facts;
  if (fstat(handle, &facts) != 0 || S_ISDIR(facts.st_mode)) {
    bosMapError(S_ISDIR(facts.st_mode) ? EISDIR : errno, path);
    return 1;
  }
  const auto fileSize = static_cast<unsigned long>(facts.st_size);
  free(text);
  length = 0;
  text = static_cast<unsigned char*>(ramAlloc(fileSize + 1));
  if (!text) return 1;
  if (!fill(handle, fileSize)) {
    bosMapError(errno, path);
    return 1;
  }
  date = facts.st_mtime < now ? static_cast<unsigned long>(facts.st_mtime) : 0;
  size = date ? fileSize : 0;
  return 0;
}

bool FileText::fill(int handle, unsigned long fileSize) {
  while (length < fileSize) {
    unsigned long got = 0;
    bosFileRead(handle, static_cast<long long>(length), text + length, fileSize - length, &got);
    if (got > fileSize - length) return false;  // -1: it could not be read
    if (got == 0) break;
    length += got;
  }
  text[length] = 0;
  return true;
}

FileReader::~FileReader() {
  if (handle > 0) bosFileClose(handle);
}

FileReader::Outcome FileReader::run(const unsigned char* name) {
  const bool traced = zuos::traced(zuos::kTraceProfileOpen);
  if (traced) std::printf("ZuIniOpen: File:%s \n", chars(name));
  if (!open(name)) return isAbsent ? Outcome::Absent : Outcome::Failed;
  if (text.read(handle, path)) return Outcome::Failed;
  if (traced)
    std::printf("ZuIniOpen: File:%s FileSize %d\n", chars(path), static_cast<int>(text.view().size()));
  return Outcome::Loaded;
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
    if (!bosFileOpen(path, mode, &handle, kCreator, kType)) return true;
    handle = 0;
    if (!(excused ? tryAgainWithout(errors) : tryAgain(errors))) return false;
  }
}

// After a failure: returns true if a lesser mode is worth a try.
bool FileReader::tryAgain(NewErrors& errors) {
  const bool wantedToWrite = (mode & bosOpenReadWrite) != 0;
  if (!errors.areThere()) {
    mode = without(mode, bosOpenReadWrite | bosOpenCreateIfMissing);
    return wantedToWrite && !errors.isOutOfMemory();
  }
  if (wantedToWrite && isWriteDenied(errors.number())) {
    mode = without(mode, bosOpenReadWrite);
    errors.clear();
    return true;
  }
  errors.makeWarning();
  return false;
}

// The same for a file that may be missing. Without a record the reason is not known, and it counts as
// missing.
bool FileReader::tryAgainWithout(NewErrors& errors) {
  if ((mode & bosOpenReadWrite) != 0) {
    mode = without(mode, bosOpenReadWrite | bosOpenCreateIfMissing);
    errors.clear();
    return true;
  }
  isAbsent = errors.number() == ZU_MSG_FILE_NOT_FOUND || (!errors.areThere() && !errors.isOutOfMemory());
  if (isAbsent) errors.clear();
  return false;
}

namespace {

// The writers' lock is on a byte that no file has and no other lock of ours is on. It belongs to the open
// file and not to the process, so it works between threads too.
struct flock writersLock(short kind) {
  struct flock range = {};
  range.l_type = kind;
  range.l_whence = SEEK_SET;
  range.l_start = 0x3FFFFFFFFFFFFFFF;
  range.l_len = 1;
  return range;
}

// File systems without locks are written without one.
void waitForLock(int handle) {
  struct flock range = writersLock(F_WRLCK);
  while (fcntl(handle, F_OFD_SETLKW, &range) != 0 && errno == EINTR) {
  }
}

// A process that was forked off meanwhile has the open file, and the lock with it, as well: closing is not
// enough.
void giveUpLock(int handle) {
  struct flock range = writersLock(F_UNLCK);
  static_cast<void>(fcntl(handle, F_OFD_SETLK, &range));
}

enum class Outcome {
  Done,
  Failed,      // `errno` gives the reason
  NotAllowed,  // the file is to be rewritten in place
};

// The outcome of a step that has just failed.
Outcome failure(std::initializer_list<int> excused) {
  return isOneOf(errno, excused) ? Outcome::NotAllowed : Outcome::Failed;
}

bool writeAll(int handle, Bytes text) {
  while (!text.empty()) {
    const ssize_t written = write(handle, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) {
      if (written == 0) errno = ENOSPC;
      return false;
    }
    text = text.subspan(static_cast<std::size_t>(written));
  }
  return true;
}

bool writeAll(int handle, std::span<const Bytes> pieces) {
  for (const Bytes& piece : pieces) {
    if (!writeAll(handle, piece)) return false;
  }
  return true;
}

// Some kinds of file cannot be brought to a disk and need not be.
bool bringToDisk(int handle) { return fsync(handle) == 0 || errno == EINVAL; }

// The names of a file's extended attributes, access lists among them, each terminated.
class Attributes {
 public:
  // False if they are more than fit, or cannot be listed.
  bool list(int handle) {
    length = flistxattr(handle, names, sizeof names);
    if (length < 0 && errno == ENOTSUP) length = 0;
    return length >= 0;
  }

  // Copies the attributes of the file `from`, which this has listed, to the file `to`. False if one cannot be
  // copied, or if the new file has others.
  bool copy(int from, int to) const {
    for (const char* name = names; name < names + length; name += std::strlen(name) + 1) {
      char value[kMostBytes];
      char own[kMostBytes];
      const ssize_t n = fgetxattr(from, name, value, sizeof value);
      if (n < 0) return false;
      const auto bytes = static_cast<std::size_t>(n);
      // A label that the system gave to both may be one that the process may not set.
      const bool isSame = fgetxattr(to, name, own, sizeof own) == n && std::memcmp(own, value, bytes) == 0;
      if (!isSame && fsetxattr(to, name, value, bytes, 0) != 0) return false;
    }
    Attributes copied;
    return copied.list(to) && copied.length == length;
  }

 private:
  static constexpr std::size_t kMostBytes = 4096;
  char names[kMostBytes];
  ssize_t length = 0;
};

// A new file in the directory of the one it replaces. It has no name while it is written, where the file
// system allows that, so a process that is killed leaves nothing. Its name follows from the old file, whose
// lock the writer holds: one that a killed writer left is removed by the next.
//
// What `errno` was before the end of its life it is afterwards.
class Neighbour {
 public:
  Neighbour() = default;
  Neighbour(const Neighbour&) = delete;
  Neighbour& operator=(const Neighbour&) = delete;
  ~Neighbour() {
    const int reason = errno;
    if (handle >= 0) close(handle);
    if (hasName) unlink(path.text());
    errno = reason;
  }

  // `target` is absolute, and `facts` are the file's.
  bool make(const char* target, const struct stat& facts) {
    directory.append(target, static_cast<unsigned long>(std::strrchr(target, '/') + 1 - target));
    path = directory;
    char name[32];
    std::snprintf(name, sizeof name, ".zuini.%llx", static_cast<unsigned long long>(facts.st_ino));
    path.append(name);
    if (!path.fits()) return false;
    unlink(path.text());
    handle = open(directory.text(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600);
    if (handle < 0) {
      handle = open(path.text(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0600);
      hasName = handle >= 0;
    }
    return handle >= 0;
  }

  // Owner before mode, since a change of owner takes bits of the mode away; the mode before an access list,
  // which it would change.
  bool takeAccess(const struct stat& facts, int from) {
    struct stat own;
    if (fstat(handle, &own) != 0) return false;
    const bool sameOwner = own.st_uid == facts.st_uid && own.st_gid == facts.st_gid;
    if (!sameOwner && fchown(handle, facts.st_uid, facts.st_gid) != 0) return false;
    if (fchmod(handle, facts.st_mode & 07777) != 0) return false;
    Attributes attributes;
    return attributes.list(from) && attributes.copy(from, handle);
  }

  // The date that readers compare becomes the present; the directory's entry is brought to the disk as far as
  // that is possible.
  bool takePlaceOf(const char* target) {
    futimens(handle, nullptr);
    if (!giveName() || rename(path.text(), target) != 0) return false;
    hasName = false;
    const int folder = open(directory.text(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder >= 0) {
      fsync(folder);
      close(folder);
    }
    return true;
  }

  int handle = -1;

 private:
  bool giveName() {
    if (hasName) return true;
    char self[32];
    std::snprintf(self, sizeof self, "/proc/self/fd/%d", handle);
    hasName = linkat(AT_FDCWD, self, AT_FDCWD, path.text(), AT_SYMLINK_FOLLOW) == 0;
    return hasName;
  }

  PathText directory;  // with its "/"
  PathText path;
  bool hasName = false;
};

Outcome replaceByNeighbour(const char* target, int old, const struct stat& facts,
                           std::span<const Bytes> pieces) {
  Neighbour neighbour;
  if (!neighbour.make(target, facts))
    return failure({EACCES, EPERM, EEXIST, EROFS, ENAMETOOLONG, ENOSPC, EDQUOT});
  if (!neighbour.takeAccess(facts, old)) return Outcome::NotAllowed;
  if (!writeAll(neighbour.handle, pieces) || !bringToDisk(neighbour.handle)) return failure({ENOSPC, EDQUOT});
  if (!neighbour.takePlaceOf(target))
    return failure({EACCES, EPERM, EEXIST, EBUSY, EXDEV, ENOENT, EMLINK, ENOSPC, EDQUOT});
  return Outcome::Done;
}

Outcome replaceTarget(const unsigned char* path, int handle, std::span<const Bytes> pieces) {
  struct stat facts;
  if (fstat(handle, &facts) != 0) return Outcome::Failed;
  if (!S_ISREG(facts.st_mode) || facts.st_nlink > 1) return Outcome::NotAllowed;
  char* const target = realpath(chars(path), nullptr);  // the file that a symbolic link leads to
  if (!target) return failure({EACCES, ENOENT});
  const Outcome outcome = replaceByNeighbour(target, handle, facts, pieces);
  free(target);
  return outcome;
}

unsigned long lengthOf(std::span<const Bytes> pieces) {
  unsigned long length = 0;
  for (const Bytes& piece : pieces) length += piece.size();
  return length;
}

// Room for the growth, while the old text is still untouched.
bool reserve(int handle, unsigned long oldLength, unsigned long newLength) {
  if (newLength <= oldLength) return true;
  const int reason =
      posix_fallocate(handle, static_cast<off_t>(oldLength), static_cast<off_t>(newLength - oldLength));
  if (reason == 0 || isOneOf(reason, {EINVAL, EOPNOTSUPP, ENODEV, ESPIPE})) return true;
  errno = reason;
  return false;
}

bool fill(int handle, std::span<const Bytes> pieces) {
  return lseek(handle, 0, SEEK_SET) == 0 && writeAll(handle, pieces) &&
         ftruncate(handle, static_cast<off_t>(lengthOf(pieces))) == 0 && bringToDisk(handle);
}

bool rewriteInPlace(int handle, std::span<const Bytes> pieces, Bytes oldText) {
  if (reserve(handle, oldText.size(), lengthOf(pieces)) && fill(handle, pieces)) return true;
  const int reason = errno;
  fill(handle, {&oldText, 1});
  errno = reason;
  return false;
}

}  // namespace

FileWriter::~FileWriter() {
  if (handle <= 0) return;
  giveUpLock(handle);
  bosFileClose(handle);
}

bool FileWriter::open() {
  unsigned long mode = bosOpenWriteLock | bosOpenReadWrite | bosOpenCreate;
  for (;;) {
    NewErrors errors;
    if (!bosFileOpen(path, mode, &handle)) return true;
    handle = 0;
    if ((mode & bosOpenWriteLock) == 0 || !isLockRefused(errors.number())) return false;
    mode = without(mode, bosOpenWriteLock);
    errors.clear();
  }
}

// Whether the path still leads to the file that is open.
bool FileWriter::isStillThere() const {
  struct stat opened;
  struct stat named;
  return fstat(handle, &opened) == 0 && stat(chars(path), &named) == 0 && opened.st_ino == named.st_ino &&
         opened.st_dev == named.st_dev;
}

int FileWriter::begin() {
  // Each turn means that another writer has finished, unless the file system changes its inode numbers.
  constexpr int kMostTurns = 10000;
  for (int turn = 1;; ++turn) {
    if (!open()) return 1;
    waitForLock(handle);
    if (isStillThere() || turn == kMostTurns) return text.read(handle, path);
    giveUpLock(handle);
    bosFileClose(handle);
    handle = 0;
  }
}

int FileWriter::replace(std::span<const Bytes> pieces) {
  Outcome outcome = replaceTarget(path, handle, pieces);
  if (outcome == Outcome::NotAllowed && rewriteInPlace(handle, pieces, text.view())) outcome = Outcome::Done;
  if (outcome == Outcome::Done) return 0;
  bosMapError(errno, path);
  return 1;
}

}  // namespace zuini
