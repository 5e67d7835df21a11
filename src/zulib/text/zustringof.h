// The string classes, once for both widths of text: a view with a length (ZuSubStringOf), an owning string
// (ZuStringOf), an editor that moves a gap through an owning string (ZuReplaceStringOf), and a view that
// keeps a folded copy (ZuSubStringUpperOf). Users name them by width: ZuSubString, ZuString... in zustring.h
// for bytes, ZuSubStringW, ZuStringW... in zustringw.h for UTF-16.
//
//   ZuSubString name(text, 20);                     // a view of 20 bytes
//   ZuString query;
//   if (query.concat(prefix) || query.concat(name)) return 1;
//   run(query.asCStr());                            // terminated only here
//
// Offsets, lengths and capacities are in characters of type Char: bytes, or 16-bit units. Searches advance by
// whole characters (of the view's code page; by surrogate pairs), so the second half of a character never
// matches by itself.
//
// A view never allocates and never writes; its text must outlive it. An owning string keeps no terminator:
// only `asCStr` writes one, at data[length]. It grows exactly, without slack, so code that knows the final
// size calls `assureSpace` first. A string on a borrowed buffer cannot grow: error 2716.
//
// Operations return 0, or 1 with the string unchanged; an allocation that failed is already recorded then.
//
// Thread safety: none; one thread at a time, also for `asCStr`, which writes.

#ifndef ZULIB_TEXT_ZUSTRINGOF_H
#define ZULIB_TEXT_ZUSTRINGOF_H

#include <cstdint>

#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zuobject.h"
#include "zulib/runtime/zutypes.h"
#include "zulib/text/zucptype.h"
#include "zulib/text/zuscramble.h"

namespace zutext {
class NarrowWalk;
class WideWalk;
}  // namespace zutext

class ZuArray;
class ZuSubString;
class ZuSubStringW;
class ZuString;
class ZuStringW;

// What a view holds, by width. Only narrow text has a code page.
template <class Char>
class ZuViewFields;

template <>
class ZuViewFields<unsigned char> {
 protected:
  void setLength(unsigned long n) { length = initialLength = n; }
  void takeCodePage(const ZuViewFields& other) { codePage = other.codePage; }

  unsigned long length = 0;         // bytes
  unsigned long initialLength = 0;  // the length when it was last initialized or cleared
  unsigned char* data = nullptr;    // owned if a derived class says so
  zuCPType codePage = zuCPLocale;
};

template <>
class ZuViewFields<unsigned short> {
 protected:
  void setLength(unsigned long n) { length = n; }
  void takeCodePage(const ZuViewFields&) {}

  unsigned long length = 0;        // units
  unsigned short* data = nullptr;  // owned if a derived class says so
};

// The names by width.
template <class Char>
struct ZuTextNames;

template <>
struct ZuTextNames<unsigned char> {
  using View = ZuSubString;
  using String = ZuString;
  using Plain = char;  // the type of a character literal
  using Walk = zutext::NarrowWalk;
};

template <>
struct ZuTextNames<unsigned short> {
  using View = ZuSubStringW;
  using String = ZuStringW;
  using Plain = char16_t;
  using Walk = zutext::WideWalk;
};

template <class Char>
class ZU_API ZuSubStringOf : public ZuObject, protected ZuViewFields<Char> {
 public:
  using String = typename ZuTextNames<Char>::String;

  ZuSubStringOf() = default;
  ZuSubStringOf(const Char* p, unsigned long n) { initialize(p, n); }
  explicit ZuSubStringOf(const Char* terminated);
  // Copies the fields, never the text.
  ZuSubStringOf(const ZuSubStringOf& other) = default;
  ZuSubStringOf& operator=(const ZuSubStringOf& other) = default;

  // Points the view at `n` characters. A code page becomes 1.
  void initialize(const Char* p, unsigned long n);

