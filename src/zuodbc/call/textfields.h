// Which fields of the standard are texts. What a driver defines beyond it is no text unless the caller's
// length says so.

#ifndef ZUODBC_CALL_TEXTFIELDS_H
#define ZUODBC_CALL_TEXTFIELDS_H

#include <sql.h>
#include <sqlext.h>

namespace dm {

// Of SQLColAttribute and SQLGetDescField, in either version's numbers.
bool isTextField(int field) noexcept;

// Of SQLGetInfo.
bool isTextInfo(SQLUSMALLINT type) noexcept;

// Of SQLGetDiagField.
bool isTextDiagnostic(int field) noexcept;

}  // namespace dm

#endif
