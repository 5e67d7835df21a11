// The descriptor functions.

#include <algorithm>

#include "odbc/entry.h"
#include "odbc/execute.h"
#include "odbc/origins.h"
#include "odbc/text.h"

namespace pgwire {

namespace {

// The fields of the header; null for a field of a record.
void* headerCell(Descriptor& desc, SQLSMALLINT field) {
  switch (field) {
    case SQL_DESC_ARRAY_SIZE: return &desc.arraySize;
    case SQL_DESC_ARRAY_STATUS_PTR: return &desc.arrayStatus;
    case SQL_DESC_BIND_OFFSET_PTR: return &desc.bindOffset;
    case SQL_DESC_BIND_TYPE: return &desc.bindType;
    case SQL_DESC_ROWS_PROCESSED_PTR: return &desc.rowsProcessed;
    default: return nullptr;
  }
}

int giveWord(SQLPOINTER out, SQLSMALLINT value) { return giveNumber(value, out); }

int getNumberField(const Descriptor& desc, const DescriptorRecord& r, SQLSMALLINT field, SQLPOINTER out) {
  const bool isColumn = desc.role == Role::RowDescription;
  switch (field) {
    case SQL_DESC_CONCISE_TYPE: return giveWord(out, r.conciseType);
    case SQL_DESC_TYPE: return giveWord(out, r.verbose);
    case SQL_DESC_DATETIME_INTERVAL_CODE: return giveWord(out, r.subcode);
    case SQL_DESC_PRECISION: return giveWord(out, r.precision);
    case SQL_DESC_SCALE: return giveWord(out, r.scale);
    case SQL_DESC_NULLABLE: return giveWord(out, r.nullable);
    case SQL_DESC_PARAMETER_TYPE: return giveWord(out, r.parameterType);
    case SQL_DESC_UNNAMED: return giveWord(out, r.name[0] ? SQL_NAMED : SQL_UNNAMED);
    case SQL_DESC_LENGTH: return giveNumber(r.length, out);
    case SQL_DESC_OCTET_LENGTH: return giveNumber(r.octetLength, out);
    case SQL_DESC_DATA_PTR: return giveNumber(r.data, out);
    case SQL_DESC_INDICATOR_PTR: return giveNumber(r.indicator, out);
    case SQL_DESC_OCTET_LENGTH_PTR: return giveNumber(r.octetLengthPtr, out);
    case SQL_DESC_DATETIME_INTERVAL_PRECISION: return giveNumber(r.intervalPrecision, out);
    case SQL_DESC_NUM_PREC_RADIX: return giveNumber(r.numPrecRadix, out);
    case SQL_DESC_DISPLAY_SIZE:
      return isColumn ? giveNumber(r.facts.display, out) : fail(Issue::BadDescriptorField);
    case SQL_DESC_SEARCHABLE:
      return isColumn ? giveWord(out, r.facts.type->searchable) : fail(Issue::BadDescriptorField);
    case SQL_DESC_UPDATABLE: return giveWord(out, SQL_ATTR_READWRITE_UNKNOWN);
    case SQL_DESC_AUTO_UNIQUE_VALUE: return giveNumber(static_cast<SQLINTEGER>(SQL_FALSE), out);
    case SQL_DESC_CASE_SENSITIVE:
      return giveNumber(static_cast<SQLINTEGER>(r.facts.type && r.facts.type->kind == Kind::Text), out);
    case SQL_DESC_FIXED_PREC_SCALE: return giveWord(out, SQL_FALSE);
    case SQL_DESC_UNSIGNED:
      return giveWord(out, static_cast<SQLSMALLINT>(r.facts.type && !isNumber(*r.facts.type)));
    default: return fail(Issue::BadDescriptorField);
  }
}

template <class Char>
int getField(Descriptor& desc, SQLSMALLINT number, SQLSMALLINT field, SQLPOINTER out, SQLINTEGER size,
             SQLINTEGER* length) {
  if (const void* cell = headerCell(desc, field)) {
    if (out) std::memcpy(out, cell, sizeof(SQLPOINTER));
    return 0;
  }
  if (field == SQL_DESC_ALLOC_TYPE)
    return giveWord(out, desc.owner ? SQL_DESC_ALLOC_AUTO : SQL_DESC_ALLOC_USER);
  if (field == SQL_DESC_COUNT) return giveWord(out, static_cast<SQLSMALLINT>(desc.records.size()));
  const DescriptorRecord* record = number > 0 ? desc.record(static_cast<std::size_t>(number)) : nullptr;
  if (!record) return fail(Issue::BadColumn);
  const char* type = record->facts.type ? record->facts.type->name : "";
  int failed = 0;
  const char* origin = desc.role == Role::RowDescription && desc.owner
                           ? originField(*desc.owner, static_cast<std::size_t>(number),
                                         static_cast<SQLUSMALLINT>(field), &failed)
                           : nullptr;
  if (origin) return failed || giveTextBytes<Char>(desc.conn.codePage, origin, out, size, length);
  switch (field) {
    case SQL_DESC_NAME:
    case SQL_DESC_LABEL: return giveTextBytes<Char>(desc.conn.codePage, record->name, out, size, length);
    case SQL_DESC_TYPE_NAME:
    case SQL_DESC_LOCAL_TYPE_NAME: return giveTextBytes<Char>(desc.conn.codePage, type, out, size, length);
    default: return getNumberField(desc, *record, field, out);
  }
}

template <class Number>
Number asNumber(SQLPOINTER value) {
  return static_cast<Number>(reinterpret_cast<SQLLEN>(value));
}

void setVerbose(DescriptorRecord& r) {
  if (r.verbose == SQL_DATETIME && r.subcode >= SQL_CODE_DATE && r.subcode <= SQL_CODE_TIMESTAMP)
    r.conciseType = static_cast<SQLSMALLINT>(SQL_TYPE_DATE + r.subcode - SQL_CODE_DATE);
}

int setRecordField(DescriptorRecord& r, SQLSMALLINT field, SQLPOINTER value) {
  // Every field but the deferred ones unbinds the record.
  const bool isDeferred =
      field == SQL_DESC_DATA_PTR || field == SQL_DESC_INDICATOR_PTR || field == SQL_DESC_OCTET_LENGTH_PTR;
  if (!isDeferred) r.data = nullptr;
  switch (field) {
    case SQL_DESC_CONCISE_TYPE: r.setType(asNumber<SQLSMALLINT>(value)); return 0;
    case SQL_DESC_TYPE:
      r.verbose = r.conciseType = asNumber<SQLSMALLINT>(value);
      setVerbose(r);
      return 0;
    case SQL_DESC_DATETIME_INTERVAL_CODE:
      r.subcode = asNumber<SQLSMALLINT>(value);
      setVerbose(r);
      return 0;
    case SQL_DESC_PRECISION:
      r.precision = asNumber<SQLSMALLINT>(value);
      r.scaleIsSet = true;
      return 0;
    case SQL_DESC_SCALE:
      r.scale = asNumber<SQLSMALLINT>(value);
      r.scaleIsSet = true;
      return 0;
    case SQL_DESC_PARAMETER_TYPE:
      if (!isDirection(asNumber<SQLSMALLINT>(value))) return fail(Issue::BadParameterType);
      r.parameterType = asNumber<SQLSMALLINT>(value);
      return 0;
    case SQL_DESC_LENGTH: r.length = asNumber<SQLULEN>(value); return 0;
    case SQL_DESC_OCTET_LENGTH: r.octetLength = asNumber<SQLLEN>(value); return 0;
    case SQL_DESC_DATA_PTR:
      r.data = value;
      r.isBound = value != nullptr || r.octetLengthPtr;
      return 0;
    case SQL_DESC_INDICATOR_PTR: r.indicator = static_cast<SQLLEN*>(value); return 0;
    case SQL_DESC_OCTET_LENGTH_PTR: r.octetLengthPtr = static_cast<SQLLEN*>(value); return 0;
    case SQL_DESC_DATETIME_INTERVAL_PRECISION: r.intervalPrecision = asNumber<SQLINTEGER>(value); return 0;
    case SQL_DESC_NUM_PREC_RADIX: r.numPrecRadix = asNumber<SQLINTEGER>(value); return 0;
    case SQL_DESC_NAME:
    case SQL_DESC_UNNAMED: return 0;  // parameters have no names here
    default: return fail(Issue::BadDescriptorField);
  }
}

int setField(Descriptor& desc, SQLSMALLINT number, SQLSMALLINT field, SQLPOINTER value) {
  if (void* cell = headerCell(desc, field)) {
    std::memcpy(cell, &value, sizeof value);
    return 0;
  }
  if (desc.role == Role::RowDescription) return fail(Issue::ReadOnlyDescriptor);
  if (field == SQL_DESC_COUNT) {
    const auto count = asNumber<SQLSMALLINT>(value);
    if (count < 0) return fail(Issue::BadColumn);
    desc.records.shorten(std::min<std::size_t>(desc.records.size(), static_cast<std::size_t>(count)));
    return count == 0 || desc.makeRecord(static_cast<std::size_t>(count)) ? 0 : 1;
  }
  if (number < 1) return fail(Issue::BadColumn);
  DescriptorRecord* record = desc.makeRecord(static_cast<std::size_t>(number));
  return record ? setRecordField(*record, field, value) : 1;
}

template <class Char>
SQLRETURN getRecord(SQLHDESC handle, SQLSMALLINT number, Char* name, SQLSMALLINT size, SQLSMALLINT* length,
                    SQLSMALLINT* type, SQLSMALLINT* subcode, SQLLEN* octets, SQLSMALLINT* precision,
                    SQLSMALLINT* scale, SQLSMALLINT* nullable) {
  return enter<Descriptor>(handle, [&](Descriptor& desc) -> SQLRETURN {
    if (number < 1) return codeOf(fail(Issue::BadColumn));
    const DescriptorRecord* record = desc.record(static_cast<std::size_t>(number));
    if (!record) return SQL_NO_DATA;
    if (type) *type = record->verbose;
    if (subcode) *subcode = record->subcode;
    if (octets) *octets = record->octetLength;
    if (precision) *precision = record->precision;
    if (scale) *scale = record->scale;
    if (nullable) *nullable = record->nullable;
    return codeOf(giveText(desc.conn.codePage, record->name, name, size, length));
  });
}

int copyDescriptor(const Descriptor& from, Descriptor& to) {
  if (to.role == Role::RowDescription) return fail(Issue::ReadOnlyDescriptor);
  Array<DescriptorRecord> records;
  if (records.append(from.records.data(), from.records.size())) return 1;
  to.records.swap(records);
  to.arraySize = from.arraySize;
  to.arrayStatus = from.arrayStatus;
  to.bindOffset = from.bindOffset;
  to.bindType = from.bindType;
  to.rowsProcessed = from.rowsProcessed;
  return 0;
}

}  // namespace

}  // namespace pgwire

