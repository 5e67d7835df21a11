// What a name stands for, and whether a file can be made beside it.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "zulib/os/files/bosfile.h"
#include "zulib/os/internal/pathtext.h"
#include "zulib/os/internal/tracing.h"

namespace {

// The owner's id is compared with the caller's group id where the group's bit is concerned. That is meant:
// callers rely on which files count as read-only, so it is not put right.
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
  const char* path = reinterpret_cast<const char*>(name);
  if (std::strcmp(path, "..") == 0) return bosAttrDirectory;
  struct stat facts;
  if (stat(path, &facts) != 0) return errno == ENOENT ? bosAttrNotFound : bosAttrUnknown;
  if (S_ISDIR(facts.st_mode)) return bosAttrDirectory;
  if (!S_ISREG(facts.st_mode)) return bosAttrOther;
  return isReadOnly(facts) ? bosAttrFile | bosAttrReadOnly : bosAttrFile;
}

int bosexist(const unsigned char* name) {
  const bool traced = zuos::traced(zuos::TRACE_EXISTENCE);
  if (traced) std::printf("bosexist: Name=%s ", reinterpret_cast<const char*>(name));
  const int exists = bosfattr(name) & bosAttrFile;
  if (traced) std::printf(" exists: %d\n", exists);
  return exists;
}

int bosexist(const unsigned short* name) {
  const zuos::NarrowName narrow(name);
  // 1 also for a name that does not convert: the answer of every UTF-16 form there.
  return narrow.converts() ? bosexist(narrow.text()) : 1;
}

bool bosftest(const unsigned char* path) {
  const char* text = reinterpret_cast<const char*>(path);
  const char* slash = std::strrchr(text, '/');
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
