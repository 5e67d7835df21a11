// The binding records of descriptors: look-up, order, release, and their way back to the driver.

#include "zulib/cursor/entry/bindinfo.h"

#include <cstdint>
#include <initializer_list>

#include "zulib/cursor/entry/forward.h"
#include "zulib/runtime/ram.h"

namespace {

// The first and last code of the two families of verbose types, and the concise type before the first.
constexpr short LAST_DATETIME_CODE = 3;
constexpr short BEFORE_DATETIME = 8;  // codes 1 to 3: SQL_DATE 9, SQL_TIME 10, SQL_TIMESTAMP 11
constexpr short LAST_INTERVAL_CODE = 13;
constexpr short BEFORE_INTERVAL = 100;  // codes 1 to 13: 101 to 113

std::uintptr_t address(const void* pointer) { return reinterpret_cast<std::uintptr_t>(pointer); }

int conciseOf(short code, short lastCode, short before, short* out) {
  if (code < 1 || code > lastCode) return 0;
  *out = static_cast<short>(before + code);
  return 1;
}

}  // namespace

BindInfo* FindBindInfo(DMDesc* desc, unsigned short column) {
  BindInfo* record = desc->bindList;
  while (record && record->column != column) record = record->next;
  return record;
}

BindInfo* GetBindInfo(DMDesc* desc, unsigned short column) {
  BindInfo** link = &desc->bindList;
  while (*link && (*link)->column != column) link = &(*link)->next;
  BindInfo* record = *link;
  if (record) {
    *link = record->next;
    record->next = nullptr;
    return record;
  }
  record = static_cast<BindInfo*>(ramAllocZ(sizeof(BindInfo)));
  if (record) record->column = column;
  return record;
}

void InsertBindInfo(DMDesc* desc, BindInfo* record, const void* key) {
  BindInfo** link = &desc->bindList;
  while (*link && address((*link)->data) < address(key)) link = &(*link)->next;
  record->next = *link;
  *link = record;
}

void DropBindings(DMDesc* desc, const SQLULEN* upTo) {
  BindInfo** link = &desc->bindList;
  while (BindInfo* record = *link) {
    if (upTo && record->column <= *upTo) {
      link = &record->next;
    } else {
      *link = record->next;
      std::free(record);
    }
  }
}

void FreeBindArray(DMStmt* stmt) {
  // An application's own descriptor loses its records with any of its statements. Only one that the cursor
  // of another statement stands on keeps them: that cursor may point to them.
  for (DMDesc* desc : {stmt->ard, stmt->apd, stmt->ipd})
    if (CheckModifyDesc(desc)) DropBindings(desc, nullptr);
}

bool CheckModifyDesc(DMDesc* desc) {
  DMConn* conn = desc->conn;
  for (DMStmt* stmt = conn->GetFirstStmtFromDbcList(); stmt; stmt = conn->GetNextStmtFromDbcList(stmt))
    if (stmt->savedArd == desc || (stmt->ard == desc && stmt->cursor)) return false;
  return true;
}

SQLRETURN RestoreBindings(DMStmt* stmt) {
  SQLRETURN rc = SQL_SUCCESS;
  for (BindInfo* bind = stmt->ard->bindList; bind; bind = bind->next) {
    short type;
    // What has no concise type has never been bound on the driver either.
    if (bind->column == 0 || !MapToConciseType(bind->typeGiven, bind->intervalCode, bind->typeForm, &type))
      continue;
    rc = CursorLibBindCol(stmt, bind->column, type, bind->data, bind->length, bind->octetLengthPtr);
  }
  return rc;
}

int MapToConciseType(short type, short code, tagETBINDTYPE form, short* out) {
  if (form == ET_BIND_NONE) return 0;
  if (form == ET_BIND_VERBOSE) {
    if (type == SQL_DATETIME) return conciseOf(code, LAST_DATETIME_CODE, BEFORE_DATETIME, out);
    if (type == SQL_INTERVAL) return conciseOf(code, LAST_INTERVAL_CODE, BEFORE_INTERVAL, out);
  }
  *out = type;
  return 1;
}
