// What a grammar's text becomes before it is a table: productions, their elements, and the lists of tokens
// with which a production can begin.
//
// Thread safety: none; one thread at a time.

#ifndef ZULIB_LANGUAGE_GRAMMAR_ZUPRODUCTION_H
#define ZULIB_LANGUAGE_GRAMMAR_ZUPRODUCTION_H

#include "zulib/language/grammar/zuparsetable.h"

// A list of tokens, one of each type. The head owns the rest.
class ZU_API ZuTokenNode : public ZuObject {
 public:
  ZuTokenNode(short type, const unsigned char* text);
  // Copies the whole list.
  ZuTokenNode(const ZuTokenNode& list);
  ZuTokenNode& operator=(const ZuTokenNode&) = delete;
  ~ZuTokenNode() override;

  short getTokenType() const { return tokenType; }
  const unsigned char* getTokenString() const { return tokenString; }
  ZuTokenNode* getNext() const { return next; }
  // Whether the constructor could copy everything.
  bool isComplete() const { return complete; }

  // Adds a token, or every token of a list, after the head, unless one of that type is there, with whatever
  // text. 1 if allocation fails.
  int addToList(short type, const unsigned char* text);
  int addToList(const ZuTokenNode* list);

 private:
  short tokenType;
  bool complete;
  unsigned char* tokenString;  // owned, may be null
  ZuTokenNode* next = nullptr;
};

// A term or a bracketed group of a production. The first element of an alternative is chained to that of the
// next alternative, each element of an alternative to the one after it.
//
// Ownership: an element owns what comes after it in both chains, and what it contains.
class ZU_API ZuBNFElement : public ZuObject {
 public:
  enum Bracket { kNoBracket = 0, kSquare = 1, kBraces = 2 };
  enum Closure { kOnce = 0, kAnyNumber = 1, kAtLeastOnce = 2 };

  ZuBNFElement() = default;
  ZuBNFElement(const ZuBNFElement&) = delete;
  ZuBNFElement& operator=(const ZuBNFElement&) = delete;
  ~ZuBNFElement() override;

  int getBracket() const { return bracket; }
  void setBracket(int kind) { bracket = kind; }
  int getClosure() const { return closure; }
  void setClosure(int kind) { closure = kind; }
  short getTokenType() const { return tokenType; }
  void setTokenType(short type) { tokenType = type; }
  // Not 0: a word that is no production, whatever its letters.
  int getLiteral() const { return literal; }
  void setLiteral(int isLiteral) { literal = isLiteral; }
  const unsigned char* getTokenString() const { return tokenString; }
  // Takes a copy; null for none. 1 if allocation fails.
  int setTokenString(const unsigned char* text);

  // Links: 0 with the element, or 1 with null if there is none.
  int getPrevAlternation(ZuBNFElement** found) const { return get(prevAlternation, found); }
  int getNextAlternation(ZuBNFElement** found) const { return get(nextAlternation, found); }
  int getPrevSequential(ZuBNFElement** found) const { return get(prevSequential, found); }
  int getNextSequential(ZuBNFElement** found) const { return get(nextSequential, found); }
  int getContains(ZuBNFElement** found) const { return get(contains, found); }
  int getContainedBy(ZuBNFElement** found) const { return get(containedBy, found); }
  int getNonTerminal(ZuProduction** found) const { return get(nonTerminal, found); }
  void setPrevAlternation(ZuBNFElement* element) { prevAlternation = element; }
  void setNextAlternation(ZuBNFElement* element) { nextAlternation = element; }
  void setPrevSequential(ZuBNFElement* element) { prevSequential = element; }
  void setNextSequential(ZuBNFElement* element) { nextSequential = element; }
  void setContains(ZuBNFElement* element) { contains = element; }
  void setContainedBy(ZuBNFElement* element) { containedBy = element; }
  void setNonTerminal(ZuProduction* production) { nonTerminal = production; }

  // The same links as plain pointers.
  const ZuBNFElement* nextAlternationOrNull() const { return nextAlternation; }
  const ZuBNFElement* nextSequentialOrNull() const { return nextSequential; }
  const ZuBNFElement* containsOrNull() const { return contains; }
  const ZuProduction* nonTerminalOrNull() const { return nonTerminal; }

  // Append to the chain that this element belongs to; own what is appended.
  void addToSequentialEnd(ZuBNFElement* element);
  void addToAlternationEnd(ZuBNFElement* element);

 private:
  template <class T>
  static int get(T* link, T** found) {
    *found = link;
    return link ? 0 : 1;
  }

  int bracket = kNoBracket;
  int closure = kOnce;
  short tokenType = tokenNone;
  int literal = 0;
  unsigned char* tokenString = nullptr;  // owned
  ZuBNFElement* prevAlternation = nullptr;
  ZuBNFElement* nextAlternation = nullptr;
  ZuBNFElement* prevSequential = nullptr;
  ZuBNFElement* nextSequential = nullptr;
  ZuBNFElement* contains = nullptr;
  ZuBNFElement* containedBy = nullptr;
  ZuProduction* nonTerminal = nullptr;  // not owned
};

// One production: its name and number, what was read, and its part of the table.
class ZU_API ZuProduction : public ZuObject {
 public:
  ZuProduction();
  ZuProduction(const ZuProduction&) = delete;
  ZuProduction& operator=(const ZuProduction&) = delete;
  // Deletes the productions after it, too.
  ~ZuProduction() override;

  const unsigned char* getName() const { return name; }
  int setName(const unsigned char* text);  // 1 if allocation fails
  short getNumber() const { return number; }
  void setNumber(short n) { number = n; }
  ZuBNFElement* getCompiledProduction() const { return compiledProduction; }
  void setCompiledProduction(ZuBNFElement* owned) { compiledProduction = owned; }
  const ZuTokenNode* getFirstList() const { return firstList; }
  ZuProduction* getNextProduction() const { return nextProduction; }
  void setNextProduction(ZuProduction* owned) { nextProduction = owned; }
  // Null if its allocation failed.
  ZuParseState* getParseTop() const { return parseTop; }
  // Numbers the states, the first with `*next`, which becomes the number after the last one. 1 if allocation
  // fails.
  int finishStates(unsigned long* next);

  // The name of a production of this number in the chain that begins here, or null.
  const unsigned char* numberToName(short wanted) const;

  // The tokens with which this production, and so each one that it can begin with, can begin. 1 if allocation
  // fails, or if the production can begin with itself.
  int calculateFirst();
  // The table of this production; the first lists of all productions are known. 1 as in processTopLevel.
  int createParseStates();

 private:
  // Adds the first tokens of an element. Stops early with `*needed` set if those of another production are
  // needed first; adding again from the beginning then adds nothing twice.
  int addFirstOfElement(const ZuBNFElement* element, ZuProduction** needed);
  int addFirst(short type, const unsigned char* text);
  int addFirst(const ZuTokenNode* list);

  enum class First { Unknown, Pending, Known };

  unsigned char* name = nullptr;  // owned
  short number = 0;
  ZuBNFElement* compiledProduction = nullptr;
  ZuTokenNode* firstList = nullptr;
  ZuProduction* nextProduction = nullptr;
  ZuParseState* parseTop;  // first in the chain of all states
  First first = First::Unknown;
  ZuProduction* waiting = nullptr;  // the production that waits for this one's first list
};

#endif
