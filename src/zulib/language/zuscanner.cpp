#include "zulib/language/zuscanner.h"

#include <array>
#include <initializer_list>

#include "zulib/text/strcopy.h"
#include "zulib/text/zuchar.h"

namespace {

constexpr std::uint32_t op(char c) { return static_cast<unsigned char>(c); }
constexpr std::uint32_t op(char first, char second) { return op(first) * 256 + op(second); }

}  // namespace

constexpr OperatorInfo Operators[OperatorCount] = {
    {op('?')},      {op(',')},      {op('(')},      {op(')')},
    {op('.')},      {op('=')},      {op('=', '=')}, {op('=', '*')},
    {op('=', '<')}, {op('=', '>')}, {op('+')},      {op('+', '+')},
    {op('&')},      {op('&', '&')}, {op('|')},      {op('|', '|')},
    {op('-')},      {op('-', '-')}, {op('/')},      {op('/', '/')},
    {op('*')},      {op('*', '*')}, {op('*', '=')}, {op('>')},
    {op('>', '=')}, {op('<')},      {op('<', '=')}, {op('<', '>')},
    {op('!')},      {op('!', '=')}, {op('!', '<')}, {op('!', '>')},
    {op(';')},      {op(':')},      {op('{')},      {op('}')},
    {op('$')},      {op('#')},      {op('%')},      {op('@')},
    {op('"')},      {op('\'')},     {op('`')},      {0}};

namespace {

constexpr unsigned char kDelimiterOfSearchWord[] = ",()|";

constexpr bool endsSearchWord(unsigned c) {
  for (const unsigned char* p = kDelimiterOfSearchWord; *p; ++p) {
    if (c == *p) return true;
  }
  return false;
}

// White space, letters and digits of ASCII are the same in every locale and code page. Each character of the
// ASCII table is one symbol of one unit.
constexpr unsigned kAsciiEnd = 0x80;

constexpr unsigned char kSpace = 1;
constexpr unsigned char kLetter = 2;  // or "_"
constexpr unsigned char kDigit = 4;
constexpr unsigned char kSecond = 8;  // the second character of an operator, or of "(+)"
constexpr unsigned char kAlone = 16;  // an operator, whatever character that is no kSecond comes next

// As long as all bytes, for which no test of the range is needed then.
constexpr unsigned kBytes = 256;
using Classes = std::array<unsigned char, kBytes>;
constexpr Classes classesOf(bool isWide) {
  Classes classes{};
  for (unsigned c = 0; c < kAsciiEnd; ++c) {
    if (c == ' ' || c - '\t' < 5) classes[c] = kSpace;
    // Unicode, but no locale, has the separators of files, groups, records and units among white space.
    if (isWide && c - 0x1C < 4) classes[c] = kSpace;
    if ((c | 0x20) - 'a' < 26 || c == '_') classes[c] = kLetter;
    if (c - '0' < 10) classes[c] = kDigit;
  }
  for (const OperatorInfo& row : Operators) {
    if (row.getOpLen() == 2) classes[row.getSecondSymbol()] |= kSecond;
    if (row.getOpLen() == 1 && row.code != op('.')) classes[row.code] |= kAlone;
  }
  return classes;
}

template <class Char>
constexpr Classes kClasses = classesOf(sizeof(Char) == 2);

template <class Char>
constexpr bool isAscii(unsigned c, unsigned char classes) {
  return c < kBytes && kClasses<Char>[c] & classes;
}

}  // namespace

template <class Char>
ZuScannerOf<Char>::~ZuScannerOf() = default;

template <class Char>
void ZuScannerOf<Char>::setScanString(const Char* text, unsigned long length) {
  scanText = text;
  scanLength = length;
  scanString = nullptr;
  codePage = zuCPLocale;
  symbolSize = 0;
  setDecimalOk();
  resetToBeginning();
}

template <class Char>
void ZuScannerOf<Char>::setScanString(String* string) {
  const zuCPType kept = codePage;
  setScanString(string->asPascalStr(), string->getLength());
  scanString = string;
  codePage = kept;
}

template <class Char>
void ZuScannerOf<Char>::setDefaultQuotes() {
  setQuotingChars('\'', '"', '`');
  resetMatchBrackets();
  resetMatchParens();
  resetMatchingChars();
  resetParseComments();
}

