// Ctrl-C. While a CancelScope exists, Ctrl-C sends SQLCancel for its statement; at all times it sets a flag
// that loops ask for.
//
// The signal's handler only sets the flag and wakes a thread, which makes the call: SQLCancel takes locks and
// must not be called from a handler, and the thread that waits in the driver cannot call it.

#ifndef TOOLS_ZUSQL_CANCEL_H
#define TOOLS_ZUSQL_CANCEL_H

#include <sql.h>

#include <thread>

namespace zusql {

// The handler and the thread. One, made before other threads are started.
class CancelWatch {
 public:
  CancelWatch();
  CancelWatch(const CancelWatch&) = delete;
  CancelWatch& operator=(const CancelWatch&) = delete;
  ~CancelWatch();

 private:
  std::thread thread;
};

// True if Ctrl-C has come since the last call.
bool takeInterrupt();

// The statement that Ctrl-C cancels. Scopes may nest; the innermost counts.
class CancelScope {
 public:
  explicit CancelScope(SQLHSTMT stmt);
  CancelScope(const CancelScope&) = delete;
  CancelScope& operator=(const CancelScope&) = delete;
  ~CancelScope();

 private:
  SQLHSTMT before;
};

}  // namespace zusql

#endif
