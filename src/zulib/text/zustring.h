// Narrow strings: a view with a length (ZuSubString), an owning string (ZuString), an editor that moves a gap
// through an owning string (ZuReplaceString), and a view that keeps a folded copy (ZuSubStringUpper).
//
// A view never allocates and never writes; its text must outlive it. Offsets and lengths are in bytes, and
// every walk advances by whole characters of the view's code page, so the second byte of a double-byte
// character never matches by itself.
//
// A ZuString keeps no terminator: only `asCStr` writes one, at data[length]. It grows exactly, without slack,
// so code that knows the final size calls `assureSpace` first. A string on a borrowed buffer cannot grow:
// error 2716. Operations answer 0, or 1 with the string unchanged; lack of memory is already recorded then.
//
// Thread use: one thread at a time, also for `asCStr`, which writes.

#ifndef ZULIB_TEXT_ZUSTRING_H
#define ZULIB_TEXT_ZUSTRING_H

#include <cstdint>

#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zuobject.h"
#include "zulib/text/zuchar.h"
#include "zulib/text/zuscramble.h"

class ZuArray;
class ZuString;

namespace zutext {
template <class Kind>
struct ViewAlgorithms;
template <class Kind>
struct StringAlgorithms;
template <class Kind>
struct GapAlgorithms;
struct NarrowKind;
}  // namespace zutext

class ZU_API ZuSubString : public ZuObject {
 public:
  ZuSubString();
  explicit ZuSubString(zuCPType cp);
  ZuSubString(const unsigned char* p, unsigned long n);
  ZuSubString(const unsigned char* p, unsigned long n, zuCPType cp);
  explicit ZuSubString(const unsigned char* terminated);
  ZuSubString(const unsigned char* terminated, zuCPType cp);
  // Copies the fields, never the text.
  ZuSubString(const ZuSubString& other);
  ZuSubString& operator=(const ZuSubString& other);

  // Points the view at `n` bytes; without a code page it is 1.
  void initialize(const unsigned char* p, unsigned long n);
  void initialize(const unsigned char* p, unsigned long n, zuCPType cp);

  unsigned long getLength() const { return length; }
  zuCPType getCodePage() const { return codePage; }
  // data + offset, not terminated.
  const unsigned char* asPascalStr(unsigned long offset = 0) const { return data + offset; }
  // No range test.
  unsigned char operator[](unsigned long index) const { return data[index]; }

  // The last byte, 0 when empty; and one byte less, also of a double-byte character.
  unsigned char getLastChar() const;
  void removeLastChar();

  // Offset of the first hit at or past `start`; the length when there is none.
  unsigned long findChar(unsigned char ch, unsigned long start = 0) const;
  unsigned long findSubString(const unsigned char* terminated, unsigned long start = 0) const;
  unsigned long findSubString(const unsigned char* p, unsigned long n, unsigned long start) const;
  // Hits up to the length or a zero byte, modulo 65536.
  unsigned short countChar(unsigned char ch) const;
  bool isCharInStr(unsigned char ch) const;

  bool isEqual(const unsigned char* terminated) const;
  bool isEqual(const unsigned char* p, unsigned long n) const;
  bool isEqual(const ZuSubString& other) const;
  bool isEqualCi(const unsigned char* terminated) const;
  bool isEqualCi(const unsigned char* p, unsigned long n) const;
  bool isEqualCi(const ZuSubString& other) const;

  // The order of sorted containers: without regard to case. `other` must be a ZuSubString.
  int compare(const ZuObject* other) const override;
  // Exact order.
  int compare(const ZuSubString* other) const;
  int compareCi(const unsigned char* terminated) const;
  int compareCi(const unsigned char* p, unsigned long n) const;
  int compareCi(const ZuSubString& other) const;

  // Sum of the first five bytes, folded: texts that differ only in case, or behind the fifth byte, are alike.
  virtual std::uint32_t hash() const;

  // Index of the first of `n` terminated texts that equals the view; `n` when none does.
  unsigned long indexInSet(const unsigned char* const* set, unsigned long n) const;
  unsigned long indexInSetCi(const unsigned char* const* set, unsigned long n) const;

  // `strCopyUnquoted` and `strCopyQuoted` into `dst`; answer the terminator's position. The quote of
  // getCopyQuoted is always 0x27, whatever is asked for: callers rely on it.
  unsigned char* getCopyUnquoted(unsigned char* dst) const;
  unsigned char* getCopyQuoted(unsigned char* dst, unsigned char quote) const;

