// CLGetDescField and CLGetDescRec: the bookmark record, the header fields and the data pointers come from the
// application's view, all else from the driver.

#include <cstring>

#include "zulib/cursor/entry/cursorlib.h"
#include "zulib/cursor/entry/guard.h"
#include "zulib/cursor/internal/bindings.h"
#include "zulib/cursor/internal/forward.h"

namespace {

constexpr SQLULEN kBookmarkLength = 4;
constexpr SQLSMALLINT kBookmarkType = SQL_C_BINARY;

// Where a field's value goes.
struct Destination {
  SQLPOINTER value;
  SQLINTEGER* lengthPtr;

  template <class T>
  SQLRETURN put(T field) const {
    if (value) std::memcpy(value, &field, sizeof field);
    if (lengthPtr) *lengthPtr = sizeof field;
    return SQL_SUCCESS;
  }
};

bool isRowImplementation(const DMDesc* desc) { return (desc->flags & DM_DESC_IRD) != 0; }
bool isImplementation(const DMDesc* desc) { return (desc->flags & (DM_DESC_IRD | DM_DESC_IPD)) != 0; }

bool lacks(const DMStmt* stmt, unsigned flags) { return stmt && !(stmt->flags & flags); }

// The bookmark record of an implementation descriptor.
SQLRETURN GetIRDBMKDescField(DMDesc* desc, SQLSMALLINT field, SQLINTEGER length, const Destination& out) {
  switch (field) {
    case SQL_DESC_CONCISE_TYPE:
    case SQL_DESC_TYPE: return out.put(kBookmarkType);
    case SQL_DESC_LENGTH:
    case SQL_DESC_OCTET_LENGTH: return out.put(kBookmarkLength);
    case SQL_DESC_PRECISION: return out.put(static_cast<SQLSMALLINT>(kBookmarkLength));
    case SQL_DESC_SCALE:
    case SQL_DESC_DATETIME_INTERVAL_CODE:
    case SQL_DESC_NULLABLE: return out.put(SQLSMALLINT{0});
    default: return CursorLibGetDescField(desc, 0, field, out.value, length, out.lengthPtr);
  }
}

// The bookmark record of an application descriptor. Without one every field but the type is zero.
SQLRETURN GetBindBMKDescField(DMDesc* desc, SQLSMALLINT field, SQLINTEGER length, const Destination& out) {
  const BindInfo* found = FindBindInfo(desc, 0);
  BindInfo none{};
  none.cType = SQL_C_DEFAULT;
  const BindInfo& record = found ? *found : none;
  switch (field) {
    case SQL_DESC_CONCISE_TYPE:
    case SQL_DESC_TYPE: return out.put(record.cType);
    case SQL_DESC_LENGTH:
    case SQL_DESC_OCTET_LENGTH: return out.put(record.length);
    case SQL_DESC_OCTET_LENGTH_PTR: return out.put(record.octetLengthPtr);
    case SQL_DESC_INDICATOR_PTR: return out.put(record.indicatorPtr);
    case SQL_DESC_DATA_PTR: return out.put(record.data);
    case SQL_DESC_SCALE: return out.put(record.scale);
    case SQL_DESC_DATETIME_INTERVAL_CODE: return out.put(record.intervalCode);
    case SQL_DESC_PRECISION: return SQL_SUCCESS;  // not stored
    default: return CursorLibGetDescField(desc, 0, field, out.value, length, out.lengthPtr);
  }
}

void putText(SQLPOINTER text, SQLINTEGER size) {
  if (text && size > 0) *static_cast<char*>(text) = 0;
}

SQLRETURN getRecordZero(DMDesc* desc, SQLSMALLINT field, SQLINTEGER length, const Destination& out) {
  switch (field) {
    case SQL_DESC_ARRAY_SIZE: return out.put(desc->arraySize);
    case SQL_DESC_ARRAY_STATUS_PTR: return out.put(desc->arrayStatusPtr);
    case SQL_DESC_BIND_OFFSET_PTR: return out.put(desc->bindOffsetPtr);
    case SQL_DESC_BIND_TYPE: return out.put(static_cast<SQLINTEGER>(desc->bindType));
    case SQL_DESC_ROWS_PROCESSED_PTR: return out.put(desc->rowsProcessedPtr);
    case SQL_DESC_NAME:
      putText(out.value, length);
      if (out.lengthPtr) *out.lengthPtr = 0;
      return SQL_SUCCESS;
    case SQL_DESC_UNNAMED: return out.put(static_cast<SQLSMALLINT>(SQL_UNNAMED));
    default:
      return isImplementation(desc) ? GetIRDBMKDescField(desc, field, length, out)
                                    : GetBindBMKDescField(desc, field, length, out);
  }
}

// Returns the error for a bookmark record that cannot be read, or 0. A statement that is neither prepared nor
// executed fails the first test.
unsigned short bookmarkRecordError(const DMDesc* desc) {
  const DMStmt* owner = desc->ownerStmt;
  const bool row = isRowImplementation(desc);
  if (row && lacks(owner, DM_STMT_EXECUTED)) return clmsg::InvalidCursorState;
  if (desc->flags & DM_DESC_IPD) return clmsg::BookmarkColumnNotPossible;
  if (row && owner && owner->useBookmarks == SQL_UB_OFF) return clmsg::BookmarkColumnNotPossible;
  return 0;
}

template <class T>
void putCell(T* cell, T value) {
  if (cell) *cell = value;
}

}  // namespace

