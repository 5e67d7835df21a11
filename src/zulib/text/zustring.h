// Strings of bytes. The contract is in zustringof.h; what narrow text has beyond it is the code page that
// says how its bytes are read. It is 1 unless a constructor, an `initialize` or another view gives one.

#ifndef ZULIB_TEXT_ZUSTRING_H
#define ZULIB_TEXT_ZUSTRING_H

#include "zulib/text/zuchar.h"
#include "zulib/text/zustringof.h"

class ZU_API ZuSubString : public ZuSubStringOf<unsigned char> {
 public:
  using ZuSubStringOf::ZuSubStringOf;
  ZuSubString() = default;
  explicit ZuSubString(zuCPType cp) { codePage = cp; }
  ZuSubString(const unsigned char* p, unsigned long n, zuCPType cp) { initialize(p, n, cp); }
  ZuSubString(const unsigned char* terminated, zuCPType cp);

  using ZuSubStringOf::initialize;
  void initialize(const unsigned char* p, unsigned long n, zuCPType cp);

  zuCPType getCodePage() const { return codePage; }

  // The sum of the first five bytes, folded.
  std::uint32_t hash() const override;

  // The quote is always 0x27, whatever is asked for: what callers build with this is SQL text.
  unsigned char* getCopyQuoted(unsigned char* dst, unsigned char quote) const;
};

extern template class ZuSubStringOf<unsigned char>;
extern template class ZuStringOf<unsigned char>;
extern template class ZuReplaceStringOf<unsigned char>;
extern template class ZuSubStringUpperOf<unsigned char, 24>;

class ZU_API ZuString : public ZuStringOf<unsigned char> {
 public:
  ZuString() = default;
  ~ZuString() override;

  using ZuStringOf::initialize;
  int initialize(const unsigned char* terminated, zuCPType cp);
  int initialize(const unsigned char* p, unsigned long n, zuCPType cp);
  int initialize(unsigned long n, zuCPType cp);

  using ZuStringOf::initializeTakeBuffer;
  using ZuStringOf::initializeWithBuffer;
  void initializeWithBuffer(unsigned char* p, unsigned long capacity, zuCPType cp, unsigned long length);
  void initializeTakeBuffer(unsigned char* p, unsigned long capacity, zuCPType cp, unsigned long length);

  int changeBytes(unsigned long offset, unsigned long oldLength, const unsigned char* p,
                  unsigned long newLength) {
    return change(offset, oldLength, p, newLength);
  }
  int addQuotedBytes(const ZuSubString& view, unsigned char quote) { return addQuoted(view, quote); }
};

class ZU_API ZuReplaceString : public ZuReplaceStringOf<unsigned char> {
 public:
  ZuReplaceString() = default;
  explicit ZuReplaceString(zuCPType cp) { codePage = cp; }
  explicit ZuReplaceString(ZuString* target) { initialize(target); }
  ~ZuReplaceString() override;

  int addQuotedBytes(const unsigned char* p, unsigned long n, unsigned char quote) {
    return insertQuoted(p, n, quote);
  }
};

class ZU_API ZuSubStringUpper : public ZuSubStringUpperOf<unsigned char, 24> {
 public:
  using ZuSubStringUpperOf::ZuSubStringUpperOf;
};

#endif
