#include "zuodbc/driver/optioncell.h"

#include <algorithm>
#include <cstring>

namespace dm {

SQLRETURN OptionCell::giveText(DMHandle& handle, Form form, const TextOut<SQLINTEGER>& out) const {
  return writeText(handle, bytesOf(cell, SQL_NTS, form == Form::Wide, false), form, out);
}

SQLRETURN OptionCell::giveNumber(std::size_t width, SQLPOINTER value, SQLINTEGER* lengthPtr) const {
  if (value) std::memcpy(value, cell, width);
  if (lengthPtr) *lengthPtr = static_cast<SQLINTEGER>(width);
  return SQL_SUCCESS;
}

SQLRETURN OptionCell::giveEither(DMHandle& handle, Form form, const TextOut<SQLINTEGER>& out) const {
  const std::size_t length = std::strlen(cell);
  const bool isSame = form == out.form;
  if (!isSame || !out.buffer || out.size <= 0 || length >= static_cast<std::size_t>(out.size))
    return giveText(handle, form, out);
  std::memcpy(out.buffer, cell, std::min(sizeof cell, static_cast<std::size_t>(out.size)));
  if (out.length) *out.length = static_cast<SQLINTEGER>(length);
  return SQL_SUCCESS;
}

}  // namespace dm
