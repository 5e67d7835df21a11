// The columns of a result and the parameters of a statement, as the server describes them.

#ifndef PGWIRE_ODBC_COLUMNS_H
#define PGWIRE_ODBC_COLUMNS_H

#include "odbc/handles.h"

namespace pgwire {

// Fill the statement's descriptors of columns and of parameters from a message of the server. A prepared
// statement's columns can come in binary form.
[[nodiscard]] int takeColumns(Statement& stmt, const Message& message, bool prepared);
[[nodiscard]] int takeParameters(Statement& stmt, const Message& message);
// Describes the parameters that get their values from columns.
[[nodiscard]] int describeOutputs(Statement& stmt);

}  // namespace pgwire

#endif
