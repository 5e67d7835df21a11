// From an application's SQL to the server's: parameter markers "?" become $1, $2..., escape sequences in
// braces become the server's own words. Nothing is touched in quotes, dollar quotes and comments. "??" is a
// question mark, for operators that have one.
//
//   {d 'v'} {t 'v'} {ts 'v'}     DATE 'v', TIME 'v', TIMESTAMP 'v'
//   {guid 'v'} {interval ...}    UUID 'v', INTERVAL ...
//   {fn name(...)}               the function, by the server's name for it
//   {oj ...}                     its contents
//   {escape 'c'}                 ESCAPE 'c'
//   {call name(...)}             SELECT * FROM name(...)

#ifndef PGWIRE_SQL_TRANSLATE_H
#define PGWIRE_SQL_TRANSLATE_H

#include <string_view>

#include "base/array.h"

namespace pgwire {

struct Translation {
  Text sql;
  unsigned parameters = 0;
  bool isSingle = true;  // false for several commands with semicolons between them
};

struct TranslateOptions {
  bool escapes = true;
  bool standardStrings = true;  // false: a backslash in '...' hides the next character
};

// 0, or 1 after a record: a brace that is not closed, an unknown escape, or no memory.
[[nodiscard]] int translate(std::string_view sql, const TranslateOptions& options, Translation& out);

// Adds the text as a literal, or as a quoted name.
[[nodiscard]] int appendLiteral(Text& out, std::string_view value);

}  // namespace pgwire

#endif
