#include "tour.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "odbc.h"
#include "rowset.h"

namespace {

constexpr SQLULEN rowsAtATime = 4;
constexpr std::size_t priceColumn = 2;   // of the row set, from 0
constexpr SQLUSMALLINT notesColumn = 4;  // of the result, from 1

void title(const char* text) { std::printf("\n%s\n", text); }

void show(Rowset& rows, const char* what, SQLSMALLINT orientation, SQLLEN offset = 0) {
  title(what);
  if (rows.fetch(orientation, offset)) {
    rows.print();
  } else {
    std::puts("    (no rows there)");
  }
}

// A note of several thousand characters for every tenth book, a short one for the others.
std::string noteFor(std::size_t id) {
  std::string note = "note " + std::to_string(id);
  if (id % 10 != 0) return note;
  for (int i = 1; i <= 400; ++i) note += ", line " + std::to_string(i);
  return note;
}

void fillDatabase(const Connection& connection, std::size_t rows) {
  Statement statement(connection);
  statement.execute("drop table if exists books");
  statement.execute(
      "create table books (id integer primary key, title varchar(40), price double, notes text)");
  connection.check(SQLSetConnectAttr(connection.handle(), SQL_ATTR_AUTOCOMMIT, SQL_AUTOCOMMIT_OFF, 0),
                   "beginning a transaction");
  SQLINTEGER id = 0;
  double price = 0;
  char bookTitle[41] = "";
  std::string note;
  SQLLEN text = SQL_NTS;
  const SQLHSTMT handle = statement.handle();
  statement.check(SQLPrepare(handle, sqlText("insert into books values (?, ?, ?, ?)"), SQL_NTS),
                  "SQLPrepare");
  SQLBindParameter(handle, 1, SQL_PARAM_INPUT, SQL_C_SLONG, SQL_INTEGER, 0, 0, &id, 0, nullptr);
  SQLBindParameter(handle, 2, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 40, 0, bookTitle, sizeof bookTitle,
                   &text);
  SQLBindParameter(handle, 3, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 0, 0, &price, 0, nullptr);
  for (std::size_t i = 1; i <= rows; ++i) {
    id = static_cast<SQLINTEGER>(i);
    price = 5 + static_cast<double>(i * 37 % 400) / 10;
    std::snprintf(bookTitle, sizeof bookTitle, "The %zu. book of the shelf", i);
    note = noteFor(i);
    SQLBindParameter(handle, 4, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_LONGVARCHAR, note.size(), 0, note.data(),
                     static_cast<SQLLEN>(note.size()) + 1, &text);
    statement.check(SQLExecute(handle), "inserting a row");
  }
  connection.check(SQLEndTran(SQL_HANDLE_DBC, connection.handle(), SQL_COMMIT), "committing");
  connection.check(SQLSetConnectAttr(connection.handle(), SQL_ATTR_AUTOCOMMIT,
                                     reinterpret_cast<SQLPOINTER>(SQL_AUTOCOMMIT_ON), 0),
                   "ending the transaction");
}

void showDirections(Rowset& rows) {
  show(rows, "first row set (SQL_FETCH_FIRST)", SQL_FETCH_FIRST);
  show(rows, "last row set (SQL_FETCH_LAST)", SQL_FETCH_LAST);
  show(rows, "back by a row set (SQL_FETCH_PRIOR)", SQL_FETCH_PRIOR);
  show(rows, "to row 1000 (SQL_FETCH_ABSOLUTE)", SQL_FETCH_ABSOLUTE, 1000);
  show(rows, "two rows on from there (SQL_FETCH_RELATIVE)", SQL_FETCH_RELATIVE, 2);
  const SQLULEN bookmark = rows.bookmarkOf(1);
  show(rows, "away to the third row from the end (SQL_FETCH_ABSOLUTE, -3)", SQL_FETCH_ABSOLUTE, -3);
  rows.startFrom(bookmark);
  const std::string back =
      "back to the bookmark of row " + std::to_string(bookmark) + " (SQL_FETCH_BOOKMARK)";
  show(rows, back.c_str(), SQL_FETCH_BOOKMARK, 0);
}

// Changes the second row of the row set in place and deletes the third, by the name of the cursor.
void showPositionedStatements(const Connection& connection, Statement& reader, Rowset& rows) {
  show(rows, "before the positioned statements: rows 10 to 13", SQL_FETCH_ABSOLUTE, 10);
  Statement writer(connection);

  const SQLHSTMT handle = reader.handle();
  char* newPrice = rows.setValue(1, priceColumn, "99.5");
  reader.check(SQLSetPos(handle, 2, SQL_POSITION, SQL_LOCK_NO_CHANGE), "SQLSetPos");
  writer.check(SQLBindParameter(writer.handle(), 1, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_DOUBLE, 0, 0, newPrice,
                                0, nullptr),
               "binding the new price");
  writer.execute("update books set price = ? where current of shelf");
  writer.check(SQLFreeStmt(writer.handle(), SQL_RESET_PARAMS), "unbinding the new price");
  reader.check(SQLSetPos(handle, 3, SQL_POSITION, SQL_LOCK_NO_CHANGE), "SQLSetPos");
  writer.execute("delete from books where current of shelf");

  show(rows, "after UPDATE of row 11 and DELETE of row 12, from the cache", SQL_FETCH_RELATIVE, 0);

  title("and in the database itself");
  Statement check(connection);
  Rowset fresh(check, rowsAtATime);
  check.execute("select id, title, price from books where id between 10 and 13 order by id");
  fresh.bind(40);
  fresh.fetch(SQL_FETCH_FIRST);
  fresh.print();
}

void showLongValue(Statement& reader, Rowset& rows) {
  title("the long note of row 20, read in pieces of 1000 bytes (SQLGetData)");
  rows.fetch(SQL_FETCH_ABSOLUTE, 20);
  char piece[1001];
  SQLLEN left = 0;
  std::size_t total = 0;
  int pieces = 0;
  for (;;) {
    const SQLRETURN rc = reader.check(
        SQLGetData(reader.handle(), notesColumn, SQL_C_CHAR, piece, sizeof piece, &left), "SQLGetData");
    if (rc == SQL_NO_DATA) break;
    const std::size_t got = std::strlen(piece);
    std::printf("    piece %d: %4zu bytes: %.28s ... %s\n", ++pieces, got, piece,
                piece + (got > 12 ? got - 12 : 0));
    total += got;
    if (rc == SQL_SUCCESS) break;
  }
  std::printf("    %zu bytes in %d pieces\n", total, pieces);
}

// The size of the cursor's private file in `directory`, or 0.
long long cacheFileSize(const std::string& directory) {
  long long size = 0;
  DIR* entries = opendir(directory.c_str());
  if (!entries) return 0;
  while (const dirent* entry = readdir(entries)) {
    struct stat facts;
    const std::string path = directory + "/" + entry->d_name;
    if (std::strncmp(entry->d_name, "CTT", 3) == 0 && stat(path.c_str(), &facts) == 0) {
      size = std::max<long long>(size, facts.st_size);
    }
  }
  closedir(entries);
  return size;
}

void showCache(const std::string& directory, Rowset& rows, std::size_t count) {
  title("the row cache: every row of the result, from the last to the first");
  std::size_t seen = 0;
  for (bool more = rows.fetch(SQL_FETCH_LAST); more; more = rows.fetch(SQL_FETCH_PRIOR)) seen += rows.count();
  std::printf("    %zu rows delivered going backwards over a result of %zu\n", seen, count);
  std::printf("    64 KB of them stay in memory; the private file holds %lld KB\n",
              cacheFileSize(directory) / 1024);
}

// The texts follow the locale: LANG=de_DE.UTF-8 gives this one in German.
void showError(const Connection& connection) {
  title("an error in your language: DELETE at a cursor that nobody has");
  Statement writer(connection);
  const std::string sql = "delete from books where current of nowhere";
  if (SQL_SUCCEEDED(SQLExecDirect(writer.handle(), sqlText(sql), SQL_NTS))) {
    throw OdbcError(sql + " found a cursor");
  }
  std::printf("    %s\n", diagnostics(SQL_HANDLE_STMT, writer.handle()).c_str());
}

}  // namespace

