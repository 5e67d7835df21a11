// The path of every call into the driver: the handle's lock, its diagnostics, the library's view of the
// thread.
//
//   SQLRETURN SQL_API SQLRowCount(SQLHSTMT handle, SQLLEN* count) {
//     return enter<Statement>(handle, [&](Statement& stmt) { ...; return SQL_SUCCESS; });
//   }
//
// The work returns an ODBC code, or by `codeOf` 0 or 1. Warnings on the handle's list make SQL_SUCCESS
// SQL_SUCCESS_WITH_INFO.

#ifndef PGWIRE_ODBC_ENTRY_H
#define PGWIRE_ODBC_ENTRY_H

#include <zulib/errors/zuerror.h>

#include <mutex>

#include "odbc/handles.h"

namespace pgwire {

inline SQLRETURN codeOf(int failed) { return static_cast<SQLRETURN>(failed ? SQL_ERROR : SQL_SUCCESS); }

// Puts a handle's diagnostics on the thread for the life of a scope.
class DiagnosticScope {
 public:
  explicit DiagnosticScope(Handle& handle) : handle(handle) {
    handle.errors.clearErrors();
    handle.errorsTaken = 0;
    handle.errors.setPlace(0, 0);
    ZuErrorKeeper::setErrorList(&handle.errors);
    entered = ZuErrorKeeper::getErrorList() == &handle.errors;
    if (!entered) handle.errors.setOutOfMemory();
  }
  DiagnosticScope(const DiagnosticScope&) = delete;
  DiagnosticScope& operator=(const DiagnosticScope&) = delete;
  ~DiagnosticScope() {
    if (entered) ZuErrorKeeper::giveUpErrorList();
  }

  bool isEntered() const { return entered; }
  SQLRETURN finish(SQLRETURN code) {
    if (code == SQL_SUCCESS && handle.errors.getErrorsMix() != ErrMixNone) code = SQL_SUCCESS_WITH_INFO;
    handle.lastReturn = code;
    return code;
  }

 private:
  Handle& handle;
  bool entered;
};

template <class H, class Work>
SQLRETURN enter(SQLHANDLE handle, Work work) {
  if (!handle) return SQL_INVALID_HANDLE;
  H& object = *static_cast<H*>(static_cast<Handle*>(handle));
  const std::lock_guard<std::mutex> holder(object.lock());
  DiagnosticScope scope(object);
  return scope.finish(scope.isEntered() ? work(object) : static_cast<SQLRETURN>(SQL_ERROR));
}

}  // namespace pgwire

#endif
