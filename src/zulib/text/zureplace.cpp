#include "zulib/text/zustring.h"

#include "zulib/text/internal/gapalgorithms.h"

using namespace zutext;

using Gap = GapAlgorithms<NarrowKind>;

ZuReplaceString::ZuReplaceString() = default;

ZuReplaceString::ZuReplaceString(zuCPType cp) : ZuSubString(cp) {}

ZuReplaceString::ZuReplaceString(ZuString* target) { initialize(target); }

ZuReplaceString::~ZuReplaceString() { Gap::close(*this); }

void ZuReplaceString::initialize(ZuString* newTarget) { Gap::attach(*this, newTarget); }

int ZuReplaceString::concat(const unsigned char* p, unsigned long n) { return Gap::insert(*this, p, n); }

int ZuReplaceString::addQuotedBytes(const unsigned char* p, unsigned long n, unsigned char quote) {
  return Gap::insertQuoted(*this, p, n, quote);
}

void ZuReplaceString::setInsertionPoint(unsigned long offset) {
  if (offset < insertionPoint) {
    Gap::goBack(*this, offset);
  } else {
    increaseInsertionPoint(offset - insertionPoint);
  }
}

void ZuReplaceString::increaseInsertionPoint(unsigned long n) {
  if (target != nullptr) Gap::goOn(*this, n);
}

void ZuReplaceString::reInitialize() { Gap::reInitialize(*this); }