  unsigned long getLength() const { return length; }
  // data + offset, not terminated.
  const Char* asPascalStr(unsigned long offset = 0) const { return data + offset; }
  // No range test.
  Char operator[](unsigned long index) const { return data[index]; }

  // The last byte or unit, 0 when empty; and one less, also of a character that has several.
  Char getLastChar() const { return length == 0 ? Char{0} : data[length - 1]; }
  void removeLastChar() {
    if (length != 0) --length;
  }

  // Offset of the first hit at or past `start`; the length if there is none.
  unsigned long findChar(Char ch, unsigned long start = 0) const;
  unsigned long findSubString(const Char* terminated, unsigned long start = 0) const;
  unsigned long findSubString(const Char* p, unsigned long n, unsigned long start) const;
  // Hits up to the length or a zero, modulo 65536.
  unsigned short countChar(Char ch) const;
  bool isCharInStr(Char ch) const { return length != 0 && findChar(ch) != length; }

  bool isEqual(const Char* terminated) const;
  bool isEqual(const Char* p, unsigned long n) const;
  bool isEqual(const ZuSubStringOf& other) const { return isEqual(other.data, other.length); }
  bool isEqualCi(const Char* terminated) const;
  bool isEqualCi(const Char* p, unsigned long n) const;
  bool isEqualCi(const ZuSubStringOf& other) const { return isEqualCi(other.data, other.length); }

  // The order of sorted containers, which ignores case. `other` must be a view of the same width.
  int compare(const ZuObject* other) const override;
  // Exact order.
  int compare(const ZuSubStringOf* other) const;
  int compareCi(const Char* terminated) const;
  int compareCi(const Char* p, unsigned long n) const;
  int compareCi(const ZuSubStringOf& other) const { return compareCi(other.data, other.length); }

  // A hash that ignores case: texts that `isEqualCi` finds equal have the same. It reads the start of the
  // text only.
  virtual std::uint32_t hash() const = 0;

  // Index of the first of `n` terminated texts that equals the view; `n` if none does.
  unsigned long indexInSet(const Char* const* set, unsigned long n) const;
  unsigned long indexInSetCi(const Char* const* set, unsigned long n) const;

  // `strCopyUnquoted` and `strCopyQuoted` into `dst`; return the terminator's position. No character is
  // dropped.
  Char* getCopyUnquoted(Char* dst) const;
  Char* getCopyQuoted(Char* dst, Char quote) const;

  // Appends the quoted text of the view to `target`, without its quotes. 0 or 1.
  int copyQuotedStr(String* target) const;

  // Shortens the view while its last byte or unit is white space (of the C locale, of Unicode).
  void rightBlankTrim();

  // Adds a new string, which the array owns, for each line that ends in a line feed and is not empty; a zero
  // ends the walk. 0, or 1 with the lines so far in the array.
  int getLines(ZuArray* lines) const;

  // Reads the text as a decimal number of at most 32 bits, with blanks around it. 0, or 1 with `*out` as it
  // was and the text on the record: 2702 if it is no number, 2701 if it is above 4294967295. An empty narrow
  // text is 0.
  int getAsZUSIZE_T(ZUSIZE_T* out) const;

  // How the library walks the text (text/internal/walk.h).
  typename ZuTextNames<Char>::Walk walk() const;

 protected:
  using ZuViewFields<Char>::length;
  using ZuViewFields<Char>::data;

  unsigned long offsetOf(const Char* hit) const;
};

template <class Char>
class ZU_API ZuStringOf : public ZuTextNames<Char>::View {
 public:
  using View = typename ZuTextNames<Char>::View;

  ZuStringOf() = default;
  ZuStringOf(const ZuStringOf&) = delete;
  ZuStringOf& operator=(const ZuStringOf&) = delete;
  ~ZuStringOf() override;

  // A fresh copy of the text, terminated, in a block of its own. A block that the string already has is not
  // freed: for empty strings only. A code page becomes 1, or that of the view.
  int initialize(const Char* terminated);
  int initialize(const Char* p, unsigned long n);
  int initialize(const View& view);
  // An empty string with room for `n` characters and a terminator.
  int initialize(unsigned long n);

