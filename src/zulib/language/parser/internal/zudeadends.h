// What is not worth trying while choices are open: a choice or a call, numbered by its state, in one
// activation of a production at one place; or a production at a place. A set that grows and is emptied as a
// whole.

#ifndef ZULIB_LANGUAGE_PARSER_INTERNAL_ZUDEADENDS_H
#define ZULIB_LANGUAGE_PARSER_INTERNAL_ZUDEADENDS_H

#include "zulib/runtime/ram.h"

struct ZuDeadEnd {
  unsigned long activation;  // from 1 on
  unsigned long state;
  unsigned long place;

  bool operator==(const ZuDeadEnd& other) const {
    return activation == other.activation && state == other.state && place == other.place;
  }
};

class ZuDeadEnds {
 public:
  ZuDeadEnds() = default;
  ZuDeadEnds(const ZuDeadEnds&) = delete;
  ZuDeadEnds& operator=(const ZuDeadEnds&) = delete;
  ~ZuDeadEnds() { free(cells); }

  // 1 with the set as it was if allocation fails.
  [[nodiscard]] int add(const ZuDeadEnd& found);
  bool has(const ZuDeadEnd& wanted) const { return count != 0 && cells[cellOf(wanted)].activation != 0; }
  void clear();

 private:
  unsigned long cellOf(const ZuDeadEnd& wanted) const;
  int grow();

  ZuDeadEnd* cells = nullptr;  // an activation of 0 is an empty cell
  unsigned long room = 0;      // a power of 2, more than twice the count
  unsigned long count = 0;
};

#endif
