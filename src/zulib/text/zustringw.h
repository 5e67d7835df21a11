// UTF-16 strings: the wide forms of the classes of zustring.h, with the same operations and no code page. A
// view with a length (ZuSubStringW), an owning string (ZuStringW), an editor that moves a gap through an
// owning string (ZuReplaceStringW), and a view that keeps a folded copy (ZuSubStringUpperW).
//
// Offsets, lengths and capacities are in 16-bit units. A surrogate pair is passed as a whole, so a search for
// one unit never hits half of a pair. What zustring.h says of terminators, growth, failure (0 and 1) and
// threads holds here too.

#ifndef ZULIB_TEXT_ZUSTRINGW_H
#define ZULIB_TEXT_ZUSTRINGW_H

#include <cstdint>

#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zuobject.h"
#include "zulib/text/zuchar.h"
#include "zulib/text/zuscramble.h"

class ZuArray;
class ZuStringW;

namespace zutext {
template <class Kind>
struct ViewAlgorithms;
template <class Kind>
struct StringAlgorithms;
template <class Kind>
struct GapAlgorithms;
struct WideKind;
}  // namespace zutext

class ZU_API ZuSubStringW : public ZuObject {
 public:
  ZuSubStringW();
  ZuSubStringW(const unsigned short* p, unsigned long n);
  explicit ZuSubStringW(const unsigned short* terminated);
  // Copies the fields, never the text.
  ZuSubStringW(const ZuSubStringW& other);
  ZuSubStringW& operator=(const ZuSubStringW& other);

  // Points the view at `n` units.
  void initialize(const unsigned short* p, unsigned long n);

  unsigned long getLength() const { return length; }
  // data + offset, not terminated.
  const unsigned short* asPascalStr(unsigned long offset = 0) const { return data + offset; }
  // No range test.
  unsigned short operator[](unsigned long index) const { return data[index]; }

  // The last unit, 0 when empty; and one unit less, also of a pair.
  unsigned short getLastChar() const;
  void removeLastChar();

  // Offset of the first hit at or past `start`; the length when there is none.
  unsigned long findChar(unsigned short ch, unsigned long start = 0) const;
  unsigned long findSubString(const unsigned short* terminated, unsigned long start = 0) const;
  unsigned long findSubString(const unsigned short* p, unsigned long n, unsigned long start) const;
  // Hits up to the length or a zero unit, modulo 65536.
  unsigned short countChar(unsigned short ch) const;
  bool isCharInStr(unsigned short ch) const;

  bool isEqual(const unsigned short* terminated) const;
  bool isEqual(const unsigned short* p, unsigned long n) const;
  bool isEqual(const ZuSubStringW& other) const;
  bool isEqualCi(const unsigned short* terminated) const;
  bool isEqualCi(const unsigned short* p, unsigned long n) const;
  bool isEqualCi(const ZuSubStringW& other) const;

  // The order of sorted containers: without regard to case. `other` must be a ZuSubStringW.
  int compare(const ZuObject* other) const override;
  // Exact order.
  int compare(const ZuSubStringW* other) const;
  int compareCi(const unsigned short* terminated) const;
  int compareCi(const unsigned short* p, unsigned long n) const;
  int compareCi(const ZuSubStringW& other) const;

  // Of the first six units, folded, each shifted by three bits more than the one before.
  virtual std::uint32_t hash() const;

  // Index of the first of `n` terminated texts that equals the view; `n` when none does.
  unsigned long indexInSet(const unsigned short* const* set, unsigned long n) const;
  unsigned long indexInSetCi(const unsigned short* const* set, unsigned long n) const;

  // `strCopyUnquoted` and `strCopyQuoted` into `dst`; answer the terminator's position.
  unsigned short* getCopyUnquoted(unsigned short* dst) const;
  unsigned short* getCopyQuoted(unsigned short* dst, unsigned short quote) const;

  // Appends the quoted text of the view to `target`, without its quotes. 0 or 1.
  int copyQuotedStr(ZuStringW* target) const;

  // Shortens the view while its last unit is white space.
  void rightBlankTrim();

  // Adds a new ZuStringW, which the array owns, for each line that ends in a line feed and is not empty; a
  // zero unit ends the walk. 0, or 1 with the lines so far in the array.
  int getLines(ZuArray* lines) const;

