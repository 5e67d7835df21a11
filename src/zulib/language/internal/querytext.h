// Small things that query files and their parameters share.

#ifndef ZULIB_LANGUAGE_INTERNAL_QUERYTEXT_H
#define ZULIB_LANGUAGE_INTERNAL_QUERYTEXT_H

#include <charconv>

#include "zulib/text/zustring.h"

namespace zuquery {

inline const unsigned char* bytes(const char* text) { return reinterpret_cast<const unsigned char*>(text); }

// Reads a text that is all decimal digits. False, with `*number` as it was, if it is not or does not fit.
inline bool readNumber(const ZuSubString& text, unsigned long* number) {
  const char* const first = reinterpret_cast<const char*>(text.asPascalStr());
  const char* const last = first + text.getLength();
  const auto [end, error] = std::from_chars(first, last, *number);
  return error == std::errc() && end == last;
}

}  // namespace zuquery

#endif
