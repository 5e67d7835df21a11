#include "zulib/text/zustringw.h"

#include "zulib/text/internal/textalgorithms.h"

using namespace zutext;

using Memory = StringAlgorithms<WideKind>;
using Text = TextAlgorithms<WideKind>;

ZuStringW::ZuStringW() = default;

ZuStringW::~ZuStringW() {
  unInitialize();
  std::free(narrowImage);
}

int ZuStringW::initialize(const unsigned short* terminated) {
  return initialize(terminated, wideLength(terminated));
}

int ZuStringW::initialize(const unsigned short* p, unsigned long n) {
  return Memory::initialize(*this, p, n, n + 1);
}

int ZuStringW::initialize(const ZuSubStringW& view) {
  return initialize(view.asPascalStr(), view.getLength());
}

int ZuStringW::initialize(unsigned long n) { return Memory::initialize(*this, nullptr, 0, n + 1); }

void ZuStringW::initializeWithBuffer(unsigned short* p, unsigned long newCapacity, unsigned long newLength) {
  Memory::setBuffer(*this, p, newCapacity, newLength, 0);
}

void ZuStringW::initializeTakeBuffer(unsigned short* p, unsigned long newCapacity, unsigned long newLength) {
  Memory::setBuffer(*this, p, newCapacity, newLength, 1);
}

void ZuStringW::unInitialize() { Memory::unInitialize(*this); }

void ZuStringW::clear() { Memory::setLength(*this, 0); }

int ZuStringW::clearAndSet(const ZuSubStringW& view) {
  return Memory::clearAndSet(*this, view.asPascalStr(), view.getLength());
}

int ZuStringW::concat(unsigned short ch) { return Memory::append(*this, &ch, 1); }

int ZuStringW::concat(const unsigned short* terminated) { return concat(terminated, wideLength(terminated)); }

int ZuStringW::concat(const unsigned short* p, unsigned long n) { return Memory::append(*this, p, n); }

int ZuStringW::concat(const ZuSubStringW& view) { return concat(view.asPascalStr(), view.getLength()); }

int ZuStringW::concat(unsigned long number) { return Memory::appendNumber(*this, number); }

int ZuStringW::concat(long number) { return Memory::appendNumber(*this, number); }

int ZuStringW::concatSpace() { return concat(u' '); }

bool ZuStringW::isEnoughSpace(unsigned long n) const { return Memory::isEnoughSpace(*this, n); }

int ZuStringW::assureSpace(unsigned long n) { return Memory::assureSpace(*this, n); }

int ZuStringW::resize(unsigned long newCapacity) { return Memory::resize(*this, newCapacity); }

int ZuStringW::trim() { return Memory::trim(*this); }

int ZuStringW::changeChars(unsigned long offset, unsigned long oldLength, const unsigned short* p,
                           unsigned long newLength) {
  return Memory::change(*this, offset, oldLength, p, newLength);
}

int ZuStringW::replaceSubString(const unsigned short* pat, unsigned long patLength,
                                const unsigned short* text, unsigned long textLength) {
  return Memory::replaceAll(*this, pat, patLength, text, textLength);
}

int ZuStringW::replaceSubString(const unsigned short* pat, const unsigned short* text,
                                unsigned long textLength) {
  return replaceSubString(pat, wideLength(pat), text, textLength);
}

int ZuStringW::replaceSubString(const unsigned short* pat, const unsigned short* text) {
  return replaceSubString(pat, text, text == nullptr ? 0 : wideLength(text));
}

int ZuStringW::replaceSubString(const ZuSubStringW& view, const unsigned short* p, unsigned long n) {
  if (view.asPascalStr() < data || view.asPascalStr() > data + length) return 1;
  return changeChars(static_cast<unsigned long>(view.asPascalStr() - data), view.getLength(), p, n);
}

int ZuStringW::addQuotes(unsigned short quote) { return Text::addQuotes(*this, quote); }

void ZuStringW::removeQuotes() { Text::removeQuotes(*this); }

int ZuStringW::addQuotedChars(const ZuSubStringW& view, unsigned short quote) {
  return Text::addQuoted(*this, view, quote);
}

int ZuStringW::forceEol(unsigned long n) { return Text::forceEol(*this, n); }

int ZuStringW::insertLineBreaks(unsigned long width, unsigned short q1, unsigned short q2,
                                unsigned short q3) {
  return Text::insertLineBreaks(*this, width, {q1, q2, q3});
}

int ZuStringW::removeLineBreaks(unsigned short q1, unsigned short q2, unsigned short q3) {
  return Text::dropRuns(*this, {q1, q2, q3}, Text::isLineFeed);
}

int ZuStringW::removeTabs(unsigned short q1, unsigned short q2, unsigned short q3) {
  return Text::dropRuns(*this, {q1, q2, q3}, Text::isTab);
}

int ZuStringW::removeLineFeeds(unsigned short q1, unsigned short q2, unsigned short q3) {
  return Text::dropRuns(*this, {q1, q2, q3}, Text::isLineEnd);
}

unsigned short* ZuStringW::asCStr(unsigned long offset) {
  if (assureSpace(0)) return nullptr;
  data[length] = 0;
  return data + offset;
}
