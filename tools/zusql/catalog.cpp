#include "tools/zusql/catalog.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <stdexcept>

#include "tools/zusql/cancel.h"
#include "tools/zusql/sqltext.h"

namespace zusql {

namespace {

// The columns of the catalog functions' results that are read.
constexpr SQLUSMALLINT kTableCatalog = 1;
constexpr SQLUSMALLINT kTableSchema = 2;
constexpr SQLUSMALLINT kTableName = 3;
constexpr SQLUSMALLINT kTableType = 4;
constexpr SQLUSMALLINT kColumnName = 4;
constexpr SQLUSMALLINT kColumnTypeName = 6;
constexpr SQLUSMALLINT kColumnSize = 7;
constexpr SQLUSMALLINT kColumnNullable = 11;
constexpr SQLUSMALLINT kColumnDefault = 13;
constexpr SQLUSMALLINT kKeyColumnName = 4;
constexpr SQLUSMALLINT kForeignToTable = 3;
constexpr SQLUSMALLINT kForeignToColumn = 4;
constexpr SQLUSMALLINT kForeignColumn = 8;
constexpr SQLUSMALLINT kIndexNonUnique = 4;
constexpr SQLUSMALLINT kIndexName = 6;
constexpr SQLUSMALLINT kIndexColumn = 9;

constexpr std::array kSqlWords{
    "ALTER",  "AND",      "BEGIN", "BETWEEN", "CASE",   "COMMIT",   "COUNT",    "CREATE",      "DELETE",
    "DESC",   "DISTINCT", "DROP",  "EXISTS",  "FROM",   "GROUP BY", "HAVING",   "INNER",       "INSERT INTO",
    "JOIN",   "LEFT",     "LIKE",  "LIMIT",   "NOT",    "NULL",     "ORDER BY", "PRIMARY KEY", "ROLLBACK",
    "SELECT", "SET",      "TABLE", "UNION",   "UPDATE", "VALUES",   "VIEW",     "WHERE",       "WITH"};

std::string text(Statement& statement, SQLUSMALLINT column) {
  Field field;
  statement.get(column, field);
  return field.text;
}

// Runs `each` for every row of the catalog function that `call` calls.
template <class Call, class Each>
void eachRow(const Connection& connection, Call call, Each each) {
  Statement statement(connection);
  const CancelScope cancellable(statement.handle());
  statement.check(call(statement.handle()));
  while (statement.fetch()) each(statement);
}

// The same, where the driver may lack the function: then there are no rows.
template <class Call, class Each>
void eachRowIfAny(const Connection& connection, Call call, Each each) {
  try {
    eachRow(connection, call, each);
  } catch (const OdbcError& error) {
    if (error.isConnectionFailure() || error.isCancel()) throw;
  }
}

struct ColumnFacts {
  std::string name;
  std::string type;
  std::string size;
  bool isNullable;
  std::string defaultText;
};

std::vector<ColumnFacts> columnsOfTable(const Connection& connection, const std::string& table) {
  std::vector<ColumnFacts> all;
  const auto call = [&](SQLHSTMT stmt) {
    return SQLColumns(stmt, nullptr, 0, nullptr, 0, sqlText(table), SQL_NTS, nullptr, 0);
  };
  eachRow(connection, call, [&](Statement& row) {
    if (text(row, kTableName) != table) return;  // `_` in a name matches any character
    ColumnFacts& facts = all.emplace_back();
    facts.name = text(row, kColumnName);
    facts.type = text(row, kColumnTypeName);
    facts.size = text(row, kColumnSize);
    facts.isNullable = text(row, kColumnNullable) != std::to_string(SQL_NO_NULLS);
    facts.defaultText = text(row, kColumnDefault);
  });
  return all;
}

std::vector<Column> headings(std::initializer_list<const char*> names) {
  std::vector<Column> columns;
  for (const char* const name : names) {
    columns.emplace_back().name = name;
    columns.back().sqlType = SQL_VARCHAR;
  }
  return columns;
}

void writeColumns(const Connection& connection, const std::string& table, Output& out,
                  const FormatOptions& options) {
  const std::vector<std::string> key = primaryKeyOf(connection, table);
  const auto writer =
      makeWriter(out, headings({"column", "type", "size", "null", "default", "key"}), options);
  for (const ColumnFacts& facts : columnsOfTable(connection, table)) {
    const auto place = std::ranges::find(key, facts.name);
    const std::string inKey =
        place == key.end()
            ? ""
            : "primary" + (key.size() > 1 ? " " + std::to_string(place - key.begin() + 1) : "");
    writer->row({{facts.name},
                 {facts.type},
                 {facts.size},
                 {facts.isNullable ? "" : "not null"},
                 {facts.defaultText},
                 {inKey}});
  }
  writer->end();
}

// "name (a, b)" for each group of rows that have the same name.
class GroupedNames {
 public:
  void add(const std::string& name, const std::string& column, const std::string& after) {
    if (names.empty() || names.back().first != name) {
      names.emplace_back(name, "");
      afters.push_back(after);
    }
    names.back().second += (names.back().second.empty() ? "" : ", ") + column;
  }
  void write(Output& out, const char* title) const {
    if (!names.empty()) out.write(std::string(title) + "\n");
    for (std::size_t i = 0; i < names.size(); ++i) {
      out.write("  " + names[i].first + " (" + names[i].second + ")" + afters[i] + "\n");
    }
  }

