// Strings of UTF-16. The contract is in zustringof.h; what wide text has beyond it is the bridge to narrow
// text.

#ifndef ZULIB_TEXT_ZUSTRINGW_H
#define ZULIB_TEXT_ZUSTRINGW_H

#include "zulib/text/zuchar.h"
#include "zulib/text/zustringof.h"

class ZU_API ZuSubStringW : public ZuSubStringOf<unsigned short> {
 public:
  using ZuSubStringOf::ZuSubStringOf;
  ZuSubStringW() = default;

  // The sum of the first six units, folded, each shifted by three bits more than the one before.
  std::uint32_t hash() const override;
};

extern template class ZuSubStringOf<unsigned short>;
extern template class ZuStringOf<unsigned short>;
extern template class ZuReplaceStringOf<unsigned short>;
extern template class ZuSubStringUpperOf<unsigned short, 48>;

class ZU_API ZuStringW : public ZuStringOf<unsigned short> {
 public:
  ZuStringW() = default;
  ~ZuStringW() override;

  // Decodes narrow text (types 3 and 4 as UTF-8, 2 as units), terminated or of `n` bytes. A character of the
  // locale that the count cuts ends the text. Text that is not valid UTF-8 is error 2737, 01004, interface 4.
  using ZuStringOf::initialize;
  int initialize(const unsigned char* terminated, zuCPType cp);
  int initialize(const unsigned char* p, unsigned long n, zuCPType cp);

  int changeChars(unsigned long offset, unsigned long oldLength, const unsigned short* p,
                  unsigned long newLength) {
    return change(offset, oldLength, p, newLength);
  }
  int addQuotedChars(const ZuSubStringW& view, unsigned short quote) { return addQuoted(view, quote); }

  // A terminated narrow image of the text, which belongs to the string until the next call: type 3 in UTF-8
  // (by low bytes if the text is not valid UTF-16), the other types in the encoding of the C locale, with "?"
  // for what it does not have. If allocation fails, the static text "Out Of Memory".
  using ZuStringOf::asCStr;
  unsigned char* asCStr(zuCPType cp);

 private:
  unsigned char* narrowImage = nullptr;  // of asCStr(zuCPType); owned
};

class ZU_API ZuReplaceStringW : public ZuReplaceStringOf<unsigned short> {
 public:
  ZuReplaceStringW() = default;
  explicit ZuReplaceStringW(ZuStringW* target) { initialize(target); }
  ~ZuReplaceStringW() override;

  int addQuotedChars(const unsigned short* p, unsigned long n, unsigned short quote) {
    return insertQuoted(p, n, quote);
  }
};

class ZU_API ZuSubStringUpperW : public ZuSubStringUpperOf<unsigned short, 48> {
 public:
  using ZuSubStringUpperOf::ZuSubStringUpperOf;

  // Order of the view, folded, and the `n` units at `p`, which the caller has folded.
  int compareUpper(const unsigned short* p, unsigned long n);

  // The first unit of the folded view; 0 if it is empty.
  unsigned short getFirstChar();
};

#endif
