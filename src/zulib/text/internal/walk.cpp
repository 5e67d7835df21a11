#include "zulib/text/internal/walk.h"

#include <cstring>

#include "zulib/text/internal/bytescan.h"

namespace zutext {

void NarrowWalk::followLocale() {
  const LocaleFacts& facts = localeFacts();
  sizes = facts.size;
  upper = facts.upper;
  utf8 = false;
  ask = true;
  asciiPlain = facts.asciiPlain;
  asciiFold = asciiPlain && facts.asciiFold;
}

// True when no byte before `p` could begin a character that reaches over `p`, wherever the characters before
// it begin. In valid UTF-8 that holds for every start.
bool NarrowWalk::isSurelyStart(const unsigned char* start, const unsigned char* p) const {
  const std::ptrdiff_t before = p - start;
  const std::ptrdiff_t longest = utf8 ? 3 : 1;
  for (std::ptrdiff_t i = 1; i <= longest && i <= before; ++i) {
    if (sizes[p[-i]] > i) return false;
  }
  return true;
}

const unsigned char* NarrowWalk::reachFurther(const unsigned char* start, const unsigned char* target,
                                              const unsigned char* end) const {
  const unsigned char* p = target;
  while (p > start && !isSurelyStart(start, p)) --p;
  while (p < target) p = next(p, end);
  return p;
}

// Goes on from hits of `seek(from)` that lie inside a character, until one is the start of one.
template <class Seek>
static const unsigned char* firstStart(const NarrowWalk& walk, const unsigned char* s, unsigned long n,
                                       Seek seek) {
  const unsigned char* end = s + n;
  for (const unsigned char* start = s; start < end;) {
    const auto* hit = static_cast<const unsigned char*>(seek(start, static_cast<size_t>(end - start)));
    if (!hit) break;
    start = walk.reach(start, hit, end);
    if (start == hit) return hit;
  }
  return nullptr;
}

const unsigned char* find(const NarrowWalk& walk, const unsigned char* s, unsigned long n, unsigned char ch) {
  return firstStart(walk, s, n,
                    [ch](const unsigned char* from, size_t left) { return std::memchr(from, ch, left); });
}

const unsigned char* find(const NarrowWalk& walk, const unsigned char* s, unsigned long n,
                          const unsigned char* pat, unsigned long m) {
  if (m == 0 || m > n) return nullptr;
  return firstStart(walk, s, n,
                    [=](const unsigned char* from, size_t left) { return memmem(from, left, pat, m); });
}

const unsigned short* find(const WideWalk&, const unsigned short* s, unsigned long n, unsigned short ch) {
  const unsigned short* end = s + n;
  for (const unsigned short* p = s; p < end; ++p) {
    p = scanUnit(p, end, ch);
    if (p != end && !isHalfOfPair(s, n, static_cast<unsigned long>(p - s))) return p;
  }
  return nullptr;
}

const unsigned short* find(const WideWalk&, const unsigned short* s, unsigned long n,
                           const unsigned short* pat, unsigned long m) {
  if (m == 0 || m > n) return nullptr;
  const unsigned short* stop = s + (n - m) + 1;
  for (const unsigned short* p = s; p < stop; ++p) {
    p = scanUnit(p, stop, pat[0]);
    if (p == stop) break;
    const bool isSecondHalf = isLow(*p) && p > s && isHigh(p[-1]);
    const bool mayMatch = !isSecondHalf && (m == 1 || p[1] == pat[1]);
    if (mayMatch && std::memcmp(p, pat, m * sizeof *pat) == 0) return p;
  }
  return nullptr;
}

}  // namespace zutext
