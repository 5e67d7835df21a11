// Values as ODBC functions pass them: numbers in pointers, and text in unsigned characters.

#ifndef ZUODBC_CALL_VALUES_H
#define ZUODBC_CALL_VALUES_H

#include <sql.h>
#include <sqlext.h>

#include <cstring>
#include <string>
#include <string_view>

namespace dm {

// The first attribute, option or field that a driver may define.
inline constexpr SQLINTEGER kFirstDriverAttribute = 1000;

inline SQLPOINTER asPointer(SQLULEN number) { return reinterpret_cast<SQLPOINTER>(number); }
inline SQLULEN asNumber(SQLPOINTER value) { return reinterpret_cast<SQLULEN>(value); }

// The bytes that the length of an attribute's value says are there: SQL_NTS, a positive length, or
// SQL_LEN_BINARY_ATTR(n). Empty for every other length, which belongs to a number or a plain pointer.
inline std::string_view valueBytes(SQLPOINTER value, SQLINTEGER length) {
  const auto* data = static_cast<const char*>(value);
  if (!data) return {};
  if (length == SQL_NTS) return {data, std::strlen(data)};
  if (length > 0) return {data, static_cast<std::size_t>(length)};
  if (length > SQL_LEN_BINARY_ATTR_OFFSET) return {};
  return {data, static_cast<std::size_t>(SQL_LEN_BINARY_ATTR_OFFSET - length)};
}

inline SQLCHAR* bytes(std::string& text) { return reinterpret_cast<SQLCHAR*>(text.data()); }
inline const char* chars(const SQLCHAR* text) { return reinterpret_cast<const char*>(text); }

}  // namespace dm

#endif
