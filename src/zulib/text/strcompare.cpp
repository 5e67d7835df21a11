#include "zulib/text/strcompare.h"

#include <unicode/ustring.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "zulib/runtime/ram.h"
#include "zulib/text/internal/walk.h"

using namespace zutext;

namespace {

// Above this a side of strCompareIntl is copied to the heap and not to the stack.
constexpr unsigned long kStackCopy = 512;

int sign(int value) { return value < 0 ? -1 : value > 0 ? 1 : 0; }

int order(unsigned long a, unsigned long b) { return a < b ? -1 : a > b ? 1 : 0; }

const char* chars(const unsigned char* s) { return reinterpret_cast<const char*>(s); }

// A terminated copy of a counted text, on the stack when it is short.
class TerminatedCopy {
 public:
  TerminatedCopy(const unsigned char* s, unsigned long n, bool mayStayOnStack) {
    if (mayStayOnStack && n <= kStackCopy) {
      if (n != 0) std::memcpy(small, s, n);
      small[n] = 0;
      text = small;
    } else {
      text = heap = ramAllocStr(s, n);
    }
  }
  TerminatedCopy(const TerminatedCopy&) = delete;
  TerminatedCopy& operator=(const TerminatedCopy&) = delete;
  ~TerminatedCopy() { std::free(heap); }

  // Null if allocation failed.
  const unsigned char* get() const { return text; }

 private:
  unsigned char small[kStackCopy + 1];
  unsigned char* heap = nullptr;
  const unsigned char* text;
};

int compareCopies(const TerminatedCopy& a, const TerminatedCopy& b) {
  if (!a.get() || !b.get()) return 0;
  return strCompareIntl(a.get(), b.get());
}

// One step of the comparison without regard to case: how many bytes it took, and the order of what it saw.
struct CiStep {
  unsigned long size;
  int order;
};

// `left`, at least 1, is what both texts have.
CiStep compareCharacter(const NarrowWalk& walk, const unsigned char* a, const unsigned char* b,
                        unsigned long left) {
  const unsigned long size = walk.step(a, left);
  if (size == 1) {
    return {1, *a == *b ? 0 : order(walk.fold(*a), walk.fold(*b))};
  }
  return {size, sign(std::memcmp(a, b, size))};
}

// How far the two texts are alike, up to `n` bytes; `*order` is that of the first characters that differ.
unsigned long alikeCi(const unsigned char* a, const unsigned char* b, unsigned long n, zuCPType cp,
                      int* order) {
  const NarrowWalk walk(cp);
  unsigned long i = 0;
  *order = 0;
  while (i < n) {
    if (walk.plainFold()) {
      i += sameAsciiCi(a + i, b + i, n - i);
    }
    // What stopped the run of blocks is close: as many characters one by one as a block has bytes.
    const unsigned long stop = n - i > 16 ? i + 16 : n;
    while (i < stop) {
      const CiStep step = compareCharacter(walk, a + i, b + i, n - i);
      if (step.order != 0) {
        *order = step.order;
        return i;
      }
      i += step.size;
    }
  }
  return i;
}

const UChar* uchars(const unsigned short* s) { return reinterpret_cast<const UChar*>(s); }

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
  constexpr unsigned char kPayload[4] = {0x7F, 0x1F, 0x0F, 0x07};
  *c = lead & kPayload[more];
  for (int i = 0; i < more; ++i) {
    if (*u == 0) return false;
    *c = (*c << 6) | (*u++ & 0x3Fu);
  }
  return true;
}

}  // namespace

int strComparePad(const unsigned char* a, const unsigned char* b) {
  const unsigned long na = lengthOf(a);
  const unsigned long nb = lengthOf(b);
  const unsigned long common = na < nb ? na : nb;
  const int first = memCompare(a, b, common);
  if (first != 0) return first;
  const unsigned char* rest = na > nb ? a : b;
  for (unsigned long i = common; rest[i] != 0; ++i) {
    if (rest[i] != 0x20) return na > nb ? 1 : -1;
  }
  return 0;
}

int strCompareIntl(const unsigned char* a, const unsigned char* b) {
  return static_cast<short>(std::strcoll(chars(a), chars(b)));
}

int strCompareIntl(const unsigned char* a, unsigned long na, const unsigned char* b, unsigned long nb) {
  return compareCopies(TerminatedCopy(a, na, true), TerminatedCopy(b, nb, true));
}

int strCompareCiIntl(const unsigned char* a, const unsigned char* b) { return strCompareIntl(a, b); }

int strCompareCiIntl(const unsigned char* a, unsigned long na, const unsigned char* b, unsigned long nb) {
  return compareCopies(TerminatedCopy(a, na, false), TerminatedCopy(b, nb, false));
}

int strCompareWithMaxLength(const unsigned char* a, const unsigned char* b, unsigned long n) {
  return static_cast<short>(std::strncmp(chars(a), chars(b), n));
}

int floatCompare(const unsigned char* a, const unsigned char* b) {
  constexpr unsigned char kSignBit = 0x80;
  const bool negative = (a[0] & kSignBit) != 0;
  if (negative != ((b[0] & kSignBit) != 0)) return negative ? -1 : 1;
  const int first = sign(std::memcmp(a, b, 8));
  return negative ? -first : first;
}

