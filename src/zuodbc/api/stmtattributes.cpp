// Statement attributes, and the options of ODBC 2.

#include "zuodbc/call/arguments.h"
#include "zuodbc/call/crossing.h"
#include "zuodbc/call/entry.h"
#include "zuodbc/call/trace.h"
#include "zuodbc/driver/bridge.h"

using namespace dm;

namespace {

constexpr SQLINTEGER kFirstAttribute = SQL_ATTR_CURSOR_SENSITIVITY;
constexpr SQLINTEGER kLastAttribute = 29;  // of those below the driver's own

bool isKnown(SQLINTEGER attribute) {
  return (attribute >= kFirstAttribute && attribute <= kLastAttribute) || attribute >= kFirstDriverAttribute;
}

bool isReadOnly(SQLINTEGER attribute) {
  return attribute == SQL_GET_BOOKMARK || attribute == SQL_ATTR_ROW_NUMBER;
}

// These shape the cursor, so they must be set before the statement is prepared or executed.
bool shapesCursor(SQLINTEGER attribute) {
  switch (attribute) {
    case SQL_ATTR_CURSOR_SENSITIVITY:
    case SQL_ATTR_CURSOR_SCROLLABLE:
    case SQL_ATTR_CURSOR_TYPE:
    case SQL_ATTR_CONCURRENCY:
    case SQL_ATTR_SIMULATE_CURSOR:
    case SQL_ATTR_USE_BOOKMARKS: return true;
    default: return false;
  }
}

const char* checkTime(DMStmt& stmt, SQLINTEGER attribute) {
  if (!shapesCursor(attribute) || sequencePending(stmt)) return nullptr;
  if (sequenceCursorOpen(stmt)) return "24000";
  return stmt.flags & DM_STMT_PREPARED ? "HY011" : nullptr;
}

const char* checkDescriptor(const DMStmt& stmt, SQLINTEGER attribute, SQLPOINTER value) {
  if (attribute == SQL_ATTR_IMP_ROW_DESC || attribute == SQL_ATTR_IMP_PARAM_DESC) return "HY017";
  if ((attribute != SQL_ATTR_APP_ROW_DESC && attribute != SQL_ATTR_APP_PARAM_DESC) || !value) return nullptr;
  const Pinned<DMDesc> desc(value);
  if (!desc || desc->conn != stmt.conn) return "HY024";
  if (desc->isExplicit()) return nullptr;
  const DMDesc* own =
      attribute == SQL_ATTR_APP_ROW_DESC ? &stmt.implicitArdStorage : &stmt.implicitApdStorage;
  return &*desc == own ? nullptr : "HY017";
}

const char* checkSet(DMStmt& stmt, SQLINTEGER attribute, SQLPOINTER value) {
  if (!isKnown(attribute) || isReadOnly(attribute)) return "HY092";
  if (const char* wrong = checkDescriptor(stmt, attribute, value)) return wrong;
  const bool counts = attribute == SQL_ATTR_ROW_ARRAY_SIZE || attribute == SQL_ATTR_PARAMSET_SIZE ||
                      attribute == SQL_ROWSET_SIZE;
  // The cursor library stores 0 as well, and takes it for one row.
  if (counts && !value && !stmt.conn->state->cursorLibrary) return "HY024";
  return checkTime(stmt, attribute);
}

// The descriptors of a statement came with ODBC 3, and are attributes only.
const char* checkSetOption(DMStmt& stmt, SQLUSMALLINT option, SQLULEN value) {
  if (option >= SQL_ATTR_APP_ROW_DESC && option <= SQL_ATTR_IMP_PARAM_DESC) return "HY092";
  return checkSet(stmt, option, asPointer(value));
}

const char* checkGet(const DMStmt& stmt, SQLINTEGER attribute) {
  if (!isKnown(attribute)) return "HY092";
  const StmtState state = stmt.state->sequence.state;
  const bool positioned =
      state == StmtState::Fetched || state == StmtState::ExtendedFetched || sequencePending(stmt);
  return isReadOnly(attribute) && !positioned ? "24000" : nullptr;
}

const char* checkScrollOptions(const DMStmt& stmt, SQLUSMALLINT concurrency, SQLLEN keyset,
                               SQLUSMALLINT rowset) {
  if (concurrency < SQL_CONCUR_READ_ONLY || concurrency > SQL_CONCUR_VALUES) return "HY108";
  const bool noRows = rowset == 0 && !stmt.conn->state->cursorLibrary;
  if (noRows || keyset < SQL_SCROLL_STATIC || (keyset > 0 && keyset < rowset)) return "HY107";
  return nullptr;
}

// SQL_ATTR_CURSOR_SCROLLABLE and SQL_ATTR_CURSOR_SENSITIVITY as the cursor library passes them on, cut to 16
// bits: its cursors scroll and are insensitive if they are static, whatever the driver's are.
bool isCursorKind(const DMStmt& stmt, SQLUSMALLINT option, SQLPOINTER value) {
  const bool isStatic = stmt.cursorType == SQL_CURSOR_STATIC;
  switch (option) {
    // NOLINTNEXTLINE(bugprone-branch-clone): the two attributes use the same numbers for different things
    case static_cast<SQLUSMALLINT>(SQL_ATTR_CURSOR_SCROLLABLE):
      *static_cast<SQLULEN*>(value) = isStatic ? SQL_SCROLLABLE : SQL_NONSCROLLABLE;
      return true;
    case static_cast<SQLUSMALLINT>(SQL_ATTR_CURSOR_SENSITIVITY):
      *static_cast<SQLULEN*>(value) = isStatic ? SQL_INSENSITIVE : SQL_UNSPECIFIED;
      return true;
    default: return false;
  }
}

// What the driver manager keeps in its own flags, also if the cursor library took the attribute.
void noteSet(DMStmt& stmt, SQLINTEGER attribute, SQLPOINTER value) {
  if (attribute == SQL_ATTR_ASYNC_ENABLE || attribute == SQL_ATTR_USE_BOOKMARKS)
    keepStmtAttr(stmt, attribute, value);
}

// Before another descriptor takes the place of the statement's own: the driver's handle of that one can only
// be asked for now, and what was held back belongs to it.
SQLRETURN leaveOwnDescriptor(DMStmt& stmt, const DMDriverFunctions& driver, SQLINTEGER attribute) {
  const bool isRow = attribute == SQL_ATTR_APP_ROW_DESC;
  haveDriverDescriptor(isRow ? stmt.implicitArdStorage : stmt.implicitApdStorage);
  return isRow ? bindHeldColumns(stmt, driver) : SQLRETURN(SQL_SUCCESS);
}

SQLRETURN setAttribute(SQLHSTMT handle, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER length,
                       Form form) {
  return callStatement(
      handle, Api::SetStmtAttr, [&](DMStmt& stmt) { return checkSet(stmt, attribute, value); },
      [&](DMStmt& stmt, const CursorLibrary& library) {
        const SQLRETURN rc = library.CLSetStmtAttr(&stmt, attribute, value, length);
        if (SQL_SUCCEEDED(rc)) noteSet(stmt, attribute, value);
        return rc;
      },
      [&](DMStmt& stmt, const DMDriverFunctions& driver) {
        if (attribute == SQL_ATTR_APP_ROW_DESC || attribute == SQL_ATTR_APP_PARAM_DESC) {
          const SQLRETURN rc = leaveOwnDescriptor(stmt, driver, attribute);
          if (!SQL_SUCCEEDED(rc)) return rc;
        }
        return driverSetStmtAttr(stmt, driver, Api::SetStmtAttr, attribute, value, length, form);
      });
}

SQLRETURN getAttribute(SQLHSTMT handle, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER length,
                       SQLINTEGER* lengthPtr, Form form) {
  return callStatement(
      handle, Api::GetStmtAttr, [&](DMStmt& stmt) { return checkGet(stmt, attribute); },
      [&](DMStmt& stmt, const CursorLibrary& library) {
        return library.CLGetStmtAttr(&stmt, attribute, value, length, lengthPtr);
      },
      [&](DMStmt& stmt, const DMDriverFunctions& driver) {
        return driverGetStmtAttr(stmt, driver, Api::GetStmtAttr, attribute, value, length, lengthPtr, form);
      });
}

}  // namespace

