// The C type that SQL_C_DEFAULT stands for, and the sizes of the fixed-size C types.

#include <sqlext.h>

#include "zulib/cursor/rows/cursor.h"

namespace {

constexpr short FIRST_INTERVAL = SQL_INTERVAL_YEAR;
constexpr short LAST_INTERVAL = SQL_INTERVAL_MINUTE_TO_SECOND;

bool isInterval(short type) { return type >= FIRST_INTERVAL && type <= LAST_INTERVAL; }

}  // namespace

short DefaultCType(short sqlType) {
  if (isInterval(sqlType)) return sqlType;
  switch (sqlType) {
    case SQL_BIT:
    case SQL_TINYINT:
    case SQL_INTEGER:
    case SQL_SMALLINT:
    case SQL_REAL:
    case SQL_DATE:
    case SQL_TIME:
    case SQL_TIMESTAMP:
    case SQL_TYPE_DATE:
    case SQL_TYPE_TIME:
    case SQL_TYPE_TIMESTAMP: return sqlType;
    case SQL_BIGINT: return SQL_C_SBIGINT;
    case SQL_LONGVARBINARY:
    case SQL_VARBINARY:
    case SQL_BINARY: return SQL_C_BINARY;
    case SQL_FLOAT:
    case SQL_DOUBLE: return SQL_C_DOUBLE;
    default: return SQL_C_CHAR;
  }
}

SQLULEN DefaultSize(short cType, SQLULEN size) {
  if (isInterval(cType)) return sizeof(SQL_INTERVAL_STRUCT);
  switch (cType) {
    case SQL_C_UTINYINT:
    case SQL_C_STINYINT:
    case SQL_C_BIT:
    case SQL_C_TINYINT: return 1;
    case SQL_C_UBIGINT:
    case SQL_C_SBIGINT:
    case SQL_C_DOUBLE: return 8;
    case SQL_C_ULONG:
    case SQL_C_SLONG:
    case SQL_C_LONG:
    case SQL_C_FLOAT: return 4;
    case SQL_C_USHORT:
    case SQL_C_SSHORT:
    case SQL_C_SHORT: return 2;
    case SQL_C_NUMERIC: return sizeof(SQL_NUMERIC_STRUCT);
    case SQL_C_DATE:
    case SQL_C_TIME:
    case SQL_C_TYPE_DATE:
    case SQL_C_TYPE_TIME: return sizeof(SQL_DATE_STRUCT);
    case SQL_C_TIMESTAMP:
    case SQL_C_TYPE_TIMESTAMP: return sizeof(SQL_TIMESTAMP_STRUCT);
    default: return size;
  }
}
