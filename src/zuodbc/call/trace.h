// The trace of an application's calls: one line for each, when it ends, with its arguments, its code and its
// time, what it has written for the application, and below it the diagnostics of a call that has any.
// Passwords are left out: that of SQLConnect, and every value of a connection string whose keyword is PWD or
// PASSWORD.
//
//   07:12:30.000120 1234 SQLExecDirectW(0x55d0, "select 1", SQL_NTS) = SQL_SUCCESS  85 us
//   07:12:30.000209 1234 SQLNumResultCols(0x55d0, 0x7ffc) = SQL_SUCCESS  1 us  -> 1
//
// The trace is the process's. It is switched on by SQL_ATTR_TRACE on any connection, or by the keys Trace and
// TraceFile of section "ODBC" of odbc.ini, which are read when the first environment is allocated. The file
// is appended to, and made so that only its owner may read it. A process that runs with another user's rights
// is not traced.
//
// Thread use: any thread. Off, a call costs one read of `isTracing`.

#ifndef ZUODBC_CALL_TRACE_H
#define ZUODBC_CALL_TRACE_H

#include <atomic>
#include <chrono>
#include <string>
#include <type_traits>

#include "zuodbc/call/text.h"

namespace dm {

extern std::atomic<bool> isTracing;

// Opens `file`, or the one that was open before if it is empty, or sql.log. False if it cannot be opened.
bool startTrace(const std::string& file);
void stopTrace();

// What odbc.ini says, at the first call.
void startConfiguredTrace();

class TraceLine {
 public:
  // `handle` is that of the call, which may free it.
  TraceLine(const char* function, SQLHANDLE handle) noexcept;
  TraceLine(const TraceLine&) = delete;
  TraceLine& operator=(const TraceLine&) = delete;

  // An argument, before the call.
  template <class T>
  void add(const T& argument) {
    if constexpr (std::is_integral_v<T>) {
      addNumber(static_cast<long long>(argument));
    } else if constexpr (std::is_pointer_v<T>) {
      addPointer(reinterpret_cast<const void*>(argument));
    }
  }
  template <class Length>
  void add(const TextIn<Length>& in) {
    addText(in.text, in.length, in.form, in.inBytes, in.isText, in.secrecy);
  }
  template <class Length>
  void add(const TextOut<Length>& out) {
    addBuffer(out.buffer, out.size);
  }
  void add(const StateOut& out) { addPointer(out.buffer); }

  // The call has returned.
  void end(SQLRETURN rc);

  // What it has written to an argument, if it succeeded.
  template <class T>
  void addResult(const T& argument) {
    if constexpr (std::is_pointer_v<T>) {
      using To = std::remove_pointer_t<T>;
      if constexpr (std::is_same_v<To, void*>) {
        if (canShow && argument) showPointer(*argument);
      } else if constexpr (std::is_integral_v<To> && !std::is_const_v<To> && !std::is_same_v<To, SQLCHAR>) {
        if (canShow && argument) showResult(std::to_string(*argument));
      }
    }
  }
  template <class Length>
  void addResult(const TextOut<Length>& out) {
    if (!canShow) return;
    if (out.buffer && out.isText && !out.inBytes) showText(out.buffer, bytesOf(out).size, out.form);
    if (out.buffer && out.inBytes)
      showValue(out.buffer, out.size, out.form, out.isText, out.length ? *out.length : -1);
    if (out.length) showResult(std::to_string(*out.length));
  }
  void addResult(const StateOut& out) {
    if (canShow && out.buffer) showText(out.buffer, out.form == Form::Wide ? 10 : 5, out.form);
  }

  // Writes the line to the file.
  void write(SQLRETURN rc);

 private:
  void showResult(const std::string& result);
  void showText(const void* text, SQLLEN size, Form form);
  void showValue(const void* buffer, SQLLEN size, Form form, bool mayBeText, SQLLEN length);
  void showPointer(const void* pointer);
  void addNumber(long long number);
  void addPointer(const void* pointer);
  void addText(const void* text, SQLLEN length, Form form, bool inBytes, bool isText, Secrecy secrecy);
  void addBuffer(const void* buffer, SQLLEN size);
  void separate();

  const char* function;
  SQLHANDLE handle;  // an address to look up
  std::string line;
  std::chrono::steady_clock::time_point start;
  int arguments = 0;
  int results = 0;
  long long selector = -1;  // the attribute or field that the call is about
  bool canShow = false;
};

inline SQLHANDLE firstHandle() { return nullptr; }
template <class First, class... Rest>
SQLHANDLE firstHandle(const First& first, const Rest&... rest) {
  if constexpr (std::is_same_v<First, SQLHANDLE>) {
    if (first) return first;
  }
  return firstHandle(rest...);
}

template <class Function, class... Arguments>
SQLRETURN traceCall(const char* name, Function& function, const Arguments&... arguments) noexcept(false);

// Calls `function(arguments...)`, the whole of an exported function.
template <class Function, class... Arguments>
inline SQLRETURN traced(const char* name, Function&& function, const Arguments&... arguments) {
  if (!isTracing.load(std::memory_order_relaxed)) [[likely]]
    return function(arguments...);
  return traceCall(name, function, arguments...);
}

template <class Function, class... Arguments>
[[gnu::cold, gnu::noinline]] SQLRETURN traceCall(const char* name, Function& function,
                                                 const Arguments&... arguments) noexcept(false) {
  if (isInLibrary()) return function(arguments...);
  TraceLine line(name, firstHandle(arguments...));
  try {
    (line.add(arguments), ...);
  } catch (const std::bad_alloc&) {  // the line is the shorter
  }
  const SQLRETURN rc = function(arguments...);
  try {
    line.end(rc);
    (line.addResult(arguments), ...);
    line.write(rc);
  } catch (const std::bad_alloc&) {  // this line is missing
  }
  return rc;
}

}  // namespace dm

#endif
