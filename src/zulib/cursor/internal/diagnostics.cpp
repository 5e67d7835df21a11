#include "zulib/cursor/internal/diagnostics.h"

#include "zuodbc/dmservices.h"

namespace {

constexpr short kNoArgument = -1;

void post(void* handle, unsigned short errorId, short argument) {
  PostODBCError(kDmComponentCursorLibrary, handle, errorId, argument);
}

// A callback of ValidateDriverErrors.
int leavesConnection(unsigned short* state) {
  const bool lost = (state[0] == '0' && state[1] == '8') || (state[0] == '5' && state[1] == '7');
  return !lost;
}

}  // namespace

SQLRETURN HandleException(const CException& exception, void* handle) {
  SQLRETURN rc = SQL_ERROR;
  if (exception.IsKindOf(RCException::className())) rc = static_cast<const RCException&>(exception).rc;
  if (exception.IsKindOf(ODBCException::className())) {
    const auto& error = static_cast<const ODBCException&>(exception);
    post(error.handle, error.errorId, error.argument);
  }
  if (exception.IsKindOf(CMemoryException::className())) post(handle, clmsg::OutOfMemory, kNoArgument);
  return rc;
}

SQLRETURN clError(void* handle, unsigned short errorId) {
  post(handle, errorId, kNoArgument);
  return SQL_ERROR;
}

SQLRETURN clWarning(void* handle, unsigned short errorId) {
  post(handle, errorId, kNoArgument);
  return SQL_SUCCESS_WITH_INFO;
}

SQLRETURN clColumnWarning(void* handle, unsigned short errorId, SQLLEN row, unsigned short column) {
  tagODBCERROR error{
      sizeof(tagODBCERROR), handle, kDmComponentCursorLibrary, errorId, kNoArgument, row, column};
  PostODBCComponentError(&error);
  return SQL_SUCCESS_WITH_INFO;
}

bool clDriverSaid(DMHandle* handle, const char16_t (&state)[6]) {
  return handle->SearchDriverErrors(reinterpret_cast<const unsigned short*>(state)) != 0;
}

bool clDriverCancelled(DMHandle* handle) {
  return clDriverSaid(handle, u"S1008") || clDriverSaid(handle, u"HY008");
}

bool clConnectionLost(DMHandle* handle) { return !handle->ValidateDriverErrors(leavesConnection); }

bool clQueued(DMHandle* handle, const char16_t (&state)[6]) {
  return handle->SearchStatusCode(reinterpret_cast<const unsigned short*>(state)) != 0;
}

void clMoveErrors(DMHandle* to, DMHandle* from) {
  to->RetrieveDriverErrorsRowCol(from, 1, SQL_ROW_NUMBER_UNKNOWN, SQL_COLUMN_NUMBER_UNKNOWN);
}
