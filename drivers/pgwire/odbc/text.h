// Text of an application, in either width: arguments into UTF-8, results out of it.

#ifndef PGWIRE_ODBC_TEXT_H
#define PGWIRE_ODBC_TEXT_H

#include <sql.h>
#include <sqlext.h>

#include <algorithm>
#include <string_view>

#include "base/array.h"
#include "base/errors.h"
#include "types/codepage.h"

namespace pgwire {

// The character type that the conversions take for an ODBC character.
template <class Char>
struct PlainChar;
template <>
struct PlainChar<SQLCHAR> {
  using Type = char;
};
template <>
struct PlainChar<SQLWCHAR> {
  using Type = SQLWCHAR;
};

template <class Char>
std::size_t lengthOf(const Char* text, SQLINTEGER length) {
  if (length != SQL_NTS) return length > 0 ? static_cast<std::size_t>(length) : 0;
  std::size_t n = 0;
  while (text[n] != 0) ++n;
  return n;
}

// An argument: `length` characters, or terminated. A null pointer is no text.
template <class Char>
class TextArgument {
 public:
  TextArgument(CodePage& page, const Char* text, SQLINTEGER length) {
    if (!text) return;
    isGiven = true;
    if (length < 0 && length != SQL_NTS) {
      failed = fail(Issue::BadLength);
      return;
    }
    failed = page.toUtf8(reinterpret_cast<const typename PlainChar<Char>::Type*>(text),
                         lengthOf(text, length), utf8);
  }
  bool hasFailed() const { return failed != 0; }
  bool given() const { return isGiven; }
  std::string_view view() const { return utf8.view(); }

 private:
  Text utf8;
  bool isGiven = false;
  int failed = 0;
};

// Writes a text result: terminated, cut to `size` characters with a warning. `*length` takes its full length
// in characters. Either pointer may be null.
template <class Char, class Length>
int giveText(CodePage& page, std::string_view text, Char* out, SQLLEN size, Length* length) {
  Array<typename PlainChar<Char>::Type> converted;
  if (page.fromUtf8(text, converted)) return 1;
  if (length) *length = static_cast<Length>(converted.size());
  if (!out) return 0;
  if (size <= 0) {
    postWarning(Issue::StringTruncated);
    return 0;
  }
  const std::size_t n = std::min(converted.size(), static_cast<std::size_t>(size - 1));
  if (n > 0) std::memcpy(out, converted.data(), n * sizeof(Char));
  out[n] = 0;
  if (n < converted.size()) postWarning(Issue::StringTruncated);
  return 0;
}

// The same with `size` and `*length` in bytes.
template <class Char, class Length>
int giveTextBytes(CodePage& page, std::string_view text, SQLPOINTER out, SQLLEN size, Length* length) {
  const int failed =
      giveText(page, text, static_cast<Char*>(out), size / static_cast<SQLLEN>(sizeof(Char)), length);
  if (length) *length = static_cast<Length>(*length * static_cast<Length>(sizeof(Char)));
  return failed;
}

template <class Number>
int giveNumber(Number value, SQLPOINTER out) {
  if (out) std::memcpy(out, &value, sizeof value);
  return 0;
}

}  // namespace pgwire

#endif
