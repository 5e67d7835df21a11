// CLSetDescField and CLSetDescRec.
//
// While a cursor lives the driver is bound to the cursor's buffers, so the application's view of a descriptor
// is in the binding records and in the header fields of `DMDesc`. These calls keep that view and the driver
// in step, and also a copy that takes the place of a descriptor on a statement.

#include "zulib/cursor/entry/cursorlib.h"
#include "zulib/cursor/entry/guard.h"
#include "zulib/cursor/internal/bindings.h"
#include "zulib/cursor/internal/forward.h"

namespace {

// The length of a bookmark is stated as 4, or as 0 for the default.
constexpr SQLLEN kBookmarkLength = 4;

SQLSMALLINT asShort(SQLPOINTER value) { return static_cast<SQLSMALLINT>(asNumber(value)); }

// What may change while a cursor reads through the descriptor.
bool mayChange(DMDesc* desc, SQLSMALLINT record, SQLSMALLINT field) {
  switch (field) {
    case SQL_DESC_INDICATOR_PTR:
    case SQL_DESC_BIND_OFFSET_PTR:
    case SQL_DESC_ROWS_PROCESSED_PTR: return true;
    // Kept: the array of row operations needs a record too, that of the bookmark column.
    case SQL_DESC_DATA_PTR:
    case SQL_DESC_OCTET_LENGTH_PTR:
    case SQL_DESC_ARRAY_STATUS_PTR: return FindBindInfo(desc, static_cast<unsigned short>(record)) != nullptr;
    default: return false;
  }
}

// True if the driver's side of a descriptor is the application's: no cursor uses the descriptor, or a copy
// has taken its place until the cursor ends.
bool isDriverTold(const DMDesc* desc, bool modifiable) { return modifiable || desc->shareCount != 0; }

// Fields of the header, which have no record: the number of one means nothing.
bool isHeaderField(SQLSMALLINT field) {
  switch (field) {
    case SQL_DESC_ARRAY_SIZE:
    case SQL_DESC_ARRAY_STATUS_PTR:
    case SQL_DESC_BIND_OFFSET_PTR:
    case SQL_DESC_BIND_TYPE:
    case SQL_DESC_COUNT:
    case SQL_DESC_ROWS_PROCESSED_PTR: return true;
    default: return false;
  }
}

// Fields that the library keeps in a binding record.
bool isRecordField(SQLSMALLINT field) {
  switch (field) {
    case SQL_DESC_CONCISE_TYPE:
    case SQL_DESC_TYPE:
    case SQL_DESC_PARAMETER_TYPE:
    case SQL_DESC_DATETIME_INTERVAL_CODE:
    case SQL_DESC_SCALE:
    case SQL_DESC_LENGTH:
    case SQL_DESC_OCTET_LENGTH:
    case SQL_DESC_OCTET_LENGTH_PTR:
    case SQL_DESC_INDICATOR_PTR:
    case SQL_DESC_DATA_PTR: return true;
    default: return false;
  }
}

void setRecordField(BindInfo* record, SQLSMALLINT field, SQLPOINTER value) {
  switch (field) {
    case SQL_DESC_CONCISE_TYPE:
    case SQL_DESC_TYPE:
      record->cType = record->typeGiven = asShort(value);
      record->typeForm = field == SQL_DESC_TYPE ? ET_BIND_VERBOSE : ET_BIND_CONCISE;
      break;
    case SQL_DESC_PARAMETER_TYPE: record->ioType = asShort(value); break;
    case SQL_DESC_DATETIME_INTERVAL_CODE: record->intervalCode = asShort(value); break;
    case SQL_DESC_SCALE: record->scale = asShort(value); break;
    case SQL_DESC_LENGTH:
    case SQL_DESC_OCTET_LENGTH: record->length = static_cast<SQLLEN>(asNumber(value)); break;
    case SQL_DESC_OCTET_LENGTH_PTR: record->octetLengthPtr = static_cast<SQLLEN*>(value); break;
    case SQL_DESC_INDICATOR_PTR: record->indicatorPtr = static_cast<SQLLEN*>(value); break;
    default: record->data = value; break;
  }
}

// Changes the record of a column, which is created if there is none. It is put back on the list by the data
// pointer that it had, or by its new one if it had none.
template <class Change>
SQLRETURN changeRecord(DMDesc* desc, SQLSMALLINT column, SQLRETURN rc, Change change) {
  return guarded(desc, [&] {
    BindInfo* const record = GetBindInfo(desc, static_cast<unsigned short>(column));
    if (!record) throw CMemoryException();
    const void* const key = record->data;
    change(record);
    InsertBindInfo(desc, record, key ? key : record->data);
    return rc;
  });
}

SQLRETURN setRecord(DMDesc* desc, SQLSMALLINT column, SQLSMALLINT field, SQLPOINTER value, SQLRETURN rc) {
  if (!isRecordField(field)) return rc;
  return changeRecord(desc, column, rc, [&](BindInfo* record) { setRecordField(record, field, value); });
}

SQLRETURN setBindType(DMDesc* desc, SQLPOINTER value, SQLINTEGER length) {
  const SQLULEN before = desc->bindType;
  desc->bindType = asNumber(value);
  desc->headerChanged |= kHeaderChanged;
  if (!isVersion3Driver(desc->conn)) return SQL_SUCCESS;
  const SQLRETURN rc = CursorLibSetDescField(desc, 0, SQL_DESC_BIND_TYPE, value, length);
  if (clFailed(rc)) desc->bindType = before;
  return rc;
}

// A header field is stored here; the driver is told those that it needs at once. What it refuses is not
// stored.
SQLRETURN setHeader(DMDesc* desc, SQLSMALLINT field, SQLPOINTER value, SQLINTEGER length) {
  switch (field) {
    case SQL_DESC_ROWS_PROCESSED_PTR: desc->rowsProcessedPtr = static_cast<SQLULEN*>(value); break;
    case SQL_DESC_ARRAY_STATUS_PTR: desc->arrayStatusPtr = static_cast<SQLUSMALLINT*>(value); break;
    case SQL_DESC_BIND_OFFSET_PTR: desc->bindOffsetPtr = static_cast<SQLLEN*>(value); break;
    case SQL_DESC_ARRAY_SIZE: desc->arraySize = asNumber(value); break;
    case SQL_DESC_BIND_TYPE: return setBindType(desc, value, length);
    case SQL_DESC_COUNT: {
      const SQLSMALLINT count = asShort(value);
      const auto upTo = static_cast<SQLULEN>(count);
      if (count >= 0) DropBindings(desc, &upTo);
      return CursorLibSetDescField(desc, 0, field, value, length);
    }
    default: return CursorLibSetDescField(desc, 0, field, value, length);
  }
  desc->headerChanged |= kHeaderChanged;
  return SQL_SUCCESS;
}

bool isBookmarkLength(SQLSMALLINT field, SQLPOINTER value) {
  if (field != SQL_DESC_LENGTH && field != SQL_DESC_OCTET_LENGTH) return true;
  return asNumber(value) == 0 || asNumber(value) == kBookmarkLength;
}

// Fields of the bookmark record, which no driver is told, and all fields of the header.
SQLRETURN setRecordZero(DMDesc* desc, SQLSMALLINT field, SQLPOINTER value, SQLINTEGER length) {
  if (!isBookmarkLength(field, value)) return clError(desc, clmsg::BookmarkLength);
  // These two are accepted for the bookmark and not stored.
  if (field == SQL_DESC_UPDATABLE || field == SQL_DESC_PRECISION) return SQL_SUCCESS;
  if (isRecordField(field)) return setRecord(desc, 0, field, value, SQL_SUCCESS);
  return setHeader(desc, field, value, length);
}

struct RecordValues {
  SQLSMALLINT type;
  SQLSMALLINT subType;
  SQLLEN length;
  SQLSMALLINT scale;
};

// Returns true if the values are those of the column's record. A call without data takes them from there.
bool matchRecord(DMDesc* desc, SQLSMALLINT column, SQLPOINTER data, RecordValues* values) {
  const BindInfo* record = FindBindInfo(desc, static_cast<unsigned short>(column));
  if (!record) return false;
  if (data)
    return values->type == record->cType && values->length == record->length &&
           values->subType == record->intervalCode && values->scale == record->scale;
  *values = {record->cType, record->intervalCode, record->length, record->scale};
  return true;
}

}  // namespace

