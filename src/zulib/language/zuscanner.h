// ZuScanner and ZuScannerW: cut a text into tokens without copying it.
//
//   ZuScanner scanner(text, length);
//   ZuToken token;
//   for (scanner.getToken(token); token != scanEnd; scanner.getToken(token)) ...
//
// The scanner knows the habits of SQL: doubled quotes, "--" and "/* */" comments, the "(+)" marker, and the
// table of operators below. It never allocates and never fails while it scans: malformed text shows as
// scanUnterminated or scanOther.
//
// Both classes share every algorithm; a symbol is one character of the code page, or one code point of
// UTF-16. Tests look at the first byte or unit of a symbol, symbols are stepped over whole. Offsets and
// lengths count bytes, or 16-bit units.
//
// Rules of getToken, in their order, after white space (a white-space character of the valid first characters
// ends the skipping):
//
//   1  a quote                              scanQuoted, to the closing quote
//   2  "("   if parens are matched          scanQuoted, to its ")"
//   3  "{"   if brackets are matched        scanQuoted, to its "}"
//   4  the extra opening character          scanQuoted, to its closing one
//   5  "--" or "/*"  if comments are        scanComment
//   6  searchWord, not one of ",()|"        scanSearchWord: up to a character below 33 or one of ",()|"
//   7  searchIdent, a letter, "_" or "#"    scanSearchIdent: letters, digits, "_", "#", "$", and what rule 8
//   or 9 takes 8  delimiters are set, none of them     scanWord: up to a delimiter 9  a letter, "_", a valid
//   first char    scanWord: letters, digits, "_", valid middle characters
//  10  a digit                              scanInteger, or scanDecimal if a point ran to the end of the text
//  11  "." before a digit, if decimals are  likewise
//  12  "(+)"                                scanOuterJoin
//  13  an operator of the table             its code, of two characters if they are in the table
//  14  anything else                        scanOther
//
// A number that has a point and then ends before the end of the text has scanInteger: callers tell it by its
// text. The end of the text is sticky: getToken returns scanEnd until unGetToken, resetToBeginning or
// setScanString.
//
// Thread safety: none; one thread at a time.

#ifndef ZULIB_LANGUAGE_ZUSCANNER_H
#define ZULIB_LANGUAGE_ZUSCANNER_H

#include "zulib/collections/zuarray.h"
#include "zulib/language/zutoken.h"
#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zuobject.h"

enum SearchType {
  searchNormal = 0,
  searchWord = 1,
  searchIdent = 2,
};

// A row of the operator table: a scan code of one or two characters.
struct OperatorInfo {
  std::uint32_t code;

  constexpr unsigned short getOpLen() const { return code > 255 ? 2 : 1; }
  constexpr unsigned short getFirstSymbol() const {
    return static_cast<unsigned short>(code > 255 ? code >> 8 : code);
  }
  constexpr unsigned short getSecondSymbol() const { return static_cast<unsigned short>(code & 255); }
  constexpr ScanCode getScanCode() const { return static_cast<ScanCode>(code); }
};

// Every row of two characters follows the row of its first one. The last row is 0.
constexpr unsigned OperatorCount = 44;
extern ZU_API const OperatorInfo Operators[OperatorCount];

template <class Char>
struct ZuTokenNames;
template <>
struct ZuTokenNames<unsigned char> {
  using Token = ZuToken;
};
template <>
struct ZuTokenNames<unsigned short> {
  using Token = ZuTokenW;
};

// What ZuScanner (8-bit) and ZuScannerW (UTF-16) share.
template <class Char>
class ZU_API ZuScannerOf : public ZuObject {
 public:
  using View = typename ZuTextNames<Char>::View;
  using String = typename ZuTextNames<Char>::String;
  using Token = typename ZuTokenNames<Char>::Token;

  ZuScannerOf(const ZuScannerOf&) = delete;
  ZuScannerOf& operator=(const ZuScannerOf&) = delete;
  ~ZuScannerOf() override;

  // Restart on a text, which must outlive the scanner and its tokens. Decimals are on again; quotes, matching
  // and the character sets stay. The first form also sets code page 1; the second attaches the string, so
  // that tokens of it can be changed, and keeps the code page.
  void setScanString(const Char* text, unsigned long length);
  void setScanString(String* string);

