// Handles and diagnostics of the scripted driver, and the road of its calls.

#include <chrono>
#include <cstring>
#include <utility>

#include "tests/support/scripted_driver/driver.h"

namespace scripted {

DriverScript* script = nullptr;
std::map<Handle*, std::unique_ptr<Handle>> handles;

namespace {

bool isVersion3() {
  const auto version = script->info.find(SQL_DRIVER_ODBC_VER);
  return version != script->info.end() && std::get<std::string>(version->second) >= "03";
}

bool asksForDiagnostics(const std::string& function) {
  return function == "SQLError" || function == "SQLGetDiagRec" || function == "SQLGetDiagField";
}

bool failed(SQLRETURN rc) { return (rc & ~1) != 0; }

}  // namespace

std::string stateOf(const std::string& state) {
  return isVersion3() || state.compare(0, 2, "HY") != 0 ? state : "S1" + state.substr(2);
}

SQLRETURN Handle::post(const std::string& state, SQLRETURN rc, SQLLEN row) {
  diagnostics.push_back({stateOf(state), "[scripted] " + state, row});
  return rc;
}

Stmt::Stmt(Conn* conn)
    : Handle(SQL_HANDLE_STMT),
      conn(conn),
      ownArd(conn),
      ownApd(conn),
      ownIrd(conn),
      ownIpd(conn),
      ard(&ownArd),
      apd(&ownApd) {}

void Stmt::close() {
  result.reset();
  more.clear();
  awaited.clear();
  supplied.clear();
  taken.clear();
  pending.clear();
  cancelled = false;
}

Handle* find(SQLHANDLE handle, SQLSMALLINT type) {
  const auto found = handles.find(static_cast<Handle*>(handle));
  if (found != handles.end()) return found->second->type == type ? found->second.get() : nullptr;
  if (type != SQL_HANDLE_DESC) return nullptr;
  for (auto& [key, kept] : handles) {
    auto* stmt = kept->type == SQL_HANDLE_STMT ? static_cast<Stmt*>(kept.get()) : nullptr;
    if (!stmt) continue;
    for (Desc* own : {&stmt->ownArd, &stmt->ownApd, &stmt->ownIrd, &stmt->ownIpd}) {
      if (own == handle) return own;
    }
  }
  return nullptr;
}

SQLHANDLE keep(std::unique_ptr<Handle> handle) {
  Handle* key = handle.get();
  handles.emplace(key, std::move(handle));
  script->liveHandles = static_cast<int>(handles.size());
  return key;
}

void drop(Handle* handle) {
  handles.erase(handle);
  script->liveHandles = static_cast<int>(handles.size());
}

Call::Call(const char* function) : function(function) {
  script->pauseFaults();
  lock = std::unique_lock(script->mutex);
  script->log.emplace_back(function);
  nth = ++script->counts[function];
}

const ScriptFault* Call::fault() const {
  for (const ScriptFault& fault : script->faults) {
    if (fault.function == function && nth >= fault.nth && nth < fault.nth + fault.times) return &fault;
  }
  return nullptr;
}

void Call::waitAtGate(Handle& handle) {
  if (script->gate != function) return;
  auto* stmt = handle.type == SQL_HANDLE_STMT ? static_cast<Stmt*>(&handle) : nullptr;
  script->inGate = true;
  if (stmt) stmt->pending = function;
  script->changed.notify_all();
  script->changed.wait_for(lock, std::chrono::seconds(20),
                           [&] { return script->gate.empty() || (stmt && stmt->cancelled); });
  script->inGate = false;
  script->gate.clear();
}

bool Call::fails(Handle& handle, SQLRETURN& rc) {
  if (asksForDiagnostics(function)) return false;
  handle.diagnostics.clear();
  waitAtGate(handle);
  auto* stmt = handle.type == SQL_HANDLE_STMT ? static_cast<Stmt*>(&handle) : nullptr;
  if (stmt && stmt->pending == function) {
    stmt->pending.clear();
    if (std::exchange(stmt->cancelled, false)) {
      rc = stmt->post("HY008");
      return true;
    }
  }
  if (++script->calls == script->failAtCall) {
    script->failed = function;
    rc = handle.post("HY000");
    return true;
  }
  const ScriptFault* told = fault();
  if (stmt && told && told->rc == SQL_STILL_EXECUTING) stmt->pending = function;
  if (!told || !failed(told->rc)) return false;
  rc = told->sqlstate.empty() ? told->rc : handle.post(told->sqlstate, told->rc);
  return true;
}

SQLRETURN Call::warn(Handle& handle, SQLRETURN rc) {
  const ScriptFault* told = fault();
  if (!told || failed(rc) || failed(told->rc) || handles.find(&handle) == handles.end()) return rc;
  return told->sqlstate.empty() ? told->rc : handle.post(told->sqlstate, told->rc);
}

}  // namespace scripted