template <class Char>
void ZuScannerOf<Char>::setQuotingChars(unsigned short first, unsigned short second, unsigned short third) {
  quoteChar1 = first;
  quoteChar2 = second;
  quoteChar3 = third;
}

template <class Char>
void ZuScannerOf<Char>::resetValidChars() {
  validFirstChars.clear();
  validMiddleChars.clear();
}

template <class Char>
void ZuScannerOf<Char>::setMatchingChars(unsigned short open, unsigned short close) {
  matchingOpen = open;
  matchingClose = close;
}

template <class Char>
void ZuScannerOf<Char>::setSetsCodePage(zuCPType cp) {
  if constexpr (sizeof(Char) == 1) {
    for (String* set : {&validFirstChars, &validMiddleChars, &delimiterChars}) {
      set->initializeTakeBuffer(nullptr, 0, cp, 0);
    }
  }
}

// --- symbols ------------------------------------------------------------------------------------------

// The size of the symbol, never past the end of the text.
template <class Char>
unsigned long ZuScannerOf<Char>::sizeAt(const Char* symbol) const {
  if (*symbol < kAsciiEnd) return 1;
  const auto left = static_cast<unsigned long>(scanText + scanLength - symbol);
  if (left == 1) return 1;
  unsigned long size;
  if constexpr (sizeof(Char) == 1) {
    size = zuCharSize(symbol, codePage);
  } else {
    size = (*symbol & 0xFC00u) == 0xD800u ? 2 : 1;
  }
  return size > left ? left : size;
}

template <class Char>
const Char* ZuScannerOf<Char>::getSymbol() {
  if (position >= scanLength) {
    flags |= kAtEnd;
    symbolSize = 0;
    return nullptr;
  }
  const Char* const symbol = scanText + position;
  symbolSize = sizeAt(symbol);
  position += symbolSize;
  return symbol;
}

template <class Char>
void ZuScannerOf<Char>::unGetSymbol() {
  position -= symbolSize;
  symbolSize = 0;
  clear(kAtEnd);
}

template <class Char>
unsigned ZuScannerOf<Char>::lookAhead(unsigned long n) const {
  return position + n - 1 < scanLength ? scanText[position + n - 1] : 0;
}

namespace {

// The character that a symbol beyond ASCII begins, terminated, so that a test of it reads nothing after the
// text. The C library may take more for it than the symbol has: no symbol of code page 1 has three bytes.
template <class Char>
struct Alone {
  Alone(const Char* symbol, const Char* end) : text() {
    for (Char* to = text; symbol < end && to < text + kLongest; ++symbol) *to++ = *symbol;
  }
  static constexpr unsigned long kLongest = 4;
  Char text[kLongest + 1];
};

}  // namespace

template <class Char>
bool ZuScannerOf<Char>::isWhite(const Char* symbol) const {
  if (*symbol < kAsciiEnd) return isAscii<Char>(*symbol, kSpace);
  const Alone<Char> alone(symbol, scanText + scanLength);
  if constexpr (sizeof(Char) == 1) return zuIsWhiteSpace(alone.text, codePage);
  if constexpr (sizeof(Char) == 2) return zuIsWhiteSpace(alone.text);
}

template <class Char>
bool ZuScannerOf<Char>::isAlpha(const Char* symbol) const {
  if (has(kAtEnd)) return false;
  if (*symbol < kAsciiEnd) return isAscii<Char>(*symbol, kLetter);
  const Alone<Char> alone(symbol, scanText + scanLength);
  if constexpr (sizeof(Char) == 1) return zuIsAlpha(alone.text, codePage);
  if constexpr (sizeof(Char) == 2) return zuIsAlpha(alone.text);
}

template <class Char>
bool ZuScannerOf<Char>::isAlphaNum(const Char* symbol) const {
  if (has(kAtEnd)) return false;
  if (*symbol < kAsciiEnd) return isAscii<Char>(*symbol, kLetter | kDigit);
  const Alone<Char> alone(symbol, scanText + scanLength);
  if constexpr (sizeof(Char) == 1) return zuIsAlphaNumeric(alone.text, codePage);
  if constexpr (sizeof(Char) == 2) return zuIsAlphaNumeric(alone.text);
}

