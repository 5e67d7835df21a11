#include <cstring>

#include "zulib/text/internal/wide.h"
#include "zulib/text/strcase.h"
#include "zulib/text/strcompare.h"
#include "zulib/text/zustring.h"
#include "zulib/text/zustringw.h"

ZuSubStringUpper::ZuSubStringUpper(const ZuSubString* view) : view(view), length(view->getLength()) {}

bool ZuSubStringUpper::isEqualUpper(const unsigned char* p, unsigned long n) {
  if (n != length) return false;
  if (!filled) {
    if (view->isEqual(p, n)) return true;
    if (n > limit) return view->isEqualCi(p, n);
    if (n != 0) std::memcpy(folded, view->asPascalStr(), n);
    strUpper(folded, n);
    filled = true;
  }
  return n == 0 || std::memcmp(folded, p, n) == 0;
}

ZuSubStringUpperW::ZuSubStringUpperW(const ZuSubStringW* view) : view(view), length(view->getLength()) {}

void ZuSubStringUpperW::fill() {
  if (filled) return;
  if (length != 0) std::memcpy(folded, view->asPascalStr(), length * sizeof folded[0]);
  strUpper(folded, length);
  filled = true;
}

bool ZuSubStringUpperW::isEqualUpper(const unsigned short* p, unsigned long n) {
  if (n != length) return false;
  if (!filled) {
    if (view->isEqual(p, n)) return true;
    if (n > limit) return view->isEqualCi(p, n);
    fill();
  }
  return strEqualSameLens(folded, p, n);
}

int ZuSubStringUpperW::compareUpper(const unsigned short* p, unsigned long n) {
  if (length > limit) return view->compareCi(p, n);
  fill();
  return strCompare(folded, length, p, n);
}

unsigned short ZuSubStringUpperW::getFirstChar() {
  if (length == 0) return 0;
  if (length <= firstCharLimit) {
    fill();
    return folded[0];
  }
  const unsigned short* text = view->asPascalStr();
  const unsigned long size = zutext::wideSize(text, length);
  unsigned short first[2] = {text[0], text[1]};
  strUpper(first, size);
  return first[0];
}
