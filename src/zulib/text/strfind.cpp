#include "zulib/text/strfind.h"

#include <cstdlib>

#include "zulib/runtime/ram.h"
#include "zulib/text/internal/walk.h"
#include "zulib/text/strcase.h"
#include "zulib/text/strcompare.h"

using namespace zutext;

namespace {

// A block that goes with its scope.
class Block {
 public:
  explicit Block(unsigned char* block) : block(block) {}
  Block(const Block&) = delete;
  Block& operator=(const Block&) = delete;
  ~Block() { std::free(block); }
  unsigned char* get() const { return block; }

 private:
  unsigned char* block;
};

// True when each of the `m` bytes at `p` is that of `upper` or that of `lower`.
bool matchesEither(const unsigned char* p, const unsigned char* upper, const unsigned char* lower,
                   unsigned long m) {
  for (unsigned long i = 0; i < m; ++i) {
    if (p[i] != upper[i] && p[i] != lower[i]) return false;
  }
  return true;
}

bool isInClass(unsigned char byte, unsigned long flags) {
  return ((flags & strClassLower) != 0 && byte >= 'a' && byte <= 'z') ||
         ((flags & strClassUpper) != 0 && byte >= 'A' && byte <= 'Z') ||
         ((flags & strClassDigit) != 0 && byte >= '0' && byte <= '9');
}

// Walks until a character is in the set or a class (`wanted`), or is not (not `wanted`); true when one is
// met.
bool meets(bool wanted, const unsigned char* s, unsigned long n, const unsigned char* extra,
           unsigned long flags, zuCPType cp) {
  const NarrowWalk walk(cp);
  const unsigned long extraLength = extra ? lengthOf(extra) : 0;
  for (unsigned long i = 0; i < n; i += walk.step(s + i, n - i)) {
    const bool isIn = isInClass(s[i], flags) || find(walk, extra, extraLength, s[i]);
    if (isIn == wanted) return true;
  }
  return false;
}

template <class Char>
bool isInSet(const Char* set, unsigned short unit) {
  for (; *set != 0; ++set) {
    if (*set == unit) return true;
  }
  return false;
}

template <class Char>
const unsigned short* findAnyOf(const unsigned short* s, unsigned long n, const Char* set) {
  for (unsigned long i = 0; i < n; ++i) {
    if (isInSet(set, s[i]) && !isHalfOfPair(s, n, i)) return s + i;
  }
  return nullptr;
}

}  // namespace

const unsigned char* strFind(const unsigned char* s, unsigned char ch, zuCPType cp) {
  return find(NarrowWalk(cp), s, lengthOf(s), ch);
}

const unsigned char* strFindAnsi(const unsigned char* s, unsigned char ch) {
  return strFind(s, ch, zuCPLocale);
}

const unsigned char* strFind(const unsigned char* s, const unsigned char* pat, zuCPType cp) {
  return strFind(s, lengthOf(s), pat, lengthOf(pat), cp);
}

const unsigned char* strFind(const unsigned char* s, unsigned long n, const unsigned char* pat,
                             unsigned long m, zuCPType cp) {
  return find(NarrowWalk(cp), s, n, pat, m);
}

const unsigned char* strFindReverse(const unsigned char* s, unsigned char ch, zuCPType cp) {
  const NarrowWalk walk(cp);
  const unsigned char* end = s + lengthOf(s);
  const unsigned char* last = nullptr;
  for (const unsigned char* p = s; p < end; p = walk.next(p, end)) {
    p = find(walk, p, static_cast<unsigned long>(end - p), ch);
    if (!p) break;
    last = p;
  }
  return last;
}

// The options are not looked at: callers that ask for the first hit rely on getting the last.
const unsigned char* strFind(const unsigned char* s, unsigned char ch, strFindOptions, zuCPType cp) {
  return strFindReverse(s, ch, cp);
}

const unsigned char* strFind(const unsigned char* s, unsigned char ch, unsigned char q1, unsigned char q2,
                             unsigned char q3, zuCPType cp) {
  const NarrowWalk walk(cp);
  unsigned char zone = 0;
  const unsigned char* end = s + lengthOf(s);
  for (const unsigned char* p = s; p < end; p = walk.next(p, end)) {
    if (zone != 0) {
      if (*p == zone) zone = 0;
    } else if (*p == ch) {
      return p;
    } else if (*p == q1 || *p == q2 || *p == q3) {
      zone = *p;
    }
  }
  return nullptr;
}

