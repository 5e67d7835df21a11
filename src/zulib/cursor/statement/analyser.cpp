// SqlParser: the analysis of a statement. Its kind, the cursor that a positioned statement refers to, and
// the place of a select's WHERE clause.

#include <strings.h>
#include <algorithm>
#include <climits>
#include <cstring>

#include "zulib/cursor/entry/forward.h"
#include "zulib/cursor/entry/queue.h"
#include "zulib/cursor/rows/cursor.h"
#include "zulib/cursor/statement/parser.h"
#include "zulib/cursor/statement/tokens.h"

namespace {

constexpr SQLULEN ROOM_BEHIND_TEXT = 2;  // one added byte and the terminator

// A statement without a cursor name is no obstacle to the search for one.
bool hasNoCursorName(DMStmt* statement) {
  return clQueued(statement, u"HY015") || clQueued(statement, u"HY010") || clQueued(statement, u"S1010") ||
         clQueued(statement, u"S1015");
}

}  // namespace

void SqlParser::setStmtType() {
  TOKEN token;
  getToken(text, &token);
  stmtType = isWord(token, Keyword::Select)   ? Select
             : isWord(token, Keyword::Update) ? Update
             : isWord(token, Keyword::Delete) ? Delete
             : isWord(token, Keyword::Insert) ? Insert
             : isWord(token, Keyword::Create) ? Create
                                              : Unknown;
}

void SqlParser::copyText(const char* sql, SQLLEN length) {
  if (!sql) sql = "", length = 0;
  if (length < 0) length = static_cast<SQLLEN>(std::strlen(sql));  // SQL_NTS
  textRoom = static_cast<SQLULEN>(length) + ROOM_BEHIND_TEXT;
  text = static_cast<char*>(clAllocZ(textRoom));
  std::memcpy(text, sql, static_cast<std::size_t>(length));
  textLength = length;
}

void SqlParser::analyzeSql(char* sql, SQLLEN length) {
  if (state != New) return;
  stopIfCancelled();
  state = Analysing;
  if (stmt->cursorType == SQL_CURSOR_FORWARD_ONLY && stmt->concurrency != SQL_CONCUR_READ_ONLY)
    throw ODBCException(stmt, clmsg::NotSupported);
  copyText(sql, length);
  setStmtType();
  if ((stmtType == Update || stmtType == Delete) && getCursor()) {
    checkTarget();
    if (stmtType == Update) {
      makeUpdateStmt();
    } else {
      makeDeleteStmt();
    }
  }
  if (stmtType == Select) analyzeSelect();
  stopIfCancelled();
  state = Analysed;
}

void SqlParser::checkTarget() const {
  if (target->getConcurrency() == SQL_CONCUR_READ_ONLY)
    throw ODBCException(stmt, clmsg::PositionedStatementInvalid);
  if (paramsetSize != 1) throw ODBCException(stmt, clmsg::ParameterArrays);
}

// 1 when the statement is positioned; `target` is its cursor then.
int SqlParser::getCursor() {
  target = nullptr;
  TOKEN name;
  if (!findPositionedName(&name)) return 0;
  const auto length = static_cast<std::size_t>(name.length);
  targetName = static_cast<char*>(clAllocZ(length + 1));
  std::memcpy(targetName, name.start, length);
  findTarget();
  return 1;
}

// Looks for WHERE CURRENT OF name, counts the parameters before it, and ends the text behind the name.
bool SqlParser::findPositionedName(TOKEN* name) {
  TOKEN token;
  char* position = text;
  do {
    position = getToken(position, &token);
    if (token.type == TOKEN::End) return false;
    if (token.type == TOKEN::Parameter) ++paramCount;
  } while (!isWord(token, Keyword::Where));
  whereOffset = static_cast<SQLULEN>(token.start - text);
  position = getToken(position, &token);
  if (!isWord(token, Keyword::Current)) return false;
  position = getToken(position, &token);
  if (!isWord(token, Keyword::Of)) return false;
  position = getToken(position, name);
  if (name->type != TOKEN::Word) return false;
  getToken(position, &token);
  if (token.type != TOKEN::End) throw ODBCException(stmt, clmsg::PositionedStatementInvalid);
  name->start[name->length] = '\0';
  return true;
}

