// Values of a fixed size between the server's text and an application's variables.

#ifndef PGWIRE_TYPES_SCALARS_H
#define PGWIRE_TYPES_SCALARS_H

#include <sql.h>
#include <sqlext.h>

#include <string_view>

#include "base/array.h"
#include "types/types.h"

namespace pgwire {

enum class Outcome { Done, Warned, Failed };

// What a numeric of an application has; a scale of kOwnScale takes that of the value.
struct NumericForm {
  static constexpr int kOwnScale = 0x7FFF;
  int precision = 38;
  int scale = kOwnScale;
};

// The size of a variable of a C type; 0 for those of variable length, and for no C type at all.
SQLLEN sizeOfCType(SQLSMALLINT cType);

// Whether there is such a C type.
bool isCType(SQLSMALLINT cType);

// Converts a value, given as the server's text, to a C type of a fixed size, and stores it at `out`, which
// may be at any address. Records the warning or the failure.
Outcome scalarFromText(std::string_view text, Kind kind, SQLSMALLINT cType, const NumericForm& form,
                       void* out);

// Appends the server's text for the variable at `in`. 0, or 1 after a record.
[[nodiscard]] int scalarToText(const void* in, SQLSMALLINT cType, Text& out);

}  // namespace pgwire

#endif
