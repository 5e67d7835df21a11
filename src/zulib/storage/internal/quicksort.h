// The sort of records in memory: quicksort without recursion, on records that lie in several buffers.

#ifndef ZULIB_STORAGE_INTERNAL_QUICKSORT_H
#define ZULIB_STORAGE_INTERNAL_QUICKSORT_H

#include <cstring>

namespace zustorage {

// Exchanges two chunks at each offset that is in both records. Two chunks that overlap are read before
// either is written, so a length between one and two chunks takes two of them.
template <unsigned long kChunk>
inline void swapEnds(unsigned char* a, unsigned char* b, unsigned long length) {
  struct Chunk {
    unsigned char bytes[kChunk];
  };
  Chunk headA, headB, tailA, tailB;
  std::memcpy(&headA, a, kChunk);
  std::memcpy(&headB, b, kChunk);
  std::memcpy(&tailA, a + length - kChunk, kChunk);
  std::memcpy(&tailB, b + length - kChunk, kChunk);
  std::memcpy(a, &headB, kChunk);
  std::memcpy(b, &headA, kChunk);
  std::memcpy(a + length - kChunk, &tailB, kChunk);
  std::memcpy(b + length - kChunk, &tailA, kChunk);
}

// Does what memSwap does, inline (bench row sort_in_memory). `a` and `b` may be the same record.
inline void swapRecords(unsigned char* a, unsigned char* b, unsigned long length) {
  while (length > 32) {
    swapEnds<16>(a, b, 32);
    a += 32;
    b += 32;
    length -= 32;
  }
  if (length >= 16) {
    swapEnds<16>(a, b, length);
  } else if (length >= 8) {
    swapEnds<8>(a, b, length);
  } else if (length >= 4) {
    swapEnds<4>(a, b, length);
  } else {
    for (; length > 0; ++a, ++b, --length) {
      const unsigned char byte = *a;
      *a = *b;
      *b = byte;
    }
  }
}

// Records by index, over buffers that are filled in order.
struct RecordSpace {
  // One record, and where it is, so that stepping to the next one takes no division.
  struct Place {
    unsigned long index;
    unsigned long slot;            // in its buffer
    unsigned char* const* buffer;  // in `buffers`
    unsigned char* record;
  };

  unsigned char* const* buffers;
  unsigned long perBuffer;
  unsigned long recordLength;

  Place at(unsigned long index) const {
    const unsigned long slot = index % perBuffer;
    unsigned char* const* buffer = buffers + index / perBuffer;
    return {index, slot, buffer, *buffer + slot * recordLength};
  }

  Place after(const Place& place, unsigned long steps) const {
    if (place.slot + steps >= perBuffer) return at(place.index + steps);
    return {place.index + steps, place.slot + steps, place.buffer, place.record + steps * recordLength};
  }

  static unsigned long distance(const Place& from, const Place& to) { return to.index - from.index; }
  static bool isBefore(const Place& a, const Place& b) { return a.index < b.index; }

  // The record stepped to must exist.
  void stepUp(Place& place) const {
    ++place.index;
    place.record += recordLength;
    if (++place.slot == perBuffer) {
      place.slot = 0;
      place.record = *++place.buffer;
    }
  }

  void stepDown(Place& place) const {
    --place.index;
    if (place.slot-- == 0) {
      place.slot = perBuffer - 1;
      place.record = *--place.buffer + place.slot * recordLength;
    } else {
      place.record -= recordLength;
    }
  }

  void swap(const Place& a, const Place& b) const { swapRecords(a.record, b.record, recordLength); }
};

// Records of a length known to the compiler in one array: no steps across buffers (bench row
// sort_objects).
template <unsigned long kLength>
struct ArraySpace {
  struct Place {
    unsigned char* record;
  };

  unsigned char* records;

  Place at(unsigned long index) const { return {records + index * kLength}; }
  Place after(const Place& place, unsigned long steps) const { return {place.record + steps * kLength}; }
  static unsigned long distance(const Place& from, const Place& to) {
    return static_cast<unsigned long>(to.record - from.record) / kLength;
  }
  static bool isBefore(const Place& a, const Place& b) { return a.record < b.record; }
  void stepUp(Place& place) const { place.record += kLength; }
  void stepDown(Place& place) const { place.record -= kLength; }
  void swap(const Place& a, const Place& b) const { swapEnds<kLength>(a.record, b.record, kLength); }
};

// `Order` has an operator()(a, b), below 0, 0 or above 0, and a Pivot(order, record) with isAbove(other) and
// isBelow(other): whether the pivot's record is greater, or less, than another.
template <class Space, class Order>
class QuickSort {
 public:
  QuickSort(const Space& space, const Order& order) : space(space), order(order) {}

