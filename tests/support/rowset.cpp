// The bound row set that most tests read.

#include "tests/support/rowset.h"

#include <cstring>

#include "tests/support/fault_allocator.h"

Rowset::Rowset(OdbcStatement& stmt, SQLULEN size, SQLLEN nameSize)
    : stmt(stmt),
      size(size),
      nameSize(nameSize),
      values(std::make_unique<char[]>(size * (sizeof(SQLINTEGER) + nameSize))),
      idLengths(size),
      nameLengths(size),
      statuses(size) {
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.set(SQL_ATTR_ROW_ARRAY_SIZE, size));
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.set(SQL_ATTR_ROW_STATUS_PTR, statuses.data()));
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.set(SQL_ATTR_ROWS_FETCHED_PTR, &fetched));
  EXPECT_SQL(SQL_SUCCESS, stmt,
             SQLBindCol(stmt, 1, SQL_C_SLONG, ids(), sizeof(SQLINTEGER), idLengths.data()));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLBindCol(stmt, 2, SQL_C_CHAR, nameAt(0), nameSize, nameLengths.data()));
}

std::string Rowset::text() const {
  const FaultPause pause;
  std::string all;
  for (SQLULEN i = 0; i < fetched; ++i) {
    if (i) all += ' ';
    all += idLengths[i] == SQL_NULL_DATA ? "null" : std::to_string(ids()[i]);
    all += ':';
    all += nameLengths[i] == SQL_NULL_DATA ? "null" : nameAt(i);
    switch (statuses[i]) {
      case SQL_ROW_DELETED: all += '-'; break;
      case SQL_ROW_UPDATED: all += '+'; break;
      case SQL_ROW_ERROR: all += '!'; break;
      case SQL_ROW_SUCCESS_WITH_INFO: all += '~'; break;
      case SQL_ROW_SUCCESS: break;
      default: all += "?"; break;
    }
  }
  return all;
}

void Rowset::setName(SQLULEN row, const char* name) {
  nameLengths[row] = name ? static_cast<SQLLEN>(std::strlen(name)) : SQL_NULL_DATA;
  if (name) std::strncpy(nameAt(row), name, nameSize);
}

std::string rowTexts(int first, int last) {
  const FaultPause pause;
  std::string all;
  for (int i = first; i <= last; ++i) {
    all += (i > first ? " " : "") + std::to_string(i) + ":row " + std::to_string(i);
  }
  return all;
}
