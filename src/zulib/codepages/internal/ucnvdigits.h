// Decimal numbers in connection strings and profiles.

#ifndef ZULIB_CODEPAGES_INTERNAL_UCNVDIGITS_H
#define ZULIB_CODEPAGES_INTERNAL_UCNVDIGITS_H

// Takes "-" and digits from `cursor` on, which moves past them; what 32 bits cannot hold is cut to what
// they can. `any` tells whether there was a digit.
template <class Char>
long ucnvTakeNumber(const Char*& cursor, const Char* end, bool& any) {
  constexpr long kMost = 0x7FFFFFFF;
  any = false;
  const bool negative = cursor != end && *cursor == '-';
  if (negative) ++cursor;
  long value = 0;
  for (; cursor != end && *cursor >= '0' && *cursor <= '9'; ++cursor) {
    any = true;
    value = value * 10 + (*cursor - '0');
    if (value > kMost) value = kMost;
  }
  return negative ? -value : value;
}

#endif
