#include "odbc/columns.h"

#include <algorithm>

#include "odbc/entry.h"
#include "odbc/execute.h"
#include "odbc/origins.h"
#include "odbc/text.h"
#include "types/binary.h"
#include "types/interval.h"

namespace pgwire {

namespace {

constexpr SQLINTEGER kIntervalDigits = 9;  // of the leading field

void describe(DescriptorRecord& record, long textSize) {
  record.facts = factsOf(record.oid, record.modifier, textSize);
  const ColumnFacts& facts = record.facts;
  record.setType(facts.type->sqlType);
  record.length = static_cast<SQLULEN>(facts.size);
  record.octetLength = facts.octets;
  record.scale = facts.scale;
  const bool isTime = facts.type->kind == Kind::Time || facts.type->kind == Kind::Timestamp ||
                      isIntervalType(facts.type->sqlType);
  record.precision = isTime ? facts.scale : static_cast<SQLSMALLINT>(std::min<SQLLEN>(facts.size, 0x7FFF));
  record.intervalPrecision = isIntervalType(facts.type->sqlType) ? kIntervalDigits : 0;
  record.numPrecRadix = isNumber(*facts.type) ? 10 : 0;
  record.nullable = SQL_NULLABLE_UNKNOWN;
}

int takeColumn(MessageReader& reader, DescriptorRecord& record) {
  Text name;
  uint16_t typeLength = 0;
  uint32_t modifier = 0;
  uint16_t format = 0;
  if (reader.text(name) || reader.int32(&record.table) || reader.int16(&record.tableColumn) ||
      reader.int32(&record.oid) || reader.int16(&typeLength) || reader.int32(&modifier) ||
      reader.int16(&format) || format != 0) {
    return 1;
  }
  record.modifier = static_cast<int32_t>(modifier);
  const std::size_t n = std::min(name.size(), DescriptorRecord::kNameSize - 1);
  std::copy(name.begin(), name.begin() + n, record.name);
  record.name[n] = 0;
  return 0;
}

// What describes the statement's columns must be known.
int needColumns(Statement& stmt) {
  switch (stmt.stage) {
    case Stage::Cursor:
    case Stage::Executed: return 0;
    case Stage::Prepared: return describePrepared(stmt);
    default: return fail(Issue::NoStatement);
  }
}

DescriptorRecord* columnOf(Statement& stmt, SQLUSMALLINT number) {
  if (needColumns(stmt)) return nullptr;
  DescriptorRecord* record = stmt.columns.record(number);
  if (!record) fail(Issue::BadColumn);
  return record;
}

template <class Char>
SQLRETURN describeColumn(SQLHSTMT handle, SQLUSMALLINT number, Char* name, SQLSMALLINT size,
                         SQLSMALLINT* length, SQLSMALLINT* type, SQLULEN* columnSize, SQLSMALLINT* scale,
                         SQLSMALLINT* nullable) {
  return enter<Statement>(handle, [&](Statement& stmt) {
    const DescriptorRecord* record = columnOf(stmt, number);
    if (!record) return codeOf(1);
    if (type) *type = record->conciseType;
    if (columnSize) *columnSize = record->length;
    if (scale) *scale = record->scale;
    if (nullable) *nullable = record->nullable;
    return codeOf(giveText(stmt.conn.codePage, record->name, name, size, length));
  });
}

// The text of a column's field; null if the field is a number.
const char* textField(const DescriptorRecord& r, SQLUSMALLINT field) {
  const auto orEmpty = [](const char* s) { return s ? s : ""; };
  switch (field) {
    case SQL_DESC_NAME:
    case SQL_DESC_LABEL:
    case SQL_COLUMN_NAME: return r.name;
    case SQL_DESC_TYPE_NAME:
    case SQL_DESC_LOCAL_TYPE_NAME: return r.facts.type->name;
    case SQL_DESC_LITERAL_PREFIX: return orEmpty(r.facts.type->prefix);
    case SQL_DESC_LITERAL_SUFFIX: return orEmpty(r.facts.type->suffix);
    default: return nullptr;
  }
}

bool numberField(const DescriptorRecord& r, SQLUSMALLINT field, SQLLEN& out) {
  const TypeRow& type = *r.facts.type;
  switch (field) {
    case SQL_DESC_CONCISE_TYPE: out = r.conciseType; return true;
    case SQL_DESC_TYPE: out = r.verbose; return true;
    case SQL_DESC_DATETIME_INTERVAL_CODE: out = r.subcode; return true;
    case SQL_DESC_LENGTH:
    case SQL_COLUMN_LENGTH: out = static_cast<SQLLEN>(r.length); return true;
    case SQL_DESC_OCTET_LENGTH: out = r.octetLength; return true;
    case SQL_DESC_PRECISION:
    case SQL_COLUMN_PRECISION: out = r.precision; return true;
    case SQL_DESC_SCALE:
    case SQL_COLUMN_SCALE: out = r.scale; return true;
    case SQL_DESC_DISPLAY_SIZE: out = r.facts.display; return true;
    case SQL_DESC_NULLABLE:
    case SQL_COLUMN_NULLABLE: out = r.nullable; return true;
    case SQL_DESC_UNSIGNED:
      out = isNumber(type) && type.oid != Oid::ObjectId ? SQL_FALSE : SQL_TRUE;
      return true;
    case SQL_DESC_UNNAMED: out = r.name[0] ? SQL_NAMED : SQL_UNNAMED; return true;
    case SQL_DESC_CASE_SENSITIVE: out = type.kind == Kind::Text ? SQL_TRUE : SQL_FALSE; return true;
    case SQL_DESC_FIXED_PREC_SCALE: out = type.oid == Oid::Money ? SQL_TRUE : SQL_FALSE; return true;
    case SQL_DESC_AUTO_UNIQUE_VALUE: out = SQL_FALSE; return true;
    case SQL_DESC_SEARCHABLE: out = type.searchable; return true;
    case SQL_DESC_UPDATABLE: out = SQL_ATTR_READWRITE_UNKNOWN; return true;
    case SQL_DESC_NUM_PREC_RADIX: out = r.numPrecRadix; return true;
    default: return false;
  }
}

template <class Char>
SQLRETURN columnAttribute(SQLHSTMT handle, SQLUSMALLINT number, SQLUSMALLINT field, SQLPOINTER text,
                          SQLSMALLINT size, SQLSMALLINT* length, SQLLEN* value) {
  return enter<Statement>(handle, [&](Statement& stmt) {
    if (field == SQL_DESC_COUNT) {
      if (needColumns(stmt)) return codeOf(1);
      return codeOf(giveNumber(static_cast<SQLLEN>(stmt.columns.records.size()), value));
    }
    const DescriptorRecord* record = columnOf(stmt, number);
    if (!record) return codeOf(1);
    int failed = 0;
    const char* found = originField(stmt, number, field, &failed);
    if (!found) found = textField(*record, field);
    if (found) return codeOf(failed || giveTextBytes<Char>(stmt.conn.codePage, found, text, size, length));
    SQLLEN cell = 0;
    if (!numberField(*record, field, cell)) return codeOf(fail(Issue::BadDescriptorField));
    return codeOf(giveNumber(cell, value));
  });
}

}  // namespace

int takeColumns(Statement& stmt, const Message& message, bool prepared) {
  MessageReader reader(message);
  uint16_t count = 0;
  if (reader.int16(&count)) return stmt.conn.session.reportNonsense();
  stmt.columns.clearRecords();
  for (unsigned i = 0; i < count; ++i) {
    DescriptorRecord record;
    if (takeColumn(reader, record)) return stmt.conn.session.reportNonsense();
    describe(record, stmt.conn.settings.textSize);
    record.binary = prepared && hasBinaryForm(static_cast<Oid>(record.oid));
    if (stmt.columns.records.append(record)) return 1;
  }
  return 0;
}

int takeParameters(Statement& stmt, const Message& message) {
  MessageReader reader(message);
  uint16_t count = 0;
  if (reader.int16(&count)) return stmt.conn.session.reportNonsense();
  for (unsigned i = 0; i < count; ++i) {
    uint32_t oid = 0;
    if (reader.int32(&oid)) return stmt.conn.session.reportNonsense();
    if (i >= stmt.text.sent.size()) return stmt.conn.session.reportNonsense();
    DescriptorRecord* record = stmt.parameters.makeRecord(stmt.text.sent[i] + 1UL);
    if (!record) return 1;
    record->oid = oid;
    // What the application said about the parameter stays: it is how default C types are found.
    if (!record->isBound) describe(*record, stmt.conn.settings.textSize);
    record->facts = factsOf(oid, -1, stmt.conn.settings.textSize);
    record->nullable = SQL_NULLABLE_UNKNOWN;
  }
  return 0;
}

int describeOutputs(Statement& stmt) {
  const Array<unsigned>& outputs = stmt.text.outputs;
  for (std::size_t i = 0; i < outputs.size() && i < stmt.columns.records.size(); ++i) {
    DescriptorRecord* record = stmt.parameters.makeRecord(outputs[i] + 1UL);
    if (!record) return 1;
    record->facts = stmt.columns.records[i].facts;
    record->nullable = SQL_NULLABLE_UNKNOWN;
  }
  return 0;
}

}  // namespace pgwire

