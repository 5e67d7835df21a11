// Attributes of statements.

#include "odbc/entry.h"
#include "odbc/execute.h"
#include "odbc/text.h"

namespace pgwire {

namespace {

// SQL_ASYNC_ENABLE_OFF, SQL_UB_OFF and SQL_FALSE.
constexpr SQLULEN kOff = 0;

SQLULEN asNumber(SQLPOINTER value) { return reinterpret_cast<SQLULEN>(value); }

// The numbers that are only kept.
SQLULEN Statement::*keptAttribute(SQLINTEGER attribute) {
  switch (attribute) {
    case SQL_ATTR_QUERY_TIMEOUT: return &Statement::queryTimeout;
    case SQL_ATTR_MAX_ROWS: return &Statement::maxRows;
    case SQL_ATTR_MAX_LENGTH: return &Statement::maxLength;
    case SQL_ATTR_NOSCAN: return &Statement::noscan;
    case SQL_ATTR_RETRIEVE_DATA: return &Statement::retrieveData;
    case SQL_ATTR_METADATA_ID: return &Statement::metadataId;
    case SQL_ATTR_KEYSET_SIZE: return &Statement::keysetSize;
    case SQL_ATTR_SIMULATE_CURSOR: return &Statement::simulateCursor;
    case SQL_ROWSET_SIZE: return &Statement::rowsetSize;
    default: return nullptr;
  }
}

// The field of a descriptor that an attribute is a name for; null for another attribute.
void* descriptorCell(Statement& stmt, SQLINTEGER attribute) {
  switch (attribute) {
    case SQL_ATTR_ROW_ARRAY_SIZE: return &stmt.rows->arraySize;
    case SQL_ATTR_ROW_BIND_TYPE: return &stmt.rows->bindType;
    case SQL_ATTR_ROW_BIND_OFFSET_PTR: return &stmt.rows->bindOffset;
    case SQL_ATTR_ROW_OPERATION_PTR: return &stmt.rows->arrayStatus;
    case SQL_ATTR_ROW_STATUS_PTR: return &stmt.columns.arrayStatus;
    case SQL_ATTR_ROWS_FETCHED_PTR: return &stmt.columns.rowsProcessed;
    case SQL_ATTR_PARAMSET_SIZE: return &stmt.params->arraySize;
    case SQL_ATTR_PARAM_BIND_TYPE: return &stmt.params->bindType;
    case SQL_ATTR_PARAM_BIND_OFFSET_PTR: return &stmt.params->bindOffset;
    case SQL_ATTR_PARAM_OPERATION_PTR: return &stmt.params->arrayStatus;
    case SQL_ATTR_PARAM_STATUS_PTR: return &stmt.parameters.arrayStatus;
    case SQL_ATTR_PARAMS_PROCESSED_PTR: return &stmt.parameters.rowsProcessed;
    default: return nullptr;
  }
}

// The only value there is; another one that is near gets it, with a warning.
int onlyValue(SQLULEN wanted, SQLULEN only) {
  if (wanted != only) postWarning(Issue::ValueChanged);
  return 0;
}

int useDescriptor(Statement& stmt, SQLPOINTER value, Descriptor*& current, Descriptor& own) {
  if (!value) {
    current = &own;
    return 0;
  }
  auto* desc = static_cast<Descriptor*>(static_cast<Handle*>(value));
  if (&desc->conn != &stmt.conn || (desc->owner && desc != &own)) return fail(Issue::DescriptorInUse);
  current = desc;
  return 0;
}

int setAttribute(Statement& stmt, SQLINTEGER attribute, SQLPOINTER value) {
  const SQLULEN number = asNumber(value);
  if (SQLULEN Statement::*const kept = keptAttribute(attribute)) {
    stmt.*kept = number;
    return 0;
  }
  if (void* cell = descriptorCell(stmt, attribute)) {
    std::memcpy(cell, &value, sizeof value);
    return 0;
  }
  switch (attribute) {
    case SQL_ATTR_APP_ROW_DESC: return useDescriptor(stmt, value, stmt.rows, stmt.ownRows);
    case SQL_ATTR_APP_PARAM_DESC: return useDescriptor(stmt, value, stmt.params, stmt.ownParams);
    case SQL_ATTR_CURSOR_TYPE: return onlyValue(number, SQL_CURSOR_FORWARD_ONLY);
    case SQL_ATTR_CONCURRENCY: return onlyValue(number, SQL_CONCUR_READ_ONLY);
    case SQL_ATTR_CURSOR_SCROLLABLE: return number == SQL_NONSCROLLABLE ? 0 : fail(Issue::NotSupported);
    case SQL_ATTR_CURSOR_SENSITIVITY: return number == SQL_SENSITIVE ? fail(Issue::NotSupported) : 0;
    case SQL_ATTR_ASYNC_ENABLE:
    case SQL_ATTR_USE_BOOKMARKS:
    case SQL_ATTR_ENABLE_AUTO_IPD: return number == kOff ? 0 : fail(Issue::NotSupported);
    case SQL_ATTR_FETCH_BOOKMARK_PTR: return 0;
    default: return fail(Issue::BadAttribute);
  }
}

int getAttribute(Statement& stmt, SQLINTEGER attribute, SQLPOINTER out) {
  const auto giveHandle = [&](Descriptor* desc) {
    return giveNumber(static_cast<SQLHANDLE>(static_cast<Handle*>(desc)), out);
  };
  const auto give = [&](SQLULEN value) { return giveNumber(value, out); };
  if (SQLULEN Statement::*const kept = keptAttribute(attribute)) return give(stmt.*kept);
  if (const void* cell = descriptorCell(stmt, attribute)) {
    if (out) std::memcpy(out, cell, sizeof(SQLPOINTER));
    return 0;
  }
  switch (attribute) {
    case SQL_ATTR_APP_ROW_DESC: return giveHandle(stmt.rows);
    case SQL_ATTR_APP_PARAM_DESC: return giveHandle(stmt.params);
    case SQL_ATTR_IMP_ROW_DESC: return giveHandle(&stmt.columns);
    case SQL_ATTR_IMP_PARAM_DESC: return giveHandle(&stmt.parameters);
    case SQL_ATTR_CURSOR_TYPE: return give(SQL_CURSOR_FORWARD_ONLY);
    case SQL_ATTR_CONCURRENCY: return give(SQL_CONCUR_READ_ONLY);
    case SQL_ATTR_CURSOR_SCROLLABLE: return give(SQL_NONSCROLLABLE);
    case SQL_ATTR_CURSOR_SENSITIVITY: return give(SQL_INSENSITIVE);
    case SQL_ATTR_ASYNC_ENABLE:
    case SQL_ATTR_USE_BOOKMARKS:
    case SQL_ATTR_ENABLE_AUTO_IPD: return give(kOff);
    case SQL_ATTR_FETCH_BOOKMARK_PTR: return giveNumber(static_cast<SQLPOINTER>(nullptr), out);
    case SQL_ATTR_ROW_NUMBER: return stmt.onRow ? give(stmt.rowNumber) : fail(Issue::NoCursor);
    default: return fail(Issue::BadAttribute);
  }
}

}  // namespace

}  // namespace pgwire

using namespace pgwire;

extern "C" {

SQLRETURN SQL_API SQLSetStmtAttr(SQLHSTMT handle, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER) {
  return enter<Statement>(handle,
                          [&](Statement& stmt) { return codeOf(setAttribute(stmt, attribute, value)); });
}
SQLRETURN SQL_API SQLSetStmtAttrW(SQLHSTMT handle, SQLINTEGER attribute, SQLPOINTER value,
                                  SQLINTEGER length) {
  return SQLSetStmtAttr(handle, attribute, value, length);
}

SQLRETURN SQL_API SQLGetStmtAttr(SQLHSTMT handle, SQLINTEGER attribute, SQLPOINTER out, SQLINTEGER,
                                 SQLINTEGER* length) {
  return enter<Statement>(handle, [&](Statement& stmt) {
    if (length) *length = sizeof(SQLULEN);
    return codeOf(getAttribute(stmt, attribute, out));
  });
}
SQLRETURN SQL_API SQLGetStmtAttrW(SQLHSTMT handle, SQLINTEGER attribute, SQLPOINTER out, SQLINTEGER size,
                                  SQLINTEGER* length) {
  return SQLGetStmtAttr(handle, attribute, out, size, length);
}

}  // extern "C"
