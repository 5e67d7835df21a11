// The library's error for each errno.

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>

#include "zulib/errors/zuerror.h"
#include "zulib/os/catalogs/zuresource.h"
#include "zulib/os/files/bosfile.h"
#include "zulib/os/internal/pathtext.h"
#include "zulib/runtime/zumessages.h"

namespace {

struct MappedError {
  int errnum;
  unsigned short number;
  bool withName;
};

constexpr MappedError MAPPED_ERRORS[] = {
    {EPERM, ZU_MSG_NOT_PERMITTED, true},
    {ENOENT, ZU_MSG_FILE_NOT_FOUND, true},
    {EIO, ZU_MSG_FILE_IO, true},
    {EBADF, ZU_MSG_BAD_FILE_HANDLE, false},
    {EAGAIN, ZU_MSG_FILE_LOCKED, false},
    {ENOMEM, ZU_MSG_SYSTEM_MEMORY, false},
    {EACCES, ZU_MSG_ACCESS_DENIED, true},
    {EEXIST, ZU_MSG_FILE_EXISTS, true},
    {EMFILE, ZU_MSG_TOO_MANY_FILES, false},
    {ENOSPC, ZU_MSG_DISK_FULL, true},
    {EROFS, ZU_MSG_READ_ONLY_DISK, true},
    {EDEADLK, ZU_MSG_LOCK_DEADLOCK, true},
    {ENOLCK, ZU_MSG_NO_LOCKS_LEFT, false},
};

// The name's own text when there is one, with the explanation and the name as its parameters. Without a
// text that takes them the explanation stands alone: a number by itself would explain nothing.
void addExplained(const char* explanation, const unsigned char* name) {
  const auto* plain = reinterpret_cast<const unsigned char*>(explanation);
  const ZuResourceString frame(ZU_TEXT_FILE_ERROR_REASON);
  const unsigned char* text = frame;
  if (*name && std::strstr(reinterpret_cast<const char*>(text), "%s1")) {
    addError(ZU_MSG_FILE_IO, text) << plain << name;
  } else {
    addError(ZU_MSG_FILE_IO, plain);
  }
}

}  // namespace

void bosMapError(int errnum, const unsigned char* name) {
  if (!name) name = reinterpret_cast<const unsigned char*>("");
  const auto* mapped = std::find_if(std::begin(MAPPED_ERRORS), std::end(MAPPED_ERRORS),
                                    [errnum](const MappedError& e) { return e.errnum == errnum; });
  if (mapped == std::end(MAPPED_ERRORS)) {
    char scratch[256];
    addExplained(strerror_r(errnum, scratch, sizeof scratch), name);
    return;
  }
  ZuError& error = addError(mapped->number);
  if (mapped->withName) error << name;
}

void bosMapError(int errnum, const unsigned short* name) {
  unsigned char narrow[bosPathSize];
  const bool converts = name && zuGetANSIStrFromUTF16Str(name, narrow, bosPathSize) >= 0;
  bosMapError(errnum, converts ? narrow : nullptr);
}
