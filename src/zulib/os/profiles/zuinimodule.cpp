// File names of modules.

#include <algorithm>

#include "zulib/os/profiles/zuini.h"
#include "zulib/text/strcopy.h"

namespace {

constexpr char EXTENSION[] = {'.', 's', 'o'};

template <class Char>
unsigned long moduleName(const Char* module, Char* out, unsigned long size) {
  if (!out || size == 0) return 0;
  unsigned long length = module ? std::min(strLen(module), size - 1) : 0;
  std::copy_n(module, length, out);
  if (length != 0 && size - 1 - length >= sizeof EXTENSION) {
    for (const char c : EXTENSION) out[length++] = static_cast<Char>(c);
  }
  out[length] = 0;
  return length;
}

}  // namespace

unsigned long zuGetModName(const unsigned char* module, unsigned char* out, unsigned long size) {
  return moduleName(module, out, size);
}

unsigned long zuGetModFileNameW(const unsigned short* module, unsigned long size, unsigned short* out) {
  return moduleName(module, out, size);
}