  // Borrows (the caller frees it, after the string) or adopts (a block of `ramAlloc`) a buffer of `capacity`
  // characters, `length` of which are text.
  void initializeWithBuffer(Char* p, unsigned long capacity, unsigned long length);
  void initializeTakeBuffer(Char* p, unsigned long capacity, unsigned long length);

  // Frees an owned block; no text and no block remain.
  void unInitialize();
  // No text; the block remains.
  void clear() { this->setLength(0); }
  int clearAndSet(const View& view);

  int concat(Char ch) { return concat(&ch, 1); }
  int concat(typename ZuTextNames<Char>::Plain ch) { return concat(static_cast<Char>(ch)); }
  int concat(const Char* terminated);
  int concat(const Char* p, unsigned long n);
  int concat(const View& view) { return concat(view.asPascalStr(), view.getLength()); }
  // Decimal text; room for at least 15 characters is made.
  int concat(unsigned long number);
  int concat(long number);
  int concatSpace() { return concat(Char{' '}); }

  unsigned long getCapacity() const { return capacity; }
  // True if `n` more characters and a terminator fit without a new block.
  bool isEnoughSpace(unsigned long n) const { return data && capacity > length && capacity - length > n; }
  int assureSpace(unsigned long n);
  // Sets the size of the block, terminator included. Text that no longer fits is cut.
  int resize(unsigned long newCapacity);
  // Shrinks to length + 1. Of a borrowed buffer only the capacity falls: the block stays its owner's.
  int trim();
  // Sets the length, for a caller that has written into the buffer. No range test.
  void setCurSize(unsigned long n) { length = n; }

  // Replaces every hit; what was put in is not searched again. A null replacement, or a counted one of length
  // 0, deletes.
  int replaceSubString(const Char* pat, unsigned long patLength, const Char* text, unsigned long textLength);
  int replaceSubString(const Char* pat, const Char* text, unsigned long textLength);
  int replaceSubString(const Char* pat, const Char* text);
  // Replaces the part of this string's own buffer that `view` points at, as `changeBytes` does.
  int replaceSubString(const View& view, const Char* p, unsigned long n);

  // Quotes the whole text; takes the first character as the quote and removes the quotes.
  int addQuotes(Char quote);
  void removeQuotes();

  // At least `n` line feeds at the end.
  int forceEol(unsigned long n);

  // Breaks lines longer than `width` at the last blank outside quotes, which the line feed replaces. A line
  // without one is not broken. Quotes count if q1 is not 0: each of q1, q2, q3 opens and closes.
  int insertLineBreaks(unsigned long width, Char q1, Char q2, Char q3);
  // Turn each run of line feeds, tabs, or line feeds and carriage returns outside quotes into one blank; a
  // run at the end is removed.
  int removeLineBreaks(Char q1, Char q2, Char q3);
  int removeTabs(Char q1, Char q2, Char q3);
  int removeLineFeeds(Char q1, Char q2, Char q3);

  // data + offset, terminated at data[length]. Null if the terminator has no room and none can be made.
  Char* asCStr(unsigned long offset = 0);

  using View::asPascalStr;
  Char* asPascalStr(unsigned long offset = 0) { return data + offset; }
  using View::operator[];
  Char& operator[](unsigned long index) { return data[index]; }

  // Scramble the text in place (zuscramble.h).
  void encrypt(unsigned short mode, const Char* key) { ::encrypt(data, length, mode, key); }
  void decrypt(unsigned short mode, const Char* key) { ::decrypt(data, length, mode, key); }

 protected:
  using View::data;
  using View::length;

