// Cursor names.
//
// The name that the application sets is kept here and given to the driver as well, when the driver takes
// it: positioned statements then work in the driver as in the cursor library. A statement without one gets
// the driver's name for it, or one that is made here when the driver gives none. Names are unique among the
// statements of a connection, without regard to case.

#include <strings.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "zuodbc/driver/bridge.h"
#include "zuodbc/driver/driverdiagnostics.h"

using namespace dm;

namespace {

constexpr std::string_view GENERATED_PREFIX = "SQL_CUR";
constexpr std::string_view RESERVED_PREFIX = "SQLCUR";

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

// Another statement of the connection that goes by the name.
bool isTaken(const DMStmt& stmt, std::string_view name) {
  DMConn& conn = *stmt.conn;
  std::lock_guard guard(conn.state->lock);
  for (DMStmt* other = conn.state->firstStmt; other; other = other->state->next) {
    if (other != &stmt && isNamed(*other, name)) return true;
  }
  return false;
}

const char* checkName(const DMStmt& stmt, const SQLCHAR* text, SQLSMALLINT length) {
  if (const char* wrong = checkText(text, length)) return wrong;
  std::string_view name = textOf(text, length);
  bool reserved = startsWith(name, GENERATED_PREFIX) || startsWith(name, RESERVED_PREFIX);
  if (name.empty() || reserved || name.size() > stmt.conn->maxCursorNameLength) return "34000";
  return isTaken(stmt, name) ? "3C000" : nullptr;
}

// Names are read by other statements' calls, so they change under the connection's lock.
void keepName(DMStmt& stmt, std::string_view name) {
  std::lock_guard guard(stmt.conn->state->lock);
  stmt.state->cursorName = name;
}

void generateName(DMStmt& stmt) {
  std::lock_guard guard(stmt.conn->state->lock);
  char name[32];
  unsigned number = 0;
  do {
    std::snprintf(name, sizeof name, "%s%04u", GENERATED_PREFIX.data(), ++number);
  } while (isTaken(stmt, name));
  keepName(stmt, name);
}

// The driver's answer to a call about names: its own code, refusedHere when that was an error that has been
// fetched, or driverLacksFunction, also when the driver exports the function only to say that it has none.
SQLRETURN sortAnswer(DMStmt& stmt, SQLRETURN rc) {
  if (rc != SQL_ERROR) return rc;
  pullDriverErrors(stmt);
  constexpr unsigned short NOT_SUPPORTED[] = {'I', 'M', '0', '0', '1', 0};
  constexpr unsigned short NOT_CAPABLE[] = {'H', 'Y', 'C', '0', '0', 0};
  if (!stmt.SearchStatusCode(NOT_SUPPORTED) && !stmt.SearchStatusCode(NOT_CAPABLE)) return refusedHere;
  dropUnsettled(stmt);
  return driverLacksFunction;
}

SQLRETURN giveName(DMStmt& stmt, SQLCHAR* out, SQLSMALLINT size, SQLSMALLINT* length) {
  const std::string& name = stmt.state->cursorName;
  if (length) *length = SQLSMALLINT(name.size());
  if (!out) return SQL_SUCCESS;
  if (size > 0) {
    size_t fits = std::min(name.size(), size_t(size) - 1);
    std::memcpy(out, name.data(), fits);
    out[fits] = 0;
    if (fits == name.size()) return SQL_SUCCESS;
  }
  postError(stmt, "01004");
  return warnedHere;
}

SQLRETURN setName(DMStmt& stmt, const DMDriverFunctions& driver, SQLCHAR* text, SQLSMALLINT length) {
  SQLRETURN rc = sortAnswer(stmt, ask(driver.SQLSetCursorName, stmt.driverHandle, text, length));
  if (rc == driverLacksFunction) rc = SQL_SUCCESS;
  if (SQL_SUCCEEDED(rc)) keepName(stmt, textOf(text, length));
  return rc;
}

SQLRETURN getName(DMStmt& stmt, const DMDriverFunctions& driver, SQLCHAR* out, SQLSMALLINT size,
                  SQLSMALLINT* length) {
  if (stmt.state->cursorName.empty()) {
    SQLSMALLINT full = 0;
    SQLRETURN rc = sortAnswer(stmt, ask(driver.SQLGetCursorName, stmt.driverHandle, out, size, &full));
    if (length && SQL_SUCCEEDED(rc)) *length = full;
    bool none = rc == driverLacksFunction || (SQL_SUCCEEDED(rc) && full == 0);
    if (!none) return rc;
    generateName(stmt);
  }
  return giveName(stmt, out, size, length);
}

}  // namespace

extern "C" {

ZU_API SQLRETURN SQL_API SQLSetCursorName(SQLHSTMT handle, SQLCHAR* name, SQLSMALLINT length) {
  return callChecked(
      handle, Api::SetCursorName, [&](DMStmt& stmt) { return checkName(stmt, name, length); },
      noCursorLibrary,
      [&](DMStmt& stmt, const DMDriverFunctions& driver) { return setName(stmt, driver, name, length); });
}

ZU_API SQLRETURN SQL_API SQLGetCursorName(SQLHSTMT handle, SQLCHAR* name, SQLSMALLINT size,
                                          SQLSMALLINT* length) {
  auto work = [&](DMStmt& stmt, const DMDriverFunctions& driver) {
    return getName(stmt, driver, name, size, length);
  };
  // The cursor library goes through the statements of the connection by their names. What stands on those
  // is the application's, so these calls are no application's calls.
  DMStmt* stmt = findStatement(handle);
  if (stmt && stmt->conn->inCursorName) {
    return guardRoad(
        *stmt, [&] { return askDriver(*stmt, *stmt->conn->driverFunctions, Api::GetCursorName, work); });
  }
  return callChecked(
      handle, Api::GetCursorName, [&](DMStmt&) { return checkSize(size); }, noCursorLibrary, work);
}

}  // extern "C"
