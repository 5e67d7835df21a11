#include "zulib/cursor/statement/tokens.h"

#include <strings.h>
#include <cctype>
#include <cstring>
#include <iterator>

namespace {

struct KeywordEntry {
  char text[12];
  unsigned length;
};

// DISTINCT and SET are known, and no rule looks for them.
constexpr KeywordEntry kKeywords[] = {
    {"BY", 2},    {"CREATE", 6}, {"CURRENT", 7}, {"DELETE", 6}, {"DISTINCT", 8}, {"FOR", 3},
    {"FROM", 4},  {"GROUP", 5},  {"HAVING", 6},  {"INSERT", 6}, {"OF", 2},       {"OJ", 2},
    {"ORDER", 5}, {"SELECT", 6}, {"SET", 3},     {"UNION", 5},  {"UPDATE", 6},   {"WHERE", 5},
};
static_assert(std::size(kKeywords) == static_cast<std::size_t>(Keyword::Where) + 1);

constexpr char kDelimiters[] = "<>.,%*/-+^=\"'?(){} \t\n\r";

// The terminating zero is one, too.
bool isDelimiter(char c) { return std::strchr(kDelimiters, c) != nullptr; }

bool IsCharAlpha(char c) { return c == '_' || std::isalpha(static_cast<unsigned char>(c)); }

SQLLEN lengthToDelimiter(const char* start) {
  const char* end = start + 1;
  while (!isDelimiter(*end)) ++end;
  return end - start;
}

// Includes the closing quote; a doubled quote is one inside the text. Unclosed text extends to the end.
SQLLEN quotedLength(const char* start) {
  const char quote = *start;
  const char* end = start + 1;
  while (*end) {
    if (*end++ != quote) continue;
    if (*end != quote) break;
    ++end;
  }
  return end - start;
}

// To the closing parenthesis, by depth alone. Kept: quotes inside are not looked at.
SQLLEN groupLength(const char* start) {
  if (start[1] == '*' || start[1] == '\0') return 1;
  const char* end = start;
  int depth = 0;
  do {
    if (*end == '(') ++depth;
    if (*end == ')') --depth;
    ++end;
  } while (depth > 0 && *end);
  return end - start;
}

}  // namespace

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

bool isWord(const TOKEN& token, Keyword keyword) {
  const KeywordEntry& entry = kKeywords[static_cast<int>(keyword)];
  return token.type == TOKEN::Word && token.length == static_cast<SQLLEN>(entry.length) &&
         strncasecmp(token.start, entry.text, entry.length) == 0;
}

char* readToken(char* position, char identifierQuote, TOKEN* token) {
  while (isBlank(*position)) ++position;
  const char c = *position;
  token->start = position;
  token->length = 1;
  if (c == '\0') {
    token->type = TOKEN::End;
    token->length = 0;
  } else if (IsCharAlpha(c)) {
    token->type = TOKEN::Word;
    token->length = lengthToDelimiter(position);
  } else if (c == '?') {
    token->type = TOKEN::Parameter;
  } else if (c == '\'' || c == '"' || c == identifierQuote) {
    token->type = TOKEN::Quoted;
    token->length = quotedLength(position);
  } else if (c == '(') {
    token->type = TOKEN::Group;
    token->length = groupLength(position);
  } else {
    token->type = TOKEN::Other;
    if (!isDelimiter(c)) token->length = lengthToDelimiter(position);
  }
  return position + token->length;
}