  // Sorts the records from `firstIndex` to `lastIndex`. False if the ranges left to be sorted are more than
  // the stack takes; the records are then in any order.
  [[nodiscard]] bool run(unsigned long firstIndex, unsigned long lastIndex) {
    Place first = space.at(firstIndex);
    Place last = space.at(lastIndex);
    for (;;) {
      if (Space::distance(first, last) > kFew) {
        const Place meeting = partition(first, last);
        if (Space::distance(first, meeting) >= 2) {
          if (depth == kStackSize) return false;
          stack[depth++] = {first, before(meeting)};
        }
        if (Space::distance(meeting, last) >= 2) {
          first = space.after(meeting, 1);
          continue;
        }
      } else {
        sortFew(first, last);
      }
      if (depth == 0) return true;
      --depth;
      first = stack[depth].first;
      last = stack[depth].last;
    }
  }

 private:
  using Place = typename Space::Place;
  struct Range {
    Place first;
    Place last;
  };

  static constexpr unsigned long kStackSize = 200;
  static constexpr unsigned long kFew = 3;             // from first to last: 4 records are sorted directly
  static constexpr unsigned long kMedianOfFive = 151;  // from first to last

  Place before(Place place) const {
    space.stepDown(place);
    return place;
  }

  bool isGreater(const Place& a, const Place& b) const { return order(a.record, b.record) > 0; }
  bool isLess(const Place& a, const Place& b) const { return order(a.record, b.record) < 0; }

  void exchange(const Place& a, const Place& b) const {
    if (isGreater(a, b)) space.swap(a, b);
  }

  void sortFew(const Place& first, const Place& last) const {
    const unsigned long n = Space::distance(first, last);
    if (n < 2) {
      exchange(first, last);
    } else if (n == 2) {
      sortThree(first, space.after(first, 1), last);
    } else {
      sortFour(first, space.after(first, 1), before(last), last);
    }
  }

  void sortThree(const Place& r0, const Place& r1, const Place& r2) const {
    exchange(r0, r1);
    if (!isGreater(r1, r2)) return;
    space.swap(r1, r2);
    exchange(r0, r1);
  }

  void sortFour(const Place& r0, const Place& r1, const Place& r2, const Place& r3) const {
    exchange(r0, r1);
    exchange(r2, r3);
    if (!isGreater(r1, r2)) return;
    if (isLess(r0, r3)) {
      exchange(r0, r2);
      exchange(r1, r3);
      space.swap(r1, r2);
    } else {
      space.swap(r0, r2);
      space.swap(r1, r3);
    }
  }

  // Puts the median of three records next to `last`, and returns where it is.
  Place medianOfThree(const Place& first, const Place& last) const {
    const Place middle = space.after(first, (Space::distance(first, last)) / 2);
    exchange(first, last);
    if (isGreater(middle, last)) {
      space.swap(middle, last);
    } else if (isGreater(first, middle)) {
      space.swap(first, middle);
    }
    const Place pivot = before(last);
    space.swap(middle, pivot);
    return pivot;
  }

  // Puts the median of five records two before `last`, those of the other four that are not greater to the
  // lower end and the others to the upper end. Returns where the median is.
  Place medianOfFive(const Place& first, const Place& last) const {
    const unsigned long half = (Space::distance(first, last)) / 2;
    const unsigned long quarter = half / 2;
    const Place lower = space.after(first, 1);
    const Place upper = before(last);
    const Place c = space.after(first, half);
    space.swap(space.after(first, quarter), lower);
    space.swap(space.after(first, half + quarter), upper);
    Place b = lower;
    Place d = upper;
    exchange(first, d);
    exchange(b, last);
    if (isGreater(b, d)) {
      space.swap(b, d);
    } else if (isGreater(first, last)) {
      space.swap(first, last);
      b = first;
      d = last;
    } else {
      if (isGreater(first, b)) b = first;
      if (isGreater(d, last)) d = last;
    }
    if (isGreater(b, c)) {
      space.swap(b, c);
    } else if (isGreater(c, d)) {
      space.swap(c, d);
    }
    const Place pivot = before(upper);
    space.swap(c, pivot);
    return pivot;
  }

  // Returns the place of the pivot between the records that are not greater and those that are not less.
  // Equal records stop both walks, so that many of them still make two halves. The walks do not rely on the
  // order for their ends: a caller's function may have none.
  Place partition(const Place& first, const Place& last) const {
    const bool ofFive = Space::distance(first, last) >= kMedianOfFive;
    const Place end = ofFive ? medianOfFive(first, last) : medianOfThree(first, last);
    const typename Order::Pivot pivot(order, end.record);
    Place lower = space.after(first, ofFive ? 2 : 1);
    Place upper = end;
    for (;;) {
      while (Space::isBefore(lower, end) && pivot.isAbove(lower.record)) space.stepUp(lower);
      do {
        space.stepDown(upper);
      } while (Space::isBefore(lower, upper) && pivot.isBelow(upper.record));
      if (!Space::isBefore(lower, upper)) break;
      space.swap(lower, upper);
      space.stepUp(lower);
    }
    space.swap(lower, end);
    return lower;
  }

  const Space space;
  const Order& order;
  unsigned long depth = 0;
  Range stack[kStackSize];
};

}  // namespace zustorage

#endif
