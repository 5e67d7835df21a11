// Text across the API: all that an application gives in and gets out passes here, so that the wide entry
// points need no more than another pair of these.
//
// Lengths that come in are bytes or SQL_NTS. Text that goes out is cut at a whole byte, always ends in a
// zero when there is room for one, and the full length is reported whatever was cut.

#ifndef ZUODBC_CALL_TEXT_H
#define ZUODBC_CALL_TEXT_H

#include <sql.h>
#include <sqlext.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "zuodbc/call/errors.h"
#include "zuodbc/call/values.h"

namespace dm {

// Reads an application's text. Null reads as empty. False, with HY090 posted, for a bad length.
inline bool readText(DMHandle& handle, const SQLCHAR* text, SQLLEN length, std::string& out) {
  if (length < 0 && length != SQL_NTS) {
    postError(handle, "HY090");
    return false;
  }
  if (!text) {
    out.clear();
  } else if (length == SQL_NTS) {
    out = chars(text);
  } else {
    out.assign(chars(text), static_cast<size_t>(length));
  }
  return true;
}

// Copies into a buffer of `size` bytes (null: only the length is told). True when it fitted whole.
template <class Length>
bool copyText(std::string_view text, void* buffer, SQLLEN size, Length* length) {
  if (length) *length = static_cast<Length>(text.size());
  if (!buffer) return true;
  if (size <= 0) return false;
  const size_t fits = std::min(text.size(), static_cast<size_t>(size) - 1);
  if (fits != 0) std::memcpy(buffer, text.data(), fits);
  static_cast<char*>(buffer)[fits] = '\0';
  return fits == text.size();
}

// The same as a function's outcome: HY090 for a negative size, 01004 if the text was cut.
template <class Length>
SQLRETURN writeText(DMHandle& handle, std::string_view text, void* buffer, SQLLEN size, Length* length) {
  if (size < 0 && buffer) return fail(handle, "HY090");
  return copyText(text, buffer, size, length) ? SQL_SUCCESS : warn(handle, "01004");
}

}  // namespace dm

#endif
