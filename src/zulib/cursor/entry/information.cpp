// CLGetInfo: the information types in which the cursor library differs from the driver.

#include <cstring>

#include "zulib/cursor/entry/cursorlib.h"
#include "zulib/cursor/entry/guard.h"
#include "zulib/cursor/internal/forward.h"

namespace {

struct FixedInfo {
  SQLUSMALLINT type;
  SQLUINTEGER value;
};

constexpr SQLUINTEGER kPositioned =
    SQL_CA1_POSITIONED_UPDATE | SQL_CA1_POSITIONED_DELETE | SQL_CA1_SELECT_FOR_UPDATE;

constexpr FixedInfo kFixed[] = {
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
    {SQL_FORWARD_ONLY_CURSOR_ATTRIBUTES1, SQL_CA1_NEXT | kPositioned},
    {SQL_STATIC_CURSOR_ATTRIBUTES1, SQL_CA1_NEXT | SQL_CA1_ABSOLUTE | SQL_CA1_RELATIVE | SQL_CA1_BOOKMARK |
                                        SQL_CA1_LOCK_NO_CHANGE | SQL_CA1_POS_POSITION | kPositioned},
};

// The driver's value of `asked` with some bits cleared and some set.
struct CorrectedInfo {
  SQLUSMALLINT type;
  SQLUSMALLINT asked;
  SQLUINTEGER clear;
  SQLUINTEGER set;
};

// A static cursor reads through the driver's forward-only cursor, so that one is asked about for both.
constexpr SQLUINTEGER kUnique = SQL_CA2_SIMULATE_TRY_UNIQUE | SQL_CA2_SIMULATE_UNIQUE;
constexpr SQLUINTEGER kVersions = SQL_CA2_LOCK_CONCURRENCY | SQL_CA2_OPT_ROWVER_CONCURRENCY;
constexpr SQLUINTEGER kRows = SQL_CA2_SENSITIVITY_ADDITIONS | SQL_CA2_SENSITIVITY_DELETIONS;
constexpr SQLUINTEGER kChanges = SQL_CA2_OPT_VALUES_CONCURRENCY | SQL_CA2_SENSITIVITY_UPDATES;
constexpr SQLUINTEGER kPlain = SQL_CA2_READ_ONLY_CONCURRENCY | SQL_CA2_SIMULATE_NON_UNIQUE;

constexpr CorrectedInfo kCorrected[] = {
    {SQL_GETDATA_EXTENSIONS, SQL_GETDATA_EXTENSIONS, 0, SQL_GD_BLOCK},
    {SQL_FORWARD_ONLY_CURSOR_ATTRIBUTES2, SQL_FORWARD_ONLY_CURSOR_ATTRIBUTES2,
     kUnique | kVersions | kRows | kChanges, kPlain},
    {SQL_STATIC_CURSOR_ATTRIBUTES2, SQL_FORWARD_ONLY_CURSOR_ATTRIBUTES2, kUnique | kVersions | kRows,
     kPlain | kChanges},
};
static_assert(kCorrected[1].clear == 0x1807E && kCorrected[1].set == 0x4001);
static_assert(kCorrected[2].clear == 0x18036 && kCorrected[2].set == 0x4049);

SQLRETURN putNumber(SQLUINTEGER number, SQLPOINTER value, SQLSMALLINT* lengthPtr) {
  std::memcpy(value, &number, sizeof number);
  *lengthPtr = sizeof number;
  return SQL_SUCCESS;
}

SQLRETURN rowUpdates(DMConn* conn, SQLPOINTER value, SQLSMALLINT length, SQLSMALLINT* lengthPtr) {
  constexpr char kYes[] = "Y";
  const bool fits = length >= static_cast<SQLSMALLINT>(sizeof kYes);
  if (length > 0) std::memcpy(value, fits ? kYes : "", fits ? sizeof kYes : 1);
  *lengthPtr = fits ? 1 : 0;
  return fits ? SQL_SUCCESS : clWarning(conn, clmsg::DataTruncated);
}

SQLRETURN corrected(DMConn* conn, const CorrectedInfo& rule, SQLPOINTER value, SQLSMALLINT* lengthPtr) {
  SQLUINTEGER number = 0;
  SQLSMALLINT length = sizeof number;
  const SQLRETURN rc = CursorLibGetInfo(conn, rule.asked, &number, sizeof number, &length);
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
  if (!value && type != SQL_ROW_UPDATES) length = kScratchSize;
  if (!value) value = scratch;
  if (!lengthPtr) lengthPtr = &scratchLength;
  *lengthPtr = sizeof(SQLUINTEGER);
  if (type == SQL_ROW_UPDATES) return rowUpdates(conn, value, length, lengthPtr);
  for (const auto& fixed : kFixed)
    if (fixed.type == type) return putNumber(fixed.value, value, lengthPtr);
  for (const auto& rule : kCorrected)
    if (rule.type == type) return corrected(conn, rule, value, lengthPtr);
  return CursorLibGetInfo(conn, type, value, length, lengthPtr);
}

const char* getFileVersionString(void) { return "05.20.0027 (U0021)"; }
