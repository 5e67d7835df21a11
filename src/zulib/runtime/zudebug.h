// The trace mask of the process: bits that ask subsystems to print what they do.
//
// Thread safety: set at library load, read-only afterwards.

#ifndef ZULIB_RUNTIME_ZUDEBUG_H
#define ZULIB_RUNTIME_ZUDEBUG_H

#include "zulib/runtime/zuapi.h"

class ZU_API ZuRunTimeDebug {
 public:
  // Reads the bits, in hexadecimal, from the environment variable "ZU_DEBUGGING"; 0 if it is not set or not a
  // number.
  ZuRunTimeDebug();

  // Returns the bits of the mask that are set.
  unsigned long debugItem(unsigned long mask) const { return bits & mask; }

 private:
  unsigned long bits = 0;
};

extern ZU_API ZuRunTimeDebug BOS_RUNTIME_DEBUG;

#endif
