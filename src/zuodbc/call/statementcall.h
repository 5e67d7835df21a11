// What the statement functions share on top of the road: checks of the arguments, written as functions
// that answer the SQLSTATE of what is wrong, or null.

#ifndef ZULIB_DRIVERMANAGER_INTERNAL_STATEMENTCALL_H
#define ZULIB_DRIVERMANAGER_INTERNAL_STATEMENTCALL_H

#include "zuodbc/call/entry.h"

namespace dm {

// callStatement with a check in front. `check(stmt)` runs for an application's call on a live handle only;
// when it answers an SQLSTATE, that is queued and neither the driver nor the sequence sees the call.
template <class Check, class ClWork, class DriverWork>
SQLRETURN callChecked(SQLHSTMT handle, Api api, Check&& check, ClWork&& clWork, DriverWork&& driverWork) {
  if (!isMarked(static_cast<DMStmt*>(handle))) {
    if (DMStmt* stmt = findStatement(handle)) {
      if (const char* wrong = check(*stmt)) {
        return callOwn(stmt, api, [wrong](DMStmt& refused) { return fail(refused, wrong); });
      }
    }
  }
  return callStatement(handle, api, clWork, driverWork);
}

// A text that may be missing, with its length: HY090 unless the length is SQL_NTS or not negative.
inline const char* checkLength(SQLLEN length) noexcept {
  return length < 0 && length != SQL_NTS ? "HY090" : nullptr;
}

// A text that must be there.
inline const char* checkText(const SQLCHAR* text, SQLLEN length) noexcept {
  return text ? checkLength(length) : "HY009";
}

// An SQL statement, which may not be empty either.
inline const char* checkSql(const SQLCHAR* text, SQLLEN length) noexcept {
  if (!text) return "HY009";
  return length <= 0 && length != SQL_NTS ? "HY090" : nullptr;
}

// A buffer's size.
inline const char* checkSize(SQLLEN size) noexcept { return size < 0 ? "HY090" : nullptr; }

// A cell for an answer that the application does not want, for drivers that write it regardless. It
// outlives the call, because a call that still executes may keep the pointer.
template <class Cell>
Cell* orScratch(Cell* cell) noexcept {
  thread_local Cell scratch;
  return cell ? cell : &scratch;
}

// True for an application, or a driver, of ODBC 3.
inline bool isVersion3Driver(const DMConn& conn) noexcept { return conn.driverVersion >= 300; }
inline bool isVersion3Application(const DMConn& conn) noexcept {
  return conn.env->odbcVersion != SQL_OV_ODBC2;
}

}  // namespace dm

#endif
