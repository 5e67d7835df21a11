// BindInfo: what the application bound to a column or parameter.
//
// The records form the singly linked list `DMDesc::bindList`. The descriptor owns them, and they are
// allocated with the C library's malloc. The cursor library makes, orders and reads them; the driver manager
// copies them with a descriptor and frees them with it.

#ifndef ZUODBC_BINDINFO_H
#define ZUODBC_BINDINFO_H

#include <sql.h>
#include <sqlext.h>

// How a binding's type was stated.
enum tagETBINDTYPE : int {
  ET_BIND_NONE = 0,
  ET_BIND_CONCISE = 1,  // by a bind call or SQL_DESC_CONCISE_TYPE
  ET_BIND_VERBOSE = 2,  // by SQL_DESC_TYPE or SQLSetDescRec
};

struct BindInfo {
  BindInfo* next;
  unsigned short column;   // column or parameter number; 0 is the bookmark column
  short cType;             // C type in effect, after default resolution
  short intervalCode;      // SQL_DESC_DATETIME_INTERVAL_CODE
  short sqlType;           // of a parameter
  short typeGiven;         // as the application gave it; SQL_C_DEFAULT stays
  void* data;              // SQL_DESC_DATA_PTR
  SQLLEN length;           // SQL_DESC_OCTET_LENGTH, bytes
  SQLLEN* octetLengthPtr;  // SQL_DESC_OCTET_LENGTH_PTR
  SQLLEN* indicatorPtr;    // SQL_DESC_INDICATOR_PTR
  short ioType;            // SQL_DESC_PARAMETER_TYPE
  short scale;             // SQL_DESC_SCALE, decimal digits
  SQLULEN size;            // column size, from SQLDescribeCol or the bind call
  tagETBINDTYPE typeForm;
};

#endif
