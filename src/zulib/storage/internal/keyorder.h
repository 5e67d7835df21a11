// Orders of records for QuickSort: any list of keys, and the lists of one key that are worth their own code.

#ifndef ZULIB_STORAGE_INTERNAL_KEYORDER_H
#define ZULIB_STORAGE_INTERNAL_KEYORDER_H

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "zulib/runtime/zuobject.h"

namespace zustorage {

// The pivot of an order that has nothing to prepare.
template <class Order>
struct PlainPivot {
  PlainPivot(const Order& order, const unsigned char* record) : order(order), record(record) {}
  bool isAbove(const unsigned char* other) const { return order(other, record) < 0; }
  bool isBelow(const unsigned char* other) const { return order(other, record) > 0; }

  const Order& order;
  const unsigned char* record;
};

// By a function of two records.
template <class Compare>
struct FunctionOrder {
  using Pivot = PlainPivot<FunctionOrder>;
  int operator()(const unsigned char* a, const unsigned char* b) const { return compare(a, b); }

  Compare compare;
};

// By the objects that the records point to.
struct ObjectOrder {
  struct Pivot {
    Pivot(const ObjectOrder&, const unsigned char* record) : pivot(object(record)) {}
    bool isAbove(const unsigned char* other) const { return compareObjects(object(other), pivot) < 0; }
    bool isBelow(const unsigned char* other) const { return compareObjects(object(other), pivot) > 0; }

    const ZuObject* pivot;
  };

  int operator()(const unsigned char* a, const unsigned char* b) const {
    return compareObjects(object(a), object(b));
  }
  // Of the result the low 16 bits count.
  static short compareObjects(const ZuObject* a, const ZuObject* b) {
    return static_cast<short>(a->compare(b));
  }
  static const ZuObject* object(const unsigned char* record) {
    const ZuObject* pointer;
    std::memcpy(&pointer, record, sizeof(void*));
    return pointer;
  }
};

// By the bytes of one key. Up to 8 of them are compared as one number, which is loaded from 8 bytes of the
// record around or at the key; the others only if those are equal (bench row sort_in_memory).
class BytesOrder {
 public:
  static bool fits(unsigned long offset, unsigned long length, unsigned long recordLength) {
    return recordLength >= kHead && length > 0 && offset + length <= recordLength;
  }

  BytesOrder(unsigned long offset, unsigned long length, unsigned long recordLength, bool descending)
      : head(std::min(offset, recordLength - kHead)),
        left((offset - head) * 8),
        right((kHead - std::min(length, kHead)) * 8),
        tail(offset + kHead),
        tailLength(length > kHead ? length - kHead : 0),
        flip(descending ? ~0UL : 0) {}

  struct Pivot {
    Pivot(const BytesOrder& order, const unsigned char* record)
        : order(order), record(record), number(order.numberOf(record)) {}
    bool isAbove(const unsigned char* other) const {
      const uint64_t theirs = order.numberOf(other);
      return theirs < number || (theirs == number && order.compareTails(other, record) < 0);
    }
    bool isBelow(const unsigned char* other) const {
      const uint64_t theirs = order.numberOf(other);
      return theirs > number || (theirs == number && order.compareTails(other, record) > 0);
    }

    const BytesOrder& order;
    const unsigned char* record;
    uint64_t number;
  };

  int operator()(const unsigned char* a, const unsigned char* b) const {
    const uint64_t ours = numberOf(a);
    const uint64_t theirs = numberOf(b);
    if (ours != theirs) return ours < theirs ? -1 : 1;
    return compareTails(a, b);
  }

 private:
  static constexpr unsigned long kHead = 8;

  uint64_t numberOf(const unsigned char* record) const {
    uint64_t bytes;
    std::memcpy(&bytes, record + head, kHead);
    if constexpr (__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__) bytes = __builtin_bswap64(bytes);
    return (bytes << left >> right) ^ flip;
  }

  int compareTails(const unsigned char* a, const unsigned char* b) const {
    if (tailLength == 0) return 0;
    const int result = std::memcmp(a + tail, b + tail, tailLength);
    return flip ? -result : result;
  }

  unsigned long head;        // offset of the 8 bytes
  unsigned long left;        // bits of them before the key
  unsigned long right;       // bits that the key does not have
  unsigned long tail;        // offset of the rest of the key
  unsigned long tailLength;  // bytes
  uint64_t flip;             // all ones to turn the order round
};

}  // namespace zustorage

#endif
