// The entry points that pass SQL text and parameters to the statement's SqlParser.

#include "zulib/cursor/entry/cursorlib.h"
#include "zulib/cursor/entry/guard.h"
#include "zulib/cursor/entry/resources.h"
#include "zulib/cursor/internal/bindings.h"
#include "zulib/cursor/internal/forward.h"

namespace {

// The size of a parameter array that was set as an attribute is in the descriptor's header, from where the
// driver manager passes it to the driver. SqlParser needs it too: a positioned statement takes a single set.
SQLRETURN tellParamsetSize(DMStmt* stmt, SqlParser& parser) {
  DMDesc& apd = *stmt->apd;
  if (!(apd.headerChanged & kHeaderChanged)) return SQL_SUCCESS;
  // The attribute sets the pointer on the application's descriptor, a descriptor call on the other.
  SQLULEN* processed = apd.rowsProcessedPtr ? apd.rowsProcessedPtr : stmt->ipd->rowsProcessedPtr;
  const SQLRETURN rc = parser.paramOptions(apd.arraySize, processed);
  if (clFailed(rc) && apd.arraySize != 1) return rc;  // any driver runs a single set
  if (!isVersion3Driver(stmt->conn)) apd.headerChanged &= ~kHeaderChanged;
  return SQL_SUCCESS;
}

// Runs `work` with the statement's SqlParser, which a statement has from its first text on.
template <class Work>
SQLRETURN withParser(DMStmt* stmt, Work work) {
  return guarded(stmt, [&] {
    if (!stmt->parser) throw ODBCException(stmt, clmsg::NoStatementText);
    return work(*stmt->parser);
  });
}

// Runs `work` with the SqlParser for a new text.
template <class Work>
SQLRETURN withText(DMStmt* stmt, const SQLCHAR* sql, Work work) {
  if (!sql) return clError(stmt, clmsg::NullArgument);
  return guarded(stmt, [&] {
    SqlParser& parser = parserOf(stmt);
    const SQLRETURN rc = tellParamsetSize(stmt, parser);
    return clFailed(rc) ? rc : work(parser);
  });
}

// A statement of the library's own, for a text that belongs to a connection only. It has no driver side.
class TemporaryStatement {
 public:
  explicit TemporaryStatement(DMConn* conn) : stmt(conn) {}
  TemporaryStatement(const TemporaryStatement&) = delete;
  TemporaryStatement& operator=(const TemporaryStatement&) = delete;
  ~TemporaryStatement() { deleteParser(&stmt); }

  SQLRETURN nativeSql(SQLCHAR* sql, SQLINTEGER length, SQLCHAR* out, SQLINTEGER outMax,
                      SQLINTEGER* outLength) {
    stmt.ofCursorLibrary = 1;
    if (!stmt.SetupHandleList(nullptr)) throw CMemoryException();
    return parserOf(&stmt).nativeSql(reinterpret_cast<char*>(sql), length, reinterpret_cast<char*>(out),
                                     outMax, outLength);
  }

 private:
  DMStmt stmt;
};

}  // namespace

SQLRETURN CLExecDirect(SQLHSTMT handle, SQLCHAR* sql, SQLINTEGER length) {
  return withText(static_cast<DMStmt*>(handle), sql,
                  [&](SqlParser& parser) { return parser.execDirect(reinterpret_cast<char*>(sql), length); });
}

SQLRETURN CLPrepare(SQLHSTMT handle, SQLCHAR* sql, SQLINTEGER length) {
  return withText(static_cast<DMStmt*>(handle), sql,
                  [&](SqlParser& parser) { return parser.prepare(reinterpret_cast<char*>(sql), length); });
}

SQLRETURN CLExecute(SQLHSTMT handle) {
  auto* stmt = static_cast<DMStmt*>(handle);
  return withParser(stmt, [&](SqlParser& parser) {
    const SQLRETURN rc = tellParamsetSize(stmt, parser);
    return clFailed(rc) ? rc : parser.execute();
  });
}

SQLRETURN CLParamData(SQLHSTMT handle, SQLPOINTER* value) {
  return withParser(static_cast<DMStmt*>(handle), [&](SqlParser& parser) { return parser.paramData(value); });
}

SQLRETURN CLPutData(SQLHSTMT handle, SQLPOINTER value, SQLLEN length) {
  return withParser(static_cast<DMStmt*>(handle),
                    [&](SqlParser& parser) { return parser.putData(value, length); });
}

SQLRETURN CLParamOptions(SQLHSTMT handle, SQLULEN rows, SQLULEN* rowPtr) {
  auto* stmt = static_cast<DMStmt*>(handle);
  return guarded(stmt, [&] { return parserOf(stmt).paramOptions(rows, rowPtr); });
}

SQLRETURN CLNumParams(SQLHSTMT handle, SQLSMALLINT* count) {
  auto* stmt = static_cast<DMStmt*>(handle);
  // Kept, callers rely on it: without a SqlParser this is the number of result columns.
  if (!stmt->parser) return CursorLibNumResultCols(stmt, count);
  return withParser(stmt, [&](SqlParser& parser) { return parser.numParams(count); });
}

SQLRETURN CLNativeSql(SQLHDBC handle, SQLCHAR* sql, SQLINTEGER length, SQLCHAR* out, SQLINTEGER outMax,
                      SQLINTEGER* outLength) {
  auto* conn = static_cast<DMConn*>(handle);
  if (!sql) return clError(conn, clmsg::NullArgument);
  return guarded(conn, [&] {
    try {
      return TemporaryStatement(conn).nativeSql(sql, length, out, outMax, outLength);
    } catch (RCException& error) {
      clMoveErrors(conn, conn);
      // The statement that the error was thrown for no longer exists.
      if (error.IsKindOf(ODBCException::className())) static_cast<ODBCException&>(error).handle = conn;
      throw;
    }
  });
}
