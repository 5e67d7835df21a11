// Looking for an SQLSTATE in a handle's error queue.

#ifndef ZULIB_CURSOR_INTERNAL_QUEUE_H
#define ZULIB_CURSOR_INTERNAL_QUEUE_H

#include "zuodbc/dmhandle.h"

inline bool clQueued(DMHandle* handle, const char16_t (&state)[6]) {
  return handle->SearchStatusCode(reinterpret_cast<const unsigned short*>(state)) != 0;
}

// The driver has stopped because the application asked it to.
inline bool clQueuedCancel(DMHandle* handle) {
  return clQueued(handle, u"S1008") || clQueued(handle, u"HY008");
}

#endif
