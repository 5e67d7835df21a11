// SQLGetDiagRec, SQLGetDiagField and SQLError. They read queues and leave them alone, except that SQLError
// removes the record that it returns. None enters its handle: a call of another thread may be under way.

#include <cstring>

#include "zuodbc/call/arguments.h"
#include "zuodbc/call/crossing.h"
#include "zuodbc/call/entry.h"
#include "zuodbc/call/sqlstates.h"
#include "zuodbc/call/textfields.h"
#include "zuodbc/call/trace.h"
#include "zuodbc/dmservices.h"

using namespace dm;

namespace {

constexpr std::string_view kIsoOrigin = "ISO 9075";
constexpr std::string_view kOdbcOrigin = "ODBC 3.0";

// States of ODBC's own within classes of the ISO standard, by rising order.
constexpr const char* kOdbcSubclasses[] = {
    "01S00", "01S01", "01S02", "01S06", "01S07", "07S01", "08S01", "21S01", "21S02", "25S01", "25S02",
    "25S03", "42S01", "42S02", "42S11", "42S12", "42S21", "42S22", "HY095", "HY097", "HY098", "HY099",
    "HY100", "HY101", "HY105", "HY107", "HY109", "HY110", "HY111", "HYT00", "HYT01", "IM001", "IM002",
    "IM003", "IM004", "IM005", "IM006", "IM007", "IM008", "IM010", "IM011", "IM012",
};

std::string_view subclassOrigin(const char* sqlstate) {
  for (const char* own : kOdbcSubclasses) {
    if (std::strcmp(own, sqlstate) == 0) return kOdbcOrigin;
  }
  return kIsoOrigin;
}

std::string_view classOrigin(const char* sqlstate) {
  return std::strncmp(sqlstate, "IM", 2) == 0 ? kOdbcOrigin : kIsoOrigin;
}

using Out = TextOut<SQLSMALLINT>;

std::string_view textOf(const tagERRBUF& record) { return {record.text, record.textLength}; }

// What is told is told, also if characters of it had to be substituted.
SQLRETURN outcome(Copied copied) { return copied == Copied::Cut ? SQL_SUCCESS_WITH_INFO : SQL_SUCCESS; }

SQLRETURN tellMessage(DMHandle& handle, const tagERRBUF& record, const Out& out) {
  DMConn* conn = connectionOf(handle);
  const bool isConverted = out.form == Form::Wide || record.flags & DM_ERR_OF_WIDE;
  const CodePage own = pageOf(conn, Form::Narrow);
  const CodePage page = isConverted && record.flags & DM_ERR_UTF8 ? kUtf8 : own;
  return guardQuietly([&] { return outcome(copyText(conn, textOf(record), page, out)); });
}

// The caller holds the queue's lock.
tagERRBUF* recordAt(DMHandle& handle, SQLSMALLINT number) {
  tagERRBUF* record = handle.errorQueue;
  while (record && --number > 0) record = record->next;
  return record;
}

SQLINTEGER countRecords(DMHandle& handle) {
  const ZuCriticalSectionHolder lock(handle.queueLock);
  SQLINTEGER count = 0;
  for (const tagERRBUF* record = handle.errorQueue; record; record = record->next) ++count;
  return count;
}

// What a record says, in the three buffers that SQLGetDiagRec and SQLError share.
SQLRETURN tellRecord(DMHandle& handle, const tagERRBUF& record, const StateOut& stateOut, SQLINTEGER* native,
                     const Out& text) {
  char sqlstate[6];
  mapState(record.sqlstate, isVersion2Application(handle), sqlstate);
  copyState(sqlstate, stateOut);
  if (native) *native = record.nativeError;
  return tellMessage(handle, record, text);
}

// A text of the driver manager: `words` are ASCII, or what a wide application has given.
SQLRETURN tellText(DMHandle& handle, std::string_view words, const Out& out) {
  if (out.size < 0) return SQL_ERROR;
  DMConn* conn = connectionOf(handle);
  const CodePage page = out.form == Form::Wide ? kUtf8 : pageOf(conn, Form::Narrow);
  return guardQuietly([&] { return outcome(copyText(conn, words, page, out)); });
}

template <class Number>
SQLRETURN tellNumber(Number number, SQLPOINTER value) {
  if (value) std::memcpy(value, &number, sizeof number);
  return SQL_SUCCESS;
}

// Fields about the last call on a statement, which the driver knows.
SQLRETURN askStatementField(DMHandle& handle, SQLSMALLINT field, const Out& out) {
  if (handle.handleType != DM_STMT) return SQL_ERROR;
  auto& stmt = static_cast<DMStmt&>(handle);
  const DMDriverFunctions& driver = *stmt.conn->driverFunctions;
  SQLRETURN rc = kDriverLacksFunction;
  // Calls that have a statement to themselves do without the call lock.
  const bool enters = !stmt.conn->state->cursorLibrary;
  if (enters && !enter(stmt)) return SQL_INVALID_HANDLE;
  stmt.lock();
  if (stmt.driverHandle) {
    rc = guardQuietly([&] {
      const Crossed crossed =
          crossToDriver(stmt, DM_ENTRIES(driver, SQLGetDiagField), SQLSMALLINT{SQL_HANDLE_STMT},
                        stmt.driverHandle, SQLSMALLINT{0}, field, out);
      return crossed.sqlstate && crossed.rc == SQL_SUCCESS ? SQLRETURN(SQL_SUCCESS_WITH_INFO) : crossed.rc;
    });
  }
  if (!SQL_SUCCEEDED(rc) && stmt.driverHandle && field == SQL_DIAG_ROW_COUNT && out.buffer) {
    rc = guardQuietly(
        [&] { return ask(driver.SQLRowCount, stmt.driverHandle, static_cast<SQLLEN*>(out.buffer)); });
  }
  stmt.unlock();
  if (enters) leave(stmt);
  if (SQL_SUCCEEDED(rc)) return rc;
  switch (field) {
    case SQL_DIAG_DYNAMIC_FUNCTION: return tellText(handle, "", out);
    case SQL_DIAG_DYNAMIC_FUNCTION_CODE:
      return tellNumber<SQLINTEGER>(SQL_DIAG_UNKNOWN_STATEMENT, out.buffer);
    default: return tellNumber<SQLLEN>(0, out.buffer);
  }
}

SQLRETURN headerField(DMHandle& handle, SQLSMALLINT field, const Out& out) {
  switch (field) {
    case SQL_DIAG_NUMBER: return tellNumber<SQLINTEGER>(countRecords(handle), out.buffer);
    case SQL_DIAG_RETURNCODE:
      return tellNumber<SQLRETURN>(__atomic_load_n(&handle.lastReturn, __ATOMIC_RELAXED), out.buffer);
    default: return askStatementField(handle, field, out);
  }
}

std::string_view sourceName(DMHandle& handle) {
  DMConn* conn = connectionOf(handle);
  return conn && conn->state ? std::string_view(conn->state->dataSource) : std::string_view();
}

SQLRETURN recordField(DMHandle& handle, const tagERRBUF& record, SQLSMALLINT field, const Out& out) {
  char sqlstate[6];
  mapState(record.sqlstate, isVersion2Application(handle), sqlstate);
  switch (field) {
    case SQL_DIAG_SQLSTATE: return tellText(handle, sqlstate, out);
    case SQL_DIAG_MESSAGE_TEXT: return out.size < 0 ? SQL_ERROR : tellMessage(handle, record, out);
    case SQL_DIAG_CLASS_ORIGIN: return tellText(handle, classOrigin(sqlstate), out);
    case SQL_DIAG_SUBCLASS_ORIGIN: return tellText(handle, subclassOrigin(sqlstate), out);
    case SQL_DIAG_CONNECTION_NAME:
    case SQL_DIAG_SERVER_NAME: return tellText(handle, sourceName(handle), out);
    case SQL_DIAG_NATIVE: return tellNumber<SQLINTEGER>(record.nativeError, out.buffer);
    case SQL_DIAG_ROW_NUMBER: return tellNumber<SQLLEN>(record.row, out.buffer);
    case SQL_DIAG_COLUMN_NUMBER: return tellNumber<SQLINTEGER>(record.column, out.buffer);
    default: return SQL_ERROR;
  }
}

bool isHeaderField(SQLSMALLINT field) {
  switch (field) {
    case SQL_DIAG_NUMBER:
    case SQL_DIAG_RETURNCODE:
    case SQL_DIAG_ROW_COUNT:
    case SQL_DIAG_CURSOR_ROW_COUNT:
    case SQL_DIAG_DYNAMIC_FUNCTION:
    case SQL_DIAG_DYNAMIC_FUNCTION_CODE: return true;
    default: return false;
  }
}

SQLRETURN getDiagRec(SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT number, const StateOut& sqlstate,
                     SQLINTEGER* native, const Out& text) {
  const Pinned<DMHandle> owner(handle);
  if (!owner || owner->handleType != type) return SQL_INVALID_HANDLE;
  if (number < 1 || text.size < 0) return SQL_ERROR;
  const ZuCriticalSectionHolder lock(owner->queueLock);
  const tagERRBUF* record = recordAt(*owner, number);
  if (!record) return SQL_NO_DATA;
  return tellRecord(*owner, *record, sqlstate, native, text);
}

SQLRETURN getDiagField(SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT number, SQLSMALLINT field,
                       const Out& out) {
  const Pinned<DMHandle> owner(handle);
  if (!owner || owner->handleType != type) return SQL_INVALID_HANDLE;
  if (out.form == Form::Wide && checkSize(out)) return SQL_ERROR;
  if (isHeaderField(field)) return headerField(*owner, field, out);
  if (number < 1) return SQL_ERROR;
  const ZuCriticalSectionHolder lock(owner->queueLock);
  const tagERRBUF* record = recordAt(*owner, number);
  if (!record) return SQL_NO_DATA;
  return recordField(*owner, *record, field, out);
}

SQLRETURN error(SQLHENV env, SQLHDBC conn, SQLHSTMT stmt, const StateOut& sqlstate, SQLINTEGER* native,
                const Out& text) {
  // The innermost handle that is given.
  const SQLSMALLINT type = stmt ? SQL_HANDLE_STMT : conn ? SQL_HANDLE_DBC : SQL_HANDLE_ENV;
  const Pinned<DMHandle> owner(stmt ? stmt : conn ? conn : env);
  if (!owner || owner->handleType != type) return SQL_INVALID_HANDLE;
  if (text.size < 0) return SQL_ERROR;
  const ZuCriticalSectionHolder lock(owner->queueLock);
  tagERRBUF* record = takeFirst(*owner);
  if (!record) {
    copyState("00000", sqlstate);
    tellText(*owner, "", text);
    return SQL_NO_DATA;
  }
  const SQLRETURN rc = tellRecord(*owner, *record, sqlstate, native, text);
  FreeErrorBuf(record);
  return rc;
}

}  // namespace

