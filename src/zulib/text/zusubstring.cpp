#include "zulib/text/zustring.h"

#include "zulib/text/internal/viewalgorithms.h"
#include "zulib/text/strquote.h"

using namespace zutext;

using Algorithms = ViewAlgorithms<NarrowKind>;

ZuSubString::ZuSubString() = default;

ZuSubString::ZuSubString(zuCPType cp) : codePage(cp) {}

ZuSubString::ZuSubString(const unsigned char* p, unsigned long n) { initialize(p, n); }

ZuSubString::ZuSubString(const unsigned char* p, unsigned long n, zuCPType cp) { initialize(p, n, cp); }

ZuSubString::ZuSubString(const unsigned char* terminated) {
  initialize(terminated, narrowLength(terminated));
}

ZuSubString::ZuSubString(const unsigned char* terminated, zuCPType cp) {
  initialize(terminated, narrowLength(terminated, cp), cp);
}

ZuSubString::ZuSubString(const ZuSubString& other) = default;

ZuSubString& ZuSubString::operator=(const ZuSubString& other) = default;

void ZuSubString::initialize(const unsigned char* p, unsigned long n) { initialize(p, n, zuCPLocale); }

void ZuSubString::initialize(const unsigned char* p, unsigned long n, zuCPType cp) {
  Algorithms::set(*this, p, n);
  codePage = cp;
}

unsigned char ZuSubString::getLastChar() const { return length == 0 ? 0 : data[length - 1]; }

void ZuSubString::removeLastChar() {
  if (length != 0) --length;
}

unsigned long ZuSubString::findChar(unsigned char ch, unsigned long start) const {
  return Algorithms::findChar(*this, ch, start);
}

unsigned long ZuSubString::findSubString(const unsigned char* terminated, unsigned long start) const {
  if (data == nullptr) return length;
  return findSubString(terminated, narrowLength(terminated), start);
}

unsigned long ZuSubString::findSubString(const unsigned char* p, unsigned long n, unsigned long start) const {
  return Algorithms::findSubString(*this, p, n, start);
}

unsigned short ZuSubString::countChar(unsigned char ch) const { return Algorithms::countChar(*this, ch); }

bool ZuSubString::isCharInStr(unsigned char ch) const { return length != 0 && findChar(ch) != length; }

bool ZuSubString::isEqual(const unsigned char* terminated) const {
  return isEqual(terminated, narrowLength(terminated));
}

bool ZuSubString::isEqual(const unsigned char* p, unsigned long n) const {
  return Algorithms::isEqual(*this, p, n);
}

bool ZuSubString::isEqual(const ZuSubString& other) const { return isEqual(other.data, other.length); }

bool ZuSubString::isEqualCi(const unsigned char* terminated) const {
  return isEqualCi(terminated, narrowLength(terminated));
}

bool ZuSubString::isEqualCi(const unsigned char* p, unsigned long n) const {
  return NarrowKind::equalCi(*this, p, n);
}

bool ZuSubString::isEqualCi(const ZuSubString& other) const { return isEqualCi(other.data, other.length); }

int ZuSubString::compare(const ZuObject* other) const {
  return compareCi(*static_cast<const ZuSubString*>(other));
}

int ZuSubString::compare(const ZuSubString* other) const {
  return strCompare(data, length, other->data, other->length);
}

int ZuSubString::compareCi(const unsigned char* terminated) const {
  return compareCi(terminated, narrowLength(terminated));
}

int ZuSubString::compareCi(const unsigned char* p, unsigned long n) const {
  return NarrowKind::compareCi(*this, p, n);
}

int ZuSubString::compareCi(const ZuSubString& other) const { return compareCi(other.data, other.length); }

std::uint32_t ZuSubString::hash() const {
  constexpr unsigned long most = 5;
  unsigned char folded[most + 1] = {};
  moveChars(folded, data, length < most ? length : most);
  // A letter after a byte of UTF-8 that leads a pair in the locale is still a letter for `isEqualCi`.
  if (codePage == zuCPUTF8) {
    for (unsigned char& byte : folded) byte = asciiUpper[byte];
  }
  strUpper(folded);
  std::uint32_t sum = 0;
  for (const unsigned char* p = folded; *p != 0; ++p) sum += *p;
  return sum;
}

unsigned long ZuSubString::indexInSet(const unsigned char* const* set, unsigned long n) const {
  return Algorithms::indexInSet(*this, set, n);
}

unsigned long ZuSubString::indexInSetCi(const unsigned char* const* set, unsigned long n) const {
  return Algorithms::indexInSetCi(*this, set, n);
}

unsigned char* ZuSubString::getCopyUnquoted(unsigned char* dst) const {
  return strCopyUnquoted(dst, data, length, codePage);
}

// The quote is always the apostrophe: what callers build with this is SQL text.
unsigned char* ZuSubString::getCopyQuoted(unsigned char* dst, unsigned char) const {
  constexpr unsigned char apostrophe = 0x27;
  return writeQuoted(dst, data, length, NarrowWalk(codePage), apostrophe);
}

int ZuSubString::copyQuotedStr(ZuString* target) const { return Algorithms::copyQuoted(*this, *target); }

void ZuSubString::rightBlankTrim() { Algorithms::rightBlankTrim(*this); }

int ZuSubString::getLines(ZuArray* lines) const { return Algorithms::getLines(*this, *lines); }
