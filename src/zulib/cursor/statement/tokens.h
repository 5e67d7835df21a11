// The words that the analyser knows.

#ifndef ZULIB_CURSOR_INTERNAL_TOKENS_H
#define ZULIB_CURSOR_INTERNAL_TOKENS_H

#include "zulib/cursor/statement/parser.h"

// In the order of the table in tokens.cpp.
enum class Keyword {
  By,
  Create,
  Current,
  Delete,
  Distinct,
  For,
  From,
  Group,
  Having,
  Insert,
  Of,
  Oj,
  Order,
  Select,
  Set,
  Union,
  Update,
  Where
};

// The token is this word, in any case.
bool isWord(const TOKEN& token, Keyword keyword);

bool isBlank(char c);

#endif