extern "C" {

ZU_API SQLRETURN SQL_API SQLGetDiagRec(SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT number,
                                       SQLCHAR* sqlstate, SQLINTEGER* native, SQLCHAR* text, SQLSMALLINT size,
                                       SQLSMALLINT* length) {
  return traced("SQLGetDiagRec", getDiagRec, type, handle, number, stateOut(sqlstate), native,
                textOut(text, size, length));
}
ZU_API SQLRETURN SQL_API SQLGetDiagRecW(SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT number,
                                        SQLWCHAR* sqlstate, SQLINTEGER* native, SQLWCHAR* text,
                                        SQLSMALLINT size, SQLSMALLINT* length) {
  return traced("SQLGetDiagRecW", getDiagRec, type, handle, number, stateOut(sqlstate), native,
                textOut(text, size, length));
}
DM_ALIAS(SQLGetDiagRec);

ZU_API SQLRETURN SQL_API SQLGetDiagField(SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT number,
                                         SQLSMALLINT field, SQLPOINTER value, SQLSMALLINT size,
                                         SQLSMALLINT* length) {
  return traced("SQLGetDiagField", getDiagField, type, handle, number, field,
                valueOut(Form::Narrow, value, size, length, isTextDiagnostic(field)));
}
ZU_API SQLRETURN SQL_API SQLGetDiagFieldW(SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT number,
                                          SQLSMALLINT field, SQLPOINTER value, SQLSMALLINT size,
                                          SQLSMALLINT* length) {
  return traced("SQLGetDiagFieldW", getDiagField, type, handle, number, field,
                valueOut(Form::Wide, value, size, length, isTextDiagnostic(field)));
}
DM_ALIAS(SQLGetDiagField);

ZU_API SQLRETURN SQL_API SQLError(SQLHENV env, SQLHDBC conn, SQLHSTMT stmt, SQLCHAR* sqlstate,
                                  SQLINTEGER* native, SQLCHAR* text, SQLSMALLINT size, SQLSMALLINT* length) {
  return traced("SQLError", error, env, conn, stmt, stateOut(sqlstate), native, textOut(text, size, length));
}
ZU_API SQLRETURN SQL_API SQLErrorW(SQLHENV env, SQLHDBC conn, SQLHSTMT stmt, SQLWCHAR* sqlstate,
                                   SQLINTEGER* native, SQLWCHAR* text, SQLSMALLINT size,
                                   SQLSMALLINT* length) {
  return traced("SQLErrorW", error, env, conn, stmt, stateOut(sqlstate), native, textOut(text, size, length));
}
DM_ALIAS(SQLError);

}  // extern "C"
