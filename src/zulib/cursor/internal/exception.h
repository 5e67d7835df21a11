// The exceptions in which failures travel inside the cursor library. None crosses an entry point: `guarded`
// (entry/guard.h) turns them into posted errors and a return code.
//
// They are thrown by value and caught by reference. A class is identified by the address of its class name.

#ifndef ZULIB_CURSOR_INTERNAL_EXCEPTION_H
#define ZULIB_CURSOR_INTERNAL_EXCEPTION_H

#include <sql.h>

#include "zulib/cursor/internal/messages.h"

// Defines `className()`, and the two virtual operations that identify a class by its address.
#define ZU_CURSOR_CLASS(Class, Base)                                                                     \
  static const char* className() { return s_className; }                                                 \
  const char* classOf() const override { return s_className; }                                           \
  bool IsKindOf(const char* name) const override { return name == s_className || Base::IsKindOf(name); } \
  static constexpr char s_className[] = #Class;

class CException {
 public:
  virtual const char* classOf() const { return nullptr; }
  virtual bool IsKindOf(const char*) const { return false; }

 protected:
  CException() = default;
  CException(const CException&) = default;
  CException& operator=(const CException&) = default;
  ~CException() = default;
};

// Carries the return code for the caller. Posts nothing: the driver's errors are on the handle already.
class RCException : public CException {
 public:
  explicit RCException(SQLRETURN rc) : rc(rc) {}
  ZU_CURSOR_CLASS(RCException, CException)

  SQLRETURN rc;
};

// Posts message `errorId` on `handle`.
class ODBCException : public RCException {
 public:
  ODBCException(void* handle, unsigned short errorId, SQLRETURN rc = SQL_ERROR)
      : RCException(rc), handle(handle), errorId(errorId) {}
  ZU_CURSOR_CLASS(ODBCException, RCException)

  void* handle;
  unsigned short errorId;
  short argument = -1;
};

class CMemoryException : public CException {
 public:
  ZU_CURSOR_CLASS(CMemoryException, CException)
};

// Thrown by CFile.
class CFileException : public CException {
 public:
  ZU_CURSOR_CLASS(CFileException, CException)
};

#endif