template <class Char>
bool ZuScannerOf<Char>::isMember(const String& set, unsigned c) {
  return set.getLength() != 0 && set.isCharInStr(static_cast<Char>(c));
}

// --- tokens -------------------------------------------------------------------------------------------

template <class Char>
void ZuScannerOf<Char>::makeToken(Token& token, const Char* text, unsigned long length, ScanCode code) const {
  token.set(text, length, static_cast<unsigned long>(text - scanText), code);
  if constexpr (sizeof(Char) == 1) token.setCodePage(codePage);
}

// Passes symbols for which `isPassed` holds, which holds for ASCII only, without the work that other symbols
// need. Returns how many.
template <class Char>
template <class IsPassed>
unsigned long ZuScannerOf<Char>::passAscii(IsPassed isPassed) {
  const Char* const first = scanText + position;
  const Char* const end = scanText + scanLength;
  const Char* symbol = first;
  while (symbol < end && isPassed(*symbol)) ++symbol;
  const auto passed = static_cast<unsigned long>(symbol - first);
  position += passed;
  return passed;
}

// The first symbol that is not skipped; null at the end of the text.
template <class Char>
const Char* ZuScannerOf<Char>::skipWhiteSpace(bool stopAtFirstChars) {
  if (has(kAtEnd)) return nullptr;
  if (!stopAtFirstChars || validFirstChars.getLength() == 0) {
    passAscii([](unsigned c) { return isAscii<Char>(c, kSpace); });
    if (isAsciiNext()) {
      symbolSize = 1;
      return scanText + position++;
    }
  }
  const Char* symbol = getSymbol();
  while (symbol && isWhite(symbol) && !(stopAtFirstChars && isMember(validFirstChars, *symbol))) {
    symbol = getSymbol();
  }
  return symbol;
}

// Most tokens of most texts: words, integers and operators of ASCII, if nothing was set by which they could
// be anything else, and if the next character of ASCII ends them. False with nothing done otherwise. It is
// what the rules of getToken come to, for the rows "scan 10 MB of SQL" and "connection string of 20
// attributes".
template <class Char>
inline bool ZuScannerOf<Char>::getPlainToken(Token& token) {
  constexpr unsigned char kModes = kMatchBrackets | kMatchParens | kAtEnd;
  const Char* const end = scanText + scanLength;
  const Char* first = scanText + position;
  while (first < end && isAscii<Char>(*first, kSpace)) ++first;
  if (has(kModes) || matchingOpen != kNone || delimiterChars.getLength() || first >= end ||
      isOpenQuote(*first)) {
    return false;
  }
  const Char* next = first + 1;
  auto code = static_cast<ScanCode>(*first);
  if (isAscii<Char>(*first, kLetter)) {
    code = scanWord;
    while (next < end && isAscii<Char>(*next, kLetter | kDigit)) ++next;
    if (next == end || isMember(validMiddleChars, *next)) return false;
  } else if (isAscii<Char>(*first, kDigit)) {
    code = scanInteger;
    while (next < end && isAscii<Char>(*next, kDigit)) ++next;
    if (next == end || *next == '.') return false;
  } else if (!isAscii<Char>(*first, kAlone) || next == end || isAscii<Char>(*next, kSecond)) {
    return false;
  }
  // A valid first character makes a word of what it begins, and may be white space.
  if (*next >= kAsciiEnd ||
      (validFirstChars.getLength() && (code != scanWord || first != scanText + position)))
    return false;
  makeToken(token, first, static_cast<unsigned long>(next - first), code);
  position = static_cast<unsigned long>(next - scanText);
  symbolSize = 0;
  return true;
}

template <class Char>
void ZuScannerOf<Char>::getToken(Token& token, SearchType search) {
  if (search != searchNormal || !getPlainToken(token)) getAnyToken(token, search);
}

