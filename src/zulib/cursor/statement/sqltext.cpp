#include "zulib/cursor/statement/sqltext.h"

#include <cstring>

namespace {

constexpr char kParamString[] = " = ? AND";
constexpr char kNullPredicate[] = " IS NULL AND";
constexpr char kSearchHead[] = "WHERE ";
constexpr SQLULEN kSearchHeadLength = sizeof kSearchHead - 1;
constexpr SQLULEN kLongestPredicateTail = sizeof kNullPredicate;  // with a blank
constexpr SQLLEN kLastJoint = sizeof " AND " - 1;
constexpr SQLULEN kRoomAfterText = 2;  // one added byte and the terminator

}  // namespace

void SqlText::assign(const char* sql, SQLLEN length) {
  if (!sql) sql = "", length = 0;
  if (length < 0) length = static_cast<SQLLEN>(std::strlen(sql));  // SQL_NTS
  textRoom = static_cast<SQLULEN>(length) + kRoomAfterText;
  text.reset(static_cast<char*>(clAllocZ(textRoom)));
  std::memcpy(text.get(), sql, static_cast<std::size_t>(length));
  textLength = length;
}

void SqlText::setStmtType() {
  TOKEN token;
  getToken(text.get(), &token);
  type = isWord(token, Keyword::Select)   ? Select
         : isWord(token, Keyword::Update) ? Update
         : isWord(token, Keyword::Delete) ? Delete
         : isWord(token, Keyword::Insert) ? Insert
         : isWord(token, Keyword::Create) ? Create
                                          : Unknown;
}

SqlText::Form SqlText::findCursorName() {
  TOKEN token;
  char* at = text.get();
  do {
    at = getToken(at, &token);
    if (token.type == TOKEN::End) return Form::Searched;
    if (token.type == TOKEN::Parameter) ++paramCount;
  } while (!isWord(token, Keyword::Where));
  whereOffset = static_cast<SQLULEN>(token.start - text.get());
  at = getToken(at, &token);
  if (!isWord(token, Keyword::Current)) return Form::Searched;
  at = getToken(at, &token);
  if (!isWord(token, Keyword::Of)) return Form::Searched;
  TOKEN name;
  at = getToken(at, &name);
  if (name.type != TOKEN::Word) return Form::Searched;
  getToken(at, &token);
  if (token.type != TOKEN::End) return Form::Malformed;
  const auto length = static_cast<std::size_t>(name.length);
  cursorName.reset(static_cast<char*>(clAllocZ(length + 1)));
  std::memcpy(cursorName.get(), name.start, length);
  return Form::Positioned;
}

void SqlText::analyzeSelect() {
  TOKEN token;
  char* const at = walkToSearch(&token);
  whereOffset = static_cast<SQLULEN>(token.start - text.get());
  if (token.type != TOKEN::End) {
    walkAfterSearch(&token, at);
    return;
  }
  // The blank separates the text from a WHERE after it.
  text.get()[whereOffset++] = ' ';
  text.get()[whereOffset] = '\0';
  textLength = static_cast<SQLLEN>(whereOffset);
}

// Over the select list and the tables, to the word before which a WHERE clause has its place, or to the end.
char* SqlText::walkToSearch(TOKEN* token) {
  constexpr Keyword kStops[] = {Keyword::Where, Keyword::Order, Keyword::Group,
                                Keyword::Union, Keyword::For,   Keyword::Having};
  char* at = text.get();
  for (;;) {
    at = getToken(at, token);
    if (token->type == TOKEN::End) return at;
    for (const Keyword stop : kStops)
      if (isWord(*token, stop)) return at;
    // A comma before FROM separates columns, after it tables.
    if (isWord(*token, Keyword::From)) joinFlag = false;
    if (isWord(*token, Keyword::Oj) && isOuterJoinEscape(*token)) joinFlag = true;
    if (token->type == TOKEN::Other && token->length == 1 && *token->start == ',') joinFlag = true;
  }
}

bool SqlText::isOuterJoinEscape(const TOKEN& token) const {
  const char* before = token.start;
  while (before != text.get() && isBlank(before[-1])) --before;
  return before != text.get() && (before[-1] == ')' || before[-1] == '{');
}

// From the word that ended the first walk to the end.
void SqlText::walkAfterSearch(TOKEN* token, char* at) {
  while (token->type != TOKEN::End) {
    TOKEN next;
    char* const after = getToken(at, &next);
    if (isWord(*token, Keyword::Group) && isWord(next, Keyword::By)) groupBy = true;
    if (isWord(*token, Keyword::For) && isWord(next, Keyword::Update)) {
      *token->start = '\0';
      textLength = token->start - text.get();
      return;
    }
    *token = next;
    at = after;
  }
}

void SqlText::reserve(SQLULEN size) {
  if (size <= textRoom) return;
  char* const resized = static_cast<char*>(clResize(text.get(), size));
  static_cast<void>(text.release());
  text.reset(resized);
  textRoom = size;
}

void SqlText::openSearch(SQLULEN predicates, SQLULEN nameSize) {
  const SQLULEN each = nameSize + kLongestPredicateTail;
  reserve(whereOffset + kSearchHeadLength + 1 + each * predicates);
  std::memcpy(text.get() + whereOffset, kSearchHead, sizeof kSearchHead);
  textLength = static_cast<SQLLEN>(whereOffset + kSearchHeadLength);
}

void SqlText::beginPredicates() { position = text.get() + whereOffset + kSearchHeadLength; }

void SqlText::appendPredicate(const char* name, bool isNull) {
  position = stpcpy(stpcpy(stpcpy(position, name), isNull ? kNullPredicate : kParamString), " ");
}

bool SqlText::closePredicates() {
  if (position == text.get() + whereOffset + kSearchHeadLength) return false;
  position -= kLastJoint;
  *position = '\0';
  textLength = position - text.get();
  return true;
}
