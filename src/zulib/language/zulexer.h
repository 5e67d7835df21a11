// ZuLexer: cuts a text into the token codes of a grammar (zutokencode.h), on top of ZuScanner.
//
//   ZuLexer lexer(text, &keywords);
//   short code;
//   unsigned char* word;
//   while (lexer.nextToken(&code, &word) == 0 && code != tokenEnd) ...
//
// - A word that is a keyword has the keyword's code.
// - An operator of two characters comes as two tokens, "(+)" as three, with the codes of "(", "*" and "(".
// - Numbers have no decimals: "1.5" is a number, a point and a number.
// - Quoted text comes as its opening quote (tokenLiteralQuote), the tokens inside it, and its closing quote.
//   While the inside is read, a literal is open: there quotes are tokens like any other character. An empty
//   quoted text, or one of blanks, has one empty word inside.
//
// The text must outlive the lexer. Token texts are terminated copies that the next call overwrites.
//
// Thread safety: none; one thread at a time.

#ifndef ZULIB_LANGUAGE_ZULEXER_H
#define ZULIB_LANGUAGE_ZULEXER_H

#include "zulib/language/zukeywordlist.h"
#include "zulib/language/zuscanner.h"
#include "zulib/language/zutokencode.h"

class ZU_API ZuLexer : public ZuObject {
 public:
  // The keyword list is not owned and may be null. Without a code page it is 1.
  ZuLexer() : ZuLexer(nullptr, nullptr) {}
  ZuLexer(const unsigned char* text, ZuKeywordList* keywords) : ZuLexer(text, zuCPLocale, keywords) {}
  ZuLexer(const unsigned char* text, zuCPType cp, ZuKeywordList* keywords);
  ZuLexer(const ZuLexer&) = delete;
  ZuLexer& operator=(const ZuLexer&) = delete;
  ~ZuLexer() override;

  // Starts on another text, with the quotes and valid characters that were set.
  void newString(const unsigned char* text) { newString(text, zuCPLocale); }
  void newString(const unsigned char* text, zuCPType cp);

  void setKeywordList(ZuKeywordList* keywords) { keywordList = keywords; }
  // The scanner that is being read: the main one, or that of the open literal.
  ZuScanner* getScanner() { return currentScanner; }

  // As on ZuScanner. Valid characters (null: none) also hold inside literals. 1 if allocation fails.
  void setLiteralQuoteChars(unsigned short first, unsigned short second, unsigned short third);
  int setValidChars(const unsigned char* first, const unsigned char* middle, const unsigned char* both);

  // The next token's code and text; `text` may be null. 1 for a character that has no code, and if
  // allocation fails.
  int nextToken(short* code, unsigned char** text);

  // The code of the scanner's current token from its characters on that were not delivered yet, and the text
  // of the token delivered last. Delivers a character of an operator if `advance` is not 0. 1 as above.
  int thisToken(short* code, unsigned char** text, int advance);

  // Steps back over the token delivered last; one step only.
  void backup();

  // The current token, as a snapshot from which setPosition restores it: nextToken then returns what it
  // returned after the snapshot. `*token` is null at the beginning of a text or literal, `*literalScanner`
  // is null outside literals; the caller owns both and fills in `literalToken` again. 1 if allocation fails.
  int getPosition(ZuToken** token, short* index, ZuScanner** literalScanner, ZuToken* literalToken);
  int setPosition(const ZuToken* token, short index, const ZuScanner* literalScanner,
                  const ZuToken* literalToken);

  bool tokenIsLiteral() const { return currentScanner == &literalScanner; }
  // The text inside the open literal. The next token is the closing quote. 1 outside literals, and if
  // allocation fails.
  int getLiteralContents(unsigned char** text);

  // Where the token delivered last begins in the text, in bytes.
  unsigned long getTokenPosition() const;

 private:
  int setTokenText(const unsigned char* text, unsigned long length);
  int openLiteral();
  void closeLiteral();
  int deliverClosingQuote(short* code);
  int applyValidChars(ZuScanner& scanner) const;
  int restoreAtBeginning(bool isEmptyWord);
  bool isJustOpened() const { return tokenIsLiteral() && token == scanQuoted; }
  bool isAtEmptyWord() const { return tokenIsLiteral() && token == scanEnd && tokenOffset != 0; }

  ZuScanner* currentScanner;
  ZuScanner mainScanner;
  ZuScanner literalScanner;  // over the inside of literalToken, while a literal is open
  ZuToken token;             // the current scanner's
  ZuToken literalToken;      // the quoted token, with its quotes
  zuCPType codePage;
  unsigned char* tokenText = nullptr;  // owned
  unsigned long tokenTextRoom = 0;
  // Characters of `token` that were delivered, if it is an operator; its length after a closing quote; 1 at
  // the empty word of an empty literal.
  unsigned long tokenOffset = 0;
  ZuKeywordList* keywordList;
  unsigned char* validFirst = nullptr;  // owned
  unsigned char* validMiddle = nullptr;
  unsigned char* validBoth = nullptr;
};

#endif
