// ZuDataSource: where a converter takes the bytes of a value from.
//
// A value passes through three pieces: a source offers bytes, a converter (converters/zudataconverter.h)
// transforms them, and a sink (zudatasink.h) takes the result. The converter drives: it pulls from the source
// and pushes into the sink, which do not know each other.
//
// Operations return 0, or 1 with the cause on the thread's error list. Sizes are bytes.
//
// Thread safety: none; one thread at a time uses a source.

#ifndef ZULIB_CONVERT_SOURCES_ZUDATASOURCE_H
#define ZULIB_CONVERT_SOURCES_ZUDATASOURCE_H

#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zuobject.h"

class ZU_API ZuDataSource : public ZuObject {
 public:
  ~ZuDataSource() override;

  // Frees what the source holds of the value.
  virtual void freeMemory() {}

  // Prepares a new object for its first use; reset() goes back to the start of the value.
  [[nodiscard]] virtual int init() = 0;
  [[nodiscard]] virtual int reset() = 0;

  // The pointer form: the next region of the value, in place. It belongs to the source and is valid until the
  // next call. `*more` is not 0 if further regions follow. A region may be empty.
  [[nodiscard]] virtual int getData(const void** data, unsigned long* size, int* more) = 0;

  // The copy form: copies up to `max` bytes to `buffer` and sets `*got` to their number.
  [[nodiscard]] virtual int getData(void* buffer, unsigned long max, unsigned long* got, int* more) = 0;

  // Gives up everything heavy while the object is kept for reuse.
  [[nodiscard]] virtual int prepareToCache() { return 0; }

 protected:
  ZuDataSource() = default;

  int readInPlace = 0;  // 1 in a source that offers all of its value as one region
};

// The shared source of a null or empty value: it has no bytes. It is never deleted; a converter that gets it
// has `setSourceNotOwned`.
ZU_API ZuDataSource* getEmptyDataSource();

#endif
