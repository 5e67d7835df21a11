// Text across the API. A function's text arguments are TextIn, TextOut and StateOut values, made by the entry
// point that knows what form the caller speaks; the function itself is written once for both forms. Where a
// value passes from one speaker to another, call/crossing.h converts it.
//
// There are four forms:
//
//   Narrow     bytes in the code page of the connection. What the cursor library calls is Internal instead.
//   Wide       UTF-16
//   Internal   what the cursor library and the driver manager itself hold: UTF-8 on a connection that is wide
//              (DMConnState::isWide), else as Narrow
//   Utf8       what the driver manager keeps of a wide application's text before that is known
//
// Lengths that come in are characters or bytes, as the function has it, or SQL_NTS. Text that goes out is cut
// at a whole character and always ends in a zero if there is room for one; the full length is reported
// whatever was cut, in the units in which the caller gave the size.

#ifndef ZUODBC_CALL_TEXT_H
#define ZUODBC_CALL_TEXT_H

#include <sql.h>
#include <sqlext.h>

#include <algorithm>
#include <limits>
#include <string>
#include <string_view>

#include "zuodbc/call/encoding.h"
#include "zuodbc/call/errors.h"
#include "zuodbc/call/values.h"
#include "zuodbc/handles/handles.h"
#include "zuodbc/handles/marks.h"

namespace dm {

enum class Form : unsigned char { Narrow, Wide, Internal, Utf8 };

// What a trace may show of a text.
enum class Secrecy : unsigned char { None, ConnectionString, Password };

template <class Length>
struct TextIn {
  const void* text;
  Length length;
  Form form;
  bool inBytes = false;  // the length of a wide text is in bytes, not in characters
  bool isText = true;    // else the value of a field that is no text, which passes as it is
  Secrecy secrecy = Secrecy::None;
};

template <class Length>
struct TextOut {
  void* buffer;
  Length size;
  Length* length;
  Form form;
  bool inBytes = false;
  bool isText = true;
};

// A buffer for an SQLSTATE: five characters and a zero.
struct StateOut {
  void* buffer;
  Form form;
};

// The form of an entry point as its caller uses it.
inline Form callerForm(Form form) { return form == Form::Narrow && isInLibrary() ? Form::Internal : form; }
template <class Char>
Form callerForm() {
  return callerForm(sizeof(Char) == sizeof(SQLCHAR) ? Form::Narrow : Form::Wide);
}

template <class Char, class Length>
TextIn<Length> textIn(const Char* text, Length length, Secrecy secrecy = Secrecy::None) {
  return {text, length, callerForm<Char>(), false, true, secrecy};
}
template <class Char, class Length>
TextOut<Length> textOut(Char* buffer, Length size, Length* length) {
  return {buffer, size, length, callerForm<Char>()};
}
template <class Char>
StateOut stateOut(Char* buffer) {
  return {buffer, callerForm<Char>()};
}

// The value of a field, which is a text or not; the length of a text is in bytes in both forms.
template <class Length>
TextIn<Length> valueIn(Form form, SQLPOINTER value, Length length, bool isText) {
  return {value, length, callerForm(form), true, isText, Secrecy::None};
}
template <class Length>
TextOut<Length> valueOut(Form form, SQLPOINTER value, Length size, Length* length, bool isText) {
  return {value, size, length, callerForm(form), true, isText};
}

// A text that the driver manager holds. A length that does not fit goes as SQL_NTS.
template <class Length>
TextIn<Length> heldIn(const std::string& text, Form form) {
  const auto length = static_cast<Length>(text.size());
  return {text.c_str(), static_cast<size_t>(length) == text.size() ? length : Length(SQL_NTS),
          form,         false,
          true,         Secrecy::None};
}

// A buffer of the driver manager's own.
template <class Length>
TextOut<Length> heldOut(char* buffer, Length size, Length* length) {
  return {buffer, size, length, Form::Internal};
}

// The code page that a form is in. `conn` is null for an environment, whose texts are taken for UTF-8.
CodePage pageOf(const DMConn* conn, Form form) noexcept;

// The bytes that a text argument has. Empty for a null pointer.
std::string_view bytesOf(const void* text, SQLLEN length, bool isWide, bool inBytes) noexcept;
template <class Length>
std::string_view bytesOf(const TextIn<Length>& in) noexcept {
  return bytesOf(in.text, in.length, in.form == Form::Wide, in.inBytes);
}

// Reads an application's text; a wide one as UTF-8. Null reads as empty. False, with HY090 posted, for a bad
// length, or with HY000 for a text that is no UTF-16.
bool readText(DMHandle& handle, const void* text, SQLLEN length, Form form, bool inBytes, std::string& out);
template <class Length>
bool readText(DMHandle& handle, const TextIn<Length>& in, std::string& out) {
  return readText(handle, in.text, in.length, in.form, in.inBytes, out);
}

// The form in which readText has kept a text.
inline Form keptForm(Form form) { return form == Form::Wide ? Form::Utf8 : form; }

enum class Copied { Whole, Cut, Substituted };

// A buffer and its size in bytes.
struct OutBytes {
  void* buffer;
  SQLLEN size;
};
template <class Length>
OutBytes bytesOf(const TextOut<Length>& out) noexcept {
  const bool units = out.form == Form::Wide && !out.inBytes;
  return {out.buffer, units ? SQLLEN{out.size} * static_cast<SQLLEN>(sizeof(SQLWCHAR)) : SQLLEN{out.size}};
}

// Copies text of a code page into a caller's buffer (null: only the length is told).
Copied copyText(DMConn* conn, std::string_view text, CodePage page, CodePage outPage, OutBytes out,
                size_t& fullSize);

template <class Length>
Copied copyText(DMConn* conn, std::string_view text, CodePage page, const TextOut<Length>& out) {
  size_t full = 0;
  const Copied copied = copyText(conn, text, page, pageOf(conn, out.form), bytesOf(out), full);
  if (out.form == Form::Wide && !out.inBytes) full /= sizeof(SQLWCHAR);
  constexpr auto kLargest = static_cast<size_t>(std::numeric_limits<Length>::max());
  if (out.length) *out.length = static_cast<Length>(std::min(full, kLargest));
  return copied;
}

void copyState(const char* sqlstate, const StateOut& out) noexcept;

// The same as a function's outcome: HY090 for a negative size, 01004 if the text was cut, 01000 if characters
// of it were substituted. `form` is that of the text.
template <class Length>
SQLRETURN writeText(DMHandle& handle, std::string_view text, Form form, const TextOut<Length>& out) {
  if (out.size < 0 && out.buffer) return fail(handle, "HY090");
  DMConn* conn = connectionOf(handle);
  switch (copyText(conn, text, pageOf(conn, form), out)) {
    case Copied::Whole: return SQL_SUCCESS;
    case Copied::Cut: return warn(handle, "01004");
    default: return warn(handle, "01000");
  }
}

}  // namespace dm

#endif
