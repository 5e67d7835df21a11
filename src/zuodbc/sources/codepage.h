// The code page of a connection's narrow text.

#ifndef ZUODBC_SOURCES_CODEPAGE_H
#define ZUODBC_SOURCES_CODEPAGE_H

#include <string>
#include <string_view>

namespace dm {

// The IANA number that the connection string gives (IANAAppCodePage, or AppCodePage with an older number),
// else the data source, else section "ODBC" of odbc.ini, else that of odbcinst.ini; Latin-1 if none of them
// does.
long codePageOf(std::string_view connectionString, const std::string& dataSource);

}  // namespace dm

#endif