int strCompare(const unsigned char* a, const unsigned char* b) {
  return sign(std::strcmp(chars(a), chars(b)));
}

int strCompare(const unsigned char* a, unsigned long na, const unsigned char* b, unsigned long nb) {
  const unsigned long common = na < nb ? na : nb;
  const int first = common == 0 ? 0 : std::memcmp(a, b, common);
  return first != 0 ? sign(first) : order(na, nb);
}

bool strEqual(const unsigned char* a, const unsigned char* b) { return std::strcmp(chars(a), chars(b)) == 0; }

bool strEqualCi(const unsigned char* a, const unsigned char* b, zuCPType cp) {
  return strEqualCi(a, lengthOf(a), b, lengthOf(b), cp);
}

bool strEqualCi(const unsigned char* a, unsigned long na, const unsigned char* b, unsigned long nb,
                zuCPType cp) {
  if (na != nb) return false;
  int first;
  alikeCi(a, b, na, cp, &first);
  return first == 0;
}

int strCompareCi(const unsigned char* a, const unsigned char* b, zuCPType cp) {
  return strCompareCi(a, lengthOf(a), b, lengthOf(b), cp);
}

int strCompareCi(const unsigned char* a, unsigned long na, const unsigned char* b, unsigned long nb,
                 zuCPType cp) {
  int first;
  alikeCi(a, b, na < nb ? na : nb, cp, &first);
  return first != 0 ? first : order(na, nb);
}

bool isCharEqual(const unsigned char* a, const unsigned char* b, int caseSensitive, zuCPType cp) {
  const NarrowWalk walk(cp);
  const unsigned long size = walk.size(b, static_cast<unsigned long>(-1));
  if (size == 1) {
    return *a == *b || (caseSensitive == 0 && walk.fold(*a) == walk.fold(*b));
  }
  for (unsigned long i = 0; i < size; ++i) {
    if (a[i] != b[i]) return false;
    if (a[i] == 0) break;  // a terminator cuts both
  }
  return true;
}

// ---- UTF-16 ----

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
  return strCompare(a, na, b, lengthOf(b));
}

int strCompare(const unsigned short* a, const unsigned short* b, unsigned long nb) {
  return strCompare(a, lengthOf(a), b, nb);
}

int strCompare(const unsigned short* a, unsigned long na, const unsigned short* b, unsigned long nb) {
  const unsigned long common = na < nb ? na : nb;
  const unsigned long i = sameUnits(a, b, common);
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
  return sameUnits(a, b, n) == n;
}

bool strEqualCi(const unsigned short* a, const unsigned short* b) {
  return strEqualCi(a, lengthOf(a), b, lengthOf(b));
}

bool strEqualCi(const unsigned short* a, unsigned long na, const unsigned short* b) {
  return strEqualCi(a, na, b, lengthOf(b));
}

bool strEqualCi(const unsigned short* a, const unsigned short* b, unsigned long nb) {
  return strEqualCi(a, lengthOf(a), b, nb);
}

bool strEqualCi(const unsigned short* a, unsigned long na, const unsigned short* b, unsigned long nb) {
  if (na != nb) return false;
  // A text that ends in a high surrogate is not even equal to itself.
  if (na != 0 && (isHigh(a[na - 1]) || isHigh(b[na - 1]))) return false;
  return strCompareCi(a, na, b, nb) == 0;
}

int strCompareCi(const unsigned short* a, const unsigned short* b) {
  return strCompareCi(a, lengthOf(a), b, lengthOf(b));
}

int strCompareCi(const unsigned short* a, unsigned long na, const unsigned short* b) {
  return strCompareCi(a, na, b, lengthOf(b));
}

int strCompareCi(const unsigned short* a, const unsigned short* b, unsigned long nb) {
  return strCompareCi(a, lengthOf(a), b, nb);
}

int strCompareCi(const unsigned short* a, unsigned long na, const unsigned short* b, unsigned long nb) {
  unsigned long i = 0;
  unsigned long j = 0;
  for (;;) {
    if (i < na && j < nb && a[i] == b[j]) {
      // Equal units at once, except a last one that may be cut off from its other half.
      const unsigned long same = sameUnits(a + i, b + j, std::min(na - i, nb - j) - 1);
      const unsigned long whole = same > 0 && isHigh(a[i + same - 1]) ? same - 1 : same;
      i += whole;
      j += whole;
    }
    if (i == na || j == nb) break;
    if (isCutPair(a + i, na - i) || isCutPair(b + j, nb - j)) return a[i] == b[j] && j + 1 == nb ? 1 : 0;
    const std::uint32_t x = codePointAt(a + i, na - i);
    const std::uint32_t y = codePointAt(b + j, nb - j);
    if (x != y && upperPoint(x) != upperPoint(y)) return order(upperPoint(x), upperPoint(y));
    i += x > 0xFFFF ? 2 : 1;
    j += y > 0xFFFF ? 2 : 1;
  }
  return order(na - i, nb - j);
}

bool isCharEqual(const unsigned short* a, const unsigned short* b, int caseSensitive) {
  const std::uint32_t x = codePointAt(a, 2);
  const std::uint32_t y = codePointAt(b, 2);
  return x == y || (caseSensitive == 0 && upperPoint(x) == upperPoint(y));
}
