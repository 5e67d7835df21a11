// Room for the value of an option that a driver of ODBC 2 returns: a number, or a text of the length that
// ODBC 2 allows options. The driver is not told how large the application's buffer is, so the value passes
// through here.

#ifndef ZUODBC_DRIVER_OPTIONCELL_H
#define ZUODBC_DRIVER_OPTIONCELL_H

#include <cstddef>

#include "zuodbc/call/text.h"

namespace dm {

class OptionCell {
 public:
  SQLPOINTER address() { return cell; }

  // Each copies the value to the application's buffer (null: nothing is copied) and returns SQL_SUCCESS, or
  // SQL_SUCCESS_WITH_INFO or SQL_ERROR with a diagnostic posted on `handle`. `form` is that of the function
  // which filled the cell.
  SQLRETURN giveText(DMHandle& handle, Form form, const TextOut<SQLINTEGER>& out) const;

  // A number of `width` bytes.
  SQLRETURN giveNumber(std::size_t width, SQLPOINTER value, SQLINTEGER* lengthPtr) const;

  // A value that only the driver knows to be a number or a text: all of it if a text of it would fit.
  SQLRETURN giveEither(DMHandle& handle, Form form, const TextOut<SQLINTEGER>& out) const;

 private:
  // One character more than a text may have, never written by the driver: the text always ends.
  alignas(SQLULEN) char cell[(SQL_MAX_OPTION_STRING_LENGTH + 2) * sizeof(SQLWCHAR)] = "";
};

}  // namespace dm

#endif
