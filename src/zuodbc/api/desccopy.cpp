// SQLCopyDesc: the driver copies its descriptor, and the driver manager its own side of it: the header
// fields, and the bindings that the cursor library keeps, in the same order.

#include <cstdlib>
#include <memory>

#include "zuodbc/bindinfo.h"
#include "zuodbc/call/statementcall.h"
#include "zuodbc/dmservices.h"

using namespace dm;

namespace {

void freeBindings(BindInfo* first) {
  while (first) {
    BindInfo* next = first->next;
    std::free(first);
    first = next;
  }
}

struct FreeBindings {
  void operator()(BindInfo* first) const { freeBindings(first); }
};
using Bindings = std::unique_ptr<BindInfo, FreeBindings>;

// The whole list anew. Throws std::bad_alloc with nothing left behind.
Bindings copyBindings(const BindInfo* first) {
  Bindings copy;
  BindInfo* last = nullptr;
  for (; first; first = first->next) {
    auto* record = static_cast<BindInfo*>(std::malloc(sizeof(BindInfo)));
    if (!record) throw std::bad_alloc();
    *record = *first;
    record->next = nullptr;
    if (last) {
      last->next = record;
    } else {
      copy.reset(record);
    }
    last = record;
  }
  return copy;
}

const char* checkCopy(const DMDesc& source, const DMDesc& target) {
  if (target.flags & DM_DESC_IRD) return "HY016";
  const DMStmt* stmt = source.ownerStmt;
  bool described =
      !(source.flags & DM_DESC_IRD) || !stmt || stmt->flags & (DM_STMT_PREPARED | DM_STMT_EXECUTED);
  if (!described) return "HY007";
  // Another driver could not make sense of this one's descriptor.
  auto copierOf = [](const DMDesc& desc) { return desc.conn->driverFunctions->SQLCopyDesc; };
  if (copierOf(source) != copierOf(target)) return "HYC00";
  return sequenceBegin(const_cast<DMDesc&>(source));
}

constexpr unsigned short kBindingFixed = 316;  // a number of the cursor library's catalog

// True if a cursor reads the target's records, or has bound the source's driver side to its own buffers. The
// cursor library itself copies to descriptors of its own.
bool isFixedByCursor(const DMDesc& source, const DMDesc& target) {
  if (target.state->ofCursorLibrary) return false;
  for (const DMStmt* stmt : DMStmtList(target.conn)) {
    const bool reads = stmt->savedArd == &target || (stmt->ard == &target && stmt->cursor);
    if (reads || (stmt->ard == &source && stmt->cursor)) return true;
  }
  return false;
}

SQLRETURN copyDescriptor(DMDesc& source, DMDesc& target, const DMDriverFunctions& driver) {
  if (!driver.SQLCopyDesc || !haveDriverDescriptor(source)) return driverLacksFunction;
  Bindings bindings = copyBindings(source.bindList);
  SQLRETURN rc = driver.SQLCopyDesc(source.driverHandle, target.driverHandle);
  if (!SQL_SUCCEEDED(rc)) return rc;
  target.arraySize = source.arraySize;
  target.rowsProcessedPtr = source.rowsProcessedPtr;
  target.arrayStatusPtr = source.arrayStatusPtr;
  target.bindOffsetPtr = source.bindOffsetPtr;
  target.bindType = source.bindType;
  target.headerChanged |= source.headerChanged;
  freeBindings(target.bindList);
  target.bindList = bindings.release();
  return rc;
}

}  // namespace

extern "C" {

ZU_API SQLRETURN SQL_API SQLCopyDesc(SQLHDESC sourceHandle, SQLHDESC targetHandle) {
  DMDesc* source = findDescriptor(sourceHandle);
  DMDesc* target = findDescriptor(targetHandle);
  if (!source || !target) return SQL_INVALID_HANDLE;
  if (source == target) return callOwn(target, Api::CopyDesc, [](DMDesc&) { return SQLRETURN(SQL_SUCCESS); });
  if (const char* wrong = checkCopy(*source, *target)) {
    return callOwn(target, Api::CopyDesc, [wrong](DMDesc& refused) { return fail(refused, wrong); });
  }
  if (isFixedByCursor(*source, *target)) {
    return callOwn(target, Api::CopyDesc, [](DMDesc& refused) {
      PostODBCError(DM_COMPONENT_CURSOR_LIBRARY, &refused, kBindingFixed, -1);
      return SQLRETURN(SQL_ERROR);
    });
  }
  return callDescriptor(
      targetHandle, Api::CopyDesc, noCursorLibrary,
      [&](DMDesc& to, const DMDriverFunctions& driver) { return copyDescriptor(*source, to, driver); });
}

}  // extern "C"
