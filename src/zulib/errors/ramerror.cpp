// The one call from the floor upward: an allocator that failed marks the thread's error list.

#include "zulib/errors/zuerror.h"
#include "zulib/runtime/ram.h"

void ramAddMemoryError() { ZuErrorKeeper::addMemoryError(); }