  // Appends the quoted text of the view to `target`, without its quotes. 0 or 1.
  int copyQuotedStr(ZuString* target) const;

  // Shortens the view while its last byte is white space of the C locale, byte by byte.
  void rightBlankTrim();

  // Adds a new ZuString, which the array owns, for each line that ends in a line feed and is not empty; a
  // zero byte ends the walk. 0, or 1 with the lines so far in the array.
  int getLines(ZuArray* lines) const;

 protected:
  template <class Kind>
  friend struct zutext::ViewAlgorithms;
  template <class Kind>
  friend struct zutext::StringAlgorithms;
  template <class Kind>
  friend struct zutext::GapAlgorithms;

  unsigned long length = 0;         // bytes
  unsigned long initialLength = 0;  // the length when it was last initialized or cleared
  unsigned char* data = nullptr;    // the view's own when a derived class says so
  zuCPType codePage = zuCPLocale;
};

class ZU_API ZuString : public ZuSubString {
 public:
  ZuString();
  ZuString(const ZuString&) = delete;
  ZuString& operator=(const ZuString&) = delete;
  ~ZuString() override;

  // A fresh copy of the text, terminated, in a block of its own. A block that the string already has is not
  // freed: for empty strings. Without a code page it is 1; a view brings its own.
  int initialize(const unsigned char* terminated);
  int initialize(const unsigned char* terminated, zuCPType cp);
  int initialize(const unsigned char* p, unsigned long n);
  int initialize(const unsigned char* p, unsigned long n, zuCPType cp);
  int initialize(const ZuSubString& view);
  // An empty string with room for `n` bytes and a terminator.
  int initialize(unsigned long n);
  int initialize(unsigned long n, zuCPType cp);

  // Borrows (the caller frees it, later than the string goes) or adopts (a `ram` block) a buffer of
  // `capacity` bytes of which `length` are text.
  void initializeWithBuffer(unsigned char* p, unsigned long capacity, unsigned long length);
  void initializeWithBuffer(unsigned char* p, unsigned long capacity, zuCPType cp, unsigned long length);
  void initializeTakeBuffer(unsigned char* p, unsigned long capacity, zuCPType cp, unsigned long length);

  // Frees an owned block; no text and no block remain.
  void unInitialize();
  // No text; the block remains.
  void clear();
  int clearAndSet(const ZuSubString& view);

  int concat(unsigned char ch);
  int concat(char ch) { return concat(static_cast<unsigned char>(ch)); }
  int concat(const unsigned char* terminated);
  int concat(const unsigned char* p, unsigned long n);
  int concat(const ZuSubString& view);
  // Decimal text; room for at least 15 bytes is made.
  int concat(unsigned long number);
  int concat(long number);
  int concatSpace();

  unsigned long getCapacity() const { return capacity; }
  // True when `n` more bytes and a terminator fit without a new block.
  bool isEnoughSpace(unsigned long n) const;
  int assureSpace(unsigned long n);
  // Sets the size of the block, terminator included. Text that no longer fits is cut.
  int resize(unsigned long newCapacity);
  // Shrinks to length + 1. Of a borrowed buffer only the capacity falls: the block stays its lender's.
  int trim();
  // Sets the length, for a caller that has written into the buffer. No range test.
  void setCurSize(unsigned long n) { length = n; }

  // Replaces `oldLength` bytes at `offset` by `newLength` bytes of `p` and terminates. A null `p` deletes; a
  // `newLength` of 0 with a `p` means up to its terminator. At most the low 16 bits of the lengths of the
  // tail and of the new text are moved and copied: 65535 is the limit of this operation. 1 also for a stretch
  // that is not within the text.
  int changeBytes(unsigned long offset, unsigned long oldLength, const unsigned char* p,
                  unsigned long newLength);

  // Replaces every hit; what was put in is not searched again. A null replacement, or a counted one of
  // length 0, deletes.
  int replaceSubString(const unsigned char* pat, unsigned long patLength, const unsigned char* text,
                       unsigned long textLength);
  int replaceSubString(const unsigned char* pat, const unsigned char* text, unsigned long textLength);
  int replaceSubString(const unsigned char* pat, const unsigned char* text);
  // Replaces the stretch of this string's own buffer that `view` points at, by `changeBytes`.
  int replaceSubString(const ZuSubString& view, const unsigned char* p, unsigned long n);

