// Descriptor fields and records.
//
// The header fields that say where row sets and parameter sets lie are kept on DMDesc beside the driver's
// own copy: the cursor library and the bridges read them there.

#include <algorithm>
#include <iterator>

#include "zuodbc/call/arguments.h"
#include "zuodbc/call/crossing.h"
#include "zuodbc/call/entry.h"
#include "zuodbc/call/textfields.h"
#include "zuodbc/call/trace.h"
#include "zuodbc/call/values.h"

using namespace dm;

namespace {

// Every field of the standard, and a driver's own from 1200 on.
constexpr SQLSMALLINT kFields[] = {SQL_DESC_CONCISE_TYPE,
                                   SQL_DESC_DISPLAY_SIZE,
                                   SQL_DESC_UNSIGNED,
                                   SQL_DESC_FIXED_PREC_SCALE,
                                   SQL_DESC_UPDATABLE,
                                   SQL_DESC_AUTO_UNIQUE_VALUE,
                                   SQL_DESC_CASE_SENSITIVE,
                                   SQL_DESC_SEARCHABLE,
                                   SQL_DESC_TYPE_NAME,
                                   SQL_DESC_TABLE_NAME,
                                   SQL_DESC_SCHEMA_NAME,
                                   SQL_DESC_CATALOG_NAME,
                                   SQL_DESC_LABEL,
                                   SQL_DESC_ARRAY_SIZE,
                                   SQL_DESC_ARRAY_STATUS_PTR,
                                   SQL_DESC_BASE_COLUMN_NAME,
                                   SQL_DESC_BASE_TABLE_NAME,
                                   SQL_DESC_BIND_OFFSET_PTR,
                                   SQL_DESC_BIND_TYPE,
                                   SQL_DESC_DATETIME_INTERVAL_PRECISION,
                                   SQL_DESC_LITERAL_PREFIX,
                                   SQL_DESC_LITERAL_SUFFIX,
                                   SQL_DESC_LOCAL_TYPE_NAME,
                                   SQL_DESC_MAXIMUM_SCALE,
                                   SQL_DESC_MINIMUM_SCALE,
                                   SQL_DESC_NUM_PREC_RADIX,
                                   SQL_DESC_PARAMETER_TYPE,
                                   SQL_DESC_ROWS_PROCESSED_PTR,
                                   SQL_DESC_ROWVER,
                                   SQL_DESC_COUNT,
                                   SQL_DESC_TYPE,
                                   SQL_DESC_LENGTH,
                                   SQL_DESC_OCTET_LENGTH_PTR,
                                   SQL_DESC_PRECISION,
                                   SQL_DESC_SCALE,
                                   SQL_DESC_DATETIME_INTERVAL_CODE,
                                   SQL_DESC_NULLABLE,
                                   SQL_DESC_INDICATOR_PTR,
                                   SQL_DESC_DATA_PTR,
                                   SQL_DESC_NAME,
                                   SQL_DESC_UNNAMED,
                                   SQL_DESC_OCTET_LENGTH,
                                   SQL_DESC_ALLOC_TYPE};
constexpr SQLSMALLINT kFirstDriverField = 1200;

bool isField(SQLSMALLINT field) {
  return field >= kFirstDriverField ||
         std::find(std::begin(kFields), std::end(kFields), field) != std::end(kFields);
}

bool isRowImplementation(const DMDesc& desc) { return (desc.flags & DM_DESC_IRD) != 0; }

// Of an implementation row descriptor the application may set where the row statuses and the count go.
bool maySet(const DMDesc& desc, SQLSMALLINT field) {
  return !isRowImplementation(desc) || field == SQL_DESC_ARRAY_STATUS_PTR ||
         field == SQL_DESC_ROWS_PROCESSED_PTR;
}

const char* checkSetField(const DMDesc& desc, SQLSMALLINT record, SQLSMALLINT field) {
  if (!isField(field)) return "HY091";
  if (record < 0) return "07009";
  return maySet(desc, field) ? nullptr : "HY016";
}

bool isHeaderField(SQLSMALLINT field) {
  switch (field) {
    case SQL_DESC_ALLOC_TYPE:
    case SQL_DESC_ARRAY_SIZE:
    case SQL_DESC_ARRAY_STATUS_PTR:
    case SQL_DESC_BIND_OFFSET_PTR:
    case SQL_DESC_BIND_TYPE:
    case SQL_DESC_COUNT:
    case SQL_DESC_ROWS_PROCESSED_PTR: return true;
    default: return false;
  }
}

// An implementation row descriptor describes nothing before the statement is prepared. The cursor library has
// errors of its own for that.
const char* checkDescribed(const DMDesc& desc) {
  const DMStmt* stmt = desc.ownerStmt;
  if (!isRowImplementation(desc) || !stmt || desc.conn->state->cursorLibrary) return nullptr;
  return stmt->flags & (DM_STMT_PREPARED | DM_STMT_EXECUTED) ? nullptr : "HY007";
}

const char* checkGetField(const DMDesc& desc, SQLSMALLINT record, SQLSMALLINT field) {
  if (!isField(field)) return "HY091";
  if (record < 0) return "07009";
  return isHeaderField(field) ? nullptr : checkDescribed(desc);
}

void keepField(DMDesc& desc, SQLSMALLINT field, SQLPOINTER value) {
  switch (field) {
    case SQL_DESC_ARRAY_SIZE: desc.arraySize = asNumber(value); return;
    case SQL_DESC_ARRAY_STATUS_PTR: desc.arrayStatusPtr = static_cast<SQLUSMALLINT*>(value); return;
    case SQL_DESC_BIND_OFFSET_PTR: desc.bindOffsetPtr = static_cast<SQLLEN*>(value); return;
    case SQL_DESC_BIND_TYPE: desc.bindType = asNumber(value); return;
    case SQL_DESC_ROWS_PROCESSED_PTR: desc.rowsProcessedPtr = static_cast<SQLULEN*>(value); return;
    default: return;
  }
}

SQLRETURN setField(SQLHDESC handle, SQLSMALLINT record, SQLSMALLINT field, SQLPOINTER value,
                   SQLINTEGER length, Form form) {
  const auto in = valueIn(form, value, length, isTextField(field));
  return callDescriptor(
      handle, Api::SetDescField,
      [&](DMDesc& desc) {
        if (const char* wrong = checkSetField(desc, record, field)) return wrong;
        return in.isText && in.form == Form::Wide ? checkLength(in) : nullptr;
      },
      [&](DMDesc& desc, const CursorLibrary& library) {
        return askLibrary(desc, library.CLSetDescField, record, field, in);
      },
      [&](DMDesc& desc, const DMDriverFunctions& driver) {
        const SQLRETURN rc =
            askText(desc, DM_ENTRIES(driver, SQLSetDescField), desc.driverHandle, record, field, in);
        if (SQL_SUCCEEDED(rc)) keepField(desc, field, value);
        return rc;
      });
}

SQLRETURN getField(SQLHDESC handle, SQLSMALLINT record, SQLSMALLINT field, const TextOut<SQLINTEGER>& out) {
  return callDescriptor(
      handle, Api::GetDescField,
      [&](DMDesc& desc) {
        if (const char* wrong = checkGetField(desc, record, field)) return wrong;
        return out.form == Form::Wide ? checkSize(out) : nullptr;
      },
      [&](DMDesc& desc, const CursorLibrary& library) {
        return askLibrary(desc, library.CLGetDescField, record, field, out);
      },
      [&](DMDesc& desc, const DMDriverFunctions& driver) {
        return askText(desc, DM_ENTRIES(driver, SQLGetDescField), desc.driverHandle, record, field, out);
      });
}

SQLRETURN getRecord(SQLHDESC handle, SQLSMALLINT record, const TextOut<SQLSMALLINT>& name,
                    SQLSMALLINT* typePtr, SQLSMALLINT* subTypePtr, SQLLEN* lengthPtr,
                    SQLSMALLINT* precisionPtr, SQLSMALLINT* scalePtr, SQLSMALLINT* nullablePtr) {
  auto check = [&](DMDesc& desc) -> const char* {
    if (record < 0) return "07009";
    if (const char* wrong = checkSize(name)) return wrong;
    return checkDescribed(desc);
  };
  return callDescriptor(
      handle, Api::GetDescRec, check,
      [&](DMDesc& desc, const CursorLibrary& library) {
        return askLibrary(desc, library.CLGetDescRec, record, name, typePtr, subTypePtr, lengthPtr,
                          precisionPtr, scalePtr, nullablePtr);
      },
      [&](DMDesc& desc, const DMDriverFunctions& driver) {
        return askText(desc, DM_ENTRIES(driver, SQLGetDescRec), desc.driverHandle, record, name, typePtr,
                       subTypePtr, lengthPtr, precisionPtr, scalePtr, nullablePtr);
      });
}

}  // namespace