extern "C" {

ZU_API SQLRETURN SQL_API SQLSetStmtAttr(SQLHSTMT handle, SQLINTEGER attribute, SQLPOINTER value,
                                        SQLINTEGER length) {
  return traced("SQLSetStmtAttr", setAttribute, handle, attribute, value, length, Form::Narrow);
}
ZU_API SQLRETURN SQL_API SQLSetStmtAttrW(SQLHSTMT handle, SQLINTEGER attribute, SQLPOINTER value,
                                         SQLINTEGER length) {
  return traced("SQLSetStmtAttrW", setAttribute, handle, attribute, value, length, Form::Wide);
}

ZU_API SQLRETURN SQL_API SQLSetStmtOption(SQLHSTMT handle, SQLUSMALLINT option, SQLULEN value) {
  return traced(
      "SQLSetStmtOption",
      [&](const auto&...) -> SQLRETURN {
        return callStatement(
            handle, Api::SetStmtOption, [&](DMStmt& stmt) { return checkSetOption(stmt, option, value); },
            [&](DMStmt& stmt, const CursorLibrary& library) {
              const SQLRETURN rc = library.CLSetStmtOption(&stmt, option, value);
              if (SQL_SUCCEEDED(rc)) noteSet(stmt, option, asPointer(value));
              return rc;
            },
            [&](DMStmt& stmt, const DMDriverFunctions& driver) {
              return driverSetStmtAttr(stmt, driver, Api::SetStmtOption, option, asPointer(value),
                                       SQL_IS_UINTEGER);
            });
      },
      handle, option, value);
}

ZU_API SQLRETURN SQL_API SQLGetStmtAttr(SQLHSTMT handle, SQLINTEGER attribute, SQLPOINTER value,
                                        SQLINTEGER length, SQLINTEGER* lengthPtr) {
  return traced("SQLGetStmtAttr", getAttribute, handle, attribute, value, length, lengthPtr, Form::Narrow);
}
ZU_API SQLRETURN SQL_API SQLGetStmtAttrW(SQLHSTMT handle, SQLINTEGER attribute, SQLPOINTER value,
                                         SQLINTEGER length, SQLINTEGER* lengthPtr) {
  return traced("SQLGetStmtAttrW", getAttribute, handle, attribute, value, length, lengthPtr, Form::Wide);
}
DM_ALIAS(SQLGetStmtAttr);

DM_ALIAS(SQLSetStmtOption);

ZU_API SQLRETURN SQL_API SQLGetStmtOption(SQLHSTMT handle, SQLUSMALLINT option, SQLPOINTER value) {
  return traced(
      "SQLGetStmtOption",
      [&](const auto&...) -> SQLRETURN {
        return callStatement(
            handle, Api::GetStmtOption, [&](DMStmt& stmt) { return checkGet(stmt, option); },
            [&](DMStmt& stmt, const CursorLibrary& library) {
              return library.CLGetStmtOption(&stmt, option, value);
            },
            [&](DMStmt& stmt, const DMDriverFunctions& driver) -> SQLRETURN {
              if (isMarked(&stmt) && value && isCursorKind(stmt, option, value)) return SQL_SUCCESS;
              return driverGetStmtAttr(stmt, driver, Api::GetStmtOption, option, value,
                                       SQL_MAX_OPTION_STRING_LENGTH, nullptr);
            });
      },
      handle, option, value);
}

DM_ALIAS(SQLGetStmtOption);

ZU_API SQLRETURN SQL_API SQLSetScrollOptions(SQLHSTMT handle, SQLUSMALLINT concurrency, SQLLEN keyset,
                                             SQLUSMALLINT rowset) {
  return traced(
      "SQLSetScrollOptions",
      [&](const auto&...) -> SQLRETURN {
        return callStatement(
            handle, Api::SetScrollOptions,
            [&](DMStmt& stmt) { return checkScrollOptions(stmt, concurrency, keyset, rowset); },
            [&](DMStmt& stmt, const CursorLibrary& library) {
              return library.CLSetScrollOptions(&stmt, concurrency, keyset, rowset);
            },
            [&](DMStmt& stmt, const DMDriverFunctions& driver) {
              return driverSetScrollOptions(stmt, driver, concurrency, keyset, rowset);
            });
      },
      handle, concurrency, keyset, rowset);
}

}  // extern "C"
