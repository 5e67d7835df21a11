#include "zuodbc/call/heldbindings.h"

#include <algorithm>

#include "zuodbc/call/ask.h"
#include "zuodbc/handles/marks.h"

namespace dm {
namespace {

bool usesBindings(Api api) {
  switch (api) {
    case Api::Fetch:
    case Api::FetchScroll:
    case Api::ExtendedFetch:
    case Api::SetPos:
    case Api::BulkOperations: return true;
    default: return false;
  }
}

auto findColumn(std::vector<HeldBinding>& held, SQLUSMALLINT column) {
  return std::find_if(held.begin(), held.end(), [=](const HeldBinding& one) { return one.column == column; });
}

}  // namespace

bool holdsBindings(const DMStmt& stmt) noexcept {
  // The bindings of an explicit descriptor could be read through another statement.
  if (!isInLibrary() || stmt.ard != &stmt.implicitArdStorage) return false;
  switch (stmt.state->call) {
    case Api::FreeStmt:
    case Api::CloseCursor:
    case Api::MoreResults:
    case Api::Cancel:
    case Api::EndTran: return true;
    default: return false;
  }
}

void reserveHeldBinding(DMStmt& stmt, SQLUSMALLINT column) {
  auto& held = stmt.state->heldBindings;
  if (held.capacity() < column) held.reserve(std::max<size_t>(column, 2 * held.capacity()));
}

void holdBinding(DMStmt& stmt, const HeldBinding& binding) {
  auto& held = stmt.state->heldBindings;
  const auto found = findColumn(held, binding.column);
  if (found != held.end()) {
    *found = binding;
  } else {
    held.push_back(binding);
  }
}

SQLRETURN settleHeldBindings(DMStmt& stmt, const DMDriverFunctions& driver, Api api) {
  return usesBindings(api) ? bindHeldColumns(stmt, driver) : SQLRETURN(SQL_SUCCESS);
}

SQLRETURN bindHeldColumns(DMStmt& stmt, const DMDriverFunctions& driver) {
  auto& held = stmt.state->heldBindings;
  while (!held.empty()) {
    const HeldBinding& one = held.front();
    const SQLRETURN rc =
        ask(driver.SQLBindCol, stmt.driverHandle, one.column, one.cType, one.data, one.length, one.lengthPtr);
    if (!SQL_SUCCEEDED(rc)) return rc;
    held.erase(held.begin());
  }
  return SQL_SUCCESS;
}

void forgetHeldBinding(DMStmt& stmt, SQLUSMALLINT column) noexcept {
  auto& held = stmt.state->heldBindings;
  const auto found = findColumn(held, column);
  if (found != held.end()) held.erase(found);
}

}  // namespace dm