template <class Char>
void ZuScannerOf<Char>::getAnyToken(Token& token, SearchType search) {
  const Char* const symbol = skipWhiteSpace(true);
  if (!symbol) {
    makeToken(token, scanText + position, 0, scanEnd);
    return;
  }
  makeToken(token, symbol, symbolSize, scanNone);
  const unsigned c = *symbol;
  if (isOpenQuote(c)) {
    token.setScanCode(scanQuoted);
    getQuotedToken(token, c);
  } else if (c == '(' && has(kMatchParens)) {
    token.setScanCode(scanQuoted);
    getMatchingSymbols(token, '(', ')');
  } else if (c == '{' && has(kMatchBrackets)) {
    token.setScanCode(scanQuoted);
    getMatchingSymbols(token, '{', '}');
  } else if (c == matchingOpen && matchingOpen != kNone) {
    token.setScanCode(scanQuoted);
    getMatchingSymbols(token, matchingOpen, matchingClose);
  } else {
    const unsigned next = lookAhead(1);
    if (has(kParseComments) && ((c == '-' && next == '-') || (c == '/' && next == '*'))) {
      token.setScanCode(scanComment);
      getComment(token, c);
      return;
    }
    token.setScanCode(startOf(symbol, search));
    if (token.getTokenType() != scanNone) {
      run(token);
    } else if (c == '(' && next == '+' && lookAhead(2) == ')') {
      token.setScanCode(scanOuterJoin);
      token.incTokenSize(2);
      getSymbol();
      getSymbol();
    } else {
      getOperator(token, c, next);
    }
  }
}

// The kind of token that begins with the symbol and goes on by `accepts`; scanNone if there is none.
template <class Char>
ScanCode ZuScannerOf<Char>::startOf(const Char* symbol, SearchType search) const {
  const unsigned c = *symbol;
  if (search == searchWord && !endsSearchWord(c)) return scanSearchWord;
  if (search == searchIdent && (isAlpha(symbol) || c == '#')) return scanSearchIdent;
  if (delimiterChars.getLength() != 0 && !isMember(delimiterChars, c)) return scanWord;
  if (isAlpha(symbol) || isMember(validFirstChars, c)) return scanWord;
  if (isDigit(c)) return scanInteger;
  if (c == '.' && has(kDecimalOk) && isDigit(lookAhead(1))) return scanDecimal;
  return scanNone;
}

// Whether the symbol continues the token. A point makes a decimal of an integer, and a number that ends
// before the end of the text becomes an integer again.
template <class Char>
bool ZuScannerOf<Char>::accepts(Token& token, const Char* symbol) const {
  const unsigned c = *symbol;
  switch (token.getTokenType()) {
    case scanSearchWord: return c >= 33 && !endsSearchWord(c);
    case scanInteger:
      if (c == '.' && has(kDecimalOk)) {
        token.setScanCode(scanDecimal);
        return true;
      }
      return isDigit(c);
    case scanDecimal:
      if (isDigit(c)) return true;
      token.setScanCode(scanInteger);
      return false;
    case scanSearchIdent:
      if (isAlphaNum(symbol) || c == '#' || c == '$') return true;
      [[fallthrough]];
    default:
      if (delimiterChars.getLength() != 0) return !isMember(delimiterChars, c);
      return isAlphaNum(symbol) || isMember(validMiddleChars, c);
  }
}

template <class Char>
void ZuScannerOf<Char>::run(Token& token) {
  while (const Char* const symbol = getSymbol()) {
    if (!accepts(token, symbol)) {
      unGetSymbol();
      return;
    }
    token.incTokenSize(symbolSize);
  }
}

namespace {

// The first row of each character of ASCII; OperatorCount if it has none.
constexpr std::array<unsigned char, kAsciiEnd> kFirstRows = [] {
  std::array<unsigned char, kAsciiEnd> rows{};
  for (unsigned c = 0; c < kAsciiEnd; ++c) {
    unsigned row = 0;
    while (row < OperatorCount && Operators[row].code != c) ++row;
    rows[c] = static_cast<unsigned char>(row);
  }
  return rows;
}();

// A unit of UTF-16 can have the code of a row of two characters.
unsigned firstRowOf(unsigned c) {
  if (c < kAsciiEnd) return kFirstRows[c];
  unsigned row = 0;
  while (row < OperatorCount && Operators[row].code != c) ++row;
  return row;
}

}  // namespace

