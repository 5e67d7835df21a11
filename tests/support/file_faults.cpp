#include "tests/support/file_faults.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>

namespace {

struct Faults {
  std::size_t calls = 0;
  std::size_t failing = 0;  // the call that fails, 0 for none
  int error = 0;
  std::size_t room = SIZE_MAX;  // bytes that may still be written
  bool fired = false;
  bool names = false;

  bool nextFails(bool isName = false) {
    if (isName && !names) return false;
    if (failing == 0 || ++calls != failing) return false;
    fired = true;
    errno = error;
    return true;
  }
};

Faults faults;

}  // namespace

extern "C" {
int __real_open(const char* path, int flags, ...);
int __real_mkostemp(char* pattern, int flags);
ssize_t __real_read(int handle, void* bytes, size_t n);
ssize_t __real_pread(int handle, void* bytes, size_t n, off_t offset);
ssize_t __real_write(int handle, const void* bytes, size_t n);
off64_t __real_lseek64(int handle, off64_t offset, int whence);
int __real_close(int handle);
int __real_link(const char* from, const char* to);
int __real_unlink(const char* path);

int __wrap_open(const char* path, int flags, mode_t mode) {
  return faults.nextFails() ? -1 : __real_open(path, flags, mode);
}
int __wrap_mkostemp(char* pattern, int flags) {
  return faults.nextFails() ? -1 : __real_mkostemp(pattern, flags);
}
ssize_t __wrap_read(int handle, void* bytes, size_t n) {
  return faults.nextFails() ? -1 : __real_read(handle, bytes, n);
}
ssize_t __wrap_pread(int handle, void* bytes, size_t n, off_t offset) {
  return faults.nextFails() ? -1 : __real_pread(handle, bytes, n, offset);
}
ssize_t __wrap_write(int handle, const void* bytes, size_t n) {
  if (faults.nextFails()) return -1;
  const size_t taken = std::min(n, faults.room);
  if (faults.room != SIZE_MAX) faults.room -= taken;
  if (taken == n) return __real_write(handle, bytes, n);
  faults.fired = true;
  errno = ENOSPC;
  return taken == 0 ? -1 : __real_write(handle, bytes, taken);
}
off64_t __wrap_lseek64(int handle, off64_t offset, int whence) {
  return faults.nextFails() ? -1 : __real_lseek64(handle, offset, whence);
}
int __wrap_link(const char* from, const char* to) {
  return faults.nextFails(true) ? -1 : __real_link(from, to);
}
int __wrap_unlink(const char* path) { return faults.nextFails(true) ? -1 : __real_unlink(path); }
int __wrap_close(int handle) {
  const bool fails = faults.nextFails();
  const int result = __real_close(handle);
  if (fails) errno = faults.error;
  return fails ? -1 : result;
}
}

FileFaults::FileFaults(bool names) {
  stop();
  faults.names = names;
}
FileFaults::~FileFaults() { stop(); }

void FileFaults::failAt(std::size_t n, int error) {
  faults = {.names = faults.names};
  faults.failing = n;
  faults.error = error;
}

void FileFaults::fillDiskAfter(std::size_t n) {
  faults = {.names = faults.names};
  faults.room = n;
}

void FileFaults::stop() {
  faults.failing = 0;
  faults.room = SIZE_MAX;
}

bool FileFaults::triggered() const { return faults.fired; }

std::size_t sweepFileCalls(const std::function<bool(FileFaults&)>& scenario, bool names) {
  constexpr std::size_t kTooMany = 5000;
  FileFaults armed(names);
  for (std::size_t n = 1; n < kTooMany; ++n) {
    armed.failAt(n, EIO);
    const bool succeeded = scenario(armed);
    EXPECT_EQ(succeeded, !armed.triggered()) << "call " << n;
    if (!armed.triggered()) return n - 1;
  }
  ADD_FAILURE() << "no end";
  return kTooMany;
}