  // Apostrophe, double quote and back quote; no matching of brackets, parens or the extra pair; no comments.
  void setDefaultQuotes();
  // A value that no character has, as 0xFFFF, switches a quote off.
  void setQuotingChars(unsigned short first, unsigned short second, unsigned short third);

  // Add to the sets of characters that may begin or continue a word. The text is terminated. 0, or 1 with the
  // set as it was if allocation fails.
  int setValidFirstChars(const Char* text) { return validFirstChars.concat(text); }
  int setValidMiddleChars(const Char* text) { return validMiddleChars.concat(text); }
  int setValidChars(const Char* text) { return setValidFirstChars(text) | setValidMiddleChars(text); }
  void resetValidChars();
  // Adds to the delimiters. While there are any, a word is a run of characters that are no delimiters.
  int setDelimiterChars(const Char* text) { return delimiterChars.concat(text); }

  void setDecimalOk() { flags |= kDecimalOk; }
  void resetDecimalOk() { clear(kDecimalOk); }
  void setMatchBrackets() { flags |= kMatchBrackets; }
  void resetMatchBrackets() { clear(kMatchBrackets); }
  void setMatchParens() { flags |= kMatchParens; }
  void resetMatchParens() { clear(kMatchParens); }
  void setParseComments() { flags |= kParseComments; }
  void resetParseComments() { clear(kParseComments); }
  void setMatchingChars(unsigned short open, unsigned short close);
  void resetMatchingChars() { matchingOpen = kNone; }

  void getToken(Token& token, SearchType search = searchNormal);
  // Makes a token of `length` characters at `begin` again, with scan code 0; what is outside the text is cut
  // off. The scanner does not move.
  void getToken(Token& token, unsigned long begin, unsigned long length) const;

  // The next item of a list: what comes before `delimiter`, outside quotes and matched parens, without the
  // white space around it. An empty item before a delimiter has scanNone, the end of the text scanEnd. The
  // delimiter is not read.
  void getDelimitedToken(Token& token, unsigned short delimiter);

  // Goes back to the beginning of the token.
  void unGetToken(const Token& token);
  void resetToBeginning();

  unsigned long getCurrentPosition() const { return position; }
  unsigned long getStrLen() const { return scanLength; }

  // Replaces the token's characters in the attached string; the token is not touched. Inserts `text` before
  // the token, and moves the token along. 0, or 1 with the string as it was, also when no string is attached.
  // Every other token becomes invalid.
  int changeToken(const Token* token, const View& text);
  int insertToken(Token* token, const View& text);

  // Empty the array and fill it with the items of the rest of the text, which the array owns: views into the
  // text, or strings with copies. 0, or 1 with the items so far in the array.
  int parseList(ZuArray* items, unsigned short delimiter);
  int parseListZuString(ZuArray* items, unsigned short delimiter);

  // 1 if the token, together with as many of the next ones as `text` has words between single blanks, equals
  // the text; the token then covers all of them. Else 0, with the scanner at its old position; but if the
  // words were compared up to the end of the text, that end stays reached.
  int isEqual(Token& token, const Char* text);
  int isEqualCi(Token& token, const Char* text);
  int isEqual(Token& token, const Char* text, unsigned long length);
  int isEqualCi(Token& token, const Char* text, unsigned long length);

  // The same with each text of `list` in turn: terminated texts, one after another, ended by an empty one.
  int isInSet(Token& token, const Char* list);
  int isInSetCi(Token& token, const Char* list);

 protected:
  ZuScannerOf() = default;

  void setSetsCodePage(zuCPType cp);

  zuCPType codePage = zuCPLocale;  // of the text and the tokens; UTF-16 has none
  String validFirstChars;
  String validMiddleChars;
  String delimiterChars;

 private:
  static constexpr unsigned char kMatchBrackets = 0x01;
  static constexpr unsigned char kMatchParens = 0x02;
  static constexpr unsigned char kParseComments = 0x04;
  static constexpr unsigned char kDecimalOk = 0x08;
  static constexpr unsigned char kAtEnd = 0x10;
  static constexpr unsigned short kNone = 0xFFFF;  // no character