using namespace scripted;

namespace {

SQLRETURN allocate(const char* function, SQLSMALLINT type, SQLHANDLE input, SQLHANDLE* output) {
  if (!script) return SQL_INVALID_HANDLE;
  *output = nullptr;
  Call call(function);
  Env noParent;
  Handle* parent = type == SQL_HANDLE_ENV   ? &noParent
                   : type == SQL_HANDLE_DBC ? find(input, SQL_HANDLE_ENV)
                                            : find(input, SQL_HANDLE_DBC);
  if (!parent) return SQL_INVALID_HANDLE;
  SQLRETURN rc = SQL_SUCCESS;
  if (call.fails(*parent, rc)) return rc;
  if (type == SQL_HANDLE_ENV) *output = keep(std::make_unique<Env>());
  if (type == SQL_HANDLE_DBC) *output = keep(std::make_unique<Conn>(static_cast<Env*>(parent)));
  if (type == SQL_HANDLE_STMT) *output = keep(std::make_unique<Stmt>(static_cast<Conn*>(parent)));
  if (type == SQL_HANDLE_DESC) *output = keep(std::make_unique<Desc>(static_cast<Conn*>(parent)));
  return kOk;
}

// A freed explicit descriptor gives its statements their own ones back.
void forget(Desc& desc) {
  for (auto& [key, kept] : handles) {
    if (kept->type != SQL_HANDLE_STMT) continue;
    auto& stmt = static_cast<Stmt&>(*kept);
    if (stmt.ard == &desc) stmt.ard = &stmt.ownArd;
    if (stmt.apd == &desc) stmt.apd = &stmt.ownApd;
  }
}

template <class Object>
SQLRETURN release(const char* function, SQLHANDLE handle) {
  return answer<Object>(handle, function, [](Object& object) {
    if constexpr (std::is_same_v<Object, Desc>) forget(object);
    drop(&object);
    return kOk;
  });
}

const Diagnostic* record(Handle* handle, SQLSMALLINT number) {
  if (!handle || number < 1 || number > static_cast<SQLSMALLINT>(handle->diagnostics.size())) return nullptr;
  return &handle->diagnostics[number - 1];
}

}  // namespace

