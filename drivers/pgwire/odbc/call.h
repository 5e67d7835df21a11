// Calls: {call name(...)} and {?=call name(...)}. A procedure is called by CALL, a function is selected from;
// what its parameters that are outputs get is the first row of the result.

#ifndef PGWIRE_ODBC_CALL_H
#define PGWIRE_ODBC_CALL_H

#include "odbc/handles.h"

namespace pgwire {

// Translates the statement's call anew if the directions of its parameters have changed, or if the server has
// not been asked yet whether it is of a procedure. Does nothing for other statements.
[[nodiscard]] int resolveCall(Statement& stmt);

// Reads the open result into the parameters that are outputs, and closes it.
SQLRETURN takeOutputs(Statement& stmt);

}  // namespace pgwire

#endif