using namespace pgwire;

extern "C" {

SQLRETURN SQL_API SQLNumResultCols(SQLHSTMT handle, SQLSMALLINT* count) {
  return enter<Statement>(handle, [&](Statement& stmt) {
    if (needColumns(stmt)) return codeOf(1);
    // The rows of a call have gone into its parameters.
    const std::size_t n = stmt.stage == Stage::Executed ? 0 : stmt.columns.records.size();
    return codeOf(giveNumber(static_cast<SQLSMALLINT>(n), count));
  });
}

SQLRETURN SQL_API SQLDescribeCol(SQLHSTMT handle, SQLUSMALLINT number, SQLCHAR* name, SQLSMALLINT size,
                                 SQLSMALLINT* length, SQLSMALLINT* type, SQLULEN* columnSize,
                                 SQLSMALLINT* scale, SQLSMALLINT* nullable) {
  return describeColumn(handle, number, name, size, length, type, columnSize, scale, nullable);
}
SQLRETURN SQL_API SQLDescribeColW(SQLHSTMT handle, SQLUSMALLINT number, SQLWCHAR* name, SQLSMALLINT size,
                                  SQLSMALLINT* length, SQLSMALLINT* type, SQLULEN* columnSize,
                                  SQLSMALLINT* scale, SQLSMALLINT* nullable) {
  return describeColumn(handle, number, name, size, length, type, columnSize, scale, nullable);
}

SQLRETURN SQL_API SQLColAttribute(SQLHSTMT handle, SQLUSMALLINT number, SQLUSMALLINT field, SQLPOINTER text,
                                  SQLSMALLINT size, SQLSMALLINT* length, SQLLEN* value) {
  return columnAttribute<SQLCHAR>(handle, number, field, text, size, length, value);
}
SQLRETURN SQL_API SQLColAttributeW(SQLHSTMT handle, SQLUSMALLINT number, SQLUSMALLINT field, SQLPOINTER text,
                                   SQLSMALLINT size, SQLSMALLINT* length, SQLLEN* value) {
  return columnAttribute<SQLWCHAR>(handle, number, field, text, size, length, value);
}

SQLRETURN SQL_API SQLNumParams(SQLHSTMT handle, SQLSMALLINT* count) {
  return enter<Statement>(handle, [&](Statement& stmt) {
    if (stmt.stage == Stage::Allocated) return codeOf(fail(Issue::NoStatement));
    return codeOf(giveNumber(static_cast<SQLSMALLINT>(stmt.text.parameters), count));
  });
}

SQLRETURN SQL_API SQLDescribeParam(SQLHSTMT handle, SQLUSMALLINT number, SQLSMALLINT* type, SQLULEN* size,
                                   SQLSMALLINT* scale, SQLSMALLINT* nullable) {
  return enter<Statement>(handle, [&](Statement& stmt) {
    if (stmt.stage == Stage::Allocated) return codeOf(fail(Issue::NoStatement));
    if (describePrepared(stmt)) return codeOf(1);
    const DescriptorRecord* record = stmt.parameters.record(number);
    if (!record || !record->facts.type) return codeOf(fail(Issue::BadParameter));
    if (type) *type = record->facts.type->sqlType;
    if (size) *size = static_cast<SQLULEN>(record->facts.size);
    if (scale) *scale = record->facts.scale;
    if (nullable) *nullable = record->nullable;
    return codeOf(0);
  });
}

}  // extern "C"
