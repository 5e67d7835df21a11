// The cursor library as the driver manager sees it: a table of its entry points, looked up at run time.
//
// The table is made once and lives to the end of the process. `loadCursorLibrary` is a seam: the archive
// has it as a weak symbol, so that a program which links the cursor library into itself can define the
// function anew and answer `linkedCursorLibrary()`.

#ifndef ZUODBC_DRIVER_CURSORLIBRARY_H
#define ZUODBC_DRIVER_CURSORLIBRARY_H

#include <string>

#include "zulib/cursor/entry/cursorlib.h"

// clang-format off
#define ZU_CURSOR_LIBRARY_FUNCTIONS(X)                                                          \
  X(CLBindCol) X(CLBindParameter) X(CLBulkOperations) X(CLCancel) X(CLCloseCursor) X(CLEndTran) \
  X(CLExecDirect) X(CLExecute) X(CLExtendedFetch) X(CLFetch) X(CLFetchScroll) X(CLFreeHandle)   \
  X(CLFreeStmt) X(CLGetData) X(CLGetDescField) X(CLGetDescRec) X(CLGetInfo) X(CLGetStmtAttr)    \
  X(CLGetStmtOption) X(CLMoreResults) X(CLNativeSql) X(CLNumParams) X(CLParamData)              \
  X(CLParamOptions) X(CLPrepare) X(CLPutData) X(CLRowCount) X(CLSetConnectAttr)                 \
  X(CLSetConnectOption) X(CLSetDescField) X(CLSetDescRec) X(CLSetPos) X(CLSetScrollOptions)     \
  X(CLSetStmtAttr) X(CLSetStmtOption) X(CLTransact)
// clang-format on

namespace dm {

struct CursorLibrary {
#define ZU_CURSOR_LIBRARY_FUNCTION(name) decltype(&::name) name = nullptr;
  ZU_CURSOR_LIBRARY_FUNCTIONS(ZU_CURSOR_LIBRARY_FUNCTION)
#undef ZU_CURSOR_LIBRARY_FUNCTION
};

// The process's cursor library, opened by the first call: libzulib.so beside this library, else where the
// loader finds it. Null when it cannot be had; `why` then takes the loader's words.
const CursorLibrary* loadCursorLibrary(std::string& why);

}  // namespace dm

#endif
