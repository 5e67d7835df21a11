#include "types/types.h"

#include <algorithm>
#include <iterator>

#include "types/interval.h"

namespace pgwire {

namespace {

constexpr int32_t kModifierHead = 4;  // a length or precision is stored with 4 added
constexpr SQLLEN kMaxFraction = 6;
constexpr SQLLEN kDefaultPrecision = 28;  // of a numeric without one
constexpr SQLSMALLINT kDefaultScale = 6;

// The fields of an interval, as bits of its modifier.
constexpr unsigned kRangeShift = 16;
constexpr uint16_t kRangeMask = 0x7FFF;  // all fields: as without a modifier
constexpr uint16_t kMonthBit = 1 << 1, kYearBit = 1 << 2, kDayBit = 1 << 3, kHourBit = 1 << 10,
                   kMinuteBit = 1 << 11, kSecondBit = 1 << 12;

constexpr TypeRow intervalRow(SQLSMALLINT sqlType, const char* name, SQLLEN size, unsigned range) {
  const bool hasSeconds = range & kSecondBit;
  return {Oid::Interval,
          Kind::Interval,
          sqlType,
          name,
          size,
          sizeof(SQL_INTERVAL_STRUCT),
          64,
          "'",
          "'",
          hasSeconds ? "precision" : nullptr,
          SQL_PRED_BASIC,
          static_cast<uint16_t>(range)};
}

constexpr TypeRow kRows[] = {
    {Oid::Bool, Kind::Bool, SQL_BIT, "bool", 1, 1, 1, nullptr, nullptr, nullptr, SQL_PRED_BASIC},
    {Oid::Bytea, Kind::Bytes, SQL_LONGVARBINARY, "bytea", 0, 0, 0, "'\\x", "'", nullptr, SQL_PRED_BASIC},
    {Oid::Int8, Kind::Integer, SQL_BIGINT, "int8", 19, 8, 20, nullptr, nullptr, nullptr, SQL_PRED_BASIC},
    {Oid::Text, Kind::Text, SQL_LONGVARCHAR, "text", 0, 0, 0, "'", "'", nullptr, SQL_SEARCHABLE},
    {Oid::Json, Kind::Text, SQL_LONGVARCHAR, "json", 0, 0, 0, "'", "'", nullptr, SQL_PRED_NONE},
    {Oid::Jsonb, Kind::Text, SQL_LONGVARCHAR, "jsonb", 0, 0, 0, "'", "'", nullptr, SQL_PRED_BASIC},
    {Oid::Xml, Kind::Text, SQL_LONGVARCHAR, "xml", 0, 0, 0, "'", "'", nullptr, SQL_PRED_NONE},
    {Oid::Char, Kind::Text, SQL_CHAR, "bpchar", 0, 0, 0, "'", "'", "max. length", SQL_SEARCHABLE},
    {Oid::SingleChar, Kind::Text, SQL_CHAR, "\"char\"", 1, 1, 1, "'", "'", nullptr, SQL_SEARCHABLE},
    {Oid::Numeric, Kind::Decimal, SQL_NUMERIC, "numeric", 0, 0, 0, nullptr, nullptr, "precision, scale",
     SQL_PRED_BASIC},
    {Oid::Int4, Kind::Integer, SQL_INTEGER, "int4", 10, 4, 11, nullptr, nullptr, nullptr, SQL_PRED_BASIC},
    {Oid::ObjectId, Kind::Integer, SQL_BIGINT, "oid", 10, 8, 10, nullptr, nullptr, nullptr, SQL_PRED_BASIC},
    {Oid::Int2, Kind::Integer, SQL_SMALLINT, "int2", 5, 2, 6, nullptr, nullptr, nullptr, SQL_PRED_BASIC},
    {Oid::Float8, Kind::Float, SQL_DOUBLE, "float8", 15, 8, 24, nullptr, nullptr, nullptr, SQL_PRED_BASIC},
    {Oid::Float4, Kind::Float, SQL_REAL, "float4", 7, 4, 14, nullptr, nullptr, nullptr, SQL_PRED_BASIC},
    {Oid::Varchar, Kind::Text, SQL_VARCHAR, "varchar", 0, 0, 0, "'", "'", "max. length", SQL_SEARCHABLE},
    {Oid::Name, Kind::Text, SQL_VARCHAR, "name", 63, 63, 63, "'", "'", nullptr, SQL_SEARCHABLE},
    {Oid::Interval, Kind::Interval, SQL_VARCHAR, "interval", 64, 64, 64, "'", "'", nullptr, SQL_PRED_BASIC},
    {Oid::TimeZone, Kind::Text, SQL_VARCHAR, "timetz", 21, 21, 21, "'", "'", nullptr, SQL_PRED_BASIC},
    {Oid::Money, Kind::Text, SQL_VARCHAR, "money", 30, 30, 30, "'", "'", nullptr, SQL_PRED_BASIC},
    {Oid::Date, Kind::Date, SQL_TYPE_DATE, "date", 10, 6, 10, "'", "'", nullptr, SQL_PRED_BASIC},
    {Oid::Time, Kind::Time, SQL_TYPE_TIME, "time", 8, 6, 15, "'", "'", "precision", SQL_PRED_BASIC},
    {Oid::Timestamp, Kind::Timestamp, SQL_TYPE_TIMESTAMP, "timestamp", 26, 16, 26, "'", "'", "precision",
     SQL_PRED_BASIC},
    {Oid::TimestampZone, Kind::Timestamp, SQL_TYPE_TIMESTAMP, "timestamptz", 26, 16, 32, "'", "'",
     "precision", SQL_PRED_BASIC},
    {Oid::Uuid, Kind::Uuid, SQL_GUID, "uuid", 36, 16, 36, "'", "'", nullptr, SQL_PRED_BASIC},
    intervalRow(SQL_INTERVAL_YEAR, "interval year", 9, kYearBit),
    intervalRow(SQL_INTERVAL_MONTH, "interval month", 9, kMonthBit),
    intervalRow(SQL_INTERVAL_DAY, "interval day", 9, kDayBit),
    intervalRow(SQL_INTERVAL_HOUR, "interval hour", 9, kHourBit),
    intervalRow(SQL_INTERVAL_MINUTE, "interval minute", 9, kMinuteBit),
    intervalRow(SQL_INTERVAL_SECOND, "interval second", 16, kSecondBit),
    intervalRow(SQL_INTERVAL_YEAR_TO_MONTH, "interval year to month", 12, kYearBit | kMonthBit),
    intervalRow(SQL_INTERVAL_DAY_TO_HOUR, "interval day to hour", 12, kDayBit | kHourBit),
    intervalRow(SQL_INTERVAL_DAY_TO_MINUTE, "interval day to minute", 15, kDayBit | kHourBit | kMinuteBit),
    intervalRow(SQL_INTERVAL_DAY_TO_SECOND, "interval day to second", 25,
                kDayBit | kHourBit | kMinuteBit | kSecondBit),
    intervalRow(SQL_INTERVAL_HOUR_TO_MINUTE, "interval hour to minute", 12, kHourBit | kMinuteBit),
    intervalRow(SQL_INTERVAL_HOUR_TO_SECOND, "interval hour to second", 22,
                kHourBit | kMinuteBit | kSecondBit),
    intervalRow(SQL_INTERVAL_MINUTE_TO_SECOND, "interval minute to second", 19, kMinuteBit | kSecondBit),
};

constexpr TypeRow kOther = {Oid::Unknown, Kind::Text, SQL_LONGVARCHAR, "text",        0, 0, 0,
                            "'",          "'",        nullptr,         SQL_SEARCHABLE};

void addNumericFacts(ColumnFacts& facts, int32_t modifier) {
  facts.size = kDefaultPrecision;
  facts.scale = kDefaultScale;
  if (modifier >= kModifierHead) {
    constexpr unsigned kScaleBits = 11;
    const uint32_t packed = static_cast<uint32_t>(modifier - kModifierHead);
    facts.size = packed >> 16;
    // The scale is a signed number of 11 bits; a negative one means digits before the point.
    const auto scale = static_cast<int32_t>((packed & ((1U << kScaleBits) - 1)) ^ (1U << (kScaleBits - 1))) -
                       (1 << (kScaleBits - 1));
    facts.scale = static_cast<SQLSMALLINT>(std::max(0, scale));
  }
  facts.display = facts.octets = facts.size + 2;
}

void addTimeFacts(ColumnFacts& facts, int32_t modifier) {
  const SQLLEN fraction = modifier >= 0 && modifier <= kMaxFraction ? modifier : kMaxFraction;
  const SQLLEN head = facts.type->kind == Kind::Time ? 8 : 19;
  facts.scale = static_cast<SQLSMALLINT>(fraction);
  facts.size = head + (fraction ? fraction + 1 : 0);
  facts.display = std::max(facts.size, facts.type->display);
}

void addIntervalFacts(ColumnFacts& facts, int32_t modifier) {
  if (!(facts.type->range & kSecondBit)) return;
  const SQLLEN fraction = modifier >= 0 ? modifier & 0xFFFF : kMaxFraction;
  facts.scale = static_cast<SQLSMALLINT>(std::min(fraction, kMaxFraction));
  facts.size -= kMaxFraction - facts.scale + (facts.scale ? 0 : 1);
}

}  // namespace

const TypeRow* typeRows() { return kRows; }
unsigned typeRowCount() { return std::size(kRows); }

const TypeRow& typeRowOf(uint32_t oid, int32_t modifier) {
  uint16_t range = 0;
  if (oid == static_cast<uint32_t>(Oid::Interval) && modifier >= 0) {
    range = static_cast<uint16_t>(modifier >> kRangeShift & kRangeMask);
    if (range == kRangeMask) range = 0;
  }
  const auto* row = std::find_if(std::begin(kRows), std::end(kRows), [&](const TypeRow& r) {
    return static_cast<uint32_t>(r.oid) == oid && r.range == range;
  });
  return row == std::end(kRows) ? kOther : *row;
}

ColumnFacts factsOf(uint32_t oid, int32_t modifier, long textSize) {
  ColumnFacts facts;
  facts.type = &typeRowOf(oid, modifier);
  facts.size = facts.type->size;
  facts.octets = facts.type->octets;
  facts.display = facts.type->display;
  switch (facts.type->kind) {
    case Kind::Decimal: addNumericFacts(facts, modifier); break;
    case Kind::Time:
    case Kind::Timestamp: addTimeFacts(facts, modifier); break;
    case Kind::Interval: addIntervalFacts(facts, modifier); break;
    case Kind::Text:
      if (facts.size > 0) break;
      facts.size = modifier >= kModifierHead ? modifier - kModifierHead : textSize;
      facts.display = facts.octets = facts.size;
      break;
    case Kind::Bytes:
      facts.size = facts.octets = textSize;
      facts.display = 2 * textSize;
      break;
    default: break;
  }
  return facts;
}

SQLSMALLINT defaultCType(SQLSMALLINT sqlType) {
  switch (sqlType) {
    case SQL_BIT: return SQL_C_BIT;
    case SQL_TINYINT: return SQL_C_STINYINT;
    case SQL_SMALLINT: return SQL_C_SSHORT;
    case SQL_INTEGER: return SQL_C_SLONG;
    case SQL_BIGINT: return SQL_C_SBIGINT;
    case SQL_REAL: return SQL_C_FLOAT;
    case SQL_FLOAT:
    case SQL_DOUBLE: return SQL_C_DOUBLE;
    case SQL_BINARY:
    case SQL_VARBINARY:
    case SQL_LONGVARBINARY: return SQL_C_BINARY;
    case SQL_DATE:
    case SQL_TYPE_DATE: return SQL_C_TYPE_DATE;
    case SQL_TIME:
    case SQL_TYPE_TIME: return SQL_C_TYPE_TIME;
    case SQL_TIMESTAMP:
    case SQL_TYPE_TIMESTAMP: return SQL_C_TYPE_TIMESTAMP;
    case SQL_GUID: return SQL_C_GUID;
    case SQL_WCHAR:
    case SQL_WVARCHAR:
    case SQL_WLONGVARCHAR: return SQL_C_WCHAR;
    default: return isIntervalType(sqlType) ? sqlType : static_cast<SQLSMALLINT>(SQL_C_CHAR);
  }
}

SQLSMALLINT verboseType(SQLSMALLINT conciseType, SQLSMALLINT* subcode) {
  *subcode = 0;
  switch (conciseType) {
    case SQL_TYPE_DATE:
    case SQL_TYPE_TIME:
    case SQL_TYPE_TIMESTAMP:
      *subcode = static_cast<SQLSMALLINT>(conciseType - SQL_TYPE_DATE + SQL_CODE_DATE);
      return SQL_DATETIME;
    default: break;
  }
  if (isIntervalType(conciseType)) {
    *subcode = static_cast<SQLSMALLINT>(conciseType - SQL_INTERVAL_YEAR + SQL_CODE_YEAR);
    return SQL_INTERVAL;
  }
  return conciseType;
}

}  // namespace pgwire
