// What an exception of the cursor library means to the caller.

#include "zulib/cursor/entry/guard.h"

#include "zuodbc/dmservices.h"

namespace {

constexpr short NO_ARGUMENT = -1;

void post(void* handle, unsigned short errorId, short argument) {
  PostODBCError(DM_COMPONENT_CURSOR_LIBRARY, handle, errorId, argument);
}

}  // namespace

SQLRETURN HandleException(const CException& exception, void* handle) {
  SQLRETURN rc = SQL_ERROR;
  if (exception.IsKindOf(RCException::className())) rc = static_cast<const RCException&>(exception).rc;
  if (exception.IsKindOf(ODBCException::className())) {
    const auto& error = static_cast<const ODBCException&>(exception);
    post(error.handle, error.errorId, error.argument);
  }
  if (exception.IsKindOf(CMemoryException::className())) post(handle, clmsg::OutOfMemory, NO_ARGUMENT);
  return rc;
}

SQLRETURN clError(void* handle, unsigned short errorId) {
  post(handle, errorId, NO_ARGUMENT);
  return SQL_ERROR;
}

SQLRETURN clWarning(void* handle, unsigned short errorId) {
  post(handle, errorId, NO_ARGUMENT);
  return SQL_SUCCESS_WITH_INFO;
}
