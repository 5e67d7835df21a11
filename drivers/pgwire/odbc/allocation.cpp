// Handles made and freed.

#include <zulib/os/catalogs/boscatalog.h>

#include <algorithm>
#include <new>

#include "odbc/entry.h"
#include "odbc/execute.h"
#include "odbc/parameters.h"

namespace pgwire {

namespace {

template <class H>
int give(H* made, SQLHANDLE* out) {
  if (!made) {
    ZuErrorKeeper::addMemoryError();
    return 1;
  }
  *out = static_cast<Handle*>(made);
  return 0;
}

// Environments that use the catalog of texts. Guarded by the library's lock of the catalog.
unsigned long catalogUsers = 0;

SQLRETURN allocateEnvironment(SQLHANDLE* out) {
  *out = SQL_NULL_HANDLE;
  auto* env = new (std::nothrow) Environment;
  if (!env) return SQL_ERROR;
  // Without a catalog a text is its number.
  bosLoadResourceDLL("zupgwire", 0, nullptr, &catalogUsers);
  *out = static_cast<Handle*>(env);
  return SQL_SUCCESS;
}

int allocateStatement(Connection& conn, SQLHANDLE* out) {
  if (!conn.session.isAlive()) return fail(Issue::ConnectionIsDead);
  auto* stmt = new (std::nothrow) Statement(conn);
  if (stmt && conn.statements.append(stmt)) {
    delete stmt;
    stmt = nullptr;
  }
  return give(stmt, out);
}

int allocateDescriptor(Connection& conn, SQLHANDLE* out) {
  auto* desc = new (std::nothrow) Descriptor(conn, Role::Application, nullptr);
  if (desc && conn.descriptors.append(desc)) {
    delete desc;
    desc = nullptr;
  }
  return give(desc, out);
}

SQLRETURN freeStatement(SQLHANDLE handle) {
  const SQLRETURN code = enter<Statement>(handle, [](Statement& stmt) {
    forgetText(stmt);
    stmt.conn.removeStatement(&stmt);
    return codeOf(0);
  });
  if (code == SQL_INVALID_HANDLE) return code;
  delete static_cast<Handle*>(handle);
  return SQL_SUCCESS;
}

// Statements that use the descriptor go back to their own.
SQLRETURN freeDescriptor(SQLHANDLE handle) {
  const SQLRETURN code = enter<Descriptor>(handle, [](Descriptor& desc) {
    if (desc.owner) return codeOf(fail(Issue::DescriptorInUse));
    for (Statement* stmt : desc.conn.statements) {
      if (stmt->rows == &desc) stmt->rows = &stmt->ownRows;
      if (stmt->params == &desc) stmt->params = &stmt->ownParams;
    }
    Descriptor** at = std::find(desc.conn.descriptors.begin(), desc.conn.descriptors.end(), &desc);
    std::copy(at + 1, desc.conn.descriptors.end(), at);
    desc.conn.descriptors.shorten(desc.conn.descriptors.size() - 1);
    return codeOf(0);
  });
  if (SQL_SUCCEEDED(code)) delete static_cast<Handle*>(handle);
  return code;
}

SQLRETURN freeSimple(SQLHANDLE handle) {
  if (!handle) return SQL_INVALID_HANDLE;
  if (static_cast<Handle*>(handle)->type == SQL_HANDLE_ENV) bosFreeResourceDLL("zupgwire", &catalogUsers);
  delete static_cast<Handle*>(handle);
  return SQL_SUCCESS;
}

}  // namespace

}  // namespace pgwire

using namespace pgwire;

extern "C" {

SQLRETURN SQL_API SQLAllocHandle(SQLSMALLINT type, SQLHANDLE parent, SQLHANDLE* out) {
  if (type == SQL_HANDLE_ENV) return out ? allocateEnvironment(out) : static_cast<SQLRETURN>(SQL_ERROR);
  if (!out) return SQL_ERROR;
  *out = SQL_NULL_HANDLE;
  switch (type) {
    case SQL_HANDLE_DBC:
      return enter<Environment>(
          parent, [&](Environment& env) { return codeOf(give(new (std::nothrow) Connection(env), out)); });
    case SQL_HANDLE_STMT:
      return enter<Connection>(parent,
                               [&](Connection& conn) { return codeOf(allocateStatement(conn, out)); });
    case SQL_HANDLE_DESC:
      return enter<Connection>(parent,
                               [&](Connection& conn) { return codeOf(allocateDescriptor(conn, out)); });
    default: return SQL_ERROR;
  }
}

SQLRETURN SQL_API SQLFreeHandle(SQLSMALLINT type, SQLHANDLE handle) {
  switch (type) {
    case SQL_HANDLE_STMT: return freeStatement(handle);
    case SQL_HANDLE_DESC: return freeDescriptor(handle);
    case SQL_HANDLE_ENV:
    case SQL_HANDLE_DBC: return freeSimple(handle);
    default: return SQL_ERROR;
  }
}

SQLRETURN SQL_API SQLFreeStmt(SQLHSTMT handle, SQLUSMALLINT option) {
  if (option == SQL_DROP) return freeStatement(handle);
  return enter<Statement>(handle, [&](Statement& stmt) {
    switch (option) {
      case SQL_CLOSE: closeResult(stmt); return codeOf(0);
      case SQL_UNBIND: stmt.rows->clearRecords(); return codeOf(0);
      case SQL_RESET_PARAMS:
        stmt.params->clearRecords();
        for (DescriptorRecord& record : stmt.parameters.records) {
          record.isBound = false;
          record.parameterType = SQL_PARAM_INPUT;
        }
        return codeOf(0);
      default: return codeOf(fail(Issue::BadAttribute));
    }
  });
}

}  // extern "C"