extern "C" {

void scriptedDriverSetScript(DriverScript* newScript) {
  if (!newScript) handles.clear();
  script = newScript;
}

SQLRETURN SQL_API SQLAllocHandle(SQLSMALLINT type, SQLHANDLE input, SQLHANDLE* output) {
  return allocate("SQLAllocHandle", type, input, output);
}
SQLRETURN SQL_API SQLAllocEnv(SQLHENV* out) { return allocate("SQLAllocEnv", SQL_HANDLE_ENV, nullptr, out); }
SQLRETURN SQL_API SQLAllocConnect(SQLHENV env, SQLHDBC* out) {
  return allocate("SQLAllocConnect", SQL_HANDLE_DBC, env, out);
}
SQLRETURN SQL_API SQLAllocStmt(SQLHDBC conn, SQLHSTMT* out) {
  return allocate("SQLAllocStmt", SQL_HANDLE_STMT, conn, out);
}

SQLRETURN SQL_API SQLFreeHandle(SQLSMALLINT type, SQLHANDLE handle) {
  switch (type) {
    case SQL_HANDLE_ENV: return release<Env>("SQLFreeHandle", handle);
    case SQL_HANDLE_DBC: return release<Conn>("SQLFreeHandle", handle);
    case SQL_HANDLE_STMT: return release<Stmt>("SQLFreeHandle", handle);
    case SQL_HANDLE_DESC: return release<Desc>("SQLFreeHandle", handle);
    default: return SQL_INVALID_HANDLE;
  }
}
SQLRETURN SQL_API SQLFreeEnv(SQLHENV env) { return release<Env>("SQLFreeEnv", env); }
SQLRETURN SQL_API SQLFreeConnect(SQLHDBC conn) { return release<Conn>("SQLFreeConnect", conn); }

SQLRETURN SQL_API SQLGetDiagRec(SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT number, SQLCHAR* state,
                                SQLINTEGER* native, SQLCHAR* text, SQLSMALLINT size, SQLSMALLINT* length) {
  if (!script) return SQL_INVALID_HANDLE;
  const Call call("SQLGetDiagRec");
  Handle* found = find(handle, type);
  const Diagnostic* diagnostic = record(found, number);
  if (!diagnostic) return found ? SQL_NO_DATA : SQL_INVALID_HANDLE;
  if (state) std::strcpy(reinterpret_cast<char*>(state), diagnostic->state.c_str());
  if (native) *native = 0;
  Handle scratch(type);
  return copyText(scratch, diagnostic->text, text, size, length);
}

SQLRETURN SQL_API SQLGetDiagField(SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT number, SQLSMALLINT field,
                                  SQLPOINTER value, SQLSMALLINT size, SQLSMALLINT* length) {
  if (!script) return SQL_INVALID_HANDLE;
  const Call call("SQLGetDiagField");
  Handle* found = find(handle, type);
  if (!found) return SQL_INVALID_HANDLE;
  if (field == SQL_DIAG_NUMBER) {
    *static_cast<SQLINTEGER*>(value) = static_cast<SQLINTEGER>(found->diagnostics.size());
    return kOk;
  }
  const Diagnostic* diagnostic = record(found, number);
  if (!diagnostic) return kNoData;
  Handle scratch(type);
  switch (field) {
    case SQL_DIAG_SQLSTATE: return copyText(scratch, diagnostic->state, value, size, length);
    case SQL_DIAG_MESSAGE_TEXT: return copyText(scratch, diagnostic->text, value, size, length);
    case SQL_DIAG_ROW_NUMBER: *static_cast<SQLLEN*>(value) = diagnostic->row; return kOk;
    case SQL_DIAG_COLUMN_NUMBER: *static_cast<SQLINTEGER*>(value) = SQL_NO_COLUMN_NUMBER; return kOk;
    case SQL_DIAG_NATIVE: *static_cast<SQLINTEGER*>(value) = 0; return kOk;
    default: return SQL_ERROR;
  }
}

SQLRETURN SQL_API SQLError(SQLHENV env, SQLHDBC conn, SQLHSTMT stmt, SQLCHAR* state, SQLINTEGER* native,
                           SQLCHAR* text, SQLSMALLINT size, SQLSMALLINT* length) {
  if (!script) return SQL_INVALID_HANDLE;
  const Call call("SQLError");
  Handle* found = stmt   ? find(stmt, SQL_HANDLE_STMT)
                  : conn ? find(conn, SQL_HANDLE_DBC)
                         : find(env, SQL_HANDLE_ENV);
  if (!found) return SQL_INVALID_HANDLE;
  if (found->diagnostics.empty()) {
    std::strcpy(reinterpret_cast<char*>(state), "00000");
    return kNoData;
  }
  const Diagnostic first = found->diagnostics.front();
  found->diagnostics.erase(found->diagnostics.begin());
  std::strcpy(reinterpret_cast<char*>(state), first.state.c_str());
  if (native) *native = 0;
  Handle scratch(SQL_HANDLE_STMT);
  return copyText(scratch, first.text, text, size, length);
}

}  // extern "C"
