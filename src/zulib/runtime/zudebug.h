// The trace mask of the process: bits that ask subsystems to print what they do.
//
// Thread use: set at library load, read-only afterwards.

#ifndef ZULIB_RUNTIME_ZUDEBUG_H
#define ZULIB_RUNTIME_ZUDEBUG_H

#include "zulib/runtime/zuapi.h"

class ZU_API ZuRunTimeDebug {
 public:
  // Reads the bits, in hexadecimal, from the environment variable "ZU_DEBUGGING"; 0 when it is not set or
  // not a number.
  ZuRunTimeDebug();

  // Those of the mask's bits that are set.
  unsigned long debugItem(unsigned long mask) const { return bits & mask; }

 private:
  unsigned long bits = 0;
};

extern ZU_API ZuRunTimeDebug BOS_RUNTIME_DEBUG;

#endif
