// SQLColAttribute and SQLColAttributes, either through the other.

#include <algorithm>
#include <iterator>

#include "zuodbc/call/crossing.h"
#include "zuodbc/driver/bridge.h"

namespace dm {
namespace {

struct FieldPair {
  SQLUSMALLINT version3;
  SQLUSMALLINT version2;
};

// The fields that have two numbers; those from 6 to 18 have one in both versions.
constexpr FieldPair kFields[] = {
    {SQL_DESC_COUNT, SQL_COLUMN_COUNT},         {SQL_DESC_NAME, SQL_COLUMN_NAME},
    {SQL_DESC_TYPE, SQL_COLUMN_TYPE},           {SQL_DESC_LENGTH, SQL_COLUMN_LENGTH},
    {SQL_DESC_OCTET_LENGTH, SQL_COLUMN_LENGTH}, {SQL_DESC_PRECISION, SQL_COLUMN_PRECISION},
    {SQL_DESC_SCALE, SQL_COLUMN_SCALE},         {SQL_DESC_NULLABLE, SQL_COLUMN_NULLABLE},
};

// The fields that a version 3 driver is asked for by the new number. Length, precision and scale mean
// something else under their new numbers, so they go to it by the old ones.
constexpr SQLUSMALLINT kRenumbered[] = {SQL_COLUMN_COUNT, SQL_COLUMN_NAME, SQL_COLUMN_NULLABLE};

// The version 2 number; false if there is none. Version 3 has taken some of the numbers that were a driver's
// own in version 2.
bool toVersion2(SQLUSMALLINT field, SQLUSMALLINT* out) {
  const auto* pair =
      std::find_if(std::begin(kFields), std::end(kFields), [&](auto& p) { return p.version3 == field; });
  const bool paired = pair != std::end(kFields);
  *out = paired ? pair->version2 : field;
  const bool ofVersion3Alone = field >= SQL_DESC_COUNT && field <= SQL_DESC_ALLOC_TYPE;
  return paired || field <= SQL_COLATT_OPT_MAX || (field >= kFirstDriverAttribute && !ofVersion3Alone);
}

SQLUSMALLINT toVersion3(SQLUSMALLINT field) {
  if (std::find(std::begin(kRenumbered), std::end(kRenumbered), field) == std::end(kRenumbered)) return field;
  return std::find_if(std::begin(kFields), std::end(kFields), [&](auto& p) { return p.version2 == field; })
      ->version3;
}

// A type that came as a column attribute, in the application's version.
void convertType(const DMStmt& stmt, SQLUSMALLINT field, SQLLEN* number) {
  if (!number) return;
  const auto type = static_cast<SQLSMALLINT>(*number);
  if (field == SQL_DESC_CONCISE_TYPE) *number = typeForApplication(*stmt.conn, type);
}

// The verbose type for a version 2 one: date, time and timestamp are one type there.
void makeVerbose(SQLUSMALLINT field, SQLLEN* number) {
  if (field == SQL_DESC_TYPE && number && *number >= SQL_DATE && *number <= SQL_TIMESTAMP)
    *number = SQL_DATETIME;
}

}  // namespace

SQLRETURN driverColAttribute(DMStmt& stmt, const DMDriverFunctions& driver, SQLUSMALLINT column,
                             SQLUSMALLINT field, const TextOut<SQLSMALLINT>& text, SQLLEN* number) {
  const auto ownEntries = DM_ENTRIES(driver, SQLColAttribute);
  const auto oldEntries = DM_ENTRIES(driver, SQLColAttributes);
  SQLRETURN rc;
  if (ownEntries || !oldEntries) {
    rc = askText(stmt, ownEntries, stmt.driverHandle, column, field, text, number);
  } else {
    SQLUSMALLINT old;
    if (!toVersion2(field, &old)) return refuse(stmt, "HY091");
    rc = askText(stmt, oldEntries, stmt.driverHandle, column, old, text, number);
    if (SQL_SUCCEEDED(rc)) makeVerbose(field, number);
  }
  if (SQL_SUCCEEDED(rc)) convertType(stmt, field, number);
  return rc;
}

SQLRETURN driverColAttributes(DMStmt& stmt, const DMDriverFunctions& driver, SQLUSMALLINT column,
                              SQLUSMALLINT field, const TextOut<SQLSMALLINT>& text, SQLLEN* number) {
  const auto ownEntries = DM_ENTRIES(driver, SQLColAttributes);
  const SQLRETURN rc = ownEntries ? askText(stmt, ownEntries, stmt.driverHandle, column, field, text, number)
                                  : askText(stmt, DM_ENTRIES(driver, SQLColAttribute), stmt.driverHandle,
                                            column, toVersion3(field), text, number);
  if (SQL_SUCCEEDED(rc)) convertType(stmt, field, number);
  return rc;
}

}  // namespace dm