  void clear(unsigned char flag) { flags = static_cast<unsigned char>(flags & ~flag); }
  bool has(unsigned char flag) const { return flags & flag; }

  const Char* getSymbol();
  void unGetSymbol();
  unsigned lookAhead(unsigned long n) const;
  unsigned long sizeAt(const Char* symbol) const;
  bool isOpenQuote(unsigned c) const { return c == quoteChar1 || c == quoteChar2 || c == quoteChar3; }
  bool isWhite(const Char* symbol) const;
  bool isAlpha(const Char* symbol) const;
  bool isAlphaNum(const Char* symbol) const;
  static bool isDigit(unsigned c) { return c - '0' < 10; }
  static bool isMember(const String& set, unsigned c);

  bool isAsciiNext() const { return position < scanLength && scanText[position] < 0x80; }
  template <class IsPassed>
  unsigned long passAscii(IsPassed isPassed);
  const Char* skipWhiteSpace(bool stopAtFirstChars);
  bool getPlainToken(Token& token);
  void getAnyToken(Token& token, SearchType search);
  bool getPlainItem(Token& token, unsigned short delimiter);
  void getAnyItem(Token& token, unsigned short delimiter);
  void makeToken(Token& token, const Char* text, unsigned long length, ScanCode code) const;
  void getMatchingSymbols(Token& token, unsigned open, unsigned close);
  void getComment(Token& token, unsigned first);
  void getQuotedToken(Token& token, unsigned quote);
  ScanCode startOf(const Char* symbol, SearchType search) const;
  bool accepts(Token& token, const Char* symbol) const;
  void run(Token& token);
  void getOperator(Token& token, unsigned first, unsigned next);
  void trimEnd(Token& token) const;
  template <class Item>
  int splitList(ZuArray* items, unsigned short delimiter, Item makeItem);
  template <class Equal>
  int compareWords(Token& token, const Char* text, unsigned long length, Equal equal);
  int changeString(unsigned long begin, unsigned long oldLength, const View& text);

  const Char* scanText = nullptr;
  unsigned long scanLength = 0;
  unsigned short quoteChar1 = 0;
  unsigned short quoteChar2 = 0;
  unsigned short quoteChar3 = 0;
  unsigned long position = 0;    // of the next symbol
  String* scanString = nullptr;  // attached, not owned
  unsigned short matchingOpen = kNone;
  unsigned short matchingClose = 0;
  unsigned long symbolSize = 0;  // of the last symbol, 0 after unGetSymbol and at the end
  unsigned char flags = kDecimalOk;
};

extern template class ZuScannerOf<unsigned char>;
extern template class ZuScannerOf<unsigned short>;

// Over 8-bit text. Without a code page, it is 1.
class ZU_API ZuScanner : public ZuScannerOf<unsigned char> {
 public:
  ZuScanner() : ZuScanner(zuCPLocale) {}
  explicit ZuScanner(zuCPType cp);
  ZuScanner(const unsigned char* text, unsigned long length) : ZuScanner(text, length, zuCPLocale) {}
  ZuScanner(const unsigned char* text, unsigned long length, zuCPType cp);
  explicit ZuScanner(const unsigned char* terminated) : ZuScanner(terminated, zuCPLocale) {}
  ZuScanner(const unsigned char* terminated, zuCPType cp);
  // The view's text, length and code page.
  explicit ZuScanner(const ZuSubString* view);
  explicit ZuScanner(ZuString* string);
  ~ZuScanner() override;

  using ZuScannerOf::setScanString;
  void setScanString(const unsigned char* text, unsigned long length, zuCPType cp);
  void setCodePage(zuCPType cp) { codePage = cp; }
};

// Over UTF-16 text.
class ZU_API ZuScannerW : public ZuScannerOf<unsigned short> {
 public:
  ZuScannerW();
  ZuScannerW(const unsigned short* text, unsigned long length);
  explicit ZuScannerW(const unsigned short* terminated);
  explicit ZuScannerW(const ZuSubStringW* view);
  explicit ZuScannerW(ZuStringW* string);
  ~ZuScannerW() override;
};

#endif
