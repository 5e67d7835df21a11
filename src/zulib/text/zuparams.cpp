#include "zulib/text/zuparams.h"

#include <charconv>

#include "zulib/text/internal/walk.h"
#include "zulib/text/strcopy.h"

namespace {

// Writes a number in decimal, unterminated, and returns its length. `out` has room for 20 digits and a sign.
constexpr unsigned long kDecimalSize = 21;

template <class Char, class Number>
unsigned long writeDecimal(Char* out, Number number) {
  char digits[kDecimalSize] = {};
  unsigned long n = 0;
  const char* end = std::to_chars(digits, digits + kDecimalSize, number).ptr;
  for (const char* digit = digits; digit < end; ++digit) out[n++] = static_cast<Char>(*digit);
  return n;
}

}  // namespace

template <class Char>
ZuParamStringOf<Char>::~ZuParamStringOf() = default;

template <class Char>
void ZuParamStringOf<Char>::begin() {
  String::unInitialize();
  this->owned = 1;
  paramCount = 0;
  failed = false;
}

template <class Char>
int ZuParamStringOf<Char>::ended(int failure) {
  if (failure) failed = true;
  return failure;
}

template <class Char>
int ZuParamStringOf<Char>::initialize(const Char* text) {
  return initialize(text, strLen(text));
}

template <class Char>
int ZuParamStringOf<Char>::initialize(const Char* text, unsigned long n) {
  begin();
  return ended(String::initialize(text, n));
}

template <class Char>
int ZuParamStringOf<Char>::initialize(unsigned long capacity) {
  begin();
  return ended(String::initialize(capacity));
}

template <class Char>
unsigned long ZuParamStringOf<Char>::buildMatchString(Char* out, Char kind) {
  constexpr unsigned short kLongestPlain = 9;
  ++paramCount;
  unsigned long n = 0;
  out[n++] = '%';
  out[n++] = kind;
  if (paramCount > kLongestPlain) out[n++] = 'x';
  n += writeDecimal(out + n, paramCount);
  out[n] = 0;
  return n;
}

template <class Char>
int ZuParamStringOf<Char>::replace(Char kind, const Char* text, unsigned long n) {
  Char match[kDecimalSize];
  const unsigned long matchLength = buildMatchString(match, kind);
  return ended(String::replaceSubString(match, matchLength, text, n));
}

template <class Char>
int ZuParamStringOf<Char>::setParam(const Char* text) {
  return replace('s', text, text ? strLen(text) : 0);
}

template <class Char>
int ZuParamStringOf<Char>::setParam(unsigned long number) {
  Char digits[kDecimalSize];
  return replace('d', digits, writeDecimal(digits, number));
}

template <class Char>
int ZuParamStringOf<Char>::setParam(long number) {
  Char digits[kDecimalSize];
  return replace('d', digits, writeDecimal(digits, number));
}

template <class Char>
int ZuParamStringOf<Char>::setParam(const View& text) {
  return replace('s', text.asPascalStr(), text.getLength());
}

template <class Char>
int ZuParamStringOf<Char>::setQuotedParam(const Char* text, Char quote) {
  String quoted;
  if (ended(quoted.initialize(text))) return 1;
  static_cast<void>(quoted.addQuotes(quote));
  return setParam(static_cast<const View&>(quoted));
}

template class ZuParamStringOf<unsigned char>;
template class ZuParamStringOf<unsigned short>;

ZuParamString::~ZuParamString() = default;

int ZuParamString::initialize(const unsigned char* text, zuCPType cp) {
  return initialize(text, zutext::lengthOf(text, cp), cp);
}

int ZuParamString::initialize(const unsigned char* text, unsigned long n, zuCPType cp) {
  begin();
  return ended(ZuString::initialize(text, n, cp));
}

int ZuParamString::initialize(unsigned long capacity, zuCPType cp) {
  begin();
  return ended(ZuString::initialize(capacity, cp));
}

ZuParamStringW::~ZuParamStringW() = default;

int ZuParamStringW::initialize(const unsigned char* text, zuCPType cp) {
  return initialize(text, zutext::lengthOf(text, cp), cp);
}

int ZuParamStringW::initialize(const unsigned char* text, unsigned long n, zuCPType cp) {
  begin();
  return ended(ZuStringW::initialize(text, n, cp));
}
