// The two things that the example can show.

#pragma once

#include <cstddef>
#include <string>

// Makes a SQLite database of `rows` rows in `directory`, opens it through the cursor library and shows
// every way to move in it, a positioned update and delete, a long value in pieces, the row cache and an
// error.
void tourOfSqlite(const std::string& directory, std::size_t rows);

// Scrolls the result of `sql` on any data source: first, next, last, prior, and to the middle.
void scrollAny(const std::string& connectionString, const std::string& sql);
