// The server's types as ODBC sees them.

#ifndef PGWIRE_TYPES_TYPES_H
#define PGWIRE_TYPES_TYPES_H

#include <sql.h>
#include <sqlext.h>

#include <cstdint>

namespace pgwire {

// Numbers of the server's types.
enum class Oid : uint32_t {
  Unknown = 705,
  Bool = 16,
  Bytea = 17,
  SingleChar = 18,
  Name = 19,
  Int8 = 20,
  Int2 = 21,
  Int4 = 23,
  Text = 25,
  ObjectId = 26,
  Json = 114,
  Xml = 142,
  Float4 = 700,
  Float8 = 701,
  Money = 790,
  Char = 1042,
  Varchar = 1043,
  Date = 1082,
  Time = 1083,
  Timestamp = 1114,
  TimestampZone = 1184,
  Interval = 1186,
  TimeZone = 1266,
  Numeric = 1700,
  Uuid = 2950,
  Jsonb = 3802,
};

// How a value is converted.
enum class Kind : uint8_t {
  Bool,
  Integer,
  Float,
  Decimal,
  Text,
  Bytes,
  Date,
  Time,
  Timestamp,
  Uuid,
  Interval
};

// A type as SQLGetTypeInfo lists it.
struct TypeRow {
  Oid oid;
  Kind kind;
  SQLSMALLINT sqlType;
  const char* name;
  SQLLEN size;  // column size; 0: from the column's modifier
  SQLLEN octets;
  SQLLEN display;
  const char* prefix;  // of literals
  const char* suffix;
  const char* createParameters;
  SQLSMALLINT searchable;
  uint16_t range = 0;  // of an interval with some fields only: the server's bits for them
};

// The types in the order of SQLGetTypeInfo within one SQL type: the usual one first.
const TypeRow* typeRows();
unsigned typeRowCount();

// Types that are not in the table are text.
const TypeRow& typeRowOf(uint32_t oid, int32_t modifier);

// The facts of a column, or of a parameter.
struct ColumnFacts {
  const TypeRow* type = nullptr;
  SQLLEN size = 0;        // column size: characters, digits, or bytes
  SQLSMALLINT scale = 0;  // decimal digits
  SQLLEN display = 0;
  SQLLEN octets = 0;
};

// `modifier` is the server's, -1 for none; `textSize` the size of text without a limit.
ColumnFacts factsOf(uint32_t oid, int32_t modifier, long textSize);

// The C type of SQL_C_DEFAULT.
SQLSMALLINT defaultCType(SQLSMALLINT sqlType);

// SQL_DATETIME or SQL_INTERVAL and the subcode, of a concise type that is one; else the type and 0.
SQLSMALLINT verboseType(SQLSMALLINT conciseType, SQLSMALLINT* subcode);

inline bool isNumber(const TypeRow& type) {
  return type.kind == Kind::Integer || type.kind == Kind::Float || type.kind == Kind::Decimal;
}

}  // namespace pgwire

#endif
