// Checks of arguments that several functions share. Each returns the SQLSTATE of what is wrong, or null.

#ifndef ZUODBC_CALL_ARGUMENTS_H
#define ZUODBC_CALL_ARGUMENTS_H

#include <sql.h>
#include <sqlext.h>

#include "zuodbc/call/text.h"

namespace dm {

// The length of a text that may be missing.
inline const char* checkLength(SQLLEN length) noexcept {
  return length < 0 && length != SQL_NTS ? "HY090" : nullptr;
}
template <class Length>
const char* checkLength(const TextIn<Length>& in) noexcept {
  return checkLength(SQLLEN{in.length});
}

// A text that must be there.
template <class Length>
const char* checkText(const TextIn<Length>& in) noexcept {
  return in.text ? checkLength(in) : "HY009";
}

// An SQL statement, which may not be empty either.
template <class Length>
const char* checkSql(const TextIn<Length>& in) noexcept {
  if (!in.text) return "HY009";
  return in.length <= 0 && in.length != SQL_NTS ? "HY090" : nullptr;
}

// The size of a buffer.
inline const char* checkSize(SQLLEN size) noexcept { return size < 0 ? "HY090" : nullptr; }

// The same of a text; a size in bytes has room for whole characters.
template <class Length>
const char* checkSize(const TextOut<Length>& out) noexcept {
  if (!out.isText) return nullptr;
  const bool isOdd = out.buffer && out.inBytes && out.form == Form::Wide && out.size % 2 != 0;
  return out.size < 0 || isOdd ? "HY090" : nullptr;
}

}  // namespace dm

#endif