SQLRETURN CLSetDescField(SQLHDESC handle, SQLSMALLINT record, SQLSMALLINT field, SQLPOINTER value,
                         SQLINTEGER length) {
  auto* desc = static_cast<DMDesc*>(handle);
  if (record < 0) return clError(desc, clmsg::ColumnBeyondResult);
  const bool modifiable = CheckModifyDesc(desc);
  if (!modifiable && !mayChange(desc, record, field)) return clError(desc, clmsg::BindingFixed);
  SQLRETURN rc = onStandIns(
      desc, [&](DMDesc* standIn) { return CLSetDescField(standIn, record, field, value, length); });
  if (clFailed(rc)) return rc;
  // A driver that got these with a record would fetch a row array into the one-row buffers of a cursor.
  if (record == 0 || isHeaderField(field)) return setRecordZero(desc, field, value, length);
  rc = isDriverTold(desc, modifiable) ? CursorLibSetDescField(desc, record, field, value, length)
                                      : SQL_SUCCESS;
  return clFailed(rc) ? rc : setRecord(desc, record, field, value, rc);
}

SQLRETURN CLSetDescRec(SQLHDESC handle, SQLSMALLINT record, SQLSMALLINT type, SQLSMALLINT subType,
                       SQLLEN length, SQLSMALLINT precision, SQLSMALLINT scale, SQLPOINTER data,
                       SQLLEN* lengthPtr, SQLLEN* indicatorPtr) {
  auto* desc = static_cast<DMDesc*>(handle);
  const bool modifiable = CheckModifyDesc(desc);
  RecordValues values{type, subType, length, scale};
  if (!modifiable && !matchRecord(desc, record, data, &values)) return clError(desc, clmsg::BindingFixed);
  if (record <= 0 && values.length != kBookmarkLength) return clError(desc, clmsg::BookmarkLength);
  if (record < 0) return clError(desc, clmsg::ColumnBeyondResult);
  SQLRETURN rc = onStandIns(desc, [&](DMDesc* standIn) {
    return CLSetDescRec(standIn, record, type, subType, length, precision, scale, data, lengthPtr,
                        indicatorPtr);
  });
  if (clFailed(rc)) return rc;
  rc = record > 0 && isDriverTold(desc, modifiable)
           ? CursorLibSetDescRec(desc, record, type, subType, length, precision, scale, data, lengthPtr,
                                 indicatorPtr)
           : SQL_SUCCESS;
  if (clFailed(rc)) return rc;
  return changeRecord(desc, record, rc, [&](BindInfo* bind) {
    bind->cType = bind->typeGiven = values.type;
    bind->typeForm = ET_BIND_VERBOSE;
    bind->intervalCode = values.subType;
    bind->length = values.length;
    bind->scale = values.scale;
    bind->data = data;
    bind->octetLengthPtr = lengthPtr;
    bind->indicatorPtr = indicatorPtr;
  });
}
