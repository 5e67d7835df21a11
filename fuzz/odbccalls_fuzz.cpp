// Any ODBC function in any order, over a driver that returns anything. The first byte decides on the number
// of threads; a crash with two threads may need the same input several times.

#include "fuzz/odbccalls/calls.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  odbccalls::runCalls(data + 1, size - 1, data[0] == 255 ? 2 : 1);
  return 0;
}
