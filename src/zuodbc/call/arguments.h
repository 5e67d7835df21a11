// Checks of arguments that several functions share. Each returns the SQLSTATE of what is wrong, or null.

#ifndef ZUODBC_CALL_ARGUMENTS_H
#define ZUODBC_CALL_ARGUMENTS_H

#include <sql.h>
#include <sqlext.h>

namespace dm {

// The length of a text that may be missing.
inline const char* checkLength(SQLLEN length) noexcept {
  return length < 0 && length != SQL_NTS ? "HY090" : nullptr;
}

// A text that must be there.
inline const char* checkText(const SQLCHAR* text, SQLLEN length) noexcept {
  return text ? checkLength(length) : "HY009";
}

// An SQL statement, which may not be empty either.
inline const char* checkSql(const SQLCHAR* text, SQLLEN length) noexcept {
  if (!text) return "HY009";
  return length <= 0 && length != SQL_NTS ? "HY090" : nullptr;
}

// The size of a buffer.
inline const char* checkSize(SQLLEN size) noexcept { return size < 0 ? "HY090" : nullptr; }

}  // namespace dm

#endif
