#include "zulib/cursor/internal/bindings.h"

#include <cstdint>
#include <initializer_list>

#include "zulib/cursor/internal/forward.h"
#include "zulib/runtime/ram.h"

namespace {

// The last code of the two families of verbose types, and the concise type before the first.
constexpr short kLastDatetimeCode = SQL_CODE_TIMESTAMP;
constexpr short kBeforeDatetime = SQL_DATE - SQL_CODE_DATE;  // codes 1 to 3: SQL_DATE to SQL_TIMESTAMP
constexpr short kLastIntervalCode = SQL_CODE_MINUTE_TO_SECOND;
constexpr short kBeforeInterval = SQL_INTERVAL_YEAR - SQL_CODE_YEAR;  // codes 1 to 13: 101 to 113

std::uintptr_t address(const void* pointer) { return reinterpret_cast<std::uintptr_t>(pointer); }

int conciseOf(short code, short lastCode, short before, short* out) {
  if (code < 1 || code > lastCode) return 0;
  *out = static_cast<short>(before + code);
  return 1;
}

bool readsThrough(const DMStmt* stmt, const DMDesc* desc) {
  return stmt->savedArd == desc || (isDescriptor(stmt->ard, desc) && stmt->cursor);
}

}  // namespace

BindInfo* FindBindInfo(const DMDesc* desc, unsigned short column) {
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
  while (BindInfo* const record = *link) {
    if (upTo && record->column <= *upTo) {
      link = &record->next;
    } else {
      *link = record->next;
      std::free(record);
    }
  }
}

void FreeBindArray(DMStmt* stmt) {
  for (DMDesc* desc : {stmt->ard, stmt->apd, stmt->ipd})
    if (CheckModifyDesc(desc)) DropBindings(desc, nullptr);
}

void dropParameters(DMStmt* stmt) {
  if (stmt->apd->isExplicit()) stmt->apd = stmt->implicitApd;
  DropBindings(stmt->apd, nullptr);
}

bool CheckModifyDesc(const DMDesc* desc) { return !statementReading(desc); }

// A statement's own descriptor is in use by that statement only, so no other one is looked at.
DMStmt* statementReading(const DMDesc* desc) {
  if (DMStmt* const owner = desc->ownerStmt) return readsThrough(owner, desc) ? owner : nullptr;
  for (DMStmt* stmt : DMStmtList(desc->conn))
    if (readsThrough(stmt, desc)) return stmt;
  return nullptr;
}

SQLRETURN RestoreBindings(DMStmt* stmt) {
  SQLRETURN rc = SQL_SUCCESS;
  for (const BindInfo* bind = stmt->ard->bindList; bind; bind = bind->next) {
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
    if (type == SQL_DATETIME) return conciseOf(code, kLastDatetimeCode, kBeforeDatetime, out);
    if (type == SQL_INTERVAL) return conciseOf(code, kLastIntervalCode, kBeforeInterval, out);
  }
  *out = type;
  return 1;
}
