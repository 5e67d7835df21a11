#include "zulib/cursor/rows/cfile.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr mode_t kOwnerOnly = S_IRUSR | S_IWUSR;
constexpr char kDirectoryVariable[] = "ODBCTMPDIR";
constexpr char kDefaultDirectory[] = "/tmp";

bool aboveFileSizeLimit(off_t end) {
  struct rlimit limit;
  return getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY &&
         static_cast<rlim_t>(end) > limit.rlim_cur;
}

// Repeats `move(done)`, which returns like read and write, until `count` bytes have moved.
template <class Move>
void moveAll(std::size_t count, Move&& move) {
  std::size_t done = 0;
  while (done < count) {
    const ssize_t moved = move(done);
    if (moved < 0 && errno == EINTR) continue;
    if (moved <= 0) throw CFileException();
    done += static_cast<std::size_t>(moved);
  }
}

}  // namespace

CFile::CFile(const char* name, int flags) : fd(open(name, flags | O_CLOEXEC, kOwnerOnly)) {
  if (fd == -1) throw CFileException();
}

CFile::CFile(char* name) : fd(mkostemp(name, O_CLOEXEC)) {
  if (fd == -1) throw CFileException();
}

CFile::~CFile() {
  if (fd != -1) close(fd);
}

void CFile::fileSeek(off_t offset, int whence) {
  off_t base = 0;
  if (whence == SEEK_CUR) base = position;
  if (whence == SEEK_END) base = fileSize();
  off_t target;
  if (__builtin_add_overflow(base, offset, &target) || target < 0) throw CFileException();
  position = target;
}

off_t CFile::fileSize() const {
  struct stat facts;
  if (fstat(fd, &facts) != 0) throw CFileException();
  return facts.st_size;
}

void CFile::fileRead(void* bytes, std::size_t count) {
  moveAll(count, [&](std::size_t done) {
    return pread(fd, static_cast<char*>(bytes) + done, count - done, position + static_cast<off_t>(done));
  });
  position += static_cast<off_t>(count);
}

void CFile::fileWrite(const void* bytes, std::size_t count) {
  const off_t end = position + static_cast<off_t>(count);
  if (aboveFileSizeLimit(end)) throw CFileException();
  moveAll(count, [&](std::size_t done) {
    return pwrite(fd, static_cast<const char*>(bytes) + done, count - done,
                  position + static_cast<off_t>(done));
  });
  position = end;
}

void CFile::fileClose() {
  const int descriptor = fd;
  fd = -1;
  if (close(descriptor) != 0) throw CFileException();
}

void CFile::fileRemove(const char* name) {
  if (unlink(name) != 0) throw CFileException();
}

void GetTempFileName(const char*, const char* prefix, int, char* out, std::size_t outSize) {
  const char* directory = secure_getenv(kDirectoryVariable);
  if (!directory || !*directory) directory = kDefaultDirectory;
  const int length = std::snprintf(out, outSize, "%s/%sXXXXXX", directory, prefix);
  if (length < 0 || static_cast<std::size_t>(length) >= outSize) throw CFileException();
}
