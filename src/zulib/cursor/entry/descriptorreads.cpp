// CLGetDescField and CLGetDescRec: the bookmark record, the header fields and the data pointers are
// answered from the application's view, all else by the driver.

#include <cstring>

#include "zulib/cursor/entry/bindinfo.h"
#include "zulib/cursor/entry/cursorlib.h"
#include "zulib/cursor/entry/forward.h"
#include "zulib/cursor/entry/guard.h"

namespace {

constexpr SQLULEN BOOKMARK_LENGTH = 4;
constexpr SQLSMALLINT BOOKMARK_TYPE = SQL_C_BINARY;

// Where a field's value goes.
struct Answer {
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
SQLRETURN GetIRDBMKDescField(DMDesc* desc, SQLSMALLINT field, SQLINTEGER length, const Answer& answer) {
  switch (field) {
    case SQL_DESC_CONCISE_TYPE:
    case SQL_DESC_TYPE: return answer.put(BOOKMARK_TYPE);
    case SQL_DESC_LENGTH:
    case SQL_DESC_OCTET_LENGTH: return answer.put(BOOKMARK_LENGTH);
    case SQL_DESC_PRECISION: return answer.put(static_cast<SQLSMALLINT>(BOOKMARK_LENGTH));
    case SQL_DESC_SCALE:
    case SQL_DESC_DATETIME_INTERVAL_CODE:
    case SQL_DESC_NULLABLE: return answer.put(SQLSMALLINT{0});
    default: return CursorLibGetDescField(desc, 0, field, answer.value, length, answer.lengthPtr);
  }
}

// The bookmark record of an application descriptor. Without one every field but the type is zero.
SQLRETURN GetBindBMKDescField(DMDesc* desc, SQLSMALLINT field, SQLINTEGER length, const Answer& answer) {
  const BindInfo* found = FindBindInfo(desc, 0);
  BindInfo none{};
  none.cType = SQL_C_DEFAULT;
  const BindInfo& record = found ? *found : none;
  switch (field) {
    case SQL_DESC_CONCISE_TYPE:
    case SQL_DESC_TYPE: return answer.put(record.cType);
    case SQL_DESC_LENGTH:
    case SQL_DESC_OCTET_LENGTH: return answer.put(record.length);
    case SQL_DESC_OCTET_LENGTH_PTR: return answer.put(record.octetLengthPtr);
    case SQL_DESC_INDICATOR_PTR: return answer.put(record.indicatorPtr);
    case SQL_DESC_DATA_PTR: return answer.put(record.data);
    case SQL_DESC_SCALE: return answer.put(record.scale);
    case SQL_DESC_DATETIME_INTERVAL_CODE: return answer.put(record.intervalCode);
    case SQL_DESC_PRECISION: return SQL_SUCCESS;  // kept nowhere
    default: return CursorLibGetDescField(desc, 0, field, answer.value, length, answer.lengthPtr);
  }
}

void putText(SQLPOINTER text, SQLINTEGER size) {
  if (text && size > 0) *static_cast<char*>(text) = 0;
}

SQLRETURN getRecordZero(DMDesc* desc, SQLSMALLINT field, SQLINTEGER length, const Answer& answer) {
  switch (field) {
    case SQL_DESC_ARRAY_SIZE: return answer.put(desc->arraySize);
    case SQL_DESC_ARRAY_STATUS_PTR: return answer.put(desc->arrayStatusPtr);
    case SQL_DESC_BIND_OFFSET_PTR: return answer.put(desc->bindOffsetPtr);
    case SQL_DESC_BIND_TYPE: return answer.put(static_cast<SQLINTEGER>(desc->bindType));
    case SQL_DESC_ROWS_PROCESSED_PTR: return answer.put(desc->rowsProcessedPtr);
    case SQL_DESC_NAME:
      putText(answer.value, length);
      if (answer.lengthPtr) *answer.lengthPtr = 0;
      return SQL_SUCCESS;
    case SQL_DESC_UNNAMED: return answer.put(static_cast<SQLSMALLINT>(SQL_UNNAMED));
    default:
      return isImplementation(desc) ? GetIRDBMKDescField(desc, field, length, answer)
                                    : GetBindBMKDescField(desc, field, length, answer);
  }
}

// The error of a bookmark record that cannot be read, or 0. A statement that is neither prepared nor
// executed meets the first test.
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
  const Answer answer{value, lengthPtr};
  if (record == 0) return getRecordZero(desc, field, length, answer);
  SQLRETURN rc = CursorLibGetDescField(desc, record, field, value, length, lengthPtr);
  if (field != SQL_DESC_DATA_PTR || clFailed(rc)) return rc;
  if (const BindInfo* bind = FindBindInfo(desc, static_cast<unsigned short>(record))) answer.put(bind->data);
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
  if (unsigned short error = bookmarkRecordError(desc)) return clError(desc, error);

  putText(name, nameSize);
  putCell<SQLSMALLINT>(nameLengthPtr, 0);
  BindInfo answer{};
  answer.cType = SQL_C_DEFAULT;
  if (isRowImplementation(desc)) {
    answer.cType = BOOKMARK_TYPE;
    answer.length = answer.size = BOOKMARK_LENGTH;
    putCell<SQLSMALLINT>(nullablePtr, SQL_NO_NULLS);
  } else if (const BindInfo* bind = FindBindInfo(desc, 0)) {
    answer = *bind;
  }
  putCell(typePtr, answer.cType);
  putCell(subTypePtr, answer.intervalCode);
  putCell(lengthPtr, answer.length);
  putCell(precisionPtr, static_cast<SQLSMALLINT>(answer.size));
  putCell(scalePtr, answer.scale);
  return SQL_SUCCESS;
}
