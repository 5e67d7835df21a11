// From an application's SQL to the server's: parameter markers "?" become $1, $2..., escape sequences in
// braces become the server's own words. Nothing is touched in quotes, dollar quotes and comments. "??" is a
// question mark, for operators that have one.
//
//   {d 'v'} {t 'v'} {ts 'v'}     DATE 'v', TIME 'v', TIMESTAMP 'v'
//   {guid 'v'} {interval ...}    UUID 'v', INTERVAL ...
//   {fn name(...)}               the function, by the server's name for it
//   {oj ...}                     its contents
//   {escape 'c'}                 ESCAPE 'c'
//   {call name(...)}             SELECT * FROM name(...), or CALL name(...) for a procedure
//   {?=call name(...)}           the same: its value is the first output

#ifndef PGWIRE_SQL_TRANSLATE_H
#define PGWIRE_SQL_TRANSLATE_H

#include <sql.h>
#include <sqlext.h>

#include <string_view>

#include "base/array.h"

namespace pgwire {

struct Translation {
  Text sql;
  unsigned parameters = 0;
  Array<unsigned> sent;  // the parameters that the server gets, from 0: all but those that are only outputs
  Array<unsigned> outputs;  // those that columns of the result are for, in order
  bool isSingle = true;     // false for several commands with semicolons between them
  Text procedure;           // the name in a call, else empty

  void clear();
};

struct TranslateOptions {
  bool escapes = true;
  bool standardStrings = true;  // false: a backslash in '...' hides the next character
  // Of a call. A procedure gets NULL for a parameter that is only an output, a function is called without it.
  bool isProcedure = false;
  SQLSMALLINT (*direction)(const void* context, unsigned parameter) = nullptr;  // SQL_PARAM_INPUT...
  const void* context = nullptr;
};

// 0, or 1 after a record: a brace that is not closed, an unknown escape, or no memory.
[[nodiscard]] int translate(std::string_view sql, const TranslateOptions& options, Translation& out);

// Adds the text as a literal, or as a quoted name.
[[nodiscard]] int appendLiteral(Text& out, std::string_view value);

}  // namespace pgwire

#endif
