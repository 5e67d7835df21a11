#include "zuodbc/driver/driverdiagnostics.h"

#include <cxxabi.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "zuodbc/call/crossing.h"
#include "zuodbc/call/errors.h"
#include "zuodbc/call/values.h"
#include "zuodbc/driverfunctions.h"
#include "zuodbc/handles/handles.h"

namespace dm {
namespace {

// A driver that never says "no more" is stopped here.
constexpr SQLSMALLINT kMostRecords = 256;

// Longer texts are asked for again in full.
constexpr SQLSMALLINT kFirstTextSize = 1024;

struct DriverText {
  SQLCHAR state[6] = "";
  SQLINTEGER native = 0;
  SQLSMALLINT length = 0;  // of the whole text
  SQLCHAR first[kFirstTextSize] = "";
};

tagERRBUF* makeDriverRecord(const DMHandle& handle, const DriverText& text, std::string_view message) {
  char state[6] = "";
  std::memcpy(state, text.state, 5);
  tagERRBUF* record = makeRecord(state, message);
  if (!record) return nullptr;
  record->nativeError = text.native;
  record->flags = DM_ERR_UNSETTLED;
  if (connectionOf(const_cast<DMHandle&>(handle))->state->isWide)
    record->flags |= DM_ERR_UTF8 | DM_ERR_OF_WIDE;
  return record;
}

std::string_view firstPart(const DriverText& text) {
  const char* first = chars(text.first);
  return {first, strnlen(first, sizeof text.first)};
}

// Asks for a record; texts come in the driver manager's own form.
SQLRETURN readRecord(DMHandle& handle, SQLSMALLINT number, DriverText& text, char* buffer, SQLSMALLINT size) {
  const DMDriverFunctions& driver = *connectionOf(handle)->driverFunctions;
  return crossToDriver(handle, DM_ENTRIES(driver, SQLGetDiagRec), static_cast<SQLSMALLINT>(handle.handleType),
                       handle.driverHandle, number, StateOut{text.state, Form::Internal}, &text.native,
                       heldOut(buffer, size, &text.length))
      .rc;
}

// The record with its whole text, for a text that did not fit.
tagERRBUF* readLongRecord(DMHandle& handle, SQLSMALLINT number, DriverText& text) {
  const auto size = static_cast<SQLSMALLINT>(std::min<int>(text.length, INT16_MAX - 1) + 1);
  const std::unique_ptr<char, decltype(&std::free)> whole(
      static_cast<char*>(std::calloc(1, static_cast<size_t>(size))), &std::free);
  if (!whole) return makeDriverRecord(handle, text, firstPart(text));
  readRecord(handle, number, text, whole.get(), size);
  return makeDriverRecord(handle, text, {whole.get(), strnlen(whole.get(), static_cast<size_t>(size))});
}

// Where in the row set the record belongs. A driver may fill the lower half of the cell only.
void readPlace(const DMDriverFunctions& driver, DMHandle& handle, SQLSMALLINT number, tagERRBUF& record) {
  const auto getField = driver.SQLGetDiagField ? driver.SQLGetDiagField : driver.SQLGetDiagFieldW;
  if (handle.handleType != DM_STMT || !getField) return;
  const auto read = [&](SQLSMALLINT field) -> int32_t {
    SQLLEN cell = 0;
    const SQLRETURN rc =
        getField(SQL_HANDLE_STMT, handle.driverHandle, number, field, &cell, SQL_IS_INTEGER, nullptr);
    return SQL_SUCCEEDED(rc) ? static_cast<int32_t>(cell) : 0;
  };
  if (const int32_t row = read(SQL_DIAG_ROW_NUMBER)) record.row = row;
  if (const int32_t column = read(SQL_DIAG_COLUMN_NUMBER)) record.column = column;
}

void pullByRecord(const DMDriverFunctions& driver, DMHandle& handle) {
  for (SQLSMALLINT number = 1; number <= kMostRecords; ++number) {
    DriverText text;
    if (!SQL_SUCCEEDED(readRecord(handle, number, text, reinterpret_cast<char*>(text.first), kFirstTextSize)))
      return;
    tagERRBUF* record = text.length >= kFirstTextSize ? readLongRecord(handle, number, text)
                                                      : makeDriverRecord(handle, text, firstPart(text));
    if (record) readPlace(driver, handle, number, *record);
    queueRecord(handle, record);
  }
}

void pullByError(const DMDriverFunctions& driver, DMHandle& handle, void* driverEnv) {
  void* env = handle.handleType == DM_ENV ? driverEnv : nullptr;
  void* conn = handle.handleType == DM_CONN ? handle.driverHandle : nullptr;
  void* stmt = handle.handleType == DM_STMT ? handle.driverHandle : nullptr;
  for (int number = 0; number < kMostRecords; ++number) {
    DriverText text;
    const SQLRETURN rc =
        crossToDriver(handle, DM_ENTRIES(driver, SQLError), env, conn, stmt,
                      StateOut{text.state, Form::Internal}, &text.native,
                      heldOut(reinterpret_cast<char*>(text.first), kFirstTextSize, &text.length))
            .rc;
    if (!SQL_SUCCEEDED(rc)) return;
    queueRecord(handle, makeDriverRecord(handle, text, firstPart(text)));
  }
}

}  // namespace

void pullDriverErrors(DMHandle& handle) {
  __atomic_store_n(&handle.cancelThread, pthread_t{}, __ATOMIC_RELAXED);
  DMConn* conn = connectionOf(handle);
  if (!conn || !conn->driverFunctions || !handle.driverHandle) return;
  const DMDriverFunctions& driver = *conn->driverFunctions;
  const bool oldDriver = conn->driverVersion != 0 && conn->driverVersion < 300;
  try {
    const bool hasError = static_cast<bool>(DM_ENTRIES(driver, SQLError));
    if (DM_ENTRIES(driver, SQLGetDiagRec) && !(oldDriver && hasError)) {
      pullByRecord(driver, handle);
    } else if (hasError && handle.handleType != DM_DESC) {
      pullByError(driver, handle, conn->state->driverEnv);
    }
  } catch (abi::__forced_unwind&) {
    throw;         // the thread is being cancelled
  } catch (...) {  // thrown by the driver: what has been read stays
  }
}

}  // namespace dm
