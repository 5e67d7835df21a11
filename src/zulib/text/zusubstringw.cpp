#include "zulib/text/zustringw.h"

#include "zulib/text/internal/viewalgorithms.h"
#include "zulib/text/strquote.h"

using namespace zutext;

using Algorithms = ViewAlgorithms<WideKind>;

ZuSubStringW::ZuSubStringW() = default;

ZuSubStringW::ZuSubStringW(const unsigned short* p, unsigned long n) { initialize(p, n); }

ZuSubStringW::ZuSubStringW(const unsigned short* terminated) {
  initialize(terminated, wideLength(terminated));
}

ZuSubStringW::ZuSubStringW(const ZuSubStringW& other) = default;

ZuSubStringW& ZuSubStringW::operator=(const ZuSubStringW& other) = default;

void ZuSubStringW::initialize(const unsigned short* p, unsigned long n) { Algorithms::set(*this, p, n); }

unsigned short ZuSubStringW::getLastChar() const { return length == 0 ? 0 : data[length - 1]; }

void ZuSubStringW::removeLastChar() {
  if (length != 0) --length;
}

unsigned long ZuSubStringW::findChar(unsigned short ch, unsigned long start) const {
  return Algorithms::findChar(*this, ch, start);
}

unsigned long ZuSubStringW::findSubString(const unsigned short* terminated, unsigned long start) const {
  if (data == nullptr) return length;
  return findSubString(terminated, wideLength(terminated), start);
}

unsigned long ZuSubStringW::findSubString(const unsigned short* p, unsigned long n,
                                          unsigned long start) const {
  return Algorithms::findSubString(*this, p, n, start);
}

unsigned short ZuSubStringW::countChar(unsigned short ch) const { return Algorithms::countChar(*this, ch); }

bool ZuSubStringW::isCharInStr(unsigned short ch) const { return length != 0 && findChar(ch) != length; }

bool ZuSubStringW::isEqual(const unsigned short* terminated) const {
  return isEqual(terminated, wideLength(terminated));
}

bool ZuSubStringW::isEqual(const unsigned short* p, unsigned long n) const {
  return Algorithms::isEqual(*this, p, n);
}

bool ZuSubStringW::isEqual(const ZuSubStringW& other) const { return isEqual(other.data, other.length); }

bool ZuSubStringW::isEqualCi(const unsigned short* terminated) const {
  return isEqualCi(terminated, wideLength(terminated));
}

bool ZuSubStringW::isEqualCi(const unsigned short* p, unsigned long n) const {
  return WideKind::equalCi(*this, p, n);
}

bool ZuSubStringW::isEqualCi(const ZuSubStringW& other) const { return isEqualCi(other.data, other.length); }

int ZuSubStringW::compare(const ZuObject* other) const {
  return compareCi(*static_cast<const ZuSubStringW*>(other));
}

int ZuSubStringW::compare(const ZuSubStringW* other) const {
  return strCompare(data, length, other->data, other->length);
}

int ZuSubStringW::compareCi(const unsigned short* terminated) const {
  return compareCi(terminated, wideLength(terminated));
}

int ZuSubStringW::compareCi(const unsigned short* p, unsigned long n) const {
  return WideKind::compareCi(*this, p, n);
}

int ZuSubStringW::compareCi(const ZuSubStringW& other) const { return compareCi(other.data, other.length); }

std::uint32_t ZuSubStringW::hash() const {
  constexpr unsigned long most = 6;
  constexpr unsigned shift = 3;
  unsigned short folded[most + 1] = {};
  moveChars(folded, data, length < most ? length : most);
  strUpper(folded);
  std::uint32_t sum = 0;
  for (unsigned i = 0; folded[i] != 0; ++i) sum += static_cast<std::uint32_t>(folded[i]) << (shift * i % 32);
  return sum;
}

unsigned long ZuSubStringW::indexInSet(const unsigned short* const* set, unsigned long n) const {
  return Algorithms::indexInSet(*this, set, n);
}

unsigned long ZuSubStringW::indexInSetCi(const unsigned short* const* set, unsigned long n) const {
  return Algorithms::indexInSetCi(*this, set, n);
}

unsigned short* ZuSubStringW::getCopyUnquoted(unsigned short* dst) const {
  return strCopyUnquoted(dst, data, length);
}

unsigned short* ZuSubStringW::getCopyQuoted(unsigned short* dst, unsigned short quote) const {
  return writeQuoted(dst, data, length, WideWalk(), quote);
}

int ZuSubStringW::copyQuotedStr(ZuStringW* target) const { return Algorithms::copyQuoted(*this, *target); }

void ZuSubStringW::rightBlankTrim() { Algorithms::rightBlankTrim(*this); }

int ZuSubStringW::getLines(ZuArray* lines) const { return Algorithms::getLines(*this, *lines); }
