// SQLSTATEs of one ODBC version as the other version writes them.

#ifndef ZUODBC_CALL_SQLSTATES_H
#define ZUODBC_CALL_SQLSTATES_H

namespace dm {

// The SQLSTATE in the form of ODBC 2 or of ODBC 3; a state that is already in that form stays. `sqlstate`
// and `out` hold five characters and a zero.
void mapState(const char* sqlstate, bool toVersion2, char* out) noexcept;

}  // namespace dm

#endif
