#include "zulib/text/strcompare.h"

#include <cstdlib>
#include <cstring>

#include "zulib/runtime/ram.h"
#include "zulib/text/internal/narrow.h"

using namespace zutext;

namespace {

// Above this a side of strCompareIntl is copied to the heap and not to the stack.
constexpr unsigned long stackCopy = 512;

int sign(int value) { return value < 0 ? -1 : value > 0 ? 1 : 0; }

int order(unsigned long a, unsigned long b) { return a < b ? -1 : a > b ? 1 : 0; }

const char* chars(const unsigned char* s) { return reinterpret_cast<const char*>(s); }

// A terminated copy of a counted text, on the stack when it is short.
class TerminatedCopy {
 public:
  TerminatedCopy(const unsigned char* s, unsigned long n, bool mayStayOnStack) {
    if (mayStayOnStack && n <= stackCopy) {
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

  // Null when memory was gone.
  const unsigned char* get() const { return text; }

 private:
  unsigned char small[stackCopy + 1];
  unsigned char* heap = nullptr;
  const unsigned char* text;
};

int compareCopies(const TerminatedCopy& a, const TerminatedCopy& b) {
  if (a.get() == nullptr || b.get() == nullptr) return 0;
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
    for (unsigned long stop = n - i > 16 ? i + 16 : n; i < stop;) {
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

}  // namespace

int strComparePad(const unsigned char* a, const unsigned char* b) {
  const unsigned long na = narrowLength(a);
  const unsigned long nb = narrowLength(b);
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
  constexpr unsigned char signBit = 0x80;
  const bool negative = (a[0] & signBit) != 0;
  if (negative != ((b[0] & signBit) != 0)) return negative ? -1 : 1;
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
  return strEqualCi(a, narrowLength(a), b, narrowLength(b), cp);
}

bool strEqualCi(const unsigned char* a, unsigned long na, const unsigned char* b, unsigned long nb,
                zuCPType cp) {
  if (na != nb) return false;
  int first;
  alikeCi(a, b, na, cp, &first);
  return first == 0;
}

int strCompareCi(const unsigned char* a, const unsigned char* b, zuCPType cp) {
  return strCompareCi(a, narrowLength(a), b, narrowLength(b), cp);
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
