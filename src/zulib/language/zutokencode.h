// The token codes of grammars and of the trees that parsers build. Codes of keywords lie above those here;
// a number from kFirstProduction on is a production.

#ifndef ZULIB_LANGUAGE_ZUTOKENCODE_H
#define ZULIB_LANGUAGE_ZUTOKENCODE_H

enum ZuTokenCode : short {
  tokenNone = 0,
  tokenEnd = 1,  // the end of the text
  tokenWord = 2,
  tokenQuoted = 3,
  tokenUnterminated = 4,  // quoted text without its closing quote
  tokenNumber = 5,
  tokenTilde = 8,
  tokenBackQuote = 9,
  tokenExclamation = 10,
  tokenAt = 11,
  tokenNumberSign = 12,
  tokenDollar = 13,
  tokenPercent = 14,
  tokenCaret = 15,
  tokenAmpersand = 16,
  tokenAsterisk = 17,
  tokenLeftParen = 18,
  tokenRightParen = 19,
  tokenMinus = 20,
  tokenUnderscore = 21,
  tokenPlus = 22,
  tokenEqual = 23,
  tokenBar = 24,
  tokenBackslash = 25,
  tokenLeftBrace = 26,
  tokenLeftBracket = 27,
  tokenRightBrace = 28,
  tokenRightBracket = 29,
  tokenColon = 30,
  tokenSemicolon = 31,
  tokenDoubleQuote = 32,
  tokenApostrophe = 33,
  tokenLess = 34,
  tokenComma = 35,
  tokenGreater = 36,
  tokenPeriod = 37,
  tokenQuestion = 38,
  tokenSlash = 39,
  tokenLiteralQuote = 40,     // the quote at either end of a quoted text whose words are tokens
  tokenLiteralContents = 41,  // everything between the two
};

constexpr short kFirstProduction = 1000;

#endif
