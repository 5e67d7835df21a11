#include "zulib/language/zulexer.h"

#include <cstdlib>
#include <cstring>

#include "zulib/language/internal/replacetext.h"
#include "zulib/text/strcopy.h"

namespace {

struct CharacterCode {
  unsigned char character;
  short code;
};

constexpr CharacterCode kOperatorCodes[] = {
    {'!', tokenExclamation}, {'@', tokenAt},          {'#', tokenNumberSign},  {'$', tokenDollar},
    {'%', tokenPercent},     {'&', tokenAmpersand},   {'*', tokenAsterisk},    {'(', tokenLeftParen},
    {')', tokenRightParen},  {'-', tokenMinus},       {'+', tokenPlus},        {'=', tokenEqual},
    {'|', tokenBar},         {'{', tokenLeftBrace},   {'}', tokenRightBrace},  {':', tokenColon},
    {';', tokenSemicolon},   {'"', tokenDoubleQuote}, {'\'', tokenApostrophe}, {'<', tokenLess},
    {',', tokenComma},       {'>', tokenGreater},     {'.', tokenPeriod},      {'?', tokenQuestion},
    {'/', tokenSlash},       {'`', tokenBackQuote}};

// Characters that the scanner has no operator for.
constexpr CharacterCode kOtherCodes[] = {{'[', tokenLeftBracket},  {'\\', tokenBackslash},
                                         {']', tokenRightBracket}, {'^', tokenCaret},
                                         {'_', tokenUnderscore},   {'~', tokenTilde}};

// Codes by ASCII character; 0 where there is none.
struct CodeTable {
  template <unsigned n>
  explicit constexpr CodeTable(const CharacterCode (&rows)[n]) {
    for (const CharacterCode& row : rows) codes[row.character] = row.code;
  }
  constexpr short operator[](unsigned c) const { return c < sizeof codes / sizeof *codes ? codes[c] : 0; }
  short codes[128] = {};
};

constexpr CodeTable kOperators(kOperatorCodes);
constexpr CodeTable kOthers(kOtherCodes);
constexpr short kOuterJoinCodes[] = {tokenLeftParen, tokenAsterisk, tokenLeftParen};

unsigned long lengthOf(const unsigned char* text) { return text ? strLen(text) : 0; }

}  // namespace

using language::replaceText;

ZuLexer::ZuLexer(const unsigned char* text, zuCPType cp, ZuKeywordList* keywords)
    : currentScanner(&mainScanner), codePage(cp), keywordList(keywords) {
  newString(text, cp);
}

ZuLexer::~ZuLexer() {
  std::free(tokenText);
  std::free(validFirst);
  std::free(validMiddle);
  std::free(validBoth);
}

void ZuLexer::newString(const unsigned char* text, zuCPType cp) {
  codePage = cp;
  mainScanner.setScanString(text, lengthOf(text), cp);
  mainScanner.resetDecimalOk();
  currentScanner = &mainScanner;
  token = ZuToken(cp);
  tokenOffset = 0;
}

void ZuLexer::setLiteralQuoteChars(unsigned short first, unsigned short second, unsigned short third) {
  mainScanner.setQuotingChars(first, second, third);
}

int ZuLexer::setValidChars(const unsigned char* first, const unsigned char* middle,
                           const unsigned char* both) {
  if (replaceText(validFirst, first) || replaceText(validMiddle, middle) || replaceText(validBoth, both)) {
    return 1;
  }
  return applyValidChars(mainScanner);
}

int ZuLexer::applyValidChars(ZuScanner& scanner) const {
  if (validFirst && scanner.setValidFirstChars(validFirst)) return 1;
  if (validMiddle && scanner.setValidMiddleChars(validMiddle)) return 1;
  return validBoth && scanner.setValidChars(validBoth);
}

int ZuLexer::setTokenText(const unsigned char* text, unsigned long length) {
  if (length >= tokenTextRoom) {
    constexpr unsigned long kLeastRoom = 64;
    const unsigned long room = length < kLeastRoom / 2 ? kLeastRoom : 2 * length;
    void* block = tokenText;
    if (ramResize(&block, room)) return 1;
    tokenText = static_cast<unsigned char*>(block);
    tokenTextRoom = room;
  }
  if (length) std::memcpy(tokenText, text, length);
  tokenText[length] = 0;
  return 0;
}

// --- tokens -----------------------------------------------------------------------------------------------

int ZuLexer::nextToken(short* code, unsigned char** text) {
  const bool atStart = currentScanner->getCurrentPosition() == 0 && token != scanEnd;
  const bool isRead = tokenOffset == 0 || token.getLength() <= tokenOffset;
  if (isRead) {
    currentScanner->getToken(token, searchNormal);
    tokenOffset = 0;
  }
  int failed;
  if (token == scanEnd && tokenIsLiteral()) {
    if (atStart) {
      tokenOffset = 1;
      *code = tokenWord;
      failed = setTokenText(literalToken.asPascalStr() + 1, 0);
    } else {
      closeLiteral();
      failed = deliverClosingQuote(code);
    }
  } else if (token == scanQuoted && !tokenIsLiteral()) {
    // Not read anew, it is the closing quote that was backed up.
    failed = isRead ? openLiteral() : deliverClosingQuote(code);
    *code = tokenLiteralQuote;
  } else {
    const unsigned long offset = tokenOffset;
    failed = offset == 0 ? setTokenText(token.asPascalStr(), token.getLength())
                         : setTokenText(token.asPascalStr() + offset, 1);
    if (failed) return 1;
    failed = thisToken(code, nullptr, 1);
    if (offset == 0 && tokenOffset == 1) tokenText[1] = 0;
  }
  if (text) *text = tokenText;
  return failed;
}

