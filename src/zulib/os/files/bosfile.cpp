#include "zulib/os/files/bosfile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>

#include "zulib/errors/zuerror.h"
#include "zulib/os/internal/pathtext.h"
#include "zulib/runtime/ram.h"
#include "zulib/runtime/zumessages.h"

using zuos::NarrowName;

namespace {

constexpr long long CURRENT_POSITION = -1;

constexpr const unsigned char* NO_NAME = nullptr;

const char* chars(const unsigned char* name) { return reinterpret_cast<const char*>(name); }

int answer(bool succeeded, const unsigned char* name = NO_NAME) {
  if (succeeded) return 0;
  bosMapError(errno, name);
  return 1;
}

bool seekUnlessCurrent(int handle, long long offset) {
  return offset == CURRENT_POSITION || lseek64(handle, offset, SEEK_SET) >= 0;
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

}  // namespace

ZuFileHandle::~ZuFileHandle() {
  if (closes) bosFileClose(handle);
  if (deletes && name) bosFileDelete(name);
}

int bosFileClose(int handle) {
  if (handle < 1) return 0;
  return answer(close(handle) == 0);
}

int bosFileRead(int handle, long long offset, void* buffer, unsigned long n, unsigned long* got) {
  // A read at another place than the wanted one would be worse than none.
  const bool placed = seekUnlessCurrent(handle, offset);
  *got = static_cast<unsigned long>(placed ? read(handle, buffer, n) : -1);
  return 0;
}

int bosFileWrite(int handle, long long offset, const void* buffer, unsigned long n) {
  if (!seekUnlessCurrent(handle, offset)) return answer(false);
  const ssize_t written = write(handle, buffer, n);
  if (written < 0) {
    addErrorOfOpenFile(errno == ENOSPC || errno == EDQUOT ? ZU_MSG_DISK_FULL : ZU_MSG_FILE_IO, handle);
    return 1;
  }
  // 16 bits are meant: callers keep their writes below 65536 bytes and rely on being told when they do not.
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
    bosMapError(EILSEQ, NO_NAME);
    return 1;
  }
  return bosFileWrite(handle, offset, static_cast<unsigned char*>(bytes), static_cast<unsigned long>(length));
}

int bosFileSeek(int handle, long long offset, int whence) {
  return answer(lseek64(handle, offset, whence) >= 0);
}

int bosFileSize(int handle, long long size) { return ftruncate(handle, size) == 0 ? 0 : 1; }

int bosFileTruncate(int handle, long long size) { return answer(ftruncate(handle, size) == 0); }

int bosFileTruncate(const unsigned char* name, long long size) {
  return answer(truncate(chars(name), size) == 0, name);
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
