// A driver's function is called, and what the work around it may return instead of the driver's code.

#ifndef ZUODBC_CALL_ASK_H
#define ZUODBC_CALL_ASK_H

#include <sql.h>

namespace dm {

// The driver has no such function: IM001.
inline constexpr SQLRETURN kDriverLacksFunction = -1001;

// The work has queued its own diagnostics and not called the driver, which therefore has none to fetch: for
// SQL_ERROR and for SQL_SUCCESS_WITH_INFO.
inline constexpr SQLRETURN kRefusedHere = -1002;
inline constexpr SQLRETURN kWarnedHere = -1003;

// Calls an entry of the driver's table, if the driver has it. A driver's code is never taken for one of ours.
template <class Result, class... Parameters, class... Arguments>
SQLRETURN ask(Result (*function)(Parameters...), Arguments... arguments) {
  if (!function) return kDriverLacksFunction;
  const SQLRETURN rc = function(arguments...);
  return rc <= kDriverLacksFunction && rc >= kWarnedHere ? SQLRETURN(SQL_ERROR) : rc;
}

}  // namespace dm

#endif