 protected:
  template <class Kind>
  friend struct zutext::ViewAlgorithms;
  template <class Kind>
  friend struct zutext::StringAlgorithms;
  template <class Kind>
  friend struct zutext::GapAlgorithms;

  unsigned long length = 0;        // units
  unsigned short* data = nullptr;  // the view's own when a derived class says so
};

class ZU_API ZuStringW : public ZuSubStringW {
 public:
  ZuStringW();
  ZuStringW(const ZuStringW&) = delete;
  ZuStringW& operator=(const ZuStringW&) = delete;
  ~ZuStringW() override;

  // A fresh copy of the text, terminated, in a block of its own. A block that the string already has is not
  // freed: for empty strings.
  int initialize(const unsigned short* terminated);
  int initialize(const unsigned short* p, unsigned long n);
  int initialize(const ZuSubStringW& view);
  // Decodes `n` bytes of narrow text (types 3 and 4 as UTF-8, 2 as units). A character of the locale that is
  // cut by the count ends the text. Text that is not valid UTF-8 is error 2737, 01004, interface 4.
  int initialize(const unsigned char* terminated, zuCPType cp);
  int initialize(const unsigned char* p, unsigned long n, zuCPType cp);
  // An empty string with room for `n` units and a terminator.
  int initialize(unsigned long n);

  // Borrows (the caller frees it, later than the string goes) or adopts (a `ram` block) a buffer of
  // `capacity` units of which `length` are text.
  void initializeWithBuffer(unsigned short* p, unsigned long capacity, unsigned long length);
  void initializeTakeBuffer(unsigned short* p, unsigned long capacity, unsigned long length);

  // Frees an owned block; no text and no block remain.
  void unInitialize();
  // No text; the block remains.
  void clear();
  int clearAndSet(const ZuSubStringW& view);

  int concat(unsigned short ch);
  int concat(char16_t ch) { return concat(static_cast<unsigned short>(ch)); }
  int concat(const unsigned short* terminated);
  int concat(const unsigned short* p, unsigned long n);
  int concat(const ZuSubStringW& view);
  // Decimal text; room for at least 15 units is made.
  int concat(unsigned long number);
  int concat(long number);
  int concatSpace();

  unsigned long getCapacity() const { return capacity; }
  // True when `n` more units and a terminator fit without a new block.
  bool isEnoughSpace(unsigned long n) const;
  int assureSpace(unsigned long n);
  // Sets the size of the block, terminator included. Text that no longer fits is cut.
  int resize(unsigned long newCapacity);
  // Shrinks to length + 1. Of a borrowed buffer only the capacity falls: the block stays its lender's.
  int trim();
  // Sets the length, for a caller that has written into the buffer. No range test.
  void setCurSize(unsigned long n) { length = n; }

  // Replaces `oldLength` units at `offset` by `newLength` units of `p` and terminates. A null `p` deletes; a
  // `newLength` of 0 with a `p` means up to its terminator. At most the low 16 bits of the lengths of the
  // tail and of the new text are moved and copied: 65535 is the limit of this operation. 1 also for a stretch
  // that is not within the text.
  int changeChars(unsigned long offset, unsigned long oldLength, const unsigned short* p,
                  unsigned long newLength);

  // Replaces every hit; what was put in is not searched again. A null replacement, or a counted one of
  // length 0, deletes.
  int replaceSubString(const unsigned short* pat, unsigned long patLength, const unsigned short* text,
                       unsigned long textLength);
  int replaceSubString(const unsigned short* pat, const unsigned short* text, unsigned long textLength);
  int replaceSubString(const unsigned short* pat, const unsigned short* text);
  // Replaces the stretch of this string's own buffer that `view` points at, by `changeChars`.
  int replaceSubString(const ZuSubStringW& view, const unsigned short* p, unsigned long n);

  // Quotes the whole text; takes the first unit as the quote and removes it everywhere; appends quoted.
  int addQuotes(unsigned short quote);
  void removeQuotes();
  int addQuotedChars(const ZuSubStringW& view, unsigned short quote);

  // At least `n` line feeds at the end.
  int forceEol(unsigned long n);

  // Breaks lines longer than `width` units at the last blank outside quotes, which the line feed replaces. A
  // line without one is not broken. Quotes count when q1 is not 0: each of q1, q2, q3 opens and closes.
  int insertLineBreaks(unsigned long width, unsigned short q1, unsigned short q2, unsigned short q3);
  // Turn each run of line feeds, tabs, or line feeds and carriage returns outside quotes into one blank; a
  // run at the end goes.
  int removeLineBreaks(unsigned short q1, unsigned short q2, unsigned short q3);
  int removeTabs(unsigned short q1, unsigned short q2, unsigned short q3);
  int removeLineFeeds(unsigned short q1, unsigned short q2, unsigned short q3);

