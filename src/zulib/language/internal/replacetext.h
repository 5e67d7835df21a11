// Replacing an owned text by a copy of another.

#ifndef ZULIB_LANGUAGE_INTERNAL_REPLACETEXT_H
#define ZULIB_LANGUAGE_INTERNAL_REPLACETEXT_H

#include "zulib/runtime/ram.h"

namespace language {

// Null stays null. 1 with the old text kept if allocation fails.
inline int replaceText(unsigned char*& kept, const unsigned char* text) {
  unsigned char* const copy = text ? ramAllocStr(text) : nullptr;
  if (text && !copy) return 1;
  free(kept);
  kept = copy;
  return 0;
}

}  // namespace language

#endif
