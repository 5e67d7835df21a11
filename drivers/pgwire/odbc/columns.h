// The columns of a result and the parameters of a statement, as the server describes them.

#ifndef PGWIRE_ODBC_COLUMNS_H
#define PGWIRE_ODBC_COLUMNS_H

#include "odbc/handles.h"

namespace pgwire {

// Fill the statement's descriptors of columns and of parameters from a message of the server.
[[nodiscard]] int takeColumns(Statement& stmt, const Message& message);
[[nodiscard]] int takeParameters(Statement& stmt, const Message& message);

}  // namespace pgwire

#endif
