// CLGetInfo: the information types in which the cursor library differs from the driver.

#include <cstring>

#include "zulib/cursor/entry/cursorlib.h"
#include "zulib/cursor/entry/forward.h"
#include "zulib/cursor/entry/guard.h"

namespace {

struct FixedAnswer {
  SQLUSMALLINT type;
  SQLUINTEGER answer;
};

constexpr SQLUINTEGER POSITIONED =
    SQL_CA1_POSITIONED_UPDATE | SQL_CA1_POSITIONED_DELETE | SQL_CA1_SELECT_FOR_UPDATE;

constexpr FixedAnswer FIXED_ANSWERS[] = {
    {SQL_FETCH_DIRECTION, SQL_FD_FETCH_NEXT | SQL_FD_FETCH_FIRST | SQL_FD_FETCH_LAST | SQL_FD_FETCH_PRIOR |
                              SQL_FD_FETCH_ABSOLUTE | SQL_FD_FETCH_RELATIVE | SQL_FD_FETCH_BOOKMARK},
    {SQL_SCROLL_CONCURRENCY, SQL_SCCO_READ_ONLY | SQL_SCCO_OPT_VALUES},
    {SQL_SCROLL_OPTIONS, SQL_SO_FORWARD_ONLY | SQL_SO_STATIC},
    {SQL_LOCK_TYPES, SQL_LCK_NO_CHANGE},
    {SQL_POS_OPERATIONS, SQL_POS_POSITION},
    {SQL_POSITIONED_STATEMENTS,
     SQL_PS_POSITIONED_DELETE | SQL_PS_POSITIONED_UPDATE | SQL_PS_SELECT_FOR_UPDATE},
    {SQL_BOOKMARK_PERSISTENCE, SQL_BP_DELETE | SQL_BP_UPDATE | SQL_BP_SCROLL},
    {SQL_STATIC_SENSITIVITY, SQL_SS_UPDATES},
    {SQL_DYNAMIC_CURSOR_ATTRIBUTES1, 0},
    {SQL_DYNAMIC_CURSOR_ATTRIBUTES2, 0},
    {SQL_KEYSET_CURSOR_ATTRIBUTES1, 0},
    {SQL_KEYSET_CURSOR_ATTRIBUTES2, 0},
    {SQL_FORWARD_ONLY_CURSOR_ATTRIBUTES1, SQL_CA1_NEXT | POSITIONED},
    {SQL_STATIC_CURSOR_ATTRIBUTES1, SQL_CA1_NEXT | SQL_CA1_ABSOLUTE | SQL_CA1_RELATIVE | SQL_CA1_BOOKMARK |
                                        SQL_CA1_LOCK_NO_CHANGE | SQL_CA1_POS_POSITION | POSITIONED},
};

// The driver's answer to `asked` with some bits cleared and some set.
struct CorrectedAnswer {
  SQLUSMALLINT type;
  SQLUSMALLINT asked;
  SQLUINTEGER clear;
  SQLUINTEGER set;
};

// What a static cursor can do follows from what the driver's forward-only cursor can do, under which it
// reads; so that one is asked for both.
constexpr SQLUINTEGER UNIQUE = SQL_CA2_SIMULATE_TRY_UNIQUE | SQL_CA2_SIMULATE_UNIQUE;
constexpr SQLUINTEGER VERSIONS = SQL_CA2_LOCK_CONCURRENCY | SQL_CA2_OPT_ROWVER_CONCURRENCY;
constexpr SQLUINTEGER ROWS = SQL_CA2_SENSITIVITY_ADDITIONS | SQL_CA2_SENSITIVITY_DELETIONS;
constexpr SQLUINTEGER CHANGES = SQL_CA2_OPT_VALUES_CONCURRENCY | SQL_CA2_SENSITIVITY_UPDATES;
constexpr SQLUINTEGER PLAIN = SQL_CA2_READ_ONLY_CONCURRENCY | SQL_CA2_SIMULATE_NON_UNIQUE;

constexpr CorrectedAnswer CORRECTED_ANSWERS[] = {
    {SQL_GETDATA_EXTENSIONS, SQL_GETDATA_EXTENSIONS, 0, SQL_GD_BLOCK},
    {SQL_FORWARD_ONLY_CURSOR_ATTRIBUTES2, SQL_FORWARD_ONLY_CURSOR_ATTRIBUTES2,
     UNIQUE | VERSIONS | ROWS | CHANGES, PLAIN},
    {SQL_STATIC_CURSOR_ATTRIBUTES2, SQL_FORWARD_ONLY_CURSOR_ATTRIBUTES2, UNIQUE | VERSIONS | ROWS,
     PLAIN | CHANGES},
};
static_assert(CORRECTED_ANSWERS[1].clear == 0x1807E && CORRECTED_ANSWERS[1].set == 0x4001);
static_assert(CORRECTED_ANSWERS[2].clear == 0x18036 && CORRECTED_ANSWERS[2].set == 0x4049);

SQLRETURN putNumber(SQLUINTEGER number, SQLPOINTER value, SQLSMALLINT* lengthPtr) {
  if (value) std::memcpy(value, &number, sizeof number);
  if (lengthPtr) *lengthPtr = sizeof number;
  return SQL_SUCCESS;
}

SQLRETURN rowUpdates(DMConn* conn, SQLPOINTER value, SQLSMALLINT length, SQLSMALLINT* lengthPtr) {
  constexpr char YES[] = "Y";
  const bool fits = length >= static_cast<SQLSMALLINT>(sizeof YES);
  if (value && length > 0) std::memcpy(value, fits ? YES : "", fits ? sizeof YES : 1);
  if (lengthPtr) *lengthPtr = fits ? 1 : 0;
  return fits ? SQL_SUCCESS : clWarning(conn, clmsg::DataTruncated);
}

SQLRETURN corrected(DMConn* conn, const CorrectedAnswer& rule, SQLPOINTER value, SQLSMALLINT* lengthPtr) {
  SQLUINTEGER number = 0;
  SQLSMALLINT length = sizeof number;
  SQLRETURN rc = CursorLibGetInfo(conn, rule.asked, &number, sizeof number, &length);
  if (!clFailed(rc)) putNumber((number & ~rule.clear) | rule.set, value, lengthPtr);
  return rc;
}

}  // namespace

SQLRETURN CLGetInfo(SQLHDBC handle, SQLUSMALLINT type, SQLPOINTER value, SQLSMALLINT length,
                    SQLSMALLINT* lengthPtr) {
  auto* conn = static_cast<DMConn*>(handle);
  // Cells for what the caller does not want: drivers write through null pointers.
  constexpr SQLSMALLINT kScratchSize = 4096;
  char scratch[kScratchSize];
  SQLSMALLINT scratchLength;
  if (!lengthPtr) lengthPtr = &scratchLength;
  *lengthPtr = sizeof(SQLUINTEGER);
  if (type == SQL_ROW_UPDATES) return rowUpdates(conn, value, length, lengthPtr);
  for (const auto& fixed : FIXED_ANSWERS)
    if (fixed.type == type) return putNumber(fixed.answer, value, lengthPtr);
  for (const auto& rule : CORRECTED_ANSWERS)
    if (rule.type == type) return corrected(conn, rule, value, lengthPtr);
  if (!value) return CursorLibGetInfo(conn, type, scratch, kScratchSize, lengthPtr);
  return CursorLibGetInfo(conn, type, value, length, lengthPtr);
}

const char* getFileVersionString(void) { return "05.20.0027 (U0021)"; }
