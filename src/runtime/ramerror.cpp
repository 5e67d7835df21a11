// The one call from the floor upward: an allocator that failed marks the thread's error list.

#include "runtime/ram.h"
#include "runtime/zuerror.h"

void ramAddMemoryError() { ZuErrorKeeper::addMemoryError(); }
