// ZuToken and ZuTokenW: what a scanner cuts out of a text. A token is a view into the scan text with its kind
// and the offset where it begins; it owns nothing and is valid as long as the text.

#ifndef ZULIB_LANGUAGE_ZUTOKEN_H
#define ZULIB_LANGUAGE_ZUTOKEN_H

#include <cstdint>

#include "zulib/runtime/zuapi.h"
#include "zulib/text/zustring.h"
#include "zulib/text/zustringw.h"

// The kind of a token. Every other value is an operator: its character, or first * 256 + second character.
enum ScanCode : std::uint32_t {
  scanNone = 0,          // a fresh token, an empty item of a list, a zero character in the text
  scanEnd = 1,           // the end of the text; the token is empty
  scanWord = 2,          // an identifier or word
  scanQuoted = 3,        // quoted text or a group in brackets, with its quotes or brackets
  scanUnterminated = 4,  // the same, if the text ends before the closing quote or bracket
  scanInteger = 5,       // a number, also one with a point that something follows
  scanSearchWord = 6,    // a word under searchWord
  scanSearchIdent = 7,   // an identifier under searchIdent
  scanDelimited = 8,     // an item of a list, from getDelimitedToken
  scanDecimal = 9,       // a number with a point that ends with the text
  scanOther = 10,        // a single character that is nothing else
  scanComment = 11,      // a comment
  scanOuterJoin = 12,    // the three characters "(+)"
};

// View is ZuSubString or ZuSubStringW, Char its character. Offsets and lengths count characters.
template <class View, class Char>
class ZuTokenOf : public View {
 public:
  ZuTokenOf() = default;
  ZuTokenOf(const Char* text, unsigned long length, unsigned long begin)
      : View(text, length), begOfToken(begin) {}

  operator ScanCode() const { return scanCode; }
  ScanCode getTokenType() const { return scanCode; }
  void setScanCode(ScanCode code) { scanCode = code; }

  // Makes this the token that begins at `begin` of a scan text.
  void set(const Char* text, unsigned long n, unsigned long begin, ScanCode code) {
    this->data = const_cast<Char*>(text);
    this->setLength(n);
    begOfToken = begin;
    scanCode = code;
  }

  void incTokenSize(unsigned long n) { this->length += n; }
  void setTokenSize(unsigned long n) { this->length = n; }

  // Offset of the token's first character in the scan text.
  unsigned long getBegOfToken() const { return begOfToken; }
  void setBegOfToken(unsigned long begin) { begOfToken = begin; }

 protected:
  template <class... ViewArguments>
  explicit ZuTokenOf(unsigned long begin, ViewArguments... arguments)
      : View(arguments...), begOfToken(begin) {}

  ScanCode scanCode = scanNone;
  unsigned long begOfToken = 0;
};

class ZuToken : public ZuTokenOf<ZuSubString, unsigned char> {
 public:
  using ZuTokenOf::ZuTokenOf;
  ZuToken() = default;
  explicit ZuToken(zuCPType cp) : ZuTokenOf(0UL, cp) {}
  ZuToken(const unsigned char* text, unsigned long length, unsigned long begin, zuCPType cp)
      : ZuTokenOf(begin, text, length, cp) {}

  void setCodePage(zuCPType cp) { codePage = cp; }
};

class ZuTokenW : public ZuTokenOf<ZuSubStringW, unsigned short> {
 public:
  using ZuTokenOf::ZuTokenOf;
};

#endif