template <class Char>
void ZuScannerOf<Char>::getOperator(Token& token, unsigned first, unsigned next) {
  const unsigned row = firstRowOf(first);
  if (row == OperatorCount) {
    token.setScanCode(scanOther);
    return;
  }
  token.setScanCode(Operators[row].getScanCode());
  if (!isAscii<Char>(next, kSecond)) return;
  for (const OperatorInfo* two = Operators + row + 1;
       two < Operators + OperatorCount && two->getFirstSymbol() == first; ++two) {
    if (two->getSecondSymbol() != next) continue;
    getSymbol();
    token.incTokenSize(1);
    token.setScanCode(two->getScanCode());
    return;
  }
}

template <class Char>
void ZuScannerOf<Char>::getQuotedToken(Token& token, unsigned quote) {
  while (true) {
    token.incTokenSize(passAscii([quote](unsigned c) { return c < kAsciiEnd && c != quote; }));
    const Char* const symbol = getSymbol();
    if (!symbol) break;
    token.incTokenSize(symbolSize);
    if (*symbol != quote) continue;
    if (lookAhead(1) != quote || position >= scanLength) return;
    getSymbol();
    token.incTokenSize(symbolSize);
  }
  token.setScanCode(scanUnterminated);
}

template <class Char>
void ZuScannerOf<Char>::getMatchingSymbols(Token& token, unsigned open, unsigned close) {
  for (unsigned long depth = 1; depth > 0;) {
    const Char* const symbol = getSymbol();
    if (!symbol) {
      token.setScanCode(scanUnterminated);
      return;
    }
    token.incTokenSize(symbolSize);
    if (isOpenQuote(*symbol)) getQuotedToken(token, *symbol);
    if (*symbol == open) {
      ++depth;
    } else if (*symbol == close) {
      --depth;
    }
  }
}

template <class Char>
void ZuScannerOf<Char>::getComment(Token& token, unsigned first) {
  if (first == '-') {
    while (true) {
      token.incTokenSize(passAscii([](unsigned c) { return c < kAsciiEnd && c != '\n'; }));
      const Char* const symbol = getSymbol();
      if (!symbol || *symbol == '\n') return;
      token.incTokenSize(symbolSize);
    }
  }
  getSymbol();
  token.incTokenSize(symbolSize);
  unsigned previous = 0;  // not the "*" that opened the comment: "/*/" is not closed
  while (true) {
    if (const unsigned long passed = passAscii([](unsigned c) { return c < kAsciiEnd && c != '/'; })) {
      token.incTokenSize(passed);
      previous = scanText[position - 1];
    }
    const Char* const symbol = getSymbol();
    if (!symbol) return;
    token.incTokenSize(symbolSize);
    if (*symbol == '/' && previous == '*') return;
    previous = *symbol;
  }
}

template <class Char>
void ZuScannerOf<Char>::getToken(Token& token, unsigned long begin, unsigned long length) const {
  if (begin > scanLength) begin = scanLength;
  if (length > scanLength - begin) length = scanLength - begin;
  makeToken(token, scanText + begin, length, scanNone);
}

// Items of ASCII without quotes and parens that a delimiter ends, which most are. False with nothing done
// otherwise. It is what the rules of getDelimitedToken come to, for the row "connection string of 20
// attributes".
template <class Char>
inline bool ZuScannerOf<Char>::getPlainItem(Token& token, unsigned short delimiter) {
  constexpr unsigned char kPlain = kLetter | kDigit | kSpace;
  for (const unsigned short stop : {delimiter, quoteChar1, quoteChar2, quoteChar3}) {
    if (isAscii<Char>(stop, kPlain)) return false;
  }
  const Char* const end = scanText + scanLength;
  const Char* first = scanText + position;
  while (first < end && isAscii<Char>(*first, kSpace)) ++first;
  const Char* next = first;
  while (true) {
    while (next < end && isAscii<Char>(*next, kPlain)) ++next;
    if (next >= end || *next >= kAsciiEnd || *next == '(' || isOpenQuote(*next)) return false;
    if (*next == delimiter) break;
    ++next;
  }
  if (has(kAtEnd)) return false;
  const Char* last = next;
  while (last > first && isAscii<Char>(last[-1], kSpace)) --last;
  makeToken(token, first, static_cast<unsigned long>(last - first), last == first ? scanNone : scanDelimited);
  position = static_cast<unsigned long>(next - scanText);
  symbolSize = 0;
  return true;
}

