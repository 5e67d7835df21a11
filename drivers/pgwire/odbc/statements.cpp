// Preparing, executing, cancelling, and the names of cursors.

#include <algorithm>
#include <cstdio>

#include "odbc/entry.h"
#include "odbc/execute.h"
#include "odbc/parameters.h"
#include "odbc/text.h"

namespace pgwire {

namespace {

template <class Char>
SQLRETURN prepare(SQLHSTMT handle, Char* sql, SQLINTEGER length) {
  return enter<Statement>(handle, [&](Statement& stmt) {
    if (stmt.stage == Stage::Cursor) return codeOf(fail(Issue::CursorOpen));
    const TextArgument<Char> text(stmt.conn.codePage, sql, length);
    if (text.hasFailed() || prepareText(stmt, text.view())) return codeOf(1);
    stmt.isPrepared = true;
    stmt.stage = Stage::Prepared;
    return codeOf(0);
  });
}

template <class Char>
SQLRETURN executeDirect(SQLHSTMT handle, Char* sql, SQLINTEGER length) {
  return enter<Statement>(handle, [&](Statement& stmt) {
    if (stmt.stage == Stage::Cursor) return codeOf(fail(Issue::CursorOpen));
    const TextArgument<Char> text(stmt.conn.codePage, sql, length);
    if (text.hasFailed() || prepareText(stmt, text.view())) return codeOf(1);
    return execute(stmt);
  });
}

template <class Char>
SQLRETURN nativeSql(SQLHDBC handle, Char* sql, SQLINTEGER length, Char* out, SQLINTEGER size,
                    SQLINTEGER* needed) {
  return enter<Connection>(handle, [&](Connection& conn) {
    const TextArgument<Char> text(conn.codePage, sql, length);
    Translation translated;
    TranslateOptions options;
    options.standardStrings = conn.session.standardStrings;
    return codeOf(text.hasFailed() || translate(text.view(), options, translated) ||
                  giveText(conn.codePage, translated.sql.view(), out, size, needed));
  });
}

bool isNameTaken(const Statement& stmt, std::string_view name) {
  return std::any_of(stmt.conn.statements.begin(), stmt.conn.statements.end(), [&](const Statement* other) {
    return other != &stmt && other->cursorName.view() == name;
  });
}

template <class Char>
SQLRETURN setCursorName(SQLHSTMT handle, Char* name, SQLSMALLINT length) {
  return enter<Statement>(handle, [&](Statement& stmt) {
    const TextArgument<Char> text(stmt.conn.codePage, name, length);
    if (text.hasFailed()) return codeOf(1);
    if (text.view().empty() || text.view().starts_with("SQL_CUR")) return codeOf(fail(Issue::BadCursorName));
    if (isNameTaken(stmt, text.view())) return codeOf(fail(Issue::DuplicateCursorName));
    return codeOf(stmt.cursorName.assign(text.view()));
  });
}

template <class Char>
SQLRETURN getCursorName(SQLHSTMT handle, Char* name, SQLSMALLINT size, SQLSMALLINT* length) {
  return enter<Statement>(handle, [&](Statement& stmt) {
    if (stmt.cursorName.empty()) {
      char made[24];
      const int n = std::snprintf(made, sizeof made, "SQL_CUR%u", ++stmt.conn.nextName);
      if (stmt.cursorName.assign({made, static_cast<std::size_t>(n)})) return codeOf(1);
    }
    return codeOf(giveText(stmt.conn.codePage, stmt.cursorName.view(), name, size, length));
  });
}

// Between calls there is only data at execution to give up. During a call of another thread the server is
// asked to stop: that thread reports how it ended.
SQLRETURN cancel(Statement& stmt) {
  if (stmt.lock().try_lock()) {
    const std::lock_guard<std::mutex> holder(stmt.lock(), std::adopt_lock);
    DiagnosticScope scope(stmt);
    if (stmt.stage == Stage::NeedData) {
      stmt.putStream.reset();
      stmt.stage = stmt.isPrepared ? Stage::Prepared : Stage::Allocated;
    }
    return scope.finish(SQL_SUCCESS);
  }
  // The handle's own list is the other thread's.
  DiagnosticList scratch;
  ZuErrorKeeper::setErrorList(&scratch);
  const SQLRETURN code = codeOf(stmt.conn.session.cancel());
  if (ZuErrorKeeper::getErrorList() == &scratch) ZuErrorKeeper::giveUpErrorList();
  return code;
}

}  // namespace

}  // namespace pgwire

using namespace pgwire;

extern "C" {

SQLRETURN SQL_API SQLPrepare(SQLHSTMT handle, SQLCHAR* sql, SQLINTEGER length) {
  return prepare(handle, sql, length);
}
SQLRETURN SQL_API SQLPrepareW(SQLHSTMT handle, SQLWCHAR* sql, SQLINTEGER length) {
  return prepare(handle, sql, length);
}

SQLRETURN SQL_API SQLExecDirect(SQLHSTMT handle, SQLCHAR* sql, SQLINTEGER length) {
  return executeDirect(handle, sql, length);
}
SQLRETURN SQL_API SQLExecDirectW(SQLHSTMT handle, SQLWCHAR* sql, SQLINTEGER length) {
  return executeDirect(handle, sql, length);
}

SQLRETURN SQL_API SQLExecute(SQLHSTMT handle) {
  return enter<Statement>(handle, [](Statement& stmt) -> SQLRETURN {
    if (!stmt.isPrepared || stmt.stage == Stage::NeedData) return codeOf(fail(Issue::BadSequence));
    if (stmt.stage == Stage::Cursor) return codeOf(fail(Issue::CursorOpen));
    return execute(stmt);
  });
}

SQLRETURN SQL_API SQLNativeSql(SQLHDBC handle, SQLCHAR* sql, SQLINTEGER length, SQLCHAR* out, SQLINTEGER size,
                               SQLINTEGER* needed) {
  return nativeSql(handle, sql, length, out, size, needed);
}
SQLRETURN SQL_API SQLNativeSqlW(SQLHDBC handle, SQLWCHAR* sql, SQLINTEGER length, SQLWCHAR* out,
                                SQLINTEGER size, SQLINTEGER* needed) {
  return nativeSql(handle, sql, length, out, size, needed);
}

SQLRETURN SQL_API SQLSetCursorName(SQLHSTMT handle, SQLCHAR* name, SQLSMALLINT length) {
  return setCursorName(handle, name, length);
}
SQLRETURN SQL_API SQLSetCursorNameW(SQLHSTMT handle, SQLWCHAR* name, SQLSMALLINT length) {
  return setCursorName(handle, name, length);
}

SQLRETURN SQL_API SQLGetCursorName(SQLHSTMT handle, SQLCHAR* name, SQLSMALLINT size, SQLSMALLINT* length) {
  return getCursorName(handle, name, size, length);
}
SQLRETURN SQL_API SQLGetCursorNameW(SQLHSTMT handle, SQLWCHAR* name, SQLSMALLINT size, SQLSMALLINT* length) {
  return getCursorName(handle, name, size, length);
}

SQLRETURN SQL_API SQLCancel(SQLHSTMT handle) {
  if (!handle) return SQL_INVALID_HANDLE;
  return cancel(*static_cast<Statement*>(static_cast<Handle*>(handle)));
}

}  // extern "C"
