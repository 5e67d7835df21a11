// The work of a statement: prepare, execute, results. All return 0, or 1 after a record, unless stated.

#ifndef PGWIRE_ODBC_EXECUTE_H
#define PGWIRE_ODBC_EXECUTE_H

#include <string_view>

#include "odbc/handles.h"

namespace pgwire {

// Takes a statement's text. Nothing is sent.
[[nodiscard]] int prepareText(Statement& stmt, std::string_view sql);

// Sends a prepared statement to the server, unless it is there, and takes its parameters and columns.
[[nodiscard]] int describePrepared(Statement& stmt);

// Runs the statement's text; SQL_NEED_DATA and SQL_NO_DATA are possible.
SQLRETURN execute(Statement& stmt);

// Runs SQL of the driver's own, whose result is the statement's.
[[nodiscard]] int executeOwn(Statement& stmt, std::string_view sql);

// Goes to the next result: SQL_SUCCESS, SQL_NO_DATA or SQL_ERROR.
SQLRETURN nextResult(Statement& stmt);

// The rows that a command has affected, from its CommandComplete; -1 if it does not say.
SQLLEN commandCount(const Message& message);

// Reads on in the replies to a statement that was just sent: to its first result, or its failure.
SQLRETURN firstResult(Statement& stmt);

// Moves to the next row: SQL_SUCCESS, SQL_NO_DATA or SQL_ERROR.
SQLRETURN fetchRow(Statement& stmt);

// Puts the value of a column, from 1, of the current row into a parameter, from 0, of the set being executed.
Outcome storeOutput(Statement& stmt, std::size_t column, unsigned parameter);

// Ends the open result; the text stays.
void closeResult(Statement& stmt);

// Forgets the text, too, and the server's prepared statement.
void forgetText(Statement& stmt);

// Closes what a statement has on the server. The connection may be dead.
void releaseServerStatement(Statement& stmt);

}  // namespace pgwire

#endif
