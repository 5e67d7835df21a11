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
#include "zuodbc/call/crossing.h"
#include "zuodbc/call/entry.h"
#include "zuodbc/call/trace.h"
#include "zuodbc/driver/bridge.h"
#include "zuodbc/driver/driverdiagnostics.h"

using namespace dm;

namespace {

constexpr std::string_view kGeneratedPrefix = "SQL_CUR";
constexpr std::string_view kReservedPrefix = "SQLCUR";

// A name as the cursor library writes it, which is how names are kept. False if it cannot be converted.
bool internalName(DMStmt& stmt, const TextIn<SQLSMALLINT>& name, std::string& out) {
  const CodePage page = pageOf(stmt.conn, name.form);
  const CodePage kept = pageOf(stmt.conn, Form::Internal);
  if (page == kept) {
    out = bytesOf(name);
    return true;
  }
  HeldText held;
  const bool whole = convertText(stmt.conn, page, kept, bytesOf(name), held);
  out = held.view();
  return whole;
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

const char* checkName(DMStmt& stmt, const TextIn<SQLSMALLINT>& text) {
  if (const char* wrong = checkText(text)) return wrong;
  std::string name;
  if (!internalName(stmt, text, name)) return "HY000";
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

SQLRETURN giveName(DMStmt& stmt, const TextOut<SQLSMALLINT>& out) {
  const NameGuard guard(stmt.conn->state->nameLock);
  const SQLRETURN rc = writeText(stmt, stmt.state->cursorName, Form::Internal, out);
  return rc == SQL_SUCCESS ? rc : kWarnedHere;
}

SQLRETURN setName(DMStmt& stmt, const DMDriverFunctions& driver, const TextIn<SQLSMALLINT>& text) {
  SQLRETURN rc =
      sortOutcome(stmt, askText(stmt, DM_ENTRIES(driver, SQLSetCursorName), stmt.driverHandle, text));
  if (rc == kDriverLacksFunction) rc = SQL_SUCCESS;
  std::string name;
  if (SQL_SUCCEEDED(rc) && internalName(stmt, text, name)) keepName(stmt, name);
  return rc;
}

SQLRETURN getName(DMStmt& stmt, const DMDriverFunctions& driver, const TextOut<SQLSMALLINT>& out) {
  if (!hasName(stmt)) {
    SQLSMALLINT full = 0;
    TextOut<SQLSMALLINT> asked = out;
    asked.length = &full;
    const SQLRETURN rc =
        sortOutcome(stmt, askText(stmt, DM_ENTRIES(driver, SQLGetCursorName), stmt.driverHandle, asked));
    if (out.length && SQL_SUCCEEDED(rc)) *out.length = full;
    const bool none = rc == kDriverLacksFunction || (SQL_SUCCEEDED(rc) && full == 0);
    if (!none) return rc;
    generateName(stmt);
  }
  return giveName(stmt, out);
}

SQLRETURN setCursorName(SQLHSTMT handle, const TextIn<SQLSMALLINT>& name) {
  return callStatement(
      handle, Api::SetCursorName, [&](DMStmt& stmt) { return checkName(stmt, noteForm(stmt, name)); },
      kNoCursorLibrary,
      [&](DMStmt& stmt, const DMDriverFunctions& driver) { return setName(stmt, driver, name); });
}

SQLRETURN getCursorName(SQLHSTMT handle, const TextOut<SQLSMALLINT>& name) {
  auto work = [&](DMStmt& stmt, const DMDriverFunctions& driver) { return getName(stmt, driver, name); };
  // The cursor library goes through the statements of the connection by their names, in the middle of a call
  // on another one: these are no calls of the application, and the statements' diagnostics stay.
  auto* stmt = static_cast<DMStmt*>(handle);
  if (isInLibrary() && findStatement(handle) && stmt->conn->inCursorName) {
    return guardCall(
        *stmt, [&] { return askDriver(*stmt, *stmt->conn->driverFunctions, Api::GetCursorName, work); });
  }
  return callStatement(
      handle, Api::GetCursorName, [&](DMStmt&) { return checkSize(name); }, kNoCursorLibrary, work);
}

}  // namespace

extern "C" {

ZU_API SQLRETURN SQL_API SQLSetCursorName(SQLHSTMT handle, SQLCHAR* name, SQLSMALLINT length) {
  return traced("SQLSetCursorName", setCursorName, handle, textIn(name, length));
}
ZU_API SQLRETURN SQL_API SQLSetCursorNameW(SQLHSTMT handle, SQLWCHAR* name, SQLSMALLINT length) {
  return traced("SQLSetCursorNameW", setCursorName, handle, textIn(name, length));
}
DM_ALIAS(SQLSetCursorName);

ZU_API SQLRETURN SQL_API SQLGetCursorName(SQLHSTMT handle, SQLCHAR* name, SQLSMALLINT size,
                                          SQLSMALLINT* length) {
  return traced("SQLGetCursorName", getCursorName, handle, textOut(name, size, length));
}
ZU_API SQLRETURN SQL_API SQLGetCursorNameW(SQLHSTMT handle, SQLWCHAR* name, SQLSMALLINT size,
                                           SQLSMALLINT* length) {
  return traced("SQLGetCursorNameW", getCursorName, handle, textOut(name, size, length));
}
DM_ALIAS(SQLGetCursorName);

}  // extern "C"
