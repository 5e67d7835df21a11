// SQLCopyDesc: the driver copies its descriptor, and the driver manager its own side of it: the header
// fields, and the bindings that the cursor library keeps, in the same order.

#include <cstdlib>
#include <functional>
#include <memory>

#include "zuodbc/bindinfo.h"
#include "zuodbc/call/entry.h"
#include "zuodbc/call/trace.h"
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

// A copy of the whole list. Throws std::bad_alloc and leaks nothing.
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
  const bool described =
      !(source.flags & DM_DESC_IRD) || !stmt || stmt->flags & (DM_STMT_PREPARED | DM_STMT_EXECUTED);
  if (!described) return "HY007";
  // Another driver could not make sense of this one's descriptor.
  const auto copierOf = [](const DMDesc& desc) { return desc.conn->driverFunctions->SQLCopyDesc; };
  if (copierOf(source) != copierOf(target)) return "HYC00";
  return sequenceBegin(const_cast<DMDesc&>(source));
}

// Message 316 of the cursor library.
constexpr unsigned short kBindingFixed = 316;

// While a cursor lives its columns point to the records of the row descriptor, which may then not be copied
// onto; and the driver's side of one that the cursor has bound holds the cursor's own buffers, which nobody
// else may get.
bool isCursorsDescriptor(const DMDesc& desc, bool asTarget) {
  for (DMStmt* stmt : DMStmtList(desc.conn)) {
    if ((isDescriptor(stmt->ard, &desc) && stmt->cursor) || (asTarget && stmt->savedArd == &desc))
      return true;
  }
  return false;
}

SQLRETURN refuseForCursor(DMDesc& target) {
  PostODBCError(kDmComponentCursorLibrary, &target, kBindingFixed, -1);
  return SQL_ERROR;
}

SQLRETURN copyDescriptor(DMDesc& source, DMDesc& target, const DMDriverFunctions& driver) {
  if (!driver.SQLCopyDesc || !haveDriverDescriptor(source)) return kDriverLacksFunction;
  completeDescriptor(source);
  Bindings bindings = copyBindings(source.bindList);
  const SQLRETURN rc = ask(driver.SQLCopyDesc, source.driverHandle, target.driverHandle);
  if (!SQL_SUCCEEDED(rc)) return rc;
  target.arraySize = source.arraySize;
  target.rowsProcessedPtr = source.rowsProcessedPtr;
  target.arrayStatusPtr = source.arrayStatusPtr;
  target.bindOffsetPtr = source.bindOffsetPtr;
  target.bindType = source.bindType;
  target.headerChanged |= source.headerChanged;
  target.flags |= source.flags & DM_DESC_CURSOR_BOUND;
  freeBindings(target.bindList);
  target.bindList = bindings.release();
  return rc;
}

// Explicit descriptors are entered before statements, and each kind by rising address.
bool comesFirst(const DMDesc& a, const DMDesc& b) {
  if (!a.ownerStmt != !b.ownerStmt) return !a.ownerStmt;
  return a.ownerStmt ? std::less<>()(a.ownerStmt, b.ownerStmt) : std::less<>()(&a, &b);
}

}  // namespace

extern "C" {

ZU_API SQLRETURN SQL_API SQLCopyDesc(SQLHDESC sourceHandle, SQLHDESC targetHandle) {
  return traced(
      "SQLCopyDesc",
      [&](const auto&...) -> SQLRETURN {
        const Pinned<DMDesc> source(sourceHandle);
        const Pinned<DMDesc> target(targetHandle);
        if (!source || !target) return SQL_INVALID_HANDLE;
        const bool sourceFirst = comesFirst(*source, *target);
        const Entered<DMDesc> first(sourceFirst ? sourceHandle : targetHandle);
        const Entered<DMDesc> second(sourceFirst ? targetHandle : sourceHandle);
        if (!first || !second) return SQL_INVALID_HANDLE;
        const auto check = [&](DMDesc& to) { return &*source == &to ? nullptr : checkCopy(*source, to); };
        const auto copy = [&](DMDesc& to, const DMDriverFunctions& driver) {
          return &*source == &to ? SQLRETURN(SQL_SUCCESS) : copyDescriptor(*source, to, driver);
        };
        // The list of statements is locked before a call lock, so the cursors are looked for before the
        // driver is asked. The cursor library's own copies, made before its cursor binds the driver, do not
        // come here.
        const auto unlessUsed = [&](DMDesc& to, const CursorLibrary&) {
          const bool isUsed = isCursorsDescriptor(*source, false) || isCursorsDescriptor(to, true);
          if (&*source != &to && isUsed) return refuseForCursor(to);
          return askDescriptor(to, Api::CopyDesc, copy);
        };
        return callDescriptor(targetHandle, Api::CopyDesc, check, unlessUsed, copy);
      },
      sourceHandle, targetHandle);
}

}  // extern "C"
