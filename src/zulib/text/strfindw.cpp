#include <cstring>

#include "zulib/text/internal/wide.h"
#include "zulib/text/strcompare.h"
#include "zulib/text/strfind.h"

using namespace zutext;

namespace {

// True when the unit at `p` is the second half of a pair that starts at or past `start`.
bool isSecondHalf(const unsigned short* start, const unsigned short* p) {
  return isLow(*p) && p > start && isHigh(p[-1]);
}

// The first character at or past `p` that begins with the unit `ch`; null when there is none.
const unsigned short* findStart(const unsigned short* start, const unsigned short* p,
                                const unsigned short* end, unsigned short ch) {
  for (; p < end; ++p) {
    p = scanUnit(p, end, ch);
    if (p == end) break;
    if (!isSecondHalf(start, p)) return p;
  }
  return nullptr;
}

// True for a unit that is half of a pair.
bool isHalf(const unsigned short* s, unsigned long n, unsigned long i) {
  return (isHigh(s[i]) && i + 1 < n && isLow(s[i + 1])) || isSecondHalf(s, s + i);
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
    if (isInSet(set, s[i]) && !isHalf(s, n, i)) return s + i;
  }
  return nullptr;
}

}  // namespace

const unsigned short* strFind(const unsigned short* s, unsigned short ch) {
  return strFind(s, wideLength(s), ch);
}

const unsigned short* strFind(const unsigned short* s, unsigned long n, unsigned short ch) {
  const unsigned short* end = s + n;
  for (const unsigned short* p = s; p < end; ++p) {
    p = scanUnit(p, end, ch);
    if (p == end) break;
    if (!isHalf(s, n, static_cast<unsigned long>(p - s))) return p;
  }
  return nullptr;
}

const unsigned short* strFind(const unsigned short* s, const unsigned short* pat) {
  return strFind(s, wideLength(s), pat, wideLength(pat));
}

const unsigned short* strFind(const unsigned short* s, unsigned long n, const unsigned short* pat,
                              unsigned long m) {
  if (m == 0 || m > n) return nullptr;
  const unsigned short* stop = s + (n - m) + 1;
  for (const unsigned short* p = s; p < stop; ++p) {
    p = findStart(s, p, stop, pat[0]);
    if (p == nullptr) break;
    if (m == 1 || (p[1] == pat[1] && std::memcmp(p + 1, pat + 1, 2 * (m - 1)) == 0)) return p;
  }
  return nullptr;
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
  return strFindCi(s, wideLength(s), pat, wideLength(pat));
}

const unsigned short* strFindCi(const unsigned short* s, unsigned long n, const unsigned short* pat,
                                unsigned long m) {
  if (m == 0 || m > n) return nullptr;
  const unsigned long first = wideSize(pat, m);
  const std::uint32_t raw = codePointAt(pat, m);
  const std::uint32_t folded = foldPoint(raw);
  for (unsigned long i = 0; m <= n - i;) {
    const unsigned long size = wideSize(s + i, n - i);
    const std::uint32_t c = codePointAt(s + i, n - i);
    if (size == first && (c == raw || foldPoint(c) == folded) &&
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
  return strFindReverse(s, wideLength(s), ch);
}

const unsigned short* strFindReverse(const unsigned short* s, unsigned long n, unsigned short ch) {
  for (unsigned long i = n; i > 0; --i) {
    if (s[i - 1] == ch && !isHalf(s, n, i - 1)) return s + i - 1;
  }
  return nullptr;
}