const unsigned char* strFindCi(const unsigned char* s, unsigned long n, const unsigned char* pat,
                               unsigned long m, zuCPType cp) {
  if (m == 0 || m > n) return nullptr;
  const Block text(ramAllocStr(s, n));
  if (!text.get()) return nullptr;
  const Block pattern(ramAllocStr(pat, m));
  if (!pattern.get()) return nullptr;
  strUpper(text.get(), n);
  strUpper(pattern.get(), m);
  const unsigned char* hit = strFind(text.get(), n, pattern.get(), m, cp);
  return hit ? s + (hit - text.get()) : nullptr;
}

const unsigned char* strFindCi(const unsigned char* s, unsigned long n, const unsigned char* upper,
                               const unsigned char* lower, unsigned long m, zuCPType cp) {
  if (m == 0 || m > n) return nullptr;
  const NarrowWalk walk(cp);
  const unsigned char* last = s + (n - m);
  const unsigned char* end = s + n;
  for (const unsigned char* p = s; p <= last;) {
    const unsigned char* hit = findEither(p, last + 1, *upper, *lower);
    if (!hit) return nullptr;
    if (cp != zuCPSingleByte) {
      p = walk.reach(p, hit, end);
      if (p != hit) continue;
      const unsigned long size = walk.step(p, static_cast<unsigned long>(end - p));
      if (size != 1) {
        p += size;
        continue;
      }
    }
    if (matchesEither(hit, upper, lower, m)) return hit;
    p = hit + 1;
  }
  return nullptr;
}

bool strContains(const unsigned char* s, unsigned long n, const unsigned char* extra, unsigned long flags,
                 zuCPType cp) {
  return !meets(false, s, n, extra, flags, cp);
}

bool strDoesNotContain(const unsigned char* s, unsigned long n, const unsigned char* extra,
                       unsigned long flags, zuCPType cp) {
  return !meets(true, s, n, extra, flags, cp);
}

// ---- UTF-16 ----

const unsigned short* strFind(const unsigned short* s, unsigned short ch) {
  return strFind(s, lengthOf(s), ch);
}

const unsigned short* strFind(const unsigned short* s, unsigned long n, unsigned short ch) {
  return find(WideWalk(), s, n, ch);
}

const unsigned short* strFind(const unsigned short* s, const unsigned short* pat) {
  return strFind(s, lengthOf(s), pat, lengthOf(pat));
}

const unsigned short* strFind(const unsigned short* s, unsigned long n, const unsigned short* pat,
                              unsigned long m) {
  return find(WideWalk(), s, n, pat, m);
}

const unsigned short* strFind(const unsigned short* s, unsigned short ch, unsigned short q1,
                              unsigned short q2, unsigned short q3) {
  unsigned short zone = 0;
  for (const unsigned short* p = s; *p != 0; p += wideSize(p, 2)) {
    if (wideSize(p, 2) == 2) continue;
    if (zone != 0) {
      if (*p == zone) zone = 0;
    } else if (*p == ch) {
      return p;
    } else if (*p == q1 || *p == q2 || *p == q3) {
      zone = *p;
    }
  }
  return nullptr;
}

const unsigned short* strFindCi(const unsigned short* s, const unsigned short* pat) {
  return strFindCi(s, lengthOf(s), pat, lengthOf(pat));
}

const unsigned short* strFindCi(const unsigned short* s, unsigned long n, const unsigned short* pat,
                                unsigned long m) {
  if (m == 0 || m > n) return nullptr;
  const unsigned long first = wideSize(pat, m);
  const std::uint32_t raw = codePointAt(pat, m);
  const std::uint32_t folded = upperPoint(raw);
  for (unsigned long i = 0; m <= n - i;) {
    const unsigned long size = wideSize(s + i, n - i);
    const std::uint32_t c = codePointAt(s + i, n - i);
    if (size == first && (c == raw || upperPoint(c) == folded) &&
        strEqualCi(s + i + size, m - first, pat + first, m - first)) {
      return s + i;
    }
    i += size;
  }
  return nullptr;
}

const unsigned short* strFindAnyChar(const unsigned short* s, unsigned long n, const unsigned short* set) {
  return findAnyOf(s, n, set);
}

const unsigned short* strFindAnyChar(const unsigned short* s, unsigned long n, const unsigned char* set) {
  return findAnyOf(s, n, set);
}

const unsigned short* strFindReverse(const unsigned short* s, unsigned short ch) {
  return strFindReverse(s, lengthOf(s), ch);
}

const unsigned short* strFindReverse(const unsigned short* s, unsigned long n, unsigned short ch) {
  for (unsigned long i = n; i > 0; --i) {
    if (s[i - 1] == ch && !isHalfOfPair(s, n, i - 1)) return s + i - 1;
  }
  return nullptr;
}
