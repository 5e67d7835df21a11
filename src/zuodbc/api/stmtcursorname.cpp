// Cursor names.
//
// The name that the application sets is kept here and given to the driver as well, if the driver takes it:
// positioned statements then work in the driver as in the cursor library. A statement without one gets the
// driver's name for it, or one that is made here if the driver gives none. Names are unique among the
// statements of a connection, without regard to case.

#include <strings.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string_view>

#include "zuodbc/call/arguments.h"
#include "zuodbc/call/entry.h"
#include "zuodbc/driver/bridge.h"
#include "zuodbc/driver/driverdiagnostics.h"

using namespace dm;

namespace {

constexpr std::string_view kGeneratedPrefix = "SQL_CUR";
constexpr std::string_view kReservedPrefix = "SQLCUR";

std::string_view textOf(const SQLCHAR* text, SQLSMALLINT length) {
  const char* start = reinterpret_cast<const char*>(text);
  return {start, length == SQL_NTS ? std::strlen(start) : size_t(length)};
}

bool startsWith(std::string_view name, std::string_view prefix) {
  return name.size() >= prefix.size() && strncasecmp(name.data(), prefix.data(), prefix.size()) == 0;
}

bool isNamed(const DMStmt& stmt, std::string_view name) {
  const std::string& own = stmt.state->cursorName;
  return own.size() == name.size() && strncasecmp(own.data(), name.data(), name.size()) == 0;
}

// Names are read by other statements' calls, so they are used under a lock of their own.
using NameGuard = std::lock_guard<std::mutex>;

// True if another statement of the connection has the name.
bool isTaken(const DMStmt& stmt, std::string_view name) {
  const DMStmtList statements(stmt.conn);
  const NameGuard guard(stmt.conn->state->nameLock);
  for (const DMStmt* other : statements) {
    if (other != &stmt && isNamed(*other, name)) return true;
  }
  return false;
}

const char* checkName(const DMStmt& stmt, const SQLCHAR* text, SQLSMALLINT length) {
  if (const char* wrong = checkText(text, length)) return wrong;
  const std::string_view name = textOf(text, length);
  const bool reserved = startsWith(name, kGeneratedPrefix) || startsWith(name, kReservedPrefix);
  if (name.empty() || reserved || name.size() > stmt.conn->maxCursorNameLength) return "34000";
  // A call that still executes must be able to end, also if another statement took the name meanwhile.
  return !sequencePending(stmt) && isTaken(stmt, name) ? "3C000" : nullptr;
}

void keepName(DMStmt& stmt, std::string_view name) {
  const NameGuard guard(stmt.conn->state->nameLock);
  stmt.state->cursorName = name;
}

bool hasName(DMStmt& stmt) {
  const NameGuard guard(stmt.conn->state->nameLock);
  return !stmt.state->cursorName.empty();
}

// No application's name begins like the ones that are made here.
void generateName(DMStmt& stmt) {
  char name[32];
  const NameGuard guard(stmt.conn->state->nameLock);
  std::snprintf(name, sizeof name, "%s%04u", kGeneratedPrefix.data(), ++stmt.conn->state->generatedNames);
  stmt.state->cursorName = name;
}

// The outcome of a driver call about names: the driver's code, kRefusedHere for an error that has been
// fetched, or kDriverLacksFunction, also if the driver exports the function only to say that it has none.
SQLRETURN sortOutcome(DMStmt& stmt, SQLRETURN rc) {
  if (rc != SQL_ERROR) return rc;
  pullDriverErrors(stmt);
  constexpr unsigned short kNotSupported[] = {'I', 'M', '0', '0', '1', 0};
  constexpr unsigned short kNotCapable[] = {'H', 'Y', 'C', '0', '0', 0};
  if (!stmt.SearchStatusCode(kNotSupported) && !stmt.SearchStatusCode(kNotCapable)) return kRefusedHere;
  dropUnsettled(stmt);
  return kDriverLacksFunction;
}

SQLRETURN giveName(DMStmt& stmt, SQLCHAR* out, SQLSMALLINT size, SQLSMALLINT* length) {
  const NameGuard guard(stmt.conn->state->nameLock);
  const std::string& name = stmt.state->cursorName;
  if (length) *length = SQLSMALLINT(name.size());
  if (!out) return SQL_SUCCESS;
  if (size > 0) {
    const size_t fits = std::min(name.size(), size_t(size) - 1);
    std::memcpy(out, name.data(), fits);
    out[fits] = 0;
    if (fits == name.size()) return SQL_SUCCESS;
  }
  postError(stmt, "01004");
  return kWarnedHere;
}

SQLRETURN setName(DMStmt& stmt, const DMDriverFunctions& driver, SQLCHAR* text, SQLSMALLINT length) {
  SQLRETURN rc = sortOutcome(stmt, ask(driver.SQLSetCursorName, stmt.driverHandle, text, length));
  if (rc == kDriverLacksFunction) rc = SQL_SUCCESS;
  if (SQL_SUCCEEDED(rc)) keepName(stmt, textOf(text, length));
  return rc;
}

SQLRETURN getName(DMStmt& stmt, const DMDriverFunctions& driver, SQLCHAR* out, SQLSMALLINT size,
                  SQLSMALLINT* length) {
  if (!hasName(stmt)) {
    SQLSMALLINT full = 0;
    const SQLRETURN rc = sortOutcome(stmt, ask(driver.SQLGetCursorName, stmt.driverHandle, out, size, &full));
    if (length && SQL_SUCCEEDED(rc)) *length = full;
    const bool none = rc == kDriverLacksFunction || (SQL_SUCCEEDED(rc) && full == 0);
    if (!none) return rc;
    generateName(stmt);
  }
  return giveName(stmt, out, size, length);
}

}  // namespace

extern "C" {

ZU_API SQLRETURN SQL_API SQLSetCursorName(SQLHSTMT handle, SQLCHAR* name, SQLSMALLINT length) {
  return callStatement(
      handle, Api::SetCursorName, [&](DMStmt& stmt) { return checkName(stmt, name, length); },
      kNoCursorLibrary,
      [&](DMStmt& stmt, const DMDriverFunctions& driver) { return setName(stmt, driver, name, length); });
}

ZU_API SQLRETURN SQL_API SQLGetCursorName(SQLHSTMT handle, SQLCHAR* name, SQLSMALLINT size,
                                          SQLSMALLINT* length) {
  auto work = [&](DMStmt& stmt, const DMDriverFunctions& driver) {
    return getName(stmt, driver, name, size, length);
  };
  // The cursor library goes through the statements of the connection by their names, in the middle of a call
  // on another one: these are no calls of the application, and the statements' diagnostics stay.
  auto* stmt = static_cast<DMStmt*>(handle);
  if (isInLibrary() && findStatement(handle) && stmt->conn->inCursorName) {
    return guardCall(
        *stmt, [&] { return askDriver(*stmt, *stmt->conn->driverFunctions, Api::GetCursorName, work); });
  }
  return callStatement(
      handle, Api::GetCursorName, [&](DMStmt&) { return checkSize(size); }, kNoCursorLibrary, work);
}

}  // extern "C"
