// Data sources and installed drivers, as odbc.ini and odbcinst.ini name them.
//
// Thread use: any thread.

#ifndef ZUODBC_SOURCES_DATASOURCE_H
#define ZUODBC_SOURCES_DATASOURCE_H

#include <string>
#include <string_view>
#include <vector>

#include "zuodbc/handles/handles.h"

namespace dm {

// The longest name of a data source that the standard allows.
constexpr size_t kMaxDataSourceName = SQL_MAX_DSN_LENGTH;

// The library of a data source's driver; empty when there is no such data source.
std::string driverOfDataSource(const std::string& dataSource);

// A value of odbc.ini, or of a driver in odbcinst.ini; empty if it is not there.
std::string valueOf(const std::string& section, const char* key);
std::string valueOfDriver(const std::string& driver, const char* key);

// The library for a driver as a connection string or odbc.ini names it: the one that odbcinst.ini gives
// for the name, else the name itself.
std::string libraryOfDriver(const std::string& driver);

enum class DataSourceScope { User, System, Both };

// Names with the driver's description, and names with the driver's attribute pairs (each zero-ended).
std::vector<DataSourceEntry> listDataSources(DataSourceScope scope);
std::vector<DataSourceEntry> listDrivers();

}  // namespace dm

#endif
