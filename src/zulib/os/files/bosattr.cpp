#include "zulib/os/files/bosattr.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "zulib/os/internal/pathtext.h"
#include "zulib/os/internal/tracing.h"

namespace {

// For the group's bit the owner's id is compared with the caller's group id. Kept: callers rely on which
// files count as read-only.
bool isReadOnly(const struct stat& facts) {
  mode_t writeBit = S_IWOTH;
  if (facts.st_uid == getuid()) {
    writeBit = S_IWUSR;
  } else if (facts.st_uid == getgid()) {
    writeBit = S_IWGRP;
  }
  return (facts.st_mode & writeBit) == 0;
}

}  // namespace

int bosfattr(const unsigned char* name) {
  const char* const path = zuos::chars(name);
  if (std::strcmp(path, "..") == 0) return bosAttrDirectory;
  struct stat facts;
  if (stat(path, &facts) != 0) return errno == ENOENT ? bosAttrNotFound : bosAttrUnknown;
  if (S_ISDIR(facts.st_mode)) return bosAttrDirectory;
  if (!S_ISREG(facts.st_mode)) return bosAttrOther;
  return isReadOnly(facts) ? bosAttrFile | bosAttrReadOnly : bosAttrFile;
}

int bosexist(const unsigned char* name) {
  const bool traced = zuos::traced(zuos::kTraceExistence);
  if (traced) std::printf("bosexist: Name=%s ", zuos::chars(name));
  const int exists = bosfattr(name) & bosAttrFile;
  if (traced) std::printf(" exists: %d\n", exists);
  return exists;
}

int bosexist(const unsigned short* name) {
  const zuos::NarrowName narrow(name);
  return narrow.converts() ? bosexist(narrow.text()) : 1;
}

bool bosftest(const unsigned char* path) {
  const char* const text = zuos::chars(path);
  const char* const slash = std::strrchr(text, '/');
  if (!slash) return false;
  zuos::PathText probe;
  probe.append(text, static_cast<unsigned long>(slash + 1 - text)).append("$$$zu$$$.$zu");
  if (!probe.fits()) return false;
  const int handle = open(probe.text(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (handle < 0) return false;
  close(handle);
  unlink(probe.text());
  return true;
}