void tourOfSqlite(const std::string& directory, std::size_t rowCount) {
  setenv("ODBCTMPDIR", directory.c_str(), 1);
  const std::string database = directory + "/books.db";
  std::printf("a SQLite database of %zu rows: %s\n", rowCount, database.c_str());
  const Connection connection("Driver=SQLite3;Database=" + database);
  fillDatabase(connection, rowCount);

  Statement reader(connection);
  reader.check(SQLSetCursorName(reader.handle(), sqlText("shelf"), SQL_NTS), "SQLSetCursorName");
  Rowset rows(reader, rowsAtATime);
  reader.execute("select id, title, price, notes from books order by id");
  rows.bind(40, notesColumn);

  showDirections(rows);
  showPositionedStatements(connection, reader, rows);
  showLongValue(reader, rows);
  showCache(directory, rows, rowCount);
  showError(connection);
  std::puts("");
}

void scrollAny(const std::string& connectionString, const std::string& sql) {
  const Connection connection(connectionString);
  Statement reader(connection);
  Rowset rows(reader, 10);
  reader.execute(sql);
  rows.bind(40);
  show(rows, "first row set", SQL_FETCH_FIRST);
  show(rows, "next row set", SQL_FETCH_NEXT);
  show(rows, "last row set", SQL_FETCH_LAST);
  if (rows.count() > 0) {
    const SQLULEN last = rows.bookmarkOf(rows.count() - 1);
    std::printf("\n    %lu rows in all\n", static_cast<unsigned long>(last));
    show(rows, "back by a row set", SQL_FETCH_PRIOR);
    show(rows, "to the middle", SQL_FETCH_ABSOLUTE, static_cast<SQLLEN>((last + 1) / 2));
  }
  std::puts("");
}
