#include "zulib/text/internal/wide.h"

#include <cstring>

namespace zutext {
namespace {

typedef unsigned short Units8 __attribute__((vector_size(16)));
typedef std::uint64_t Words2 __attribute__((vector_size(16)));

template <class Vector>
bool any(Vector units) {
  const Words2 words = reinterpret_cast<Words2>(units);
  return (words[0] | words[1]) != 0;
}

}  // namespace

// Reads whole aligned blocks of 16 bytes: the one that holds the terminator is read to its end, which lies on
// the same page. The sanitizers would take that for an overrun.
__attribute__((no_sanitize_address, no_sanitize_thread)) unsigned long wideLength(const unsigned short* s) {
  const unsigned short* p = s;
  while ((reinterpret_cast<std::uintptr_t>(p) & 15) != 0) {
    if (*p == 0) return static_cast<unsigned long>(p - s);
    ++p;
  }
  while (!any(*reinterpret_cast<const Units8*>(p) == 0)) p += 8;
  while (*p != 0) ++p;
  return static_cast<unsigned long>(p - s);
}

const unsigned short* scanUnit(const unsigned short* p, const unsigned short* end, unsigned short ch) {
  for (; end - p >= 8; p += 8) {
    Units8 units;
    std::memcpy(&units, p, sizeof units);
    if (any(units == ch)) break;
  }
  while (p < end && *p != ch) ++p;
  return p;
}

}  // namespace zutext
