// Message templates with numbered placeholders, filled in by order of arrival.
//
// A placeholder is "%s" (text) or "%d" (number) and the number of its parameter, from 1 on; from 10 on an
// "x" comes before the number, so that "%s1" is not found inside "%sx10". Every call of `setParam` uses up
// one number, whether the template has a place for it or not, and fills all places of that number. Text that
// was filled in may hold a placeholder, which a later parameter then fills.
//
// A failure (no memory, or a text beyond the limit of `changeBytes`) sets `hasFailed`, from which on `<<`
// does nothing: a chain needs one test at its end. `initialize` clears it.
//
// Thread safety: one thread at a time.

#ifndef ZULIB_TEXT_ZUPARAMS_H
#define ZULIB_TEXT_ZUPARAMS_H

#include "zulib/runtime/zuapi.h"
#include "zulib/text/zustring.h"
#include "zulib/text/zustringw.h"

// What the narrow and the wide template have in common.
template <class Char>
class ZU_API ZuParamStringOf : public ZuTextNames<Char>::String {
 public:
  using String = typename ZuTextNames<Char>::String;
  using View = typename ZuTextNames<Char>::View;

  ZuParamStringOf() = default;
  ~ZuParamStringOf() override;

  // Frees any text held and copies the template (terminated, or `n` characters), or makes an empty one with
  // room for `capacity` characters. The next parameter is number 1. 0, or 1 with no text.
  int initialize(const Char* text);
  int initialize(const Char* text, unsigned long n);
  int initialize(unsigned long capacity);

  // Fills the text or number placeholder of the next number; a null text fills in nothing. 0 or 1.
  int setParam(const Char* text);
  int setParam(unsigned long number);
  int setParam(long number);
  int setParam(const View& text);

  // The same with a quoted copy of the text. Without the memory for quotes the text goes in bare: what was
  // recorded is enough.
  int setQuotedParam(const Char* text, Char quote);

  // `setParam`, unless something has failed.
  template <class Param>
  ZuParamStringOf& operator<<(const Param& param) {
    if (!failed) setParam(param);
    return *this;
  }

  // Takes the next number and writes its placeholder for `kind` ('s' or 'd'), terminated, at most 9
  // characters in all. Returns its length.
  unsigned long buildMatchString(Char* out, Char kind);

  // The next parameter is number 1 again.
  void resetParamCount() { paramCount = 0; }

  unsigned short getParamCount() const { return paramCount; }
  bool hasFailed() const { return failed; }

 protected:
  void begin();
  int ended(int failure);
  int replace(Char kind, const Char* text, unsigned long n);

  unsigned short paramCount = 0;  // parameters set so far
  bool failed = false;
};

extern template class ZuParamStringOf<unsigned char>;
extern template class ZuParamStringOf<unsigned short>;

class ZU_API ZuParamString : public ZuParamStringOf<unsigned char> {
 public:
  ZuParamString() = default;
  explicit ZuParamString(zuCPType cp) { codePage = cp; }
  ~ZuParamString() override;

  using ZuParamStringOf::initialize;
  int initialize(const unsigned char* text, zuCPType cp);
  int initialize(const unsigned char* text, unsigned long n, zuCPType cp);
  int initialize(unsigned long capacity, zuCPType cp);
};

class ZU_API ZuParamStringW : public ZuParamStringOf<unsigned short> {
 public:
  ZuParamStringW() = default;
  ~ZuParamStringW() override;

  // The template from narrow text.
  using ZuParamStringOf::initialize;
  int initialize(const unsigned char* text, zuCPType cp);
  int initialize(const unsigned char* text, unsigned long n, zuCPType cp);
};

#endif
