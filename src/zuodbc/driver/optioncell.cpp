#include "zuodbc/driver/optioncell.h"

#include <algorithm>
#include <cstring>

#include "zuodbc/call/text.h"

namespace dm {

SQLRETURN OptionCell::giveText(DMHandle& handle, SQLPOINTER value, SQLINTEGER size,
                               SQLINTEGER* lengthPtr) const {
  return writeText(handle, cell, value, size, lengthPtr);
}

SQLRETURN OptionCell::giveNumber(std::size_t width, SQLPOINTER value, SQLINTEGER* lengthPtr) const {
  if (value) std::memcpy(value, cell, width);
  if (lengthPtr) *lengthPtr = static_cast<SQLINTEGER>(width);
  return SQL_SUCCESS;
}

SQLRETURN OptionCell::giveEither(DMHandle& handle, SQLPOINTER value, SQLINTEGER size,
                                 SQLINTEGER* lengthPtr) const {
  const std::size_t length = std::strlen(cell);
  if (!value || size <= 0 || length >= static_cast<std::size_t>(size))
    return giveText(handle, value, size, lengthPtr);
  std::memcpy(value, cell, std::min(sizeof cell, static_cast<std::size_t>(size)));
  if (lengthPtr) *lengthPtr = static_cast<SQLINTEGER>(length);
  return SQL_SUCCESS;
}

}  // namespace dm
