// ZuDataSink: where a converter puts the bytes of a converted value (see zudatasource.h).
//
// A sink is one of two kinds. One whose `bGetDataSupported` is not 0 hands out its own memory: the converter
// calls `getData`, writes, and reports with `dataWritten`. `*more` of getData tells whether another buffer
// can follow; a converter keeps whole characters and a terminator only in a fixed buffer, one that no other
// follows. Into the other kind the converter copies from a buffer of its own with `writeData`.
//
// Operations return 0, or 1 with the cause on the thread's error list. Sizes are bytes.
//
// Thread safety: none; one thread at a time uses a sink.

#ifndef ZULIB_CONVERT_SOURCES_ZUDATASINK_H
#define ZULIB_CONVERT_SOURCES_ZUDATASINK_H

#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zuobject.h"

class ZU_API ZuDataSink : public ZuObject {
 public:
  ~ZuDataSink() override;

  // Frees what the sink holds of the value.
  virtual void freeMemory() {}

  // Prepares a new object for its first use; reset() makes it empty for another transfer.
  [[nodiscard]] virtual int init() = 0;
  [[nodiscard]] virtual int reset() = 0;

  // Copies `size` bytes. `more` is 0 with the last bytes of the value.
  [[nodiscard]] virtual int writeData(const void* data, unsigned long size, int more) = 0;

  // The sink's current buffer and its size. `*more` is not 0 if the sink can hand out another one after it.
  [[nodiscard]] virtual int getData(void** buffer, unsigned long* size, int* more) = 0;

  // Reports `size` bytes written into the buffer of getData. `more` is not 0 if bytes remain that did not fit
  // or that are still to come: a driver reports truncation by it.
  [[nodiscard]] virtual int dataWritten(unsigned long size, int more) = 0;

  // Gives up everything heavy while the object is kept for reuse.
  [[nodiscard]] virtual int prepareToCache() { return 0; }

  int bGetDataSupported() const { return getDataSupported; }

  // Not 0: a converter must not delete this sink when it is replaced or when the converter is destroyed.
  int isNotOwned() const { return notOwned; }
  void setNotOwned(int on) { notOwned = on; }

 protected:
  explicit ZuDataSink(int getDataSupported) : getDataSupported(getDataSupported) {}

  int getDataSupported;
  int notOwned = 0;
};

#endif
