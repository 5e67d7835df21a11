#include "zulib/os/loading/bosenv.h"

#include <cstdlib>

#include "zulib/os/files/internal/pathtext.h"

const unsigned char* bosGetEnv(const unsigned char* name) {
  return reinterpret_cast<const unsigned char*>(std::getenv(reinterpret_cast<const char*>(name)));
}

const unsigned short* bosGetEnv(const unsigned short* name) {
  thread_local unsigned short value[zuTextConvertSize];
  const zuos::NarrowName narrow(name);
  const unsigned char* found = narrow.converts() && narrow.text() ? bosGetEnv(narrow.text()) : nullptr;
  if (!found || strLen(found) >= zuTextConvertSize) return nullptr;
  return zuGetUTF16StrFromANSIStr(found, value) < 0 ? nullptr : value;
}
