// The entry points that carry SQL text and parameters to the statement analyser.

#include "zulib/cursor/entry/bindinfo.h"
#include "zulib/cursor/entry/cursorlib.h"
#include "zulib/cursor/entry/forward.h"
#include "zulib/cursor/entry/guard.h"
#include "zulib/cursor/entry/stmtresources.h"

namespace {

// The size of a parameter array that was set as an attribute stands in the descriptor's header, from where
// the driver manager takes it to the driver. The analyser has to know it too: a positioned statement takes
// a single set.
SQLRETURN tellParamsetSize(DMStmt* stmt, SqlParser& parser) {
  DMDesc& apd = *stmt->apd;
  if (!(apd.headerChanged & CL_HEADER_CHANGED)) return SQL_SUCCESS;
  // The attribute sets the pointer on the application's descriptor, a descriptor call on the other.
  SQLULEN* processed = apd.rowsProcessedPtr ? apd.rowsProcessedPtr : stmt->ipd->rowsProcessedPtr;
  SQLRETURN rc = parser.paramOptions(apd.arraySize, processed);
  if (clFailed(rc) && apd.arraySize != 1) return rc;  // any driver runs a single set
  if (stmt->conn->driverVersion < CL_VERSION_3) apd.headerChanged &= ~CL_HEADER_CHANGED;
  return SQL_SUCCESS;
}

// `work` with the statement's analyser, which a statement has from its first text on.
template <class Work>
SQLRETURN withParser(DMStmt* stmt, Work work) {
  return guarded(stmt, [&] {
    if (!stmt->parser) throw ODBCException(stmt, clmsg::NoStatementText);
    return work(*stmt->parser);
  });
}

// `work` with the analyser of a new text.
template <class Work>
SQLRETURN withText(DMStmt* stmt, const SQLCHAR* sql, Work work) {
  if (!sql) return clError(stmt, clmsg::NullArgument);
  return guarded(stmt, [&] {
    SqlParser& parser = parserOf(stmt);
    SQLRETURN rc = tellParamsetSize(stmt, parser);
    return clFailed(rc) ? rc : work(parser);
  });
}

// A statement of the library's own for a text that belongs to a connection only.
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
    SQLRETURN rc = tellParamsetSize(stmt, parser);
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
  // Without an analyser this answers the number of result columns. That is meant: callers rely on it.
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
      conn->RetrieveDriverErrorsRowCol(conn, 1, -2, -2);
      // The statement that the error was thrown for has just gone.
      if (error.IsKindOf(ODBCException::className())) static_cast<ODBCException&>(error).handle = conn;
      throw;
    }
  });
}
