// SQLGetDiagRec, SQLGetDiagField and SQLError. They read queues and leave them alone, except that SQLError
// removes the record that it returns. None enters its handle: a call of another thread may be under way.

#include <cstring>

#include "zuodbc/call/entry.h"
#include "zuodbc/call/sqlstates.h"
#include "zuodbc/call/text.h"
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

std::string_view textOf(const tagERRBUF& record) { return {record.text, record.textLength}; }

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
SQLRETURN tellRecord(DMHandle& handle, const tagERRBUF& record, SQLCHAR* sqlstate, SQLINTEGER* native,
                     SQLCHAR* text, SQLSMALLINT size, SQLSMALLINT* length) {
  if (sqlstate) mapState(record.sqlstate, isVersion2Application(handle), reinterpret_cast<char*>(sqlstate));
  if (native) *native = record.nativeError;
  return copyText(textOf(record), text, size, length) ? SQL_SUCCESS : SQL_SUCCESS_WITH_INFO;
}

SQLRETURN tellText(std::string_view words, SQLPOINTER value, SQLSMALLINT size, SQLSMALLINT* length) {
  if (size < 0) return SQL_ERROR;
  return copyText(words, value, size, length) ? SQL_SUCCESS : SQL_SUCCESS_WITH_INFO;
}

template <class Number>
SQLRETURN tellNumber(Number number, SQLPOINTER value) {
  if (value) std::memcpy(value, &number, sizeof number);
  return SQL_SUCCESS;
}

// Fields about the last call on a statement, which the driver knows.
SQLRETURN askStatementField(DMHandle& handle, SQLSMALLINT field, SQLPOINTER value, SQLSMALLINT size,
                            SQLSMALLINT* length) {
  if (handle.handleType != DM_STMT) return SQL_ERROR;
  auto& stmt = static_cast<DMStmt&>(handle);
  const DMDriverFunctions& driver = *stmt.conn->driverFunctions;
  SQLRETURN rc = kDriverLacksFunction;
  stmt.lock();
  if (stmt.driverHandle) {
    rc = guardQuietly([&] {
      return ask(driver.SQLGetDiagField, SQL_HANDLE_STMT, stmt.driverHandle, 0, field, value, size, length);
    });
  }
  if (!SQL_SUCCEEDED(rc) && stmt.driverHandle && field == SQL_DIAG_ROW_COUNT && value) {
    rc =
        guardQuietly([&] { return ask(driver.SQLRowCount, stmt.driverHandle, static_cast<SQLLEN*>(value)); });
  }
  stmt.unlock();
  if (SQL_SUCCEEDED(rc)) return rc;
  switch (field) {
    case SQL_DIAG_DYNAMIC_FUNCTION: return tellText("", value, size, length);
    case SQL_DIAG_DYNAMIC_FUNCTION_CODE: return tellNumber<SQLINTEGER>(SQL_DIAG_UNKNOWN_STATEMENT, value);
    default: return tellNumber<SQLLEN>(0, value);
  }
}

SQLRETURN headerField(DMHandle& handle, SQLSMALLINT field, SQLPOINTER value, SQLSMALLINT size,
                      SQLSMALLINT* length) {
  switch (field) {
    case SQL_DIAG_NUMBER: return tellNumber<SQLINTEGER>(countRecords(handle), value);
    case SQL_DIAG_RETURNCODE:
      return tellNumber<SQLRETURN>(__atomic_load_n(&handle.lastReturn, __ATOMIC_RELAXED), value);
    default: return askStatementField(handle, field, value, size, length);
  }
}

std::string_view sourceName(DMHandle& handle) {
  DMConn* conn = connectionOf(handle);
  return conn && conn->state ? std::string_view(conn->state->dataSource) : std::string_view();
}

SQLRETURN recordField(DMHandle& handle, const tagERRBUF& record, SQLSMALLINT field, SQLPOINTER value,
                      SQLSMALLINT size, SQLSMALLINT* length) {
  char sqlstate[6];
  mapState(record.sqlstate, isVersion2Application(handle), sqlstate);
  switch (field) {
    case SQL_DIAG_SQLSTATE: return tellText(sqlstate, value, size, length);
    case SQL_DIAG_MESSAGE_TEXT: return tellText(textOf(record), value, size, length);
    case SQL_DIAG_CLASS_ORIGIN: return tellText(classOrigin(sqlstate), value, size, length);
    case SQL_DIAG_SUBCLASS_ORIGIN: return tellText(subclassOrigin(sqlstate), value, size, length);
    case SQL_DIAG_CONNECTION_NAME:
    case SQL_DIAG_SERVER_NAME: return tellText(sourceName(handle), value, size, length);
    case SQL_DIAG_NATIVE: return tellNumber<SQLINTEGER>(record.nativeError, value);
    case SQL_DIAG_ROW_NUMBER: return tellNumber<SQLLEN>(record.row, value);
    case SQL_DIAG_COLUMN_NUMBER: return tellNumber<SQLINTEGER>(record.column, value);
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

}  // namespace

extern "C" {

ZU_API SQLRETURN SQL_API SQLGetDiagRec(SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT number,
                                       SQLCHAR* sqlstate, SQLINTEGER* native, SQLCHAR* text, SQLSMALLINT size,
                                       SQLSMALLINT* length) {
  const Pinned<DMHandle> owner(handle);
  if (!owner || owner->handleType != type) return SQL_INVALID_HANDLE;
  if (number < 1 || size < 0) return SQL_ERROR;
  const ZuCriticalSectionHolder lock(owner->queueLock);
  const tagERRBUF* record = recordAt(*owner, number);
  if (!record) return SQL_NO_DATA;
  return tellRecord(*owner, *record, sqlstate, native, text, size, length);
}

ZU_API SQLRETURN SQL_API SQLGetDiagField(SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT number,
                                         SQLSMALLINT field, SQLPOINTER value, SQLSMALLINT size,
                                         SQLSMALLINT* length) {
  const Pinned<DMHandle> owner(handle);
  if (!owner || owner->handleType != type) return SQL_INVALID_HANDLE;
  if (isHeaderField(field)) return headerField(*owner, field, value, size, length);
  if (number < 1) return SQL_ERROR;
  const ZuCriticalSectionHolder lock(owner->queueLock);
  const tagERRBUF* record = recordAt(*owner, number);
  if (!record) return SQL_NO_DATA;
  return recordField(*owner, *record, field, value, size, length);
}

ZU_API SQLRETURN SQL_API SQLError(SQLHENV env, SQLHDBC conn, SQLHSTMT stmt, SQLCHAR* sqlstate,
                                  SQLINTEGER* native, SQLCHAR* text, SQLSMALLINT size, SQLSMALLINT* length) {
  // The innermost handle that is given.
  const SQLSMALLINT type = stmt ? SQL_HANDLE_STMT : conn ? SQL_HANDLE_DBC : SQL_HANDLE_ENV;
  const Pinned<DMHandle> owner(stmt ? stmt : conn ? conn : env);
  if (!owner || owner->handleType != type) return SQL_INVALID_HANDLE;
  if (size < 0) return SQL_ERROR;
  const ZuCriticalSectionHolder lock(owner->queueLock);
  tagERRBUF* record = takeFirst(*owner);
  if (!record) {
    if (sqlstate) std::memcpy(sqlstate, "00000", 6);
    copyText("", text, size, length);
    return SQL_NO_DATA;
  }
  const SQLRETURN rc = tellRecord(*owner, *record, sqlstate, native, text, size, length);
  FreeErrorBuf(record);
  return rc;
}
}
