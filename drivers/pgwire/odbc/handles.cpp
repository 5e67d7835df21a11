#include "odbc/handles.h"

#include <algorithm>
#include <cstdio>

#include "odbc/parameters.h"

namespace pgwire {

int Connection::beginIfNeeded() {
  if (autocommit || session.transaction != 'I') return 0;
  return session.run("BEGIN");
}

// A commit of a transaction that has failed rolls it back; the application must hear of that.
int Connection::endTransaction(bool commit) {
  if (session.transaction == 'I') return 0;
  const bool wasFailed = session.transaction == 'E';
  if (session.run(commit ? "COMMIT" : "ROLLBACK")) return 1;
  return commit && wasFailed ? fail(Issue::RolledBack) : 0;
}

int Connection::setIsolation(SQLULEN level) {
  const char* name = nullptr;
  switch (level) {
    case SQL_TXN_READ_UNCOMMITTED: name = "READ UNCOMMITTED"; break;
    case SQL_TXN_READ_COMMITTED: name = "READ COMMITTED"; break;
    case SQL_TXN_REPEATABLE_READ: name = "REPEATABLE READ"; break;
    case SQL_TXN_SERIALIZABLE: name = "SERIALIZABLE"; break;
    default: return fail(Issue::BadAttributeValue);
  }
  if (connected) {
    if (session.transaction != 'I') return fail(Issue::TransactionOpen);
    Text sql;
    if (sql.assign("SET SESSION CHARACTERISTICS AS TRANSACTION ISOLATION LEVEL ") || sql.append(name) ||
        session.run(sql.view())) {
      return 1;
    }
  }
  isolation = level;
  return 0;
}

void Connection::removeStatement(Statement* stmt) {
  Statement** at = std::find(statements.begin(), statements.end(), stmt);
  if (at == statements.end()) return;
  std::copy(at + 1, statements.end(), at);
  statements.shorten(statements.size() - 1);
}

Statement::Statement(Connection& conn)
    : Handle(kType),
      conn(conn),
      ownRows(conn, Role::Application, this),
      ownParams(conn, Role::Application, this),
      columns(conn, Role::RowDescription, this),
      parameters(conn, Role::ParameterDescription, this),
      rows(&ownRows),
      params(&ownParams),
      replies(conn.session),
      queryTimeout(conn.queryTimeout),
      maxRows(conn.maxRows),
      noscan(conn.noscan),
      maxLength(conn.maxLength) {}

Statement::~Statement() = default;

}  // namespace pgwire