// Finds the cursor called `targetName` among the statements of the connection.
void SqlParser::findTarget() {
  SQLRETURN rc = SQL_SUCCESS;
  FwdCursor* cursor = cursorNamed(targetName, &rc);
  if (clFailed(rc)) throw RCException(rc);
  stmt->VFreeErrors();
  if (!cursor) throw ODBCException(stmt, clmsg::CursorNameNotFound);
  if (!cursor->IsKindOf(ScrollCursor::className()))
    throw ODBCException(stmt, clmsg::PositionedStatementInvalid);
  target = static_cast<ScrollCursor*>(cursor);
}

FwdCursor* SqlParser::cursorNamed(const char* name, SQLRETURN* rc) {
  const auto room = static_cast<SQLSMALLINT>(std::min<int>(cursorNameLength + 3, SHRT_MAX));
  ClBlock<char> buffer(static_cast<char*>(clAllocZ(static_cast<std::size_t>(room) + 1)));
  for (DMStmt* other = conn->GetFirstStmtFromDbcList(); other; other = conn->GetNextStmtFromDbcList(other)) {
    *rc = cursorNameOf(other, buffer.get(), room);
    if (*rc == SQL_ERROR) return nullptr;
    if (sameName(buffer.get(), name)) return other->cursor;
  }
  return nullptr;
}

// An empty name for a statement that has none.
SQLRETURN SqlParser::cursorNameOf(DMStmt* statement, char* name, SQLSMALLINT size) {
  SQLSMALLINT length = 0;
  name[0] = '\0';
  conn->inCursorName = 1;
  const SQLRETURN rc = SQLGetCursorName(statement, reinterpret_cast<SQLCHAR*>(name), size, &length);
  conn->inCursorName = 0;
  if (!clFailed(rc)) return rc;
  name[0] = '\0';
  if (hasNoCursorName(statement)) return SQL_SUCCESS;
  statement->RetrieveDriverErrorsRowCol(statement, 1, -2, -2);
  return rc;
}

bool SqlParser::sameName(const char* a, const char* b) const {
  return (conn->caseSensitiveIdentifiers ? std::strcmp(a, b) : strcasecmp(a, b)) == 0;
}

void SqlParser::analyzeSelect() {
  TOKEN token;
  char* position = walkToSearch(&token);
  whereOffset = static_cast<SQLULEN>(token.start - text);
  if (token.type == TOKEN::End) {
    // The blank parts the text from a WHERE behind it.
    text[whereOffset++] = ' ';
    text[whereOffset] = '\0';
    textLength = static_cast<SQLLEN>(whereOffset);
    return;
  }
  walkBehindSearch(&token, position);
}

// Over the select list and the tables, to the word before which a WHERE clause has its place, or to the end.
char* SqlParser::walkToSearch(TOKEN* token) {
  constexpr Keyword stops[] = {Keyword::Where, Keyword::Order, Keyword::Group,
                               Keyword::Union, Keyword::For,   Keyword::Having};
  char* position = text;
  for (;;) {
    position = getToken(position, token);
    if (token->type == TOKEN::End) return position;
    for (const Keyword stop : stops)
      if (isWord(*token, stop)) return position;
    // A comma before FROM parts columns, behind it tables.
    if (isWord(*token, Keyword::From)) joinFlag = false;
    if (isWord(*token, Keyword::Oj) && isOuterJoinEscape(*token)) joinFlag = true;
    if (token->type == TOKEN::Other && token->length == 1 && *token->start == ',') joinFlag = true;
  }
}

bool SqlParser::isOuterJoinEscape(const TOKEN& token) const {
  const char* before = token.start;
  while (before != text && isBlank(before[-1])) --before;
  return before != text && (before[-1] == ')' || before[-1] == '{');
}

// From the word that ended the first walk to the end. FOR UPDATE and what follows is cut off: it never
// reaches the driver.
void SqlParser::walkBehindSearch(TOKEN* token, char* position) {
  while (token->type != TOKEN::End) {
    TOKEN next;
    char* const behind = getToken(position, &next);
    if (isWord(*token, Keyword::Group) && isWord(next, Keyword::By)) groupBy = true;
    if (isWord(*token, Keyword::For) && isWord(next, Keyword::Update)) {
      *token->start = '\0';
      textLength = token->start - text;
      return;
    }
    *token = next;
    position = behind;
  }
}
