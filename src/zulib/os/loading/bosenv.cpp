#include "zulib/os/loading/bosenv.h"

#include <atomic>
#include <cstdlib>
#include <cstring>

#include "zulib/os/internal/pathtext.h"
#include "zulib/runtime/ram.h"
#include "zulib/runtime/zulifetime.h"

namespace {

// The wide forms of the values that were asked for, each distinct value once, until the library is unloaded:
// a caller's pointer stays valid whatever other threads ask for. Threads add without a lock; two that add one
// value at the same time may both keep it.
class WideValues {
 public:
  constexpr WideValues() = default;
  WideValues(const WideValues&) = delete;
  WideValues& operator=(const WideValues&) = delete;
  ~WideValues() {
    for (Value* value = newest.exchange(nullptr); value;) {
      Value* const older = value->older;
      free(value);
      value = older;
    }
  }

  // The kept copy of `n` units and their terminator; null if the allocation fails.
  const unsigned short* keep(const unsigned short* units, unsigned long n) {
    const unsigned long bytes = (n + 1) * sizeof *units;
    Value* first = newest.load(std::memory_order_acquire);
    for (const Value* value = first; value; value = value->older) {
      if (value->bytes == bytes && std::memcmp(value->units(), units, bytes) == 0) return value->units();
    }
    auto* const added = static_cast<Value*>(ramAlloc(sizeof(Value) + bytes));
    if (!added) return nullptr;
    added->bytes = bytes;
    std::memcpy(added->units(), units, bytes);
    do {
      added->older = first;
    } while (!newest.compare_exchange_weak(first, added, std::memory_order_acq_rel));
    return added->units();
  }

 private:
  struct Value {
    Value* older;
    unsigned long bytes;

    unsigned short* units() { return reinterpret_cast<unsigned short*>(this + 1); }
    const unsigned short* units() const { return reinterpret_cast<const unsigned short*>(this + 1); }
  };

  std::atomic<Value*> newest = nullptr;
};

constinit LibraryObject<WideValues> wideValues;

}  // namespace

const unsigned char* bosGetEnv(const unsigned char* name) {
  return reinterpret_cast<const unsigned char*>(std::getenv(reinterpret_cast<const char*>(name)));
}

const unsigned short* bosGetEnv(const unsigned short* name) {
  const zuos::NarrowName narrow(name);
  const unsigned char* const found = narrow.converts() && narrow.text() ? bosGetEnv(narrow.text()) : nullptr;
  unsigned short value[zuTextConvertSize];
  if (!found || strLen(found) >= zuTextConvertSize) return nullptr;
  const long length = zuGetUTF16StrFromANSIStr(found, value);
  return length < 0 ? nullptr : wideValues->keep(value, static_cast<unsigned long>(length));
}
