// What the editor of zustringof.h does. zustring.cpp and zustringw.cpp each instantiate it for one width.

#ifndef ZULIB_TEXT_INTERNAL_REPLACEDEFS_H
#define ZULIB_TEXT_INTERNAL_REPLACEDEFS_H

#include "zulib/text/internal/stringdefs.h"

template <class Char>
ZuReplaceStringOf<Char>::~ZuReplaceStringOf() {
  close();
}

template <class Char>
void ZuReplaceStringOf<Char>::close() {
  if (!target) return;
  Char* start = target->asPascalStr();
  if (gap() != 0) zutext::moveChars(start + insertionPoint, start + tailOffset, length);
  target->setCurSize(length + insertionPoint);
  target->trim();
  target = nullptr;
}

template <class Char>
void ZuReplaceStringOf<Char>::initialize(String* newTarget) {
  close();
  target = newTarget;
  insertionPoint = 0;
  tailOffset = 0;
  data = target ? target->asPascalStr() : nullptr;
  this->setLength(target ? target->getLength() : 0);
  if (target) this->takeCodePage(*target);
}

template <class Char>
void ZuReplaceStringOf<Char>::reInitialize() {
  if (target) data = target->asPascalStr() + tailOffset;
}

// Widens the gap to at least `n`. `*p`, if it lies in the target, moves with what it points at.
template <class Char>
int ZuReplaceStringOf<Char>::makeRoom(unsigned long n, const Char** p) {
  constexpr unsigned long kSlack = 512;
  if (n <= gap()) return 0;
  if (n > zutext::kMostCharacters<Char>) return zutext::outOfMemory();
  const Char* start = target->asPascalStr();
  const bool inside = start && *p >= start && *p < start + target->getCapacity();
  const auto offset = inside ? static_cast<unsigned long>(*p - start) : 0;
  const bool inTail = inside && offset >= tailOffset;
  target->setCurSize(tailOffset + length);
  if (target->assureSpace(n + kSlack)) return 1;
  reInitialize();
  zutext::moveChars(data + n + kSlack, data, length);
  tailOffset += n + kSlack;
  data += n + kSlack;
  if (inside) *p = target->asPascalStr(offset) + (inTail ? n + kSlack : 0);
  return 0;
}

template <class Char>
int ZuReplaceStringOf<Char>::concat(const Char* p, unsigned long n) {
  if (!target || makeRoom(n, &p)) return 1;
  zutext::moveChars(target->asPascalStr(insertionPoint), p, n);
  insertionPoint += n;
  return 0;
}

template <class Char>
int ZuReplaceStringOf<Char>::insertQuoted(const Char* p, unsigned long n, Char quote) {
  const auto steps = this->walk();
  // Two quotes around, and room for the terminator that is written after them.
  if (!target || makeRoom(n + zutext::countQuotes(p, n, steps, quote) + 3, &p)) return 1;
  Char* place = target->asPascalStr(insertionPoint);
  insertionPoint += static_cast<unsigned long>(zutext::writeQuoted(place, p, n, steps, quote) - place);
  return 0;
}

template <class Char>
void ZuReplaceStringOf<Char>::setInsertionPoint(unsigned long offset) {
  if (offset >= insertionPoint) return increaseInsertionPoint(offset - insertionPoint);
  const unsigned long n = insertionPoint - offset;
  if (gap() != 0) zutext::moveChars(data - n, target->asPascalStr(offset), n);
  insertionPoint = offset;
  tailOffset -= n;
  data -= n;
  length += n;
}

template <class Char>
void ZuReplaceStringOf<Char>::increaseInsertionPoint(unsigned long n) {
  if (!target) return;
  n = std::min(n, length);
  if (gap() != 0) zutext::moveChars(target->asPascalStr(insertionPoint), data, n);
  insertionPoint += n;
  tailOffset += n;
  data += n;
  length -= n;
}

#endif