SQLRETURN CLGetDescField(SQLHDESC handle, SQLSMALLINT record, SQLSMALLINT field, SQLPOINTER value,
                         SQLINTEGER length, SQLINTEGER* lengthPtr) {
  auto* desc = static_cast<DMDesc*>(handle);
  if (isRowImplementation(desc)) {
    if (record == 0 && lacks(desc->ownerStmt, DM_STMT_EXECUTED))
      return clError(desc, clmsg::BookmarkColumnNotPossible);
    if (lacks(desc->ownerStmt, DM_STMT_PREPARED | DM_STMT_EXECUTED)) return clError(desc, clmsg::NotExecuted);
  }
  const Destination out{value, lengthPtr};
  if (record == 0) return getRecordZero(desc, field, length, out);
  const SQLRETURN rc = CursorLibGetDescField(desc, record, field, value, length, lengthPtr);
  if (field != SQL_DESC_DATA_PTR || clFailed(rc)) return rc;
  if (const BindInfo* bind = FindBindInfo(desc, static_cast<unsigned short>(record))) out.put(bind->data);
  return rc;
}

SQLRETURN CLGetDescRec(SQLHDESC handle, SQLSMALLINT record, SQLCHAR* name, SQLSMALLINT nameSize,
                       SQLSMALLINT* nameLengthPtr, SQLSMALLINT* typePtr, SQLSMALLINT* subTypePtr,
                       SQLLEN* lengthPtr, SQLSMALLINT* precisionPtr, SQLSMALLINT* scalePtr,
                       SQLSMALLINT* nullablePtr) {
  auto* desc = static_cast<DMDesc*>(handle);
  if (record != 0)
    return CursorLibGetDescRec(desc, record, name, nameSize, nameLengthPtr, typePtr, subTypePtr, lengthPtr,
                               precisionPtr, scalePtr, nullablePtr);
  if (const unsigned short error = bookmarkRecordError(desc)) return clError(desc, error);

  putText(name, nameSize);
  putCell<SQLSMALLINT>(nameLengthPtr, 0);
  BindInfo found{};
  found.cType = SQL_C_DEFAULT;
  if (isRowImplementation(desc)) {
    found.cType = kBookmarkType;
    found.length = found.size = kBookmarkLength;
    putCell<SQLSMALLINT>(nullablePtr, SQL_NO_NULLS);
  } else if (const BindInfo* bind = FindBindInfo(desc, 0)) {
    found = *bind;
  }
  putCell(typePtr, found.cType);
  putCell(subTypePtr, found.intervalCode);
  putCell(lengthPtr, found.length);
  putCell(precisionPtr, static_cast<SQLSMALLINT>(found.size));
  putCell(scalePtr, found.scale);
  return SQL_SUCCESS;
}