using namespace pgwire;

extern "C" {

SQLRETURN SQL_API SQLGetDescField(SQLHDESC handle, SQLSMALLINT number, SQLSMALLINT field, SQLPOINTER out,
                                  SQLINTEGER size, SQLINTEGER* length) {
  return enter<Descriptor>(handle, [&](Descriptor& desc) {
    return codeOf(getField<SQLCHAR>(desc, number, field, out, size, length));
  });
}
SQLRETURN SQL_API SQLGetDescFieldW(SQLHDESC handle, SQLSMALLINT number, SQLSMALLINT field, SQLPOINTER out,
                                   SQLINTEGER size, SQLINTEGER* length) {
  return enter<Descriptor>(handle, [&](Descriptor& desc) {
    return codeOf(getField<SQLWCHAR>(desc, number, field, out, size, length));
  });
}

SQLRETURN SQL_API SQLSetDescField(SQLHDESC handle, SQLSMALLINT number, SQLSMALLINT field, SQLPOINTER value,
                                  SQLINTEGER) {
  return enter<Descriptor>(handle,
                           [&](Descriptor& desc) { return codeOf(setField(desc, number, field, value)); });
}
SQLRETURN SQL_API SQLSetDescFieldW(SQLHDESC handle, SQLSMALLINT number, SQLSMALLINT field, SQLPOINTER value,
                                   SQLINTEGER length) {
  return SQLSetDescField(handle, number, field, value, length);
}

SQLRETURN SQL_API SQLGetDescRec(SQLHDESC handle, SQLSMALLINT number, SQLCHAR* name, SQLSMALLINT size,
                                SQLSMALLINT* length, SQLSMALLINT* type, SQLSMALLINT* subcode, SQLLEN* octets,
                                SQLSMALLINT* precision, SQLSMALLINT* scale, SQLSMALLINT* nullable) {
  return getRecord(handle, number, name, size, length, type, subcode, octets, precision, scale, nullable);
}
SQLRETURN SQL_API SQLGetDescRecW(SQLHDESC handle, SQLSMALLINT number, SQLWCHAR* name, SQLSMALLINT size,
                                 SQLSMALLINT* length, SQLSMALLINT* type, SQLSMALLINT* subcode, SQLLEN* octets,
                                 SQLSMALLINT* precision, SQLSMALLINT* scale, SQLSMALLINT* nullable) {
  return getRecord(handle, number, name, size, length, type, subcode, octets, precision, scale, nullable);
}

SQLRETURN SQL_API SQLSetDescRec(SQLHDESC handle, SQLSMALLINT number, SQLSMALLINT type, SQLSMALLINT subcode,
                                SQLLEN octets, SQLSMALLINT precision, SQLSMALLINT scale, SQLPOINTER data,
                                SQLLEN* length, SQLLEN* indicator) {
  return enter<Descriptor>(handle, [&](Descriptor& desc) {
    if (desc.role == Role::RowDescription) return codeOf(fail(Issue::ReadOnlyDescriptor));
    if (number < 1) return codeOf(fail(Issue::BadColumn));
    DescriptorRecord* record = desc.makeRecord(static_cast<std::size_t>(number));
    if (!record) return codeOf(1);
    record->verbose = record->conciseType = type;
    record->subcode = subcode;
    setVerbose(*record);
    record->octetLength = octets;
    record->precision = precision;
    record->scale = scale;
    record->scaleIsSet = type == SQL_NUMERIC;
    record->data = data;
    record->octetLengthPtr = length;
    record->indicator = indicator;
    record->isBound = data || length;
    return codeOf(0);
  });
}

SQLRETURN SQL_API SQLCopyDesc(SQLHDESC source, SQLHDESC target) {
  if (!source || !target) return SQL_INVALID_HANDLE;
  const auto& from = *static_cast<Descriptor*>(static_cast<Handle*>(source));
  return enter<Descriptor>(target, [&](Descriptor& to) {
    if (&from.conn != &to.conn) return codeOf(fail(Issue::NotSupported));
    return codeOf(copyDescriptor(from, to));
  });
}

}  // extern "C"
