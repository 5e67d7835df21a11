// What the data source says about its tables, through the catalog functions.

#ifndef TOOLS_ZUSQL_CATALOG_H
#define TOOLS_ZUSQL_CATALOG_H

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "tools/zusql/formats.h"
#include "tools/zusql/odbc.h"

namespace zusql {

struct TableName {
  std::string catalog;
  std::string schema;
  std::string name;
  std::string type;
};

// Tables and views. Names may hold the wildcards % and _; an empty pattern takes all.
std::vector<TableName> tablesLike(const Connection& connection, const std::string& pattern);

// The columns of a table's primary key, in order; empty if there is none or the driver cannot tell.
std::vector<std::string> primaryKeyOf(const Connection& connection, const std::string& table);

// Writes the list of tables.
void describeTables(const Connection& connection, Output& out, const FormatOptions& options);

// Writes the columns and keys of a table, or of the tables that a pattern with % matches their names. Throws
// std::runtime_error if there is none.
void describeTable(const Connection& connection, const std::string& name, Output& out,
                   const FormatOptions& options);

// Names that a word may be completed to, read from the data source when they are first needed.
class CompletionNames {
 public:
  // Names of tables, of the columns of those tables that `text` names, and keywords of SQL, that begin with
  // `beginning`, without regard to the case of ASCII letters.
  std::vector<std::string> matching(const Connection& connection, std::string_view beginning,
                                    std::string_view text);
  std::vector<std::string> matchingTables(const Connection& connection, std::string_view beginning);
  void forget();

 private:
  void loadTables(const Connection& connection);

  bool isLoaded = false;
  std::vector<std::string> tables;
  std::map<std::string, std::vector<std::string>> columnsOfTable;
};

}  // namespace zusql

#endif
