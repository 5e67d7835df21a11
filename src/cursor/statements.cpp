// The entry points that carry SQL text and parameters to the statement analyser.

#include "cursor/cursorlib.h"
#include "cursor/internal/bindinfo.h"
#include "cursor/internal/forward.h"
#include "cursor/internal/guard.h"
#include "cursor/internal/stmtresources.h"

namespace {

// The parameter attributes are kept in the descriptors' headers when they are set; the driver hears of
// them here, before the next execution.
SQLRETURN applyParameterArray(DMStmt* stmt) {
  DMDesc& apd = *stmt->apd;
  DMDesc& ipd = *stmt->ipd;
  if (!((apd.headerChanged | ipd.headerChanged) & CL_HEADER_CHANGED)) return SQL_SUCCESS;
  // The processed pointer is set on the application's descriptor by the attribute, on the other by a
  // descriptor call.
  SQLULEN* processed = apd.rowsProcessedPtr ? apd.rowsProcessedPtr : ipd.rowsProcessedPtr;
  SQLRETURN rc = parserOf(stmt).paramOptions(apd.arraySize, processed);
  // A driver without parameter arrays still runs a single set.
  if (clFailed(rc) && (apd.arraySize != 1 || processed)) return rc;

  const struct {
    SQLINTEGER attribute;
    SQLPOINTER value;
  } pointers[] = {{SQL_ATTR_PARAM_BIND_OFFSET_PTR, apd.bindOffsetPtr},
                  {SQL_ATTR_PARAM_OPERATION_PTR, apd.arrayStatusPtr},
                  {SQL_ATTR_PARAM_STATUS_PTR, ipd.arrayStatusPtr}};
  for (const auto& pointer : pointers) {
    if (stmt->conn->driverVersion < CL_VERSION_3) break;
    rc = CursorLibSetOneStmtAttr(stmt, pointer.attribute, pointer.value, SQL_IS_POINTER);
    if (clFailed(rc) && pointer.value) return rc;
  }
  apd.headerChanged &= ~CL_HEADER_CHANGED;
  ipd.headerChanged &= ~CL_HEADER_CHANGED;
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
    SQLRETURN rc = applyParameterArray(stmt);
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
    SQLRETURN rc = applyParameterArray(stmt);
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