  // `changeBytes` and `changeChars`. Replaces `oldLength` characters at `offset` by `newLength` characters of
  // `p` and terminates. A null `p` deletes; a `newLength` of 0 with a `p` means up to its terminator. At most
  // the low 16 bits of the lengths of the tail and of the new text are moved and copied: 65535 is the limit
  // of this operation. Also 1 if the part to be replaced is not within the text.
  int change(unsigned long offset, unsigned long oldLength, const Char* p, unsigned long newLength);
  // `addQuotedBytes` and `addQuotedChars`. Appends the view in quotes.
  int addQuoted(const View& view, Char quote);

  void setBuffer(Char* p, unsigned long newCapacity, unsigned long newLength, unsigned newOwned);
  int copyText(const Char* p, unsigned long n, unsigned long newCapacity);
  const Char* grown(unsigned long n, const Char* p);
  bool isInside(const Char* p) const;
  template <class Number>
  int concatNumber(Number number);
  template <class IsDropped>
  int dropRuns(Char q1, Char q2, Char q3, IsDropped isDropped);

  unsigned long capacity = 0;  // characters, with the terminator's
  unsigned owned = 1;          // not 0: the destructor frees data

  friend class ZuSubStringOf<Char>;
};

// Edits a string in place from front to back: what lies before the insertion point is edited, the view itself
// is the tail still to be passed, and a gap lies between the two.
//
//   target's buffer:   | edited head | gap | tail still to be passed |
//                      0    insertionPoint  tailOffset               tailOffset + length
//
// Growth makes the gap 512 characters wider than asked, so the tail seldom moves. While an editor is
// attached, nobody else may use the target, whose length is wrong until the editor closes the gap: in its
// destructor, or when it is attached to another target.
template <class Char>
class ZU_API ZuReplaceStringOf : public ZuTextNames<Char>::View {
 public:
  using String = typename ZuTextNames<Char>::String;

  ZuReplaceStringOf() = default;
  ZuReplaceStringOf(const ZuReplaceStringOf&) = delete;
  ZuReplaceStringOf& operator=(const ZuReplaceStringOf&) = delete;
  // Closes the gap and trims the target.
  ~ZuReplaceStringOf() override;

  // All of the target's text is tail, and the insertion point is its start.
  void initialize(String* newTarget);

  // Inserts `n` characters at the insertion point, which moves past them. `p` may lie in the target. 0 or 1.
  int concat(const Char* p, unsigned long n);

  unsigned long getInsertionPoint() const { return insertionPoint; }
  // Goes back (or on) to `offset` in the edited text.
  void setInsertionPoint(unsigned long offset);
  // Passes `n` characters of the tail, at most all of it.
  void increaseInsertionPoint(unsigned long n);
  // Takes the tail's address from the target again, after the target's block has moved.
  void reInitialize();

 protected:
  using ZuTextNames<Char>::View::data;
  using ZuTextNames<Char>::View::length;

  // `addQuotedBytes` and `addQuotedChars`. `concat` with quotes around, and each quote inside doubled.
  int insertQuoted(const Char* p, unsigned long n, Char quote);

 private:
  unsigned long gap() const { return tailOffset - insertionPoint; }
  int makeRoom(unsigned long n, const Char** p);
  void close();

  String* target = nullptr;          // not owned
  unsigned long insertionPoint = 0;  // where the gap starts in the target's buffer
  unsigned long tailOffset = 0;      // where the tail starts there
};

// Keeps a folded copy of a short view for repeated tests against texts that are folded already. A view of
// more than `Limit` characters is compared without the copy.
template <class Char, unsigned Limit>
class ZU_API ZuSubStringUpperOf {
 public:
  using View = typename ZuTextNames<Char>::View;

  // The view must outlive this and keep its text.
  explicit ZuSubStringUpperOf(const View* view);

  // Equality of the view, folded, and the `n` characters at `p`, which the caller has folded.
  bool isEqualUpper(const Char* p, unsigned long n);

 protected:
  void fill();

  const View* view;
  Char folded[Limit];
  unsigned long length;  // of the view
  bool filled = false;
};

#endif