  // Quotes the whole text; takes the first byte as the quote and removes it everywhere; appends quoted.
  int addQuotes(unsigned char quote);
  void removeQuotes();
  int addQuotedBytes(const ZuSubString& view, unsigned char quote);

  // At least `n` line feeds at the end.
  int forceEol(unsigned long n);

  // Breaks lines longer than `width` bytes at the last blank outside quotes, which the line feed replaces. A
  // line without one is not broken. Quotes count when q1 is not 0: each of q1, q2, q3 opens and closes.
  int insertLineBreaks(unsigned long width, unsigned char q1, unsigned char q2, unsigned char q3);
  // Turn each run of line feeds, tabs, or line feeds and carriage returns outside quotes into one blank; a
  // run at the end goes.
  int removeLineBreaks(unsigned char q1, unsigned char q2, unsigned char q3);
  int removeTabs(unsigned char q1, unsigned char q2, unsigned char q3);
  int removeLineFeeds(unsigned char q1, unsigned char q2, unsigned char q3);

  // data + offset, terminated at data[length]. Null when the terminator has no room and none can be made.
  unsigned char* asCStr(unsigned long offset = 0);

  using ZuSubString::asPascalStr;
  unsigned char* asPascalStr(unsigned long offset = 0) { return data + offset; }
  using ZuSubString::operator[];
  unsigned char& operator[](unsigned long index) { return data[index]; }

  // Scramble the text in place (zuscramble.h).
  void encrypt(unsigned short mode, const unsigned char* key) { ::encrypt(data, length, mode, key); }
  void decrypt(unsigned short mode, const unsigned char* key) { ::decrypt(data, length, mode, key); }

 protected:
  template <class Kind>
  friend struct zutext::StringAlgorithms;
  template <class Kind>
  friend struct zutext::GapAlgorithms;

  unsigned long capacity = 0;  // bytes, with the terminator's
  unsigned owned = 1;          // not 0: the destructor frees data
};

// Edits a ZuString in place from front to back: what lies before the insertion point is edited, the view
// itself is the tail still to be passed, and a gap lies between the two. Growth makes the gap 512 bytes wider
// than asked, so the tail seldom moves.
//
// While an editor is attached, nobody else touches the target, whose length is wrong until the editor closes
// the gap: on destruction, or when it is put on another target.
class ZU_API ZuReplaceString : public ZuSubString {
 public:
  ZuReplaceString();
  explicit ZuReplaceString(zuCPType cp);
  explicit ZuReplaceString(ZuString* target);
  ZuReplaceString(const ZuReplaceString&) = delete;
  ZuReplaceString& operator=(const ZuReplaceString&) = delete;
  // Closes the gap and trims the target.
  ~ZuReplaceString() override;

  // All of the target's text is tail, and the insertion point is its start.
  void initialize(ZuString* newTarget);

  // Inserts `n` bytes at the insertion point, which moves behind them. `p` may lie in the target. 0 or 1.
  int concat(const unsigned char* p, unsigned long n);
  // The same with quotes around and each quote inside doubled.
  int addQuotedBytes(const unsigned char* p, unsigned long n, unsigned char quote);

  unsigned long getInsertionPoint() const { return insertionPoint; }
  // Goes back (or on) to `offset` in the edited text.
  void setInsertionPoint(unsigned long offset);
  // Passes `n` bytes of the tail, at most all of it.
  void increaseInsertionPoint(unsigned long n);
  // Takes the tail's address from the target again, after the target's block has moved.
  void reInitialize();

 private:
  template <class Kind>
  friend struct zutext::GapAlgorithms;

  ZuString* target = nullptr;        // not owned
  unsigned long insertionPoint = 0;  // where the gap starts in the target's buffer
  unsigned long tailOffset = 0;      // where the tail starts there
};

// Keeps a folded copy of a short view for repeated tests against texts that are folded already.
class ZU_API ZuSubStringUpper {
 public:
  // The view must outlive this and keep its text.
  explicit ZuSubStringUpper(const ZuSubString* view);

  // Equality of the view, folded, and the `n` bytes at `p`, which the caller has folded.
  bool isEqualUpper(const unsigned char* p, unsigned long n);

 private:
  static constexpr unsigned long limit = 24;  // bytes; a longer view is compared by isEqualCi

  const ZuSubString* view;
  unsigned char folded[limit];
  unsigned long length;  // of the view
  bool filled = false;
};

#endif