 private:
  std::vector<std::pair<std::string, std::string>> names;
  std::vector<std::string> afters;
};

void writeIndexes(const Connection& connection, const std::string& table, Output& out) {
  GroupedNames indexes;
  const auto call = [&](SQLHSTMT stmt) {
    return SQLStatistics(stmt, nullptr, 0, nullptr, 0, sqlText(table), SQL_NTS, SQL_INDEX_ALL, SQL_QUICK);
  };
  eachRowIfAny(connection, call, [&](Statement& row) {
    const std::string nonUnique = text(row, kIndexNonUnique);
    const std::string name = text(row, kIndexName);
    const std::string column = text(row, kIndexColumn);
    if (!name.empty()) indexes.add(name, column, nonUnique == "0" ? " unique" : "");
  });
  indexes.write(out, "Indexes:");
}

void writeForeignKeys(const Connection& connection, const std::string& table, Output& out) {
  std::vector<std::string> lines;
  const auto call = [&](SQLHSTMT stmt) {
    return SQLForeignKeys(stmt, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0, sqlText(table),
                          SQL_NTS);
  };
  eachRowIfAny(connection, call, [&](Statement& row) {
    const std::string toTable = text(row, kForeignToTable);
    const std::string toColumn = text(row, kForeignToColumn);
    lines.push_back("  " + text(row, kForeignColumn) + " refers to " + toTable + " (" + toColumn + ")\n");
  });
  if (!lines.empty()) out.write("Foreign keys:\n");
  for (const std::string& line : lines) out.write(line);
}

bool beginsWith(std::string_view name, std::string_view beginning) {
  return name.size() >= beginning.size() && strncasecmp(name.data(), beginning.data(), beginning.size()) == 0;
}

}  // namespace

std::vector<TableName> tablesLike(const Connection& connection, const std::string& pattern) {
  std::vector<TableName> all;
  const auto call = [&](SQLHSTMT stmt) {
    SQLCHAR* const name = pattern.empty() ? nullptr : sqlText(pattern);
    SQLCHAR types[] = "TABLE,VIEW";
    return SQLTables(stmt, nullptr, 0, nullptr, 0, name, SQL_NTS, types, SQL_NTS);
  };
  eachRow(connection, call, [&](Statement& row) {
    TableName& table = all.emplace_back();
    table.catalog = text(row, kTableCatalog);
    table.schema = text(row, kTableSchema);
    table.name = text(row, kTableName);
    table.type = text(row, kTableType);
  });
  return all;
}

std::vector<std::string> primaryKeyOf(const Connection& connection, const std::string& table) {
  std::vector<std::string> columns;
  const auto call = [&](SQLHSTMT stmt) {
    return SQLPrimaryKeys(stmt, nullptr, 0, nullptr, 0, sqlText(table), SQL_NTS);
  };
  eachRowIfAny(connection, call, [&](Statement& row) { columns.push_back(text(row, kKeyColumnName)); });
  return columns;
}

void describeTables(const Connection& connection, Output& out, const FormatOptions& options) {
  const auto writer = makeWriter(out, headings({"catalog", "schema", "table", "type"}), options);
  for (const TableName& table : tablesLike(connection, "")) {
    writer->row({{table.catalog}, {table.schema}, {table.name}, {table.type}});
  }
  writer->end();
  out.flush();
}

void describeTable(const Connection& connection, const std::string& name, Output& out,
                   const FormatOptions& options) {
  std::string lower(name);
  std::string upper(name);
  std::ranges::transform(lower, lower.begin(), [](unsigned char c) { return std::tolower(c); });
  std::ranges::transform(upper, upper.begin(), [](unsigned char c) { return std::toupper(c); });
  const bool isPattern = name.find('%') != std::string::npos;
  bool isFirst = true;
  // Data sources keep names without quotes in capitals, in small letters, or as they were written.
  for (const std::string& spelling : {name, lower, upper}) {
    for (const TableName& table : tablesLike(connection, spelling)) {
      if (!isPattern && table.name != spelling) continue;
      if (options.format == Format::Aligned)
        out.write((isFirst ? "" : "\n") + table.type + " " + table.name + "\n");
      writeColumns(connection, table.name, out, options);
      if (options.format == Format::Aligned) {
        writeIndexes(connection, table.name, out);
        writeForeignKeys(connection, table.name, out);
      }
      isFirst = false;
    }
    if (!isFirst) break;
  }
  if (isFirst) throw std::runtime_error("no table or view has the name " + name);
  out.flush();
}

void CompletionNames::forget() {
  isLoaded = false;
  tables.clear();
  columnsOfTable.clear();
}

void CompletionNames::loadTables(const Connection& connection) {
  if (isLoaded) return;
  for (const TableName& table : tablesLike(connection, "")) tables.push_back(table.name);
  isLoaded = true;
}

std::vector<std::string> CompletionNames::matchingTables(const Connection& connection,
                                                         std::string_view beginning) {
  loadTables(connection);
  std::vector<std::string> found;
  for (const std::string& table : tables) {
    if (beginsWith(table, beginning)) found.push_back(table);
  }
  return found;
}

std::vector<std::string> CompletionNames::matching(const Connection& connection, std::string_view beginning,
                                                   std::string_view text) {
  std::vector<std::string> found = matchingTables(connection, beginning);
  std::size_t position = 0;
  for (SqlToken token = nextToken(text, position); token.kind != TokenKind::End;
       token = nextToken(text, position)) {
    const std::string word(token.text);
    if (token.kind != TokenKind::Word || std::ranges::find(tables, word) == tables.end()) continue;
    if (!columnsOfTable.contains(word)) {
      std::vector<std::string>& names = columnsOfTable[word];
      for (const ColumnFacts& facts : zusql::columnsOfTable(connection, word)) names.push_back(facts.name);
    }
    for (const std::string& column : columnsOfTable[word]) {
      if (beginsWith(column, beginning)) found.push_back(column);
    }
  }
  for (const char* const word : kSqlWords) {
    if (!beginning.empty() && beginsWith(word, beginning)) found.emplace_back(word);
  }
  std::ranges::sort(found);
  found.erase(std::unique(found.begin(), found.end()), found.end());
  return found;
}

}  // namespace zusql
