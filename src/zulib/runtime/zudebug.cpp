#include "zulib/runtime/zudebug.h"

#include <cstdio>
#include <cstdlib>

#include "zulib/runtime/mds.h"

ZuRunTimeDebug::ZuRunTimeDebug() {
  if (!mdsIsTaskInit()) mdsPerTaskInit();
  const char* text = std::getenv("ZU_DEBUGGING");
  if (!text || std::sscanf(text, "%lx", &bits) != 1) bits = 0;
}
