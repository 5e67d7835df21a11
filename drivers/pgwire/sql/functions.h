// The scalar functions of ODBC by the server's names.

#ifndef PGWIRE_SQL_FUNCTIONS_H
#define PGWIRE_SQL_FUNCTIONS_H

#include <string_view>

namespace pgwire {

// How "name(arguments)" of an {fn ...} escape is written for the server.
struct FunctionForm {
  std::string_view name;    // ODBC's, in upper case
  std::string_view before;  // in place of the name and "("
  std::string_view after;   // in place of ")"
};

// Null for a function that keeps its name. In any case.
const FunctionForm* findFunction(std::string_view name);

}  // namespace pgwire

#endif
