// From a connection string and a data source's section to the settings of a connection.

#ifndef PGWIRE_ODBC_CONNECTSTRING_H
#define PGWIRE_ODBC_CONNECTSTRING_H

#include <string_view>

#include "login/settings.h"

namespace pgwire {

// Takes the keywords of a connection string (UTF-8). What nobody knows is a warning. Values that are set
// already are replaced. 0, or 1 after a record.
[[nodiscard]] int readConnectString(std::string_view text, Settings& settings);

// Takes the keys of a section of the user's odbc.ini, for what the settings do not have yet.
[[nodiscard]] int readDataSource(std::string_view name, Settings& settings);

// Sets what must be there and is not: port, database. 1 after a record if there is no user.
[[nodiscard]] int completeSettings(Settings& settings);

}  // namespace pgwire

#endif
