// The names of the numbers in a trace: codes, attributes and fields with their values, types and options.
//
// Arguments of a function count from 0. A null name is that of a number without one.

#ifndef ZUODBC_CALL_TRACENAMES_H
#define ZUODBC_CALL_TRACENAMES_H

#include <sqltypes.h>

#include <string_view>

namespace dm {

const char* nameOfCode(SQLRETURN code);
const char* nameOfArgument(std::string_view function, int argument, long long number);

// The argument that is the attribute or the descriptor's field that the function is about; -1: none is.
int selectorOf(std::string_view function);

// A value of that attribute or field, and whether it is a text.
const char* nameOfValue(std::string_view function, long long selector, long long value);
bool isText(std::string_view function, long long selector);

}  // namespace dm

#endif
