#include "zulib/text/zustring.h"

#include "zulib/text/internal/replacedefs.h"
#include "zulib/text/internal/stringdefs.h"
#include "zulib/text/internal/viewdefs.h"

template class ZuSubStringOf<unsigned char>;
template class ZuStringOf<unsigned char>;
template class ZuReplaceStringOf<unsigned char>;
template class ZuSubStringUpperOf<unsigned char, 24>;

ZuSubString::ZuSubString(const unsigned char* terminated, zuCPType cp) {
  initialize(terminated, zutext::lengthOf(terminated, cp), cp);
}

void ZuSubString::initialize(const unsigned char* p, unsigned long n, zuCPType cp) {
  initialize(p, n);
  codePage = cp;
}

std::uint32_t ZuSubString::hash() const {
  constexpr unsigned long kMost = 5;
  unsigned char folded[kMost + 1] = {};
  zutext::moveChars(folded, data, std::min(length, kMost));
  // A letter after a byte of UTF-8 that leads a pair in the locale is still a letter for `isEqualCi`.
  if (codePage == zuCPUTF8) {
    for (unsigned char& byte : folded) byte = zutext::kAsciiUpper[byte];
  }
  strUpper(folded);
  std::uint32_t sum = 0;
  for (const unsigned char* p = folded; *p != 0; ++p) sum += *p;
  return sum;
}

unsigned char* ZuSubString::getCopyQuoted(unsigned char* dst, unsigned char) const {
  constexpr unsigned char kApostrophe = 0x27;
  return ZuSubStringOf::getCopyQuoted(dst, kApostrophe);
}

ZuString::~ZuString() = default;

int ZuString::initialize(const unsigned char* terminated, zuCPType cp) {
  return initialize(ZuSubString(terminated, cp));
}

int ZuString::initialize(const unsigned char* p, unsigned long n, zuCPType cp) {
  return initialize(ZuSubString(p, n, cp));
}

int ZuString::initialize(unsigned long n, zuCPType cp) {
  if (initialize(n)) return 1;
  codePage = cp;
  return 0;
}

void ZuString::initializeWithBuffer(unsigned char* p, unsigned long newCapacity, zuCPType cp,
                                    unsigned long newLength) {
  initializeWithBuffer(p, newCapacity, newLength);
  codePage = cp;
}

void ZuString::initializeTakeBuffer(unsigned char* p, unsigned long newCapacity, zuCPType cp,
                                    unsigned long newLength) {
  initializeTakeBuffer(p, newCapacity, newLength);
  codePage = cp;
}

ZuReplaceString::~ZuReplaceString() = default;
