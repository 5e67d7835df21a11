// Decimal text as an unsigned number of 32 bits, with white space around it.
//
// Narrow text may begin with any number of "+" among the white space, and is 0 if there is white space only.
// UTF-16 may begin with one "+", before the white space, and must have a digit.

#ifndef ZULIB_TEXT_INTERNAL_DECIMAL_H
#define ZULIB_TEXT_INTERNAL_DECIMAL_H

#include "zulib/runtime/zumessages.h"
#include "zulib/text/internal/walk.h"

namespace zutext {

inline bool isSpaceAt(const unsigned char* p, unsigned long left) {
  return isWhiteSpaceWithin(p, left, localeFacts());
}
inline bool isSpaceAt(const unsigned short* p, unsigned long left) {
  return u_isWhitespace(static_cast<UChar32>(codePointAt(p, left))) != 0;
}

// Writes the number to `*out` and returns 0, or returns the message that says what is wrong with the text.
template <class Char, class Walk>
ZuMessage parseDecimal(const Char* p, unsigned long n, const Walk& walk, std::uint32_t* out) {
  constexpr bool kIsNarrow = sizeof(Char) == 1;
  const Char* const end = p + n;
  const auto left = [&] { return static_cast<unsigned long>(end - p); };
  const auto skipSpace = [&] {
    while (p < end && isSpaceAt(p, left())) p += walk.step(p, left());
  };
  bool hasSign = p < end && *p == '+';
  if (hasSign) ++p;
  skipSpace();
  while (kIsNarrow && p < end && *p == '+') {
    hasSign = true;
    ++p;
    skipSpace();
  }
  if (p == end && (!kIsNarrow || hasSign)) return ZU_MSG_NOT_A_NUMBER;
  std::uint32_t value = 0;
  for (; p < end && *p >= '0' && *p <= '9'; ++p) {
    const std::uint32_t digit = *p - std::uint32_t{'0'};
    if (value > (UINT32_MAX - digit) / 10) return ZU_MSG_NUMBER_OUT_OF_RANGE;
    value = 10 * value + digit;
  }
  skipSpace();
  if (p != end) return ZU_MSG_NOT_A_NUMBER;
  *out = value;
  return ZuMessage{};
}

}  // namespace zutext

#endif
