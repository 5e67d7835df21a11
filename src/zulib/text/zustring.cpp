#include "zulib/text/zustring.h"

#include "zulib/text/internal/textalgorithms.h"

using namespace zutext;

using Memory = StringAlgorithms<NarrowKind>;
using Text = TextAlgorithms<NarrowKind>;

ZuString::ZuString() = default;

ZuString::~ZuString() { unInitialize(); }

int ZuString::initialize(const unsigned char* terminated) { return initialize(terminated, zuCPLocale); }

int ZuString::initialize(const unsigned char* terminated, zuCPType cp) {
  return initialize(terminated, narrowLength(terminated, cp), cp);
}

int ZuString::initialize(const unsigned char* p, unsigned long n) { return initialize(p, n, zuCPLocale); }

int ZuString::initialize(const unsigned char* p, unsigned long n, zuCPType cp) {
  if (Memory::initialize(*this, p, n, n + 1)) return 1;
  codePage = cp;
  return 0;
}

int ZuString::initialize(const ZuSubString& view) {
  return initialize(view.asPascalStr(), view.getLength(), view.getCodePage());
}

int ZuString::initialize(unsigned long n) { return initialize(n, zuCPLocale); }

int ZuString::initialize(unsigned long n, zuCPType cp) {
  if (Memory::initialize(*this, nullptr, 0, n + 1)) return 1;
  codePage = cp;
  return 0;
}

void ZuString::initializeWithBuffer(unsigned char* p, unsigned long newCapacity, unsigned long newLength) {
  initializeWithBuffer(p, newCapacity, zuCPLocale, newLength);
}

void ZuString::initializeWithBuffer(unsigned char* p, unsigned long newCapacity, zuCPType cp,
                                    unsigned long newLength) {
  Memory::setBuffer(*this, p, newCapacity, newLength, 0);
  codePage = cp;
}

void ZuString::initializeTakeBuffer(unsigned char* p, unsigned long newCapacity, zuCPType cp,
                                    unsigned long newLength) {
  Memory::setBuffer(*this, p, newCapacity, newLength, 1);
  codePage = cp;
}

void ZuString::unInitialize() { Memory::unInitialize(*this); }

void ZuString::clear() { Memory::setLength(*this, 0); }

int ZuString::clearAndSet(const ZuSubString& view) {
  return Memory::clearAndSet(*this, view.asPascalStr(), view.getLength());
}

int ZuString::concat(unsigned char ch) { return Memory::append(*this, &ch, 1); }

int ZuString::concat(const unsigned char* terminated) { return concat(terminated, narrowLength(terminated)); }

int ZuString::concat(const unsigned char* p, unsigned long n) { return Memory::append(*this, p, n); }

int ZuString::concat(const ZuSubString& view) { return concat(view.asPascalStr(), view.getLength()); }

int ZuString::concat(unsigned long number) { return Memory::appendNumber(*this, number); }

int ZuString::concat(long number) { return Memory::appendNumber(*this, number); }

int ZuString::concatSpace() { return concat(' '); }

bool ZuString::isEnoughSpace(unsigned long n) const { return Memory::isEnoughSpace(*this, n); }

int ZuString::assureSpace(unsigned long n) { return Memory::assureSpace(*this, n); }

int ZuString::resize(unsigned long newCapacity) { return Memory::resize(*this, newCapacity); }

int ZuString::trim() { return Memory::trim(*this); }

int ZuString::changeBytes(unsigned long offset, unsigned long oldLength, const unsigned char* p,
                          unsigned long newLength) {
  return Memory::change(*this, offset, oldLength, p, newLength);
}

int ZuString::replaceSubString(const unsigned char* pat, unsigned long patLength, const unsigned char* text,
                               unsigned long textLength) {
  return Memory::replaceAll(*this, pat, patLength, text, textLength);
}

int ZuString::replaceSubString(const unsigned char* pat, const unsigned char* text,
                               unsigned long textLength) {
  return replaceSubString(pat, narrowLength(pat), text, textLength);
}

int ZuString::replaceSubString(const unsigned char* pat, const unsigned char* text) {
  return replaceSubString(pat, text, text == nullptr ? 0 : narrowLength(text));
}

int ZuString::replaceSubString(const ZuSubString& view, const unsigned char* p, unsigned long n) {
  if (view.asPascalStr() < data || view.asPascalStr() > data + length) return 1;
  return changeBytes(static_cast<unsigned long>(view.asPascalStr() - data), view.getLength(), p, n);
}

int ZuString::addQuotes(unsigned char quote) { return Text::addQuotes(*this, quote); }

void ZuString::removeQuotes() { Text::removeQuotes(*this); }

int ZuString::addQuotedBytes(const ZuSubString& view, unsigned char quote) {
  return Text::addQuoted(*this, view, quote);
}

int ZuString::forceEol(unsigned long n) { return Text::forceEol(*this, n); }

int ZuString::insertLineBreaks(unsigned long width, unsigned char q1, unsigned char q2, unsigned char q3) {
  return Text::insertLineBreaks(*this, width, {q1, q2, q3});
}

int ZuString::removeLineBreaks(unsigned char q1, unsigned char q2, unsigned char q3) {
  return Text::dropRuns(*this, {q1, q2, q3}, Text::isLineFeed);
}

int ZuString::removeTabs(unsigned char q1, unsigned char q2, unsigned char q3) {
  return Text::dropRuns(*this, {q1, q2, q3}, Text::isTab);
}

int ZuString::removeLineFeeds(unsigned char q1, unsigned char q2, unsigned char q3) {
  return Text::dropRuns(*this, {q1, q2, q3}, Text::isLineEnd);
}

unsigned char* ZuString::asCStr(unsigned long offset) {
  if (assureSpace(0)) return nullptr;
  data[length] = 0;
  return data + offset;
}
