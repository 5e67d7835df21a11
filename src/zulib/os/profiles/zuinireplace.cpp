#include "zulib/os/profiles/internal/zuinireplace.h"

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "zulib/os/files/bosfile.h"
#include "zulib/os/internal/pathtext.h"

namespace zuini {
namespace {

using zuos::PathText;

enum class Outcome {
  done,
  failed,      // `errno` says why
  notAllowed,  // to be done in place
};

Outcome failure(std::initializer_list<int> excused) {
  for (const int reason : excused) {
    if (errno == reason) return Outcome::notAllowed;
  }
  return Outcome::failed;
}

bool writeAll(int handle, Bytes bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(handle, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) {
      if (written == 0) errno = ENOSPC;
      return false;
    }
    bytes = bytes.subspan(static_cast<std::size_t>(written));
  }
  return true;
}

bool writeAll(int handle, std::span<const Bytes> pieces) {
  for (const Bytes& piece : pieces) {
    if (!writeAll(handle, piece)) return false;
  }
  return true;
}

// Files of a kind that cannot be brought to a disk are content.
bool bringToDisk(int handle) { return fsync(handle) == 0 || errno == EINVAL; }

// A new file beside `target`, which goes again unless it has taken the target's place. What `errno` said
// before the end of its life it says afterwards.
class Neighbour {
 public:
  Neighbour() = default;
  Neighbour(const Neighbour&) = delete;
  Neighbour& operator=(const Neighbour&) = delete;
  ~Neighbour() {
    const int reason = errno;
    if (handle >= 0) close(handle);
    if (exists) unlink(path.text());
    errno = reason;
  }

  // `target` is absolute. The name does not grow with the target's, which may be as long as names can be.
  bool make(const char* target) {
    directory.append(target, static_cast<unsigned long>(strrchr(target, '/') + 1 - target));
    path = directory;
    path.append(".zuini.XXXXXX");
    if (!path.fits()) return false;
    handle = mkostemp(path.text(), O_CLOEXEC);
    exists = handle >= 0;
    return exists;
  }

  // Owner before mode: a change of owner takes bits of the mode away.
  bool takeAccess(const struct stat& facts) {
    struct stat own;
    if (fstat(handle, &own) != 0) return false;
    const bool sameOwner = own.st_uid == facts.st_uid && own.st_gid == facts.st_gid;
    if (!sameOwner && fchown(handle, facts.st_uid, facts.st_gid) != 0) return false;
    return fchmod(handle, facts.st_mode & 07777) == 0;
  }

  // The date that readers compare becomes that of the moment; the directory's entry is brought to the disk as
  // far as that is possible.
  bool takePlaceOf(const char* target) {
    futimens(handle, nullptr);
    if (rename(path.text(), target) != 0) return false;
    exists = false;
    const int folder = open(directory.text(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder >= 0) {
      fsync(folder);
      close(folder);
    }
    return true;
  }

  int handle = -1;

 private:
  PathText directory;  // with its "/"
  PathText path;
  bool exists = false;
};

Outcome replaceByNeighbour(const char* target, const struct stat& facts, std::span<const Bytes> pieces) {
  Neighbour neighbour;
  if (!neighbour.make(target)) return failure({EACCES, EPERM, EROFS, ENAMETOOLONG});
  if (!neighbour.takeAccess(facts)) return failure({EACCES, EPERM, EINVAL});
  if (!writeAll(neighbour.handle, pieces) || !bringToDisk(neighbour.handle)) return Outcome::failed;
  if (!neighbour.takePlaceOf(target)) return failure({EACCES, EPERM, EBUSY, EXDEV});
  return Outcome::done;
}

// `path` with its symbolic links followed; a block of the C library.
Outcome replaceTarget(const unsigned char* path, int handle, std::span<const Bytes> pieces) {
  struct stat facts;
  if (fstat(handle, &facts) != 0) return Outcome::failed;
  if (!S_ISREG(facts.st_mode)) return Outcome::notAllowed;
  char* target = realpath(reinterpret_cast<const char*>(path), nullptr);
  if (!target) return failure({EACCES});
  const Outcome outcome = replaceByNeighbour(target, facts, pieces);
  free(target);
  return outcome;
}

unsigned long lengthOf(std::span<const Bytes> pieces) {
  unsigned long length = 0;
  for (const Bytes& piece : pieces) length += piece.size();
  return length;
}

// Room for the growth first, while the old text is still untouched.
bool reserve(int handle, unsigned long oldLength, unsigned long newLength) {
  if (newLength <= oldLength) return true;
  const int reason =
      posix_fallocate(handle, static_cast<off_t>(oldLength), static_cast<off_t>(newLength - oldLength));
  if (reason == 0 || reason == EINVAL || reason == EOPNOTSUPP) return true;
  errno = reason;
  return false;
}

bool fill(int handle, std::span<const Bytes> pieces) {
  return lseek(handle, 0, SEEK_SET) == 0 && writeAll(handle, pieces) &&
         ftruncate(handle, static_cast<off_t>(lengthOf(pieces))) == 0 && bringToDisk(handle);
}

Outcome rewriteInPlace(int handle, std::span<const Bytes> pieces, Bytes oldText) {
  if (reserve(handle, oldText.size(), lengthOf(pieces)) && fill(handle, pieces)) return Outcome::done;
  const int reason = errno;
  fill(handle, {&oldText, 1});
  errno = reason;
  return Outcome::failed;
}

}  // namespace

int replaceFile(const unsigned char* path, int handle, std::span<const Bytes> pieces, Bytes oldText) {
  Outcome outcome = replaceTarget(path, handle, pieces);
  if (outcome == Outcome::notAllowed) outcome = rewriteInPlace(handle, pieces, oldText);
  if (outcome == Outcome::done) return 0;
  bosMapError(errno, path);
  return 1;
}

}  // namespace zuini