  // data + offset, terminated at data[length]. Null when the terminator has no room and none can be made.
  unsigned short* asCStr(unsigned long offset = 0);

  // A terminated narrow image of the text, the string's own until the next call: type 3 in UTF-8 (by low
  // bytes when the text is not valid UTF-16), the other types in the encoding of the C locale, where "?"
  // stands for what it cannot hold. Without memory the static text "Out Of Memory".
  unsigned char* asCStr(zuCPType cp);

  using ZuSubStringW::asPascalStr;
  unsigned short* asPascalStr(unsigned long offset = 0) { return data + offset; }
  using ZuSubStringW::operator[];
  unsigned short& operator[](unsigned long index) { return data[index]; }

  // Scramble the text in place (zuscramble.h).
  void encrypt(unsigned short mode, const unsigned short* key) { ::encrypt(data, length, mode, key); }
  void decrypt(unsigned short mode, const unsigned short* key) { ::decrypt(data, length, mode, key); }

 protected:
  template <class Kind>
  friend struct zutext::StringAlgorithms;
  template <class Kind>
  friend struct zutext::GapAlgorithms;

  unsigned long capacity = 0;            // units, with the terminator's
  unsigned char* narrowImage = nullptr;  // of asCStr(zuCPType); owned
  unsigned owned = 1;                    // not 0: the destructor frees data
};

// Edits a ZuStringW in place from front to back: what lies before the insertion point is edited, the view
// itself is the tail still to be passed, and a gap lies between the two. Growth makes the gap 512 units wider
// than asked, so the tail seldom moves.
//
// While an editor is attached, nobody else touches the target, whose length is wrong until the editor closes
// the gap: on destruction, or when it is put on another target.
class ZU_API ZuReplaceStringW : public ZuSubStringW {
 public:
  ZuReplaceStringW();
  explicit ZuReplaceStringW(ZuStringW* target);
  ZuReplaceStringW(const ZuReplaceStringW&) = delete;
  ZuReplaceStringW& operator=(const ZuReplaceStringW&) = delete;
  // Closes the gap and trims the target.
  ~ZuReplaceStringW() override;

  // All of the target's text is tail, and the insertion point is its start.
  void initialize(ZuStringW* newTarget);

  // Inserts `n` units at the insertion point, which moves behind them. `p` may lie in the target. 0 or 1.
  int concat(const unsigned short* p, unsigned long n);
  // The same with quotes around and each quote inside doubled.
  int addQuotedChars(const unsigned short* p, unsigned long n, unsigned short quote);

  unsigned long getInsertionPoint() const { return insertionPoint; }
  // Goes back (or on) to `offset` in the edited text.
  void setInsertionPoint(unsigned long offset);
  // Passes `n` units of the tail, at most all of it.
  void increaseInsertionPoint(unsigned long n);
  // Takes the tail's address from the target again, after the target's block has moved.
  void reInitialize();

 private:
  template <class Kind>
  friend struct zutext::GapAlgorithms;

  ZuStringW* target = nullptr;       // not owned
  unsigned long insertionPoint = 0;  // where the gap starts in the target's buffer
  unsigned long tailOffset = 0;      // where the tail starts there
};

// Keeps a folded copy of a short view for repeated tests against texts that are folded already.
class ZU_API ZuSubStringUpperW {
 public:
  // The view must outlive this and keep its text.
  explicit ZuSubStringUpperW(const ZuSubStringW* view);

  // Equality and order of the view, folded, and the `n` units at `p`, which the caller has folded.
  bool isEqualUpper(const unsigned short* p, unsigned long n);
  int compareUpper(const unsigned short* p, unsigned long n);

  // The first unit of the folded view; 0 when it is empty.
  unsigned short getFirstChar();

 private:
  void fill();

  // Units. Above the one the Ci forms compare; above the other getFirstChar folds one character only.
  static constexpr unsigned long limit = 48;
  static constexpr unsigned long firstCharLimit = 24;

  const ZuSubStringW* view;
  unsigned short folded[limit];
  unsigned long length;  // of the view
  bool filled = false;
};

#endif
