#include "zulib/text/zustringw.h"

#include "zulib/text/internal/gapalgorithms.h"

using namespace zutext;

using Gap = GapAlgorithms<WideKind>;

ZuReplaceStringW::ZuReplaceStringW() = default;

ZuReplaceStringW::ZuReplaceStringW(ZuStringW* target) { initialize(target); }

ZuReplaceStringW::~ZuReplaceStringW() { Gap::close(*this); }

void ZuReplaceStringW::initialize(ZuStringW* newTarget) { Gap::attach(*this, newTarget); }

int ZuReplaceStringW::concat(const unsigned short* p, unsigned long n) { return Gap::insert(*this, p, n); }

int ZuReplaceStringW::addQuotedChars(const unsigned short* p, unsigned long n, unsigned short quote) {
  return Gap::insertQuoted(*this, p, n, quote);
}

void ZuReplaceStringW::setInsertionPoint(unsigned long offset) {
  if (offset < insertionPoint) {
    Gap::goBack(*this, offset);
  } else {
    increaseInsertionPoint(offset - insertionPoint);
  }
}

void ZuReplaceStringW::increaseInsertionPoint(unsigned long n) {
  if (target != nullptr) Gap::goOn(*this, n);
}

void ZuReplaceStringW::reInitialize() { Gap::reInitialize(*this); }
