#include "zulib/os/files/boserror.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>

#include "zulib/codepages/zutextconvert.h"
#include "zulib/errors/zuerror.h"
#include "zulib/os/internal/tracing.h"
#include "zulib/runtime/zuhooks.h"
#include "zulib/runtime/zumessages.h"

namespace {

struct MappedError {
  int errnum;
  unsigned short number;
  bool withName;
};

constexpr MappedError kMappedErrors[] = {
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

// With a name: the catalog's text, in UTF-8, which takes the explanation and the name. Without a name, or if
// no catalog has that text: the explanation alone.
void addExplained(const char* explanation, const unsigned char* name) {
  const unsigned char* const plain = zuos::bytes(explanation);
  unsigned char frame[zuhooks::kTextSize];
  zuhooks::readText(frame, ZU_TEXT_FILE_ERROR_REASON);
  if (*name && std::strstr(zuos::chars(frame), "%s1")) {
    addDatabaseError(ZU_MSG_FILE_IO, 0, frame, ErrTypeError, zuCPUTF8) << plain << name;
  } else {
    addError(ZU_MSG_FILE_IO, plain);
  }
}

}  // namespace

void bosMapError(int errnum, const unsigned char* name) {
  if (!name) name = zuos::bytes("");
  const auto* const mapped =
      std::find_if(std::begin(kMappedErrors), std::end(kMappedErrors),
                   [errnum](const MappedError& each) { return each.errnum == errnum; });
  if (mapped == std::end(kMappedErrors)) {
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
