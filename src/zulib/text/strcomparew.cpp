#include <unicode/ustring.h>

#include <cstring>

#include "zulib/text/internal/narrow.h"
#include "zulib/text/internal/wide.h"
#include "zulib/text/strcompare.h"

using namespace zutext;

namespace {

const UChar* uchars(const unsigned short* s) { return reinterpret_cast<const UChar*>(s); }

int order(unsigned long a, unsigned long b) { return a < b ? -1 : a > b ? 1 : 0; }

// Where the two texts first differ, at most `n`.
unsigned long alike(const unsigned short* a, const unsigned short* b, unsigned long n) {
  unsigned long i = 0;
  while (n - i >= 4 && load8(a + i) == load8(b + i)) i += 4;
  while (i < n && a[i] == b[i]) ++i;
  return i;
}

// The value by which strCompare orders a unit: of a high surrogate that of the pair, whose low half counts as
// 0 when the text ends.
std::uint32_t orderValue(const unsigned short* p, unsigned long left) {
  return isHigh(*p) ? joinPair(p[0], left > 1 ? p[1] : 0) : p[0];
}

bool isCutPair(const unsigned short* p, unsigned long left) { return isHigh(*p) && left == 1; }

// The next code point of UTF-8, by its first byte; false when the terminator cuts it.
bool nextUTF8(const unsigned char*& u, std::uint32_t* c) {
  const unsigned char lead = *u++;
  const int more = lead <= 0x7F ? 0 : lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
  constexpr unsigned char payload[4] = {0x7F, 0x1F, 0x0F, 0x07};
  *c = lead & payload[more];
  for (int i = 0; i < more; ++i) {
    if (*u == 0) return false;
    *c = (*c << 6) | (*u++ & 0x3Fu);
  }
  return true;
}

}  // namespace

int strCompareIntl(const unsigned short* a, const unsigned short* b) {
  return static_cast<short>(u_strcmpCodePointOrder(uchars(a), uchars(b)));
}

int strCompare(const unsigned short* a, const unsigned short* b) {
  while (*a == *b && *a != 0) {
    ++a;
    ++b;
  }
  return order(*a, *b);
}

int strCompare(const unsigned short* a, unsigned long na, const unsigned short* b) {
  return strCompare(a, na, b, wideLength(b));
}

int strCompare(const unsigned short* a, const unsigned short* b, unsigned long nb) {
  return strCompare(a, wideLength(a), b, nb);
}

int strCompare(const unsigned short* a, unsigned long na, const unsigned short* b, unsigned long nb) {
  const unsigned long common = na < nb ? na : nb;
  const unsigned long i = alike(a, b, common);
  if (i == common) return order(na, nb);
  if (!isHigh(b[i])) return order(orderValue(a + i, na - i), b[i]);
  // The value of a pair in the second text is set against the unit before it in that text, so the first text
  // comes out as the greater. Sorted data is kept in this order.
  return order(orderValue(b + i, nb - i), i == 0 ? 0 : b[i - 1]);
}

int strCompareUTF8(const unsigned short* w, const unsigned char* u) {
  for (;;) {
    if (isHigh(w[0]) && w[1] == 0) return -1;
    const std::uint32_t left = codePointAt(w, 2);
    std::uint32_t right;
    if (!nextUTF8(u, &right)) return 1;
    if (left != right || left == 0) return order(left, right);
    w += left > 0xFFFF ? 2 : 1;
  }
}

bool strEqual(const unsigned short* a, const unsigned short* b) {
  while (*a == *b && *a != 0) {
    ++a;
    ++b;
  }
  return *a == *b;
}

bool strEqual(const unsigned short* a, unsigned long na, const unsigned short* b) {
  for (unsigned long i = 0; i < na; ++i) {
    if (b[i] == 0 || a[i] != b[i]) return false;
  }
  return b[na] == 0;
}

bool strEqual(const unsigned short* a, const unsigned short* b, unsigned long nb) {
  return strEqual(b, nb, a);
}

bool strEqualSameLens(const unsigned short* a, const unsigned short* b, unsigned long n) {
  return alike(a, b, n) == n;
}

bool strEqualCi(const unsigned short* a, const unsigned short* b) {
  return strEqualCi(a, wideLength(a), b, wideLength(b));
}

bool strEqualCi(const unsigned short* a, unsigned long na, const unsigned short* b) {
  return strEqualCi(a, na, b, wideLength(b));
}

bool strEqualCi(const unsigned short* a, const unsigned short* b, unsigned long nb) {
  return strEqualCi(a, wideLength(a), b, nb);
}

bool strEqualCi(const unsigned short* a, unsigned long na, const unsigned short* b, unsigned long nb) {
  if (na != nb) return false;
  // A text that ends in a high surrogate is not even equal to itself.
  if (na != 0 && (isHigh(a[na - 1]) || isHigh(b[na - 1]))) return false;
  return strCompareCi(a, na, b, nb) == 0;
}

int strCompareCi(const unsigned short* a, const unsigned short* b) {
  return strCompareCi(a, wideLength(a), b, wideLength(b));
}

int strCompareCi(const unsigned short* a, unsigned long na, const unsigned short* b) {
  return strCompareCi(a, na, b, wideLength(b));
}

int strCompareCi(const unsigned short* a, const unsigned short* b, unsigned long nb) {
  return strCompareCi(a, wideLength(a), b, nb);
}

int strCompareCi(const unsigned short* a, unsigned long na, const unsigned short* b, unsigned long nb) {
  unsigned long i = 0;
  unsigned long j = 0;
  for (;;) {
    // Four equal units at a time, unless the last may be cut off from its other half.
    while (na - i > 4 && nb - j > 4 && load8(a + i) == load8(b + j) && !isHigh(a[i + 3])) {
      i += 4;
      j += 4;
    }
    if (i == na || j == nb) break;
    if (isCutPair(a + i, na - i) || isCutPair(b + j, nb - j)) return a[i] == b[j] && j + 1 == nb ? 1 : 0;
    const std::uint32_t x = codePointAt(a + i, na - i);
    const std::uint32_t y = codePointAt(b + j, nb - j);
    if (x != y && foldPoint(x) != foldPoint(y)) return order(foldPoint(x), foldPoint(y));
    i += x > 0xFFFF ? 2 : 1;
    j += y > 0xFFFF ? 2 : 1;
  }
  return order(na - i, nb - j);
}

bool isCharEqual(const unsigned short* a, const unsigned short* b, int caseSensitive) {
  const std::uint32_t x = codePointAt(a, 2);
  const std::uint32_t y = codePointAt(b, 2);
  return x == y || (caseSensitive == 0 && foldPoint(x) == foldPoint(y));
}
