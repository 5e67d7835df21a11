// The size of row and parameter arrays in a descriptor's header.

#ifndef ZULIB_CURSOR_INTERNAL_ROWARRAY_H
#define ZULIB_CURSOR_INTERNAL_ROWARRAY_H

#include <limits>

#include "zulib/cursor/entry/bindinfo.h"

// An array has at least one row, and a number of rows that positions can be counted in.
inline bool isRowCount(SQLULEN value) {
  return value != 0 && value <= static_cast<SQLULEN>(std::numeric_limits<SQLLEN>::max());
}

inline void setArraySize(DMDesc* desc, SQLULEN size) {
  desc->arraySize = size;
  desc->headerChanged |= CL_HEADER_CHANGED;
}

#endif
