// A call that hands texts on: to a driver, whichever of the narrow and the wide form it has, or to the cursor
// library.
//
//   askText(stmt, DM_ENTRIES(driver, SQLTables), stmt.driverHandle, catalog, schema, table, type)
//
// Each TextIn among the arguments becomes the text and its length for the function, each TextOut the buffer,
// its size and its length cell, each StateOut the buffer. If caller and function speak the same form, all of
// them are passed as they are: nothing is looked at or copied. Else a text that goes in is converted, and a
// text that comes out is taken in a buffer of ours, and then given to the caller with the full length in the
// caller's units: 01004 if it had to be cut, 01000 if a character of it was substituted. A text that goes in
// and cannot be converted fails with HY000, and the function is not called.

#ifndef ZUODBC_CALL_CROSSING_H
#define ZUODBC_CALL_CROSSING_H

#include <cstdint>
#include <cstring>
#include <tuple>
#include <utility>
#include <vector>

#include "zuodbc/call/ask.h"
#include "zuodbc/call/text.h"

namespace dm {

// The two forms of a driver's function. A null entry is one that it lacks.
template <class Narrow, class Wide>
struct Entries {
  Narrow narrow;
  Wide wide;
  explicit operator bool() const { return narrow || wide; }
};
#define DM_ENTRIES(driver, name) \
  dm::Entries<decltype((driver).name), decltype((driver).name##W)> { (driver).name, (driver).name##W }

// A pointer that a function may take as narrow or wide text, or as a value.
struct AnyPointer {
  void* address;
  operator SQLCHAR*() const { return static_cast<SQLCHAR*>(address); }
  operator SQLWCHAR*() const { return static_cast<SQLWCHAR*>(address); }
  operator SQLPOINTER() const { return address; }
};

// One call: whom it goes to, and what became of its texts.
struct Crossing {
  DMHandle& handle;
  DMConn* conn;
  CodePage callee;
  bool isRefused = false;
  bool isCut = false;
  bool isSubstituted = false;

  bool crosses(Form form) const { return pageOf(conn, form) != callee; }
  void note(Copied copied) {
    isCut |= copied == Copied::Cut;
    isSubstituted |= copied == Copied::Substituted;
  }
};

// An argument on its way. `raw()` is what the function gets, and `finish()` is called after its success.
// `leave()` hands over the memory that a function which still executes may use.
template <class T>
class Passed {
 public:
  explicit Passed(const std::pair<Crossing*, T>& given) : value(given.second) {}
  std::tuple<T> raw() const { return {value}; }
  void finish(Crossing&) {}
  void leave(KeptBlocks&) {}

 private:
  T value;
};

template <class Length>
class Passed<TextIn<Length>> {
 public:
  explicit Passed(const std::pair<Crossing*, TextIn<Length>>& given) : in(given.second) {
    Crossing& crossing = *given.first;
    if (!in.isText || !in.text || !crossing.crosses(in.form)) return;
    if (!convertText(crossing.conn, pageOf(crossing.conn, in.form), crossing.callee, bytesOf(in), held))
      crossing.isRefused = true;
    if (in.length != SQL_NTS) {
      const size_t unit = crossing.callee == kUtf16 && !in.inBytes ? sizeof(SQLWCHAR) : 1;
      in.length = static_cast<Length>(held.size / unit);
      if (in.length < 0 || static_cast<size_t>(in.length) != held.size / unit) in.length = SQL_NTS;
    }
    in.text = held.bytes.get();
  }
  std::tuple<AnyPointer, Length> raw() const { return {AnyPointer{const_cast<void*>(in.text)}, in.length}; }
  void finish(Crossing&) {}
  void leave(KeptBlocks& kept) {
    if (held.bytes) kept.push_back(std::move(held.bytes));
  }

 private:
  TextIn<Length> in;
  HeldText held;
};

template <class Length>
class Passed<TextOut<Length>> {
 public:
  explicit Passed(const std::pair<Crossing*, TextOut<Length>>& given) : out(given.second) {
    if (!out.isText || !given.first->crosses(out.form)) return;
    unit = given.first->callee == kUtf16 ? sizeof(SQLWCHAR) : sizeof(SQLCHAR);
    inUnits = !out.inBytes || unit == 1;
    // As much as the caller could take: four bytes for a character. Drivers multiply a size in 16 bits, so it
    // should not be large without need.
    const SQLLEN most = sizeof(Length) == sizeof(SQLSMALLINT) ? kMostShort : kMost;
    capacity = static_cast<size_t>(std::clamp<SQLLEN>(SQLLEN{out.size} * 4, kLeast, most));
    const size_t bytes = capacity * unit;
    ours.reset(new char[kCellSize + bytes + sizeof(SQLWCHAR)]);
    *cell() = -1;
    std::memset(text(), 0, unit);
    std::memset(text() + bytes, 0, sizeof(SQLWCHAR));
  }
  std::tuple<AnyPointer, Length, Length*> raw() {
    if (!ours) return {AnyPointer{out.buffer}, out.size, out.length};
    return {AnyPointer{text()}, static_cast<Length>(inUnits ? capacity : capacity * unit), cell()};
  }
  void finish(Crossing& crossing) {
    if (!ours) return;
    const std::string_view text = received();
    crossing.note(copyText(crossing.conn, text, crossing.callee, out));
    // A text that is longer still has the length that the function tells.
    const Length told = *cell();
    if (told <= 0 || static_cast<size_t>(told) * (inUnits ? unit : 1) <= text.size()) return;
    if (text.size() < capacity * unit - unit) return;
    crossing.note(Copied::Cut);
    if (out.length) *out.length = std::max(*out.length, told);
  }
  void leave(KeptBlocks& kept) {
    if (ours) kept.push_back(std::move(ours));
  }

 private:
  static constexpr SQLLEN kLeast = 4096;
  static constexpr SQLLEN kMostShort = 16383;  // two bytes each still fit 16 bits
  static constexpr SQLLEN kMost = 1 << 24;
  static constexpr size_t kCellSize = sizeof(SQLLEN);  // the length cell is before the text

  Length* cell() const { return reinterpret_cast<Length*>(ours.get()); }
  char* text() const { return ours.get() + kCellSize; }

  // What the function wrote. Its length is not trusted: it may not be written, or say more than there is.
  std::string_view received() const {
    size_t length = 0;
    while (std::memcmp(text() + length, "\0", unit) != 0) length += unit;
    const Length told = *cell();
    if (told < 0) return {text(), length};
    return {text(), std::min(static_cast<size_t>(told) / (inUnits ? 1 : unit) * unit, length)};
  }

  TextOut<Length> out;
  size_t unit = 1;      // bytes of a unit of the function's text
  bool inUnits = true;  // the function counts in them, not in bytes
  size_t capacity = 0;  // of our buffer, in units
  std::unique_ptr<char[]> ours;
};

template <>
class Passed<StateOut> {
 public:
  explicit Passed(const std::pair<Crossing*, StateOut>& given) : out(given.second) {
    isOurs = (given.first->callee == kUtf16) != (out.form == Form::Wide);
  }
  std::tuple<AnyPointer> raw() { return {AnyPointer{isOurs ? ours : out.buffer}}; }
  void finish(Crossing& crossing) {
    if (!isOurs) return;
    char state[6] = "";
    for (int i = 0; i < 5; ++i) {
      state[i] = static_cast<char>(crossing.callee == kUtf16 ? ours[i] : reinterpret_cast<char*>(ours)[i]);
    }
    copyState(state, out);
  }
  void leave(KeptBlocks&) {}

 private:
  StateOut out;
  bool isOurs;
  SQLWCHAR ours[6] = {};
};

// What a call came to: the function's code, and the SQLSTATE of what the driver manager made of its texts, or
// null.
struct Crossed {
  SQLRETURN rc;
  const char* sqlstate;
};

// Calls `function`, whose texts are in the code page `callee`.
template <class Function, class... Arguments>
Crossed crossText(DMHandle& handle, CodePage callee, Function function, const Arguments&... arguments) {
  Crossing crossing{handle, connectionOf(handle), callee};
  std::tuple<Passed<Arguments>...> passed(std::pair<Crossing*, Arguments>(&crossing, arguments)...);
  if (crossing.isRefused) return {kRefusedHere, "HY000"};
  const SQLRETURN rc = std::apply(
      [&](auto&... one) {
        return std::apply([&](auto... raw) { return ask(function, raw...); }, std::tuple_cat(one.raw()...));
      },
      passed);
  KeptBlocks* kept =
      handle.handleType == DM_STMT ? &static_cast<DMStmt&>(handle).state->lentToDriver : nullptr;
  if (rc == SQL_STILL_EXECUTING) {
    if (kept) std::apply([&](auto&... one) { (one.leave(*kept), ...); }, passed);
    return {rc, nullptr};
  }
  if (kept && !kept->empty()) kept->clear();
  if (SQL_SUCCEEDED(rc) || rc == SQL_NEED_DATA)
    std::apply([&](auto&... one) { (one.finish(crossing), ...); }, passed);
  return {rc, crossing.isCut ? "01004" : crossing.isSubstituted ? "01000" : nullptr};
}

// The form in which a call speaks: that of its first text argument.
inline Form formOf() { return Form::Narrow; }
template <class First, class... Rest>
Form formOf(const First& first, const Rest&... rest) {
  if constexpr (requires { first.form; }) {
    return first.form;
  } else {
    return formOf(rest...);
  }
}

// True if a driver that has both forms of a function is called by the wide one. A driver that was connected
// by it is: some drivers return wide text from a narrow function then.
inline bool prefersWide(const DMConn* conn, Form form) {
  return form == Form::Wide || (conn && conn->state->isWide);
}

// Asks the driver by the form that suits the caller, or by the one that it has. Posts nothing.
template <class Narrow, class Wide, class... Arguments>
Crossed crossToDriver(DMHandle& handle, Entries<Narrow, Wide> entries, const Arguments&... arguments) {
  if (!entries) return {kDriverLacksFunction, nullptr};
  DMConn* conn = connectionOf(handle);
  const bool wide = entries.wide && (!entries.narrow || prefersWide(conn, formOf(arguments...)));
  return wide ? crossText(handle, kUtf16, entries.wide, arguments...)
              : crossText(handle, conn->state->codePage, entries.narrow, arguments...);
}

// The same as the work of a call (call/drivercall.h).
template <class Narrow, class Wide, class... Arguments>
SQLRETURN askText(DMHandle& handle, Entries<Narrow, Wide> entries, const Arguments&... arguments) {
  const Crossed crossed = crossToDriver(handle, entries, arguments...);
  if (crossed.sqlstate) postForDriver(handle, crossed.sqlstate);
  return crossed.sqlstate && crossed.rc == SQL_SUCCESS ? SQLRETURN(SQL_SUCCESS_WITH_INFO) : crossed.rc;
}

// Calls an entry of the cursor library.
template <class Function, class... Arguments>
SQLRETURN askLibrary(DMHandle& handle, Function function, const Arguments&... arguments) {
  const DMConnState& state = *connectionOf(handle)->state;
  const Crossed crossed = crossText(handle, state.isWide ? kUtf8 : state.codePage, function,
                                    static_cast<SQLHANDLE>(&handle), arguments...);
  if (crossed.sqlstate) postError(handle, crossed.sqlstate);
  if (crossed.rc == kRefusedHere) return SQL_ERROR;
  return crossed.sqlstate && crossed.rc == SQL_SUCCESS ? SQLRETURN(SQL_SUCCESS_WITH_INFO) : crossed.rc;
}

// Notes for the cursor library that the application speaks UTF-16 on this statement.
void noteWide(DMStmt& stmt) noexcept;
template <class Text>
const Text& noteForm(DMStmt& stmt, const Text& text) {
  if (text.form == Form::Wide) noteWide(stmt);
  return text;
}

}  // namespace dm

// The further name of a narrow function.
#define DM_ALIAS(name) ZU_API decltype(name##A) name##A __attribute__((alias(#name)))

#endif
