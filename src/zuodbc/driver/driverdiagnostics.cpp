// What a driver has to say after a call: its records become records of the handle.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "zuodbc/call/errors.h"
#include "zuodbc/driverfunctions.h"
#include "zuodbc/handles/handles.h"

namespace dm {
namespace {

// A driver that never says "no more" is stopped here.
constexpr SQLSMALLINT mostRecords = 256;

// Longer texts are asked for again in full.
constexpr SQLSMALLINT firstTextSize = 1024;

struct Text {
  SQLCHAR state[6] = "";
  SQLINTEGER native = 0;
  SQLSMALLINT length = 0;  // of the whole text
  SQLCHAR first[firstTextSize] = "";
};

tagERRBUF* makeDriverRecord(const Text& text, std::string_view words) {
  char state[6] = "";
  std::memcpy(state, text.state, 5);
  tagERRBUF* record = makeRecord(state, words);
  if (!record) return nullptr;
  record->nativeError = text.native;
  record->flags = DM_ERR_UNSETTLED;
  return record;
}

std::string_view firstWords(const Text& text) {
  const char* words = reinterpret_cast<const char*>(text.first);
  return {words, strnlen(words, sizeof text.first)};
}

// The record with its whole text, for a text that did not fit.
tagERRBUF* readLongRecord(const DMDriverFunctions& driver, DMHandle& handle, SQLSMALLINT number, Text& text) {
  auto size = static_cast<SQLSMALLINT>(std::min<int>(text.length, INT16_MAX - 1) + 1);
  auto* words = static_cast<char*>(std::calloc(1, static_cast<size_t>(size)));
  if (!words) return makeDriverRecord(text, firstWords(text));
  driver.SQLGetDiagRec(static_cast<SQLSMALLINT>(handle.handleType), handle.driverHandle, number, text.state,
                       &text.native, reinterpret_cast<SQLCHAR*>(words), size, &text.length);
  tagERRBUF* record = makeDriverRecord(text, {words, strnlen(words, static_cast<size_t>(size))});
  std::free(words);
  return record;
}

// Where in the row set the record belongs. A driver may fill the lower half of the cell only.
void readPlace(const DMDriverFunctions& driver, DMHandle& handle, SQLSMALLINT number, tagERRBUF& record) {
  if (handle.handleType != DM_STMT || !driver.SQLGetDiagField) return;
  auto read = [&](SQLSMALLINT field) -> int32_t {
    SQLLEN cell = 0;
    SQLRETURN rc = driver.SQLGetDiagField(SQL_HANDLE_STMT, handle.driverHandle, number, field, &cell,
                                          SQL_IS_INTEGER, nullptr);
    return SQL_SUCCEEDED(rc) ? static_cast<int32_t>(cell) : 0;
  };
  if (int32_t row = read(SQL_DIAG_ROW_NUMBER)) record.row = row;
  if (int32_t column = read(SQL_DIAG_COLUMN_NUMBER)) record.column = column;
}

void pullByRecord(const DMDriverFunctions& driver, DMHandle& handle) {
  for (SQLSMALLINT number = 1; number <= mostRecords; ++number) {
    Text text;
    SQLRETURN rc =
        driver.SQLGetDiagRec(static_cast<SQLSMALLINT>(handle.handleType), handle.driverHandle, number,
                             text.state, &text.native, text.first, firstTextSize, &text.length);
    if (!SQL_SUCCEEDED(rc)) return;
    tagERRBUF* record = text.length >= firstTextSize ? readLongRecord(driver, handle, number, text)
                                                     : makeDriverRecord(text, firstWords(text));
    if (record) readPlace(driver, handle, number, *record);
    queueRecord(handle, record);
  }
}

void pullByError(const DMDriverFunctions& driver, DMHandle& handle, void* driverEnv) {
  void* env = handle.handleType == DM_ENV ? driverEnv : nullptr;
  void* conn = handle.handleType == DM_CONN ? handle.driverHandle : nullptr;
  void* stmt = handle.handleType == DM_STMT ? handle.driverHandle : nullptr;
  for (int number = 0; number < mostRecords; ++number) {
    Text text;
    SQLRETURN rc =
        driver.SQLError(env, conn, stmt, text.state, &text.native, text.first, firstTextSize, &text.length);
    if (!SQL_SUCCEEDED(rc)) return;
    queueRecord(handle, makeDriverRecord(text, firstWords(text)));
  }
}

}  // namespace

void pullDriverErrors(DMHandle& handle) noexcept {
  __atomic_store_n(&handle.cancelThread, pthread_t{}, __ATOMIC_RELAXED);
  DMConn* conn = connectionOf(handle);
  if (!conn || !conn->driverFunctions || !handle.driverHandle) return;
  const DMDriverFunctions& driver = *conn->driverFunctions;
  bool oldDriver = conn->driverVersion != 0 && conn->driverVersion < 300;
  if (driver.SQLGetDiagRec && !(oldDriver && driver.SQLError)) {
    pullByRecord(driver, handle);
  } else if (driver.SQLError && handle.handleType != DM_DESC) {
    pullByError(driver, handle, conn->state->driverEnv);
  }
}

}  // namespace dm