template <class Char>
void ZuScannerOf<Char>::getDelimitedToken(Token& token, unsigned short delimiter) {
  if (!getPlainItem(token, delimiter)) getAnyItem(token, delimiter);
}

template <class Char>
void ZuScannerOf<Char>::getAnyItem(Token& token, unsigned short delimiter) {
  const Char* symbol = skipWhiteSpace(false);
  if (!symbol) {
    makeToken(token, scanText + position, 0, scanEnd);
    return;
  }
  if (*symbol == delimiter) {
    makeToken(token, symbol, 0, scanNone);
    unGetSymbol();
    return;
  }
  makeToken(token, symbol, symbolSize, scanDelimited);
  unsigned quote = isOpenQuote(*symbol) ? *symbol : kNone;
  while ((symbol = getSymbol())) {
    const unsigned c = *symbol;
    if (c == '(' && has(kMatchParens)) {
      getMatchingSymbols(token, '(', ')');
    } else if (c == '(' && has(kMatchBrackets)) {
      getMatchingSymbols(token, '{', '}');
    } else if (c == quote) {
      quote = kNone;
    } else if (isOpenQuote(c)) {
      quote = c;
    } else if (quote == kNone && c == delimiter) {
      unGetSymbol();
      break;
    }
    token.incTokenSize(symbolSize);
  }
  trimEnd(token);
}

// Cuts the white space off the end of the token, which cannot be read from its end in every code page.
template <class Char>
void ZuScannerOf<Char>::trimEnd(Token& token) const {
  const Char* const begin = token.asPascalStr();
  const Char* const end = begin + token.getLength();
  const Char* last = begin;
  for (const Char* symbol = begin; symbol < end;) {
    const unsigned long size = sizeAt(symbol);
    if (!isWhite(symbol)) last = symbol + size;
    symbol += size;
  }
  token.setTokenSize(static_cast<unsigned long>(last - begin));
}

template <class Char>
void ZuScannerOf<Char>::unGetToken(const Token& token) {
  position = token.getBegOfToken();
  clear(kAtEnd);
}

template <class Char>
void ZuScannerOf<Char>::resetToBeginning() {
  position = 0;
  clear(kAtEnd);
}

// --- changes of the attached string -------------------------------------------------------------------

template <class Char>
int ZuScannerOf<Char>::changeString(unsigned long begin, unsigned long oldLength, const View& text) {
  if (!scanString) return 1;
  const Char* const replacement = text.getLength() ? text.asPascalStr() : nullptr;
  int failed;
  if constexpr (sizeof(Char) == 1) {
    failed = scanString->changeBytes(begin, oldLength, replacement, text.getLength());
  } else {
    failed = scanString->changeChars(begin, oldLength, replacement, text.getLength());
  }
  if (failed) return 1;
  scanText = scanString->asPascalStr();
  scanLength = scanString->getLength();
  // A token after the position can lose more than there is before it.
  position = position + text.getLength() < oldLength ? 0 : position + text.getLength() - oldLength;
  return 0;
}

template <class Char>
int ZuScannerOf<Char>::changeToken(const Token* token, const View& text) {
  return changeString(token->getBegOfToken(), token->getLength(), text);
}

template <class Char>
int ZuScannerOf<Char>::insertToken(Token* token, const View& text) {
  if (text.getLength() == 0) return 0;
  if (changeString(token->getBegOfToken(), 0, text)) return 1;
  const unsigned long length = token->getLength();
  const ScanCode code = token->getTokenType();
  makeToken(*token, scanText + token->getBegOfToken() + text.getLength(), length, code);
  return 0;
}

// --- lists and words ----------------------------------------------------------------------------------

template <class Char>
template <class Item>
int ZuScannerOf<Char>::splitList(ZuArray* items, unsigned short delimiter, Item makeItem) {
  items->deleteContents();
  items->setDeleteContentsOnDestruct();
  Token item;
  Token after;
  do {
    getDelimitedToken(item, delimiter);
    ZuObject* const made = makeItem(item);
    if (!made) return 1;
    if (items->add(made)) {
      delete made;
      return 1;
    }
    getToken(after, searchNormal);
  } while (after != scanEnd);
  return 0;
}

