// The editor's gap, once for both kinds.
//
//   target's buffer:   | edited head | gap | tail still to be passed |
//                      0    insertionPoint  tailOffset               tailOffset + length

#ifndef ZULIB_TEXT_INTERNAL_GAPALGORITHMS_H
#define ZULIB_TEXT_INTERNAL_GAPALGORITHMS_H

#include "zulib/text/internal/stringalgorithms.h"

namespace zutext {

template <class Kind>
struct GapAlgorithms {
  using Char = typename Kind::Char;
  using String = typename Kind::String;
  using Editor = typename Kind::Editor;

  // What the gap grows by beyond what is asked for.
  static constexpr unsigned long slack = 512;

  static void attach(Editor& e, String* target) {
    close(e);
    e.target = target;
    e.insertionPoint = 0;
    e.tailOffset = 0;
    e.data = target == nullptr ? nullptr : target->data;
    e.length = target == nullptr ? 0 : target->length;
    if constexpr (Kind::hasCodePage) {
      e.initialLength = e.length;
      if (target != nullptr) e.codePage = target->codePage;
    }
  }

  static void close(Editor& e) {
    if (e.target == nullptr) return;
    String& t = *e.target;
    if (gap(e) != 0) moveChars(t.data + e.insertionPoint, t.data + e.tailOffset, e.length);
    t.length = e.length + e.insertionPoint;
    t.trim();
    e.target = nullptr;
  }

  static void reInitialize(Editor& e) {
    if (e.target != nullptr) e.data = e.target->data + e.tailOffset;
  }

  static int insert(Editor& e, const Char* p, unsigned long n) {
    if (e.target == nullptr) return 1;
    if (makeRoom(e, n, &p)) return 1;
    moveChars(e.target->data + e.insertionPoint, p, n);
    e.insertionPoint += n;
    return 0;
  }

  static int insertQuoted(Editor& e, const Char* p, unsigned long n, Char quote) {
    if (e.target == nullptr) return 1;
    const auto steps = Kind::steps(e);
    // Two quotes around, and room for the terminator that is written behind them.
    if (makeRoom(e, n + countQuotes(p, n, steps, quote) + 3, &p)) return 1;
    Char* place = e.target->data + e.insertionPoint;
    e.insertionPoint += static_cast<unsigned long>(writeQuoted(place, p, n, steps, quote) - place);
    return 0;
  }

  static void goBack(Editor& e, unsigned long offset) {
    const unsigned long n = e.insertionPoint - offset;
    if (gap(e) != 0) moveChars(e.data - n, e.target->data + offset, n);
    e.insertionPoint = offset;
    e.tailOffset -= n;
    e.data -= n;
    e.length += n;
  }

  static void goOn(Editor& e, unsigned long n) {
    if (n > e.length) n = e.length;
    if (gap(e) != 0) moveChars(e.target->data + e.insertionPoint, e.data, n);
    e.insertionPoint += n;
    e.tailOffset += n;
    e.data += n;
    e.length -= n;
  }

 private:
  static unsigned long gap(const Editor& e) { return e.tailOffset - e.insertionPoint; }

  // Widens the gap to at least `n`. `*p`, when it lies in the target, goes along with what it points at.
  static int makeRoom(Editor& e, unsigned long n, const Char** p) {
    if (n <= gap(e)) return 0;
    String& t = *e.target;
    const bool inside = StringAlgorithms<Kind>::isInside(t, *p);
    const auto offset = inside ? static_cast<unsigned long>(*p - t.data) : 0;
    const bool inTail = inside && offset >= e.tailOffset;
    t.length = e.tailOffset + e.length;
    if (n > StringAlgorithms<Kind>::mostElements) return StringAlgorithms<Kind>::memoryIsGone();
    if (t.assureSpace(n + slack)) return 1;
    reInitialize(e);
    moveChars(e.data + n + slack, e.data, e.length);
    e.tailOffset += n + slack;
    e.data += n + slack;
    if (inside) *p = t.data + offset + (inTail ? n + slack : 0);
    return 0;
  }
};

}  // namespace zutext

#endif