extern "C" {

ZU_API SQLRETURN SQL_API SQLSetDescField(SQLHDESC handle, SQLSMALLINT record, SQLSMALLINT field,
                                         SQLPOINTER value, SQLINTEGER length) {
  return traced("SQLSetDescField", setField, handle, record, field, value, length, Form::Narrow);
}
ZU_API SQLRETURN SQL_API SQLSetDescFieldW(SQLHDESC handle, SQLSMALLINT record, SQLSMALLINT field,
                                          SQLPOINTER value, SQLINTEGER length) {
  return traced("SQLSetDescFieldW", setField, handle, record, field, value, length, Form::Wide);
}

ZU_API SQLRETURN SQL_API SQLGetDescField(SQLHDESC handle, SQLSMALLINT record, SQLSMALLINT field,
                                         SQLPOINTER value, SQLINTEGER length, SQLINTEGER* lengthPtr) {
  return traced("SQLGetDescField", getField, handle, record, field,
                valueOut(Form::Narrow, value, length, lengthPtr, isTextField(field)));
}
ZU_API SQLRETURN SQL_API SQLGetDescFieldW(SQLHDESC handle, SQLSMALLINT record, SQLSMALLINT field,
                                          SQLPOINTER value, SQLINTEGER length, SQLINTEGER* lengthPtr) {
  return traced("SQLGetDescFieldW", getField, handle, record, field,
                valueOut(Form::Wide, value, length, lengthPtr, isTextField(field)));
}
DM_ALIAS(SQLGetDescField);

ZU_API SQLRETURN SQL_API SQLSetDescRec(SQLHDESC handle, SQLSMALLINT record, SQLSMALLINT type,
                                       SQLSMALLINT subType, SQLLEN length, SQLSMALLINT precision,
                                       SQLSMALLINT scale, SQLPOINTER data, SQLLEN* lengthPtr,
                                       SQLLEN* indicatorPtr) {
  return traced(
      "SQLSetDescRec",
      [&](const auto&...) -> SQLRETURN {
        auto check = [&](DMDesc& desc) -> const char* {
          if (record < 0) return "07009";
          return isRowImplementation(desc) ? "HY016" : nullptr;
        };
        return callDescriptor(
            handle, Api::SetDescRec, check,
            [&](DMDesc& desc, const CursorLibrary& library) {
              return library.CLSetDescRec(&desc, record, type, subType, length, precision, scale, data,
                                          lengthPtr, indicatorPtr);
            },
            [&](DMDesc& desc, const DMDriverFunctions& driver) {
              return ask(driver.SQLSetDescRec, desc.driverHandle, record, type, subType, length, precision,
                         scale, data, lengthPtr, indicatorPtr);
            });
      },
      handle, record, type, subType, length, precision, scale, data, lengthPtr, indicatorPtr);
}

ZU_API SQLRETURN SQL_API SQLGetDescRec(SQLHDESC handle, SQLSMALLINT record, SQLCHAR* name,
                                       SQLSMALLINT nameSize, SQLSMALLINT* nameLengthPtr, SQLSMALLINT* typePtr,
                                       SQLSMALLINT* subTypePtr, SQLLEN* lengthPtr, SQLSMALLINT* precisionPtr,
                                       SQLSMALLINT* scalePtr, SQLSMALLINT* nullablePtr) {
  return traced("SQLGetDescRec", getRecord, handle, record, textOut(name, nameSize, nameLengthPtr), typePtr,
                subTypePtr, lengthPtr, precisionPtr, scalePtr, nullablePtr);
}
ZU_API SQLRETURN SQL_API SQLGetDescRecW(SQLHDESC handle, SQLSMALLINT record, SQLWCHAR* name,
                                        SQLSMALLINT nameSize, SQLSMALLINT* nameLengthPtr,
                                        SQLSMALLINT* typePtr, SQLSMALLINT* subTypePtr, SQLLEN* lengthPtr,
                                        SQLSMALLINT* precisionPtr, SQLSMALLINT* scalePtr,
                                        SQLSMALLINT* nullablePtr) {
  return traced("SQLGetDescRecW", getRecord, handle, record, textOut(name, nameSize, nameLengthPtr), typePtr,
                subTypePtr, lengthPtr, precisionPtr, scalePtr, nullablePtr);
}
DM_ALIAS(SQLGetDescRec);

}  // extern "C"
