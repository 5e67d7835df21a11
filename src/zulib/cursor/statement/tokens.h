// The tokens of an SQL statement: enough of the language to skip quoted text and groups, and to see the words
// between them.

#ifndef ZULIB_CURSOR_STATEMENT_TOKENS_H
#define ZULIB_CURSOR_STATEMENT_TOKENS_H

#include <sql.h>

struct TOKEN {
  enum Type { Word = 1, Parameter = 2, Group = 3, Quoted = 4, End = 5, Other = 6 };
  Type type;
  char* start;  // into the text
  SQLLEN length;
};

// The words that SqlParser looks for, by their place in the table in tokens.cpp.
enum class Keyword {
  By,
  Create,
  Current,
  Delete,
  For = 5,
  From,
  Group,
  Having,
  Insert,
  Of,
  Oj,
  Order,
  Select,
  Union = 15,
  Update,
  Where
};

// Reads the token at `position` of a null-terminated text. `identifierQuote` begins quoted text besides ' and
// ". Returns the position after the token.
char* readToken(char* position, char identifierQuote, TOKEN* token);

// True if the token is this word, in any case.
bool isWord(const TOKEN& token, Keyword keyword);

bool isBlank(char c);

#endif