template <class Char>
int ZuScannerOf<Char>::parseList(ZuArray* items, unsigned short delimiter) {
  return splitList(items, delimiter, [](const View& item) -> ZuObject* { return new View(item); });
}

template <class Char>
int ZuScannerOf<Char>::parseListZuString(ZuArray* items, unsigned short delimiter) {
  return splitList(items, delimiter, [](const View& item) -> ZuObject* {
    auto* const copy = new String;
    if (copy && copy->initialize(item)) {
      delete copy;
      return nullptr;
    }
    return copy;
  });
}

template <class Char>
template <class Equal>
int ZuScannerOf<Char>::compareWords(Token& token, const Char* text, unsigned long length, Equal equal) {
  const unsigned long start = position;
  const Char* const end = text + length;
  Token next;
  const Token* compared = &token;
  while (true) {
    const Char* wordEnd = text;
    while (wordEnd < end && *wordEnd != ' ') ++wordEnd;
    if (!equal(*compared, text, static_cast<unsigned long>(wordEnd - text))) {
      position = start;
      return 0;
    }
    if (wordEnd == end) break;
    text = wordEnd + 1;
    getToken(next, searchNormal);
    compared = &next;
  }
  token.incTokenSize(position - start);
  return 1;
}

template <class Char>
int ZuScannerOf<Char>::isEqual(Token& token, const Char* text, unsigned long length) {
  return compareWords(token, text, length,
                      [](const Token& t, const Char* p, unsigned long n) { return t.isEqual(p, n); });
}

template <class Char>
int ZuScannerOf<Char>::isEqualCi(Token& token, const Char* text, unsigned long length) {
  return compareWords(token, text, length,
                      [](const Token& t, const Char* p, unsigned long n) { return t.isEqualCi(p, n); });
}

template <class Char>
int ZuScannerOf<Char>::isEqual(Token& token, const Char* text) {
  return isEqual(token, text, strLen(text));
}

template <class Char>
int ZuScannerOf<Char>::isEqualCi(Token& token, const Char* text) {
  return isEqualCi(token, text, strLen(text));
}

template <class Char>
int ZuScannerOf<Char>::isInSet(Token& token, const Char* list) {
  for (; *list; list += strLen(list) + 1) {
    if (isEqual(token, list)) return 1;
  }
  return 0;
}

template <class Char>
int ZuScannerOf<Char>::isInSetCi(Token& token, const Char* list) {
  for (; *list; list += strLen(list) + 1) {
    if (isEqualCi(token, list)) return 1;
  }
  return 0;
}

template class ZuScannerOf<unsigned char>;
template class ZuScannerOf<unsigned short>;

// --- the two classes ----------------------------------------------------------------------------------

ZuScanner::ZuScanner(zuCPType cp) : ZuScanner(nullptr, 0, cp) {}

ZuScanner::ZuScanner(const unsigned char* text, unsigned long length, zuCPType cp) {
  setSetsCodePage(cp);
  setScanString(text, length);
  setDefaultQuotes();
  codePage = cp;
}

ZuScanner::ZuScanner(const unsigned char* terminated, zuCPType cp)
    : ZuScanner(terminated, strLen(terminated), cp) {}

ZuScanner::ZuScanner(const ZuSubString* view)
    : ZuScanner(view->asPascalStr(), view->getLength(), view->getCodePage()) {}

ZuScanner::ZuScanner(ZuString* string) : ZuScanner(zuCPLocale) { setScanString(string); }

ZuScanner::~ZuScanner() = default;

void ZuScanner::setScanString(const unsigned char* text, unsigned long length, zuCPType cp) {
  setScanString(text, length);
  codePage = cp;
}

ZuScannerW::ZuScannerW() : ZuScannerW(nullptr, 0) {}

ZuScannerW::ZuScannerW(const unsigned short* text, unsigned long length) {
  setScanString(text, length);
  setDefaultQuotes();
}

ZuScannerW::ZuScannerW(const unsigned short* terminated) : ZuScannerW(terminated, strLen(terminated)) {}

ZuScannerW::ZuScannerW(const ZuSubStringW* view) : ZuScannerW(view->asPascalStr(), view->getLength()) {}

ZuScannerW::ZuScannerW(ZuStringW* string) : ZuScannerW() { setScanString(string); }

ZuScannerW::~ZuScannerW() = default;