int ZuLexer::thisToken(short* code, unsigned char** text, int advance) {
  const auto scan = static_cast<std::uint32_t>(token.getTokenType());
  if (scan <= scanInteger) {
    *code = static_cast<short>(scan);
    if (scan == scanWord && keywordList) {
      static_cast<void>(keywordList->lookup(token.asPascalStr(), token.getLength(), code));
    }
  } else if (scan == scanOther) {
    *code = kOthers[*token.asPascalStr()];
    if (*code == tokenNone) return 1;
  } else if (scan == scanOuterJoin) {
    *code = kOuterJoinCodes[tokenOffset < 2 ? tokenOffset : 2];
    if (advance) ++tokenOffset;
  } else if (scan > 0xFF) {
    *code = kOperators[tokenOffset == 0 ? scan >> 8 : scan & 0xFF];
    if (advance) ++tokenOffset;
  } else {
    *code = kOperators[scan];
    if (*code == tokenNone) return 1;
  }
  if (text) *text = tokenText;
  return 0;
}

void ZuLexer::backup() {
  if (isAtEmptyWord() || isJustOpened()) {
    const bool isWord = isAtEmptyWord();
    token = literalToken;
    tokenOffset = 0;
    if (isWord) return currentScanner->resetToBeginning();
    closeLiteral();
  }
  if (tokenOffset > 0) --tokenOffset;
  if (tokenOffset == 0) currentScanner->unGetToken(token);
}

unsigned long ZuLexer::getTokenPosition() const {
  const unsigned long begin = token.getBegOfToken();
  if (tokenIsLiteral() && !isJustOpened()) {
    return literalToken.getBegOfToken() + 1 + begin + (tokenOffset && token != scanEnd ? tokenOffset - 1 : 0);
  }
  return begin + (tokenOffset ? tokenOffset - 1 : 0);
}

// --- literals ---------------------------------------------------------------------------------------------

// Opens `token`, or the literal token that was restored into it, and delivers its first character.
int ZuLexer::openLiteral() {
  literalToken = token;
  literalScanner.setScanString(token.asPascalStr() + 1, token.getLength() - 2, codePage);
  literalScanner.resetDecimalOk();
  literalScanner.setQuotingChars(0, 0, 0);
  literalScanner.resetValidChars();
  if (applyValidChars(literalScanner)) return 1;
  currentScanner = &literalScanner;
  return setTokenText(token.asPascalStr(), 1);
}

void ZuLexer::closeLiteral() {
  currentScanner = &mainScanner;
  token = literalToken;
}

int ZuLexer::deliverClosingQuote(short* code) {
  tokenOffset = token.getLength();
  *code = tokenLiteralQuote;
  return setTokenText(token.asPascalStr() + tokenOffset - 1, 1);
}

int ZuLexer::getLiteralContents(unsigned char** text) {
  if (!tokenIsLiteral()) return 1;
  if (setTokenText(literalToken.asPascalStr() + 1, literalToken.getLength() - 2)) return 1;
  if (text) *text = tokenText;
  do {
    literalScanner.getToken(token, searchNormal);
  } while (token != scanEnd);
  tokenOffset = 0;
  return 0;
}

// --- positions --------------------------------------------------------------------------------------------

int ZuLexer::getPosition(ZuToken** tokenFound, short* index, ZuScanner** literalScannerFound,
                         ZuToken* literalTokenFound) {
  *tokenFound = nullptr;
  *literalScannerFound = nullptr;
  if (currentScanner->getCurrentPosition() != 0) {
    *tokenFound = new ZuToken(token);
    if (!*tokenFound) return 1;
  }
  constexpr unsigned long kMost = 0x7FFF;
  *index = static_cast<short>(tokenOffset < kMost ? tokenOffset : kMost);
  if (!tokenIsLiteral()) return 0;
  *literalScannerFound =
      new ZuScanner(literalToken.asPascalStr() + 1, literalToken.getLength() - 2, codePage);
  if (!*literalScannerFound) {
    delete *tokenFound;
    *tokenFound = nullptr;
    return 1;
  }
  *literalTokenFound = literalToken;
  return 0;
}

int ZuLexer::setPosition(const ZuToken* wanted, short index, const ZuScanner* literal,
                         const ZuToken* literalWanted) {
  currentScanner = &mainScanner;
  tokenOffset = 0;
  if (literal) {
    mainScanner.unGetToken(*literalWanted);
    mainScanner.getToken(token, searchNormal);
    if (openLiteral()) return 1;
  }
  const bool isEmptyWord = literal && index != 0 && (!wanted || *wanted == scanEnd);
  if (!wanted || isEmptyWord) return restoreAtBeginning(isEmptyWord);
  short code;
  currentScanner->unGetToken(*wanted);
  if (!literal && index > 1 && *wanted == scanQuoted) {
    mainScanner.getToken(token, searchNormal);
    return deliverClosingQuote(&code);
  }
  if (nextToken(&code, nullptr)) return 1;
  if (index <= 1) return 0;
  tokenOffset = static_cast<unsigned long>(index - 1);
  return nextToken(&code, nullptr);
}

// The state in which nothing of the text, or of the literal, was delivered, or only its empty word.
int ZuLexer::restoreAtBeginning(bool isEmptyWord) {
  if (!tokenIsLiteral()) {
    mainScanner.resetToBeginning();
    token = ZuToken(codePage);
    return 0;
  }
  if (!isEmptyWord) return 0;
  literalScanner.getToken(token, searchNormal);
  tokenOffset = 1;
  return setTokenText(token.asPascalStr(), 0);
}
